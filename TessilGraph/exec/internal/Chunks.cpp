#include <TessilGraph/exec/internal/Chunks.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace TessilGraph::internal {

namespace {

using Clock = std::chrono::steady_clock;

// In nanoseconds.
constexpr float chunkCost = 20000.0F;  ///< What a chunk should take: many times what it costs to hand one over.
constexpr float leastCost = chunkCost / 2;
constexpr float mostCost = chunkCost * 1.5F;
constexpr double leastWork = 50000.0;    ///< Below this, waking another thread takes longer than it helps.
constexpr double wakeUpCost = 10000.0;   ///< Until another thread is there.
constexpr double handOverCost = 1000.0;  ///< Per chunk.
constexpr double leastGain = 0.85;       ///< Of the time on one thread.

constexpr std::chrono::microseconds longestWait(50);  ///< Of a thread that finds no chunk, until it goes to sleep.

void rest() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

}  // namespace

Chunks::Chunks(CompiledNetwork& form, const SlotSet& members)
    : form_(form), members_(members), chunkOfSlot_(form.size(), none), meanOfGroup_(form.groups(), 0.0F) {
    cut();
    averageCosts();
    link();
    pending_ = std::make_unique<Pending[]>(ranges_.size());
    ready_ = std::make_unique<ReadyChunks>(ranges_.size());
    dirty_.reserve(ranges_.size());
    first_.reserve(ranges_.size());
}

/// For each slot, how many links lead from slots before it to itself or slots behind it.
std::vector<std::uint32_t> Chunks::countCrossings() const {
    std::vector<std::uint32_t> crossings(form_.size() + std::size_t{1}, 0);
    for (Slot slot = 0; slot < form_.size(); ++slot) {
        if (!members_.contains(slot)) {
            continue;
        }
        for (const Slot source : form_.sources(slot)) {
            // Both are meant to overflow: what counts is their sum.
            ++crossings[source + 1];
            --crossings[slot + 1];
        }
    }
    std::uint32_t open = 0;
    for (std::uint32_t& crossing : crossings) {
        open += crossing;
        crossing = open;
    }
    return crossings;
}

/// A chunk ends where it has taken about enough, at the place there that the fewest links lead across, so
/// that what belongs together stays together; and around a node that is worth a chunk of its own or has to
/// be alone.
Chunks::Range Chunks::cutFrom(Slot begin, const std::vector<std::uint32_t>& crossings) const {
    Range open{begin, begin};
    Range best;
    std::uint32_t fewest = ~std::uint32_t{0};
    for (Slot slot = begin; slot < form_.size(); ++slot) {
        if (!members_.contains(slot)) {
            continue;
        }
        const float cost = form_.cost(slot);
        const bool alone = form_.isAlone(slot);
        if (alone || (!form_.hasKernel(slot) && cost >= leastCost)) {
            return open.end > open.begin ? open : Range{slot, slot + 1, alone, cost};
        }
        if (open.cost >= leastCost && crossings[slot] <= fewest) {
            fewest = crossings[slot];
            best = open;
        }
        if (open.cost + cost > mostCost && best.cost > 0.0F) {
            return best;
        }
        open.begin = open.end > open.begin ? open.begin : slot;
        open.end = slot + 1;
        open.cost += cost;
    }
    return open;
}

void Chunks::cut() {
    const std::vector<std::uint32_t> crossings = countCrossings();
    for (Range range = cutFrom(0, crossings); range.end > range.begin; range = cutFrom(range.end, crossings)) {
        for (Slot slot = range.begin; slot < range.end; ++slot) {
            chunkOfSlot_[slot] = members_.contains(slot) ? size() : none;
        }
        cost_ += range.cost;
        ranges_.push_back(range);
    }
}

void Chunks::averageCosts() {
    float costOfKernels = 0.0F;
    float kernels = 1.0F;
    for (std::uint32_t group = 0; group < form_.groups(); ++group) {
        const Bits bits = members_.group(group);
        float cost = 0.0F;
        for (Bits rest = bits; rest != 0; rest &= rest - 1) {
            const Slot slot = group * slotsPerGroup + lowestBit(rest);
            cost += form_.cost(slot);
            if (form_.hasKernel(slot)) {
                costOfKernels += form_.cost(slot);
                kernels += 1.0F;
            }
        }
        meanOfGroup_[group] = bits != 0 ? cost / static_cast<float>(countBits(bits)) : 0.0F;
    }
    kernelCost_ = costOfKernels / kernels;
}

