#pragma once

#include <TessilGraph/graph/internal/NetworkState.h>

#include <algorithm>
#include <vector>

namespace TessilGraph::internal {

/// An order in which nodes of a network are being computed, one after the other. A node that another one deletes
/// before its turn becomes null there.
class RunningOrder {
public:
    RunningOrder(NetworkState& network, std::vector<Node*>& nodes)
        : network_(network), nodes_(nodes), outer_(network.runningOrder) {
        network_.runningOrder = this;
    }
    ~RunningOrder() { network_.runningOrder = outer_; }
    RunningOrder(const RunningOrder&) = delete;
    RunningOrder& operator=(const RunningOrder&) = delete;

    /// To be told before a node is deleted.
    static void leaveOut(NetworkState& network, Node& node) noexcept {
        for (RunningOrder* order = network.runningOrder; order != nullptr; order = order->outer_) {
            std::replace(order->nodes_.begin(), order->nodes_.end(), &node, static_cast<Node*>(nullptr));
        }
    }

private:
    NetworkState& network_;
    std::vector<Node*>& nodes_;
    RunningOrder* const outer_;  ///< From within which this one runs; null if there is none.
};

}  // namespace TessilGraph::internal
