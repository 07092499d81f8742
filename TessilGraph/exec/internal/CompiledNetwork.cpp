#include <TessilGraph/exec/internal/CompiledNetwork.h>

#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/TraitsByte.h>
#include <TessilGraph/graph/internal/ValueType.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <typeinfo>
#include <unordered_map>
#include <utility>

namespace TessilGraph::internal {

namespace {

std::size_t placesFor(const ValueType& type) {
    return (type.size + placeSize - 1) / placeSize;
}

bool holds(PortRange ports, const Port* wanted) {
    return std::find(ports.begin(), ports.end(), wanted) != ports.end();
}

/// The output that an input shows; null for an input that shows its own value.
Port* sourceOf(const Port& input) {
    const PortRange sources = Access::connections(input);
    return sources.empty() ? nullptr : sources.front();
}

}  // namespace

std::shared_ptr<CompiledNetwork> CompiledNetwork::of(const std::shared_ptr<NetworkState>& state,
                                                     const CompiledNetwork* last) {
    if (state->prepared != nullptr) {
        auto& present = static_cast<CompiledNetwork&>(*state->prepared);
        if (present.isCurrent()) {
            return present.shared_from_this();
        }
        present.dissolve();
    }
    std::shared_ptr<CompiledNetwork> form(new CompiledNetwork(state, nodesInOrder(*state)));
    form->takeNodes();
    form->compile();
    if (last != nullptr) {
        form->takeCosts(*last);
    }
    return form;
}

std::vector<Node*> CompiledNetwork::nodesInOrder(const NetworkState& state) {
    struct Labelled {
        std::uint64_t label;
        Node* node;
    };
    std::vector<Labelled> labelled;
    labelled.reserve(state.nodes->size());
    const std::uint64_t walk = nextStamp();
    for (NodeSet::Position position = 0; position < state.nodes->endPosition(); ++position) {
        Node* node = state.nodes->nodeIfAt(position);
        // A host may enter a node under two names, or into two networks.
        if (node != nullptr && Access::home(*node) == &state && Access::mark(*node) != walk) {
            Access::mark(*node) = walk;
            labelled.push_back({Access::label(*node), node});
        }
    }
    std::sort(labelled.begin(), labelled.end(), [](const Labelled& a, const Labelled& b) { return a.label < b.label; });
    std::vector<Node*> nodes;
    nodes.reserve(labelled.size());
    for (const Labelled& entry : labelled) {
        nodes.push_back(entry.node);
    }
    return nodes;
}

CompiledNetwork::CompiledNetwork(std::shared_ptr<NetworkState> state, std::vector<Node*> nodes)
    : state_(std::move(state)),
      wiring_(state_->wiring.load(std::memory_order_relaxed)),
      nodes_(std::move(nodes)),
      dirty_(nodes_.size()),
      groupFlags_(dirty_.groups()),
      supergroupFlags_(groupFlags_.groups()),
      withKernel_(dirty_.groups()),
      odd_(dirty_.groups()),
      dependsOnMore_(dirty_.groups()),
      alone_(dirty_.groups()),
      costs_(nodes_.size(), -1.0F) {
    entryStarts_.reserve(nodes_.size() + 1);
    sourceStarts_.reserve(nodes_.size() + 1);
    groups_ = groupFlags_.data();
    supergroups_ = supergroupFlags_.data();
}

CompiledNetwork::~CompiledNetwork() {
    dissolve();
}

void CompiledNetwork::takeNodes() {
    state_->prepared = this;
    ++state_->storage;
    for (Slot slot = 0; slot < size(); ++slot) {
        Node& node = *nodes_[slot];
        if (node.isDirty()) {
            dirty_[slot].store(isDirty | isOrigin, std::memory_order_relaxed);
            noteDirty(slot);
        }
        Access::dirty(node) = &dirty_[slot];
        Access::slot(node) = slot + 1;
    }
}

void CompiledNetwork::dissolve() noexcept {
    if (dissolved_) {
        return;
    }
    dissolved_ = true;
    if (state_->prepared != this) {
        return;
    }
    state_->prepared = nullptr;
    ++state_->storage;
    for (Port* port : adopted_) {
        Access::valueType(*port)->release(*port);
    }
    for (Slot slot = 0; slot < size(); ++slot) {
        Node& node = *nodes_[slot];
        Access::bringDirtyHome(node);
        Access::slot(node) = 0;
    }
}

Slot CompiledNetwork::slotOf(Node& node) const {
    return Access::home(node) == state_.get() && Access::slot(node) != 0 ? Access::slot(node) - 1 : noSlot;
}

void CompiledNetwork::compile() {
    std::vector<std::uint32_t> kernels(nodes_.size(), noKernel);
    std::size_t places = 0;
    for (Slot slot = 0; slot < size(); ++slot) {
        findSources(slot);
        kernels[slot] = usableKernel(slot);
        if (kernels[slot] != noKernel) {
            places += claimPorts(slot, *kernels_[kernels[slot]].kernel);
        } else {
            noteTraits(slot);
        }
    }
    sourceStarts_.push_back(static_cast<std::uint32_t>(sources_.size()));
    if (places > std::numeric_limits<Place>::max()) {
        allHaveKernels_ = false;
        return;  // More than places can number: the nodes are asked themselves.
    }
    adopt(places);
    for (Slot slot = 0; slot < size(); ++slot) {
        entryStarts_.push_back(static_cast<std::uint32_t>(entries_.size()));
        if (kernels[slot] != noKernel) {
            addEntry(slot, kernels[slot]);
            withKernel_.add(slot);
        } else {
            allHaveKernels_ = false;
        }
    }
}

void CompiledNetwork::findSources(Slot slot) {
    sourceStarts_.push_back(static_cast<std::uint32_t>(sources_.size()));
    if (!openLists_.note(*nodes_[slot])) {
        odd_.add(slot);
    }
    for (const Port* input : Access::inputs(*nodes_[slot])) {
        if (input == nullptr) {
            continue;
        }
        Port* source = sourceOf(*input);
        if (source == nullptr) {
            if (Access::isBound(*input)) {
                dependsOnMore_.add(slot);
            }
            continue;
        }
        const Node* upstream = Access::removed(*source) ? nullptr : source->node();
        const bool stands = source->isOutput() && input->isInput() && upstream != nullptr &&
                            Access::home(*const_cast<Node*>(upstream)) == state_.get() &&
                            Access::slot(*const_cast<Node*>(upstream)) != 0;
        const Slot from = stands ? Access::slot(*const_cast<Node*>(upstream)) - 1 : noSlot;
        if (!stands || from >= slot) {
            odd_.add(slot);
            continue;
        }
        if (Access::isBound(*source)) {
            dependsOnMore_.add(slot);
        }
        sources_.push_back(from);
    }
}

void CompiledNetwork::noteTraits(Slot slot) {
    const TraitsByte traits = TraitsByte::of(*nodes_[slot]);
    if (traits.keepsState()) {
        dependsOnMore_.add(slot);
    }
    if (traits.alone()) {
        alone_.add(slot);
        anyAlone_ = true;
    }
}

/// The number of the kernel of a node's class; `noKernel` when there is none.
std::uint32_t CompiledNetwork::numberOfKernel(const Node& node) {
    const auto [known, isNew] = kernelNumbers_.emplace(&typeid(node), noKernel);
    if (isNew) {
        if (const Kernel* kernel = findKernel(node)) {
            known->second = static_cast<std::uint32_t>(kernels_.size());
            kernels_.push_back({kernel->function, kernel});
        }
    }
    return known->second;
}

/// The number of the kernel of a slot; `noKernel` if the node has to be asked itself.
std::uint32_t CompiledNetwork::usableKernel(Slot slot) {
    Node& node = *nodes_[slot];
    const std::uint32_t number = odd_.contains(slot) || dependsOnMore_.contains(slot) ? noKernel : numberOfKernel(node);
    if (number == noKernel) {
        return noKernel;
    }
    const Kernel* kernel = kernels_[number].kernel;
    const Port* ports[Kernel::maxPorts];
    kernel->ports(node, ports);
    for (std::size_t i = 0; i < kernel->inputs + kernel->outputs; ++i) {
        // A host may have taken the port that `compute` goes on using.
        const bool isInput = i < kernel->inputs;
        if (!holds(isInput ? Access::inputs(node) : Access::outputs(node), ports[i]) || ports[i]->node() != &node ||
            ports[i]->isInput() != isInput || (!isInput && Access::isBound(*ports[i]))) {
            return noKernel;
        }
        const Port* source = isInput ? sourceOf(*ports[i]) : nullptr;
        if (source != nullptr && Access::valueType(*source) != Access::valueType(*ports[i])) {
            return noKernel;
        }
    }
    return number;
}

/// Enters the ports whose values the entry of a slot will use, but for those that are entered already,
/// and returns how many places they take.
std::size_t CompiledNetwork::claimPorts(Slot slot, const Kernel& kernel) {
    const Port* ports[Kernel::maxPorts];
    kernel.ports(*nodes_[slot], ports);
    std::size_t places = 0;
    for (std::size_t i = 0; i < kernel.inputs + kernel.outputs; ++i) {
        Port* source = i < kernel.inputs ? sourceOf(*ports[i]) : nullptr;
        Port& port = source != nullptr ? *source : const_cast<Port&>(*ports[i]);
        if (!Access::adopted(port)) {
            adopted_.push_back(&port);
            Access::adopted(port) = true;
            places += placesFor(*Access::valueType(port));
        }
    }
    return places;
}

/// Puts the own values of the ports where they stay from now on: one after the other, in the order of
/// the slots.
void CompiledNetwork::adopt(std::size_t places) {
    values_ = std::make_unique<unsigned char[]>(places * placeSize);
    unsigned char* next = values_.get();
    for (Port* port : adopted_) {
        const ValueType& type = *Access::valueType(*port);
        type.adopt(*port, next);
        next += placesFor(type) * placeSize;
    }
}

void CompiledNetwork::addEntry(Slot slot, std::uint32_t kernelNumber) {
    const Kernel& kernel = *kernels_[kernelNumber].kernel;
    const Port* ports[Kernel::maxPorts];
    kernel.ports(*nodes_[slot], ports);
    entries_.push_back(kernelNumber);
    for (std::size_t i = 0; i < kernel.inputs + kernel.outputs; ++i) {
        Port* source = i < kernel.inputs ? sourceOf(*ports[i]) : nullptr;
        Port& port = source != nullptr ? *source : const_cast<Port&>(*ports[i]);
        const auto* address = static_cast<const unsigned char*>(Access::valueType(port)->own(port));
        entries_.push_back(static_cast<Place>(static_cast<std::size_t>(address - values_.get()) / placeSize));
    }
}

void CompiledNetwork::findConsumers() {
    if (!consumerStarts_.empty()) {
        return;
    }
    std::vector<std::uint32_t> starts(nodes_.size() + 1, 0);
    for (const Slot source : sources_) {
        ++starts[source + 1];
    }
    for (Slot slot = 0; slot < size(); ++slot) {
        starts[slot + 1] += starts[slot];
    }
    consumers_.resize(sources_.size());
    std::vector<std::uint32_t> next = starts;
    for (Slot slot = 0; slot < size(); ++slot) {
        for (const Slot source : sources(slot)) {
            consumers_[next[source]++] = slot;
        }
    }
    consumerStarts_ = std::move(starts);
}

void CompiledNetwork::settle() {
    for (std::uint32_t row = 0; row < supergroupRows(); ++row) {
        for (Bits places = flaggedSupergroups(row); places != 0; places &= places - 1) {
            const std::uint32_t supergroup = row * slotsPerGroup + lowestBit(places);
            bool isClean = true;
            for (Bits groups = flaggedGroups(supergroup); groups != 0; groups &= groups - 1) {
                const std::uint32_t group = supergroup * slotsPerGroup + lowestBit(groups);
                if (dirty_.anyIn(group)) {
                    isClean = false;
                } else {
                    setClean(group);
                }
            }
            if (isClean) {
                setSupergroupClean(supergroup);
            }
        }
    }
}

void CompiledNetwork::makeAllOrigins() {
    cleanedOutside_.store(false, std::memory_order_relaxed);
    forEachFlagged([this](std::uint32_t group) {
        for (Bits bits = dirty_.nonZero(group); bits != 0; bits &= bits - 1) {
            dirty_[group * slotsPerGroup + lowestBit(bits)].fetch_or(isOrigin, std::memory_order_relaxed);
        }
    });
}

void CompiledNetwork::takeCosts(const CompiledNetwork& last) {
    // Nodes that were deleted since are only compared, by address.
    std::unordered_map<const Node*, float> known;
    for (Slot slot = 0; slot < last.size(); ++slot) {
        if (!last.hasKernel(slot) && last.costs_[slot] >= 0.0F) {
            known.emplace(last.nodes_[slot], last.costs_[slot]);
        }
    }
    if (known.empty()) {
        return;
    }
    for (Slot slot = 0; slot < size(); ++slot) {
        const auto found = hasKernel(slot) ? known.end() : known.find(nodes_[slot]);
        if (found != known.end()) {
            costs_[slot] = found->second;
        }
    }
}

}  // namespace TessilGraph::internal
