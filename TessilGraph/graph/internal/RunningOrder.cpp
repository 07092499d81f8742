#include <TessilGraph/graph/internal/RunningOrder.h>

#include <TessilGraph/graph/internal/EvaluationOrder.h>

#include <algorithm>
#include <memory>
#include <new>
#include <unordered_set>
#include <utility>

namespace TessilGraph::internal {

namespace {

/// The innermost order of this thread that leads abroad; null while there is none.
thread_local RunningOrder* innermostAbroad = nullptr;

}  // namespace

void RunningOrder::computeFrom(std::size_t place, const ComputeData* data) const {
    for (; place < nodes_.size(); ++place) {
        Node* node = nodes_[place];
        if (isAlive(node)) {
            computeIfDirty(*node, data);
        }
    }
}

void RunningOrder::leaveOut(const Node& node) noexcept {
    try {
        if (dead_ == nullptr) {
            dead_ = std::make_unique<std::unordered_set<const Node*>>();
        }
        dead_->insert(&node);
    } catch (const std::bad_alloc&) {
        replaceByNull(node, nodes_);
    }
}

void RunningOrder::enterAbroad() noexcept {
    outerAbroad_ = std::exchange(innermostAbroad, this);
}

void RunningOrder::leaveAbroad() noexcept {
    innermostAbroad = outerAbroad_;
}

void RunningOrder::leaveOutAbroad(const Node& node) noexcept {
    for (RunningOrder* order = innermostAbroad; order != nullptr; order = order->outerAbroad_) {
        order->leaveOut(node);
    }
}

void replaceByNull(const Node& node, std::vector<Node*>& nodes) noexcept {
    std::replace(nodes.begin(), nodes.end(), const_cast<Node*>(&node), static_cast<Node*>(nullptr));
}

}  // namespace TessilGraph::internal
