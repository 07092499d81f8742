#pragma once

#include <TessilGraph/graph/NetworkManager.h>
#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/Port.h>

#include <fuzz/Expect.h>
#include <fuzz/HostTypes.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace fuzz {

/// Two networks with everything that a host has beside them. It keeps track of what each of them owns by what
/// `NetworkManager` promises, and of links that only one side still lists, so that nothing dies while somebody refers
/// to it, and nothing is left over.
class Belongings {
public:
    using NetworkManager = TessilGraph::NetworkManager;
    using Node = TessilGraph::Node;
    using Port = TessilGraph::Port;

    Belongings() = default;
    Belongings(const Belongings&) = delete;
    Belongings& operator=(const Belongings&) = delete;

    ~Belongings() {
        for (NetworkManager& network : networks_) {
            network.cleanNetwork();
        }
        for (Node* node : nodes_) {
            delete node;
        }
        for (const std::vector<Port*>* ports : {&ports_, &keptPorts_}) {
            for (Port* port : *ports) {
                delete port;
            }
        }
    }

    NetworkManager& network(std::size_t index) { return networks_[index]; }

    /// Nodes that are the host's.
    const std::vector<Node*>& nodes() const { return nodes_; }

    /// Ports that are the host's: removed from their nodes.
    const std::vector<Port*>& ports() const { return ports_; }

    /// Also those that nodes of the library go on using.
    std::vector<Port*> removedPorts() const {
        std::vector<Port*> all(ports_);
        all.insert(all.end(), keptPorts_.begin(), keptPorts_.end());
        return all;
    }

    /// Nodes that wait in the network's cache.
    std::vector<Node*> waiting(std::size_t index) const {
        std::vector<Node*> found;
        for (const auto& [name, entry] : caches_[index]) {
            if (!entry.inUse && entry.node != nullptr) {
                found.push_back(entry.node);
            }
        }
        return found;
    }

    static std::vector<Port*> portsOf(const Node& node) {
        std::vector<Port*> all(node.inputPortCBegin(), node.inputPortCEnd());
        all.insert(all.end(), node.outputPortCBegin(), node.outputPortCEnd());
        return all;
    }

    void create(std::size_t index, const std::string& type, const std::string& name) {
        const std::string unique = uniqueName(index, name);
        Node* made = networks_[index].createNode(type, name);
        expect((made != nullptr) == TessilGraph::NodeFactory::instance().isRegistered(type) || isWaiting(index, made),
               "a node of each type that is registered");
        expect(networks_[index].getNode(unique) == made, "a new node under the first free name");
        Entry& entry = caches_[index][unique];
        if (!entry.inUse && entry.node != nullptr && entry.node != made) {
            nodes_.push_back(entry.node);
        }
        entry = {true, made};
    }

    void take(Node* node) {
        if (node != nullptr) {
            nodes_.push_back(node);
        }
    }

    /// Gives the network a node of the host's.
    void add(std::size_t index, Node* node, const std::string& name) {
        const std::string unique = uniqueName(index, name);
        networks_[index].addNode(node, name);
        expect(networks_[index].getNode(unique) == node && node->name() == unique,
               "a node that was added has its name");
        nodes_.erase(std::find(nodes_.begin(), nodes_.end(), node));
    }

    void deleteNode(std::size_t index, const std::string& name) {
        Node* node = networks_[index].getNode(name);
        // The network unlinks what it deletes.
        mendLinks();
        clearForeignOrders();
        networks_[index].deleteNode(name);
        expect(networks_[index].getNode(name) == nullptr, "no node under the name of one that was deleted");
        const auto entry = caches_[index].find(name);
        if (entry != caches_[index].end()) {
            if (entry->second.node != node) {
                take(entry->second.node);
            }
            caches_[index].erase(entry);
        }
    }

    void rename(std::size_t index, const std::string& name, const std::string& newName) {
        Node* node = networks_[index].getNode(name);
        const std::string unique = uniqueName(index, newName);
        std::map<std::string, Entry>& cache = caches_[index];
        const auto entry = cache.find(name);
        const bool isCached = node != nullptr && entry != cache.end() && entry->second.node == node;
        const auto other = cache.find(unique);
        if (isCached && other != cache.end() && !other->second.inUse && other->second.node != nullptr) {
            prepareEnd({other->second.node});
        }
        if (!networks_[index].renameNode(name, newName)) {
            return;
        }
        expect(node != nullptr && networks_[index].getNode(unique) == node, "a renamed node under the first free name");
        if (isCached) {
            const Entry moved = entry->second;
            cache.erase(name);
            cache[unique] = moved;
        }
    }

    void clearCache(std::size_t index) {
        prepareEnd(waiting(index));
        networks_[index].clearNodeCache();
        std::map<std::string, Entry>& cache = caches_[index];
        for (auto entry = cache.begin(); entry != cache.end();) {
            entry = entry->second.inUse ? std::next(entry) : cache.erase(entry);
        }
    }

