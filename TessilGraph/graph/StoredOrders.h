#pragma once

#include <TessilGraph/Export.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace TessilGraph {

class ComputeData;
class Node;

namespace internal {
struct NetworkState;
}

/// The evaluation orders that a network manager keeps, by the name of the node they end with.
///
/// An order stays as it was made, whatever becomes of the wiring and the names; only nodes that the
/// manager deletes drop out of it.
///
/// Threads: const functions may run side by side.
class TESSILGRAPH_API StoredOrders {
public:
    StoredOrders();
    ~StoredOrders();
    StoredOrders(const StoredOrders&) = delete;
    StoredOrders& operator=(const StoredOrders&) = delete;

    /// Computes the dirty nodes of the order that is stored under the name, front to back, and marks them
    /// clean. False when there is none. A node may delete others and drop or store orders meanwhile: nodes
    /// that die before it is their turn are left out.
    ///
    /// @param network is told by all nodes that stand in the network under their own names.
    bool compute(const std::string& name, internal::NetworkState& network, const ComputeData* data);

    /// Stores an order, in place of an older one of that name.
    void store(const std::string& name, std::vector<Node*> nodes);

    void drop(const std::string& name);
    void dropAll();

    /// To be told before a node that may stand in an order is deleted.
    void nodeDies(Node& node) noexcept;

    /// Calls `visit(name, nodes)` with all orders, without the nodes that died.
    template <class Visit>
    void forEach(Visit visit) const {
        for (const auto& [name, order] : orders_) {
            visit(name, livingOf(nodesOf(*order)));
        }
    }

private:
    struct Order;

    static const std::vector<Node*>& nodesOf(const Order& order);

    std::vector<Node*> livingOf(std::vector<Node*> nodes) const;
    void forgetTheDead();

    std::map<std::string, std::shared_ptr<Order>> orders_;
    std::unordered_set<const Node*> dead_;  ///< Still named in the orders; never followed.
};

}  // namespace TessilGraph
