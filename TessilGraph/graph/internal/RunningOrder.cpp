#include <TessilGraph/graph/internal/RunningOrder.h>

#include <TessilGraph/graph/internal/EvaluationOrder.h>

#include <algorithm>
#include <memory>
#include <new>
#include <unordered_set>

namespace TessilGraph::internal {

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

void replaceByNull(const Node& node, std::vector<Node*>& nodes) noexcept {
    std::replace(nodes.begin(), nodes.end(), const_cast<Node*>(&node), static_cast<Node*>(nullptr));
}

}  // namespace TessilGraph::internal