void Chunks::link() {
    std::vector<Chunk> lastSeenBy(ranges_.size(), none);
    std::vector<std::uint32_t> counts(ranges_.size() + 1, 0);
    for (Chunk chunk = 0; chunk < size(); ++chunk) {
        sources_.starts.push_back(static_cast<std::uint32_t>(sources_.chunks.size()));
        for (Slot slot = ranges_[chunk].begin; slot < ranges_[chunk].end; ++slot) {
            if (chunkOfSlot_[slot] != chunk) {
                continue;
            }
            for (const Slot source : form_.sources(slot)) {
                const Chunk from = chunkOfSlot_[source];
                if (from != chunk && lastSeenBy[from] != chunk) {
                    lastSeenBy[from] = chunk;
                    sources_.chunks.push_back(from);
                    ++counts[from + 1];
                }
            }
        }
    }
    sources_.starts.push_back(static_cast<std::uint32_t>(sources_.chunks.size()));

    for (Chunk chunk = 0; chunk < size(); ++chunk) {
        counts[chunk + 1] += counts[chunk];
    }
    consumers_.starts = counts;
    consumers_.chunks.resize(sources_.chunks.size());
    for (Chunk chunk = 0; chunk < size(); ++chunk) {
        for (const Chunk from : sources_.of(chunk)) {
            consumers_.chunks[counts[from]++] = chunk;
        }
    }
    double longestPath = 0.0;
    for (Chunk chunk = size(); chunk-- > 0;) {
        float longest = 0.0F;
        for (const Chunk next : consumers_.of(chunk)) {
            longest = std::max(longest, ranges_[next].pathToEnd);
        }
        ranges_[chunk].pathToEnd = longest + ranges_[chunk].cost;
        longestPath = std::max(longestPath, static_cast<double>(ranges_[chunk].pathToEnd));
    }
    const auto cost = static_cast<double>(cost_);
    mayPay_ = cost >= leastWork && longestPath < leastGain * cost;
}

bool Chunks::areStale() const {
    float moved = 0.0F;
    for (const Range& range : ranges_) {
        float cost = 0.0F;
        for (Slot slot = range.begin; slot < range.end; ++slot) {
            cost += chunkOfSlot_[slot] != none ? form_.cost(slot) : 0.0F;
        }
        moved += std::abs(cost - range.cost);
    }
    return moved > cost_ / 2;
}

void Chunks::addDirty(Chunk chunk, float cost) {
    Pending& pending = pending_[chunk];
    if (pending.stage != stage_) {
        pending.stage = stage_;
        pending.cost = 0.0F;
        dirty_.push_back(chunk);
    }
    pending.cost += cost;
}

void Chunks::findDirty() {
    ++stage_;
    dirty_.clear();
    form_.forEachFlagged([this](std::uint32_t group) {
        Bits bits = form_.dirty().nonZero(group) & members_.group(group);
        while (bits != 0) {
            const Slot slot = group * slotsPerGroup + lowestBit(bits);
            const Chunk chunk = chunkOfSlot_[slot];
            const Slot end = ranges_[chunk].end;
            // What of the group stands in this chunk, which has no gaps but those who are no members.
            const Bits here = groupOf(end) > group ? bits : bits & (bitOf(end) - 1);
            addDirty(chunk, static_cast<float>(countBits(here)) * meanOfGroup_[group]);
            bits &= ~here;
        }
    });
}

bool Chunks::plan(std::uint32_t threads) {
    threads_ = threads;
    findDirty();
    return pays();
}

bool Chunks::pays() {
    double path = 0.0;
    plannedCost_ = 0.0;
    for (const Chunk chunk : dirty_) {
        float longest = 0.0F;
        for (const Chunk source : sources_.of(chunk)) {
            if (pending_[source].stage == stage_) {
                longest = std::max(longest, pending_[source].path);
            }
        }
        pending_[chunk].path = longest + pending_[chunk].cost;
        path = std::max(path, static_cast<double>(pending_[chunk].path));
        plannedCost_ += static_cast<double>(pending_[chunk].cost);
    }
    const double together = std::max(path, (plannedCost_ + wakeUpCost) / threads_) +
                            handOverCost * static_cast<double>(dirty_.size()) / threads_;
    return plannedCost_ >= leastWork && together < leastGain * plannedCost_;
}

