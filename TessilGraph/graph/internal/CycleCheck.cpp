#include <TessilGraph/graph/internal/CycleCheck.h>

#include <TessilGraph/graph/internal/Access.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <utility>
#include <vector>

namespace TessilGraph::internal {

namespace {

constexpr std::uint64_t roomBetweenNodes = std::uint64_t(1) << 20;
constexpr std::uint64_t roomBetweenMoved = std::uint64_t(1) << 10;
constexpr std::uint64_t noLabel = std::numeric_limits<std::uint64_t>::max();

std::atomic<std::uint64_t> lastLabel{0};

std::uint64_t takeLabels(std::uint64_t room) {
    return lastLabel.fetch_add(room, std::memory_order_relaxed);
}

void sortByLabel(std::vector<Node*>& nodes) {
    std::sort(nodes.begin(), nodes.end(), [](Node* a, Node* b) { return Access::label(*a) < Access::label(*b); });
}

/// Calls `visit` with every node that an output of `node` lists an input of.
template <class Visit>
void forEachDownstream(const Node& node, Visit visit) {
    for (const Port* output : Access::outputs(node)) {
        if (output == nullptr) {
            continue;
        }
        for (const Port* peer : Access::connections(*output)) {
            if (peer != nullptr && peer->node() != nullptr) {
                visit(*peer->node());
            }
        }
    }
}

/// `start` and everything downstream of it, with `stop` left out.
struct Downstream {
    std::vector<Node*> nodes;
    bool metStop = false;

    Downstream(Node& start, const Node& stop) {
        const std::uint64_t walk = nextStamp();
        Access::mark(start) = walk;
        nodes.push_back(&start);
        for (std::size_t next = 0; next < nodes.size() && !metStop; ++next) {
            forEachDownstream(*nodes[next], [&](Node& node) {
                if (&node == &stop) {
                    metStop = true;
                } else if (Access::mark(node) != walk) {
                    Access::mark(node) = walk;
                    nodes.push_back(&node);
                }
            });
        }
    }
};

/// Gives nodes labels above all others, in the order of those they have. Right for any set that
/// holds with a node everything downstream of it.
void moveToEnd(std::vector<Node*> nodes) {
    sortByLabel(nodes);
    std::uint64_t label = takeLabels((nodes.size() + 1) * roomBetweenMoved);
    for (Node* node : nodes) {
        Access::label(*node) = label += roomBetweenMoved;
    }
}

class BoundedSearch {
public:
    BoundedSearch(Node& upstream, Node& downstream)
        : upstream_(upstream),
          downstream_(downstream),
          top_(Access::label(upstream)),
          bottom_(Access::label(downstream)) {}

    /// False for a cycle; otherwise the labels are in order afterwards.
    bool run() {
        Access::mark(downstream_) = forwardMark_;
        forward_.push_back(&downstream_);
        Access::mark(upstream_) = backwardMark_;
        backward_.push_back(&upstream_);

        while (!met_) {
            if (forwardDone_ == forward_.size()) {
                return moveForwardPart();
            }
            const bool backwardEnded = backwardDone_ == backward_.size();
            if (backwardEnded && backwardComplete_) {
                return moveBackwardPart();
            }
            if (backwardEnded || forwardCost_ <= backwardCost_) {
                stepForward();
            } else {
                stepBackward();
            }
        }
        return false;
    }

private:
    void stepForward() {
        const Node& node = *forward_[forwardDone_++];
        ++forwardCost_;
        forEachDownstream(node, [this](Node& next) {
            ++forwardCost_;
            if (Access::mark(next) == backwardMark_) {
                met_ = true;
            } else if (Access::label(next) > top_) {
                above_ = std::min(above_, Access::label(next));
            } else if (Access::mark(next) != forwardMark_) {
                Access::mark(next) = forwardMark_;
                forward_.push_back(&next);
            }
        });
    }

