#pragma once

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/Port.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace TessilGraph::internal {

/// The way of walks and managers to what ports and nodes keep for them.
struct Access {
    /// The links of a port, only to be read. Inside the library nobody calls the overload of
    /// `Port::getConnections` that lends the list for editing.
    static const std::vector<Port*>& connections(const Port& port) { return port.connections_; }
    static const std::string& name(const Port& port) { return port.name_; }
    static bool& watched(Port& port) { return port.watched_; }
    static bool& lostMany(Port& port) { return port.lostMany_; }
    static bool& displaced(Port& port) { return port.displaced_; }
    static bool& removed(Port& port) { return port.removed_; }
    static Port*& lost(Port& port) { return port.lost_; }
    static std::uint64_t& stamp(Port& port) { return port.stamp_; }

    /// Takes all links of a node away on both sides, for a node that is to be deleted.
    static void unlink(Node& node) {
        for (const std::vector<Port*>* ports : {&node.inputs_, &node.outputs_}) {
            for (Port* port : *ports) {
                if (port != nullptr) {
                    port->detachFromPeers();
                }
            }
        }
    }

    static const std::string& name(const Node& node) { return node.name_; }
    static const std::vector<Port*>& inputs(const Node& node) { return node.inputs_; }
    static const std::vector<Port*>& outputs(const Node& node) { return node.outputs_; }
    static bool& stored(Node& node) { return node.stored_; }
    static bool& inputsElsewhere(Node& node) { return node.inputsElsewhere_; }
    static std::uint32_t& holders(Node& node) { return node.holders_; }
    static const void*& home(Node& node) { return node.home_; }
    static std::uint64_t& label(Node& node) { return node.label_; }
    static std::uint64_t& mark(Node& node) { return node.mark_; }
    static std::uint64_t& secondMark(Node& node) { return node.secondMark_; }
    static std::size_t& place(Node& node) { return node.place_; }
    static float& cost(Node& node) { return node.cost_; }
    static std::atomic<std::uint8_t>& traits(const Node& node) { return node.traits_; }
};

/// A number that no walk and no link has had before. Never 0.
inline std::uint64_t nextStamp() {
    static std::atomic<std::uint64_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

/// Whether `peer` stands in the list of `port`.
inline bool lists(const Port& port, const Port& peer) {
    const std::vector<Port*>& peers = Access::connections(port);
    return std::find(peers.begin(), peers.end(), &peer) != peers.end();
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
    const auto& inputs = Access::inputs(node);
    return std::any_of(inputs.begin(), inputs.end(),
                       [](const Port* input) { return input != nullptr && input->numConnections() != 0; });
}

/// The node that feeds an input port; null when nothing does.
inline Node* upstreamNode(const Port& input) {
    const std::vector<Port*>& sources = Access::connections(input);
    return sources.empty() || sources.front() == nullptr ? nullptr : sources.front()->node();
}

}  // namespace TessilGraph::internal
