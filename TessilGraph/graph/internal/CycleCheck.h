#pragma once

#include <cstddef>
#include <cstdint>

namespace TessilGraph {
class Node;
}

namespace TessilGraph::internal {

/// The label of a new node: greater than that of every node before it, with room in between.
std::uint64_t newLabel();

/// The first of so many labels for new nodes, `roomBetweenNodes` apart.
std::uint64_t newLabels(std::size_t count);

constexpr std::uint64_t roomBetweenNodes = std::uint64_t(1) << 24;

/// Whether nothing leads from `downstream` back to `upstream`, so that a link from `upstream` to
/// `downstream` closes no cycle.
///
/// Every node has a label, and labels grow along every link. If they do so for the new link, the
/// answer is there at once. Otherwise two searches take turns, down from `downstream` and up from
/// `upstream`, neither past the other end's label; if they don't meet, the smaller side gets labels
/// that put it where it belongs. Networks that are wired in the order in which their nodes were
/// created never search, whatever the order of the links is.
///
/// `ordered` says whether labels can be relied on (see LentLists); if not, everything downstream is
/// looked through.
///
/// Source: the bounded two-way search of dynamic topological ordering (Bender, Fineman, Gilbert,
/// Tarjan, "A New Approach to Incremental Cycle Detection and Related Problems", 2016), with gaps
/// between the labels in place of an order list.
bool admitsLink(Node& upstream, Node& downstream, bool ordered);

/// Sees to it that labels grow along a link that stands already, wherever it came from. False when
/// the link closes a cycle.
bool bringInOrder(Node& upstream, Node& downstream);

}  // namespace TessilGraph::internal
