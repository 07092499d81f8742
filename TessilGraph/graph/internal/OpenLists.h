#pragma once

#include <cstddef>
#include <vector>

namespace TessilGraph {
class Node;
class Port;
class PortList;
}  // namespace TessilGraph

namespace TessilGraph::internal {

/// The lists that a walk along inputs read and that hosts may edit without anybody being told: what they
/// held then. The network tells when one of them goes, and when another one is opened.
class OpenLists {
public:
    /// Remembers what a walk reads at a node. False when somebody may change that unseen even so: a port
    /// that may have outlived its owner, or of which another network tells.
    bool note(const Node& node);

    /// Whether all lists are what they were.
    bool stand() const { return seen_.empty() || areUnchanged(); }

    std::size_t size() const { return seen_.size(); }

private:
    struct Seen {
        const PortList* list;
        std::vector<Port*> ports;
    };

    bool areUnchanged() const;
    void noteList(const PortList& list);

    std::vector<Seen> seen_;
};

}  // namespace TessilGraph::internal
