#include <TessilGraph/graph/internal/LevelGroups.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/internal/Access.h>

#include <algorithm>
#include <functional>
#include <numeric>

namespace TessilGraph::internal {

void LevelGroups::arrange(std::vector<Node*>& nodes, std::size_t begin, std::size_t end,
                          std::vector<std::uint32_t>& starts) {
    Node** const level = nodes.data() + begin;
    const auto count = static_cast<std::uint32_t>(end - begin);
    const auto first = static_cast<std::uint32_t>(begin);
    std::sort(level, level + count, std::less<>());
    findReadings(level, count);
    if (readings_.empty()) {
        for (std::uint32_t i = 0; i < count; ++i) {
            starts.push_back(first + i);
        }
        return;
    }
    joinReaders(count);
    putSourcesFirst(count);

    // Group by group in the order of their roots, each in the order found.
    groupEnd_.assign(count, 0);
    for (std::uint32_t i = 0; i < count; ++i) {
        ++groupEnd_[root(i)];
    }
    std::uint32_t next = 0;
    for (std::uint32_t& groupEnd : groupEnd_) {
        const std::uint32_t size = groupEnd;
        if (size != 0) {
            starts.push_back(first + next);
        }
        groupEnd = next;
        next += size;
    }
    arranged_.resize(count);
    for (const std::uint32_t i : order_) {
        arranged_[groupEnd_[root(i)]++] = level[i];
    }
    std::copy(arranged_.begin(), arranged_.end(), level);
}

void LevelGroups::findReadings(Node* const* level, std::uint32_t count) {
    readings_.clear();
    const std::uint64_t levelMark = nextStamp();
    for (std::uint32_t i = 0; i < count; ++i) {
        Access::mark(*level[i]) = levelMark;
        Access::place(*level[i]) = i;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        for (const Port* input : Access::inputs(*level[i])) {
            Node* source = input != nullptr ? endOfInputs(*input).node() : nullptr;
            if (source != nullptr && Access::mark(*source) == levelMark && source != level[i]) {
                readings_.push_back({Access::place(*source), i});
            }
        }
    }
}

void LevelGroups::joinReaders(std::uint32_t count) {
    parent_.resize(count);
    std::iota(parent_.begin(), parent_.end(), 0u);
    for (const Reading& reading : readings_) {
        parent_[root(reading.source)] = root(reading.reader);
    }
}

/// Over the whole level; what runs in a circle comes last, as it stands.
void LevelGroups::putSourcesFirst(std::uint32_t count) {
    std::sort(readings_.begin(), readings_.end(),
              [](const Reading& a, const Reading& b) { return a.source < b.source; });
    waitsFor_.assign(count, 0);
    for (const Reading& reading : readings_) {
        ++waitsFor_[reading.reader];
    }
    order_.clear();
    for (std::uint32_t i = 0; i < count; ++i) {
        if (waitsFor_[i] == 0) {
            order_.push_back(i);
        }
    }
    for (std::size_t next = 0; next < order_.size(); ++next) {
        auto reading = std::lower_bound(readings_.begin(), readings_.end(), order_[next],
                                        [](const Reading& a, std::uint32_t source) { return a.source < source; });
        for (; reading != readings_.end() && reading->source == order_[next]; ++reading) {
            if (--waitsFor_[reading->reader] == 0) {
                order_.push_back(reading->reader);
            }
        }
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        if (waitsFor_[i] != 0) {
            order_.push_back(i);
        }
    }
}

std::uint32_t LevelGroups::root(std::uint32_t node) {
    while (parent_[node] != node) {
        node = parent_[node] = parent_[parent_[node]];
    }
    return node;
}

}  // namespace TessilGraph::internal
