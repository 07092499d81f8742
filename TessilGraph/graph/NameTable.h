#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace TessilGraph {

/// Names and what stands under them: found by hash, listed in ascending byte order.
///
/// Threads: const functions may run side by side.
template <class Value>
class NameTable {
public:
    using Entry = std::pair<const std::string, Value>;

    std::size_t size() const { return entries_.size(); }
    bool contains(const std::string& name) const { return entries_.count(name) != 0; }

    /// What stands under the name; null when nothing does. Valid until the name is erased.
    Value* find(const std::string& name) {
        const auto found = entries_.find(name);
        return found != entries_.end() ? &found->second : nullptr;
    }
    const Value* find(const std::string& name) const { return const_cast<NameTable*>(this)->find(name); }

    /// Puts a value under the name, in place of what stood there.
    void set(const std::string& name, Value value) {
        const auto [entry, added] = entries_.insert_or_assign(name, std::move(value));
        static_cast<void>(entry);
        if (added) {
            sorted_.clear();
        }
    }

    void erase(const std::string& name) {
        if (entries_.erase(name) != 0) {
            sorted_.clear();
        }
    }

    void clear() {
        entries_.clear();
        sorted_.clear();
    }

    /// All entries in ascending byte order of their names. Valid until a name is added or erased.
    const std::vector<Entry*>& sorted() {
        if (sorted_.size() != entries_.size()) {
            sorted_ = sortedEntries<Entry>(entries_);
        }
        return sorted_;
    }
    std::vector<const Entry*> sorted() const { return sortedEntries<const Entry>(entries_); }

    /// All entries, in no particular order.
    auto begin() { return entries_.begin(); }
    auto end() { return entries_.end(); }
    auto begin() const { return entries_.begin(); }
    auto end() const { return entries_.end(); }

private:
    /// The first eight bytes as a number that compares as they do, so that most comparisons of the
    /// sort stay clear of the strings.
    static std::uint64_t prefix(const std::string& name) {
        std::uint64_t number = 0;
        for (std::size_t i = 0; i < 8; ++i) {
            number = number << 8 | (i < name.size() ? static_cast<unsigned char>(name[i]) : 0U);
        }
        return number;
    }

    template <class E, class Entries>
    static std::vector<E*> sortedEntries(Entries& entries) {
        std::vector<std::pair<std::uint64_t, E*>> keyed;
        keyed.reserve(entries.size());
        for (E& entry : entries) {
            keyed.emplace_back(prefix(entry.first), &entry);
        }
        std::sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) {
            return a.first != b.first ? a.first < b.first : a.second->first < b.second->first;
        });
        std::vector<E*> sorted;
        sorted.reserve(keyed.size());
        for (const auto& [key, entry] : keyed) {
            sorted.push_back(entry);
        }
        return sorted;
    }

    std::unordered_map<std::string, Value> entries_;
    std::vector<Entry*> sorted_;  ///< The last listing; not valid when its length is not that of the table.
};

}  // namespace TessilGraph
