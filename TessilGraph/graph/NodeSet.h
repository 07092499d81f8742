#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/graph/NameTable.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace TessilGraph {

class Node;

namespace internal {
struct NetworkState;
}

/// The nodes of one network by name. It owns none of them.
///
/// Threads: const functions may run side by side.
class TESSILGRAPH_API NodeSet {
public:
    NodeSet();
    ~NodeSet();
    NodeSet(const NodeSet&) = delete;
    NodeSet& operator=(const NodeSet&) = delete;

    /// What the nodes and ports of this network tell about changes. Shared by those who watch them.
    const std::shared_ptr<internal::NetworkState>& state() const { return state_; }

    std::size_t size() const { return nodes_.size(); }

    /// Null when no node has that name.
    Node* find(const std::string& name) const;

    /// The name itself if it is free, otherwise the name followed by the least of 1, 2, 3, ... that
    /// makes it free. Where the count starts is remembered for every name that was asked for, so
    /// that many nodes may be asked for under one name.
    std::string uniqueName(const std::string& name);

    /// Gives the node the name and enters it, in place of a node that had that name.
    void enter(Node& node, const std::string& name);

    /// Gives a node that stands here under `oldName` a new name, which is free.
    void rename(const std::string& oldName, const std::string& newName);

    /// Takes the entry out; the node keeps its name. An unknown name does nothing.
    void remove(const std::string& name);

    /// Takes all entries out.
    void clear();

    /// In name order. Valid until a node is entered or removed.
    const std::vector<NameTable<Node*>::Entry*>& sorted() { return nodes_.sorted(); }
    std::vector<const NameTable<Node*>::Entry*> sorted() const { return nodes_.sorted(); }

    /// In no particular order.
    auto begin() const { return nodes_.begin(); }
    auto end() const { return nodes_.end(); }

private:
    /// The suffixes of one name: all below `next` are taken, but for some of those that were given
    /// back since.
    struct Suffixes {
        std::uint64_t next = 1;
        std::set<std::uint64_t> givenBack;
    };

    void leave(Node& node);
    void giveBack(const std::string& freedName);

    std::shared_ptr<internal::NetworkState> state_;
    NameTable<Node*> nodes_;
    std::unordered_map<std::string, Suffixes> suffixes_;  ///< Of names that were asked for while taken.
};

}  // namespace TessilGraph
