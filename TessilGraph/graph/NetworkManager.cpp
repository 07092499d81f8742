#include <TessilGraph/graph/NetworkManager.h>

#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/EvaluationOrder.h>
#include <TessilGraph/graph/internal/LevelWalk.h>
#include <TessilGraph/graph/internal/NetworkCopy.h>

#include <TessilUtils/Logger.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

namespace TessilGraph {

using internal::Access;

namespace {

/// One or more ASCII letters, digits, hyphens and underscores. A loop, since the standard's regular
/// expressions recurse over long names.
bool isNodeName(const std::string& name) {
    const auto isAllowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    };
    return !name.empty() && std::all_of(name.begin(), name.end(), isAllowed);
}

/// Says in the log which links of a node cannot be taken away in the ordinary way, since the other
/// end does not list it.
void logOneSidedLinks(const Node& node) {
    for (const Port* output : Access::outputs(node)) {
        if (output == nullptr) {
            continue;
        }
        for (const Port* peer : Access::connections(*output)) {
            if (peer != nullptr && !internal::lists(*peer, *output)) {
                TessilUtils::Logger::error() << "Connection doesn't exist";
            }
        }
    }
}

/// The two ports that are to be linked or unlinked; null where a name is unknown.
struct Ends {
    Port* output = nullptr;
    Port* input = nullptr;

    Ends(const NodeSet& nodes, const std::string& srcNode, const std::string& srcPort, const std::string& dstNode,
         const std::string& dstPort) {
        Node* source = nodes.find(srcNode);
        Node* destination = nodes.find(dstNode);
        if (source != nullptr && destination != nullptr) {
            output = source->getOutputPort(srcPort);
            input = destination->getInputPort(dstPort);
        }
    }

    bool areKnown() const { return output != nullptr && input != nullptr; }
};

}  // namespace

NetworkManager::NetworkManager(const NetworkManager& other) : NetworkManager() {
    *this = other;
}

NetworkManager& NetworkManager::operator=(const NetworkManager& other) {
    cleanNetwork();
    internal::NetworkCopy copy(other.nodes_);
    copy.handOver([this](Node& clone, const std::string& name) {
        Node* replaced = nodes_.find(name);
        nodes_.enter(clone, name);
        if (replaced != nullptr) {
            destroy(*replaced);
        }
    });
    for (const auto& [name, order] : other.networkCache_.living()) {
        networkCache_.store(name, copy.translate(order, nodes_));
    }
    copy.connect(nodes_);
    return *this;
}

NetworkManager::~NetworkManager() {
    cleanNetwork();
}

NetworkManager NetworkManager::clone() const {
    return NetworkManager(*this);
}

void NetworkManager::addNode(Node* node, const std::string& name) {
    if (node == nullptr) {
        TessilUtils::Logger::error() << "Error null pointer";
        return;
    }
    nodes_.enter(*node, getUniqueName(name));
}

Node* NetworkManager::createNode(const std::string& type, const std::string& name) {
    const std::string unique = getUniqueName(name);
    Node* node = nullptr;
    NodeCacheEntry* waiting = nodeCache_.find(unique);
    if (waiting != nullptr && !waiting->inUse && waiting->node != nullptr && waiting->node->typeStr() == type) {
        waiting->inUse = true;
        node = waiting->node;
    } else {
        std::unique_ptr<Node> made(NodeFactory::instance().createNode(type));
        setCacheEntry(unique, {true, made.get()});
        node = made.release();
    }
    if (node != nullptr) {
        nodes_.enter(*node, unique);
    }
    return node;
}

void NetworkManager::deleteNode(const std::string& name) {
    const std::string key = name;  // The argument may live in the node.
    if (Node* node = nodes_.find(key)) {
        logOneSidedLinks(*node);
        nodes_.remove(key);
        eraseCacheEntry(key);
        destroy(*node);
    } else {
        eraseCacheEntry(key);
    }
}

bool NetworkManager::renameNode(const std::string& oldName, const std::string& newName) {
    if (!isNodeName(newName)) {
        return false;
    }
    Node* node = nodes_.find(oldName);
    if (node == nullptr) {
        return false;
    }
    const std::string old = oldName;  // The argument may live in the node.
    const std::string unique = getUniqueName(newName);
    const NodeCacheEntry* cached = nodeCache_.find(old);
    if (cached != nullptr && cached->node == node) {
        const NodeCacheEntry entry = *cached;
        const NodeCacheEntry* inTheWay = nodeCache_.find(unique);
        if (inTheWay != nullptr && !inTheWay->inUse && inTheWay->node != nullptr) {
            Node& waiting = *inTheWay->node;
            eraseCacheEntry(unique);
            destroy(waiting);
        }
        setCacheEntry(unique, entry);
        eraseCacheEntry(old);
    }
    nodes_.rename(old, unique);
    return true;
}

Node* NetworkManager::getNode(const std::string& name) {
    return nodes_.find(name);
}

Node* NetworkManager::getNodeByType(unsigned int typeId) {
    const std::string* firstName = nullptr;
    Node* first = nullptr;
    for (const auto& [name, node] : nodes_) {
        if (node->typeId() == typeId && (firstName == nullptr || name < *firstName)) {
            firstName = &name;
            first = node;
        }
    }
    return first;
}

std::vector<Node*> NetworkManager::getAllNodes() {
    std::vector<Node*> nodes;
    nodes.reserve(nodes_.size());
    for (const auto* entry : nodes_.sorted()) {
        nodes.push_back(entry->second);
    }
    return nodes;
}

std::vector<std::string> NetworkManager::getNodeNames() {
    std::vector<std::string> names;
    names.reserve(nodes_.size());
    for (const auto* entry : nodes_.sorted()) {
        names.push_back(entry->first);
    }
    return names;
}

