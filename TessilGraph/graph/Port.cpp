#include <TessilGraph/graph/Port.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/CycleCheck.h>
#include <TessilGraph/graph/internal/LentLists.h>
#include <TessilGraph/graph/internal/LoosePorts.h>
#include <TessilGraph/graph/internal/PreparedNodes.h>
#include <TessilGraph/graph/internal/ValueType.h>

#include <TessilUtils/Logger.h>

#include <typeinfo>
#include <vector>

using TessilUtils::Logger;

namespace TessilGraph {

using internal::lists;

namespace {

/// Enough of a port's address to tell it from others; never 0.
std::uint32_t tagOf(const Port* port) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(port) >> 3) | 1U;
}

}  // namespace

Port::Port(const std::string& name) : name_(name) {}

void* Port::operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return internal::NodeMemory::tryAllocate(size);
}

std::string Port::typeStr() const {
    return "Port";
}

Port::~Port() {
    if (watched_) {
        internal::LentLists::forget(*this);
    }
    noteWiring();
    leaveOwner();
}

void Port::copyValue(Port*) {}

void Port::reset() {
    // The peers are only remembered, never touched: they may be gone already.
    noteWiring();
    if (!input_) {
        epoch_ = internal::nextEpoch();
    } else if (!connections_.empty()) {
        const std::uint32_t source = tagOf(connections_.front());
        lostMany_ = lostMany_ || connections_.size() > 1 || (lost_ != 0 && lost_ != source);
        lost_ = source;
    }
    connections_.clear();
}

void Port::setNode(Node* node) {
    if (node == node_) {
        return;
    }
    // The old owner may still hold the port, and the new one need not. What may fail comes first.
    const bool displaced = displaced_ || node_ != nullptr;
    if (displaced || !connections_.empty()) {
        internal::LentLists::watch(*this, node);
    }
    if (node != nullptr) {
        internal::LoosePorts::enter(*this, *node);
    }
    noteNewStorage();
    displaced_ = displaced;
    leaveOwner();
    node_ = node;
    bond_ = Bond::Noted;
    internal::noteWiring(node);
    if (node != nullptr) {
        node->elsewhere_ = Node::Elsewhere::Inputs;
    }
}

void Port::setAsInput(bool input) {
    if (input == input_) {
        return;
    }
    // Outputs that still list this port now list an output.
    const bool displaced = displaced_ || lost_ != 0 || lostMany_;
    if (displaced || !connections_.empty()) {
        internal::LentLists::watch(*this);  // First: nothing else may fail.
    }
    noteNewStorage();
    input_ = input;
    displaced_ = displaced;
}

std::vector<Port*>& Port::getConnections() {
    internal::LentLists::watch(*this);
    noteWiring();
    return connections_.open();
}

/// For a port that dies or is about to name another owner.
void Port::leaveOwner() {
    if (bond_ == Bond::Noted) {
        internal::LoosePorts::leave(*this);
    } else {
        leaveList();
    }
    bond_ = Bond::Loose;
}

/// The lists of its owner need not know the port any more.
void Port::leaveList() {
    if (bond_ == Bond::Held && node_ != nullptr) {
        node_->inputs_.forget(this);
        node_->outputs_.forget(this);
    }
}

/// A port that was removed belongs to its network no longer.
void Port::noteWiring() {
    if (!isLoose()) {
        internal::noteWiring(node_);
    }
}

void Port::noteNewStorage() {
    noteWiring();
    if (adopted_) {
        internal::Access::home(*node_)->prepared->dissolve();
    }
}

bool Port::connectTo(Port* other) {
    if (other == nullptr) {
        Logger::error() << "Error null pointer";
        return false;
    }
    if (input_ ? other->linkAtOnce(*this) : linkAtOnce(*other)) {
        return true;
    }
    if (input_ && other->input_) {
        Logger::error() << "Only input to output port connection are allowed!";
        return false;
    }
    if (node_ == other->node_) {
        Logger::error() << "Connect port on the same node is not allowed!";
        return false;
    }
    if (!hasTypeOf(*other)) {
        Logger::error() << "Impossible connect a " << typeStr() << " attribute to a " << other->typeStr() << " port";
        return false;
    }
    if (!mayLink(*other)) {
        return false;
    }

    if (!input_ && !other->input_) {
        internal::LentLists::watch(*this);
        internal::LentLists::watch(*other);
    }
    addPeer(*other);
    internal::LentLists::noteLink(node_, other->node_);
    noteLinkTo(*other);
    other->noteLinkTo(*this);
    return true;
}

