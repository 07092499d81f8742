#include <TessilGraph/exec/internal/Chunks.h>

#include <algorithm>
#include <cmath>

namespace TessilGraph::internal {

namespace {

// In nanoseconds.
constexpr float chunkCost = 20000.0F;        ///< What a chunk should take: many times what it costs to hand one over.
constexpr float unknownNodeCost = 20000.0F;  ///< A node that was never timed: worth a chunk until more is known.
constexpr float unknownKernelCost = 5.0F;
constexpr double leastWork = 50000.0;    ///< Below this, waking another thread takes longer than it helps.
constexpr double handOverCost = 1500.0;  ///< Per chunk.
constexpr double leastGain = 0.85;       ///< Of the time on one thread.

}  // namespace

Chunks::Chunks(CompiledNetwork& form, const SlotSet& members)
    : form_(form), members_(members), meanOfGroup_(form.groups(), 0.0F) {
    cut();
    link();
    pending_ = std::make_unique<Pending[]>(ranges_.size());
    dirty_.reserve(ranges_.size());
    ready_.reserve(ranges_.size());
}

float Chunks::costOf(Slot slot) const {
    const float known = form_.cost(slot);
    return known >= 0.0F ? known : form_.hasKernel(slot) ? unknownKernelCost : unknownNodeCost;
}

/// Chunks end where they have taken enough, those of kernels at the end of a group, and around a node
/// that is worth a chunk of its own or has to be alone.
void Chunks::cut() {
    chunkOfSlot_.assign(form_.size(), none);
    Range open;
    const auto close = [&] {
        if (open.end > open.begin) {
            ranges_.push_back(open);
            cost_ += open.cost;
        }
        open = {};
    };
    for (std::uint32_t group = 0; group < form_.groups(); ++group) {
        const Bits bits = members_.group(group);
        float groupCost = 0.0F;
        for (Bits rest = bits; rest != 0; rest &= rest - 1) {
            const Slot slot = group * slotsPerGroup + lowestBit(rest);
            const float cost = costOf(slot);
            const bool alone = form_.isAlone(slot);
            const bool own = alone || (!form_.hasKernel(slot) && cost >= chunkCost / 2);
            if (own || (!form_.hasKernel(slot) && open.cost + cost > chunkCost)) {
                close();
            }
            if (open.end == open.begin) {
                open.begin = slot;
            }
            open.end = slot + 1;
            open.cost += cost;
            open.alone = alone;
            chunkOfSlot_[slot] = size();
            groupCost += cost;
            if (own) {
                close();
            }
        }
        if (bits != 0) {
            meanOfGroup_[group] = groupCost / static_cast<float>(countBits(bits));
        }
        if (open.cost >= chunkCost) {
            close();
        }
    }
    close();
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
            cost += chunkOfSlot_[slot] != none ? costOf(slot) : 0.0F;
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
    for (std::uint32_t group = 0; group < form_.groups(); ++group) {
        if (!form_.mayHoldDirty(group)) {
            continue;
        }
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
    }
}

bool Chunks::plan(unsigned int threads) {
    findDirty();
    return threads > 1 && pays(threads);
}

bool Chunks::pays(unsigned int threads) {
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
    const double together = std::max(path, plannedCost_ / threads) + handOverCost * static_cast<double>(dirty_.size());
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
    ready_.clear();
    for (std::size_t i = begin; i < end; ++i) {
        std::uint32_t waitsFor = 0;
        for (const Chunk source : sources_.of(dirty_[i])) {
            waitsFor += pending_[source].stage == stage_ ? 1 : 0;
        }
        pending_[dirty_[i]].waitsFor.store(waitsFor, std::memory_order_relaxed);
        if (waitsFor == 0) {
            ready_.push_back(dirty_[i]);
        }
    }
    for (const Chunk chunk : ready_) {
        start(chunk);
    }
    tasks_->wait();
}

void Chunks::start(Chunk chunk) {
    tasks_->run([](void* chunks,
                   std::uintptr_t started) { static_cast<Chunks*>(chunks)->runFrom(static_cast<Chunk>(started)); },
                this, chunk);
}

/// Computes a chunk and one after the other that becomes ready with it.
void Chunks::runFrom(Chunk chunk) {
    while (chunk != none && !control_->isStopped()) {
        try {
            run_->part(ranges_[chunk].begin, ranges_[chunk].end);
        } catch (...) {
            control_->stop();
            throw;
        }
        if (control_->isStopped()) {
            return;
        }
        chunk = finish(chunk);
    }
}

/// Hands over the chunks that waited for this one alone, but for the one that most depends on, which is
/// returned; `none` when there is none.
Chunks::Chunk Chunks::finish(Chunk chunk) {
    Chunk next = none;
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
            start(consumer);
        }
    }
    return next;
}

}  // namespace TessilGraph::internal
