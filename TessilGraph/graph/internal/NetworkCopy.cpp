#include <TessilGraph/graph/internal/NetworkCopy.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/Counterpart.h>
#include <TessilGraph/graph/internal/CycleCheck.h>
#include <TessilGraph/graph/internal/Prefetch.h>

#include <algorithm>
#include <atomic>

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
    : source_(source),
      names_(source.sorted()),
      clones_(source.endPosition()),
      wiring_(source.state()->wiring.load(std::memory_order_relaxed)) {
    try {
        cloneNodes();
    } catch (...) {
        deleteClones();
        throw;
    }
}

NetworkCopy::~NetworkCopy() {
    deleteClones();
}

bool NetworkCopy::enterAll(NodeSet& target) {
    // What a host's clone did to the source meanwhile raised this.
    const bool isUnchanged = source_.state()->wiring.load(std::memory_order_relaxed) == wiring_;
    if (!areUnlinked_ || !isUnchanged || !source_.isPlain() || target.endPosition() != 0 || !areNewNodes()) {
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
    for (std::size_t i = 0; i < names_.size(); ++i) {
        prefetchOriginal(i);
        const NodeSet::Position position = names_[i];
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
    for (std::size_t i = 0; i < names_.size(); ++i) {
        prefetchOriginal(i);
        const NodeSet::Position position = names_[i];
        Node* clone = source_.nodeAt(position).clone();
        clones_[position] = clone;
        if (clone != nullptr && isUnlinked(*clone)) {
            Access::label(*clone) = labelsByPosition[position];
        } else {
            areUnlinked_ = false;
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
void NetworkCopy::prefetchOriginal(std::size_t before) const {
    if (before + nodesAhead < names_.size()) {
        prefetchNode(&source_.nodeAt(names_[before + nodesAhead]));
    }
}

void NetworkCopy::deleteClones() {
    for (; handedOver_ < names_.size(); ++handedOver_) {
        delete clones_[names_[handedOver_]];
    }
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
    if (source_.isPlain() && Access::home(original) == source_.state().get()) {
        return clones_[Access::entry(original)];
    }
    return findCopy(original, target);
}

/// Apart from the rest, so that the rest stays short.
[[gnu::noinline]] Node* NetworkCopy::findCopy(const Node& original, const NodeSet& target) {
    return target.find(Access::name(original));
}

}  // namespace TessilGraph::internal
