#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace TessilGraph {

/// Finds by the hash of a name the position at which somebody else keeps it. Eight bytes a name, at
/// a load of at most four fifths.
///
/// Threads: const functions may run side by side.
class NameIndex {
public:
    /// Fewer than 2^32 - 1 of them fit.
    using Position = std::uint32_t;

    static constexpr Position none = std::numeric_limits<Position>::max();

    /// The position of that hash for which `isIt(position)`; `none` when there is none.
    template <class IsIt>
    Position find(std::uint32_t hash, IsIt isIt) const {
        if (slots_.empty()) {
            return none;
        }
        for (std::size_t place = hash & mask();; place = (place + 1) & mask()) {
            const Slot& slot = slots_[place];
            if (slot.position == none || (slot.hash == hash && isIt(slot.position))) {
                return slot.position;
            }
        }
    }

    /// Says that the name of that hash will be looked for soon.
    void prefetch(std::uint32_t hash) const {
        if (!slots_.empty()) {
            __builtin_prefetch(&slots_[hash & mask()]);
        }
    }

    /// Most likely where `find` will end; may be `none`.
    Position guess(std::uint32_t hash) const {
        return find(hash, [](Position) { return true; });
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
    void insert(std::uint32_t hash, Position position) {
        reserveOne();
        put({hash, position});
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
        slots_[hole].position = none;
        --size_;
    }

    /// Says that what stood at `from` stands at `to` now.
    void move(std::uint32_t hash, Position from, Position to) { slots_[placeOf(hash, from)].position = to; }

    /// The same for all of them: `moved[from]` is where it stands now. Gives back room that is no longer
    /// needed.
    void moveAll(const std::vector<Position>& moved) {
        for (Slot& slot : slots_) {
            slot.position = slot.position != none ? moved[slot.position] : none;
        }
        resize(placesFor(size_));
    }

    void clear() {
        slots_ = std::vector<Slot>();
        size_ = 0;
    }

private:
    struct Slot {
        std::uint32_t hash = 0;
        Position position = none;
    };

    std::size_t mask() const { return slots_.size() - 1; }

    std::size_t placeOf(std::uint32_t hash, Position position) const {
        std::size_t place = hash & mask();
        while (slots_[place].position != position) {
            place = (place + 1) & mask();
        }
        return place;
    }

    void put(Slot slot) {
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

}  // namespace TessilGraph
