#pragma once

namespace TessilGraph {
class ComputeData;
class Node;
}  // namespace TessilGraph

namespace TessilGraph::internal {

/// Computes what stands upstream of `target` in levels, the farthest first, the nodes of one level
/// side by side. False, with nothing computed, when links between dirty nodes run in a circle.
///
/// A node stands in one level for each distance at which it feeds the target, and is computed once
/// for each; a clean node that feeds a dirty one is computed too. Nodes of one level that read each
/// other are computed one after another, sources first, so that the result does not depend on the
/// number of threads. What a node throws reaches the caller, once; nodes that were not reached keep
/// their dirty flags.
///
/// Where nobody can tell, pure nodes are computed once and in another order; see PureWalk.h.
bool computeInLevels(Node& target, const ComputeData* data);

}  // namespace TessilGraph::internal
