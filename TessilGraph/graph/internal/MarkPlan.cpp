#include <TessilGraph/graph/internal/MarkPlan.h>

#include <TessilGraph/graph/NetworkState.h>
#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/SmallStack.h>

namespace TessilGraph::internal {

MarkPlan::MarkPlan(NetworkState& network)
    : network_(network), wiring_(network.wiring.load(std::memory_order_relaxed)), storage_(network.storage) {}

std::unique_ptr<MarkPlan> MarkPlan::make(NetworkState& network) {
    if (network.prepared != nullptr) {
        return nullptr;
    }
    std::unique_ptr<MarkPlan> plan(new MarkPlan(network));
    const NodeSet& nodes = *network.nodes;
    plan->starts_.reserve(std::size_t{nodes.endPosition()} + 1);
    for (NodeSet::Position position = 0; position < nodes.endPosition(); ++position) {
        plan->starts_.push_back(static_cast<std::uint32_t>(plan->consumers_.size()));
        Node* node = nodes.nodeIfAt(position);
        if (node == nullptr || Access::home(*node) != &network || Access::entry(*node) != position) {
            continue;  // Nobody comes here.
        }
        if (Access::outputList(*node).isOpen()) {
            return nullptr;
        }
        for (const Port* output : Access::outputs(*node)) {
            if (output == nullptr) {
                continue;
            }
            if (Access::connectionList(*output).isOpen() || Access::removed(*output) || output->node() != node) {
                return nullptr;
            }
            for (const Port* peer : Access::connections(*output)) {
                Node* consumer = peer != nullptr ? peer->node() : nullptr;
                if (consumer == nullptr) {
                    continue;
                }
                if (Access::home(*consumer) != &network || Access::removed(*peer)) {
                    return nullptr;
                }
                plan->consumers_.push_back(Access::entry(*consumer));
            }
        }
    }
    plan->starts_.push_back(static_cast<std::uint32_t>(plan->consumers_.size()));
    return plan;
}

bool MarkPlan::isCurrent() const {
    return wiring_ == network_.wiring.load(std::memory_order_relaxed) && storage_ == network_.storage;
}

void MarkPlan::markFrom(std::uint32_t position) const {
    SmallStack<std::uint32_t, 128> marked;
    marked.push(position);
    while (!marked.empty()) {
        const std::uint32_t source = marked.pop();
        for (std::uint32_t i = starts_[source]; i < starts_[source + 1]; ++i) {
            std::atomic<std::uint8_t>& dirty = network_.dirtyByte(consumers_[i]);
            if (dirty.load(std::memory_order_relaxed) == 0) {
                dirty.store(1, std::memory_order_relaxed);
                marked.push(consumers_[i]);
            }
        }
    }
}

void noteMarked(NetworkState& network, std::size_t count) {
    constexpr std::size_t smallNetwork = 64;
    const std::size_t marked = network.marked.load(std::memory_order_relaxed) + count;
    network.marked.store(marked, std::memory_order_relaxed);
    const std::size_t size = network.nodes->size();
    if (marked <= 2 * size || size < smallNetwork || network.evaluations.load(std::memory_order_relaxed) != 0) {
        return;
    }
    network.marked.store(0, std::memory_order_relaxed);
    const std::uint64_t wiring = network.wiring.load(std::memory_order_relaxed);
    const bool isSettled = network.markedWiring == wiring && network.markedStorage == network.storage;
    if (!isSettled) {
        network.markedWiring = wiring;
        network.markedStorage = network.storage;
        network.markPlan.reset();
        network.triedMarkPlan = false;
    } else if (!network.triedMarkPlan) {
        network.triedMarkPlan = true;
        network.markPlan = MarkPlan::make(network);
    }
}

}  // namespace TessilGraph::internal
