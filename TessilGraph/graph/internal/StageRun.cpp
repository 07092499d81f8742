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
constexpr float measuredAtOnce = 2000.0f;
constexpr std::ptrdiff_t nodesMeasuredAtOnce = 64;
constexpr float unknownGuess = 500.0f;  ///< Of a node that was never measured; it keeps batches small.

class Stopwatch {
public:
    float lap() {
        const Clock::time_point now = Clock::now();
        const std::chrono::duration<float, std::nano> elapsed = now - last_;
        last_ = now;
        return elapsed.count();
    }

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point last_ = Clock::now();
};

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
    Stopwatch watch;
    while (begin != end) {
        float expected = 0.0f;
        Node* const* batchEnd = begin;
        do {
            const float cost = Access::cost(**batchEnd);
            expected += cost == 0.0f ? unknownGuess : cost;
            ++batchEnd;
        } while (batchEnd != end && batchEnd - begin < nodesMeasuredAtOnce && expected < measuredAtOnce);
        for (Node* const* node = begin; node != batchEnd; ++node) {
            if (failures_.any()) {
                return;
            }
            try {
                (*node)->compute(data_);
                (*node)->setDirty(false);
            } catch (...) {
                failures_.take(**node);
                return;
            }
        }
        noteCost(begin, batchEnd, watch.lap());
        begin = batchEnd;
    }
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