    void stepBackward() {
        Node& node = *backward_[backwardDone_++];
        ++backwardCost_;
        backwardComplete_ = backwardComplete_ && !Access::inputsElsewhere(node);
        for (Port* input : Access::inputs(node)) {
            if (input == nullptr) {
                continue;
            }
            ++backwardCost_;
            if (Access::lost(*input) != nullptr || Access::lostMany(*input)) {
                // An output that this input doesn't know of may list it.
                backwardComplete_ = false;
            }
            for (Port* source : Access::connections(*input)) {
                if (source == nullptr || source->node() == nullptr || !leadsDown(*source, *input)) {
                    continue;
                }
                visitBackward(*source->node());
            }
        }
    }

    void visitBackward(Node& next) {
        if (Access::mark(next) == forwardMark_) {
            met_ = true;
        } else if (Access::label(next) < bottom_) {
            below_ = std::max(below_, Access::label(next));
        } else if (Access::mark(next) != backwardMark_) {
            Access::mark(next) = backwardMark_;
            backward_.push_back(&next);
        }
    }

    /// Whether a walk along outputs takes the link that `input` lists.
    static bool leadsDown(Port& source, Port& input) {
        return source.isOutput() && !Access::removed(source) && Access::stamp(input) > Access::stamp(source);
    }

    /// Puts what lies downstream right behind the upstream node.
    bool moveForwardPart() {
        const std::uint64_t room = above_ == noLabel ? noLabel : above_ - top_ - 1;
        if (above_ == noLabel) {
            // Nothing stands above: the end of the order is free.
            moveToEnd(std::move(forward_));
        } else if (room >= forward_.size()) {
            const std::uint64_t step = std::min<std::uint64_t>(roomBetweenMoved, room / forward_.size());
            sortByLabel(forward_);
            std::uint64_t label = top_;
            for (Node* node : forward_) {
                Access::label(*node) = label += step;
            }
        } else {
            moveEverythingDownstream();
        }
        return true;
    }

    /// Puts what lies upstream right before the downstream node.
    bool moveBackwardPart() {
        const std::uint64_t room = bottom_ - below_ - 1;
        if (room >= backward_.size()) {
            const std::uint64_t step = std::min<std::uint64_t>(roomBetweenMoved, room / backward_.size());
            sortByLabel(backward_);
            std::uint64_t label = bottom_ - step * (backward_.size() + 1);
            for (Node* node : backward_) {
                Access::label(*node) = label += step;
            }
        } else {
            moveEverythingDownstream();
        }
        return true;
    }

    void moveEverythingDownstream() { moveToEnd(Downstream(downstream_, upstream_).nodes); }

    Node& upstream_;
    Node& downstream_;
    const std::uint64_t top_;
    const std::uint64_t bottom_;
    const std::uint64_t forwardMark_ = nextStamp();
    const std::uint64_t backwardMark_ = nextStamp();

    std::vector<Node*> forward_;
    std::vector<Node*> backward_;
    std::size_t forwardDone_ = 0;
    std::size_t backwardDone_ = 0;
    std::size_t forwardCost_ = 0;
    std::size_t backwardCost_ = 0;
    std::uint64_t above_ = noLabel;  ///< The least label beyond the forward part.
    std::uint64_t below_ = 0;        ///< The greatest label beyond the backward part.
    bool backwardComplete_ = true;   ///< The backward part lacks no node that feeds it.
    bool met_ = false;
};

}  // namespace

std::uint64_t newLabel() {
    return takeLabels(roomBetweenNodes) + roomBetweenNodes;
}

bool admitsLink(Node& upstream, Node& downstream, bool ordered) {
    if (ordered) {
        return Access::label(upstream) < Access::label(downstream) || BoundedSearch(upstream, downstream).run();
    }
    Downstream reached(downstream, upstream);
    if (reached.metStop) {
        return false;
    }
    if (Access::label(upstream) >= Access::label(downstream)) {
        moveToEnd(std::move(reached.nodes));
    }
    return true;
}

}  // namespace TessilGraph::internal
