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
    /// A clone and the name that its original bears.
    struct Clone {
        std::string name;
        Node* node;
    };

    /// Clones the nodes in name order. The clones belong to whoever takes them over.
    explicit NetworkCopy(const NodeSet& source);

    const std::vector<Clone>& clones() const { return clones_; }

    /// The nodes of `target` that have the names of these, without those that have no copy.
    static std::vector<Node*> translate(const std::vector<Node*>& order, const NodeSet& target);

    /// Wires the nodes of `target` as their originals are, by names of nodes and ports.
    void connect(const NodeSet& target) const;

private:
    const NodeSet& source_;
    std::vector<Clone> clones_;
};

}  // namespace TessilGraph::internal
