#pragma once

#include <TessilGraph/graph/internal/NetworkState.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <unordered_set>
#include <vector>

namespace TessilGraph {

class ComputeData;

namespace internal {

/// An order in which nodes of a network are being computed, one after the other. Nodes that another one
/// deletes before their turn drop out of it.
class RunningOrder {
public:
    /// @param nodes may hold null, and stays as it is except when memory runs out: then nodes that are
    ///   deleted become null there.
    /// @param leadsAbroad where nodes of other networks are among them. Those are to be deleted on this thread only.
    RunningOrder(NetworkState& network, std::vector<Node*>& nodes, bool leadsAbroad)
        : network_(network), nodes_(nodes), outer_(network.runningOrder), leadsAbroad_(leadsAbroad) {
        network_.runningOrder = this;
        if (leadsAbroad) {
            enterAbroad();
        }
    }
    ~RunningOrder() {
        network_.runningOrder = outer_;
        if (leadsAbroad_) {
            leaveAbroad();
        }
    }
    RunningOrder(const RunningOrder&) = delete;
    RunningOrder& operator=(const RunningOrder&) = delete;

    /// Computes the dirty nodes from a place on, front to back, and marks them clean.
    void computeFrom(std::size_t place, const ComputeData* data) const;

    /// Whether a node of the order is there still; false for null.
    bool isAlive(const Node* node) const { return node != nullptr && (dead_ == nullptr || dead_->count(node) == 0); }

    /// The nodes that were deleted since, wherever they stood; fewer where memory ran out. Never to be followed.
    template <class F>
    void forEachDead(const F& visit) const {
        if (dead_ != nullptr) {
            std::for_each(dead_->begin(), dead_->end(), visit);
        }
    }

    /// To be told before a node is deleted.
    static void leaveOut(NetworkState& network, const Node& node) noexcept {
        for (RunningOrder* order = network.runningOrder; order != nullptr; order = order->outer_) {
            order->leaveOut(node);
        }
        leaveOutAbroad(node);
    }

private:
    void leaveOut(const Node& node) noexcept;
    static void leaveOutAbroad(const Node& node) noexcept;
    void enterAbroad() noexcept;
    void leaveAbroad() noexcept;

    NetworkState& network_;
    std::vector<Node*>& nodes_;
    std::unique_ptr<std::unordered_set<const Node*>> dead_;  ///< Still named in the order; never followed.
    RunningOrder* const outer_;  ///< From within which this one runs; null if there is none.
    const bool leadsAbroad_;
    RunningOrder* outerAbroad_ = nullptr;  ///< The same, of this thread's orders that lead abroad.
};

/// Looks through all of the nodes.
void replaceByNull(const Node& node, std::vector<Node*>& nodes) noexcept;

}  // namespace internal
}  // namespace TessilGraph
