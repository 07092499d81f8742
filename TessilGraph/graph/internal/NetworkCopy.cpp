#include <TessilGraph/graph/internal/NetworkCopy.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/Counterpart.h>
#include <TessilGraph/graph/internal/CycleCheck.h>
#include <TessilGraph/graph/internal/Prefetch.h>

#include <algorithm>

namespace TessilGraph::internal {

namespace {

bool isLinked(const Node& node) {
    const auto anyLinked = [](PortRange ports) {
        return std::any_of(ports.begin(), ports.end(),
                           [](const Port* port) { return port != nullptr && port->numConnections() != 0; });
    };
    return anyLinked(Access::inputs(node)) || anyLinked(Access::outputs(node));
}

Port* outputOf(const Node& copy, const Node& node, const Port& original) {
    const PortRange originals = Access::outputs(node);
    const auto place = std::find(originals.begin(), originals.end(), &original) - originals.begin();
    return counterpart(Access::outputs(copy), static_cast<std::size_t>(place), original);
}

}  // namespace

NetworkCopy::NetworkCopy(const NodeSet& source)
    : source_(source), names_(source.sorted()), clones_(source.endPosition()) {
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
        if (clone != nullptr && !isLinked(*clone)) {
            Access::label(*clone) = labelsByPosition[position];
        }
    }
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
Node* NetworkCopy::copyOf(const Node& original, const NodeSet& target) const {
    if (source_.isPlain() && Access::home(original) == source_.state().get()) {
        return clones_[Access::entry(original)];
    }
    return target.find(Access::name(original));
}

}  // namespace TessilGraph::internal
