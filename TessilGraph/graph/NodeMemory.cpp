#include <TessilGraph/graph/NodeMemory.h>

#include <TessilGraph/graph/internal/Access.h>

#include <limits>
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

/// The head of a block; pieces follow, the first of them for the node.
struct NodeMemory::Block {
    std::atomic<std::uint32_t> pieces;  ///< Those not given back, as long as all that were taken are `manyPieces`.
    std::uint32_t used;                 ///< Bytes, this head included.
    std::uint32_t size;
    std::uint16_t taken;            ///< Pieces.
    std::uint16_t late;             ///< Bytes for which there was no room. Once it closes: pieces given back meanwhile.
    std::atomic<const void*> room;  ///< The `PortRoom`; null for a piece on its own. While it closes: on which thread.
};

namespace {

using Block = NodeMemory::Block;

/// Stands before each piece.
struct Head {
    std::uint32_t toBlock;  ///< Bytes from the start of the block to the piece.
    std::uint32_t size;
};

constexpr std::uint32_t alignment = 8;
static_assert((sizeof(Block) + sizeof(Head)) % alignof(std::max_align_t) == 0, "the first piece may hold anything");
constexpr std::uint32_t mostRoom = 2048;  // Nodes with very many ports do without.
constexpr std::uint32_t manyPieces = 1U << 30;

/// What an output takes when it gets a second link.
constexpr std::uint32_t roomForLinks = 32;

/// What a block needs beside its first piece fits behind that, too.
std::size_t roundUp(std::size_t size) {
    if (size > std::numeric_limits<std::size_t>::max() / 2) {
        throw std::bad_alloc();
    }
    return (size + alignment - 1) / alignment * alignment;
}

Head& headOf(void* piece) {
    return static_cast<Head*>(piece)[-1];
}

Block& blockOf(void* piece) {
    return *reinterpret_cast<Block*>(static_cast<char*>(piece) - headOf(piece).toBlock);
}

Block* makeBlock(std::size_t size, PortRoom* room) {
    return new (::operator new(size))
        Block{{manyPieces}, sizeof(Block), static_cast<std::uint32_t>(size), 0, 0, {room}};
}

Head& firstHead(Block& block) {
    return reinterpret_cast<Head&>(*(&block + 1));
}

/// The caller has seen to it that there is room.
void* takePiece(Block& block, std::size_t size) {
    auto* head = new (reinterpret_cast<char*>(&block) + block.used) Head{};
    head->toBlock = block.used + static_cast<std::uint32_t>(sizeof(Head));
    head->size = static_cast<std::uint32_t>(size);
    block.used = head->toBlock + head->size;
    ++block.taken;
    return head + 1;
}

/// A piece that is too large for the numbers in heads is a block that nobody else shares.
void* takeAlone(std::size_t size) {
    Block* block = makeBlock(sizeof(Block) + sizeof(Head) + size, nullptr);
    return takePiece(*block, size);
}

/// What a thread knows of the nodes that it makes and destroys.
struct ThreadsNodes {
    // What was allocated last for a node whose construction has not begun yet.
    Block* pending = nullptr;
    const char* begin = nullptr;
    const char* end = nullptr;

    /// The block of the last node that was made. Never followed, only compared.
    const Block* latest = nullptr;

    void forgetPending() {
        pending = nullptr;
        begin = nullptr;
        end = nullptr;
    }
};

// Every node passes here several times; the general model would ask a function for the address each time.
thread_local ThreadsNodes here __attribute__((tls_model("initial-exec")));

/// There was no room for so many bytes. What a node was given while it was the last one that was made, most
/// likely the next will be, too.
void noteLate(Block& block, std::size_t needed) {
    const void* known = block.room.load(std::memory_order_relaxed);
    const std::size_t late = block.late + needed;
    if (known == nullptr || known == &here || late > mostRoom) {
        return;
    }
    block.late = static_cast<std::uint16_t>(late);
    const std::size_t behind = block.used - sizeof(Block) - sizeof(Head) - firstHead(block).size;
    auto* room = static_cast<PortRoom*>(const_cast<void*>(known));
    if (&block == here.latest && behind + late <= mostRoom && behind + late > room->load(std::memory_order_relaxed)) {
        room->store(static_cast<std::uint32_t>(behind + late), std::memory_order_relaxed);
    }
}

}  // namespace

void* NodeMemory::allocateNode(std::size_t size, PortRoom& room) {
    const std::size_t nodeSize = roundUp(size);
    const std::size_t learned = room.load(std::memory_order_relaxed);
    const std::size_t behind = learned != 0 ? learned + roomForLinks : 0;
    Block* block = makeBlock(sizeof(Block) + sizeof(Head) + nodeSize + behind, &room);
    char* node = static_cast<char*>(takePiece(*block, nodeSize));
    here.pending = block;
    here.begin = node;
    here.end = node + nodeSize;
    return node;
}

Block* NodeMemory::claim(const void* node) noexcept {
    const char* address = static_cast<const char*>(node);
    Block* block = address >= here.begin && address < here.end ? here.pending : nullptr;
    here.forgetPending();
    here.latest = block;
    return block;
}

void* NodeMemory::allocate(std::size_t size, const Node* node) {
    const std::size_t rounded = roundUp(size);
    const std::size_t needed = sizeof(Head) + rounded;
    if (Block* block = node != nullptr ? Access::block(*node) : nullptr) {
        if (needed <= block->size - block->used) {
            return takePiece(*block, rounded);
        }
        noteLate(*block, needed);
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
    if (block.room.load(std::memory_order_relaxed) == &here) {
        ++block.late;
        return;
    }
    std::uint32_t pieces = 1;
    if (headOf(piece).toBlock == sizeof(Block) + sizeof(Head)) {
        // From now on nobody takes a piece.
        if (here.pending == &block) {
            here.forgetPending();  // The construction failed before the node's own began.
        }
        const bool wasClosed = block.room.load(std::memory_order_relaxed) == nullptr;
        pieces += manyPieces - block.taken + (wasClosed ? block.late : 0U);
    }
    if (block.pieces.fetch_sub(pieces, std::memory_order_acq_rel) == pieces) {
#ifdef TESSILGRAPH_POISON
        __asan_unpoison_memory_region(&block, block.size);
#endif
        ::operator delete(&block);
    }
}

NodeMemory::Closing::Closing(Block* block) noexcept : block_(block) {
    if (block_ != nullptr) {
        block_->late = 0;
        block_->room.store(&here, std::memory_order_relaxed);
    }
}

NodeMemory::Closing::~Closing() {
    if (block_ != nullptr) {
        block_->room.store(nullptr, std::memory_order_relaxed);
    }
}

}  // namespace TessilGraph::internal
