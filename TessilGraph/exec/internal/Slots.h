#pragma once

#include <TessilGraph/graph/internal/ByteRow.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

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
    using Byte = FlagByte;

    /// All zero; room for at least `size`, in whole groups.
    explicit SharedBytes(std::size_t size)
        : groups_((size + slotsPerGroup - 1) / slotsPerGroup), bytes_(new Group[groups_]()) {}

    std::size_t groups() const { return groups_; }
    Byte* data() { return bytes_[0].bytes; }
    Byte& operator[](std::size_t place) { return bytes_[place / slotsPerGroup].bytes[place % slotsPerGroup]; }

    /// A bit for each byte of a group that is not zero. Bytes are below 128.
    Bits nonZero(std::size_t group) const { return nonZeroBytes(bytes_[group].bytes); }

    bool anyIn(std::size_t group) const { return isAnyNonZero(bytes_[group].bytes); }

    void clearGroup(std::size_t group) {
        for (std::size_t word = 0; word < slotsPerGroup / sizeof(FlagWord); ++word) {
            __atomic_store_n(wordsOf(bytes_[group].bytes) + word, 0, __ATOMIC_RELAXED);
        }
    }

private:
    struct alignas(slotsPerGroup) Group {
        Byte bytes[slotsPerGroup];
    };
    static_assert(sizeof(Group) == slotsPerGroup && slotsPerGroup == bytesPerRow);

    std::size_t groups_;
    std::unique_ptr<Group[]> bytes_;
};

}  // namespace TessilGraph::internal
