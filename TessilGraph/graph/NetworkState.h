#pragma once

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
struct KeptWalk;
struct LevelWalks;
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

    /// Raised whenever a node becomes dirty.
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

    /// How many evaluations are under way, one from within another.
    std::atomic<std::uint32_t> evaluations{0};

    std::atomic<std::size_t> marked{0};  ///< Nodes marked one by one since that was looked at last; see MarkPlan.
    std::uint64_t markedWiring = 0;      ///< The wiring at that time.
    std::uint64_t markedStorage = 0;     ///< The same of `storage`.
    bool triedMarkPlan = false;          ///< Since both of them are as they are.
    std::unique_ptr<MarkPlan> markPlan;

    /// The compiled form of the network's nodes, while somebody has one.
    PreparedNodes* prepared = nullptr;

    /// Set while a prepared evaluation of the network runs.
    std::atomic<bool> running{false};

    /// Whether nodes of the network may be at work on several threads.
    bool isEvaluating() const {
        return running.load(std::memory_order_relaxed) || evaluations.load(std::memory_order_relaxed) != 0;
    }

    /// The dirty byte of the node at a position of the node set; close to those of its neighbours.
    std::atomic<std::uint8_t>& dirtyByte(std::uint32_t position) {
        return dirtyBytes_[position / bytesTogether][position % bytesTogether];
    }
    /// Makes room for the byte of that position.
    void reserveDirtyByte(std::uint32_t position);

    void noteWiring() { raise(wiring); }
    void noteMark() { raise(marks); }
    void noteProfileTime() { raise(profileTimes); }

private:
    /// Nodes that are computed side by side may raise a counter at the same time. It counts as raised
    /// then, by how much is of no matter.
    static void raise(std::atomic<std::uint64_t>& counter) {
        counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }

    static constexpr std::uint32_t bytesTogether = 4096;

    std::vector<std::unique_ptr<std::atomic<std::uint8_t>[]>> dirtyBytes_;
};

}  // namespace internal
}  // namespace TessilGraph
