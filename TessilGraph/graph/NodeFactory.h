#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/graph/NameTable.h>
#include <TessilGraph/graph/Node.h>

#include <string>
#include <vector>

namespace TessilGraph {

namespace internal {
struct Access;
}

/// Makes nodes by type string.
///
/// One factory serves the whole process. It keeps names and creators, no nodes: a node belongs to
/// whoever asked for it. Names count case: only a first letter in lower case is forgiven.
///
/// Where memory runs out, `std::bad_alloc` reaches the caller: there is no node then, and the types are what they were.
///
/// Threads: registering and deregistering is for one thread at a time, while no other one uses the
/// factory. Everything else may be called from any number at once.
class TESSILGRAPH_API NodeFactory {
public:
    /// Makes a node with `new`. It may make and delete others, also in the network for which it is called.
    using Creator = Node* (*)();

    static NodeFactory& instance();

    NodeFactory(const NodeFactory&) = delete;
    NodeFactory& operator=(const NodeFactory&) = delete;

    /// Adds a node type. A name that is taken keeps its creator, and a null creator is refused;
    /// either is logged.
    void registerNode(const std::string& name, Creator creator);

    /// Removes a node type. Its nodes live on. An unknown name is logged.
    void deregisterNode(const std::string& name);

    /// A new node, owned by the caller, who deletes it or hands it to `NetworkManager::addNode`; null for an unknown
    /// type, which is not logged. A name that is not found is tried again with its first letter in upper case.
    Node* createNode(const std::string& name);

    /// Whether `createNode` would find a creator.
    bool isRegistered(const std::string& name);

    /// All names, in ascending byte order.
    std::vector<std::string> getRegisteredNodes();

private:
    friend struct internal::Access;

    NodeFactory() = default;
    ~NodeFactory() = default;

    Creator findCreator(const std::string& name) const;

    NameTable<Creator> creators_;
};

}  // namespace TessilGraph
