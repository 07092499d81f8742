#pragma once

#include <TessilGraph/graph/internal/NetworkState.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace TessilGraph::internal {

/// Which nodes of a network each node feeds, by their positions in the node set, so that marking what is
/// downstream of a node touches neither nodes nor ports. It holds as long as the network's wiring and
/// storage do.
class MarkPlan {
public:
    /// Null when there can be no plan: some links lead out of the network, or may change without anybody
    /// being told, in lists that a host may edit and at ports that may have outlived their owner. Null, too, where
    /// there is no memory for one.
    static std::unique_ptr<MarkPlan> make(NetworkState& network) noexcept;

    bool isCurrent() const {
        return wiring_ == network_.wiring.load(std::memory_order_relaxed) && storage_ == network_.storage;
    }

    /// Marks everything dirty that is downstream of a position, which is marked already. Returns how many
    /// nodes became dirty.
    std::size_t markFrom(std::uint32_t position) const;

private:
    explicit MarkPlan(NetworkState& network);

    NetworkState& network_;
    const std::uint64_t wiring_;
    const std::uint64_t storage_;
    std::vector<std::uint32_t> starts_;
    std::vector<std::uint32_t> consumers_;
};

/// To be told how many nodes were marked one by one. When they come to more than the whole network while
/// the wiring stays, the network gets a plan; but not from within an evaluation, which may have nodes at
/// work on other threads.
void noteMarked(NetworkState& network, std::size_t count);

}  // namespace TessilGraph::internal
