#pragma once

#include <TessilGraph/graph/internal/Kernel.h>
#include <TessilGraph/graph/internal/NetworkState.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace TessilGraph {
class ComputeData;
class Node;
}  // namespace TessilGraph

namespace TessilGraph::internal {

/// An evaluation order in a form that reads memory front to back: for each node where its dirty byte is,
/// and, for built-in nodes, a kernel and where the values are. It computes the same nodes in the same
/// order as the order itself, without touching those that have a kernel. Nothing is moved: values stay
/// in their ports.
///
/// It holds as long as the network's wiring and storage do, and must not be run afterwards.
class OrderPlan {
public:
    /// Null when there can be no plan: the order holds nodes that no network tells about, or there is no memory
    /// for it.
    static std::unique_ptr<OrderPlan> make(const std::vector<Node*>& order, const NetworkState& network) noexcept;

    bool isCurrent() const {
        return wiring_ == network_.wiring.load(std::memory_order_relaxed) && storage_ == network_.storage;
    }

    /// Whether the profile times of its nodes are 0, where a run leaves them. If not, it must not be run.
    bool knowsProfileTimes() const { return profileTimes_ == network_.profileTimes.load(std::memory_order_relaxed); }
    void setKnownProfileTimes(std::uint64_t profileTimes) { profileTimes_ = profileTimes; }

    bool areAllDirty() const;

    /// Whether every node has a kernel: nothing happens then while it runs but that values change.
    bool hasKernelsOnly() const { return hasKernelsOnly_; }

    /// Whether the node at a place of the order is dirty. Valid as long as the plan.
    auto dirtiness() const {
        return [steps = steps_.data()](std::size_t place) {
            return steps[place].dirty->load(std::memory_order_relaxed) != 0;
        };
    }

    /// Computes the dirty nodes and marks them clean. Returns how many nodes of the order were looked
    /// at: fewer than all when a node changed the wiring or set profile times.
    std::size_t run(const ComputeData* data);

    /// The same with the nodes at some places of the order. Returns how many of the places were looked at.
    std::size_t run(const std::uint32_t* places, std::size_t count, const ComputeData* data);

    bool hasKernel(std::size_t place) const { return steps_[place].entry != noEntry; }

    /// Computes the nodes at some places, dirty or not, all of which have kernels, and marks them clean.
    void computeByKernels(const std::uint32_t* places, std::size_t count);

    /// Computes the nodes at [begin, end), dirty or not, by their kernels, and marks them clean. Returns
    /// the place of the first one that has no kernel, where it stops, or `end`. Different nodes may be
    /// computed side by side. `noteRun` comes before.
    std::size_t computeByKernels(std::size_t begin, std::size_t end) const {
        const Kernels kernels = this->kernels();
        const Step* steps = steps_.data();
        const bool fetches = isLarge();
        for (; begin != end; ++begin) {
            const Step step = steps[begin];
            if (fetches ? !kernels.computeAndFetch(step) : !kernels.compute(step)) {
                break;
            }
        }
        return begin;
    }

    /// Tells the network that nodes are made clean from here.
    void noteRun();

private:
    struct Step {
        std::atomic<std::uint8_t>* dirty;
        std::uint32_t entry;      ///< Where the kernel's number and the places of its values stand, or `noEntry`.
        std::uint32_t entrySize;  ///< With the places at which large values go on, for who fetches them.
    };
    static constexpr std::uint32_t noEntry = ~std::uint32_t{0};
    static constexpr std::size_t lineSize = 64;    ///< Bytes that come into a cache together.
    static constexpr std::size_t lookAhead = 128;  ///< How many places further on values are fetched.

    OrderPlan(const std::vector<Node*>& order, const NetworkState& network);

    void compile();
    void addFurtherLines(const std::size_t* sizes, std::size_t count, std::uint32_t places);
    template <bool fetches>
    std::size_t runFrom(std::size_t place, const ComputeData* data);
    std::size_t runFew(const ComputeData* data);
    bool mayBeFew(std::uint64_t marks) const;
    bool findDirty() noexcept;
    /// Whether the values fill more than a near cache.
    bool isLarge() const { return order_.size() > 2000; }

    /// False when it changed the wiring or set profile times.
    bool computeByItself(std::size_t place, const ComputeData* data);

    /// What computes by kernels, at hand for loops.
    struct Kernels {
        const Place* entries;
        const KernelFunction* functions;
        unsigned char* values;

        /// False when the node has no kernel.
        bool compute(const Step& step) const {
            if (step.entry == noEntry) {
                return false;
            }
            const Place* entry = entries + step.entry;
            functions[*entry](entry + 1, values);
            step.dirty->store(0, std::memory_order_relaxed);
            return true;
        }

        /// The same, and fetches as many values that steps further on will use. The number of a kernel may be
        /// taken for a place, which does no harm.
        bool computeAndFetch(const Step& step) const {
            if (!compute(step)) {
                return false;
            }
            const Place* further = entries + step.entry + lookAhead;
            for (const Place* end = further + step.entrySize; further != end; ++further) {
                __builtin_prefetch(values + placeSize * *further);
            }
            return true;
        }
    };
    Kernels kernels() const { return {entries_.data(), kernels_.data(), values_}; }

    const std::vector<Node*>& order_;
    const NetworkState& network_;
    const std::uint64_t wiring_;
    const std::uint64_t storage_;
    std::uint64_t profileTimes_ = 0;  ///< Of the network, when those of the order were set to 0.
    std::uint64_t marks_ = 0;         ///< Of the network, before the run that left everything clean.
    bool isClean_ = false;

    std::vector<Step> steps_;
    std::vector<Place> entries_;
    std::vector<KernelFunction> kernels_;
    unsigned char* values_ = nullptr;  ///< No value stands before it.
    bool hasKernelsOnly_ = true;

    std::vector<std::uint32_t> firstPlaces_;  ///< In the order, of the node at a position; empty until wanted.
    std::vector<std::uint32_t> dirty_;        ///< Places of nodes that are dirty, for the time of a run.
};

}  // namespace TessilGraph::internal
