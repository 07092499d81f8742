#include <TessilGraph/graph/NodeMemory.h>

#include <TessilGraph/graph/internal/Access.h>

#include <algorithm>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define TESSILGRAPH_POISON 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TESSILGRAPH_POISON 1
#endif
#endif
#ifdef TESSILGRAPH_POISON
#include <sanitizer/asan_interface.h>
#endif

namespace TessilGraph::internal {

/// The head of a block; pieces follow.
struct NodeMemory::Block {
    std::atomic<std::uint32_t> pieces;  ///< Not given back yet.
    std::uint32_t used;                 ///< Bytes, this head included.
    std::uint32_t size;
    std::uint32_t wanted;  ///< Bytes beyond the node that were asked for, with or without success.
    PortRoom* room;        ///< Null for a piece on its own.
};

namespace {

using Block = NodeMemory::Block;

/// Stands before each piece.
struct Head {
    std::uint32_t toBlock;  ///< Bytes from the start of the block to the piece.
    std::uint32_t size;
};

constexpr std::uint32_t alignment = 8;
constexpr std::uint32_t mostRoom = 2048;  // Nodes with very many ports do without.

std::size_t roundUp(std::size_t size) {
    return (size + alignment - 1) / alignment * alignment;
}

Head& headOf(void* piece) {
    return static_cast<Head*>(piece)[-1];
}

Block& blockOf(void* piece) {
    return *reinterpret_cast<Block*>(static_cast<char*>(piece) - headOf(piece).toBlock);
}

Block* makeBlock(std::size_t size, PortRoom* room) {
    return new (::operator new(size)) Block{0, sizeof(Block), static_cast<std::uint32_t>(size), 0, room};
}

/// The caller has seen to it that there is room.
void* takePiece(Block& block, std::size_t size) {
    auto* head = new (reinterpret_cast<char*>(&block) + block.used) Head{};
    head->toBlock = block.used + static_cast<std::uint32_t>(sizeof(Head));
    head->size = static_cast<std::uint32_t>(size);
    block.used = head->toBlock + head->size;
    block.pieces.fetch_add(1, std::memory_order_relaxed);
    return head + 1;
}

/// A piece that is too large for the numbers in heads is a block that nobody else shares.
void* takeAlone(std::size_t size) {
    Block* block = makeBlock(sizeof(Block) + sizeof(Head) + size, nullptr);
    return takePiece(*block, size);
}

/// What was allocated last for a node whose construction has not begun yet.
struct Pending {
    Block* block;
    const char* begin;
    const char* end;
};
thread_local Pending pending{nullptr, nullptr, nullptr};

/// The block of the last node that was made on this thread. Never followed, only compared.
thread_local const Block* latest = nullptr;

}  // namespace

void* NodeMemory::allocateNode(std::size_t size, PortRoom& room) {
    const std::size_t nodeSize = roundUp(size);
    const std::size_t behind = room.load(std::memory_order_relaxed);
    Block* block = makeBlock(sizeof(Block) + sizeof(Head) + nodeSize + behind, &room);
    char* node = static_cast<char*>(takePiece(*block, nodeSize));
    pending = {block, node, node + nodeSize};
    return node;
}

Block* NodeMemory::claim(const void* node) noexcept {
    const char* address = static_cast<const char*>(node);
    Block* block = address >= pending.begin && address < pending.end ? pending.block : nullptr;
    pending = {nullptr, nullptr, nullptr};
    latest = block;
    return block;
}

void* NodeMemory::allocate(std::size_t size, const Node* node) {
    const std::size_t rounded = roundUp(size);
    Block* block = node != nullptr ? Access::block(*node) : nullptr;
    const std::size_t needed = sizeof(Head) + rounded;
    if (block == nullptr || needed > mostRoom) {
        return takeAlone(rounded);
    }
    block->wanted = std::min(block->wanted + static_cast<std::uint32_t>(needed), mostRoom + 1);
    if (needed <= block->size - block->used) {
        return takePiece(*block, rounded);
    }
    // What a node was given while it was the last one that was made, most likely the next will be, too.
    const bool isLast = block == latest;
    if (isLast && block->wanted <= mostRoom && block->wanted > block->room->load(std::memory_order_relaxed)) {
        block->room->store(block->wanted, std::memory_order_relaxed);
    }
    return takeAlone(rounded);
}

void* NodeMemory::tryAllocate(std::size_t size) noexcept {
    try {
        return allocate(size, nullptr);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void NodeMemory::release(void* piece) noexcept {
    if (piece == nullptr) {
        return;
    }
    Block& block = blockOf(piece);
#ifdef TESSILGRAPH_POISON
    __asan_poison_memory_region(piece, headOf(piece).size);
#endif
    if (pending.block == &block) {
        // The construction failed before the node's own began.
        pending = {nullptr, nullptr, nullptr};
    }
    if (block.pieces.fetch_sub(1, std::memory_order_acq_rel) == 1) {
#ifdef TESSILGRAPH_POISON
        __asan_unpoison_memory_region(&block, block.size);
#endif
        ::operator delete(&block);
    }
}

}  // namespace TessilGraph::internal