    void reset(std::size_t index) {
        std::set<Node*> cached;
        for (auto& [name, entry] : caches_[index]) {
            entry.inUse = false;
            if (entry.node != nullptr) {
                cached.insert(entry.node);
                expectOneSided(portsOf(*entry.node));
            }
        }
        for (Node* node : networks_[index].getAllNodes()) {
            if (cached.count(node) == 0) {
                nodes_.push_back(node);
            }
        }
        try {
            networks_[index].reset();
        } catch (const Failure&) {
        }
        expect(networks_[index].getAllNodes().empty(), "no nodes after a reset");
    }

    void clean(std::size_t index) {
        prepareEndOfAll(index);
        networks_[index].cleanNetwork();
        caches_[index].clear();
    }

    void assign(std::size_t index, std::size_t from) {
        prepareEndOfAll(index);
        const NetworkManager& source = networks_[from];
        networks_[index] = source;
        caches_[index].clear();
        expect(index != from || networks_[index].getAllNodes().empty(), "nothing left of a network assigned to itself");
    }

    void resetNode(Node& node) {
        expectOneSided(portsOf(node));
        try {
            node.reset();
        } catch (const Failure&) {
        }
    }

    void resetPort(Port& port) {
        expectOneSided({&port});
        port.reset();
    }

    void deleteOwn(Node* node) {
        prepareEnd({node});
        nodes_.erase(std::find(nodes_.begin(), nodes_.end(), node));
        delete node;
    }

    void removePort(Node& node, Port* port) {
        hasForeignLinks_ = true;
        port->isInput() ? node.removeInputPort(port->name()) : node.removeOutputPort(port->name());
        (dynamic_cast<MadeByHost*>(port) != nullptr ? ports_ : keptPorts_).push_back(port);
    }

    /// Gives a node a port that is the host's.
    void addPort(Node& node, Port* port, bool asInput) {
        if (port->isInput() != asInput) {
            unlink({port});
        }
        const std::uint64_t before = node.numInputPorts() + node.numOutputPorts();
        asInput ? node.addInputPort(port) : node.addOutputPort(port);
        if (node.numInputPorts() + node.numOutputPorts() > before) {
            ports_.erase(std::find(ports_.begin(), ports_.end(), port));
        }
    }

    void deleteOwn(Port* port) {
        unlink({port});
        ports_.erase(std::find(ports_.begin(), ports_.end(), port));
        delete port;
    }

    void take(Port* port) { ports_.push_back(port); }

    void noteForeignLink() { hasForeignLinks_ = true; }

    /// Takes out what only one side of a link still lists.
    void mendLinks() {
        for (const auto& [lister, listed] : oneSided_) {
            if (lists(*lister, listed) && !lists(*listed, lister)) {
                lister->disconnectFrom(listed);
            }
        }
        oneSided_.clear();
    }

private:
    struct Entry {
        bool inUse = false;
        Node* node = nullptr;
    };

    static bool lists(const Port& port, const Port* peer) {
        const std::vector<Port*>& list = port.getConnections();
        return std::find(list.begin(), list.end(), peer) != list.end();
    }

    bool isWaiting(std::size_t index, const Node* node) const {
        const std::vector<Node*> all = waiting(index);
        return std::find(all.begin(), all.end(), node) != all.end();
    }

    std::string uniqueName(std::size_t index, const std::string& name) {
        std::string unique = name;
        for (int number = 1; networks_[index].getNode(unique) != nullptr; ++number) {
            unique = name + std::to_string(number);
        }
        return unique;
    }

    /// These are about to forget their links.
    void expectOneSided(const std::vector<Port*>& ports) {
        for (Port* port : ports) {
            const Port& mine = *port;
            for (Port* peer : mine.getConnections()) {
                oneSided_.emplace_back(peer, port);
            }
        }
    }

    /// Cuts the links of ports to all others.
    void unlink(const std::set<Port*>& ports) {
        mendLinks();
        for (Port* port : ports) {
            const std::vector<Port*> peers = static_cast<const Port*>(port)->getConnections();
            for (Port* peer : peers) {
                if (ports.count(peer) == 0) {
                    port->disconnectFrom(peer);
                }
            }
        }
    }

    /// Nodes that die together.
    void prepareEnd(const std::vector<Node*>& nodes) {
        std::set<Port*> ports;
        for (const Node* node : nodes) {
            const std::vector<Port*> all = portsOf(*node);
            ports.insert(all.begin(), all.end());
        }
        unlink(ports);
        clearForeignOrders();
    }

    void prepareEndOfAll(std::size_t index) {
        std::vector<Node*> all = networks_[index].getAllNodes();
        for (Node* node : waiting(index)) {
            all.push_back(node);
        }
        prepareEnd(all);
    }

    /// A network knows of what it deletes itself, but stored orders may hold nodes of others.
    void clearForeignOrders() {
        if (hasForeignLinks_) {
            networks_[0].clearNodeNetworkCaches();
            networks_[1].clearNodeNetworkCaches();
        }
    }

    NetworkManager networks_[2];
    std::map<std::string, Entry> caches_[2];
    std::vector<Node*> nodes_;
    std::vector<Port*> ports_;
    std::vector<Port*> keptPorts_;
    std::vector<std::pair<Port*, Port*>> oneSided_;
    bool hasForeignLinks_ = false;
};

}  // namespace fuzz
