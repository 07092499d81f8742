#pragma once

#include <tests/graph/model/SharedList.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

/// A second, literal telling of what ports, nodes and managers promise: plain numbers for
/// identities, no speed, nothing taken from the library. It knows acyclic networks only.
namespace model {

/// The number of a port, a node, a manager or a value outside: its index in `World`.
using Id = std::size_t;

constexpr Id none = std::numeric_limits<Id>::max();

/// What a port holds; its type says which of the two counts.
struct Value {
    double number = 0.0;
    std::string text;
};

struct PortType {
    std::string name;
    std::string type;
};

struct NodeType {
    std::string name;
    unsigned int id;
    std::vector<PortType> inputs;
    std::vector<PortType> outputs;
};

/// The node types that model and library are both run with.
const std::vector<NodeType>& nodeTypes();

/// What output number `output` of such a node becomes at its compute number `computes`.
Value outcome(const std::vector<Value>& inputs, int computes, std::size_t output);

struct Port {
    std::string name;
    std::string type;
    Id node = none;
    bool input = true;
    bool alive = true;
    Id link = none;  // index of a value in `World::outside`
    Value value;
    std::vector<Id> connections;
};

struct Node {
    std::string name;
    std::size_t type = 0;  // index into `nodeTypes`
    std::vector<Id> inputs;
    std::vector<Id> outputs;
    std::uint64_t profileTime = 0;
    bool dirty = true;
    bool alive = true;
    bool throws = false;
    int computes = 0;
};

struct CacheEntry {
    bool inUse = false;
    Id node = none;
};

struct Manager {
    std::map<std::string, Id> nodes;
    std::map<std::string, std::vector<Id>> networkCache;
    std::map<std::string, CacheEntry> nodeCache;
};

/// Everything there is. Copying one is how a step is tried out.
struct World {
    SharedList<Port> ports;
    SharedList<Node> nodes;
    SharedList<Manager> managers;
    std::vector<Value> outside;
    std::map<std::string, Id> registered;  ///< What the factory makes under which name: an index into `nodeTypes`.

    // What the last step did.
    std::vector<std::string> log;
    std::vector<Id> destroyed;
    std::vector<std::vector<Id>> ran;  // what may be computed side by side stands in one list
    bool threw = false;
    bool isLeftOut = false;  // there is no such step, or its outcome is left open

    void beginStep();

    // Ports
    Id newPort(const std::string& name, const std::string& type);
    const Value& read(Id port) const;
    void set(Id port, const Value& value);
    void writeThrough(Id port, const Value& value);
    void copyValue(Id to, Id from);
    void resetPort(Id port);
    bool connect(Id port, Id other);
    bool disconnect(Id port, Id other);

    // Nodes
    Id newNode(std::size_t type);
    Id cloneNode(Id node);
    void destroyNode(Id node);
    bool addPort(Id node, Id port, bool input);
    void addNoPort();
    void removePort(Id node, const std::string& name, bool input);
    Id findPort(Id node, const std::string& name, bool input) const;
    void setDirty(Id node, bool dirty);
    void resetNode(Id node);
    void computeByHand(Id node);

    // The factory
    void registerNode(const std::string& name, Id type);
    void deregisterNode(const std::string& name);

    /// What is made under this name; `none` when nothing is.
    Id typeNamed(const std::string& name) const;

    // Managers, by index
    std::string uniqueName(Id manager, const std::string& name) const;
    void addNode(Id manager, Id node, const std::string& name);
    Id createNode(Id manager, const std::string& type, const std::string& name);
    void deleteNode(Id manager, const std::string& name);
    bool renameNode(Id manager, const std::string& oldName, const std::string& newName);
    bool connectAttr(Id manager, const std::vector<std::string>& names);
    bool disconnectAttr(Id manager, const std::vector<std::string>& names);
    void computeNode(Id manager, const std::string& name, bool parallel, bool useCache);

    /// What an evaluation leaves that was called off after these nodes.
    void computeOnly(const std::vector<Id>& these);

    void setAllNodeDirty(Id manager);
    void cacheNodeNetwork(Id manager, const std::string& name);
    void clearNodeCache(Id manager);
    void reset(Id manager);
    void cleanNetwork(Id manager);
    void assign(Id manager, Id other);

    /// Nothing alive names something dead, and neither the lists of the outputs nor those of the
    /// inputs, nor both together, lead back to where they started.
    bool isSound() const;
    bool isOwned(Id node) const;
    bool isListed(Id port) const;
    Id upstream(Id port) const;

private:
    /// Destroys a node that a manager owns.
    void destroyMember(Id manager, Id node);

    bool reaches(Id from, Id target) const;
    std::vector<Id> serialOrder(Id node, bool dirtyOnly) const;
    std::vector<std::vector<Id>> levels(Id node) const;
    Id feeding(Id port) const;
    void compute(Id node);
    bool runRule(Id node);
    void error(const std::vector<std::string>& pieces);
};

}  // namespace model
