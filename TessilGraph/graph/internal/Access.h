#pragma once

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/Port.h>
#include <TessilGraph/graph/internal/NetworkState.h>
#include <TessilGraph/graph/internal/ValueType.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <string>

namespace TessilGraph::internal {

/// The way of walks and managers to what ports and nodes keep for them.
struct Access {
    /// The links of a port, only to be read. Inside the library nobody calls the overload of
    /// `Port::getConnections` that lends the list for editing.
    static PortRange connections(const Port& port) { return port.connections_.range(); }
    static const std::string& name(const Port& port) { return port.name_.str(); }
    static const PortName& portName(const Port& port) { return port.name_; }
    static bool& watched(Port& port) { return port.watched_; }
    static bool& lostMany(Port& port) { return port.lostMany_; }
    static bool& displaced(Port& port) { return port.displaced_; }
    static Node*& owner(Port& port) { return port.node_; }
    static bool hasLost(const Port& port) { return port.lost_ != 0 || port.lostMany_; }
    static std::uint32_t& epoch(Port& port) { return port.epoch_; }
    static bool haveSameType(const Port& a, const Port& b) { return a.hasTypeOf(b); }
    /// Null for a port without a value.
    static const ValueType* valueType(const Port& port) { return valueTypeOf(port); }
    static std::uint8_t valueTypeNumber(const Port& port) { return port.valueType_; }
    static const PortList& connectionList(const Port& port) { return port.connections_; }
    static bool isLoose(const Port& port) { return port.isLoose(); }
    static bool isBound(const Port& port) { return port.bound_; }
    static bool& adopted(Port& port) { return port.adopted_; }

    // The value of a typed port: what readers see, the room in the port, and the value that `set` sets.
    template <class TypedPort>
    static auto*& data(TypedPort& port) {
        return port.data_;
    }
    template <class TypedPort>
    static auto& storedValue(TypedPort& port) {
        return port.value_;
    }
    template <class TypedPort>
    static auto& ownValue(TypedPort& port) {
        return port.bound_ ? port.value_ : *port.data_;
    }

    /// Takes all links of a node away on both sides, for a node that is to be deleted.
    static void unlink(Node& node) {
        for (const auto* ports : {&node.inputs_, &node.outputs_}) {
            for (Port* port : ports->range()) {
                if (port != nullptr) {
                    port->detachFromPeers();
                }
            }
        }
    }

    /// As `Node::addInputPort` and `Node::addOutputPort`, for a port that nobody knows yet. False when it was refused.
    static bool addNewPort(Node& node, Port& port, bool asInput) { return node.addNewPort(port, asInput); }

    static NodeMemory::Block* block(const Node& node) { return node.block_; }
    template <class Factory>
    static auto& creators(Factory& factory) {
        return factory.creators_;
    }
    template <class Manager>
    static auto& nodes(Manager& manager) {
        return manager.nodes_;
    }

    static const std::string& name(const Node& node) { return node.name_; }
    static std::string& name(Node& node) { return node.name_; }
    static PortRange inputs(const Node& node) { return node.inputs_.range(); }
    static const PortList& inputList(const Node& node) { return node.inputs_; }
    static const PortList& outputList(const Node& node) { return node.outputs_; }
    template <class Visit>
    static void forEachInput(const Node& node, Visit visit) {
        node.inputs_.forEach(visit);
    }
    static PortRange outputs(const Node& node) { return node.outputs_.range(); }
    static bool& stored(Node& node) { return node.stored_; }
    static bool hasInputsElsewhere(const Node& node) { return node.elsewhere_ == Node::Elsewhere::Inputs; }
    static std::uint32_t& holders(Node& node) { return node.holders_; }
    static NetworkState*& home(Node& node) { return node.home_; }
    static const NetworkState* home(const Node& node) { return node.home_; }
    static std::uint32_t& entry(Node& node) { return node.entry_; }
    static std::uint32_t entry(const Node& node) { return node.entry_; }
    static std::uint32_t& slot(Node& node) { return node.slot_; }
    static std::atomic<std::uint8_t>*& dirty(Node& node) { return node.dirty_; }
    /// As `setDirty(false)`.
    static void setClean(Node& node) {
        if (node.slot_ == 0) {
            node.dirty_->store(0, std::memory_order_relaxed);
        } else {
            node.setDirty(false);
        }
    }
    static Port* firstConnection(const Port& port) { return port.connections_.front(); }
    /// Makes a node keep its dirty byte at `place`.
    static void moveDirty(Node& node, std::atomic<std::uint8_t>& place) {
        place.store(node.dirty_->load(std::memory_order_relaxed) != 0 ? 1 : 0, std::memory_order_relaxed);
        node.dirty_ = &place;
    }
    /// The same, where it belongs while nobody has prepared the network.
    static void bringDirtyHome(Node& node) {
        moveDirty(node, node.home_ != nullptr ? node.home_->dirtyByte(node.entry_) : node.ownDirty_);
    }
    static std::atomic<std::uint8_t>& ownDirty(Node& node) { return node.ownDirty_; }
    static std::uint64_t& label(Node& node) { return node.label_; }
    static std::uint64_t label(const Node& node) { return node.label_; }
    static std::uint64_t& mark(Node& node) { return node.mark_; }
    static std::uint64_t& secondMark(Node& node) { return node.secondMark_; }
    static std::uint32_t& place(Node& node) { return node.place_; }
    static float& cost(Node& node) { return node.cost_; }
    static std::atomic<std::uint8_t>& traits(const Node& node) { return node.traits_; }
};

/// A number that no walk and no link has had before. Never 0.
inline std::uint64_t nextStamp() {
    static std::atomic<std::uint64_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

/// A number that no output has had before. Never 0.
inline std::uint32_t nextEpoch() {
    static std::atomic<std::uint32_t> last{0};
    const std::uint32_t epoch = last.fetch_add(1, std::memory_order_relaxed) + 1;
    return epoch != 0 ? epoch : nextEpoch();
}

/// Tells the network of a node, if there is one, that its wiring is no longer what it was.
inline void noteWiring(Node* node) {
    if (node != nullptr && Access::home(*node) != nullptr) {
        Access::home(*node)->noteWiring();
    }
}

/// Whether `peer` stands in the list of `port`.
inline bool lists(const Port& port, const Port& peer) {
    return Access::connectionList(port).contains(&peer);
}

/// Where a row of ports ends that starts with `port` and goes from each input to its first source: at
/// an output, or at an input that nothing feeds. `port` itself if the row runs in a circle.
inline const Port& endOfInputs(const Port& port) {
    // The second walker goes half as fast: in a circle the first one catches up with it.
    const Port* end = &port;
    const Port* behind = &port;
    for (bool advanceBehind = false; const Port* next = end->input(); advanceBehind = !advanceBehind) {
        end = next;
        if (advanceBehind) {
            behind = behind->input();
        }
        if (end == behind) {
            return port;
        }
    }
    return *end;
}

/// Whether an input of the node has a link.
inline bool isFed(const Node& node) {
    const PortRange inputs = Access::inputs(node);
    return std::any_of(inputs.begin(), inputs.end(),
                       [](const Port* input) { return input != nullptr && input->numConnections() != 0; });
}

/// The node that feeds an input port; null when nothing does.
inline Node* upstreamNode(const Port& input) {
    const Port* source = Access::firstConnection(input);
    return source != nullptr ? source->node() : nullptr;
}

}  // namespace TessilGraph::internal
