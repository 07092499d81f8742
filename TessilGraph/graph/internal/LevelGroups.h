#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace TessilGraph {
class Node;
}

namespace TessilGraph::internal {

/// Puts the nodes of a level in groups: nodes that read each other share a group, sources first.
class LevelGroups {
public:
    /// Sorts `nodes[begin, end)` and appends where each group starts to `starts`.
    void arrange(std::vector<Node*>& nodes, std::size_t begin, std::size_t end, std::vector<std::uint32_t>& starts);

private:
    struct Reading {
        std::uint32_t source;
        std::uint32_t reader;
    };

    void findReadings(Node* const* level, std::uint32_t count);
    void joinReaders(std::uint32_t count);
    void putSourcesFirst(std::uint32_t count);
    std::uint32_t root(std::uint32_t node);

    std::vector<Reading> readings_;
    std::vector<std::uint32_t> parent_;
    std::vector<std::uint32_t> waitsFor_;
    std::vector<std::uint32_t> order_;
    std::vector<std::uint32_t> groupEnd_;
    std::vector<Node*> arranged_;
};

}  // namespace TessilGraph::internal
