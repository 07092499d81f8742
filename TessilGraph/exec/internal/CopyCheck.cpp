#include <TessilGraph/exec/internal/CopyCheck.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/OpenLists.h>
#include <TessilGraph/graph/internal/TraitsByte.h>
#include <TessilGraph/graph/internal/ValueType.h>

#include <algorithm>
#include <cstddef>
#include <typeinfo>
#include <unordered_map>

namespace TessilGraph::internal {

namespace {

/// Links that copies have too.
bool isCleanlyWired(const Node& node) {
    if (!OpenLists().note(node)) {
        return false;
    }
    for (const Port* input : Access::inputs(node)) {
        const Port* source = input != nullptr ? input->input() : nullptr;
        if (source != nullptr && (!source->isOutput() || Access::watched(const_cast<Port&>(*input)))) {
            return false;
        }
    }
    for (const Port* output : Access::outputs(node)) {
        if (output != nullptr && Access::isBound(*output)) {
            return false;
        }
    }
    return true;
}

bool mayBeCopied(Node& node, const NodeSet& nodes) {
    const NodeTraits traits = TraitsByte::of(node).traits();
    return !traits.keepsState && !traits.keepsOutputs && !traits.alone && Access::home(node) == nodes.state().get() &&
           isCleanlyWired(node);
}

/// Some nodes and all upstream of them, each once.
class Upstream {
public:
    void add(Node& node) {
        if (places_.emplace(&node, nodes_.size()).second) {
            nodes_.push_back(&node);
        }
    }

    /// False when one is found for which `mayStand` says so.
    template <class F>
    bool fill(const F& mayStand) {
        for (std::size_t place = 0; place < nodes_.size(); ++place) {
            if (!mayStand(*nodes_[place])) {
                return false;
            }
            forEachSource(*nodes_[place], [this](Node& source) { add(source); });
        }
        return true;
    }

    const std::vector<Node*>& nodes() const { return nodes_; }

    /// Takes nodes away that nobody reads any longer; what stays runs in a circle.
    bool runInACircle() const {
        std::vector<std::size_t> readers(nodes_.size());
        for (const Node* node : nodes_) {
            forEachSource(*node, [&](Node& source) { ++readers[places_.at(&source)]; });
        }
        std::vector<const Node*> unread;
        for (const Node* node : nodes_) {
            if (readers[places_.at(node)] == 0) {
                unread.push_back(node);
            }
        }
        for (std::size_t done = 0; done < unread.size(); ++done) {
            forEachSource(*unread[done], [&](Node& source) {
                if (--readers[places_.at(&source)] == 0) {
                    unread.push_back(&source);
                }
            });
        }
        return unread.size() != nodes_.size();
    }

private:
    template <class F>
    static void forEachSource(const Node& node, const F& visit) {
        for (const Port* input : Access::inputs(node)) {
            if (Node* source = input != nullptr ? upstreamNode(*input) : nullptr) {
                visit(*source);
            }
        }
    }

    std::vector<Node*> nodes_;
    std::unordered_map<const Node*, std::size_t> places_;
};

/// False when a target is not there.
bool addAll(Upstream& upstream, const NodeSet& nodes, const std::vector<std::string>& targets) {
    for (const std::string& target : targets) {
        Node* node = nodes.find(target);
        if (node == nullptr) {
            return false;
        }
        upstream.add(*node);
    }
    return true;
}

/// Values that don't compare pass.
bool areOfOneValue(Port& port, Port& copy) {
    const ValueType* type = valueTypeOf(port);
    if (type == nullptr) {
        return true;
    }
    const void* value = type->shown(port);
    return type->same(value, type->shown(copy)) || !type->same(value, value);
}

/// Whether two inputs show the same: a value of their own, or the output of that name of a node of that name.
bool areFedAlike(Port& input, Port& copy) {
    const Port* source = input.input();
    const Port* other = copy.input();
    if (source == nullptr || other == nullptr) {
        return source == other && areOfOneValue(input, copy);
    }
    return source->node() != nullptr && other->node() != nullptr &&
           Access::name(*source->node()) == Access::name(*other->node()) && source->name() == other->name();
}

template <class F>
bool arePairs(const PortRange& ports, const PortRange& copies, const F& areAlike) {
    return std::equal(ports.begin(), ports.end(), copies.begin(), copies.end(), [&](Port* port, Port* copy) {
        return port != nullptr && copy != nullptr && typeid(*port) == typeid(*copy) && port->name() == copy->name() &&
               areAlike(*port, *copy);
    });
}

bool isTrueCopy(const Node& node, const Node& copy) {
    return typeid(node) == typeid(copy) && arePairs(Access::inputs(node), Access::inputs(copy), areFedAlike) &&
           arePairs(Access::outputs(node), Access::outputs(copy), [](const Port&, const Port&) { return true; });
}

}  // namespace

bool copiesGiveTheSame(const NodeSet& nodes, const std::vector<std::string>& targets) {
    Upstream upstream;
    return addAll(upstream, nodes, targets) &&
           upstream.fill([&nodes](Node& node) { return mayBeCopied(node, nodes); }) && !upstream.runInACircle();
}

bool isTrueCopy(const NodeSet& nodes, const std::vector<std::string>& targets, const NodeSet& copy) {
    Upstream upstream;
    return addAll(upstream, nodes, targets) && upstream.fill([&copy](const Node& node) {
        const Node* other = copy.find(Access::name(node));
        return other != nullptr && isTrueCopy(node, *other);
    });
}

}  // namespace TessilGraph::internal
