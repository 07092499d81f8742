#pragma once

#include <TessilGraph/graph/internal/LevelGroups.h>
#include <TessilGraph/graph/internal/PureWalk.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace TessilGraph {
class ComputeData;
class Node;
}  // namespace TessilGraph

namespace TessilGraph::internal {

struct NetworkState;

/// Computes what stands upstream of `target` in levels, the farthest first, the nodes of one level
/// side by side. False, with nothing computed, when links between dirty nodes run in a circle.
///
/// A node stands in one level for each distance at which it feeds the target, and is computed once
/// for each; a clean node that feeds a dirty one is computed too. Nodes of one level that read each
/// other are computed one after another, sources first, so that the result does not depend on the
/// number of threads. What a node throws reaches the caller, once; nodes that were not reached keep
/// their dirty flags.
///
/// Where nobody can tell, pure nodes are computed once and in another order; see PureWalk.
bool computeInLevels(Node& target, NetworkState& network, const ComputeData* data);

/// The levels of a walk.
class Levels {
public:
    /// False when links run in a circle.
    bool gather(Node& target);
    void compute(const NetworkState& network, const ComputeData* data);

private:
    bool gather(Node& target, bool labelled);
    bool appendNext(std::size_t begin, bool labelled);

    // The nodes of all levels, nearest first; the last level holds those that nothing feeds.
    std::vector<Node*> nodes_;
    std::vector<std::size_t> levels_;  ///< Where each level starts among the nodes, and where the last one ends.
    std::vector<Node*> leaves_;
    std::uint64_t leavesMark_ = 0;

    // The same in groups.
    std::vector<std::uint32_t> starts_;
    std::vector<std::size_t> groups_;  ///< Where the starts of each level start.
    LevelGroups arranging_;
    std::vector<std::uint32_t> parts_;
};

/// What the level walks of a network keep from one to the next.
struct LevelWalks {
    PureWalk pure;
    Levels levels;
};

}  // namespace TessilGraph::internal
