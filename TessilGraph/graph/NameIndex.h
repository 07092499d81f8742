#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

namespace TessilGraph {

/// For an index that knows positions and nothing else.
///
/// Threads: any number at once.
struct NothingBeside {};

/// Finds by the hash of a name the position at which somebody else keeps it. Eight bytes a name and what
/// is kept beside the position, at a load of at most four fifths.
///
/// Threads: const functions may run side by side.
template <class Beside>
class NameIndexWith {
public:
    /// Fewer than 2^32 - 1 of them fit.
    using Position = std::uint32_t;

    static constexpr Position none = std::numeric_limits<Position>::max();

    /// What the index knows of a name. Valid until a name comes or goes.
    struct Slot : Beside {
        Slot() = default;
        Slot(std::uint32_t hashOfName, Position at, const Beside& beside)
            : Beside(beside), hash(hashOfName), position(at) {}

        std::uint32_t hash = 0;
        Position position = none;
    };

    /// The position of that hash for which `isIt(position)`; `none` when there is none.
    template <class IsIt>
    Position find(std::uint32_t hash, IsIt isIt) const {
        return findSlot(hash, [&isIt](const Slot& slot) { return isIt(slot.position); }).position;
    }

    /// The slot of that hash for which `isIt(slot)`; one at `none` when there is none.
    template <class IsIt>
    const Slot& findSlot(std::uint32_t hash, IsIt isIt) const {
        if (slots_.empty()) {
            static const Slot empty;
            return empty;
        }
        for (std::size_t place = hash & mask();; place = (place + 1) & mask()) {
            const Slot& slot = slots_[place];
            if (slot.position == none || (slot.hash == hash && isIt(slot))) {
                return slot;
            }
        }
    }

    /// Says that the name of that hash will be looked for soon.
    void prefetch(std::uint32_t hash) const {
        if (!slots_.empty()) {
            const Slot* slot = &slots_[hash & mask()];
            __builtin_prefetch(slot);
            __builtin_prefetch(slot + 3);
        }
    }

    /// Most likely where `findSlot` will end.
    const Slot& guess(std::uint32_t hash) const {
        return findSlot(hash, [](const Slot&) { return true; });
    }

    /// Makes room for one more name, so that the next `insert` allocates nothing.
    void reserveOne() { reserve(size_ + 1); }

    /// Makes room for so many names altogether.
    void reserve(std::size_t names) {
        if (names * 5 > slots_.size() * 4) {
            resize(placesFor(names));
        }
    }

    /// The position is not in yet.
    void insert(std::uint32_t hash, Position position, const Beside& beside = {}) {
        reserveOne();
        put(Slot(hash, position, beside));
        ++size_;
    }

    /// The position is in, under that hash.
    void erase(std::uint32_t hash, Position position) {
        std::size_t hole = placeOf(hash, position);
        // Entries behind the hole that belong at it or before it move up, so that every entry can be
        // reached from its own place without a gap.
        for (std::size_t place = (hole + 1) & mask(); slots_[place].position != none; place = (place + 1) & mask()) {
            const std::size_t away = (place - slots_[place].hash) & mask();
            if (away >= ((place - hole) & mask())) {
                slots_[hole] = slots_[place];
                hole = place;
            }
        }
        slots_[hole] = Slot();
        --size_;
    }

    /// Keeps something else beside a position that is in, under that hash.
    void replace(std::uint32_t hash, Position position, const Beside& beside) {
        static_cast<Beside&>(slots_[placeOf(hash, position)]) = beside;
    }

    /// The same for all positions: `besideOf(position)`.
    template <class BesideOf>
    void replaceAll(BesideOf besideOf) {
        for (Slot& slot : slots_) {
            if (slot.position != none) {
                static_cast<Beside&>(slot) = besideOf(slot.position);
            }
        }
    }

    /// Says that what stood at `from` stands at `to` now.
    void move(std::uint32_t hash, Position from, Position to) { slots_[placeOf(hash, from)].position = to; }

    /// The same for all of them: `moved[from]` is where it stands now. Gives back room that is no longer
    /// needed, unless there is no memory for less.
    void moveAll(const std::vector<Position>& moved) noexcept {
        for (Slot& slot : slots_) {
            slot.position = slot.position != none ? moved[slot.position] : none;
        }
        try {
            resize(placesFor(size_));
        } catch (const std::bad_alloc&) {
        }
    }

    void clear() {
        slots_ = std::vector<Slot>();
        size_ = 0;
    }

private:
    std::size_t mask() const { return slots_.size() - 1; }

    std::size_t placeOf(std::uint32_t hash, Position position) const {
        std::size_t place = hash & mask();
        while (slots_[place].position != position) {
            place = (place + 1) & mask();
        }
        return place;
    }

    void put(const Slot& slot) {
        std::size_t place = slot.hash & mask();
        while (slots_[place].position != none) {
            place = (place + 1) & mask();
        }
        slots_[place] = slot;
    }

    static std::size_t placesFor(std::size_t names) {
        std::size_t places = 8;
        while (names * 5 > places * 4) {
            places *= 2;
        }
        return places;
    }

    void resize(std::size_t places) {
        std::vector<Slot> old(places);
        old.swap(slots_);
        for (const Slot& slot : old) {
            if (slot.position != none) {
                put(slot);
            }
        }
    }

    std::vector<Slot> slots_;  ///< Their number is a power of two.
    std::size_t size_ = 0;
};

using NameIndex = NameIndexWith<NothingBeside>;

}  // namespace TessilGraph