void Chunks::run(Run& run, RunControl& control) {
    TaskGroup tasks;
    run_ = &run;
    control_ = &control;
    tasks_ = &tasks;
    // Stages end before and after a chunk that has to be alone.
    std::size_t begin = 0;
    for (std::size_t i = 0; i < dirty_.size() && form_.anyAlone() && !control.isStopped(); ++i) {
        if (ranges_[dirty_[i]].alone) {
            runStage(begin, i);
            runStage(i, i + 1);
            begin = i + 1;
        }
    }
    runStage(begin, dirty_.size());
}

void Chunks::runStage(std::size_t begin, std::size_t end) {
    if (begin == end || control_->isStopped()) {
        return;
    }
    ++stage_;
    for (std::size_t i = begin; i < end; ++i) {
        pending_[dirty_[i]].stage = stage_;
    }
    // Found before any of them runs and lets the counts of others fall.
    first_.clear();
    for (std::size_t i = begin; i < end; ++i) {
        std::uint32_t waitsFor = 0;
        for (const Chunk source : sources_.of(dirty_[i])) {
            waitsFor += pending_[source].stage == stage_ ? 1 : 0;
        }
        pending_[dirty_[i]].waitsFor.store(waitsFor, std::memory_order_relaxed);
        if (waitsFor == 0) {
            first_.push_back(dirty_[i]);
        }
    }
    failure_ = nullptr;
    failed_.store(false, std::memory_order_relaxed);
    ready_->reset(first_);
    left_.store(static_cast<std::uint32_t>(end - begin), std::memory_order_relaxed);
    awake_.store(1, std::memory_order_relaxed);
    wake(static_cast<std::uint32_t>(first_.size() - 1));
    work(true);
    tasks_->wait();
    if (failure_ != nullptr) {
        std::rethrow_exception(std::exchange(failure_, nullptr));
    }
}

/// Asks for more threads, as far as there are any that sleep.
void Chunks::wake(std::uint32_t helpers) {
    for (; helpers > 0 && awake_.load() < threads_; --helpers) {
        awake_.fetch_add(1);
        tasks_->run([](void* chunks, std::uintptr_t) { static_cast<Chunks*>(chunks)->work(false); }, this);
    }
}

/// Computes ready chunks for as long as there are any. Throws nothing.
void Chunks::work(bool fromFront) {
    Chunk chunk = none;
    try {
        while (!control_->isStopped()) {
            if (chunk == none) {
                chunk = ready_->take(fromFront);
            }
            if (chunk != none) {
                run_->part(ranges_[chunk].begin, ranges_[chunk].end);
                if (control_->isStopped()) {
                    return;
                }
                chunk = finish(chunk);
            } else if (!waitForMore()) {
                return;
            }
        }
    } catch (...) {
        if (!failed_.exchange(true, std::memory_order_relaxed)) {
            failure_ = std::current_exception();
        }
        control_->stop();
    }
}

/// False when there won't be any more chunks, or not soon.
bool Chunks::waitForMore() {
    const Clock::time_point begin = Clock::now();
    do {
        for (int i = 0; i < 16; ++i) {
            if (ready_->any()) {
                return true;
            }
            if (left_.load(std::memory_order_relaxed) == 0 || control_->isStopped()) {
                return false;
            }
            rest();
        }
    } while (Clock::now() - begin < longestWait);
    // Whoever adds a chunk looks at this count afterwards.
    awake_.fetch_sub(1);
    if (!ready_->any()) {
        return false;
    }
    awake_.fetch_add(1);
    return true;
}

/// Hands over the chunks that waited for this one alone, but for the one that most depends on, which is
/// returned; `none` when there is none.
Chunks::Chunk Chunks::finish(Chunk chunk) {
    Chunk next = none;
    std::uint32_t added = 0;
    for (Chunk consumer : consumers_.of(chunk)) {
        Pending& pending = pending_[consumer];
        if (pending.stage != stage_ || pending.waitsFor.fetch_sub(1, std::memory_order_acq_rel) != 1) {
            continue;
        }
        if (next != none && ranges_[consumer].pathToEnd > ranges_[next].pathToEnd) {
            std::swap(consumer, next);
        }
        if (next == none) {
            next = consumer;
        } else {
            ready_->add(consumer);
            ++added;
        }
    }
    wake(added);
    left_.fetch_sub(1, std::memory_order_relaxed);
    return next;
}

}  // namespace TessilGraph::internal
