#include <TessilGraph/graph/internal/StageRun.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/TraitsByte.h>

#include <TessilUtils/ParallelFor.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace TessilGraph::internal {

namespace {

// All times in nanoseconds.
constexpr float worthALoop = 8000.0f;
constexpr float smallestPart = 4000.0f;
constexpr float partsPerThread = 64.0f;
constexpr std::ptrdiff_t nodesAtOnce = 64;
constexpr float measuredAtOnce = 2000.0f;
constexpr float unknownGuess = 500.0f;  ///< Of a node that was never measured; it keeps batches small.
constexpr float slowNode = 500.0f;      ///< From here on measuring is cheap.
constexpr unsigned int batchesPerMeasure = 8;

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

void Failures::take(Node& node) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!any()) {
        first_ = std::current_exception();
        any_.store(true, std::memory_order_relaxed);
    }
    nodes_.push_back(&node);
}

void Failures::report() {
    if (any()) {
        for (Node* node : nodes_) {
            node->setDirty(true);
        }
        std::rethrow_exception(first_);
    }
}

double threadCount() {
    static const double count = std::max(1u, std::thread::hardware_concurrency());
    return count;
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
        computeInLoop(stage, group, left, average);
    } else {
        computeInTurn(nodes + starts[group], nodes + starts[stage.groupCount]);
    }
    failures_.report();
}

void StageRun::computeInTurn(Node* const* begin, Node* const* end) {
    while (begin != end) {
        Node* const* batchEnd = end - begin > nodesAtOnce ? begin + nodesAtOnce : end;
        if (!isToBeMeasured(Access::cost(**begin))) {
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

void StageRun::computeInLoop(const Stage& stage, std::size_t firstGroup, float total, float unknownCost) {
    const float partCost = std::max(smallestPart, total / (partsPerThread * static_cast<float>(threadCount())));
    parts_.clear();
    float cost = partCost;
    for (std::size_t group = firstGroup; group < stage.groupCount; ++group) {
        if (cost >= partCost) {
            parts_.push_back(stage.starts[group]);
            cost = 0.0f;
        }
        for (std::uint32_t i = stage.starts[group]; i < stage.starts[group + 1]; ++i) {
            const float own = Access::cost(*stage.nodes[i]);
            cost += own == 0.0f ? unknownCost : own;
        }
    }
    const auto partCount = static_cast<unsigned int>(parts_.size());
    parts_.push_back(stage.starts[stage.groupCount]);

    struct Loop {
        StageRun& run;
        Node* const* nodes;
        const std::uint32_t* parts;
    };
    const Loop loop{*this, stage.nodes, parts_.data()};
    TessilUtils::parallel_for(
        TessilUtils::ParallelForRange(0, partCount), [&loop](const TessilUtils::ParallelForRange& range) {
            for (unsigned int part = range.begin(); part != range.end(); ++part) {
                loop.run.computeInTurn(loop.nodes + loop.parts[part], loop.nodes + loop.parts[part + 1]);
            }
        });
}

}  // namespace TessilGraph::internal
