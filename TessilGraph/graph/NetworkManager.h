#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/graph/ComputeData.h>
#include <TessilGraph/graph/NameTable.h>
#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/StoredOrders.h>

#include <exception>
#include <string>
#include <vector>

namespace TessilGraph {

namespace internal {
struct Access;
}

/// What a network manager keeps of a node that it made, so that it can hand it out again.
///
/// Threads: as the manager.
struct NodeCacheEntry {
    bool inUse = false;    ///< The node is part of the network; false while it waits after a `reset`.
    Node* node = nullptr;  ///< Null when the factory knew no such type.
};

/// A network of named nodes: builds it, wires it, evaluates it.
///
/// Names are unique within a network and compare byte by byte. Every list comes in ascending byte
/// order of names.
///
/// Ownership: the manager owns the nodes of its network and the nodes that wait in its cache, and
/// deletes them in `deleteNode`, `clearNodeCache`, `cleanNetwork`, assignment and its destructor, each
/// once, under however many names it was added. Nobody but the host owns a node that the manager has
/// let go of:
/// - one that came in through `addNode`, or by copying a network, and was dropped by `reset`;
/// - one that waits in the cache while `createNode` is asked for another type under its name, be that an
///   unknown one, or for its own with the first letter in lower case;
/// - one that waits in the cache while `deleteNode` is called with its name.
///
/// The host keeps a pointer to such nodes, calls `Node::reset` for all of them, since those that were
/// added may still list each other, and deletes them. `examples/letting_go.cpp` shows each case.
///
/// Where memory runs out, `std::bad_alloc` reaches the caller. Names, nodes and links are then as they were before
/// the call, apart from copying, which leaves the target empty; an evaluation may have computed some nodes, and the
/// next one completes it. `cleanNetwork`, the destructor and marking need no memory.
///
/// A log sink may change and delete nodes, also while `deleteNode` or an evaluation of their network logs, but neither
/// the manager nor what is being copied.
///
/// Threads: one manager is used by one thread at a time, be it now one, now another; different
/// managers, with networks that don't touch, by different threads, also inside loops, tasks and arenas
/// of the host. Copying only reads the source, so that several threads may copy one manager at once, if
/// the `clone` of host nodes only reads, too.
class TESSILGRAPH_API NetworkManager {
public:
    /// An empty network.
    NetworkManager() = default;

    /// A deep copy: clones of all nodes under the same names, wired alike, with the stored orders
    /// translated to the clones. It owns the clones, and no node of `other`. Nothing waits in the copy's
    /// cache. A node whose `clone` is null is left out.
    NetworkManager(const NetworkManager& other);

    /// Empties this network, then copies; it stays empty where that fails. Assigning a manager to itself leaves
    /// it empty.
    NetworkManager& operator=(const NetworkManager& other);

    /// As `cleanNetwork`.
    ~NetworkManager();

    NetworkManager clone() const;

    // Nodes and names

    /// Takes a node into the network and owns it from then on: the host deletes it no more. The name is made unique,
    /// not validated, and given to the node. Null is refused, and that is logged.
    ///
    /// A manager knows of no other one: of two that a node was added to, one lets go of it, by `reset`, before either
    /// deletes it.
    void addNode(Node* node, const std::string& name);

    /// A node of the type under the name, made unique when the node is there: the waiting node of that name and type if
    /// there is one, in the state in which `reset` left it, otherwise a new one from the factory.
    /// The manager owns it. Null for an unknown type, which is not logged. Another node that waits under
    /// the name is let go of: it is the host's, in the state in which `reset` left it.
    Node* createNode(const std::string& type, const std::string& name);

    /// Unlinks and deletes a node. Stored orders lose it. Another node that waits under the name is let go
    /// of, also when there is no node to be deleted.
    void deleteNode(const std::string& name);

    /// Gives a node a new name, made unique while the node still has its old one: a node that is
    /// renamed to its own name gets that name with a 1. False, with nothing changed, for an unknown
    /// node and for a new name that is not made of ASCII letters, digits, '-' and '_'. Stored orders
    /// stay under the old name. When a node that `createNode` made takes the name of one that waits, that
    /// one is deleted.
    bool renameNode(const std::string& oldName, const std::string& newName);

    /// Null when no node has that name. The node stays the manager's; `deleteNode` deletes it.
    Node* getNode(const std::string& name);

    /// The first node, in name order, whose type has that number; null when there is none.
    Node* getNodeByType(unsigned int typeId);

