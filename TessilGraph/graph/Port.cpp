#include <TessilGraph/graph/Port.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/CycleCheck.h>
#include <TessilGraph/graph/internal/LentLists.h>

#include <TessilUtils/Logger.h>

#include <algorithm>
#include <utility>

using TessilUtils::Logger;

namespace TessilGraph {

using internal::lists;

namespace {

/// False when the port is not among them.
bool removeFirst(std::vector<Port*>& ports, const Port* port) {
    const auto found = std::find(ports.begin(), ports.end(), port);
    if (found == ports.end()) {
        return false;
    }
    ports.erase(found);
    return true;
}

}  // namespace

Port::Port(const std::string& name) : name_(name) {}

std::string Port::typeStr() const {
    return "Port";
}

Port::~Port() {
    internal::LentLists::forget(*this);
}

void Port::copyValue(Port*) {}

void Port::reset() {
    // The peers are only remembered, never touched: they may be gone already.
    if (!input_) {
        stamp_ = internal::nextStamp();
    } else if (!connections_.empty()) {
        Port* source = connections_.front();
        lostMany_ = lostMany_ || connections_.size() > 1 || (lost_ != nullptr && lost_ != source);
        lost_ = source;
    }
    connections_.clear();
}

void Port::setNode(Node* node) {
    if (node == node_) {
        return;
    }
    // The old owner may still hold the port, and the new one need not.
    displaced_ = displaced_ || node_ != nullptr;
    removed_ = true;
    node_ = node;
    if (node != nullptr) {
        node->inputsElsewhere_ = true;
    }
    if (displaced_ || !connections_.empty()) {
        internal::LentLists::watch(*this);
    }
}

void Port::setAsInput(bool input) {
    if (input == input_) {
        return;
    }
    input_ = input;
    if (lost_ != nullptr || lostMany_) {
        // Outputs that still list this port now list an output.
        displaced_ = true;
    }
    if (displaced_ || !connections_.empty()) {
        internal::LentLists::watch(*this);
    }
}

std::vector<Port*>& Port::getConnections() {
    internal::LentLists::watch(*this);
    return connections_;
}

bool Port::connectTo(Port* other) {
    if (other == nullptr) {
        Logger::error() << "Error null pointer";
        return false;
    }
    if (input_ && other->input_) {
        Logger::error() << "Only input to output port connection are allowed!";
        return false;
    }
    if (node_ == other->node_) {
        Logger::error() << "Connect port on the same node is not allowed!";
        return false;
    }
    const std::string type = typeStr();
    const std::string otherType = other->typeStr();
    if (type != otherType) {
        Logger::error() << "Impossible connect a " << type << " attribute to a " << otherType << " port";
        return false;
    }

    const bool ordered = internal::LentLists::settle(*this, *other);
    if (isLinkedWith(*other)) {
        Logger::error() << "Node are already connected";
        return false;
    }
    if ((input_ && !connections_.empty()) || (other->input_ && !other->connections_.empty())) {
        Logger::error() << "Attribute already connected to another attribute " << name_ << " " << other->name_;
        return false;
    }

    Node* upstream = input_ ? other->node_ : node_;
    Node* downstream = input_ ? node_ : other->node_;
    if (upstream != nullptr && downstream != nullptr && !internal::admitsLink(*upstream, *downstream, ordered)) {
        Logger::error() << "Cycle detected! the connection is not allowed!";
        return false;
    }

    other->connections_.push_back(this);
    try {
        connections_.push_back(other);
    } catch (...) {
        other->connections_.pop_back();
        throw;
    }
    noteLinkTo(*other);
    other->noteLinkTo(*this);
    return true;
}

bool Port::disconnectFrom(Port* other) {
    if (other == nullptr) {
        Logger::error() << "Error null pointer";
        return false;
    }
    if (!removeFirst(connections_, other)) {
        Logger::error() << "Connection doesn't exist";
        return false;
    }
    removeFirst(other->connections_, this);
    return true;
}

bool Port::isLinkedWith(const Port& other) const {
    if (watched_ || other.watched_ || input_ == other.input_) {
        return lists(other, *this) || lists(*this, other);
    }
    const Port& in = input_ ? *this : other;
    const Port& out = input_ ? other : *this;
    // The ends of a link list each other, so the short list of the input answers; unless the input
    // was reset and the output has not been emptied since.
    const bool mayBeListed = in.lostMany_ || (in.lost_ == &out && in.stamp_ > out.stamp_);
    return lists(in, out) || (mayBeListed && lists(out, in));
}

void Port::noteLinkTo(const Port& other) {
    if (!input_) {
        if (!other.input_) {
            internal::LentLists::watch(*this);
        }
        return;
    }
    stamp_ = internal::nextStamp();
    if (lost_ == &other) {
        lost_ = nullptr;
    }
}

/// No peer that this port knows lists it afterwards. The list is emptied in one go, since taking its
/// entries out one by one from the front would be quadratic.
void Port::detachFromPeers() {
    const std::vector<Port*> peers = std::move(connections_);
    connections_.clear();
    for (Port* peer : peers) {
        if (peer != nullptr) {
            removeFirst(peer->connections_, this);
        }
    }
}

}  // namespace TessilGraph
