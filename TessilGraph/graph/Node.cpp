#include <TessilGraph/graph/Node.h>

#include <TessilGraph/graph/HashedName.h>
#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/CycleCheck.h>
#include <TessilGraph/graph/internal/LentLists.h>
#include <TessilGraph/graph/internal/LoosePorts.h>
#include <TessilGraph/graph/internal/MarkPlan.h>
#include <TessilGraph/graph/internal/NodeRow.h>
#include <TessilGraph/graph/internal/PreparedNodes.h>
#include <TessilGraph/graph/internal/SmallStack.h>

#include <TessilUtils/Logger.h>

#include <vector>

using TessilUtils::Logger;

namespace TessilGraph {

namespace {

/// Null when there is none.
Port* findPort(PortRange ports, const std::string& name) {
    for (Port* port : ports) {
        if (port != nullptr && isSameText(internal::Access::name(*port), name)) {
            return port;
        }
    }
    return nullptr;
}

std::vector<std::string> portNames(PortRange ports) {
    std::vector<std::string> names;
    names.reserve(ports.size());
    for (const Port* port : ports) {
        if (port != nullptr) {
            names.push_back(internal::Access::name(*port));
        }
    }
    return names;
}

/// Adds to what a dirty byte of a prepared network says. Nodes that are computed side by side may do so at
/// the same time; otherwise nobody else does.
void addDirtyBits(std::atomic<std::uint8_t>& dirty, std::uint8_t bits, const internal::NetworkState& home) {
    if (home.isEvaluating()) {
        dirty.fetch_or(bits, std::memory_order_relaxed);
    } else {
        const unsigned int before = dirty.load(std::memory_order_relaxed);
        dirty.store(static_cast<std::uint8_t>(before | bits), std::memory_order_relaxed);
    }
}

/// Nodes whose downstream is still to be marked. What is dirty is not looked at again, so none of them may get lost.
class MarkedNodes {
public:
    void push(Node& node) noexcept {
        if (!stack_.tryPush(&node)) {
            row_.push(node);
        }
    }

    /// Null when there is none.
    Node* pop() noexcept { return !stack_.empty() ? stack_.pop() : row_.pop(); }

private:
    internal::SmallStack<Node*, 64> stack_;
    internal::NodeRow row_;
};

void markDirty(Node& node) {
    using internal::Access;
    std::atomic<std::uint8_t>& dirty = *Access::dirty(node);
    internal::NetworkState* home = Access::home(node);
    if (Access::slot(node) == 0) {
        dirty.store(internal::isDirty, std::memory_order_relaxed);
    } else {
        addDirtyBits(dirty, internal::isDirty, *home);
        home->prepared->noteDirty(Access::slot(node) - 1);
    }
    if (home != nullptr) {
        home->noteMark();
    }
}

}  // namespace

Node::Node() : block_(internal::NodeMemory::claim(this)), label_(internal::newLabel()) {}

void* Node::operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return internal::NodeMemory::tryAllocate(size);
}

std::string Node::typeStr() const {
    return "Node";
}

Node::~Node() {
    leavePrepared();
    if (elsewhere_ != Elsewhere::Nothing || inputs_.isOpen() || outputs_.isOpen()) {
        letGo();
    }
    const internal::NodeMemory::Closing closing(block_);
    internal::noteWiring(this);
    const auto destroy = [this](Port* port) {
        if (port != nullptr && port->node_ == this) {
            port->bond_ = Port::Bond::Loose;  // There is no list left to take it out of.
        }
        delete port;
    };
    inputs_.forEach(destroy);
    outputs_.forEach(destroy);
    // What the lists stand in belongs to the block, too.
    inputs_.clear();
    outputs_.clear();
}

/// Ports that outlive the node have no owner from here on: those that were given back, and those that a host
/// took out of a list by hand.
void Node::letGo() {
    internal::LoosePorts::ownerDies(*this);
    for (PortList* ports : {&inputs_, &outputs_}) {
        ports->forEach([ports](Port* port) { ports->forget(port); });
        ports->forEachKnown([](Port* port) {
            port->node_ = nullptr;
            port->bond_ = Port::Bond::Loose;
        });
    }
}

bool Node::compute(const ComputeData*) {
    return true;
}

void Node::reset() {
    for (const PortList* ports : {&inputs_, &outputs_}) {
        // A host's port may well add some to the list, or remove them.
        for (std::size_t place = 0; place < ports->range().size(); ++place) {
            if (Port* port = ports->range()[place]) {
                port->reset();
            }
        }
    }
}

short Node::baseNodeType() const {
    return 0;
}

void Node::setName(const std::string& name) {
    if (home_ == nullptr) {
        name_ = name;
    } else if (name != name_) {
        std::string taken = name;
        home_->nodes->keepName(*this);
        name_.swap(taken);
    }
}

void Node::addInputPort(Port* port) {
    addPort(inputs_, port, true);
}

void Node::addOutputPort(Port* port) {
    addPort(outputs_, port, false);
}

Port* Node::getInputPort(const std::string& name) {
    return findPort(inputs_.range(), name);
}

Port* Node::getOutputPort(const std::string& name) {
    return findPort(outputs_.range(), name);
}

std::vector<std::string> Node::getInputPortNames() const {
    return portNames(inputs_.range());
}

std::vector<std::string> Node::getOutputPortNames() const {
    return portNames(outputs_.range());
}

void Node::removeInputPort(const std::string& name) {
    if (removePort(inputs_, name)) {
        elsewhere_ = Elsewhere::Inputs;
    }
}

