#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace TessilGraph::internal {

/// The chunks that may be computed now. Several threads take them and add others.
///
/// Those that are ready from the beginning are taken from both ends: whoever comes back to the same end in
/// each run finds much of the memory in its cache. Those that are added later come first, the latest
/// before the others, since their sources were computed just now.
class ReadyChunks {
public:
    using Chunk = std::uint32_t;
    static constexpr Chunk none = ~Chunk{0};

    explicit ReadyChunks(std::size_t count) : below_(new std::atomic<Chunk>[count]) {}

    /// From here on `first` are ready. For one thread, while the others are away.
    void reset(const std::vector<Chunk>& first) {
        first_ = first.data();
        ends_.store(packed(0, static_cast<std::uint32_t>(first.size())), std::memory_order_relaxed);
        top_.store(packed(none, 0), std::memory_order_relaxed);
    }

    void add(Chunk chunk) {
        std::uint64_t top = top_.load();
        do {
            below_[chunk].store(low(top), std::memory_order_relaxed);
        } while (!top_.compare_exchange_weak(top, packed(chunk, high(top) + 1)));
    }

    /// `none` when no chunk is ready.
    Chunk take(bool fromFront) {
        for (std::uint64_t top = top_.load(); low(top) != none;) {
            // The count in the upper half tells that nobody took it and added it again meanwhile.
            const Chunk below = below_[low(top)].load(std::memory_order_relaxed);
            if (top_.compare_exchange_weak(top, packed(below, high(top) + 1))) {
                return low(top);
            }
        }
        for (std::uint64_t ends = ends_.load(); low(ends) != high(ends);) {
            const std::uint64_t rest =
                fromFront ? packed(low(ends) + 1, high(ends)) : packed(low(ends), high(ends) - 1);
            if (ends_.compare_exchange_weak(ends, rest)) {
                return first_[fromFront ? low(ends) : high(ends) - 1];
            }
        }
        return none;
    }

    bool any() const {
        const std::uint64_t ends = ends_.load();
        return low(ends) != high(ends) || low(top_.load()) != none;
    }

private:
    static std::uint64_t packed(std::uint32_t low, std::uint32_t high) { return std::uint64_t{high} << 32 | low; }
    static std::uint32_t low(std::uint64_t word) { return static_cast<std::uint32_t>(word); }
    static std::uint32_t high(std::uint64_t word) { return static_cast<std::uint32_t>(word >> 32); }

    static constexpr std::size_t cacheLine = 64;

    const Chunk* first_ = nullptr;
    std::unique_ptr<std::atomic<Chunk>[]> below_;  ///< For each chunk that was added, the one before it.
    alignas(cacheLine) std::atomic<std::uint64_t> ends_{0};
    alignas(cacheLine) std::atomic<std::uint64_t> top_{none};
};

}  // namespace TessilGraph::internal
