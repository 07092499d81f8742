#include <TessilGraph/graph/StoredOrders.h>

#include <TessilGraph/graph/internal/Access.h>

#include <algorithm>
#include <utility>

namespace TessilGraph {

const std::vector<Node*>* StoredOrders::find(const std::string& name) {
    const auto found = orders_.find(name);
    if (found == orders_.end()) {
        return nullptr;
    }
    forgetTheDead();
    return &found->second;
}

void StoredOrders::store(const std::string& name, std::vector<Node*> order) {
    // First the dead: a new node may stand where one of them stood.
    forgetTheDead();
    for (Node* node : order) {
        internal::Access::stored(*node) = true;
    }
    orders_[name] = std::move(order);
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

void StoredOrders::nodeDies(Node& node) {
    if (internal::Access::stored(node) && !orders_.empty()) {
        dead_.insert(&node);
    }
}

std::vector<Node*> StoredOrders::livingOf(std::vector<Node*> order) const {
    order.erase(std::remove_if(order.begin(), order.end(), [this](const Node* node) { return dead_.count(node) != 0; }),
                order.end());
    return order;
}

void StoredOrders::forgetTheDead() {
    if (dead_.empty()) {
        return;
    }
    for (auto& [name, order] : orders_) {
        order = livingOf(std::move(order));
    }
    dead_.clear();
}

}  // namespace TessilGraph
