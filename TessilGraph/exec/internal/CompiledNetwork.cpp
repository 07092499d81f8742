#include <TessilGraph/exec/internal/CompiledNetwork.h>

#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/KernelPorts.h>
#include <TessilGraph/graph/internal/Prefetch.h>
#include <TessilGraph/graph/internal/TraitsByte.h>
#include <TessilGraph/graph/internal/ValueType.h>

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

/// The output that an input shows; null for an input that shows its own value.
Port* sourceOf(const Port& input) {
    return Access::firstConnection(input);
}

/// The node that feeds an input by a link of the usual kind.
Node* standingSource(const Port& input) {
    const Port* source = sourceOf(input);
    return source != nullptr && source->isOutput() && input.isInput() && !Access::isLoose(*source) ? source->node()
                                                                                                   : nullptr;
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

/// Each after all that feed it, and close behind what it alone needs: upstream from one node after the
/// other, the latest first, since those that came late are mostly fed by others.
std::vector<Node*> CompiledNetwork::nodesInOrder(const NetworkState& state) {
    std::vector<Node*> found;
    found.reserve(state.nodes->size());
    const std::uint64_t isFound = nextStamp();
    for (NodeSet::Position position = 0; position < state.nodes->endPosition(); ++position) {
        Node* node = state.nodes->nodeIfAt(position);
        // A host may enter a node under two names, or into two networks.
        if (node != nullptr && Access::home(*node) == &state && Access::mark(*node) != isFound) {
            Access::mark(*node) = isFound;
            found.push_back(node);
        }
    }

    struct Step {
        Node* node;
        std::uint32_t nextInput;
    };
    std::vector<Step> path;
    std::vector<Node*> nodes;
    nodes.reserve(found.size());
    const std::uint64_t isEntered = nextStamp();
    const auto enter = [&](Node& node) {
        Access::mark(node) = isEntered;
        path.push_back({&node, 0});
    };
    for (auto start = found.rbegin(); start != found.rend(); ++start) {
        if (Access::mark(**start) != isEntered) {
            enter(**start);
        }
        while (!path.empty()) {
            Step& step = path.back();
            const PortRange inputs = Access::inputs(*step.node);
            Node* upstream = nullptr;
            while (upstream == nullptr && step.nextInput < inputs.size()) {
                const Port* input = inputs[step.nextInput++];
                upstream = input != nullptr ? standingSource(*input) : nullptr;
                upstream = upstream != nullptr && Access::mark(*upstream) == isFound ? upstream : nullptr;
            }
            if (upstream != nullptr) {
                enter(*upstream);
            } else {
                nodes.push_back(step.node);
                path.pop_back();
            }
        }
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
        prefetchAhead(nodes_, slot);
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
    for (std::size_t i = 0; i < adopted_.size(); ++i) {
        prefetchAhead(adopted_, i);
        Access::valueType(*adopted_[i])->release(*adopted_[i]);
    }
    for (Slot slot = 0; slot < size(); ++slot) {
        prefetchAhead(nodes_, slot);
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
    std::vector<Port*> shown;  // What the entries will name, one after the other.
    shown.reserve(3 * nodes_.size());
    sources_.reserve(2 * nodes_.size());
    std::size_t places = 0;
    for (Slot slot = 0; slot < size(); ++slot) {
        prefetchAhead(nodes_, slot);
        findSources(slot);
        Port* ports[Kernel::maxPorts];
        kernels[slot] = usableKernel(slot, ports);
        if (kernels[slot] != noKernel) {
            const std::size_t count = kernels_[kernels[slot]].ports();
            places += claimPorts(ports, count);
            shown.insert(shown.end(), ports, ports + count);
        } else {
            allHaveKernels_ = false;
            noteTraits(slot);
        }
    }
    sourceStarts_.push_back(static_cast<std::uint32_t>(sources_.size()));
    if (places > std::numeric_limits<Place>::max()) {
        allHaveKernels_ = false;
        return;  // More than places can number: the nodes are asked themselves.
    }
    adopt(places);
    addEntries(kernels, shown);
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
        Node* upstream = standingSource(*input);
        const Slot from = upstream != nullptr ? slotOf(*upstream) : noSlot;
        if (from >= slot) {
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
    const std::type_info* type = &typeid(node);
    constexpr std::size_t bitsOfAlignment = 4;
    KnownClass& known =
        knownClasses_[(reinterpret_cast<std::uintptr_t>(type) >> bitsOfAlignment) % knownClasses_.size()];
    if (known.type == type) {
        return known.kernelNumber;
    }
    auto found = kernelNumbers_.find(type);
    if (found == kernelNumbers_.end()) {
        found = kernelNumbers_.emplace(type, noKernel).first;
        if (const Kernel* kernel = findKernel(node)) {
            found->second = static_cast<std::uint32_t>(kernels_.size());
            kernels_.push_back({kernel->function, kernel});
        }
    }
    known = {type, found->second};
    return found->second;
}

/// The number of the kernel of a slot, and the ports whose own values it uses: those that its inputs show,
/// then its outputs. `noKernel` if the node has to be asked itself.
std::uint32_t CompiledNetwork::usableKernel(Slot slot, Port** shown) {
    Node& node = *nodes_[slot];
    const std::uint32_t number = odd_.contains(slot) || dependsOnMore_.contains(slot) ? noKernel : numberOfKernel(node);
    if (number == noKernel) {
        return noKernel;
    }
    const Kernel* kernel = kernels_[number].kernel;
    const Port* ports[Kernel::maxPorts];
    kernel->ports(node, ports);
    for (std::size_t i = 0; i < kernel->inputs + kernel->outputs; ++i) {
        const bool isInput = i < kernel->inputs;
        shown[i] = portOfKernel(node, *ports[i], isInput);
        if (shown[i] == nullptr || (!isInput && Access::isBound(*ports[i]))) {
            return noKernel;
        }
    }
    return number;
}

/// Enters ports whose values an entry will use, but for those that are entered already, and returns how
/// many places they take.
std::size_t CompiledNetwork::claimPorts(Port* const* ports, std::size_t count) {
    std::size_t places = 0;
    for (std::size_t i = 0; i < count; ++i) {
        Port& port = *ports[i];
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
    for (std::size_t i = 0; i < adopted_.size(); ++i) {
        prefetchAhead(adopted_, i);
        const ValueType& type = *Access::valueType(*adopted_[i]);
        type.adopt(*adopted_[i], next);
        next += placesFor(type) * placeSize;
    }
}

/// The entries of all slots, from the numbers of their kernels and the ports whose values they use.
void CompiledNetwork::addEntries(const std::vector<std::uint32_t>& kernels, const std::vector<Port*>& shown) {
    entries_.resize(shown.size() + nodes_.size());
    entryStarts_.resize(nodes_.size());
    Place* next = entries_.data();
    Port* const* port = shown.data();
    for (Slot slot = 0; slot < size(); ++slot) {
        entryStarts_[slot] = static_cast<std::uint32_t>(next - entries_.data());
        if (kernels[slot] == noKernel) {
            continue;
        }
        withKernel_.add(slot);
        *next++ = kernels[slot];
        for (std::size_t count = kernels_[kernels[slot]].ports(); count > 0; --count, ++port) {
            prefetchAhead(shown, static_cast<std::size_t>(port - shown.data()));
            const auto* address = static_cast<const unsigned char*>(Access::valueType(**port)->own(**port));
            *next++ = static_cast<Place>(static_cast<std::size_t>(address - values_.get()) / placeSize);
        }
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