void Node::removeOutputPort(const std::string& name) {
    if (removePort(outputs_, name) && elsewhere_ == Elsewhere::Nothing) {
        elsewhere_ = Elsewhere::Outputs;
    }
}

void Node::setProfileTime(std::uint64_t time) {
    profileTime_ = time;
    if (time != 0 && home_ != nullptr) {
        home_->noteProfileTime();
    }
}

void Node::setDirtyFlag() {
    markDirty(*this);
    noteOrigin();
}

void Node::setDirty(bool dirty) {
    if (!dirty) {
        if (slot_ != 0 && isDirty()) {
            home_->prepared->noteCleaned();
        }
        dirty_->store(0, std::memory_order_relaxed);
        return;
    }
    if (isDirty()) {
        noteOrigin();
        return;
    }
    markDownstream();
}

/// Apart from `setDirty` so that a node that is dirty already costs hardly anything.
void Node::markDownstream() {
    markDirty(*this);
    noteOrigin();
    if (home_ != nullptr && home_->markPlan != nullptr && home_->markPlan->isCurrent()) {
        home_->noteMarks(home_->markPlan->markFrom(entry_));
        return;
    }
    MarkedNodes marked;
    std::size_t count = 0;
    const auto markOwner = [&marked](const Port* peer) {
        Node* downstream = peer != nullptr ? peer->node() : nullptr;
        if (downstream != nullptr && !downstream->isDirty()) {
            markDirty(*downstream);
            marked.push(*downstream);
        }
    };
    for (const Node* node = this; node != nullptr; node = marked.pop()) {
        ++count;
        node->outputs_.forEach([&markOwner](const Port* output) {
            if (output != nullptr) {
                output->connections_.forEach(markOwner);
            }
        });
    }
    if (home_ != nullptr) {
        internal::noteMarked(*home_, count);
    }
}

/// For evaluations that want to know which nodes were marked themselves.
void Node::noteOrigin() {
    if (slot_ != 0) {
        addDirtyBits(*dirty_, internal::isOrigin, *home_);
    }
}

void Node::leavePrepared() {
    if (slot_ != 0) {
        home_->prepared->dissolve();
    }
}

/// Whether there is a port of that name.
inline bool Node::isTaken(const PortList& ports, const PortName& name) {
    for (const Port* port : ports.range()) {
        if (port != nullptr && port->name_.isSameAs(name)) {
            return true;
        }
    }
    return false;
}

/// Says in the log that there is a port of that name. False.
[[gnu::noinline]] bool Node::refuse(const PortName& name) {
    Logger::error() << "Port " << name.str() << "already exists";
    return false;
}

bool Node::addNewPort(Port& port, bool asInput) {
    PortList& ports = asInput ? inputs_ : outputs_;
    if (isTaken(ports, port.name_)) {
        return refuse(port.name_);
    }
    ports.add(&port, this);
    port.input_ = asInput;
    port.node_ = this;
    internal::noteWiring(this);
    return true;
}

void Node::addPort(PortList& ports, Port* port, bool asInput) {
    if (port == nullptr) {
        Logger::error() << "Error null pointer";
        return;
    }
    if (isTaken(ports, port->name_)) {
        refuse(port->name_);
        return;
    }
    ports.add(port, this);
    if (port->watched_ || !port->connections_.empty() || (port->input_ != asInput && port->displaced_) ||
        internal::Access::hasLost(*port)) {
        try {
            internal::LentLists::watch(*port, this);  // From here on nothing may fail.
        } catch (...) {
            ports.removeLast();
            throw;
        }
    }
    port->noteNewStorage();
    if (port->node_ != nullptr) {
        port->node_->handOver(*port, ports);
    }
    if (port->node_ != this || port->isLoose()) {
        port->leaveOwner();
    }
    port->setAsInput(asInput);
    // A port that comes with links, or that others may still list, takes these to another node.
    const bool comesLinked = !port->connections_.empty();
    const bool mayBeListed = internal::Access::hasLost(*port);
    const bool isWatched = port->watched_;
    port->node_ = this;
    port->bond_ = Port::Bond::Held;
    port->displaced_ = mayBeListed;
    internal::noteWiring(this);
    if (comesLinked || mayBeListed || isWatched) {
        internal::LentLists::watch(*port);
    }
}

/// Takes a port out of the list in which it stands, if it does, for another one has it by now. Two would delete it
/// twice. The network was told, and the lists forget a port that leaves its owner.
void Node::handOver(Port& port, const PortList& receiver) {
    for (PortList* ports : {&inputs_, &outputs_}) {
        if (ports != &receiver) {
            ports->remove(&port);
        }
    }
}

/// The list as hosts edit it.
std::vector<Port*>& Node::open(PortList& ports) {
    const bool wasOpen = ports.isOpen();
    std::vector<Port*>& opened = ports.openKnowing();
    if (!wasOpen) {
        internal::noteWiring(this);
        for (Port* port : opened) {
            if (port != nullptr && port->isLoose()) {
                ports.forget(port);  // It will not say when it dies.
            }
        }
    }
    return opened;
}

/// False when there is no port of that name.
bool Node::removePort(PortList& ports, const std::string& name) {
    Port* port = findPort(ports.range(), name);
    if (port == nullptr) {
        return false;
    }
    port->noteNewStorage();
    if (port->node_ == this && !port->isLoose()) {
        internal::LoosePorts::enter(*port, *this);
        port->leaveList();
        port->bond_ = Port::Bond::Noted;
    }
    ports.remove(port);
    internal::noteWiring(this);
    return true;
}

}  // namespace TessilGraph
