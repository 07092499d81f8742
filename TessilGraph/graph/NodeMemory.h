#pragma once

#include <TessilGraph/Export.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace TessilGraph {

class Node;

namespace internal {

/// How much room the ports of a node class need beside a node. Learned from its first nodes, on any threads.
using PortRoom = std::atomic<std::uint32_t>;

/// Memory for nodes and ports, in pieces that are given back one by one.
///
/// A node and what is made for it while it is constructed lie in one block, so that who visits the node
/// finds the rest near by. The block is given back with its last piece: a port that left its node may
/// outlive it.
///
/// Threads: pieces of one block are taken by one thread at a time, and given back by any.
class TESSILGRAPH_API NodeMemory {
public:
    /// A piece for a node, with room behind it. `room` is raised when that turns out too small.
    static void* allocateNode(std::size_t size, PortRoom& room);

    /// A piece from the block of a node if there is room, otherwise one of its own. `node` may be null. A piece
    /// of its own may hold anything; one from a block what needs no more alignment than a pointer.
    static void* allocate(std::size_t size, const Node* node);

    /// A piece of its own; null when there is no memory.
    static void* tryAllocate(std::size_t size) noexcept;

    /// Null is ignored.
    static void release(void* piece) noexcept;

    struct Block;

    /// The block that was made for the node at this address on this thread just now; null if none was.
    static Block* claim(const void* node) noexcept;

    /// While a node gives back what it holds: what lies in its block, which may be null, is only counted,
    /// without a word to other threads.
    class Closing {
    public:
        explicit Closing(Block* block) noexcept;
        ~Closing();
        Closing(const Closing&) = delete;
        Closing& operator=(const Closing&) = delete;

    private:
        Block* block_;
    };
};

/// Where a port stands that is made for a node and needs no more alignment than a pointer.
struct Beside {
    const Node& node;
};

}  // namespace internal
}  // namespace TessilGraph
