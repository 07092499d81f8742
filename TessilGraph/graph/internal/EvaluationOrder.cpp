#include <TessilGraph/graph/internal/EvaluationOrder.h>

#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/RunningOrder.h>
#include <TessilGraph/graph/internal/WalkPlan.h>
#include <TessilGraph/graph/internal/WalkScratch.h>

#include <TessilUtils/Logger.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace TessilGraph::internal {

namespace {

enum class Gather { Dirty, All };

/// Tells nodes apart by marks. Gives up when it meets a node of another home than the one named.
class ByMarks {
public:
    explicit ByMarks(const NetworkState* home) : home_(home) {}

    bool knows(Node& node) const { return home_ == nullptr || Access::home(node) == home_; }
    bool isDone(Node& node) const { return Access::mark(node) == done_; }
    void setDone(Node& node) { Access::mark(node) = done_; }
    bool isOpen(Node& node) const { return Access::mark(node) == open_; }
    void setOpen(Node& node) { Access::mark(node) = open_; }
    bool isClosed(Node& node) const { return isDone(node); }
    using Key = const Node*;
    static Key keyOf(const Node& node) { return &node; }

private:
    const NetworkState* home_;
    const std::uint64_t done_ = nextStamp();
    const std::uint64_t open_ = nextStamp();
};

/// Tells nodes apart by names, wherever they come from.
class ByNames {
public:
    static bool knows(Node&) { return true; }
    bool isDone(Node& node) const { return done_.count(Access::name(node)) != 0; }
    void setDone(Node& node) {
        done_.insert(Access::name(node));
        Access::mark(node) = closed_;
    }
    bool isOpen(Node& node) const { return Access::mark(node) == open_; }
    void setOpen(Node& node) { Access::mark(node) = open_; }
    bool isClosed(Node& node) const { return Access::mark(node) == closed_; }
    using Key = std::string_view;
    static Key keyOf(const Node& node) { return Access::name(node); }

private:
    const std::uint64_t open_ = nextStamp();
    const std::uint64_t closed_ = nextStamp();
    std::unordered_set<std::string_view> done_;
};

/// The nodes that one node has put on the stack, so that none is put there twice.
template <class Visits>
class Pushed {
public:
    explicit Pushed(const std::vector<Node*>& stack) : stack_(stack), first_(stack.size()) {}

    bool has(Node& node) {
        if (stack_.size() - first_ > few) {
            return isAmongMany(node);
        }
        for (std::size_t i = first_; i < stack_.size(); ++i) {
            if (Visits::keyOf(*stack_[i]) == Visits::keyOf(node)) {
                return true;
            }
        }
        return false;
    }

    bool none() const { return stack_.size() == first_; }

private:
    static constexpr std::size_t few = 8;

    bool isAmongMany(Node& node) {
        if (!keys_) {
            keys_.emplace();
            for (std::size_t i = first_; i < stack_.size(); ++i) {
                keys_->insert(Visits::keyOf(*stack_[i]));
            }
        }
        return !keys_->insert(Visits::keyOf(node)).second;
    }

