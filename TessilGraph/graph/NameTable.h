#pragma once

#include <TessilGraph/graph/HashedName.h>
#include <TessilGraph/graph/NameIndex.h>
#include <TessilGraph/graph/NameOrder.h>

#include <cstddef>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace TessilGraph {

/// Names and what stands under them: found by hash, listed in ascending byte order.
///
/// Threads: const functions may run side by side.
template <class Value>
class NameTable {
public:
    struct Entry {
        std::string name;
        Value value;
    };

    bool isEmpty() const { return entries_.empty(); }

    /// What stands under the name; null when nothing does. Valid until a name is added or erased.
    Value* find(const HashedName& name) {
        const NameIndex::Position position = positionOf(name);
        return position != NameIndex::none ? &entries_[position].value : nullptr;
    }
    const Value* find(const HashedName& name) const { return const_cast<NameTable*>(this)->find(name); }

    /// False, with nothing changed, when the name is taken.
    bool add(const HashedName& name, Value value) {
        if (positionOf(name) != NameIndex::none) {
            return false;
        }
        index_.reserveOne();
        entries_.push_back({std::string(name.text()), std::move(value)});
        index_.insert(name.hash(), static_cast<NameIndex::Position>(entries_.size() - 1));
        return true;
    }

    /// What stands under the name; a value by default where nothing does yet.
    Value& at(const HashedName& name) {
        add(name, Value());
        return *find(name);
    }

    /// False when the name is unknown.
    bool erase(const HashedName& name) {
        const NameIndex::Position position = positionOf(name);
        if (position == NameIndex::none) {
            return false;
        }
        index_.erase(name.hash(), position);
        const auto last = static_cast<NameIndex::Position>(entries_.size() - 1);
        if (position != last) {
            index_.move(HashedName(entries_[last].name).hash(), last, position);
            entries_[position] = std::move(entries_[last]);
        }
        entries_.pop_back();
        return true;
    }

    std::size_t size() const { return entries_.size(); }

    /// Takes out what was added last, until so many are left. Nothing was erased since the first of these was added.
    void keepFirst(std::size_t count) noexcept {
        while (entries_.size() > count) {
            erase(std::string_view(entries_.back().name));
        }
    }

    void clear() {
        entries_ = std::vector<Entry>();
        index_.clear();
    }

    /// All entries in ascending byte order of their names. Valid until a name is added or erased.
    std::vector<Entry*> sorted() {
        std::vector<Entry*> entries;
        entries.reserve(entries_.size());
        for (Entry& entry : entries_) {
            entries.push_back(&entry);
        }
        sortByName(entries, [](const Entry* entry) -> const std::string& { return entry->name; });
        return entries;
    }
    std::vector<const Entry*> sorted() const {
        const std::vector<Entry*> entries = const_cast<NameTable*>(this)->sorted();
        return {entries.begin(), entries.end()};
    }

    /// Calls `visit(entry)` with all entries in that order; in another one where there is no memory to sort them.
    template <class Visit>
    void forEachSorted(Visit visit) {
        std::vector<Entry*> entries;
        try {
            entries = sorted();
        } catch (const std::bad_alloc&) {
        }
        if (entries.size() == entries_.size()) {
            for (Entry* entry : entries) {
                visit(*entry);
            }
        } else {
            for (Entry& entry : entries_) {
                visit(entry);
            }
        }
    }

    /// All entries, in no particular order.
    auto begin() { return entries_.begin(); }
    auto end() { return entries_.end(); }

private:
    NameIndex::Position positionOf(const HashedName& name) const {
        return index_.find(name.hash(),
                           [&](NameIndex::Position at) { return isSameText(entries_[at].name, name.text()); });
    }

    std::vector<Entry> entries_;
    NameIndex index_;
};

}  // namespace TessilGraph
