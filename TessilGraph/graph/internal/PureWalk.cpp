#include <TessilGraph/graph/internal/PureWalk.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/StageRun.h>
#include <TessilGraph/graph/internal/TraitsByte.h>

#include <algorithm>
#include <functional>
#include <numeric>

namespace TessilGraph::internal {

namespace {

// All times in nanoseconds.
constexpr double segmentCost = 16000.0;
constexpr double planCostPerNode = 30.0;
constexpr double worthPlanning = 40000.0;

}  // namespace

PureWalk::Found PureWalk::gather(Node& target, const NetworkState& network) {
    isTaken_ = isCurrent(target, network);
    if (isTaken_) {
        return Found::PureNodes;
    }
    network_ = &network;
    wiring_ = network.wiring.load(std::memory_order_relaxed);
    isTold_ = Access::home(target) == network_;
    const Found found = gatherAnew(target);
    target_ = found == Found::PureNodes && isTold_ ? &target : nullptr;
    return found;
}

bool PureWalk::isCurrent(const Node& target, const NetworkState& network) {
    if (&target != target_ || &network != network_ || network.wiring.load(std::memory_order_relaxed) != wiring_) {
        return false;
    }
    double cost = 0.0;
    for (Node* node : order_) {
        if (!node->isDirty()) {
            return false;
        }
        cost += static_cast<double>(Access::cost(*node));
    }
    cost_ = cost;
    return std::all_of(first_.begin(), first_.end(), [](const Node* node) { return node->isDirty(); });
}

PureWalk::Found PureWalk::gatherAnew(Node& target) {
    order_.clear();
    first_.clear();
    feeders_.clear();
    last_ = nullptr;
    cost_ = 0.0;
    planCost_ = 0.0;
    begins_.clear();
    if (!TraitsByte::of(target).pure()) {
        if (!isFed(target)) {
            return Found::Others;
        }
        last_ = &target;
    }
    const Found found = walk(target);
    return found == Found::PureNodes && !feedersReadNothingHere() ? Found::Others : found;
}

PureWalk::Found PureWalk::walk(Node& target) {
    const std::uint64_t openMark = nextStamp();
    closedMark_ = nextStamp();
    open_.clear();
    for (Node* next = &target; next != nullptr || !open_.empty();) {
        if (next != nullptr) {
            Access::mark(*next) = openMark;
            open_.push_back({next, 0, static_cast<std::uint32_t>(order_.size())});
            next = nullptr;
        }
        switch (nextSource(open_.back(), openMark, next)) {
            case Step::Done:
                Access::mark(*open_.back().node) = closedMark_;
                if (open_.back().node != last_) {
                    append(*open_.back().node, open_.back().begin);
                }
                open_.pop_back();
                break;
            case Step::Descend:
                break;
            case Step::Circle:
                return Found::Circle;
            case Step::Others:
                return Found::Others;
        }
    }
    return Found::PureNodes;
}

/// Goes on to the next source that has sources of its own to be looked at.
PureWalk::Step PureWalk::nextSource(Open& open, std::uint64_t openMark, Node*& source) {
    const PortRange inputs = Access::inputs(*open.node);
    while (open.nextInput < inputs.size()) {
        const Port* input = inputs[open.nextInput++];
        if (input == nullptr) {
            continue;
        }
        const Port* output = Access::firstConnection(*input);
        isTold_ = isTold_ && !Access::isLent(*input);
        if (output == nullptr) {
            if (input->numConnections() != 0) {
                return Step::Others;
            }
            continue;
        }
        if (output->isInput() || !input->isInput()) {
            return Step::Others;
        }
        Node* node = output->node();
        if (node == nullptr) {
            isTold_ = false;
            continue;
        }
        isTold_ = isTold_ && !Access::removed(*output);
        if (Access::mark(*node) == closedMark_) {
            continue;
        }
        if (Access::mark(*node) == openMark) {
            return Step::Circle;
        }
        isTold_ = isTold_ && Access::home(*node) == network_;
        if (!node->isDirty()) {
            // Another time it may be dirty.
            isTold_ = false;
        } else if (TraitsByte::of(*node).pure()) {
            source = node;
            return Step::Descend;
        }
        if (!takeWithoutSources(*node)) {
            return Step::Others;
        }
    }
    return Step::Done;
}

/// False when the sources of the node count.
bool PureWalk::takeWithoutSources(Node& node) {
    const bool pure = TraitsByte::of(node).pure();
    if (isFed(node)) {
        if (!pure || node.isDirty()) {
            return false;
        }
        feeders_.push_back(&node);
    }
    Access::mark(node) = closedMark_;
    if (pure) {
        append(node, static_cast<std::uint32_t>(order_.size()));
    } else {
        first_.push_back(&node);
    }
    return true;
}

bool PureWalk::feedersReadNothingHere() const {
    return std::none_of(feeders_.begin(), feeders_.end(), [this](const Node* feeder) {
        const PortRange inputs = Access::inputs(*feeder);
        return std::any_of(inputs.begin(), inputs.end(), [this](const Port* input) {
            if (input == nullptr || input->numConnections() == 0) {
                return false;
            }
            const Port* output = input->input();
            return output == nullptr || output->isInput() ||
                   (output->node() != nullptr && Access::mark(*output->node()) == closedMark_);
        });
    });
}

void PureWalk::append(Node& node, std::uint32_t begin) {
    order_.push_back(&node);
    begins_.push_back(begin);
    cost_ += static_cast<double>(Access::cost(node));
}

void PureWalk::compute(const ComputeData* data) {
    // Before anything is computed, since host nodes may do what they like with marks and places.
    plan();
    StageRun run(data, parts_);
    if (!first_.empty()) {
        std::sort(first_.begin(), first_.end(), std::less<>());
        firstStarts_.resize(first_.size() + 1);
        std::iota(firstStarts_.begin(), firstStarts_.end(), 0u);
        run.compute({first_.data(), firstStarts_.data(), first_.size()});
    }
    for (std::size_t stage = 0; stage + 1 < stages_.size(); ++stage) {
        run.compute({planned_->data(), starts_.data() + stages_[stage], stages_[stage + 1] - stages_[stage] - 1});
    }
    if (last_ != nullptr) {
        const std::uint32_t starts[] = {0, 1};
        run.compute({&last_, starts, 1});
    }
}

/// An order that may be taken again is worth more.
bool PureWalk::isWorthPlanning() const {
    const double planning = isTaken_ ? 0.0 : planCostPerNode * static_cast<double>(order_.size());
    return cost_ >= worthPlanning && cost_ / threadCount() + planning < 0.9 * cost_;
}

void PureWalk::plan() {
    if (planCost_ != 0.0 && cost_ > 0.5 * planCost_ && cost_ < 2.0 * planCost_) {
        return;
    }
    planned_ = &order_;
    starts_ = {0, static_cast<std::uint32_t>(order_.size())};
    stages_ = {0, 2};
    if (!isWorthPlanning()) {
        return;
    }
    planCost_ = cost_;
    rank();
    const double byLevel = expectedTime(levels_);
    const double bySegment = expectedTime(tiers_);
    if (std::min(byLevel, bySegment) > 0.9 * cost_) {
        return;
    }
    planned_ = &sorted_;
    sorted_.clear();
    starts_.clear();
    stages_.clear();
    if (byLevel < bySegment) {
        sortByLevel();
    } else {
        sortBySegment();
    }
}

/// Cuts the order into segments. What was found through one node hangs together.
void PureWalk::cut() {
    const auto count = static_cast<std::uint32_t>(order_.size());
    costBefore_.resize(count + 1);
    costBefore_[0] = 0.0;
    segments_.clear();
    std::uint32_t cutAt = 0;
    const auto cutBefore = [this, &cutAt](std::uint32_t end) {
        if (end != cutAt) {
            segments_.push_back({cutAt, end, 0, 0.0});
            cutAt = end;
        }
    };
    for (std::uint32_t i = 0; i < count; ++i) {
        costBefore_[i + 1] = costBefore_[i] + static_cast<double>(Access::cost(*order_[i]));
        const std::uint32_t begin = std::max(begins_[i], cutAt);
        if (costBefore_[i + 1] - costBefore_[begin] >= segmentCost) {
            cutBefore(begin);
            cutBefore(i + 1);
        }
    }
    cutBefore(count);
}

/// Finds the levels of the nodes and the tiers of the segments.
void PureWalk::rank() {
    cut();
    const auto count = static_cast<std::uint32_t>(order_.size());
    for (Node* node : first_) {
        Access::place(*node) = count;
    }
    placed_.resize(count);
    levels_.clear();
    for (std::uint32_t current = 0; current < segments_.size(); ++current) {
        Segment& segment = segments_[current];
        for (std::uint32_t i = segment.begin; i < segment.end; ++i) {
            Node& node = *order_[i];
            Access::place(node) = i;
            std::uint32_t level = 0;
            if (node.isDirty()) {
                for (const Port* input : Access::inputs(node)) {
                    Node* source = input != nullptr ? upstreamNode(*input) : nullptr;
                    const std::uint32_t place = source != nullptr ? Access::place(*source) : count;
                    if (place >= i) {
                        continue;
                    }
                    const Placed placed = placed_[place];
                    level = std::max(level, placed.level + 1);
                    if (placed.segment != current) {
                        segment.tier = std::max(segment.tier, segments_[placed.segment].tier + 1);
                    }
                }
            }
            placed_[i] = {current, level};
            const auto cost = static_cast<double>(Access::cost(node));
            segment.cost += cost;
            add(levels_, level, cost);
        }
    }
    tiers_.clear();
    for (const Segment& segment : segments_) {
        add(tiers_, segment.tier, segment.cost);
    }
}

void PureWalk::add(std::vector<Rank>& ranks, std::uint32_t index, double cost) {
    if (index >= ranks.size()) {
        ranks.resize(index + 1);
    }
    Rank& rank = ranks[index];
    ++rank.count;
    rank.cost += cost;
    rank.largest = std::max(rank.largest, cost);
}

double PureWalk::expectedTime(const std::vector<Rank>& ranks) {
    return std::accumulate(ranks.begin(), ranks.end(), 0.0, [](double time, const Rank& rank) {
        const double inLoop = std::max(rank.cost / threadCount(), rank.largest) + loopCost;
        return time + (rank.count == 1 ? rank.cost : std::min(rank.cost, inLoop));
    });
}

void PureWalk::sortByLevel() {
    // The count of a level becomes the place of its next node.
    std::size_t next = 0;
    for (Rank& level : levels_) {
        stages_.push_back(starts_.size());
        const std::size_t end = next + level.count;
        // What is not worth a loop needs no groups.
        const std::size_t step = level.cost < loopCost ? level.count : 1;
        for (std::size_t start = next; start < end; start += step) {
            starts_.push_back(static_cast<std::uint32_t>(start));
        }
        starts_.push_back(static_cast<std::uint32_t>(end));
        level.count = next;
        next = end;
    }
    stages_.push_back(starts_.size());
    sorted_.resize(order_.size());
    for (std::size_t i = 0; i < order_.size(); ++i) {
        sorted_[levels_[placed_[i].level].count++] = order_[i];
    }
}

void PureWalk::sortBySegment() {
    std::sort(segments_.begin(), segments_.end(), [](const Segment& a, const Segment& b) {
        return a.tier != b.tier ? a.tier < b.tier : a.begin < b.begin;
    });
    stages_.push_back(0);
    for (std::size_t i = 0; i < segments_.size(); ++i) {
        const Segment& segment = segments_[i];
        starts_.push_back(static_cast<std::uint32_t>(sorted_.size()));
        sorted_.insert(sorted_.end(), order_.begin() + segment.begin, order_.begin() + segment.end);
        if (i + 1 == segments_.size() || segments_[i + 1].tier != segment.tier) {
            starts_.push_back(static_cast<std::uint32_t>(sorted_.size()));
            stages_.push_back(starts_.size());
        }
    }
}

}  // namespace TessilGraph::internal
