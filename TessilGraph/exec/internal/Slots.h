#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

// Loads of sixteen bytes, each of which comes from memory in one piece, as one by one. ThreadSanitizer takes
// them for something else.
#if defined(__SSE2__) && !defined(__SANITIZE_THREAD__)
#define TESSILGRAPH_WIDE_LOADS 1
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#undef TESSILGRAPH_WIDE_LOADS
#endif
#endif
#endif

#if defined(TESSILGRAPH_WIDE_LOADS)
#include <emmintrin.h>
#endif

namespace TessilGraph::internal {

/// The nodes of a prepared network are numbered; a number is a slot. Sets of slots are kept as bits, 64
/// slots to a group.
using Slot = std::uint32_t;
using Bits = std::uint64_t;

inline constexpr Slot noSlot = ~Slot{0};
inline constexpr std::uint32_t slotsPerGroup = 64;
inline constexpr Bits allSlots = ~Bits{0};

inline std::uint32_t groupOf(Slot slot) {
    return slot / slotsPerGroup;
}
inline Bits bitOf(Slot slot) {
    return Bits{1} << slot % slotsPerGroup;
}
inline std::uint32_t lowestBit(Bits bits) {
    return static_cast<std::uint32_t>(__builtin_ctzll(bits));
}
inline std::uint32_t countBits(Bits bits) {
    return static_cast<std::uint32_t>(__builtin_popcountll(bits));
}

/// A set of slots.
class SlotSet {
public:
    SlotSet() = default;
    explicit SlotSet(std::size_t groups) : groups_(groups, 0) {}

    void add(Slot slot) { groups_[groupOf(slot)] |= bitOf(slot); }
    bool contains(Slot slot) const { return (groups_[groupOf(slot)] & bitOf(slot)) != 0; }
    Bits group(std::size_t group) const { return groups_[group]; }
    std::size_t groups() const { return groups_.size(); }

private:
    std::vector<Bits> groups_;
};

/// Bytes that several threads read and write one by one, and whoever scans them eight at a time.
class SharedBytes {
public:
    using Byte = std::atomic<std::uint8_t>;

    /// All zero; room for at least `size`, in whole groups.
    explicit SharedBytes(std::size_t size)
        : groups_((size + slotsPerGroup - 1) / slotsPerGroup), bytes_(new Group[groups_]()) {}

    std::size_t groups() const { return groups_; }
    Byte* data() { return bytes_[0].bytes; }
    Byte& operator[](std::size_t place) { return bytes_[place / slotsPerGroup].bytes[place % slotsPerGroup]; }

    /// A bit for each byte of a group that is not zero. Bytes are below 128.
    Bits nonZero(std::size_t group) const {
#if defined(TESSILGRAPH_WIDE_LOADS)
        const auto* quarters = reinterpret_cast<const __m128i*>(bytes_[group].bytes);
        const auto zerosOf = [quarters](int quarter) {
            const __m128i zeros = _mm_cmpeq_epi8(_mm_load_si128(quarters + quarter), _mm_setzero_si128());
            return static_cast<Bits>(static_cast<unsigned int>(_mm_movemask_epi8(zeros)));
        };
        return ~(zerosOf(0) | zerosOf(1) << 16 | zerosOf(2) << 32 | zerosOf(3) << 48);
#else
        Bits bits = 0;
        for (std::uint32_t word = 0; word < slotsPerGroup / 8; ++word) {
            const std::uint64_t bytes = __atomic_load_n(wordsOf(group) + word, __ATOMIC_RELAXED);
            const std::uint64_t highBits = (bytes + 0x7f7f7f7f7f7f7f7f) & 0x8080808080808080;
            // Gathers the highest bits of the eight bytes in the highest byte.
            bits |= ((highBits >> 7) * 0x0102040810204080 >> 56) << word * 8;
        }
        return bits;
#endif
    }

    bool anyIn(std::size_t group) const {
        std::uint64_t bytes = 0;
        for (std::uint32_t word = 0; word < slotsPerGroup / 8; ++word) {
            bytes |= __atomic_load_n(wordsOf(group) + word, __ATOMIC_RELAXED);
        }
        return bytes != 0;
    }

    void clearGroup(std::size_t group) {
        for (std::uint32_t word = 0; word < slotsPerGroup / 8; ++word) {
            __atomic_store_n(wordsOf(group) + word, 0, __ATOMIC_RELAXED);
        }
    }

private:
    struct alignas(slotsPerGroup) Group {
        Byte bytes[slotsPerGroup];
    };
    static_assert(sizeof(Group) == slotsPerGroup);

    using Words = std::uint64_t __attribute__((may_alias));
    Words* wordsOf(std::size_t group) const {
        return reinterpret_cast<Words*>(bytes_[group].bytes);
    }

    std::size_t groups_;
    std::unique_ptr<Group[]> bytes_;
};

}  // namespace TessilGraph::internal
