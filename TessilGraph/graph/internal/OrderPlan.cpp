#include <TessilGraph/graph/internal/OrderPlan.h>

#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/EvaluationOrder.h>
#include <TessilGraph/graph/internal/KernelPorts.h>
#include <TessilGraph/graph/internal/PreparedNodes.h>

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <new>
#include <typeindex>
#include <typeinfo>
#include <unordered_map>

namespace TessilGraph::internal {

namespace {

/// The kernel of a node and where its values are; no kernel if the node has to be asked itself.
struct Resolved {
    const Kernel* kernel = nullptr;
    std::array<const unsigned char*, Kernel::maxPorts> addresses{};
    std::array<std::size_t, Kernel::maxPorts> sizes{};

    std::size_t size() const { return kernel->inputs + kernel->outputs; }
};

struct Value {
    const unsigned char* address = nullptr;
    std::size_t size = 0;
};

/// No address if `compute` may find the value elsewhere, or elsewhere later on without anybody being told.
Value valueFor(const Node& node, const Port& port, bool isInput) {
    Port* target = portOfKernel(node, port, isInput);
    if (target == nullptr || (isInput && Access::connectionList(port).isOpen())) {
        return {};
    }
    const ValueType& type = *Access::valueType(*target);
    return {static_cast<const unsigned char*>(isInput ? type.shown(*target) : type.own(*target)), type.size};
}

Resolved resolve(const Node& node, const Kernel& kernel) {
    Resolved resolved;
    const Port* ports[Kernel::maxPorts];
    kernel.ports(node, ports);
    for (std::size_t i = 0; i < kernel.inputs + kernel.outputs; ++i) {
        const Value value = valueFor(node, *ports[i], i < kernel.inputs);
        if (value.address == nullptr || reinterpret_cast<std::uintptr_t>(value.address) % placeSize != 0) {
            return resolved;
        }
        resolved.addresses[i] = value.address;
        resolved.sizes[i] = value.size;
    }
    resolved.kernel = &kernel;
    return resolved;
}

/// Where the values are that all entries start from: the lowest address.
const unsigned char* lowestAddress(const std::vector<Resolved>& nodes) {
    const unsigned char* lowest = nullptr;
    for (const Resolved& node : nodes) {
        for (std::size_t i = 0; node.kernel != nullptr && i < node.size(); ++i) {
            if (lowest == nullptr || std::less<>()(node.addresses[i], lowest)) {
                lowest = node.addresses[i];
            }
        }
    }
    return lowest;
}

/// Whether places can number all values of a node.
bool isWithinReach(const Resolved& node, const unsigned char* lowest) {
    return std::all_of(node.addresses.begin(), node.addresses.begin() + static_cast<std::ptrdiff_t>(node.size()),
                       [lowest](const unsigned char* address) {
                           return static_cast<std::size_t>(address - lowest) / placeSize <
                                  std::numeric_limits<Place>::max();
                       });
}

}  // namespace

std::unique_ptr<OrderPlan> OrderPlan::make(const std::vector<Node*>& order, const NetworkState& network) noexcept {
    const bool areAtHome = std::all_of(order.begin(), order.end(), [&network](Node* node) {
        return node != nullptr && Access::home(*node) == &network;
    });
    try {
        return areAtHome ? std::unique_ptr<OrderPlan>(new OrderPlan(order, network)) : nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

OrderPlan::OrderPlan(const std::vector<Node*>& order, const NetworkState& network)
    : order_(order),
      network_(network),
      wiring_(network.wiring.load(std::memory_order_relaxed)),
      storage_(network.storage) {
    compile();
}

void OrderPlan::compile() {
    std::unordered_map<std::type_index, const Kernel*> kernels;
    std::vector<Resolved> nodes(order_.size());
    for (std::size_t i = 0; i < order_.size(); ++i) {
        const Node& node = *order_[i];
        const auto [known, isNew] = kernels.try_emplace(typeid(node), nullptr);
        if (isNew) {
            known->second = findKernel(node);
        }
        if (known->second != nullptr) {
            nodes[i] = resolve(node, *known->second);
        }
    }
    const unsigned char* lowest = lowestAddress(nodes);
    values_ = const_cast<unsigned char*>(lowest);
    std::unordered_map<const Kernel*, Place> numbers;
    steps_.reserve(order_.size());
    for (std::size_t i = 0; i < order_.size(); ++i) {
        Step step{Access::dirty(*order_[i]), noEntry, 0};
        const Resolved& node = nodes[i];
        if (node.kernel != nullptr && isWithinReach(node, lowest)) {
            step.entry = static_cast<std::uint32_t>(entries_.size());
            const auto [number, isNew] = numbers.try_emplace(node.kernel, static_cast<Place>(kernels_.size()));
            if (isNew) {
                kernels_.push_back(node.kernel->function);
            }
            entries_.push_back(number->second);
            for (std::size_t port = 0; port < node.size(); ++port) {
                entries_.push_back(
                    static_cast<Place>(static_cast<std::size_t>(node.addresses[port] - lowest) / placeSize));
            }
            addFurtherLines(node.sizes.data(), node.size(), step.entry + 1);
            step.entrySize = static_cast<std::uint32_t>(entries_.size()) - step.entry;
        }
        hasKernelsOnly_ = hasKernelsOnly_ && step.entry != noEntry;
        steps_.push_back(step);
    }
    entries_.resize(entries_.size() + lookAhead);
}

/// Values of more than a line end in another one than they begin, and may have some in between.
void OrderPlan::addFurtherLines(const std::size_t* sizes, std::size_t count, std::uint32_t places) {
    constexpr Place placesPerLine = lineSize / placeSize;
    for (std::size_t port = 0; port < count; ++port) {
        if (sizes[port] > lineSize) {
            const Place last = entries_[places + port] + static_cast<Place>(sizes[port] / placeSize) - 1;
            for (Place place = entries_[places + port] + placesPerLine; place < last; place += placesPerLine) {
                entries_.push_back(place);
            }
            entries_.push_back(last);
        }
    }
}

bool OrderPlan::areAllDirty() const {
    return std::all_of(steps_.begin(), steps_.end(),
                       [](const Step& step) { return step.dirty->load(std::memory_order_relaxed) != 0; });
}

void OrderPlan::noteRun() {
    if (network_.prepared != nullptr) {
        network_.prepared->noteCleaned();
    }
    isClean_ = false;
}

std::size_t OrderPlan::run(const ComputeData* data) {
    const std::uint64_t marks = network_.marks.load(std::memory_order_relaxed);
    if (isClean_ && marks_ == marks) {
        return order_.size();
    }
    const bool few = mayBeFew(marks);
    noteRun();
    const std::size_t done = few ? runFew(data) : isLarge() ? runFrom<true>(0, data) : runFrom<false>(0, data);
    if (done == order_.size()) {
        isClean_ = true;
        marks_ = marks;
    }
    return done;
}

/// Whether it left everything clean, and few nodes of the network became dirty since.
bool OrderPlan::mayBeFew(std::uint64_t marks) const {
    constexpr std::size_t part = 16;
    return isClean_ && marks - marks_ < order_.size() / part && network_.prepared == nullptr;
}

/// Finds the dirty nodes by their bytes, which stand side by side.
std::size_t OrderPlan::runFew(const ComputeData* data) {
    if (!findDirty()) {
        return runFrom<false>(0, data);
    }
    const Kernels kernels = this->kernels();
    for (const std::uint32_t place : dirty_) {
        if (kernels.compute(steps_[place])) {
            continue;
        }
        // It may mark others.
        return computeByItself(place, data) ? runFrom<false>(place + 1, data) : place + 1;
    }
    return order_.size();
}

/// Fills `dirty_`, in the order. False where there is no memory for that.
bool OrderPlan::findDirty() noexcept try {
    constexpr std::uint32_t none = ~std::uint32_t{0};
    const std::uint32_t end = network_.nodes->endPosition();
    if (firstPlaces_.empty()) {
        firstPlaces_.resize(end, none);
        for (std::size_t place = order_.size(); place-- > 0;) {
            firstPlaces_[Access::entry(*order_[place])] = static_cast<std::uint32_t>(place);
        }
    }
    dirty_.clear();
    network_.forEachDirty(end, [this](std::uint32_t position) {
        if (firstPlaces_[position] != none) {
            dirty_.push_back(firstPlaces_[position]);
        }
    });
    std::sort(dirty_.begin(), dirty_.end());
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

template <bool fetches>
std::size_t OrderPlan::runFrom(std::size_t place, const ComputeData* data) {
    const Kernels kernels = this->kernels();
    const Step* steps = steps_.data();
    for (; place < order_.size(); ++place) {
        const Step step = steps[place];
        if (step.dirty->load(std::memory_order_relaxed) == 0) {
            continue;
        }
        if (fetches ? kernels.computeAndFetch(step) : kernels.compute(step)) {
            continue;
        }
        if (!computeByItself(place, data)) {
            return place + 1;
        }
    }
    return order_.size();
}

std::size_t OrderPlan::run(const std::uint32_t* places, std::size_t count, const ComputeData* data) {
    noteRun();
    const Kernels kernels = this->kernels();
    const Step* steps = steps_.data();
    for (std::size_t i = 0; i < count; ++i) {
        const Step step = steps[places[i]];
        if (step.dirty->load(std::memory_order_relaxed) == 0 || kernels.compute(step)) {
            continue;
        }
        if (!computeByItself(places[i], data)) {
            return i + 1;
        }
    }
    return count;
}

void OrderPlan::computeByKernels(const std::uint32_t* places, std::size_t count) {
    noteRun();
    const Kernels kernels = this->kernels();
    for (std::size_t i = 0; i < count; ++i) {
        kernels.compute(steps_[places[i]]);
    }
}

bool OrderPlan::computeByItself(std::size_t place, const ComputeData* data) {
    Node& node = *order_[place];
    computeOrLeaveDirty(node, data);
    Access::setClean(node);
    return isCurrent() && knowsProfileTimes();
}

}  // namespace TessilGraph::internal
