#pragma once

#include <TessilGraph/graph/internal/OpenLists.h>
#include <TessilGraph/graph/internal/OrderPlan.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace TessilGraph {
class ComputeData;
class Node;
}  // namespace TessilGraph

namespace TessilGraph::internal {

struct NetworkState;

/// Which nodes of a network feed each node, as plain numbers, and an `OrderPlan` of all nodes, so that a
/// walk and the computes that follow touch neither nodes nor ports that have a kernel. It holds as long
/// as the network's wiring and storage do.
class WalkPlan {
public:
    /// Null when there can be no plan: links that lead out of the network, that may run in a circle, or
    /// that may change without anybody being told; or nodes with a profile time; or where there is no memory for it.
    static std::unique_ptr<WalkPlan> make(NetworkState& network) noexcept;

    /// Whether it holds, and all profile times are 0, where a walk leaves them.
    bool isCurrent() const { return nodePlan_->isCurrent() && nodePlan_->knowsProfileTimes() && lists_.stand(); }

    /// Computes what `computeUpstream` does.
    void compute(const Node& target, const ComputeData* data);

    /// Computes what `computeInLevels` does, if these are few nodes with kernels, and levels come to the same as
    /// any order: how often they run then, nobody can tell. False, with nothing computed, if not. So few
    /// kernels take so little time that other threads would be no help.
    bool computeFewOfLevels(const Node& target);

    /// Where nodes of the network stand in this plan, and in every one under the same wiring.
    std::vector<std::uint32_t> placesOf(const std::vector<Node*>& nodes) const;

    /// Whether none of the nodes at these places is clean and reads a dirty one. A walk finds dirty nodes in
    /// the order then in which it finds them when all are dirty.
    bool hideNothing(const std::vector<std::uint32_t>& places) const;

private:
    /// A node on the way from the target up to the one where the walk is.
    struct Step {
        std::uint32_t node;
        std::uint32_t next;    ///< Of `sources_`, where the walk goes on when it comes back.
        std::uint32_t opened;  ///< The number that was next when the walk came here first.
    };

    static constexpr std::uint32_t few = 256;

    explicit WalkPlan(NetworkState& network);

    bool addSources(std::uint32_t place);
    bool compile();
    std::size_t gather(std::uint32_t target);
    std::size_t gatherFewOfLevels(std::uint32_t target);
    bool arrangeCleanOnes(std::uint32_t first, std::uint32_t count);
    void sortByLevel(std::array<std::uint32_t, few>& levels, std::uint32_t count);
    void makeRoomForNumbers();

    NetworkState& network_;
    std::vector<Node*> nodes_;             ///< Those that stand under their own names, by position.
    std::vector<std::uint32_t> places_;    ///< Where the node of a position stands among them.
    std::vector<std::uint32_t> starts_;    ///< Where its sources begin; one more at the end.
    std::vector<std::uint32_t> sources_;   ///< In the order in which a walk visits them, each once.
    OpenLists lists_;                      ///< Of all nodes; few of them.
    std::unique_ptr<OrderPlan> nodePlan_;  ///< Of `nodes_`.

    // Room for a walk. It numbers what it puts into the order, beyond the numbers of earlier walks.
    std::vector<std::uint32_t> numbers_;  ///< Of nodes, as the last walk numbered them that was there.
    std::uint32_t next_ = 1;
    std::unique_ptr<Step[]> path_;
    std::unique_ptr<std::uint32_t[]> order_;
};

/// What `computeUpstream` does, by the walk plan of the network; false when there is none that holds. The
/// target stands in the network.
bool computeByPlan(const Node& target, NetworkState& network, const ComputeData* data);

/// Whether so few nodes are better computed by a walk plan than by what goes through all of the network.
bool areFew(std::size_t nodes, const NetworkState& network);

/// Whether few nodes of the network became dirty since the last walk.
bool fewWereMarked(const NetworkState& network);

/// To be told that a walk has ended.
void noteMarksWalked(NetworkState& network);

/// What `computeInLevels` does, by the walk plan of the network, where that is possible and there is little to do.
/// False, with nothing computed, where not.
bool computeFewOfLevelsByPlan(const Node& target, NetworkState& network);

/// To be told how many nodes a walk without a plan computed. When they come to more than the whole network
/// while the wiring stays, the network gets a plan.
void noteWalked(NetworkState& network, std::size_t count);

}  // namespace TessilGraph::internal
