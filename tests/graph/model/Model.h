#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// A second, literal telling of what ports, nodes and managers promise: plain numbers for
/// identities, no speed, nothing taken from the library. It knows acyclic networks only.
namespace model {

constexpr int none = -1;

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
    int node = none;
    bool input = true;
    bool alive = true;
    int link = none;  // index of a value in `World::outside`
    Value value;
    std::vector<int> connections;
};

struct Node {
    std::string name;
    std::size_t type = 0;  // index into `nodeTypes`
    std::vector<int> inputs;
    std::vector<int> outputs;
    std::uint64_t profileTime = 0;
    bool dirty = true;
    bool alive = true;
    bool throws = false;
    int computes = 0;
};

struct CacheEntry {
    bool inUse = false;
    int node = none;
};

struct Manager {
    std::map<std::string, int> nodes;
    std::map<std::string, std::vector<int>> networkCache;
    std::map<std::string, CacheEntry> nodeCache;
};

/// Everything there is. Copying one is how a step is tried out.
struct World {
    std::vector<Port> ports;
    std::vector<Node> nodes;
    std::vector<Manager> managers;
    std::vector<Value> outside;

    // What the last step did.
    std::vector<std::string> log;
    std::vector<int> destroyed;
    std::vector<std::vector<int>> ran;  // what may be computed side by side stands in one list
    bool threw = false;
    bool ambiguous = false;  // the step's outcome is left open

    void beginStep();

    // Ports
    int newPort(const std::string& name, const std::string& type);
    const Value& read(int port) const;
    void set(int port, const Value& value);
    void copyValue(int to, int from);
    void resetPort(int port);
    bool connect(int port, int other);
    bool disconnect(int port, int other);

    // Nodes
    int newNode(std::size_t type);
    int cloneNode(int node);
    void destroyNode(int node);
    bool addPort(int node, int port, bool input);
    void removePort(int node, const std::string& name, bool input);
    int findPort(int node, const std::string& name, bool input) const;
    void setDirty(int node, bool dirty);
    void resetNode(int node);

    // Managers, by index
    std::string uniqueName(int manager, const std::string& name) const;
    void addNode(int manager, int node, const std::string& name);
    int createNode(int manager, const std::string& type, const std::string& name);
    void deleteNode(int manager, const std::string& name);
    bool renameNode(int manager, const std::string& oldName, const std::string& newName);
    bool connectAttr(int manager, const std::vector<std::string>& names);
    bool disconnectAttr(int manager, const std::vector<std::string>& names);
    void computeNode(int manager, const std::string& name, bool parallel, bool useCache);
    void cacheNodeNetwork(int manager, const std::string& name);
    void clearNodeCache(int manager);
    void reset(int manager);
    void cleanNetwork(int manager);
    void assign(int manager, int other);

    /// Nothing alive names something dead, and neither the lists of the outputs nor those of the
    /// inputs, nor both together, lead back to where they started.
    bool isSound() const;
    bool isOwned(int node) const;
    int upstream(int port) const;

private:
    bool reaches(int from, int target) const;
    std::vector<int> serialOrder(int node, bool dirtyOnly) const;
    std::vector<std::vector<int>> levels(int node) const;
    void compute(int node);
    void error(const std::vector<std::string>& pieces);
};

}  // namespace model
