#include <TessilGraph/graph/internal/MarkPlan.h>

#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/NodeRow.h>
#include <TessilGraph/graph/internal/SmallStack.h>

#include <atomic>
#include <new>

namespace TessilGraph::internal {

MarkPlan::MarkPlan(NetworkState& network)
    : network_(network), wiring_(network.wiring.load(std::memory_order_relaxed)), storage_(network.storage) {}

std::unique_ptr<MarkPlan> MarkPlan::make(NetworkState& network) noexcept try {
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
            if (Access::connectionList(*output).isOpen() || Access::isLoose(*output) || output->node() != node) {
                return nullptr;
            }
            for (const Port* peer : Access::connections(*output)) {
                Node* consumer = peer != nullptr ? peer->node() : nullptr;
                if (consumer == nullptr) {
                    continue;
                }
                if (Access::home(*consumer) != &network || Access::isLoose(*peer)) {
                    return nullptr;
                }
                plan->consumers_.push_back(Access::entry(*consumer));
            }
        }
    }
    plan->starts_.push_back(static_cast<std::uint32_t>(plan->consumers_.size()));
    return plan;
} catch (const std::bad_alloc&) {
    return nullptr;
}

std::size_t MarkPlan::markFrom(std::uint32_t position) const {
    constexpr std::uint32_t none = ~std::uint32_t{0};
    const auto dirtyByte = network_.dirtyBytes();
    const std::uint32_t* starts = starts_.data();
    const std::uint32_t* consumers = consumers_.data();
    std::size_t count = 0;
    SmallStack<std::uint32_t, 128> waiting;
    NodeRow row;  // Where memory runs out, others wait here.
    for (std::uint32_t source = position; source != none;) {
        // One of those that become dirty comes next, the others wait.
        std::uint32_t next = none;
        const std::uint32_t end = starts[source + 1];
        for (std::uint32_t i = starts[source]; i != end; ++i) {
            const std::uint32_t consumer = consumers[i];
            std::atomic<std::uint8_t>& dirty = dirtyByte(consumer);
            if (dirty.load(std::memory_order_relaxed) != 0) {
                continue;
            }
            dirty.store(1, std::memory_order_relaxed);
            ++count;
            if (next != none && !waiting.tryPush(next)) {
                row.push(network_.nodes->nodeAt(next));
            }
            next = consumer;
        }
        if (next != none) {
            source = next;
        } else if (!waiting.empty()) {
            source = waiting.pop();
        } else {
            const Node* node = row.pop();
            source = node != nullptr ? Access::entry(*node) : none;
        }
    }
    return count;
}

void noteMarked(NetworkState& network, std::size_t count) {
    if (network.isEvaluating()) {
        return;  // Nodes may mark others on several threads.
    }
    network.marked.note(network, count);
    if (network.marked.isDue(network)) {
        network.markPlan = MarkPlan::make(network);
    }
}

}  // namespace TessilGraph::internal
