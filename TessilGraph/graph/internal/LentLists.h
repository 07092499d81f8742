#pragma once

#include <TessilGraph/graph/Port.h>

#include <atomic>
#include <cstddef>

namespace TessilGraph {
class Node;
}

namespace TessilGraph::internal {

/// The register of ports whose lists may no longer agree with what the cycle test takes for granted:
/// that the ends of a link list each other, and that labels grow along every link.
///
/// A port is entered when its list is handed out for editing, when it moves to another node with
/// links, and when two outputs are linked. Entries are kept apart by the network that a port's node
/// stands in, which one thread uses at a time; those of nodes outside any network by the thread that
/// entered them. Before a link is made, the entries of its two ends are looked through, and what is
/// found sound leaves the register. Those of others are not, but where links lead there, they matter.
namespace LentLists {

/// Enters a port, with what its list holds now. Safe from several threads at once. An entry of a port that
/// may have outlived its node stays where it is. Where there is no memory, it throws, and enters nothing; a port
/// that is entered already needs none.
void watch(Port& port);

/// The same for a port whose node, null if it has none, is known to be alive.
void watch(Port& port, const Node* node);

/// Takes a port out. For ports that are about to die.
void forget(Port& port);

/// Carries the entries of a node's ports along when the node enters or leaves a network.
void nodeMoves(Node& node) noexcept;

/// To be told of a link when it is made: networks know by that whether links lead out of them.
void noteLink(Node* one, Node* other) noexcept;

/// The same of all links of a node that comes to a network or leaves one, unless it is known to have none.
void noteLinks(Node& node) noexcept;

/// How many ports the register holds; spares everybody the lock while there are none.
extern std::atomic<std::size_t> watchedPorts;

/// Whether it holds none.
inline bool areNone() {
    return watchedPorts.load(std::memory_order_relaxed) == 0;
}

bool settleWatched(const Port& one, const Port& other);

/// Looks through the entries that concern a link between two ports. True when labels grow along all
/// links there, so that they can be relied on.
inline bool settle(const Port& one, const Port& other) {
    return areNone() || settleWatched(one, other);
}

}  // namespace LentLists

}  // namespace TessilGraph::internal
