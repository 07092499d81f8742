#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace TessilGraph {

class Node;
class NodeSet;

namespace internal {

class PreparedNodes;
struct KeptWalk;
struct WalkScratch;

/// What a network tells those who keep something prepared for it. They hold it too, so that it
/// outlives the network; all of it is raised or set by the network's nodes and ports.
struct NetworkState {
    NetworkState();
    ~NetworkState();

    /// Raised whenever a node or port comes or goes, a link is made or taken away, a list of links is
    /// lent out for editing, one of ports for the first time, or a port is bound to other storage. Edits of
    /// lists that were lent raise nothing, and neither do ports that may have outlived their owner.
    std::atomic<std::uint64_t> wiring{0};

    /// Raised whenever a node becomes dirty.
    std::atomic<std::uint64_t> marks{0};

    /// Raised whenever nodes or ports keep their dirty bytes or values elsewhere, wiring apart.
    std::uint64_t storage = 0;

    /// Raised whenever a node is given a profile time.
    std::atomic<std::uint64_t> profileTimes{0};

    /// Null when the network is gone.
    NodeSet* nodes = nullptr;

    /// Room for walks; empty while one is at it.
    std::unique_ptr<WalkScratch> scratch;

    /// The last walk that found everything dirty; empty while it is at work again.
    std::unique_ptr<KeptWalk> keptWalk;

    /// The compiled form of the network's nodes, while somebody has one.
    PreparedNodes* prepared = nullptr;

    /// Set while a prepared evaluation of the network runs.
    std::atomic<bool> running{false};

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
