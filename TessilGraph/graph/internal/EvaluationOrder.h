#pragma once

#include <vector>

namespace TessilGraph {
class ComputeData;
class Node;
class NodeSet;
}  // namespace TessilGraph

namespace TessilGraph::internal {

/// Nodes in an order in which each comes after all that feed it.
struct EvaluationOrder {
    std::vector<Node*> nodes;
    bool cyclic = false;  ///< Links run in a circle; one of them was left out.
};

enum class Gather { Dirty, All };

/// What stands upstream of `target`, depth first, `target` last. A node that was waiting in two
/// places stands twice in the order; a clean one, with `Gather::Dirty`, is left out and hides what
/// feeds it.
///
/// A node counts as done by its name. Within `home` names are unique and a mark at the node says as
/// much; names are only compared where the walk meets nodes of another home.
EvaluationOrder upstreamOrder(Node& target, Gather gather, const NodeSet& home);

/// Whether links between dirty nodes upstream of `target` run in a circle.
bool runsInACircle(Node& target);

/// Says in the log that a walk met a cycle.
void logCycle();

/// Computes the dirty nodes of an order, front to back, and marks them clean.
void computeInOrder(const std::vector<Node*>& order, const ComputeData* data);

}  // namespace TessilGraph::internal
