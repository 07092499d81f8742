#pragma once

#include <TessilGraph/exec/internal/Slots.h>
#include <TessilGraph/graph/internal/Kernel.h>
#include <TessilGraph/graph/internal/NetworkState.h>
#include <TessilGraph/graph/internal/OpenLists.h>
#include <TessilGraph/graph/internal/PreparedNodes.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <typeinfo>
#include <unordered_map>
#include <vector>

namespace TessilGraph {
class Node;
class Port;
}  // namespace TessilGraph

namespace TessilGraph::internal {

/// The compiled form of a network's nodes: what a run reads, front to back in memory, so that it touches
/// neither nodes nor ports where a built-in node class has a kernel. There is one per network, shared by
/// those who prepared something for it.
///
/// A slot comes after all that feed it, and close behind those that feed nothing else: what a change
/// reaches mostly stands close together.
class CompiledNetwork final : public PreparedNodes, public std::enable_shared_from_this<CompiledNetwork> {
public:
    /// The form of a network that is not gone, made anew if the wiring moved. `last`, if not null, hands
    /// on what it knows of costs.
    static std::shared_ptr<CompiledNetwork> of(const std::shared_ptr<NetworkState>& state, const CompiledNetwork* last);

    ~CompiledNetwork();

    void dissolve() noexcept override;
    bool isDissolved() const { return dissolved_; }

    /// Whether this is what the network still looks like.
    bool isCurrent() const {
        return !dissolved_ && wiring_ == state_->wiring.load(std::memory_order_relaxed) && openLists_.stand();
    }
    bool isRewired() const { return wiring_ != state_->wiring.load(std::memory_order_relaxed); }
    Slot size() const { return static_cast<Slot>(nodes_.size()); }
    std::uint32_t groups() const { return static_cast<std::uint32_t>(dirty_.groups()); }

    /// The slot of a node; `noSlot` when it has none here.
    Slot slotOf(Node& node) const;

    Node& node(Slot slot) { return *nodes_[slot]; }
    SharedBytes& dirty() { return dirty_; }

    /// The entries of the slots that have a kernel, one after the other: the number of the kernel and the
    /// places of the values.
    const Place* entry(Slot slot) const { return entries_.data() + entryStarts_[slot]; }

    /// Computes the slot of an entry, and returns the next entry.
    const Place* compute(const Place* entry) { return kernels_[*entry].function(entry + 1, values_.get()); }

    /// The values of the outputs of a slot that has a kernel: one after the other.
    struct Outputs {
        const unsigned char* values;
        std::size_t size;
    };
    Outputs outputs(Slot slot) const {
        const Place* places = entry(slot);
        const Kernel& kernel = *kernels_[*places].kernel;
        return {values_.get() + placeSize * places[1 + kernel.inputs], kernel.outputBytes};
    }

    bool hasKernel(Slot slot) const { return withKernel_.contains(slot); }
    bool allHaveKernels() const { return allHaveKernels_; }
    Bits withKernel(std::uint32_t group) const { return withKernel_.group(group); }

    /// Slots whose sources only a fresh walk finds, since they are wired by hand in some odd way, or may be
    /// wired otherwise without anybody being told.
    bool isOdd(Slot slot) const { return odd_.contains(slot); }

    /// Slots whose results depend on more than what their sources show: they keep state, or read storage
    /// outside, of which nobody tells when it changes.
    bool dependsOnMore(Slot slot) const { return dependsOnMore_.contains(slot); }

    /// Slots that are not to be computed beside others.
    bool isAlone(Slot slot) const { return alone_.contains(slot); }
    bool anyAlone() const { return anyAlone_; }

    /// The slots that feed a slot; the slots that it feeds. A slot may come up several times.
    struct SlotRange {
        const Slot* first;
        const Slot* last;
        const Slot* begin() const { return first; }
        const Slot* end() const { return last; }
    };
    SlotRange sources(Slot slot) const { return rangeOf(sources_, sourceStarts_, slot); }
    SlotRange consumers(Slot slot) const { return rangeOf(consumers_, consumerStarts_, slot); }

    /// Called before `consumers` is.
    void findConsumers();

    // Where dirty slots are: a group is flagged when it may hold some, a supergroup of 64 groups when one
    // of these may be flagged.
    std::uint32_t supergroups() const { return static_cast<std::uint32_t>(groupFlags_.groups()); }
    Bits flaggedGroups(std::uint32_t supergroup) const { return groupFlags_.nonZero(supergroup); }
    void setClean(std::uint32_t group) { groupFlags_[group].store(0, std::memory_order_relaxed); }
    void setSupergroupClean(std::uint32_t supergroup) {
        supergroupFlags_[supergroup].store(0, std::memory_order_relaxed);
    }
    /// Of 64 supergroups at a time.
    std::uint32_t supergroupRows() const { return static_cast<std::uint32_t>(supergroupFlags_.groups()); }
    Bits flaggedSupergroups(std::uint32_t row) const { return supergroupFlags_.nonZero(row); }

