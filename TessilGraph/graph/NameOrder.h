#pragma once

#include <TessilGraph/graph/HashedName.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace TessilGraph {

/// Sorts things into ascending byte order of their names. `nameOf(item)` is a reference to a string.
///
/// Names are compared by the eight bytes behind what all of them begin with, and by the rest only
/// where these are equal.
///
/// Threads: touches nothing but the items and their names.
template <class Item, class NameOf>
class NameOrder {
public:
    static void sort(std::vector<Item>& items, NameOf nameOf) {
        if (items.size() > 1) {
            NameOrder(items, nameOf).sort();
        }
    }

private:
    struct Keyed {
        std::uint64_t key;
        Item item;
    };

    /// Below this many, comparing is cheaper than counting.
    static constexpr std::size_t fewItems = 64;

    NameOrder(std::vector<Item>& items, NameOf nameOf) : items_(items), nameOf_(nameOf) {}

    void sort() {
        const std::size_t common = commonLength();
        keyed_.reserve(items_.size());
        std::uint64_t varying = 0;
        bool ascending = true;
        for (const Item& item : items_) {
            const std::string& name = nameOf_(item);
            const std::uint64_t key = leadingBytes(name.data() + common, name.size() - common);
            if (!keyed_.empty()) {
                varying |= key ^ keyed_.front().key;
                ascending = ascending && keyed_.back().key < key;
            }
            keyed_.push_back({key, item});
        }
        if (ascending) {
            return;
        }
        if (keyed_.size() <= fewItems) {
            std::sort(keyed_.begin(), keyed_.end(), [](const Keyed& a, const Keyed& b) { return a.key < b.key; });
        } else {
            sortByByte(varying);
        }
        sortEqualKeys();
        std::transform(keyed_.begin(), keyed_.end(), items_.begin(), [](const Keyed& keyed) { return keyed.item; });
    }

    /// How many bytes all names begin with alike.
    std::size_t commonLength() const {
        const std::string& first = nameOf_(items_.front());
        std::size_t common = first.size();
        for (const Item& item : items_) {
            const std::string& name = nameOf_(item);
            const std::size_t end = std::min(common, name.size());
            common = 0;
            while (common < end && name[common] == first[common]) {
                ++common;
            }
        }
        return common;
    }

    /// From the last byte of the keys to the first, without those in which no key differs.
    void sortByByte(std::uint64_t varying) {
        std::vector<Keyed> sorted(keyed_.size());
        for (unsigned int shift = 0; shift < 64; shift += 8) {
            if ((varying >> shift & 0xff) == 0) {
                continue;
            }
            std::array<std::size_t, 256> places{};
            for (const Keyed& keyed : keyed_) {
                ++places[keyed.key >> shift & 0xff];
            }
            std::size_t place = 0;
            for (std::size_t& count : places) {
                place += std::exchange(count, place);
            }
            for (const Keyed& keyed : keyed_) {
                sorted[places[keyed.key >> shift & 0xff]++] = keyed;
            }
            keyed_.swap(sorted);
        }
    }

    void sortEqualKeys() {
        for (auto first = keyed_.begin(); first != keyed_.end();) {
            const auto last = std::find_if(first + 1, keyed_.end(),
                                           [key = first->key](const Keyed& other) { return other.key != key; });
            if (last - first > 1) {
                std::sort(first, last,
                          [this](const Keyed& a, const Keyed& b) { return nameOf_(a.item) < nameOf_(b.item); });
            }
            first = last;
        }
    }

    std::vector<Item>& items_;
    NameOf nameOf_;
    std::vector<Keyed> keyed_;
};

/// As `NameOrder::sort`.
///
/// Threads: as `NameOrder`.
template <class Item, class NameOf>
void sortByName(std::vector<Item>& items, NameOf nameOf) {
    NameOrder<Item, NameOf>::sort(items, nameOf);
}

}  // namespace TessilGraph
