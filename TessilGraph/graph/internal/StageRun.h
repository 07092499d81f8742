#pragma once

#include <TessilGraph/graph/internal/NodeRow.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <vector>

namespace TessilGraph {
class ComputeData;
class Node;
}  // namespace TessilGraph

namespace TessilGraph::internal {

class OrderPlan;

/// Keeps the first exception of several threads, so that it may pass through any parallel loop, and
/// the nodes that threw. Asks for no memory.
class Failures {
public:
    bool any() const { return any_.load(std::memory_order_relaxed); }

    /// Takes the exception that is being handled.
    void take(Node& node) noexcept;

    /// Marks the nodes that threw dirty, clean ones too that are computed a second time, and throws.
    void report();

private:
    std::mutex mutex_;
    std::atomic<bool> any_{false};
    std::exception_ptr first_;
    NodeRow nodes_;
};

/// The nodes of one stage in groups that may be computed side by side; the nodes of a group are
/// computed one after another.
struct Stage {
    Node* const* nodes;
    const std::uint32_t* starts;  ///< Where each group starts among the nodes, and where the last one ends.
    std::size_t groupCount;
};

/// How many threads a loop can count on.
double threadCount();

// All in nanoseconds.

/// From here on a loop may be worth it.
inline constexpr float worthALoop = 8000.0f;

/// What a loop costs whoever starts it.
inline constexpr double loopCost = 3000.0;

/// What a part of a loop should take, where all of it takes `total`.
float partCost(float total);

/// Computes stages, on several threads where that is worth it, and marks their nodes clean.
///
/// What a node takes is measured and kept with the node for the next time. It decides on which thread
/// a node is computed and on nothing else, so that no result depends on time. A stage with a node that
/// must run alone stays on the caller's thread.
class StageRun {
public:
    /// `parts` is working memory.
    StageRun(const ComputeData* data, std::vector<std::uint32_t>& parts) : data_(data), parts_(parts) {}

    /// Throws what a node throws, once, after all that were being computed have ended.
    void compute(const Stage& stage);

    /// The same, with all groups of a stage shared out to threads as they are. The nodes are those of
    /// `plan` if there is one, and those that it has kernels for are not touched.
    void computeAsPlanned(const Stage& stage, const OrderPlan* plan);

private:
    void computeInTurn(Node* const* begin, Node* const* end);
    bool computeBatch(Node* const* begin, Node* const* end);
    void computeInLoop(const Stage& stage);
    void pack(const Stage& stage, std::size_t firstGroup, float total, float unknownCost);

    const ComputeData* data_;
    std::vector<std::uint32_t>& parts_;
    const OrderPlan* plan_ = nullptr;
    Node* const* planned_ = nullptr;  ///< The first node of the plan.
    Failures failures_;
};

}  // namespace TessilGraph::internal
