#pragma once

#include <string>
#include <vector>

namespace TessilGraph {
class Node;
class NodeSet;
}  // namespace TessilGraph

namespace TessilGraph::internal {

/// The steps of copying a network: clone its nodes, translate orders, wire the clones. It changes
/// nothing of the source.
class NetworkCopy {
public:
    /// Clones the nodes in name order.
    explicit NetworkCopy(const NodeSet& source);
    NetworkCopy(const NetworkCopy&) = delete;
    NetworkCopy& operator=(const NetworkCopy&) = delete;

    /// Deletes the clones that nobody has taken over.
    ~NetworkCopy();

    /// Calls `takeOver(clone, name)` with each clone and the name of its original, in name order.
    /// The clone belongs to the callee when the call returns.
    template <class TakeOver>
    void handOver(TakeOver takeOver) {
        for (Clone& clone : clones_) {
            takeOver(*clone.node, clone.name);
            clone.node = nullptr;
        }
    }

    /// The nodes of `target` that have the names of these, without those that have no copy.
    static std::vector<Node*> translate(const std::vector<Node*>& order, const NodeSet& target);

    /// Wires the nodes of `target` as their originals are, by names of nodes and ports.
    void connect(const NodeSet& target) const;

private:
    /// A clone and the name that its original bears.
    struct Clone {
        std::string name;
        Node* node;
    };

    void deleteClones();

    const NodeSet& source_;
    std::vector<Clone> clones_;
};

}  // namespace TessilGraph::internal
