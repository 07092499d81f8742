#include <TessilGraph/graph/internal/PureWalk.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/StageRun.h>
#include <TessilGraph/graph/internal/TraitsByte.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <numeric>

namespace TessilGraph::internal {

namespace {

// All times in nanoseconds.
constexpr double segmentCost = 16000.0;
constexpr double planCostPerNode = 30.0;
constexpr double worthPlanning = 40000.0;
constexpr double worthPlanningTiny = 200000.0;  // Values of tiny nodes take longer to another core than the nodes do.
constexpr unsigned int usesPerSum = 32;
constexpr unsigned int usesPerSumOfKernels = 256;
constexpr unsigned int patience = 4;
constexpr double tooLong = 1.5;  // Times as long as in turn.
constexpr double muchTooLong = 3.0;
constexpr unsigned int usesWithoutPlan = 256;
constexpr unsigned int firstTimeInTurn = 8;
constexpr double littleWork = 1e7;
constexpr double tinyNode = 500.0;  // What nodes take that are quicker is not known well.

}  // namespace

PureWalk::Found PureWalk::gather(Node& target, const NetworkState& network) {
    if (isCurrent(target, network)) {
        // What nodes take is looked at now and then; of kernels it hardly changes, and the nodes are cold.
        const bool areKernels = kernels_ != nullptr && kernels_->hasKernelsOnly();
        if (uses_++ % (areKernels ? usesPerSumOfKernels : usesPerSum) == 0) {
            sumUp();
        }
        return Found::PureNodes;
    }
    uses_ = 0;
    kernels_.reset();
    network_ = &network;
    wiring_ = network.wiring.load(std::memory_order_relaxed);
    isTold_ = Access::home(target) == network_;
    target_ = nullptr;
    const Found found = gatherAnew(target);
    if (found == Found::PureNodes && isTold_) {
        target_ = &target;
    }
    return found;
}

bool PureWalk::isCurrent(const Node& target, const NetworkState& network) {
    if (&target != target_ || &network != network_ || network.wiring.load(std::memory_order_relaxed) != wiring_) {
        return false;
    }
    if (kernels_ != nullptr && !kernels_->isCurrent()) {
        kernels_.reset();
    }
    return areAllDirty();
}

bool PureWalk::areAllDirty() const {
    const auto areDirty = [](const std::vector<Node*>& nodes) {
        return std::all_of(nodes.begin(), nodes.end(), [](const Node* node) { return node->isDirty(); });
    };
    return areDirty(first_) && (kernels_ != nullptr ? kernels_->areAllDirty() : areDirty(order_));
}

void PureWalk::sumUp() {
    cost_ = std::accumulate(order_.begin(), order_.end(), 0.0,
                            [](double cost, Node* node) { return cost + static_cast<double>(Access::cost(*node)); });
}

PureWalk::Found PureWalk::gatherAnew(Node& target) {
    order_.clear();
    first_.clear();
    feeders_.clear();
    last_ = nullptr;
    cost_ = 0.0;
    planCost_ = 0.0;
    planFrom_ = 0;
    timeInTurn_ = 0.0;
    inTurnAt_ = firstTimeInTurn;
    inTurnStep_ = firstTimeInTurn;
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
        isTold_ = isTold_ && !Access::inputList(*open.node).isOpen() && !Access::connectionList(*input).isOpen() &&
                  !Access::isLoose(*input) && input->node() == open.node;
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
        isTold_ = isTold_ && !Access::isLoose(*output);
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
    try {
        plan();
    } catch (...) {
        target_ = nullptr;  // Half a plan is none.
        planned_ = nullptr;
        throw;
    }
    findKernels();
    StageRun run(data, parts_);
    if (!first_.empty()) {
        std::sort(first_.begin(), first_.end(), std::less<>());
        firstStarts_.resize(first_.size() + 1);
        std::iota(firstStarts_.begin(), firstStarts_.end(), 0u);
        run.compute({first_.data(), firstStarts_.data(), first_.size()});
    }
    if (kernels_ != nullptr && !kernels_->isCurrent()) {
        // A host node among the first ones has changed the wiring.
        kernels_.reset();
    }
    if (kernels_ != nullptr) {
        kernels_->noteRun();
    }
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t stage = 0; stage + 1 < stages_.size(); ++stage) {
        const std::size_t groups = stages_[stage + 1] - stages_[stage] - 1;
        run.computeAsPlanned({planned_->data(), starts_.data() + stages_[stage], groups}, kernels_.get());
    }
    const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
    if (planned_ == &sorted_) {
        judge(elapsed.count());
    } else if (kernels_ != nullptr || uses_ > 1) {
        noteTimeInTurn(elapsed.count());
    }
    if (last_ != nullptr) {
        const std::uint32_t starts[] = {0, 1};
        run.compute({&last_, starts, 1});
    }
}

/// A plan that may be used again costs nothing.
bool PureWalk::isWorthPlanning() const {
    const double cost = cost_ * scale_;
    const double planning = uses_ != 0 ? 0.0 : planCostPerNode * static_cast<double>(order_.size());
    return cost >= (areTiny() ? worthPlanningTiny : worthPlanning) && cost / threadCount() + planning < 0.9 * cost;
}

/// Tiny nodes seem dearer one by one than they are together, where their values stay in one cache; how much, a walk
/// in turn shows. Without one there is no plan for them.
bool PureWalk::findScale() {
    scale_ = timeInTurn_ != 0.0 && timeInTurn_ < cost_ ? timeInTurn_ / cost_ : 1.0;
    return timeInTurn_ != 0.0 || !areTiny();
}

