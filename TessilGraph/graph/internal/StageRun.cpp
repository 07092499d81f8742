#include <TessilGraph/graph/internal/StageRun.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/OrderPlan.h>
#include <TessilGraph/graph/internal/TraitsByte.h>

#include <TessilUtils/ParallelFor.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace TessilGraph::internal {

namespace {

// All times in nanoseconds.
constexpr float smallestPart = 4000.0f;
constexpr float partsPerThread = 64.0f;
constexpr std::ptrdiff_t nodesAtOnce = 64;
constexpr float measuredAtOnce = 2000.0f;
constexpr float unknownGuess = 500.0f;  ///< Of a node that was never measured; it keeps batches small.
constexpr float slowNode = 500.0f;      ///< From here on measuring is cheap.
constexpr unsigned int batchesPerMeasure = 32;
constexpr std::ptrdiff_t kernelsAtOnce = 1024;  ///< Of nodes that cannot fail.
constexpr unsigned int plannedBatchesPerMeasure = 16;

class Stopwatch {
public:
    float elapsed() const {
        const std::chrono::duration<float, std::nano> time = Clock::now() - start_;
        return time.count();
    }

private:
    using Clock = std::chrono::steady_clock;

    const Clock::time_point start_ = Clock::now();
};

/// Whether to measure a batch that begins with a node of that cost. Of fast nodes now and then one is.
bool isToBeMeasured(float cost) {
    static thread_local unsigned int batches = 0;
    return cost == 0.0f || cost >= slowNode || ++batches % batchesPerMeasure == 0;
}

/// The same for nodes with kernels, whose costs hardly change. The nodes themselves are not looked at.
bool arePlannedToBeMeasured() {
    static thread_local unsigned int batches = 0;
    return ++batches % plannedBatchesPerMeasure == 0;
}

/// Slow nodes are measured one by one.
Node* const* measuredBatch(Node* const* begin, Node* const* end) {
    float expected = 0.0f;
    while (begin != end && expected < measuredAtOnce) {
        const float cost = Access::cost(**begin);
        expected += cost == 0.0f ? unknownGuess : cost;
        ++begin;
    }
    return begin;
}

/// Keeps what was measured. A thread may be interrupted at any time, so a figure at most doubles.
void noteCost(Node* const* begin, Node* const* end, float elapsed) {
    const float each = std::max(1.0f, elapsed / static_cast<float>(end - begin));
    for (; begin != end; ++begin) {
        float& cost = Access::cost(**begin);
        cost = cost == 0.0f ? each : std::min(each, 2.0f * cost);
    }
}

}  // namespace

void Failures::take(Node& node) noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!any()) {
        first_ = std::current_exception();
        any_.store(true, std::memory_order_relaxed);
    }
    nodes_.push(node);
}

void Failures::report() {
    if (any()) {
        while (Node* node = nodes_.pop()) {
            node->setDirty(true);
        }
        std::rethrow_exception(first_);
    }
}

double threadCount() {
    static const double count = std::max(1u, std::thread::hardware_concurrency());
    return count;
}

float partCost(float total) {
    return std::max(smallestPart, total / (partsPerThread * static_cast<float>(threadCount())));
}

void StageRun::compute(const Stage& stage) {
    Node* const* const nodes = stage.nodes;
    const std::uint32_t* const starts = stage.starts;
    float known = 0.0f;
    std::uint32_t unknown = 0;
    std::size_t group = 0;
    if (stage.groupCount > 1 && threadCount() > 1.0) {
        bool alone = false;
        for (std::uint32_t i = starts[0]; i < starts[stage.groupCount]; ++i) {
            const float cost = Access::cost(*nodes[i]);
            known += cost;
            unknown += cost == 0.0f ? 1 : 0;
            alone = alone || TraitsByte::of(*nodes[i]).alone();
        }
        if (alone) {
            known = 0.0f;
            unknown = 0;
        }
    }

    // Group by group until what is left is worth a loop, or is sure not to be.
    float measured = 0.0f;
    std::uint32_t measuredCount = 0;
    while (unknown != 0 && group + 1 < stage.groupCount) {
        const float average = measuredCount == 0 ? 0.0f : measured / static_cast<float>(measuredCount);
        if (known + average * static_cast<float>(unknown) >= worthALoop) {
            break;
        }
        for (std::uint32_t i = starts[group]; i < starts[group + 1]; ++i) {
            const float before = Access::cost(*nodes[i]);
            known -= before;
            unknown -= before == 0.0f ? 1 : 0;
        }
        computeInTurn(nodes + starts[group], nodes + starts[group + 1]);
        for (std::uint32_t i = starts[group]; i < starts[group + 1]; ++i) {
            measured += Access::cost(*nodes[i]);
            ++measuredCount;
        }
        ++group;
    }
    const float average = measuredCount == 0 ? 0.0f : measured / static_cast<float>(measuredCount);
    const float left = known + average * static_cast<float>(unknown);
    if (group + 1 < stage.groupCount && left >= worthALoop) {
        pack(stage, group, left, average);
        computeInLoop({nodes, parts_.data(), parts_.size() - 1});
    } else {
        computeInTurn(nodes + starts[group], nodes + starts[stage.groupCount]);
    }
    failures_.report();
}

