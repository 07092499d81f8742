#pragma once

#include <TessilGraph/graph/internal/OrderPlan.h>

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

/// A level walk over pure nodes, each of which is computed once, after its sources.
///
/// The level walk computes a node once for each distance at which it feeds the target. At the farthest
/// one its inputs are final already, so that the repeats of a pure node change nothing, and in which
/// order pure nodes run, nobody can tell. Others are allowed in two places: nodes that nothing feeds run
/// before all pure ones, as in the level walk, and the target runs after them.
///
/// Elsewhere repeats may show, and the caller goes level by level: where another node is not pure, since
/// it may change what a pure node reads without a link; where a clean node reads what is computed, since
/// its last compute may come too early to see that; where an input is linked to an input.
class PureWalk {
public:
    enum class Found {
        PureNodes,  ///< `compute` may be called.
        Circle,     ///< Links between dirty nodes run in a circle.
        Others,
    };

    /// What was found last time is taken again if everything upstream is dirty once more and the wiring
    /// is the same.
    Found gather(Node& target, const NetworkState& network);
    void compute(const ComputeData* data);
    std::size_t size() const { return order_.size(); }

private:
    struct Open {
        Node* node;
        std::uint32_t nextInput;
        std::uint32_t begin;  ///< How many nodes stood in the order when it was opened.
    };

    /// A piece of the order. It reads what stands before it only.
    struct Segment {
        std::uint32_t begin;
        std::uint32_t end;
        std::uint32_t tier;  ///< Higher than those of the segments that it reads.
        double cost;
    };

    /// Nodes or segments that may be computed side by side.
    struct Rank {
        std::size_t count = 0;
        double cost = 0.0;
        double largest = 0.0;
    };

    /// What the place of a node in the order says of it.
    struct Placed {
        std::uint32_t segment;
        std::uint32_t level;  ///< Higher than those of the nodes that it reads.
    };

    enum class Step { Done, Descend, Circle, Others };

    bool isCurrent(const Node& target, const NetworkState& network);
    Found gatherAnew(Node& target);
    Found walk(Node& target);
    Step nextSource(Open& open, std::uint64_t openMark, Node*& source);
    bool takeWithoutSources(Node& node);
    bool feedersReadNothingHere() const;
    void append(Node& node, std::uint32_t begin);

    bool areAllDirty() const;
    void sumUp();
    bool isWorthPlanning() const;
    bool findScale();
    bool areTiny() const;
    bool isWorthALoop(const Rank& rank) const;
    void plan();
    void takeAsItStands();
    void judge(double elapsed);
    void noteTimeInTurn(double elapsed);
    void findKernels();
    void cut();
    void rank();
    void sortByLevel();
    void sortBySegment();
    static void add(std::vector<Rank>& ranks, std::uint32_t index, double cost);
    double expectedTime(const std::vector<Rank>& ranks) const;

    // When the order holds.
    const Node* target_ = nullptr;  ///< Null when it need not hold any longer than this walk.
    const NetworkState* network_ = nullptr;
    std::uint64_t wiring_ = 0;
    bool isTold_ = false;          ///< The network tells when anything changes that was looked at.
    unsigned int uses_ = 0;        ///< For how many walks it has been taken again.
    double planCost_ = 0.0;        ///< What the order cost when it was planned; 0 while it is computed as it stands.
    unsigned int failedUses_ = 0;  ///< How often the plan took longer than that, less the times it did not.
    unsigned int planFrom_ = 0;    ///< The number of uses before which there is no further plan.
    double timeInTurn_ = 0.0;      ///< What the order takes as it stands; 0 while that is not known.
    unsigned int inTurnAt_ = 0;    ///< The number of uses at which it is computed so again, to know.
    unsigned int inTurnStep_ = 0;  ///< And how many uses after that.

    std::uint64_t closedMark_ = 0;
    std::vector<Open> open_;
    std::vector<Node*> order_;           ///< The pure nodes, sources first.
    std::vector<std::uint32_t> begins_;  ///< For each of these, where what was found through it begins.
    std::vector<Node*> first_;           ///< Those that are not pure and that nothing feeds.
    std::vector<Node*> feeders_;         ///< Clean ones that something feeds.
    Node* last_ = nullptr;               ///< The target, if it is not pure.
    double cost_ = 0.0;                  ///< Of the order, as far as it is known.
    double scale_ = 1.0;                 ///< What part of that it takes in turn.

    std::vector<double> costBefore_;
    std::vector<Segment> segments_;
    std::vector<Placed> placed_;
    std::vector<Rank> tiers_;
    std::vector<Rank> levels_;

    // The plan: stages of groups; see StageRun.
    const std::vector<Node*>* planned_ = nullptr;  ///< The order as it stands, or sorted.
    std::vector<Node*> sorted_;
    std::vector<std::uint32_t> starts_;
    std::vector<std::size_t> stages_;  ///< Where the starts of each stage start, and where the last one ends.
    std::vector<std::uint32_t> firstStarts_;
    std::unique_ptr<OrderPlan> kernels_;  ///< Of the plan, from its second use on; null if there can be none.
    std::vector<std::uint32_t> parts_;
};

}  // namespace TessilGraph::internal
