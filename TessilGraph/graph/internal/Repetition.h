#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace TessilGraph::internal {

struct NetworkState;

/// Counts how many nodes were visited one by one while a network's wiring and storage stayed, to tell when a
/// plan for that pays.
class Repetition {
public:
    void note(const NetworkState& network, std::size_t visits);

    /// True when a plan is to be made, in place of an older one: once the visits come to some times the whole
    /// network. That is said but once as long as wiring and storage stay.
    bool isDue(const NetworkState& network);

private:
    std::atomic<std::size_t> visits_{0};
    std::uint64_t wiring_ = 0;  ///< Of the network, when the count began.
    std::uint64_t storage_ = 0;
    bool wasDue_ = false;
};

}  // namespace TessilGraph::internal
