#pragma once

#include <TessilGraph/graph/internal/ByteRow.h>
#include <TessilGraph/graph/internal/Repetition.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace TessilGraph {

class Node;
class NodeSet;

namespace internal {

class MarkPlan;
class PreparedNodes;
class RunningOrder;
class WalkPlan;
struct KeptWalk;
struct LevelWalks;
struct ResetUnderWay;
struct WalkScratch;

/// What a network tells those who keep something prepared for it, and what it keeps for its walks.
/// Prepared evaluations hold it too, so that it outlives the network.
struct NetworkState {
    NetworkState();
    ~NetworkState();

    /// Raised whenever a node comes, goes or gets another name, a port comes, goes or changes sides, a
    /// link is made or taken away, a list of links is lent out for editing, one of ports for the first
    /// time, or a port is bound to other storage. Edits of lists that were lent raise nothing, and neither
    /// do ports that may have outlived their owner.
    std::atomic<std::uint64_t> wiring{0};

    /// Raised whenever a node becomes dirty, by one for each node.
    std::atomic<std::uint64_t> marks{0};

    /// Raised whenever nodes or ports keep their dirty bytes or values elsewhere, wiring apart.
    std::uint64_t storage = 0;

    /// Raised whenever a node is given a profile time other than 0.
    std::atomic<std::uint64_t> profileTimes{0};

    /// Null when the network is gone.
    NodeSet* nodes = nullptr;

    /// Room for walks; empty while one is at it.
    std::unique_ptr<WalkScratch> scratch;

    /// The last walk that found everything dirty; empty while it is at work again.
    std::unique_ptr<KeptWalk> keptWalk;

    /// What level walks keep; empty while one is at it.
    std::unique_ptr<LevelWalks> levelWalks;

    /// The innermost order that is being computed by a serial walk; null while there is none.
    RunningOrder* runningOrder = nullptr;

    /// The innermost reset of the network that has not come to its end; null while there is none.
    ResetUnderWay* resetUnderWay = nullptr;

    /// Set once a link has led from here to a node outside, or from there to here.
    std::atomic<bool> linkedAbroad{false};

    /// How many evaluations are under way, one from within another.
    std::atomic<std::uint32_t> evaluations{0};

    Repetition marked;  ///< Nodes that were marked one by one.
    std::unique_ptr<MarkPlan> markPlan;

    std::uint64_t walkedMarks = 0;       ///< Of `marks`, after the last serial walk.
    Repetition walked;                   ///< Nodes that serial walks computed without this plan.
    std::unique_ptr<WalkPlan> walkPlan;  ///< Empty while a walk is at it.

    /// The compiled form of the network's nodes, while somebody has one.
    PreparedNodes* prepared = nullptr;

    /// Set while a prepared evaluation of the network runs.
    std::atomic<bool> running{false};

    /// Whether nodes of the network may be at work on several threads.
    bool isEvaluating() const {
        return running.load(std::memory_order_relaxed) || evaluations.load(std::memory_order_relaxed) != 0;
    }

    /// Where the dirty byte of the node at a position of the node set is, as long as no node comes; close
    /// to those of its neighbours.
    auto dirtyBytes() const {
        return [parts = dirtyBytes_.data()](std::uint32_t position) -> std::atomic<std::uint8_t>& {
            return parts[position / bytesTogether][position % bytesTogether];
        };
    }
    std::atomic<std::uint8_t>& dirtyByte(std::uint32_t position) { return dirtyBytes()(position); }

    /// Calls `visit(position)` with the positions below `end` whose bytes are not 0. Looks at many at once.
    template <class Visit>
    void forEachDirty(std::uint32_t end, Visit visit) const {
        const auto byteAt = dirtyBytes();
        for (std::uint32_t first = 0; first < end; first += bytesPerRow) {
            for (std::uint64_t bits = nonZeroBytes(&byteAt(first)); bits != 0; bits &= bits - 1) {
                const std::uint32_t position = first + static_cast<std::uint32_t>(__builtin_ctzll(bits));
                if (position < end) {  // Nodes that went may have left theirs behind.
                    visit(position);
                }
            }
        }
    }

    /// Makes room for the byte of that position.
    void reserveDirtyByte(std::uint32_t position);

    void noteWiring() { raise(wiring); }
    void noteMark() { raise(marks); }
    void noteMarks(std::size_t count) { raise(marks, count); }
    void noteProfileTime() { raise(profileTimes); }

private:
    /// Nodes that are computed side by side may raise a counter at the same time. It counts as raised
    /// then, if by less than it should be.
    static void raise(std::atomic<std::uint64_t>& counter, std::size_t by = 1) {
        counter.store(counter.load(std::memory_order_relaxed) + by, std::memory_order_relaxed);
    }

    static constexpr std::uint32_t bytesTogether = 4096;

    std::vector<std::unique_ptr<std::atomic<std::uint8_t>[]>> dirtyBytes_;
};

}  // namespace internal
}  // namespace TessilGraph
