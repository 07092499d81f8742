#include <TessilGraph/graph/NetworkManager.h>

#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/EvaluationOrder.h>
#include <TessilGraph/graph/internal/EvaluationUnderWay.h>
#include <TessilGraph/graph/internal/LentLists.h>
#include <TessilGraph/graph/internal/LevelWalk.h>
#include <TessilGraph/graph/internal/NetworkCopy.h>
#include <TessilGraph/graph/internal/NetworkState.h>
#include <TessilGraph/graph/internal/Prefetch.h>
#include <TessilGraph/graph/internal/ResetUnderWay.h>
#include <TessilGraph/graph/internal/RunningOrder.h>

#include <TessilUtils/Logger.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <new>
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

/// How many entries of an output's list have no other end: the port there does not list the output, or not as
/// often. Only lists that were edited by hand name a port twice.
std::size_t countOneSidedLinks(const Port& output) {
    if (!Access::connectionList(output).isOpen()) {
        const auto isOneSided = [&output](const Port* peer) {
            return peer != nullptr && !internal::lists(*peer, output);
        };
        const PortRange peers = Access::connections(output);
        return static_cast<std::size_t>(std::count_if(peers.begin(), peers.end(), isOneSided));
    }
    std::map<const Port*, std::size_t> entries;
    for (const Port* peer : Access::connections(output)) {
        if (peer != nullptr) {
            ++entries[peer];
        }
    }
    std::size_t count = 0;
    for (const auto& [peer, times] : entries) {
        const PortRange back = Access::connections(*peer);
        const auto answers = static_cast<std::size_t>(std::count(back.begin(), back.end(), &output));
        count += times > answers ? times - answers : 0;
    }
    return count;
}

/// How many links of a node cannot be taken away in the ordinary way.
std::size_t countOneSidedLinks(const Node& node) {
    std::size_t count = 0;
    for (const Port* output : Access::outputs(node)) {
        count += output != nullptr ? countOneSidedLinks(*output) : 0;
    }
    return count;
}

/// The two ports that are to be linked or unlinked; null where a name is unknown.
struct Ends {
    Port* output = nullptr;
    Port* input = nullptr;

