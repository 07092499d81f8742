#include <TessilGraph/graph/StoredOrders.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/NetworkState.h>
#include <TessilGraph/graph/internal/OrderPlan.h>
#include <TessilGraph/graph/internal/RunningOrder.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>

namespace TessilGraph {

using internal::NetworkState;
using internal::OrderPlan;
using internal::RunningOrder;

struct StoredOrders::Order {
    std::vector<Node*> nodes;         ///< Null where one died that nobody could remember.
    std::unique_ptr<OrderPlan> plan;  ///< Made when the order is computed again and the wiring is the same.
    std::uint64_t wiring = 0;         ///< Of the network, when the order was computed last.
    bool wasComputed = false;

    explicit Order(std::vector<Node*> ordered) : nodes(std::move(ordered)) {}

    bool leadsAbroad(const NetworkState& network) const {
        return plan == nullptr && std::any_of(nodes.begin(), nodes.end(), [&network](const Node* node) {
                   return node != nullptr && internal::Access::home(*node) != &network;
               });
    }

    /// Null when it is not worth while.
    OrderPlan* currentPlan(const NetworkState& network) {
        constexpr std::size_t worthIt = 16;
        const std::uint64_t now = network.wiring.load(std::memory_order_relaxed);
        const bool isSettled = wasComputed && wiring == now;
        wasComputed = true;
        wiring = now;
        if (plan != nullptr && !plan->isCurrent()) {
            plan.reset();
        }
        if (plan == nullptr && isSettled && nodes.size() >= worthIt) {
            plan = OrderPlan::make(nodes, network);
        }
        return plan.get();
    }
};

StoredOrders::StoredOrders() = default;

StoredOrders::~StoredOrders() = default;

bool StoredOrders::compute(const std::string& name, NetworkState& network, const ComputeData* data) {
    const auto found = orders_.find(name);
    if (found == orders_.end()) {
        return false;
    }
    forgetTheDead();
    const std::shared_ptr<Order> order = found->second;
    OrderPlan* plan = network.runningOrder == nullptr ? order->currentPlan(network) : nullptr;
    const RunningOrder running(network, order->nodes, order->leadsAbroad(network));
    if (plan == nullptr) {
        running.computeFrom(0, data);
    } else if (plan->knowsProfileTimes()) {
        running.computeFrom(plan->run(data), data);
    } else {
        const std::uint64_t profileTimes = network.profileTimes.load(std::memory_order_relaxed);
        running.computeFrom(0, data);
        plan->setKnownProfileTimes(profileTimes);
    }
    return true;
}

void StoredOrders::store(const std::string& name, std::vector<Node*> nodes) {
    // First the dead: a new node may stand where one of them stood.
    forgetTheDead();
    for (Node* node : nodes) {
        internal::Access::stored(*node) = true;
    }
    orders_[name] = std::make_shared<Order>(std::move(nodes));
}

void StoredOrders::drop(const std::string& name) {
    orders_.erase(name);
    if (orders_.empty()) {
        dead_.clear();
    }
}

void StoredOrders::dropAll() {
    orders_.clear();
    dead_.clear();
}

void StoredOrders::nodeDies(Node& node) noexcept {
    if (!internal::Access::stored(node) || orders_.empty()) {
        return;
    }
    try {
        dead_.insert(&node);
    } catch (const std::bad_alloc&) {
        for (const auto& [name, order] : orders_) {
            internal::replaceByNull(node, order->nodes);
        }
    }
}

const std::vector<Node*>& StoredOrders::nodesOf(const Order& order) {
    return order.nodes;
}

std::vector<Node*> StoredOrders::livingOf(std::vector<Node*> nodes) const {
    const auto isDead = [this](const Node* node) { return node == nullptr || dead_.count(node) != 0; };
    nodes.erase(std::remove_if(nodes.begin(), nodes.end(), isDead), nodes.end());
    return nodes;
}

/// An order that is being computed stays as it is, and another one takes its name.
void StoredOrders::forgetTheDead() {
    if (dead_.empty()) {
        return;
    }
    for (auto& [name, order] : orders_) {
        if (order.use_count() > 1) {
            order = std::make_shared<Order>(livingOf(order->nodes));
        } else {
            order->plan.reset();
            order->nodes = livingOf(std::move(order->nodes));
        }
    }
    dead_.clear();
}

}  // namespace TessilGraph
