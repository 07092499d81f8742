#include <TessilGraph/graph/internal/WalkPlan.h>

#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/EvaluationOrder.h>
#include <TessilGraph/graph/internal/NetworkState.h>
#include <TessilGraph/graph/internal/RunningOrder.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <new>
#include <utility>

namespace TessilGraph::internal {

namespace {

/// Takes the walk plan of a network for the time of an evaluation, and puts it back unless another one took
/// its place.
class WalkPlanLease {
public:
    explicit WalkPlanLease(NetworkState& network) : network_(network), plan_(std::move(network.walkPlan)) {}
    ~WalkPlanLease() {
        if (network_.walkPlan == nullptr) {
            network_.walkPlan = std::move(plan_);
        }
    }
    WalkPlanLease(const WalkPlanLease&) = delete;
    WalkPlanLease& operator=(const WalkPlanLease&) = delete;

    WalkPlan& operator*() const { return *plan_; }

private:
    NetworkState& network_;
    std::unique_ptr<WalkPlan> plan_;
};

}  // namespace

WalkPlan::WalkPlan(NetworkState& network) : network_(network) {}

std::unique_ptr<WalkPlan> WalkPlan::make(NetworkState& network) noexcept try {
    std::unique_ptr<WalkPlan> plan(new WalkPlan(network));
    return plan->compile() ? std::move(plan) : nullptr;
} catch (const std::bad_alloc&) {
    return nullptr;
}

bool WalkPlan::compile() {
    const NodeSet& nodes = *network_.nodes;
    places_.resize(nodes.endPosition());
    for (NodeSet::Position position = 0; position < nodes.endPosition(); ++position) {
        Node* node = nodes.nodeIfAt(position);
        if (node == nullptr || Access::home(*node) != &network_ || Access::entry(*node) != position) {
            continue;  // Nobody comes here.
        }
        if (node->profileTime() != 0) {
            return false;
        }
        places_[position] = static_cast<std::uint32_t>(nodes_.size());
        nodes_.push_back(node);
    }
    numbers_.resize(nodes_.size());
    for (std::uint32_t place = 0; place < nodes_.size(); ++place) {
        starts_.push_back(static_cast<std::uint32_t>(sources_.size()));
        if (!addSources(place)) {
            return false;
        }
    }
    starts_.push_back(static_cast<std::uint32_t>(sources_.size()));
    nodePlan_ = OrderPlan::make(nodes_, network_);
    if (nodePlan_ == nullptr) {
        return false;
    }
    nodePlan_->setKnownProfileTimes(network_.profileTimes.load(std::memory_order_relaxed));
    std::fill(numbers_.begin(), numbers_.end(), 0);
    path_ = std::make_unique<Step[]>(nodes_.size());
    order_ = std::make_unique<std::uint32_t[]>(sources_.size() + 1);
    return true;
}

/// False when there can be no plan.
bool WalkPlan::addSources(std::uint32_t place) {
    constexpr std::size_t fewLists = 8;
    const Node& node = *nodes_[place];
    if (!lists_.note(node) || lists_.size() > fewLists) {
        return false;
    }
    const std::size_t first = sources_.size();
    for (const Port* input : Access::inputs(node)) {
        const Node* upstream = input != nullptr ? upstreamNode(*input) : nullptr;
        if (upstream == nullptr) {
            continue;
        }
        if (Access::home(*upstream) != &network_ || Access::label(*upstream) >= Access::label(node)) {
            return false;
        }
        const std::uint32_t source = places_[Access::entry(*upstream)];
        if (numbers_[source] != place + 1) {
            numbers_[source] = place + 1;  // It reads this one.
            sources_.push_back(source);
        }
    }
    // A walk begins with the last of them.
    std::reverse(sources_.begin() + static_cast<std::ptrdiff_t>(first), sources_.end());
    return true;
}

void WalkPlan::compute(const Node& target, const ComputeData* data) {
    const std::size_t count = gather(places_[Access::entry(target)]);
    const RunningOrder running(network_, nodes_, false);
    for (std::size_t done = nodePlan_->run(order_.get(), count, data); done < count; ++done) {
        Node* node = nodes_[order_[done]];
        if (running.isAlive(node)) {
            computeIfDirty(*node, data);
        }
    }
}

std::vector<std::uint32_t> WalkPlan::placesOf(const std::vector<Node*>& nodes) const {
    std::vector<std::uint32_t> places;
    places.reserve(nodes.size());
    for (const Node* node : nodes) {
        places.push_back(places_[Access::entry(*node)]);
    }
    return places;
}

bool WalkPlan::hideNothing(const std::vector<std::uint32_t>& places) const {
    const auto isDirty = nodePlan_->dirtiness();
    return std::all_of(places.begin(), places.end(), [&](std::uint32_t place) {
        const std::uint32_t* sources = sources_.data();
        return isDirty(place) || std::none_of(sources + starts_[place], sources + starts_[place + 1], isDirty);
    });
}

void WalkPlan::makeRoomForNumbers() {
    if (next_ > std::numeric_limits<std::uint32_t>::max() - sources_.size() - 1) {
        std::fill(numbers_.begin(), numbers_.end(), 0);
        next_ = 1;
    }
}

bool WalkPlan::computeFewOfLevels(const Node& target) {
    const std::size_t count = gatherFewOfLevels(places_[Access::entry(target)]);
    if (count == 0) {
        return false;
    }
    nodePlan_->computeByKernels(order_.get(), count);
    return true;
}

/// Fills `order_` with the dirty nodes that lead to the target through dirty ones, and the clean ones that feed
/// these, each once, sources first. Returns how many there are, or 0 if they are many or not all as wanted.
std::size_t WalkPlan::gatherFewOfLevels(std::uint32_t target) {
    if (!nodePlan_->hasKernel(target)) {
        return 0;
    }
    makeRoomForNumbers();
    const auto isDirty = nodePlan_->dirtiness();
    const std::uint32_t first = next_;
    const auto take = [&](std::uint32_t node) {
        numbers_[node] = next_;
        order_[next_++ - first] = node;
    };
    std::size_t depth = 0;
    path_[depth++] = {target, starts_[target], 0};
    while (depth != 0) {
        Step& at = path_[depth - 1];
        if (at.next == starts_[at.node + 1]) {
            take(at.node);
            --depth;
            continue;
        }
        const std::uint32_t source = sources_[at.next++];
        if (numbers_[source] >= first) {
            continue;
        }
        if (!nodePlan_->hasKernel(source) || next_ - first + depth >= few) {
            return 0;
        }
        if (isDirty(source)) {
            path_[depth++] = {source, starts_[source], 0};
        } else {
            take(source);
        }
    }
    return arrangeCleanOnes(first, next_ - first) ? next_ - first : 0;
}

/// Whether each clean node of `order_`, numbered from `first`, stands in nearer levels only than the farthest one
/// of each node there that it reads: levels then come to the same as any order with sources first. Brings `order_`
/// into such a one, since it was filled without a look at what clean nodes read.
bool WalkPlan::arrangeCleanOnes(std::uint32_t first, std::uint32_t count) {
    const auto isDirty = nodePlan_->dirtiness();
    const auto forEachSource = [&](std::uint32_t place, auto visit) {
        const std::uint32_t node = order_[place];
        for (std::uint32_t i = starts_[node]; i != starts_[node + 1]; ++i) {
            if (numbers_[sources_[i]] >= first) {
                visit(numbers_[sources_[i]] - first);
            }
        }
    };
    std::array<std::uint32_t, few> levels{};  // The farthest ones.
    for (std::uint32_t place = count; place-- > 0;) {
        if (isDirty(order_[place])) {
            forEachSource(place,
                          [&](std::uint32_t source) { levels[source] = std::max(levels[source], levels[place] + 1); });
        }
    }
    bool areLate = true;
    bool areSourcesFirst = true;
    for (std::uint32_t place = 0; place < count; ++place) {
        if (!isDirty(order_[place])) {
            forEachSource(place, [&](std::uint32_t source) {
                // What nothing feeds comes before all others.
                areLate = areLate && (levels[place] < levels[source] || !isFed(*nodes_[order_[source]]));
                areSourcesFirst = areSourcesFirst && source < place;
            });
        }
    }
    if (areLate && !areSourcesFirst) {
        sortByLevel(levels, count);
    }
    return areLate;
}

/// Sorts `order_`, of whose places these are the levels, the farthest first.
void WalkPlan::sortByLevel(std::array<std::uint32_t, few>& levels, std::uint32_t count) {
    std::array<std::uint32_t, few> places{};
    std::array<std::uint32_t, few> sorted{};
    for (std::uint32_t place = 0; place < count; ++place) {
        places[place] = place;
        if (!isFed(*nodes_[order_[place]])) {
            levels[place] = few;
        }
    }
    std::sort(places.begin(), places.begin() + count,
              [&levels](std::uint32_t a, std::uint32_t b) { return levels[a] > levels[b]; });
    std::transform(places.begin(), places.begin() + count, sorted.begin(),
                   [this](std::uint32_t place) { return order_[place]; });
    std::copy_n(sorted.begin(), count, order_.get());
}

/// Fills `order_` with the dirty nodes that lead to the target through dirty ones, depth first; with one that
/// was waiting in two places twice, as `wholeOrder` has it. Returns how many there are.
std::size_t WalkPlan::gather(std::uint32_t target) {
    makeRoomForNumbers();
    const auto isDirty = nodePlan_->dirtiness();
    const std::uint32_t* starts = starts_.data();
    const std::uint32_t* sources = sources_.data();
    std::uint32_t* numbers = numbers_.data();
    std::uint32_t* order = order_.get();
    Step* path = path_.get();
    const std::uint32_t first = next_;
    std::uint32_t number = first;
    Step at{target, starts[target], number};
    for (;;) {
        std::uint32_t end = starts[at.node + 1];
        while (at.next != end) {
            const std::uint32_t source = sources[at.next++];
            if (!isDirty(source)) {
                continue;
            }
            if (numbers[source] < first) {
                *path++ = at;
                at = {source, starts[source], number};
                end = starts[source + 1];
            } else if (numbers[source] >= at.opened) {
                // It was waiting here while it was done.
                order[number++ - first] = source;
            }
        }
        numbers[at.node] = number;
        order[number++ - first] = at.node;
        if (path == path_.get()) {
            next_ = number;
            return number - first;
        }
        at = *--path;
    }
}

bool computeByPlan(const Node& target, NetworkState& network, const ComputeData* data) {
    if (network.walkPlan == nullptr || !network.walkPlan->isCurrent()) {
        return false;
    }
    const WalkPlanLease plan(network);
    (*plan).compute(target, data);
    return true;
}

bool areFew(std::size_t nodes, const NetworkState& network) {
    return nodes < network.nodes->size() / 8;
}

bool fewWereMarked(const NetworkState& network) {
    return areFew(network.marks.load(std::memory_order_relaxed) - network.walkedMarks, network);
}

void noteMarksWalked(NetworkState& network) {
    network.walkedMarks = network.marks.load(std::memory_order_relaxed);
}

bool computeFewOfLevelsByPlan(const Node& target, NetworkState& network) {
    return network.walkPlan != nullptr && network.walkPlan->isCurrent() && network.walkPlan->computeFewOfLevels(target);
}

void noteWalked(NetworkState& network, std::size_t count) {
    constexpr std::uint32_t outermost = 1;
    network.walked.note(network, count);
    if (network.evaluations.load(std::memory_order_relaxed) == outermost && network.walked.isDue(network)) {
        network.walkPlan = WalkPlan::make(network);
    }
}

}  // namespace TessilGraph::internal