bool PureWalk::areTiny() const {
    return cost_ < tinyNode * static_cast<double>(order_.size());
}

void PureWalk::plan() {
    if (planned_ == &sorted_ && uses_ >= inTurnAt_ && cost_ * scale_ < littleWork) {
        inTurnStep_ = std::min(2 * inTurnStep_, usesWithoutPlan);
        inTurnAt_ = uses_ + inTurnStep_;
        takeAsItStands();
        return;
    }
    if (planCost_ != 0.0 && cost_ > 0.5 * planCost_ && cost_ < 2.0 * planCost_) {
        return;
    }
    if (planCost_ != 0.0) {
        timeInTurn_ = 0.0;
    }
    takeAsItStands();
    if (uses_ < planFrom_ || !findScale() || !isWorthPlanning()) {
        return;
    }
    planCost_ = cost_;
    failedUses_ = 0;
    rank();
    const double byLevel = expectedTime(levels_);
    const double bySegment = expectedTime(tiers_);
    if (std::min(byLevel, bySegment) > 0.9 * cost_ * scale_) {
        return;
    }
    planned_ = &sorted_;
    kernels_.reset();
    sorted_.clear();
    starts_.clear();
    stages_.clear();
    if (byLevel < bySegment) {
        sortByLevel();
    } else {
        sortBySegment();
    }
}

void PureWalk::takeAsItStands() {
    if (planned_ == &sorted_) {
        kernels_.reset();
    }
    planned_ = &order_;
    starts_ = {0, static_cast<std::uint32_t>(order_.size())};
    stages_ = {0, 2};
    planCost_ = 0.0;
}

/// Nodes that were measured on several threads seem dearer than they are on one, where their values stay in
/// one cache; so little work is done in turn now and then, to know what that takes.
void PureWalk::noteTimeInTurn(double elapsed) {
    const bool isShortest = timeInTurn_ == 0.0 || elapsed < timeInTurn_;
    timeInTurn_ = isShortest ? elapsed : timeInTurn_ + 0.25 * (elapsed - timeInTurn_);
}

/// Threads may be busy elsewhere, and a loop then waits for them. Where that goes on, it is better to do
/// without them for a while.
void PureWalk::judge(double elapsed) {
    const double inTurn = timeInTurn_ != 0.0 ? std::min(planCost_, timeInTurn_) : planCost_;
    if (elapsed < inTurn) {
        failedUses_ -= failedUses_ != 0 ? 1 : 0;
        return;
    }
    ++failedUses_;
    if (elapsed > muchTooLong * inTurn) {
        failedUses_ = patience;
    } else if (elapsed > tooLong * inTurn) {
        ++failedUses_;
    }
    if (failedUses_ >= patience) {
        takeAsItStands();
        planFrom_ = uses_ + usesWithoutPlan;
    }
}

void PureWalk::findKernels() {
    if (uses_ != 0 && kernels_ == nullptr) {
        kernels_ = OrderPlan::make(*planned_, *network_);
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

double PureWalk::expectedTime(const std::vector<Rank>& ranks) const {
    return std::accumulate(ranks.begin(), ranks.end(), 0.0, [this](double time, const Rank& rank) {
        const double cost = rank.cost * scale_;
        const double inLoop = std::max(cost / threadCount(), rank.largest * scale_) + loopCost;
        return time + (rank.count == 1 ? cost : std::min(cost, inLoop));
    });
}

bool PureWalk::isWorthALoop(const Rank& rank) const {
    return rank.cost * scale_ >= static_cast<double>(worthALoop);
}

void PureWalk::sortByLevel() {
    // The count of a level becomes the place of its next node.
    std::size_t end = 0;
    for (Rank& level : levels_) {
        end += level.count;
        level.count = end - level.count;
    }
    sorted_.resize(order_.size());
    for (std::size_t i = 0; i < order_.size(); ++i) {
        sorted_[levels_[placed_[i].level].count++] = order_[i];
    }
    std::uint32_t place = 0;
    for (const Rank& level : levels_) {
        stages_.push_back(starts_.size());
        const auto total = static_cast<float>(level.cost);
        const float enough = partCost(total);
        starts_.push_back(place);
        for (float cost = 0.0f; place < level.count; ++place) {
            if (cost >= enough && isWorthALoop(level)) {
                starts_.push_back(place);
                cost = 0.0f;
            }
            cost += Access::cost(*sorted_[place]);
        }
        starts_.push_back(place);
    }
    stages_.push_back(starts_.size());
}

void PureWalk::sortBySegment() {
    std::sort(segments_.begin(), segments_.end(), [](const Segment& a, const Segment& b) {
        return a.tier != b.tier ? a.tier < b.tier : a.begin < b.begin;
    });
    for (std::size_t i = 0; i < segments_.size(); ++i) {
        const Segment& segment = segments_[i];
        const bool opensTier = i == 0 || segments_[i - 1].tier != segment.tier;
        if (opensTier) {
            stages_.push_back(starts_.size());
        }
        if (opensTier || isWorthALoop(tiers_[segment.tier])) {
            starts_.push_back(static_cast<std::uint32_t>(sorted_.size()));
        }
        sorted_.insert(sorted_.end(), order_.begin() + segment.begin, order_.begin() + segment.end);
        if (i + 1 == segments_.size() || segments_[i + 1].tier != segment.tier) {
            starts_.push_back(static_cast<std::uint32_t>(sorted_.size()));
        }
    }
    stages_.push_back(starts_.size());
}

}  // namespace TessilGraph::internal
