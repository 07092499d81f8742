#include <TessilGraph/graph/internal/LevelWalk.h>

#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/EvaluationOrder.h>
#include <TessilGraph/graph/internal/EvaluationUnderWay.h>
#include <TessilGraph/graph/internal/NetworkState.h>
#include <TessilGraph/graph/internal/StageRun.h>
#include <TessilGraph/graph/internal/WalkPlan.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace TessilGraph::internal {

namespace {

void insertOnce(std::vector<Node*>& level, Node& node, std::uint64_t& markOfNode, std::uint64_t levelMark) {
    if (markOfNode != levelMark) {
        markOfNode = levelMark;
        level.push_back(&node);
    }
}

/// Takes what a network keeps for its level walks. A walk that starts while another one is at it, from
/// within a node's compute, gets its own.
class Lease {
public:
    explicit Lease(NetworkState& network)
        : network_(network),
          walks_(network.levelWalks ? std::move(network.levelWalks) : std::make_unique<LevelWalks>()) {}
    ~Lease() { network_.levelWalks = std::move(walks_); }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    LevelWalks* operator->() const { return walks_.get(); }

private:
    NetworkState& network_;
    std::unique_ptr<LevelWalks> walks_;
};

/// Says to other networks, of which a walk meets nodes, that these may be at work.
class EvaluationsElsewhere {
public:
    EvaluationsElsewhere(const std::vector<Node*>& nodes, const NetworkState& network) {
        const NetworkState* last = &network;
        for (Node* node : nodes) {
            NetworkState* home = Access::home(*node);
            if (home != nullptr && home != &network && home != last) {
                networks_.try_emplace(home, *home);
                last = home;
            }
        }
    }

private:
    std::map<NetworkState*, EvaluationUnderWay> networks_;
};

}  // namespace

bool Levels::gather(Node& target) {
    // Where labels grow along every link, none of them closes a circle.
    return gather(target, true) || (!runsInACircle(target) && gather(target, false));
}

bool Levels::gather(Node& target, bool labelled) {
    nodes_.assign(1, &target);
    levels_.assign(1, 0);
    leaves_.clear();
    leavesMark_ = nextStamp();
    for (std::size_t begin = 0; begin != nodes_.size();) {
        levels_.push_back(nodes_.size());
        if (!appendNext(begin, labelled)) {
            return false;
        }
        begin = levels_.back();
    }
    nodes_.insert(nodes_.end(), leaves_.begin(), leaves_.end());
    levels_.push_back(nodes_.size());
    return true;
}

/// Appends the level that feeds the one that starts at `begin`. False at a link whose labels don't
/// grow, where `labelled` says that they should.
bool Levels::appendNext(std::size_t begin, bool labelled) {
    const std::size_t end = nodes_.size();
    const std::uint64_t nextMark = nextStamp();
    for (std::size_t i = begin; i != end; ++i) {
        Node& node = *nodes_[i];
        if (!node.isDirty()) {
            continue;
        }
        const PortRange inputs = Access::inputs(node);
        if (inputs.empty()) {
            insertOnce(leaves_, node, Access::secondMark(node), leavesMark_);
        }
        for (const Port* input : inputs) {
            Node* upstream = input != nullptr ? upstreamNode(*input) : nullptr;
            if (upstream == nullptr) {
                continue;
            }
            if (labelled && Access::label(*upstream) >= Access::label(node)) {
                return false;
            }
            if (isFed(*upstream)) {
                insertOnce(nodes_, *upstream, Access::mark(*upstream), nextMark);
            } else {
                insertOnce(leaves_, *upstream, Access::secondMark(*upstream), leavesMark_);
            }
        }
    }
    return true;
}

void Levels::compute(const NetworkState& network, const ComputeData* data) {
    starts_.clear();
    groups_.clear();
    for (std::size_t level = levels_.size() - 1; level != 0; --level) {
        groups_.push_back(starts_.size());
        arranging_.arrange(nodes_, levels_[level - 1], levels_[level], starts_);
        starts_.push_back(static_cast<std::uint32_t>(levels_[level]));
    }
    groups_.push_back(starts_.size());

    // From here on nodes are computed, and may do what they like with marks.
    const EvaluationsElsewhere elsewhere(nodes_, network);
    StageRun run(data, parts_);
    for (std::size_t level = 0; level + 1 < groups_.size(); ++level) {
        run.compute({nodes_.data(), starts_.data() + groups_[level], groups_[level + 1] - groups_[level] - 1});
    }
}

namespace {

/// A walk of few nodes, by the plan for these if there is one. False, with nothing computed, if not.
bool computeFew(Node& target, NetworkState& network) {
    if (!computeFewOfLevelsByPlan(target, network)) {
        return false;
    }
    noteMarksWalked(network);
    return true;
}

void computePure(PureWalk& walk, NetworkState& network, bool few, const ComputeData* data) {
    const std::size_t count = walk.size();
    walk.compute(data);
    // A few marks may have made all of it dirty, and the plan that a walk gets is for few nodes.
    if (few && areFew(count, network)) {
        noteWalked(network, count);
    }
    noteMarksWalked(network);
}

}  // namespace

bool computeInLevels(Node& target, NetworkState& network, const ComputeData* data) {
    const bool few = Access::home(target) == &network && fewWereMarked(network);
    if (few && computeFew(target, network)) {
        return true;
    }
    const Lease walks(network);
    switch (walks->pure.gather(target, network)) {
        case PureWalk::Found::Circle:
            return false;
        case PureWalk::Found::PureNodes:
            computePure(walks->pure, network, few, data);
            return true;
        case PureWalk::Found::Others:
            break;
    }
    if (!walks->levels.gather(target)) {
        return false;
    }
    walks->levels.compute(network, data);
    return true;
}

}  // namespace TessilGraph::internal
