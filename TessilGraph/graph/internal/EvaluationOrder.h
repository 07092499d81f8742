#pragma once

#include <vector>

namespace TessilGraph {
class ComputeData;
class Node;
class NodeSet;
}  // namespace TessilGraph

namespace TessilGraph::internal {

/// Computes the dirty nodes that lead to `target` through dirty ones, and then `target`, as
/// `wholeOrder` has them, and marks them clean. Says in the log if links run in a circle, be it that the
/// caller found one (`isCyclic`) or this walk.
void computeUpstream(Node& target, const NodeSet& home, const ComputeData* data, bool isCyclic);

/// All nodes upstream of `target`, depth first, `target` last: each comes after all that feed it. A node
/// that was waiting in two places stands twice in the order. Where links run in a circle, one of them
/// is left out; `logCycle` is for the caller to call, when it can bear that a sink changes the network.
///
/// A node counts as done by its name. Within `home` names are unique and a mark at the node says as
/// much; names are only compared where the walk meets nodes of another home.
struct WholeOrder {
    std::vector<Node*> nodes;
    bool isCyclic;
};
WholeOrder wholeOrder(Node& target, const NodeSet& home);

/// All nodes upstream of several ones, and these, each once and after all that feed it. Nodes of different networks may
/// bear one name.
WholeOrder orderOfAll(const std::vector<Node*>& targets);

/// Says in the log that links run in a circle.
void logCycle();

/// Whether links between dirty nodes upstream of `target` run in a circle.
bool runsInACircle(Node& target);

/// Computes a node. One that throws is dirty afterwards, whatever it did to its own flag.
void computeOrLeaveDirty(Node& node, const ComputeData* data);

/// Computes a node and marks it clean, if it is dirty. Sets its profile time to 0.
void computeIfDirty(Node& node, const ComputeData* data);

}  // namespace TessilGraph::internal