    Ends(const NodeSet& nodes, const std::string& srcNode, const std::string& srcPort, const std::string& dstNode,
         const std::string& dstPort) {
        const auto [source, destination] = nodes.findBoth(srcNode, dstNode);
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
    try {
        copyFrom(other);
    } catch (...) {
        cleanNetwork();
        throw;
    }
    return *this;
}

/// Into an empty network.
void NetworkManager::copyFrom(const NetworkManager& other) {
    internal::NetworkCopy copy(other.nodes_);
    if (!copy.enterAll(nodes_)) {
        nodes_.reserve(other.nodes_.size());
        copy.handOver([this](Node& clone, const std::string& name) {
            if (Node* replaced = nodes_.enter(clone, name)) {
                destroy(*replaced);
            }
        });
    }
    other.networkCache_.forEach([&](const std::string& name, const std::vector<Node*>& order) {
        networkCache_.store(name, copy.translate(order, nodes_));
    });
    copy.connect(nodes_);
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
    constexpr bool made = false;
    nodes_.enter(*node, NodeSet::FreeName(nodes_, name), made);
    internal::LentLists::noteLinks(*node);
}

Node* NetworkManager::createNode(const std::string& type, const std::string& name) {
    const std::string kept = name;  // A host's creator may change what that refers to.
    const NodeSet::FreeName unique(nodes_, kept);
    Node* waiting = waitingNode(unique);
    if (waiting != nullptr && waiting->typeStr() == type) {
        enterMade(*waiting, unique, kept);
        internal::LentLists::noteLinks(*waiting);
        return waiting;
    }
    std::unique_ptr<Node> node(NodeFactory::instance().createNode(type));
    if (node == nullptr) {
        setCacheEntry(unique, {true, nullptr});
        return nullptr;
    }
    enterMade(*node, unique, kept);
    return node.release();
}

/// Under the free name; or under another one where a host's node or creator has changed the network since.
void NetworkManager::enterMade(Node& node, const NodeSet::FreeName& unique, const std::string& asked) {
    constexpr bool made = true;
    if (nodes_.enter(node, unique, made)) {
        eraseCacheEntry(unique);
    } else {
        enterMade(node, NodeSet::FreeName(nodes_, asked), asked);
    }
}

void NetworkManager::deleteNode(const std::string& name) {
    const HashedName key(name);
    const NodeSet::Position position = nodes_.positionOf(key);
    Node* node = position != NodeSet::none ? &nodes_.nodeAt(position) : nullptr;
    std::size_t oneSidedLinks = node != nullptr ? countOneSidedLinks(*node) : 0;
    if (oneSidedLinks == 0) {
        remove(position, key);
        return;
    }
    // The sink is the host's: it may delete the node itself, or rename it, or what it lists, and whatever the name
    // stands in.
    Access::unlink(*node);
    const std::string kept = name;
    for (; oneSidedLinks > 0; --oneSidedLinks) {
        TessilUtils::Logger::error() << "Connection doesn't exist";
    }
    if (nodes_.find(kept) == node) {
        remove(nodes_.positionOf(kept), kept);
    }
}

/// The node that stands there under the name, if one does, and what the cache has under it.
void NetworkManager::remove(NodeSet::Position position, const HashedName& name) {
    Node* node = nullptr;
    if (position != NodeSet::none) {
        node = &nodes_.nodeAt(position);
        nodes_.remove(position, name);
    }
    eraseCacheEntry(name);
    if (node != nullptr) {
        destroy(*node);
    }
}

bool NetworkManager::renameNode(const std::string& oldName, const std::string& newName) {
    if (!isNodeName(newName)) {
        return false;
    }
    const HashedName old(oldName);
    const NodeSet::Position position = nodes_.positionOf(old);
    if (position == NodeSet::none) {
        return false;
    }
    const NodeSet::FreeName unique(nodes_, newName);
    Node* inTheWay = isCached(position, old) ? waitingNode(unique) : nullptr;
    moveEntry(old, unique);
    if (inTheWay != nullptr) {
        destroy(*inTheWay);
    }
    return true;
}

Node* NetworkManager::getNode(const std::string& name) {
    return nodes_.find(name);
}

Node* NetworkManager::getNodeByType(unsigned int typeId) {
    NodeSet::Position first = NodeSet::none;
    for (NodeSet::Position position = 0; position < nodes_.endPosition(); ++position) {
        const Node* node = nodes_.nodeIfAt(position);
        if (node != nullptr && node->typeId() == typeId &&
            (first == NodeSet::none || nodes_.nameAt(position) < nodes_.nameAt(first))) {
            first = position;
        }
    }
    return first != NodeSet::none ? &nodes_.nodeAt(first) : nullptr;
}

std::vector<Node*> NetworkManager::getAllNodes() {
    std::vector<Node*> nodes;
    nodes.reserve(nodes_.size());
    for (const NodeSet::Position position : nodes_.sorted()) {
        nodes.push_back(&nodes_.nodeAt(position));
    }
    return nodes;
}

std::vector<std::string> NetworkManager::getNodeNames() {
    std::vector<std::string> names;
    names.reserve(nodes_.size());
    for (const NodeSet::Position position : nodes_.sorted()) {
        names.push_back(nodes_.nameAt(position));
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
    const internal::EvaluationUnderWay underWay(*nodes_.state());
    if (useCache && networkCache_.compute(name, *nodes_.state(), data)) {
        return;
    }
    if (!node->isDirty()) {
        return;
    }
    if (parallel && internal::computeInLevels(*node, *nodes_.state(), data)) {
        return;
    }
    const bool isCyclic = parallel;
    internal::computeUpstream(*node, nodes_, data, isCyclic);
}

void NetworkManager::setAllNodeDirty() {
    for (NodeSet::Position position = 0; position < nodes_.endPosition(); ++position) {
        if (Node* node = nodes_.nodeIfAt(position)) {
            node->setDirtyFlag();
        }
    }
}

void NetworkManager::cacheNodeNetwork(const std::string& name) {
    Node* node = nodes_.find(name);
    if (node == nullptr) {
        return;
    }
    internal::WholeOrder order = internal::wholeOrder(*node, nodes_);
    networkCache_.store(name, std::move(order.nodes));
    if (order.isCyclic) {
        internal::logCycle();
    }
}

void NetworkManager::clearNodeNetworkCache(const std::string& name) {
    networkCache_.drop(name);
}

void NetworkManager::clearNodeNetworkCaches() {
    networkCache_.dropAll();
}

void NetworkManager::clearNodeCache() {
    std::vector<NameTable<NodeCacheEntry>::Entry> waiting;
    for (const auto* entry : nodeCache_.sorted()) {
        if (!entry->value.inUse) {
            waiting.push_back(*entry);
        }
    }
    std::vector<Node*> doomed;
    doomed.reserve(waiting.size());
    for (const auto& [name, entry] : waiting) {
        // A node that stands under two names is forgotten, and its entries with it, at the first one.
        const NodeCacheEntry* now = nodeCache_.find(name);
        const bool stillThere = now != nullptr && now->node == entry.node;
        eraseCacheEntry(name);
        if (stillThere && entry.node != nullptr) {
            forget(*entry.node);
            doomed.push_back(entry.node);
        }
    }
    // All are unlinked by now: a list that was edited by hand may have named one that listed nothing.
    for (Node* node : doomed) {
        delete node;
    }
}

void NetworkManager::reset() {
    // The books first: what a host's node does in its reset, or throws out of it, finds them in order.
    const std::vector<NameTable<NodeCacheEntry>::Entry*> entries = cacheAll();
    nodes_.clear();
    networkCache_.dropAll();
    for (auto* entry : entries) {
        entry->value.inUse = false;
    }
    std::exception_ptr failure;
    {
        internal::ResetUnderWay underWay(*nodes_.state(), nodeCache_);
        failure = callResets(entries);
        takeBack(underWay.cache);
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

/// Returns the first exception; null when there was none.
std::exception_ptr NetworkManager::callResets(const std::vector<NameTable<NodeCacheEntry>::Entry*>& entries) {
    std::exception_ptr failure;
    for (auto* entry : entries) {
        Node* node = entry->value.node;
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
    return failure;
}

/// Lets nodes wait that were reset. What they made under their names meanwhile stays in place of them.
void NetworkManager::takeBack(NameTable<NodeCacheEntry>& waiting) {
    std::swap(waiting, nodeCache_);
    for (auto& [name, entry] : waiting) {
        if (entry.node != nullptr) {
            try {
                std::swap(entry, nodeCache_.at(name));
            } catch (const std::bad_alloc&) {
                // Nobody waits for this one.
            }
        }
    }
    for (auto& entry : waiting) {
        if (Node* replaced = std::exchange(entry.value.node, nullptr)) {
            --Access::holders(*replaced);
            destroy(*replaced);
        }
    }
    for (NodeSet::Position position = 0; position < nodes_.endPosition(); ++position) {
        if (nodes_.nodeIfAt(position) == nullptr || !nodes_.isMade(position)) {
            continue;
        }
        const HashedName name(nodes_.nameAt(position));
        if (Node* replaced = waitingNode(name)) {
            eraseCacheEntry(name);
            destroy(*replaced);
        }
    }
}

/// Enters all nodes that the manager made in the cache, and returns its entries in name order. Where there is no
/// memory, nothing changes.
std::vector<NameTable<NodeCacheEntry>::Entry*> NetworkManager::cacheAll() {
    NodeSet::Position position = 0;
    try {
        for (; position < nodes_.endPosition(); ++position) {
            Node* node = nodes_.nodeIfAt(position);
            if (node != nullptr && nodes_.isMade(position)) {
                setCacheEntry(nodes_.nameAt(position), {false, node});
            }
        }
        return nodeCache_.sorted();
    } catch (...) {
        while (position-- > 0) {
            if (nodes_.nodeIfAt(position) != nullptr && nodes_.isMade(position)) {
                eraseCacheEntry(nodes_.nameAt(position));
            }
        }
        throw;
    }
}

void NetworkManager::cleanNetwork() {
    std::vector<Node*> doomed = nodes_.takeAll();
    NameTable<NodeCacheEntry> waiting;
    std::swap(waiting, nodeCache_);
    networkCache_.dropAll();
    if (!waiting.isEmpty()) {
        // A node may wait and stand in the network as well.
        const std::uint64_t walk = internal::nextStamp();
        for (Node* node : doomed) {
            Access::mark(*node) = walk;
        }
        waiting.forEachSorted([walk](NameTable<NodeCacheEntry>::Entry& entry) {
            Node*& node = entry.value.node;
            if (node != nullptr && (entry.value.inUse || std::exchange(Access::mark(*node), walk) == walk)) {
                node = nullptr;
            }
        });
    }
    for (std::size_t i = 0; i < doomed.size(); ++i) {
        internal::prefetchAhead(doomed, i);
        delete doomed[i];
    }
    waiting.forEachSorted([](const NameTable<NodeCacheEntry>::Entry& entry) { delete entry.value.node; });
}

std::string NetworkManager::getUniqueName(const std::string& name) {
    return std::string(NodeSet::FreeName(nodes_, name).name().text());
}

/// The node that waits in the cache under a name; null when none does.
Node* NetworkManager::waitingNode(const HashedName& name) const {
    const NodeCacheEntry* entry = nodeCache_.find(name);
    return entry != nullptr && !entry->inUse ? entry->node : nullptr;
}

/// Whether the cache has a node of the network under the name that it has there.
bool NetworkManager::isCached(NodeSet::Position position, const HashedName& name) const {
    if (nodes_.isMade(position)) {
        return true;
    }
    const NodeCacheEntry* entry = nodeCache_.find(name);
    return entry != nullptr && entry->node == &nodes_.nodeAt(position);
}

/// Gives a node of the network, and its entry in the cache, another name, which no node has.
void NetworkManager::moveEntry(const HashedName& from, const HashedName& to) {
    const NodeSet::Position position = nodes_.positionOf(from);
    if (position == NodeSet::none) {
        return;
    }
    const bool isMade = nodes_.isMade(position);
    const bool hasEntry = !isMade && isCached(position, from);
    if (hasEntry) {
        nodeCache_.at(to);  // Here it fails, or not at all.
    }
    nodes_.rename(position, to);
    if (hasEntry) {
        setCacheEntry(to, *nodeCache_.find(from));
        eraseCacheEntry(from);
    } else if (isMade) {
        eraseCacheEntry(to);
    }
}

/// Deletes a node and whatever the books still say of it.
void NetworkManager::destroy(Node& node) noexcept {
    forget(node);
    delete &node;
}

/// Takes the node out of the books, and out of all lists of ports that its own ports know.
void NetworkManager::forget(Node& node) noexcept {
    if (Access::holders(node) != 0) {
        // The host entered it under more than one name.
        for (NodeSet::Position position = 0; position < nodes_.endPosition(); ++position) {
            if (nodes_.nodeIfAt(position) == &node) {
                const std::uint64_t storage = nodes_.state()->storage;
                nodes_.remove(position, nodes_.nameAt(position));
                if (nodes_.state()->storage != storage) {
                    position = NodeSet::none;  // The others have moved: again from the first one.
                }
            }
        }
        const auto leave = [&node](NameTable<NodeCacheEntry>& cache) {
            for (auto& entry : cache) {
                if (entry.value.node == &node) {
                    entry.value.node = nullptr;
                }
            }
        };
        leave(nodeCache_);
        for (auto* reset = nodes_.state()->resetUnderWay; reset != nullptr; reset = reset->outer) {
            leave(reset->cache);
        }
    }
    networkCache_.nodeDies(node);
    internal::RunningOrder::leaveOut(*nodes_.state(), node);
    Access::unlink(node);
}

void NetworkManager::setCacheEntry(const HashedName& name, NodeCacheEntry entry) {
    NodeCacheEntry& kept = nodeCache_.at(name);
    if (kept.node != nullptr) {
        --Access::holders(*kept.node);
    }
    kept = entry;
    if (entry.node != nullptr) {
        ++Access::holders(*entry.node);
    }
}

void NetworkManager::eraseCacheEntry(const HashedName& name) noexcept {
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
