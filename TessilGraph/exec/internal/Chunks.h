#pragma once

#include <TessilGraph/exec/internal/CompiledNetwork.h>
#include <TessilGraph/exec/internal/ReadyChunks.h>
#include <TessilGraph/exec/internal/Run.h>
#include <TessilGraph/exec/internal/RunControl.h>
#include <TessilGraph/exec/internal/Slots.h>
#include <TessilGraph/exec/internal/Tasks.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <vector>

namespace TessilGraph::internal {

/// The members of a compiled network cut into chunks, to be computed side by side: stretches of slots that
/// take some twenty microseconds each, and who waits for whom among them. A chunk runs as soon as the last
/// dirty one that it waits for is done, on the thread that did that one if it can.
///
/// Threads take chunks from each other without asking the task group for each one: handing one over takes
/// far less than a microsecond as long as the others are awake, and who finds nothing to do stays awake for
/// a while.
class Chunks {
public:
    Chunks(CompiledNetwork& form, const SlotSet& members);

    /// Whether slots take so much more or less time than they did when the chunks were cut that these
    /// should be cut anew.
    bool areStale() const;

    /// What a slot with a kernel takes on average.
    float kernelCost() const { return kernelCost_; }

    /// Whether it can pay at all to compute them side by side.
    bool mayPay() const { return mayPay_; }

    /// Finds the dirty chunks, and says whether it pays to compute them side by side on that many threads.
    bool plan(std::uint32_t threads);

    /// The nanoseconds that the dirty chunks take one after the other, as far as that is known.
    double plannedCost() const { return plannedCost_; }

    /// The threads that were planned for.
    std::uint32_t threads() const { return threads_; }

    /// Computes what was planned. Throws the first exception of a node after all running ones have ended.
    void run(Run& run, RunControl& control);

private:
    using Chunk = ReadyChunks::Chunk;
    static constexpr Chunk none = ReadyChunks::none;

    struct Range {
        Slot begin = 0;
        Slot end = 0;
        bool alone = false;      ///< Not to be computed beside others.
        float cost = 0.0F;       ///< Of all members.
        float pathToEnd = 0.0F;  ///< Of the longest row of chunks that starts here.
    };

    /// What a run knows of a chunk.
    struct Pending {
        std::uint64_t stage = 0;  ///< The last one in which it was dirty. Chunks of one stage run side by side.
        std::atomic<std::uint32_t> waitsFor{0};
        float cost = 0.0F;
        float path = 0.0F;  ///< Of the longest row of dirty chunks that ends here.
    };

    /// For each chunk, other chunks.
    struct Links {
        std::vector<Chunk> chunks;
        std::vector<std::uint32_t> starts;

        struct List {
            const Chunk* first;
            const Chunk* last;
            const Chunk* begin() const { return first; }
            const Chunk* end() const { return last; }
        };
        List of(Chunk chunk) const { return {chunks.data() + starts[chunk], chunks.data() + starts[chunk + 1]}; }
    };

    Chunk size() const { return static_cast<Chunk>(ranges_.size()); }
    std::vector<std::uint32_t> countCrossings() const;
    Range cutFrom(Slot begin, const std::vector<std::uint32_t>& crossings) const;
    void cut();
    void averageCosts();
    void link();
    void addDirty(Chunk chunk, float cost);
    void findDirty();
    bool pays();
    void runStage(std::size_t begin, std::size_t end);
    void wake(std::uint32_t helpers);
    void work(bool fromFront);
    bool waitForMore();
    Chunk finish(Chunk chunk);

    CompiledNetwork& form_;
    const SlotSet& members_;
    std::vector<Range> ranges_;
    std::vector<Chunk> chunkOfSlot_;
    std::vector<float> meanOfGroup_;  ///< What a member of a group takes on average.
    Links sources_;
    Links consumers_;
    float cost_ = 0.0F;
    float kernelCost_ = 0.0F;
    bool mayPay_ = false;

    std::unique_ptr<Pending[]> pending_;
    std::vector<Chunk> dirty_;  ///< In ascending order.
    std::vector<Chunk> first_;  ///< Those that wait for no other when a stage begins.
    std::uint64_t stage_ = 0;
    double plannedCost_ = 0.0;
    std::uint32_t threads_ = 1;

    // Of the run under way.
    Run* run_ = nullptr;
    RunControl* control_ = nullptr;
    TaskGroup* tasks_ = nullptr;
    std::exception_ptr failure_;  ///< The first one, once `failed_` is set.
    std::atomic<bool> failed_{false};
    std::unique_ptr<ReadyChunks> ready_;
    alignas(64) std::atomic<std::uint32_t> left_{0};  ///< Chunks of the stage that are not done.
    std::atomic<std::uint32_t> awake_{0};             ///< Threads that look for chunks, or were asked to.
};

}  // namespace TessilGraph::internal
