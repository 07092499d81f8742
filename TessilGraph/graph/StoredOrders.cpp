#include <TessilGraph/graph/StoredOrders.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/EvaluationOrder.h>
#include <TessilGraph/graph/internal/NetworkState.h>
#include <TessilGraph/graph/internal/OrderPlan.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>

namespace TessilGraph {

using internal::NetworkState;
using internal::OrderPlan;

struct StoredOrders::Order {
    std::vector<Node*> nodes;         ///< Null where one died that nobody could remember.
    std::unique_ptr<OrderPlan> plan;  ///< Made when the order is computed again and the wiring is the same.
    std::uint64_t wiring = 0;         ///< Of the network, when the order was computed last.
    bool wasComputed = false;

    explicit Order(std::vector<Node*> ordered) : nodes(std::move(ordered)) {}

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

/// Keeps the orders as they are while one of them is computed.
class StoredOrders::Running {
public:
    Running(StoredOrders& orders, Order& order) : order_(order), outer_(orders.running_), orders_(orders) {
        orders_.running_ = this;
    }
    ~Running() { orders_.running_ = outer_; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    Order& order() { return order_; }

    /// The call from within which this one came; null if there is none.
    Running* outer() { return outer_; }

private:
    Order& order_;
    Running* const outer_;
    StoredOrders& orders_;
};

StoredOrders::StoredOrders() = default;

StoredOrders::~StoredOrders() = default;

bool StoredOrders::compute(const std::string& name, const NetworkState& network, const ComputeData* data) {
    const auto found = orders_.find(name);
    if (found == orders_.end()) {
        return false;
    }
    forgetTheDead();
    const std::shared_ptr<Order> order = found->second;
    const bool isOutermost = running_ == nullptr;
    const Running running(*this, *order);
    OrderPlan* plan = isOutermost ? order->currentPlan(network) : nullptr;
    if (plan == nullptr) {
        computeFrom(0, *order, data);
    } else if (plan->knowsProfileTimes()) {
        computeFrom(plan->run(data), *order, data);
    } else {
        const std::uint64_t profileTimes = network.profileTimes.load(std::memory_order_relaxed);
        computeFrom(0, *order, data);
        plan->setKnownProfileTimes(profileTimes);
    }
    return true;
}

void StoredOrders::store(const std::string& name, std::vector<Node*> nodes) {
    // First the dead: a new node may stand where one of them stood.
    forgetTheDead();
    for (Node* node : nodes) {
        internal::Access::stored(*node) = true;
        dead_.erase(node);
    }
    orders_[name] = std::make_shared<Order>(std::move(nodes));
}

void StoredOrders::drop(const std::string& name) {
    orders_.erase(name);
    if (orders_.empty() && running_ == nullptr) {
        dead_.clear();
    }
}

void StoredOrders::dropAll() {
    orders_.clear();
    if (running_ == nullptr) {
        dead_.clear();
    }
}

void StoredOrders::nodeDies(Node& node) noexcept {
    if (!internal::Access::stored(node) || (orders_.empty() && running_ == nullptr)) {
        return;
    }
    try {
        dead_.insert(&node);
    } catch (const std::bad_alloc&) {
        leaveOut(node);
    }
}

/// Looks through all orders, for want of memory to remember the node.
void StoredOrders::leaveOut(const Node& node) noexcept {
    const auto leaveOutOf = [&node](Order& order) {
        std::replace(order.nodes.begin(), order.nodes.end(), const_cast<Node*>(&node), static_cast<Node*>(nullptr));
    };
    for (const auto& [name, order] : orders_) {
        leaveOutOf(*order);
    }
    for (Running* running = running_; running != nullptr; running = running->outer()) {
        leaveOutOf(running->order());
    }
}

const std::vector<Node*>& StoredOrders::nodesOf(const Order& order) {
    return order.nodes;
}

void StoredOrders::computeFrom(std::size_t place, const Order& order, const ComputeData* data) const {
    for (; place < order.nodes.size(); ++place) {
        Node* node = order.nodes[place];
        if (node != nullptr && (dead_.empty() || dead_.count(node) == 0)) {
            internal::computeIfDirty(*node, data);
        }
    }
}

std::vector<Node*> StoredOrders::livingOf(std::vector<Node*> nodes) const {
    const auto isDead = [this](const Node* node) { return node == nullptr || dead_.count(node) != 0; };
    nodes.erase(std::remove_if(nodes.begin(), nodes.end(), isDead), nodes.end());
    return nodes;
}

void StoredOrders::forgetTheDead() {
    if (dead_.empty() || running_ != nullptr) {
        return;
    }
    for (auto& [name, order] : orders_) {
        order->plan.reset();
        order->nodes = livingOf(std::move(order->nodes));
    }
    dead_.clear();
}

}  // namespace TessilGraph
