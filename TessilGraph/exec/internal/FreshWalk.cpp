#include <TessilGraph/exec/internal/FreshWalk.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/EvaluationOrder.h>
#include <TessilGraph/graph/internal/NetworkState.h>
#include <TessilGraph/graph/internal/RunningOrder.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <unordered_set>

namespace TessilGraph::internal {

namespace {

/// One walk through the network.
class Walk {
public:
    Walk(NetworkState& state, const ComputeData* data, RunControl& control)
        : state_(state), data_(data), control_(control) {}

    /// False when the target is not up to date: the run is to end, or the wiring changed.
    bool bringUpToDate(const std::string& target) {
        Node* node = state_.nodes != nullptr ? state_.nodes->find(target) : nullptr;
        if (node == nullptr) {
            return true;
        }
        const std::uint64_t wiring = state_.wiring.load(std::memory_order_relaxed);
        WholeOrder order = wholeOrder(*node, *state_.nodes);
        const RunningOrder running(state_, order.nodes, true);
        if (order.isCyclic) {
            logCycle();
        }
        const bool isUpToDate = compute(order.nodes, running, wiring);
        // Others may come to stand where they stood.
        running.forEachDead([this](const Node* dead) { computed_.erase(dead); });
        return isUpToDate;
    }

private:
    bool compute(const std::vector<Node*>& order, const RunningOrder& running, std::uint64_t wiring) {
        if (control_.wantsProgress()) {
            const auto dirty = std::count_if(order.begin(), order.end(), [&running](const Node* upstream) {
                return running.isAlive(upstream) && upstream->isDirty();
            });
            control_.setTotal(control_.computed() + static_cast<std::uint64_t>(dirty));
        }
        for (Node* upstream : order) {
            if (!running.isAlive(upstream) || !upstream->isDirty() || !computed_.insert(upstream).second) {
                continue;
            }
            if (!control_.mayGoOn()) {
                return false;
            }
            computeOrLeaveDirty(*upstream, data_);
            upstream->setDirty(false);
            control_.addComputed(1);
            if (!control_.goesOn(1) || state_.wiring.load(std::memory_order_relaxed) != wiring) {
                return false;
            }
        }
        return true;
    }

    NetworkState& state_;
    const ComputeData* const data_;
    RunControl& control_;
    std::unordered_set<const Node*>
        computed_;  ///< Only to be compared. None is computed twice, so that every run ends.
};

}  // namespace

void walkAfresh(NetworkState& state, const std::vector<std::string>& targets, const ComputeData* data,
                RunControl& control) {
    Walk walk(state, data, control);
    for (const std::string& target : targets) {
        while (!walk.bringUpToDate(target)) {
            if (!control.mayGoOn()) {
                return;
            }
        }
    }
}

}  // namespace TessilGraph::internal
