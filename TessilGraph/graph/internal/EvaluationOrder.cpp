#include <TessilGraph/graph/internal/EvaluationOrder.h>

#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/Access.h>

#include <TessilUtils/Logger.h>

#include <optional>
#include <string_view>
#include <unordered_set>

namespace TessilGraph::internal {

namespace {

/// Tells nodes apart by marks. Gives up when it meets a node of another home than the one named.
class ByMarks {
public:
    explicit ByMarks(const NetworkState* home) : home_(home) {}

    bool knows(Node& node) const { return home_ == nullptr || Access::home(node) == home_; }
    void startRound() { round_ = nextStamp(); }
    bool isDone(Node& node) const { return Access::mark(node) == done_; }
    void setDone(Node& node) { Access::mark(node) = done_; }
    bool pushNow(Node& node) {
        const bool first = Access::secondMark(node) != round_;
        Access::secondMark(node) = round_;
        return first;
    }
    bool isOpen(Node& node) const { return Access::mark(node) == open_; }
    void setOpen(Node& node) { Access::mark(node) = open_; }
    bool isClosed(Node& node) const { return isDone(node); }

private:
    const NetworkState* home_;
    const std::uint64_t done_ = nextStamp();
    const std::uint64_t open_ = nextStamp();
    std::uint64_t round_ = 0;
};

/// Tells nodes apart by names, wherever they come from.
class ByNames {
public:
    static bool knows(Node&) { return true; }
    void startRound() { pushedNow_.clear(); }
    bool isDone(Node& node) const { return done_.count(Access::name(node)) != 0; }
    void setDone(Node& node) {
        done_.insert(Access::name(node));
        Access::mark(node) = closed_;
    }
    bool pushNow(Node& node) { return pushedNow_.insert(Access::name(node)).second; }
    bool isOpen(Node& node) const { return Access::mark(node) == open_; }
    void setOpen(Node& node) { Access::mark(node) = open_; }
    bool isClosed(Node& node) const { return Access::mark(node) == closed_; }

private:
    const std::uint64_t open_ = nextStamp();
    const std::uint64_t closed_ = nextStamp();
    std::unordered_set<std::string_view> done_;
    std::unordered_set<std::string_view> pushedNow_;
};

/// No value when `visits` met a node that it doesn't know.
template <class Visits>
std::optional<EvaluationOrder> walkUpstream(Node& target, Gather gather, Visits visits) {
    EvaluationOrder order;
    std::vector<Node*> stack{&target};
    while (!stack.empty()) {
        Node& top = *stack.back();
        if (!visits.knows(top)) {
            return std::nullopt;
        }
        if (visits.isClosed(top)) {
            // It was waiting in two places; nothing that feeds it is left to do.
            order.nodes.push_back(&top);
            stack.pop_back();
            continue;
        }
        const std::size_t waiting = stack.size();
        visits.startRound();
        visits.setOpen(top);
        for (const Port* input : Access::inputs(top)) {
            Node* upstream = input != nullptr ? upstreamNode(*input) : nullptr;
            if (upstream == nullptr || (gather == Gather::Dirty && !upstream->isDirty()) || visits.isDone(*upstream)) {
                continue;
            }
            if (visits.isOpen(*upstream)) {
                // It waits for this very node.
                order.cyclic = true;
            } else if (visits.pushNow(*upstream)) {
                stack.push_back(upstream);
            }
        }
        if (stack.size() == waiting) {
            if (gather == Gather::All || top.isDirty()) {
                order.nodes.push_back(&top);
            }
            visits.setDone(top);
            stack.pop_back();
        }
    }
    return order;
}

}  // namespace

EvaluationOrder upstreamOrder(Node& target, Gather gather, const NodeSet& home) {
    std::optional<EvaluationOrder> order = walkUpstream(target, gather, ByMarks(home.state().get()));
    return order ? std::move(*order) : *walkUpstream(target, gather, ByNames());
}

bool runsInACircle(Node& target) {
    return walkUpstream(target, Gather::Dirty, ByMarks(nullptr))->cyclic;
}

void logCycle() {
    TessilUtils::Logger::error() << "Cycle detected! each of its nodes is computed at most once";
}

void computeInOrder(const std::vector<Node*>& order, const ComputeData* data) {
    for (Node* node : order) {
        node->setProfileTime(0);
        if (node->isDirty()) {
            node->compute(data);
            node->setDirty(false);
        }
    }
}

}  // namespace TessilGraph::internal