    const std::vector<Node*>& stack_;
    const std::size_t first_;
    std::optional<std::unordered_set<typename Visits::Key>> keys_;  ///< For nodes with very many inputs.
};

enum class Outcome { Acyclic, Cyclic, MetUnknown };

/// Adds to `scratch.order`. Stops when `visits` meets a node that it doesn't know.
template <class Visits>
Outcome addUpstream(Node& target, Gather gather, Visits& visits, WalkScratch& scratch) {
    std::vector<Node*>& stack = scratch.stack;
    std::vector<Node*>& order = scratch.order;
    stack.assign(1, &target);
    Outcome outcome = Outcome::Acyclic;
    const auto finish = [&](Node& node) {
        if (gather == Gather::All || node.isDirty()) {
            order.push_back(&node);
        }
        visits.setDone(node);
        stack.pop_back();
    };
    while (!stack.empty()) {
        Node& top = *stack.back();
        if (visits.isOpen(top)) {
            // What it put on the stack is done.
            finish(top);
            continue;
        }
        if (!visits.knows(top)) {
            return Outcome::MetUnknown;
        }
        if (visits.isClosed(top)) {
            // It was waiting in two places; nothing that feeds it is left to do.
            order.push_back(&top);
            stack.pop_back();
            continue;
        }
        visits.setOpen(top);
        Pushed<Visits> pushed(stack);
        Access::forEachInput(top, [&](const Port* input) {
            Node* upstream = input != nullptr ? upstreamNode(*input) : nullptr;
            if (upstream == nullptr) {
                return;
            }
            if (gather == Gather::Dirty && !upstream->isDirty()) {
                scratch.metClean = true;
                return;
            }
            if (visits.isDone(*upstream)) {
                return;
            }
            if (visits.isOpen(*upstream)) {
                // It waits for this very node.
                outcome = Outcome::Cyclic;
            } else if (!pushed.has(*upstream)) {
                stack.push_back(upstream);
            }
        });
        if (pushed.none()) {
            finish(top);
        }
    }
    return outcome;
}

/// Fills `scratch.order`.
template <class Visits>
Outcome walkUpstream(Node& target, Gather gather, Visits visits, WalkScratch& scratch) {
    scratch.order.clear();
    scratch.metClean = false;
    return addUpstream(target, gather, visits, scratch);
}

struct Gathered {
    bool isCyclic;  ///< Links run in a circle.
    bool isAtHome;  ///< All nodes that the walk met stand in the network.
};

/// Fills `scratch.order`.
Gathered gatherUpstream(Node& target, Gather gather, const NodeSet& home, WalkScratch& scratch) {
    const Outcome outcome = walkUpstream(target, gather, ByMarks(home.state().get()), scratch);
    if (outcome == Outcome::MetUnknown) {
        return {walkUpstream(target, gather, ByNames(), scratch) == Outcome::Cyclic, false};
    }
    return {outcome == Outcome::Cyclic, true};
}

/// Takes the kept walk of a network for the time of an evaluation, and puts it back unless another one
/// took its place.
class KeptWalkLease {
public:
    explicit KeptWalkLease(NetworkState& network) : network_(network), walk_(std::move(network.keptWalk)) {}
    ~KeptWalkLease() {
        if (network_.keptWalk == nullptr) {
            network_.keptWalk = std::move(walk_);
        }
    }
    KeptWalkLease(const KeptWalkLease&) = delete;
    KeptWalkLease& operator=(const KeptWalkLease&) = delete;

    /// Whether it starts from this node and still holds.
    bool fits(const Node& target) const {
        return walk_ != nullptr && walk_->target == &target && walk_->wiring == wiring() && walk_->lists.stand();
    }

    /// The plan of a walk that fits; null when there can be none.
    OrderPlan* plan() {
        if (walk_->canChange) {
            return nullptr;
        }
        if (walk_->plan != nullptr && !walk_->plan->isCurrent()) {
            walk_->plan.reset();
            walk_->hasPlan = false;
        }
        if (!walk_->hasPlan) {
            walk_->hasPlan = true;
            walk_->plan = OrderPlan::make(walk_->order, network_);
        }
        return walk_->plan.get();
    }