    std::vector<Node*> getAllNodes();
    std::vector<std::string> getNodeNames();

    // Connections

    /// Links an output of one node to an input of another, both by name; see `Port::connectTo` for
    /// what is refused. Unknown nodes and ports give false, which is not logged.
    bool connectAttr(const std::string& srcNode, const std::string& srcPort, const std::string& dstNode,
                     const std::string& dstPort);

    /// Removes such a link; see `Port::disconnectFrom`.
    bool disconnectAttr(const std::string& srcNode, const std::string& srcPort, const std::string& dstNode,
                        const std::string& dstPort);

    // Evaluation

    /// Brings a node up to date: computes the dirty nodes upstream of it, each after all that feed
    /// it, and then the node itself. Computed nodes are clean whatever `compute` returned.
    ///
    /// A clean node is up to date, whatever stands upstream of it. An unknown name does nothing.
    /// What a node throws reaches the caller; that node and those not reached stay dirty. Where
    /// links run in a circle, each node is computed at most once, and that is logged. Built-in nodes may
    /// be computed without a call of their `compute`.
    ///
    /// Names tell the nodes apart: where links lead to other networks, or to nodes in none, one of several that bear
    /// the same name is computed and the others count as done. A `PreparedEvaluation` tells them apart.
    ///
    /// @param data is handed to every `compute` as it is; may be null.
    /// @param parallel computes level by level, the nodes of one level side by side. A node is then
    /// computed once for each distance at which it feeds the named one, and clean nodes that feed
    /// dirty ones are computed too. Nodes of pure classes (`NodeTraits`) may be computed once, where
    /// that shows in no value.
    /// @param useCache computes the dirty nodes of the order that is stored under the name, if there
    /// is one, even if the named node itself is clean.
    void computeNode(const std::string& name, const ComputeData* data = nullptr, bool parallel = false,
                     bool useCache = false);

    /// Marks every node of the network dirty.
    void setAllNodeDirty();

    // Stored evaluation orders

    /// Stores the order in which the whole network upstream of a node is evaluated. It is not kept
    /// up to date: whoever changes the wiring clears it or stores it anew. Only nodes that this manager deletes drop
    /// out of it, so it is cleared before one dies that another manager or the host deletes. A node that is made under
    /// the name of one that dropped out is not in it.
    void cacheNodeNetwork(const std::string& name);
    void clearNodeNetworkCache(const std::string& name);
    void clearNodeNetworkCaches();

    // The network as a whole

    /// Deletes the nodes that wait in the cache.
    void clearNodeCache();

    /// Empties the network and resets the nodes that `createNode` made; they wait in the cache.
    /// Nodes that came in through `addNode`, and the clones of a copy, are let go of as they are, and are the host's.
    /// Stored orders are dropped. When a host's node throws out of its `reset`, the others are reset all the same, and
    /// the first exception reaches the caller at the end. What one makes there stays in the network, and another node
    /// that was to wait under such a name is deleted.
    void reset();

    /// Deletes all nodes, waiting ones too, and drops the stored orders. Nothing is unlinked, so that destructors of
    /// nodes follow no links, see `Node::~Node`: whoever linked nodes to those of another network, which stays,
    /// disconnects them first.
    void cleanNetwork();

protected:
    /// The name if it is free, otherwise with the least suffix 1, 2, 3, ... that makes it free.
    std::string getUniqueName(const std::string& name);

private:
    friend struct internal::Access;

    Node* waitingNode(const HashedName& name) const;
    void remove(NodeSet::Position position, const HashedName& name);
    void enterMade(Node& node, const NodeSet::FreeName& unique, const std::string& asked);
    bool isCached(NodeSet::Position position, const HashedName& name) const;
    void copyFrom(const NetworkManager& other);
    std::vector<NameTable<NodeCacheEntry>::Entry*> cacheAll();
    static std::exception_ptr callResets(const std::vector<NameTable<NodeCacheEntry>::Entry*>& entries);
    void takeBack(NameTable<NodeCacheEntry>& waiting);
    void moveEntry(const HashedName& from, const HashedName& to);
    void destroy(Node& node) noexcept;
    void forget(Node& node) noexcept;
    void setCacheEntry(const HashedName& name, NodeCacheEntry entry);
    void eraseCacheEntry(const HashedName& name) noexcept;

    NodeSet nodes_;
    StoredOrders networkCache_;
    NameTable<NodeCacheEntry> nodeCache_;  ///< Of a node in use it knows by a bit of its entry in `nodes_`.
};

}  // namespace TessilGraph