/// Makes the link to an input where one look shows that nothing speaks against it, as it does for most: both
/// ports are the library's, the input has no past, and the nodes stand together and in order already. False, with
/// nothing changed, where it takes more to tell.
bool Port::linkAtOnce(Port& in) {
    if (input_ || !in.input_ || valueType_ != in.valueType_ || valueType_ == 0 || !in.connections_.empty() ||
        internal::Access::hasLost(in) || !internal::LentLists::areNone()) {
        return false;
    }
    const std::type_info* library = internal::valueTypeOf(*this)->port;
    if (&typeid(*this) != library || &typeid(in) != library) {
        return false;
    }
    if (node_ == nullptr || in.node_ == nullptr || node_ == in.node_ || node_->label_ >= in.node_->label_ ||
        node_->home_ != in.node_->home_) {
        return false;
    }
    addPeer(in);
    in.epoch_ = epoch_;
    return true;
}

/// Whether the lists of both ports and the way of the network have room for a link. False with the reason logged.
bool Port::mayLink(const Port& other) const {
    const bool ordered = internal::LentLists::settle(*this, other);
    if (isLinkedWith(other)) {
        Logger::error() << "Node are already connected";
        return false;
    }
    if ((input_ && !connections_.empty()) || (other.input_ && !other.connections_.empty())) {
        Logger::error() << "Attribute already connected to another attribute " << name_.str() << " "
                        << other.name_.str();
        return false;
    }
    Node* upstream = input_ ? other.node_ : node_;
    Node* downstream = input_ ? node_ : other.node_;
    if (upstream != nullptr && downstream != nullptr && !internal::admitsLink(*upstream, *downstream, ordered)) {
        Logger::error() << "Cycle detected! the connection is not allowed!";
        return false;
    }
    return true;
}

/// Enters two ports in each other's lists. A list of several links finds room near the node that holds the port.
void Port::addPeer(Port& peer) {
    const auto holder = [](const Port& port) { return port.isLoose() ? nullptr : port.node_; };
    peer.connections_.add(this, holder(peer));
    try {
        connections_.add(&peer, holder(*this));
    } catch (...) {
        peer.connections_.removeLast();
        throw;
    }
    noteWiring();
    peer.noteWiring();
}

bool Port::disconnectFrom(Port* other) {
    if (other == nullptr) {
        Logger::error() << "Error null pointer";
        return false;
    }
    if (!connections_.unlink(other)) {
        Logger::error() << "Connection doesn't exist";
        return false;
    }
    other->connections_.unlink(this);
    noteWiring();
    other->noteWiring();
    return true;
}

/// Ports with the same value are of one type, unless a host's own class says otherwise. Those with different values
/// never are, whatever hosts' classes say, since one would read the other's.
bool Port::hasTypeOf(const Port& other) const {
    if (valueType_ != 0 && valueType_ == other.valueType_) {
        const std::type_info& library = *internal::valueTypeOf(*this)->port;
        if (typeid(*this) == library && typeid(other) == library) {
            return true;
        }
    }
    const bool mayReadEachOther = valueType_ == other.valueType_ || valueType_ == 0 || other.valueType_ == 0;
    return mayReadEachOther && typeStr() == other.typeStr();
}

bool Port::isLinkedWith(const Port& other) const {
    if (watched_ || other.watched_ || input_ == other.input_) {
        return lists(other, *this) || lists(*this, other);
    }
    const Port& in = input_ ? *this : other;
    const Port& out = input_ ? other : *this;
    // The ends of a link list each other, so the short list of the input answers; unless the input
    // was reset and the output has not been emptied since.
    const bool mayBeListed = in.lostMany_ || (in.lost_ == tagOf(&out) && in.epoch_ == out.epoch_);
    return lists(in, out) || (mayBeListed && lists(out, in));
}

void Port::noteLinkTo(const Port& other) {
    if (!input_) {
        return;
    }
    epoch_ = other.epoch_;
    if (lost_ == tagOf(&other)) {
        lost_ = 0;
    } else if (lost_ != 0) {
        // The epoch doesn't speak for the output that was lost any more.
        lostMany_ = true;
    }
}

/// No peer that this port knows lists it afterwards. The list is emptied in one go, since taking its
/// entries out one by one from the front would be quadratic.
void Port::detachFromPeers() noexcept {
    if (connections_.empty()) {
        return;
    }
    noteWiring();
    const auto leave = [this](Port* peer) {
        if (peer != nullptr) {
            peer->connections_.unlink(this);
            peer->noteWiring();
        }
    };
    connections_.drain(leave);
}

}  // namespace TessilGraph
