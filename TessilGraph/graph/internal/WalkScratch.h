#pragma once

#include <TessilGraph/graph/internal/NetworkState.h>
#include <TessilGraph/graph/internal/OpenLists.h>
#include <TessilGraph/graph/internal/OrderPlan.h>

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace TessilGraph::internal {

/// The room that a walk needs, kept by the network from walk to walk.
struct WalkScratch {
    std::vector<Node*> stack;
    std::vector<Node*> order;
    bool metClean = false;  ///< The walk passed over something, since it was clean.
};

/// The order of a walk that found everything upstream of its target dirty. As long as the wiring stays, it
/// is the order of every walk from there that does.
struct KeptWalk {
    const Node* target = nullptr;
    std::uint64_t wiring = 0;
    OpenLists lists;         ///< Along the order.
    bool canChange = false;  ///< Unseen: the order is not to be used.
    std::vector<Node*> order;
    std::unique_ptr<OrderPlan> plan;    ///< Made when the order is wanted a second time; null if it cannot be.
    bool hasPlan = false;               ///< Somebody tried.
    std::vector<std::uint32_t> places;  ///< Of the order, in the network's walk plan; empty until wanted.
};

/// Takes a network's scratch for the time of a walk. A walk that starts while another one is at it, from
/// within a node's compute, gets one of its own.
class ScratchLease {
public:
    explicit ScratchLease(NetworkState& network)
        : network_(network), scratch_(network.scratch ? std::move(network.scratch) : std::make_unique<WalkScratch>()) {}

    ~ScratchLease() {
        scratch_->stack.clear();
        scratch_->order.clear();
        network_.scratch = std::move(scratch_);
    }
    ScratchLease(const ScratchLease&) = delete;
    ScratchLease& operator=(const ScratchLease&) = delete;

    WalkScratch& operator*() const { return *scratch_; }

private:
    NetworkState& network_;
    std::unique_ptr<WalkScratch> scratch_;
};

}  // namespace TessilGraph::internal
