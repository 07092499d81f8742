#pragma once

#include <TessilGraph/Export.h>

#include <map>
#include <string>
#include <unordered_set>
#include <vector>

namespace TessilGraph {

class Node;

/// The evaluation orders that a network manager keeps, by the name of the node they end with.
///
/// An order stays as it was made, whatever becomes of the wiring and the names; only nodes that the
/// manager deletes drop out of it.
///
/// Threads: const functions may run side by side.
class TESSILGRAPH_API StoredOrders {
public:
    /// Null when no order is stored under the name. Valid until an order is stored or dropped.
    const std::vector<Node*>* find(const std::string& name);

    /// Stores an order, in place of an older one of that name.
    void store(const std::string& name, std::vector<Node*> order);

    void drop(const std::string& name);
    void dropAll();

    /// To be told before a node that may stand in an order is deleted.
    void nodeDies(Node& node);

    /// Calls `visit(name, order)` with all orders, without the nodes that died.
    template <class Visit>
    void forEach(Visit visit) const {
        for (const auto& [name, order] : orders_) {
            if (dead_.empty()) {
                visit(name, order);
            } else {
                visit(name, livingOf(order));
            }
        }
    }

private:
    std::vector<Node*> livingOf(std::vector<Node*> order) const;
    void forgetTheDead();

    std::map<std::string, std::vector<Node*>> orders_;
    std::unordered_set<const Node*> dead_;  ///< Still named in the orders; never followed.
};

}  // namespace TessilGraph
