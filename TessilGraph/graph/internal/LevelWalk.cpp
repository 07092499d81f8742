#include <TessilGraph/graph/internal/LevelWalk.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/EvaluationOrder.h>
#include <TessilGraph/graph/internal/Lease.h>
#include <TessilGraph/graph/internal/LevelGroups.h>
#include <TessilGraph/graph/internal/PureWalk.h>
#include <TessilGraph/graph/internal/StageRun.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace TessilGraph::internal {

namespace {

void insertOnce(std::vector<Node*>& level, Node& node, std::uint64_t& markOfNode, std::uint64_t levelMark) {
    if (markOfNode != levelMark) {
        markOfNode = levelMark;
        level.push_back(&node);
    }
}

/// The levels of one walk, and its working memory.
class Levels {
public:
    /// False when links run in a circle.
    bool gather(Node& target);
    void compute(const ComputeData* data);

    std::size_t size() const { return nodes_.size(); }
    std::size_t capacity() const { return nodes_.capacity() + starts_.capacity(); }

private:
    /// Appends the level that feeds the one that starts at `begin`. False at a link whose labels don't
    /// grow, where `labelled` says that they should.
    bool appendNext(std::size_t begin, bool labelled);

    bool gather(Node& target, bool labelled);

    // The nodes of all levels, nearest first; the last level holds those that nothing feeds.
    std::vector<Node*> nodes_;
    std::vector<std::size_t> levels_;  ///< Where each level starts among the nodes, and where the last one ends.
    std::vector<Node*> leaves_;
    std::uint64_t leavesMark_ = 0;

    // The same in groups.
    std::vector<std::uint32_t> starts_;
    std::vector<std::size_t> groups_;  ///< Where each level starts among the groups.
    LevelGroups arranging_;
    std::vector<std::uint32_t> parts_;
};

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

bool Levels::appendNext(std::size_t begin, bool labelled) {
    const std::size_t end = nodes_.size();
    const std::uint64_t nextMark = nextStamp();
    for (std::size_t i = begin; i != end; ++i) {
        Node& node = *nodes_[i];
        if (!node.isDirty()) {
            continue;
        }
        const auto& inputs = Access::inputs(node);
        if (inputs.size() == 0) {
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

void Levels::compute(const ComputeData* data) {
    starts_.clear();
    groups_.clear();
    for (std::size_t level = levels_.size() - 1; level != 0; --level) {
        groups_.push_back(starts_.size());
        arranging_.arrange(nodes_, levels_[level - 1], levels_[level], starts_);
        starts_.push_back(static_cast<std::uint32_t>(levels_[level]));
    }
    groups_.push_back(starts_.size());

    // From here on nodes are computed, and may do what they like with marks.
    StageRun run(data, parts_);
    for (std::size_t level = 0; level + 1 < groups_.size(); ++level) {
        run.compute({nodes_.data(), starts_.data() + groups_[level], groups_[level + 1] - groups_[level] - 1});
    }
}

}  // namespace

bool computeInLevels(Node& target, const ComputeData* data) {
    {
        const Lease<PureWalk> walk;
        switch (walk->gather(target)) {
            case PureWalk::Found::Circle:
                return false;
            case PureWalk::Found::PureNodes:
                walk->compute(data);
                return true;
            case PureWalk::Found::Others:
                break;
        }
    }
    const Lease<Levels> levels;
    if (!levels->gather(target)) {
        return false;
    }
    levels->compute(data);
    return true;
}

}  // namespace TessilGraph::internal
