#include <TessilGraph/graph/internal/NetworkCopy.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/Counterpart.h>
#include <TessilGraph/graph/internal/CycleCheck.h>
#include <TessilGraph/graph/internal/Prefetch.h>

#include <algorithm>
#include <atomic>
#include <unordered_map>
#include <utility>

namespace TessilGraph::internal {

namespace {

/// Whether no port of the node has a link, nor a list that was lent.
bool isUnlinked(const Node& node) {
    for (const PortRange ports : {Access::inputs(node), Access::outputs(node)}) {
        for (Port* port : ports) {
            if (port != nullptr && (!Access::connectionList(*port).empty() || Access::watched(*port))) {
                return false;
            }
        }
    }
    return true;
}

Port* outputOf(const Node& copy, const Node& node, const Port& original) {
    const PortRange originals = Access::outputs(node);
    const auto place = std::find(originals.begin(), originals.end(), &original) - originals.begin();
    return counterpart(Access::outputs(copy), static_cast<std::size_t>(place), original);
}

}  // namespace

NetworkCopy::NetworkCopy(const NodeSet& source)
    : source_(source), names_(source.sorted()), originals_(source.nodesByPosition()), clones_(source.endPosition()) {
    try {
        cloneNodes();
        areFoundByEntry_ = isSteady_ && source.isPlain();
    } catch (...) {
        deleteClones();
        throw;
    }
}

NetworkCopy::~NetworkCopy() {
    deleteClones();
}

bool NetworkCopy::enterAll(NodeSet& target) {
    if (!areUnlinked_ || !areFoundByEntry_ || target.endPosition() != 0 || !areNewNodes()) {
        return false;
    }
    target.enterCopies(source_, clones_, names_);
    handedOver_ = names_.size();
    return true;
}

std::vector<Node*> NetworkCopy::translate(const std::vector<Node*>& order, const NodeSet& target) const {
    std::vector<Node*> translated;
    translated.reserve(order.size());
    for (const Node* node : order) {
        if (Node* copy = copyOf(*node, target)) {
            translated.push_back(copy);
        }
    }
    return translated;
}

void NetworkCopy::connect(const NodeSet& target) const {
    if (isSteady_) {
        connectInOrder(names_, target);
    } else {
        connectInOrder(source_.sorted(), target);
    }
}

void NetworkCopy::connectInOrder(const std::vector<NodeSet::Position>& names, const NodeSet& target) const {
    for (std::size_t i = 0; i < names.size(); ++i) {
        prefetchOriginal(source_, names, i);
        const NodeSet::Position position = names[i];
        const Node& original = source_.nodeAt(position);
        Node* copy = nullptr;
        std::size_t place = 0;
        for (const Port* input : Access::inputs(original)) {
            const std::size_t inputPlace = place++;
            const Node* upstream = input != nullptr ? upstreamNode(*input) : nullptr;
            if (upstream == nullptr) {
                continue;
            }
            copy = copy != nullptr ? copy : copyOf(original, target);
            Node* upstreamCopy = copyOf(*upstream, target);
            if (copy == nullptr || upstreamCopy == nullptr) {
                continue;
            }
            Port* inputCopy = counterpart(Access::inputs(*copy), inputPlace, *input);
            Port* outputCopy = outputOf(*upstreamCopy, *upstream, *Access::connections(*input).front());
            if (inputCopy != nullptr && outputCopy != nullptr) {
                outputCopy->connectTo(inputCopy);
            }
        }
    }
}

const std::string& NetworkCopy::nameOf(const Node& node) {
    return Access::name(node);
}

void NetworkCopy::cloneNodes() {
    const std::vector<std::uint64_t> labelsByPosition = labels();
    const std::atomic<std::uint64_t>& wiring = source_.state()->wiring;
    const std::uint64_t wiringBefore = wiring.load(std::memory_order_relaxed);
    for (std::size_t i = 0; i < names_.size(); ++i) {
        prefetchOriginal(source_, names_, i);
        const NodeSet::Position position = names_[i];
        Node* clone = source_.nodeAt(position).clone();
        clones_[position] = clone;
        if (clone != nullptr && isUnlinked(*clone)) {
            Access::label(*clone) = labelsByPosition[position];
        } else {
            areUnlinked_ = false;
        }
        if (wiring.load(std::memory_order_relaxed) != wiringBefore) {
            cloneByName(i + 1);
            return;
        }
    }
}

/// Goes on after the first clones where one of them, a host's, changed the source: positions there count no longer.
void NetworkCopy::cloneByName(std::size_t done) {
    isSteady_ = false;
    nameThoseThatAreLeft(done);
    for (Named& copy : named_) {
        Node* original = copy.isDue ? source_.find(copy.name) : nullptr;
        if (original != nullptr) {
            copy.clone = original->clone();
        }
    }
}

/// Of the nodes with which this began, and of the clones that there are. Those of nodes that are gone stay behind.
void NetworkCopy::nameThoseThatAreLeft(std::size_t done) {
    std::unordered_multimap<const Node*, std::size_t> places;
    for (std::size_t i = 0; i < names_.size(); ++i) {
        places.emplace(originals_[names_[i]], i);
    }
    for (const NodeSet::Position position : source_.sorted()) {
        const auto found = places.find(source_.nodeIfAt(position));
        if (found != places.end()) {
            const std::size_t place = found->second;
            named_.push_back({source_.nameAt(position), nullptr, place >= done});
            std::swap(named_.back().clone, clones_[names_[place]]);
            places.erase(found);
        }
    }
}

/// A host's clone may stand in a network already, or come twice.
bool NetworkCopy::areNewNodes() const {
    const std::uint64_t walk = nextStamp();
    return std::all_of(names_.begin(), names_.end(), [&](NodeSet::Position position) {
        Node* clone = clones_[position];
        const bool isNew = Access::holders(*clone) == 0 && Access::mark(*clone) != walk;
        if (isNew) {
            Access::mark(*clone) = walk;
        }
        return isNew;
    });
}

/// Names that follow one another belong to nodes that lie anywhere.
void NetworkCopy::prefetchOriginal(const NodeSet& source, const std::vector<NodeSet::Position>& names,
                                   std::size_t before) {
    if (before + nodesAhead < names.size()) {
        prefetchNode(&source.nodeAt(names[before + nodesAhead]));
    }
}

void NetworkCopy::deleteClones() noexcept {
    const std::uint64_t walk = nextStamp();
    const auto forEach = [this](auto visit) {
        for (std::size_t i = handedOver_; i < names_.size(); ++i) {
            visit(clones_[names_[i]]);
        }
        for (Named& copy : named_) {
            visit(copy.clone);
        }
    };
    // Each one once, and none that stands in a network.
    forEach([walk](Node*& clone) {
        if (clone != nullptr && (Access::holders(*clone) != 0 || std::exchange(Access::mark(*clone), walk) == walk)) {
            clone = nullptr;
        }
    });
    forEach([](Node*& clone) { delete std::exchange(clone, nullptr); });
}

/// New labels in the order of those of the originals, so that wiring clones that bear them never searches.
std::vector<std::uint64_t> NetworkCopy::labels() const {
    std::vector<NodeSet::Position> originals;
    originals.reserve(names_.size());
    for (NodeSet::Position position = 0; position < source_.endPosition(); ++position) {
        if (source_.nodeIfAt(position) != nullptr) {
            originals.push_back(position);
        }
    }
    const auto label = [this](NodeSet::Position position) {
        const Node& node = source_.nodeAt(position);
        return Access::label(node);
    };
    const auto less = [label](NodeSet::Position a, NodeSet::Position b) { return label(a) < label(b); };
    if (!std::is_sorted(originals.begin(), originals.end(), less)) {
        std::sort(originals.begin(), originals.end(), less);
    }
    std::vector<std::uint64_t> labels(source_.endPosition());
    std::uint64_t next = newLabels(originals.size());
    for (const NodeSet::Position position : originals) {
        labels[position] = next;
        next += roomBetweenNodes;
    }
    return labels;
}

/// The node of `target` that has the name of this one; null when there is none.
inline Node* NetworkCopy::copyOf(const Node& original, const NodeSet& target) const {
    if (areFoundByEntry_ && Access::home(original) == source_.state().get()) {
        return clones_[Access::entry(original)];
    }
    return findCopy(original, target);
}

/// Apart from the rest, so that the rest stays short.
[[gnu::noinline]] Node* NetworkCopy::findCopy(const Node& original, const NodeSet& target) {
    return target.find(Access::name(original));
}

}  // namespace TessilGraph::internal
