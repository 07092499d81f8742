#include <TessilGraph/graph/internal/CycleCheck.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/SmallStack.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <vector>

namespace TessilGraph::internal {

namespace {

constexpr std::uint64_t roomBetweenMoved = std::uint64_t(1) << 20;
constexpr std::uint64_t noLabel = std::numeric_limits<std::uint64_t>::max();

/// Starts high: networks that are wired back to front grow towards lower labels.
std::atomic<std::uint64_t> lastLabel{std::uint64_t(1) << 62};

std::uint64_t takeLabels(std::uint64_t room) {
    return lastLabel.fetch_add(room, std::memory_order_relaxed);
}

template <class Nodes>
void sortByLabel(Nodes& nodes) {
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
template <class Nodes>
void moveToEnd(Nodes& nodes) {
    sortByLabel(nodes);
    std::uint64_t label = takeLabels((nodes.size() + 1) * roomBetweenNodes);
    for (Node* node : nodes) {
        Access::label(*node) = label += roomBetweenNodes;
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
        forward_.push(&downstream_);
        Access::mark(upstream_) = backwardMark_;
        backward_.push(&upstream_);

        // Link by link in turn, so that the cost is that of the smaller side.
        while (!met_ && !forwardEnded() && !(backwardEnded() && backwardComplete_)) {
            stepForward();
            if (!met_ && !backwardEnded()) {
                stepBackward();
            }
        }
        if (met_) {
            return false;
        }
        // One side is known, and with it that there is no cycle. Where it finds no room, the other may.
        const bool moved =
            forwardEnded() ? moveForwardPart() || moveBackwardPart() : moveBackwardPart() || moveForwardPart();
        if (!moved) {
            Downstream beyond(downstream_, upstream_);
            moveToEnd(beyond.nodes);
        }
        return true;
    }

private:
    using Side = SmallStack<Node*, 64>;

    /// How far a side has come: which of its nodes, which port of that, which link of that.
    struct Cursor {
        std::size_t node = 0;
        std::size_t port = 0;
        std::size_t link = 0;

        /// The next link, or null for a step from port to port or from node to node.
        Port* next(PortRange ports) {
            if (port == ports.size()) {
                *this = {node + 1, 0, 0};
                return nullptr;
            }
            if (ports[port] == nullptr || link == Access::connections(*ports[port]).size()) {
                *this = {node, port + 1, 0};
                return nullptr;
            }
            return Access::connections(*ports[port])[link++];
        }
    };

    void stepForward() {
        const Port* peer = down_.next(Access::outputs(*forward_[down_.node]));
        if (peer == nullptr || peer->node() == nullptr) {
            return;
        }
        Node& next = *peer->node();
        if (Access::mark(next) == backwardMark_) {
            met_ = true;
        } else if (Access::label(next) > top_) {
            above_ = std::min(above_, Access::label(next));
        } else if (Access::mark(next) != forwardMark_) {
            Access::mark(next) = forwardMark_;
            forward_.push(&next);
        }
    }

    void stepBackward() {
        Node& node = *backward_[up_.node];
        const PortRange inputs = Access::inputs(node);
        if (up_.port == 0 && up_.link == 0 && Access::hasInputsElsewhere(node)) {
            backwardComplete_ = false;
        }
        Port* input = up_.port < inputs.size() ? inputs[up_.port] : nullptr;
        if (input != nullptr && Access::hasLost(*input)) {
            // An output that this input doesn't know of may list it.
            backwardComplete_ = false;
        }
        Port* source = up_.next(inputs);
        if (source != nullptr && source->node() != nullptr && leadsDown(*source, *input)) {
            visitBackward(*source->node());
        }
    }

    void visitBackward(Node& next) {
        if (Access::mark(next) == forwardMark_) {
            met_ = true;
        } else if (Access::label(next) < bottom_) {
            below_ = std::max(below_, Access::label(next));
        } else if (Access::mark(next) != backwardMark_) {
            Access::mark(next) = backwardMark_;
            backward_.push(&next);
        }
    }

    /// Whether a walk along outputs takes the link that `input` lists.
    static bool leadsDown(Port& source, Port& input) {
        if (source.isInput() || Access::isLoose(source)) {
            return false;
        }
        if (Access::lostMany(input)) {
            // Epochs speak for inputs with one source, which lists them.
            return lists(source, input);
        }
        return Access::epoch(input) == Access::epoch(source);
    }

    bool forwardEnded() const { return down_.node == forward_.size(); }
    bool backwardEnded() const { return up_.node == backward_.size(); }

    /// Puts what lies downstream right behind the upstream node; false if there is no room.
    bool moveForwardPart() {
        while (!forwardEnded()) {
            stepForward();
        }
        if (above_ == noLabel) {
            moveToEnd(forward_);
            return true;
        }
        const std::uint64_t step = stepWithin(above_ - top_, forward_.size());
        return step != 0 && moveTo(top_ + step, step, forward_);
    }

    /// Puts what lies upstream right before the downstream node; false if there is no room, or if
    /// something may lead there that nobody knows.
    bool moveBackwardPart() {
        while (!backwardEnded()) {
            stepBackward();
        }
        const std::uint64_t step = stepWithin(bottom_ - below_, backward_.size());
        return backwardComplete_ && step != 0 && moveTo(bottom_ - step * backward_.size(), step, backward_);
    }

    /// The distance of labels that fits so many nodes into a gap, 0 if none does. Wide gaps are not
    /// used up at once: others will want to stand there too.
    static std::uint64_t stepWithin(std::uint64_t gap, std::size_t nodes) {
        return std::min(roomBetweenMoved, gap / (nodes + 1));
    }

    static bool moveTo(std::uint64_t label, std::uint64_t step, Side& nodes) {
        sortByLabel(nodes);
        for (Node* node : nodes) {
            Access::label(*node) = label;
            label += step;
        }
        return true;
    }

    Node& upstream_;
    Node& downstream_;
    const std::uint64_t top_;
    const std::uint64_t bottom_;
    const std::uint64_t forwardMark_ = nextStamp();
    const std::uint64_t backwardMark_ = nextStamp();

    Side forward_;
    Side backward_;
    Cursor down_;
    Cursor up_;
    std::uint64_t above_ = noLabel;  ///< The least label beyond the forward part.
    std::uint64_t below_ = 0;        ///< The greatest label beyond the backward part.
    bool backwardComplete_ = true;   ///< The backward part lacks no node that feeds it.
    bool met_ = false;
};

}  // namespace

std::uint64_t newLabel() {
    return newLabels(1);
}

std::uint64_t newLabels(std::size_t count) {
    return takeLabels(count * roomBetweenNodes) + roomBetweenNodes;
}

bool admitsLink(Node& upstream, Node& downstream, bool ordered) {
    if (ordered) {
        return Access::label(upstream) < Access::label(downstream) || BoundedSearch(upstream, downstream).run();
    }
    Downstream reached(downstream, upstream);
    if (!reached.metStop && Access::label(upstream) >= Access::label(downstream)) {
        moveToEnd(reached.nodes);
    }
    return !reached.metStop;
}

bool bringInOrder(Node& upstream, Node& downstream) {
    return &upstream != &downstream &&
           (Access::label(upstream) < Access::label(downstream) || admitsLink(upstream, downstream, false));
}

}  // namespace TessilGraph::internal
