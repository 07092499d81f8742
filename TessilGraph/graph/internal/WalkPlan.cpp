#include <TessilGraph/graph/internal/WalkPlan.h>

#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/EvaluationOrder.h>
#include <TessilGraph/graph/internal/NetworkState.h>

#include <algorithm>
#include <limits>
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

std::unique_ptr<WalkPlan> WalkPlan::make(NetworkState& network) {
    std::unique_ptr<WalkPlan> plan(new WalkPlan(network));
    return plan->compile() ? std::move(plan) : nullptr;
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
    for (std::size_t done = nodePlan_->run(order_.get(), count, data); done < count; ++done) {
        computeIfDirty(*nodes_[order_[done]], data);
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

/// Fills `order_` with the dirty nodes that lead to the target through dirty ones, depth first; with one that
/// was waiting in two places twice, as `wholeOrder` has it. Returns how many there are.
std::size_t WalkPlan::gather(std::uint32_t target) {
    if (next_ > std::numeric_limits<std::uint32_t>::max() - sources_.size() - 1) {
        std::fill(numbers_.begin(), numbers_.end(), 0);
        next_ = 1;
    }
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

void noteWalked(NetworkState& network, std::size_t count) {
    constexpr std::uint32_t outermost = 1;
    network.walked.note(network, count);
    if (network.evaluations.load(std::memory_order_relaxed) == outermost && network.walked.isDue(network)) {
        network.walkPlan = WalkPlan::make(network);
    }
}

}  // namespace TessilGraph::internal