    bool mayHoldDirty() const {
        for (std::uint32_t row = 0; row < supergroupRows(); ++row) {
            if (supergroupFlags_.anyIn(row)) {
                return true;
            }
        }
        return false;
    }

    /// Calls `visit` with each flagged group, in order.
    template <class Visit>
    void forEachFlagged(Visit visit) const {
        for (std::uint32_t row = 0; row < supergroupRows(); ++row) {
            for (Bits places = flaggedSupergroups(row); places != 0; places &= places - 1) {
                const std::uint32_t supergroup = row * slotsPerGroup + lowestBit(places);
                for (Bits groups = flaggedGroups(supergroup); groups != 0; groups &= groups - 1) {
                    visit(supergroup * slotsPerGroup + lowestBit(groups));
                }
            }
        }
    }

    /// Looks through all groups that may hold dirty slots.
    void settle();

    /// Whether nodes became clean without telling their consumers whether their values changed.
    bool cleanedOutside() const { return cleanedOutside_.load(std::memory_order_relaxed); }
    /// From here on all dirty nodes count as marked themselves.
    void makeAllOrigins();

    /// The nanoseconds that a slot takes; a guess until that was noted.
    float cost(Slot slot) const {
        const float known = costs_[slot];
        return known >= 0.0F ? known : hasKernel(slot) ? unknownKernelCost : unknownNodeCost;
    }

    /// Notes how long it took once. What others do with the processor makes it longer, never shorter, and now
    /// and then a thousand times as long.
    void noteCost(Slot slot, float cost) {
        constexpr float weightOfLonger = 0.25F;
        constexpr float longestToBelieve = 4.0F;
        float& known = costs_[slot];
        const bool isShorter = known < 0.0F || cost < known;
        known = isShorter ? cost : known + (std::min(cost, longestToBelieve * known) - known) * weightOfLonger;
    }

private:
    static constexpr float unknownKernelCost = 5.0F;
    static constexpr float unknownNodeCost = 20000.0F;  ///< Worth another thread until more is known.

    CompiledNetwork(std::shared_ptr<NetworkState> state, std::vector<Node*> nodes);
    static std::vector<Node*> nodesInOrder(const NetworkState& state);

    SlotRange rangeOf(const std::vector<Slot>& slots, const std::vector<std::uint32_t>& starts, Slot slot) const {
        return {slots.data() + starts[slot], slots.data() + starts[slot + 1]};
    }

    void takeNodes();
    void compile();
    void findSources(Slot slot);
    void noteTraits(Slot slot);
    std::uint32_t numberOfKernel(const Node& node);
    std::uint32_t usableKernel(Slot slot, Port** shown);
    std::size_t claimPorts(Port* const* ports, std::size_t count);
    void adopt(std::size_t places);
    void addEntries(const std::vector<std::uint32_t>& kernels, const std::vector<Port*>& shown);
    void takeCosts(const CompiledNetwork& last);

    /// A kernel that slots here have.
    struct UsedKernel {
        KernelFunction function;
        const Kernel* kernel;

        std::size_t ports() const { return kernel->inputs + kernel->outputs; }
    };
    static constexpr std::uint32_t noKernel = ~std::uint32_t{0};

    struct KnownClass {
        const std::type_info* type;
        std::uint32_t kernelNumber;
    };

    const std::shared_ptr<NetworkState> state_;
    const std::uint64_t wiring_;
    bool dissolved_ = false;

    std::vector<Node*> nodes_;
    SharedBytes dirty_;
    SharedBytes groupFlags_;
    SharedBytes supergroupFlags_;

    std::vector<Place> entries_;
    std::vector<std::uint32_t> entryStarts_;
    std::vector<UsedKernel> kernels_;
    std::unordered_map<const std::type_info*, std::uint32_t> kernelNumbers_;  ///< By class.
    std::array<KnownClass, 64> knownClasses_{};                               ///< Some of these, by address.
    SlotSet withKernel_;
    bool allHaveKernels_ = true;
    SlotSet odd_;
    SlotSet dependsOnMore_;
    SlotSet alone_;
    bool anyAlone_ = false;
    std::vector<Slot> sources_;
    std::vector<std::uint32_t> sourceStarts_;
    std::vector<Slot> consumers_;
    std::vector<std::uint32_t> consumerStarts_;
    OpenLists openLists_;

    std::unique_ptr<unsigned char[]> values_;
    std::vector<Port*> adopted_;
    std::vector<float> costs_;
};

}  // namespace TessilGraph::internal