void StageRun::computeAsPlanned(const Stage& stage, const OrderPlan* plan) {
    plan_ = plan;
    planned_ = stage.nodes;
    if (stage.groupCount == 1) {
        computeInTurn(stage.nodes + stage.starts[0], stage.nodes + stage.starts[1]);
    } else {
        computeInLoop(stage);
    }
    plan_ = nullptr;
    failures_.report();
}

void StageRun::computeInTurn(Node* const* begin, Node* const* end) {
    const bool isPlanned = plan_ != nullptr && plan_->hasKernelsOnly();
    const std::ptrdiff_t atOnce = isPlanned ? kernelsAtOnce : nodesAtOnce;
    while (begin != end) {
        Node* const* batchEnd = end - begin > atOnce ? begin + atOnce : end;
        if (isPlanned ? !arePlannedToBeMeasured() : !isToBeMeasured(Access::cost(**begin))) {
            if (!computeBatch(begin, batchEnd)) {
                return;
            }
        } else {
            batchEnd = measuredBatch(begin, batchEnd);
            Stopwatch watch;
            if (!computeBatch(begin, batchEnd)) {
                return;
            }
            noteCost(begin, batchEnd, watch.elapsed());
        }
        begin = batchEnd;
    }
}

/// False when a node has thrown, here or elsewhere.
bool StageRun::computeBatch(Node* const* begin, Node* const* end) {
    for (Node* const* node = begin; node != end; ++node) {
        if (failures_.any()) {
            return false;
        }
        if (plan_ != nullptr) {
            node = planned_ + plan_->computeByKernels(static_cast<std::size_t>(node - planned_),
                                                      static_cast<std::size_t>(end - planned_));
            if (node == end) {
                return true;
            }
        }
        try {
            (*node)->compute(data_);
            Access::setClean(**node);
        } catch (...) {
            failures_.take(**node);
            return false;
        }
    }
    return true;
}

void StageRun::computeInLoop(const Stage& stage) {
    const struct {
        StageRun& run;
        const Stage& stage;
    } loop{*this, stage};
    const TessilUtils::ParallelForRange all(0, static_cast<unsigned int>(stage.groupCount));
    TessilUtils::parallel_for(all, [&loop](const TessilUtils::ParallelForRange& groups) {
        const std::uint32_t* const starts = loop.stage.starts;
        for (unsigned int group = groups.begin(); group != groups.end(); ++group) {
            loop.run.computeInTurn(loop.stage.nodes + starts[group], loop.stage.nodes + starts[group + 1]);
        }
    });
}

/// Puts groups together until they are worth being taken by a thread.
void StageRun::pack(const Stage& stage, std::size_t firstGroup, float total, float unknownCost) {
    const float enough = partCost(total);
    parts_.clear();
    float cost = enough;
    for (std::size_t group = firstGroup; group < stage.groupCount; ++group) {
        if (cost >= enough) {
            parts_.push_back(stage.starts[group]);
            cost = 0.0f;
        }
        for (std::uint32_t i = stage.starts[group]; i < stage.starts[group + 1]; ++i) {
            const float own = Access::cost(*stage.nodes[i]);
            cost += own == 0.0f ? unknownCost : own;
        }
    }
    parts_.push_back(stage.starts[stage.groupCount]);
}

}  // namespace TessilGraph::internal
