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

    /// False when the targets are not up to date: the run is to end, or the wiring changed, which a name does, too.
    bool bringUpToDate(const std::vector<std::string>& names) {
        const std::uint64_t wiring = state_.wiring.load(std::memory_order_relaxed);
        WholeOrder order = orderOfAll(find(names));
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
    std::vector<Node*> find(const std::vector<std::string>& names) const {
        std::vector<Node*> found;
        for (const std::string& name : names) {
            Node* node = state_.nodes != nullptr ? state_.nodes->find(name) : nullptr;
            if (node != nullptr) {
                found.push_back(node);
            }
        }
        return found;
    }

    bool compute(const std::vector<Node*>& order, const RunningOrder& running, std::uint64_t wiring) {
        const auto isDue = [&](const Node* upstream) {
            return running.isAlive(upstream) && upstream->isDirty() && computed_.count(upstream) == 0;
        };
        if (control_.wantsProgress()) {
            control_.setRemaining(static_cast<std::uint64_t>(std::count_if(order.begin(), order.end(), isDue)));
        }
        for (Node* upstream : order) {
            if (!isDue(upstream)) {
                continue;
            }
            if (!control_.mayGoOn()) {
                return false;
            }
            computed_.insert(upstream);
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
    while (!walk.bringUpToDate(targets)) {
        if (!control.mayGoOn()) {
            return;
        }
    }
}

}  // namespace TessilGraph::internal