bool NetworkManager::connectAttr(const std::string& srcNode, const std::string& srcPort, const std::string& dstNode,
                                 const std::string& dstPort) {
    const Ends ends(nodes_, srcNode, srcPort, dstNode, dstPort);
    return ends.areKnown() && ends.output->connectTo(ends.input);
}

bool NetworkManager::disconnectAttr(const std::string& srcNode, const std::string& srcPort, const std::string& dstNode,
                                    const std::string& dstPort) {
    const Ends ends(nodes_, srcNode, srcPort, dstNode, dstPort);
    return ends.areKnown() && ends.output->disconnectFrom(ends.input);
}

void NetworkManager::computeNode(const std::string& name, const ComputeData* data, bool parallel, bool useCache) {
    Node* node = nodes_.find(name);
    if (node == nullptr) {
        return;
    }
    if (useCache) {
        if (const std::vector<Node*>* order = networkCache_.find(name)) {
            internal::computeInOrder(*order, data);
            return;
        }
    }
    if (!node->isDirty()) {
        return;
    }
    if (parallel && internal::computeInLevels(*node, data)) {
        return;
    }
    const internal::EvaluationOrder order = internal::upstreamOrder(*node, internal::Gather::Dirty, nodes_);
    if (parallel || order.cyclic) {
        internal::logCycle();
    }
    internal::computeInOrder(order.nodes, data);
}

void NetworkManager::setAllNodeDirty() {
    for (const auto& [name, node] : nodes_) {
        node->setDirtyFlag();
    }
}

void NetworkManager::cacheNodeNetwork(const std::string& name) {
    Node* node = nodes_.find(name);
    if (node == nullptr) {
        return;
    }
    internal::EvaluationOrder order = internal::upstreamOrder(*node, internal::Gather::All, nodes_);
    if (order.cyclic) {
        internal::logCycle();
    }
    networkCache_.store(name, std::move(order.nodes));
}

void NetworkManager::clearNodeNetworkCache(const std::string& name) {
    networkCache_.drop(name);
}

void NetworkManager::clearNodeNetworkCaches() {
    networkCache_.dropAll();
}

void NetworkManager::clearNodeCache() {
    const auto entries = nodeCache_.sorted();
    std::vector<std::pair<std::string, Node*>> waiting;
    for (const auto* entry : entries) {
        if (!entry->second.inUse) {
            waiting.emplace_back(entry->first, entry->second.node);
        }
    }
    for (const auto& [name, node] : waiting) {
        // A node that stands under two names is gone, and its entries with it, at the first one.
        const NodeCacheEntry* entry = nodeCache_.find(name);
        const bool stillThere = entry != nullptr && entry->node == node;
        eraseCacheEntry(name);
        if (stillThere && node != nullptr) {
            destroy(*node);
        }
    }
}

void NetworkManager::reset() {
    // The books first: what a host's node throws out of its reset finds them in order.
    const auto& entries = nodeCache_.sorted();
    nodes_.clear();
    networkCache_.dropAll();
    for (auto* entry : entries) {
        entry->second.inUse = false;
    }
    std::exception_ptr failure;
    for (auto* entry : entries) {
        Node* node = entry->second.node;
        if (node == nullptr) {
            continue;
        }
        try {
            node->reset();
        } catch (...) {
            // Its neighbours are reset all the same, so it must not go on naming them.
            Access::unlink(*node);
            failure = failure ? failure : std::current_exception();
        }
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void NetworkManager::cleanNetwork() {
    // A node that the host entered twice is deleted once.
    std::vector<Node*> doomed;
    doomed.reserve(nodes_.size());
    const std::uint64_t walk = internal::nextStamp();
    const auto doom = [&doomed, walk](Node* node) {
        if (node != nullptr && Access::mark(*node) != walk) {
            Access::mark(*node) = walk;
            doomed.push_back(node);
        }
    };
    for (const auto* entry : nodes_.sorted()) {
        doom(entry->second);
    }
    for (const auto* entry : nodeCache_.sorted()) {
        if (!entry->second.inUse) {
            doom(entry->second.node);
        }
    }
    nodes_.clear();
    nodeCache_.clear();
    networkCache_.dropAll();
    for (Node* node : doomed) {
        delete node;
    }
}

std::string NetworkManager::getUniqueName(const std::string& name) {
    return nodes_.uniqueName(name);
}

/// Deletes a node and whatever the books still say of it.
void NetworkManager::destroy(Node& node) {
    if (Access::holders(node) != 0) {
        // The host entered it under more than one name.
        std::vector<std::string> names;
        for (const auto& [name, held] : nodes_) {
            if (held == &node) {
                names.push_back(name);
            }
        }
        for (const std::string& name : names) {
            nodes_.remove(name);
        }
        for (auto& [name, entry] : nodeCache_) {
            if (entry.node == &node) {
                entry.node = nullptr;
            }
        }
    }
    networkCache_.nodeDies(node);
    Access::unlink(node);
    delete &node;
}

void NetworkManager::setCacheEntry(const std::string& name, NodeCacheEntry entry) {
    eraseCacheEntry(name);
    if (entry.node != nullptr) {
        ++Access::holders(*entry.node);
    }
    nodeCache_.set(name, entry);
}

void NetworkManager::eraseCacheEntry(const std::string& name) {
    const NodeCacheEntry* entry = nodeCache_.find(name);
    if (entry == nullptr) {
        return;
    }
    if (entry->node != nullptr) {
        --Access::holders(*entry->node);
    }
    nodeCache_.erase(name);
}

}  // namespace TessilGraph
