#pragma once

#include <cstddef>
#include <vector>

namespace TessilGraph {
class Node;
class Port;
}  // namespace TessilGraph

namespace TessilGraph::internal {

/// Says that a node with some ports, which stand behind it, will be visited soon.
inline void prefetchNode(const Node* node) {
    constexpr std::size_t line = 64;
    constexpr std::size_t lines = 7;
    const auto* address = reinterpret_cast<const char*>(node);
    for (std::size_t i = 0; i < lines; ++i) {
        __builtin_prefetch(address + i * line);
    }
}

/// The same for two nodes that are visited at once, from the head of their blocks to the end of all but very
/// large ones. Line by line in turn: what the nodes begin with is read first.
inline void prefetchWholeNodes(const Node* one, const Node* other) {
    constexpr std::ptrdiff_t line = 64;
    constexpr std::ptrdiff_t begin = -32;
    constexpr std::ptrdiff_t lines = 10;
    for (std::ptrdiff_t i = 0; i < lines; ++i) {
        __builtin_prefetch(reinterpret_cast<const char*>(one) + begin + i * line);
        __builtin_prefetch(reinterpret_cast<const char*>(other) + begin + i * line);
    }
}

/// How many nodes before its turn a node of a long row is fetched.
constexpr std::size_t nodesAhead = 3;

/// The same for the node that comes some places after this one.
inline void prefetchAhead(const std::vector<Node*>& nodes, std::size_t place) {
    if (place + nodesAhead < nodes.size()) {
        prefetchNode(nodes[place + nodesAhead]);
    }
}

/// Less is done for a port than for a node.
constexpr std::size_t portsAhead = 12;

/// The same for a port and its value, or the first part of it.
inline void prefetchAhead(const std::vector<Port*>& ports, std::size_t place) {
    constexpr std::size_t line = 64;
    if (place + portsAhead < ports.size()) {
        const auto* address = reinterpret_cast<const char*>(ports[place + portsAhead]);
        __builtin_prefetch(address);
        __builtin_prefetch(address + line);
    }
}

}  // namespace TessilGraph::internal