    /// Whether the order, with its clean nodes left out, is that of a walk. Asked when there is a plan.
    bool holdsForDirtyOnes() const {
        const WalkPlan* walks = network_.walkPlan.get();
        if (walk_->plan->areAllDirty()) {
            return true;
        }
        if (!walk_->plan->hasKernelsOnly() || walks == nullptr || !walks->isCurrent()) {
            return false;
        }
        try {
            if (walk_->places.empty()) {
                walk_->places = walks->placesOf(walk_->order);
            }
            return walks->hideNothing(walk_->places);
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    /// Keeps nothing where there is no memory for that.
    void keep(const Node& target, const std::vector<Node*>& order) noexcept {
        walk_.reset();
        try {
            walk_ = walkOf(target, order);
        } catch (const std::bad_alloc&) {
        }
    }

    std::vector<Node*>& order() { return walk_->order; }

private:
    std::unique_ptr<KeptWalk> walkOf(const Node& target, const std::vector<Node*>& order) const {
        auto walk = std::make_unique<KeptWalk>();
        walk->target = &target;
        walk->wiring = wiring();
        for (const Node* node : order) {
            if (!walk->lists.note(*node)) {
                // Kept all the same, so that nobody tries again before the wiring changes.
                walk->lists = OpenLists();
                walk->canChange = true;
                return walk;
            }
        }
        walk->order = order;
        return walk;
    }

    std::uint64_t wiring() const { return network_.wiring.load(std::memory_order_relaxed); }

    NetworkState& network_;
    std::unique_ptr<KeptWalk> walk_;
};

/// By the kept walk; false when it doesn't fit.
bool computeAgain(Node& target, NetworkState& network, const ComputeData* data) {
    KeptWalkLease kept(network);
    OrderPlan* plan = kept.fits(target) ? kept.plan() : nullptr;
    if (plan == nullptr || !plan->knowsProfileTimes() || !kept.holdsForDirtyOnes()) {
        return false;
    }
    const RunningOrder running(network, kept.order(), false);
    running.computeFrom(plan->run(data), data);
    network.walked.note(network, kept.order().size());
    return true;
}

/// Looks at the nodes themselves, and keeps the order if everything upstream is dirty.
void computeFresh(Node& target, const NodeSet& home, const ComputeData* data, bool isCyclic) {
    constexpr std::size_t worthIt = 64;
    NetworkState& network = *home.state();
    KeptWalkLease kept(network);
    const std::uint64_t profileTimes = network.profileTimes.load(std::memory_order_relaxed);
    OrderPlan* plan = !isCyclic && kept.fits(target) ? kept.plan() : nullptr;
    const ScratchLease scratch(network);
    std::vector<Node*>& order = (*scratch).order;
    const Gathered gathered = gatherUpstream(target, Gather::Dirty, home, *scratch);
    const bool isWhole = gathered.isAtHome && !isCyclic && !gathered.isCyclic && !(*scratch).metClean;
    if (isWhole && order.size() >= worthIt && !kept.fits(target)) {
        kept.keep(target, order);
    }
    const std::size_t count = order.size();
    const RunningOrder running(network, order, !gathered.isAtHome);
    if (isCyclic || gathered.isCyclic) {
        logCycle();  // Now that whoever reads the log may delete nodes.
    }
    running.computeFrom(0, data);
    if (isWhole && plan != nullptr) {
        plan->setKnownProfileTimes(profileTimes);
    }
    noteWalked(network, count);
}

}  // namespace

void computeUpstream(Node& target, const NodeSet& home, const ComputeData* data, bool isCyclic) {
    NetworkState& network = *home.state();
    const bool mayHavePlan = !isCyclic && Access::home(target) == &network;
    const bool few = fewWereMarked(network);
    if (!(mayHavePlan && few && computeByPlan(target, network, data)) &&
        !(!isCyclic && computeAgain(target, network, data)) &&
        !(mayHavePlan && !few && computeByPlan(target, network, data))) {
        computeFresh(target, home, data, isCyclic);
    }
    noteMarksWalked(network);
}

WholeOrder wholeOrder(Node& target, const NodeSet& home) {
    const ScratchLease scratch(*home.state());
    const bool isCyclic = gatherUpstream(target, Gather::All, home, *scratch).isCyclic;
    return {(*scratch).order, isCyclic};
}

WholeOrder orderOfAll(const std::vector<Node*>& targets) {
    WalkScratch scratch;
    ByMarks visits(nullptr);
    bool isCyclic = false;
    for (Node* target : targets) {
        if (!visits.isDone(*target)) {
            isCyclic = addUpstream(*target, Gather::All, visits, scratch) == Outcome::Cyclic || isCyclic;
        }
    }
    std::vector<Node*>& order = scratch.order;
    const std::uint64_t once = nextStamp();
    const auto isThere = [once](Node* node) { return std::exchange(Access::mark(*node), once) == once; };
    order.erase(std::remove_if(order.begin(), order.end(), isThere), order.end());
    return {std::move(order), isCyclic};
}

void logCycle() {
    TessilUtils::Logger::error() << "Cycle detected! each of its nodes is computed at most once";
}

bool runsInACircle(Node& target) {
    WalkScratch scratch;
    return walkUpstream(target, Gather::Dirty, ByMarks(nullptr), scratch) == Outcome::Cyclic;
}

void computeOrLeaveDirty(Node& node, const ComputeData* data) {
    try {
        node.compute(data);
    } catch (...) {
        node.setDirtyFlag();
        throw;
    }
}

void computeIfDirty(Node& node, const ComputeData* data) {
    if (node.profileTime() != 0) {
        node.setProfileTime(0);
    }
    if (node.isDirty()) {
        computeOrLeaveDirty(node, data);
        Access::setClean(node);
    }
}

}  // namespace TessilGraph::internal
