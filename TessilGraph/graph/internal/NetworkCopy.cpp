#include <TessilGraph/graph/internal/NetworkCopy.h>

#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/CycleCheck.h>

#include <algorithm>
#include <utility>

namespace TessilGraph::internal {

namespace {

bool isLinked(const Node& node) {
    const auto anyLinked = [](PortRange ports) {
        return std::any_of(ports.begin(), ports.end(),
                           [](const Port* port) { return port != nullptr && port->numConnections() != 0; });
    };
    return anyLinked(Access::inputs(node)) || anyLinked(Access::outputs(node));
}

/// Gives clones labels in the order of their originals' labels, so that wiring them never searches.
void labelLike(std::vector<std::pair<Node*, Node*>>& originalsAndClones) {
    std::sort(originalsAndClones.begin(), originalsAndClones.end(),
              [](const auto& a, const auto& b) { return Access::label(*a.first) < Access::label(*b.first); });
    for (const auto& [original, clone] : originalsAndClones) {
        Access::label(*clone) = newLabel();
    }
}

}  // namespace

NetworkCopy::NetworkCopy(const NodeSet& source) : source_(source) {
    std::vector<std::pair<Node*, Node*>> originalsAndClones;
    clones_.reserve(source.size());
    originalsAndClones.reserve(source.size());
    try {
        for (const auto* entry : source.sorted()) {
            Node& original = *entry->second;
            std::string name = original.name();
            if (Node* clone = original.clone()) {
                clones_.push_back({std::move(name), clone});
                if (!isLinked(*clone)) {
                    originalsAndClones.emplace_back(&original, clone);
                }
            }
        }
    } catch (...) {
        deleteClones();
        throw;
    }
    labelLike(originalsAndClones);
}

NetworkCopy::~NetworkCopy() {
    deleteClones();
}

void NetworkCopy::deleteClones() {
    for (const Clone& clone : clones_) {
        delete clone.node;
    }
}

std::vector<Node*> NetworkCopy::translate(const std::vector<Node*>& order, const NodeSet& target) {
    std::vector<Node*> translated;
    translated.reserve(order.size());
    for (const Node* node : order) {
        if (Node* copy = target.find(Access::name(*node))) {
            translated.push_back(copy);
        }
    }
    return translated;
}

void NetworkCopy::connect(const NodeSet& target) const {
    for (const auto* entry : source_.sorted()) {
        const Node& original = *entry->second;
        Node* copy = nullptr;
        for (const Port* input : Access::inputs(original)) {
            const Node* upstream = input != nullptr ? upstreamNode(*input) : nullptr;
            if (upstream == nullptr) {
                continue;
            }
            copy = copy != nullptr ? copy : target.find(Access::name(original));
            Node* upstreamCopy = target.find(Access::name(*upstream));
            if (copy == nullptr || upstreamCopy == nullptr) {
                continue;
            }
            Port* inputCopy = copy->getInputPort(Access::name(*input));
            Port* outputCopy = upstreamCopy->getOutputPort(Access::name(*Access::connections(*input).front()));
            if (inputCopy != nullptr && outputCopy != nullptr) {
                outputCopy->connectTo(inputCopy);
            }
        }
    }
}

}  // namespace TessilGraph::internal
