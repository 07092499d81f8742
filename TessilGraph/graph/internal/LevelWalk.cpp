#include <TessilGraph/graph/internal/LevelWalk.h>

#include <TessilGraph/graph/internal/Access.h>

#include <TessilUtils/ParallelFor.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <functional>
#include <mutex>
#include <numeric>
#include <vector>

namespace TessilGraph::internal {

namespace {

using Level = std::vector<Node*>;

bool isFed(const Node& node) {
    const PortRange inputs = Access::inputs(node);
    return std::any_of(inputs.begin(), inputs.end(),
                       [](const Port* input) { return input != nullptr && input->numConnections() != 0; });
}

void insertOnce(Level& level, Node& node, std::uint64_t& markOfNode, std::uint64_t levelMark) {
    if (markOfNode != levelMark) {
        markOfNode = levelMark;
        level.push_back(&node);
    }
}

/// The levels upstream of `target`, nearest first. The last one holds the nodes that nothing feeds.
std::vector<Level> levelsUpstream(Node& target) {
    std::vector<Level> levels{{&target}};
    Level leaves;
    const std::uint64_t leavesMark = nextStamp();
    for (Level level{&target}; !level.empty();) {
        Level next;
        const std::uint64_t nextMark = nextStamp();
        for (Node* node : level) {
            if (!node->isDirty()) {
                continue;
            }
            if (Access::inputs(*node).empty()) {
                insertOnce(leaves, *node, Access::secondMark(*node), leavesMark);
            }
            for (const Port* input : Access::inputs(*node)) {
                Node* upstream = input != nullptr ? upstreamNode(*input) : nullptr;
                if (upstream == nullptr) {
                    continue;
                }
                if (isFed(*upstream)) {
                    insertOnce(next, *upstream, Access::mark(*upstream), nextMark);
                } else {
                    insertOnce(leaves, *upstream, Access::secondMark(*upstream), leavesMark);
                }
            }
        }
        levels.push_back(next.empty() ? leaves : next);
        level = std::move(next);
    }
    return levels;
}

/// The nodes of one level in groups: nodes that read each other share a group, sources first.
class Groups {
public:
    explicit Groups(Level& level) : nodes_(level) {
        std::sort(nodes_.begin(), nodes_.end(), std::less<>());
        const std::uint64_t levelMark = nextStamp();
        for (std::size_t i = 0; i < nodes_.size(); ++i) {
            Access::mark(*nodes_[i]) = levelMark;
            Access::place(*nodes_[i]) = static_cast<std::uint32_t>(i);
        }
        for (std::size_t i = 0; i < nodes_.size(); ++i) {
            for (const Port* input : Access::inputs(*nodes_[i])) {
                Node* source = input != nullptr ? endOfInputs(*input).node() : nullptr;
                if (source != nullptr && Access::mark(*source) == levelMark && source != nodes_[i]) {
                    readings_.push_back({Access::place(*source), i});
                }
            }
        }
        if (readings_.empty()) {
            return;
        }
        sortByGroups();
    }

    std::size_t size() const { return readings_.empty() ? nodes_.size() : starts_.size() - 1; }

    /// Calls `visit` with every node of a group, in order.
    template <class Visit>
    void forEach(std::size_t group, Visit visit) const {
        const std::size_t begin = readings_.empty() ? group : starts_[group];
        const std::size_t end = readings_.empty() ? group + 1 : starts_[group + 1];
        for (std::size_t i = begin; i < end; ++i) {
            visit(*nodes_[i]);
        }
    }

private:
    struct Reading {
        std::size_t source;
        std::size_t reader;
    };

    void sortByGroups() {
        const std::size_t count = nodes_.size();
        std::vector<std::size_t> group(count);
        std::iota(group.begin(), group.end(), std::size_t(0));
        const auto root = [&group](std::size_t i) {
            while (group[i] != i) {
                i = group[i] = group[group[i]];
            }
            return i;
        };
        for (const Reading& reading : readings_) {
            group[root(reading.source)] = root(reading.reader);
        }

        // Sources first over the whole level; what runs in a circle comes last, as it stands.
        std::sort(readings_.begin(), readings_.end(),
                  [](const Reading& a, const Reading& b) { return a.source < b.source; });
        std::vector<std::size_t> waitsFor(count, 0);
        for (const Reading& reading : readings_) {
            ++waitsFor[reading.reader];
        }
        std::vector<std::size_t> order;
        order.reserve(count);
        std::vector<bool> taken(count, false);
        const auto take = [&](std::size_t i) {
            taken[i] = true;
            order.push_back(i);
        };
        for (std::size_t i = 0; i < count; ++i) {
            if (waitsFor[i] == 0) {
                take(i);
            }
        }
        for (std::size_t next = 0; next < order.size(); ++next) {
            auto reading = std::lower_bound(readings_.begin(), readings_.end(), order[next],
                                            [](const Reading& a, std::size_t source) { return a.source < source; });
            for (; reading != readings_.end() && reading->source == order[next]; ++reading) {
                if (--waitsFor[reading->reader] == 0) {
                    take(reading->reader);
                }
            }
        }
        for (std::size_t i = 0; i < count; ++i) {
            if (!taken[i]) {
                take(i);
            }
        }

        std::stable_sort(order.begin(), order.end(),
                         [&root](std::size_t a, std::size_t b) { return root(a) < root(b); });
        Level grouped;
        grouped.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            if (i == 0 || root(order[i]) != root(order[i - 1])) {
                starts_.push_back(i);
            }
            grouped.push_back(nodes_[order[i]]);
        }
        starts_.push_back(count);
        nodes_ = std::move(grouped);
    }

    Level& nodes_;
    std::vector<Reading> readings_;
    std::vector<std::size_t> starts_;  ///< Where each group starts, and the end. Empty when each node is a group.
};

/// Keeps the first exception of several threads, so that it may pass through any parallel loop, and
/// the nodes that threw.
class Failures {
public:
    bool any() const { return any_.load(std::memory_order_relaxed); }

    void take(Node& node) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!any()) {
            first_ = std::current_exception();
            any_.store(true, std::memory_order_relaxed);
        }
        nodes_.push_back(&node);
    }

    /// Marks the nodes that threw dirty, clean ones too that stand in a second level, and throws.
    void report() {
        if (any()) {
            for (Node* node : nodes_) {
                node->setDirty(true);
            }
            std::rethrow_exception(first_);
        }
    }

private:
    std::mutex mutex_;
    std::atomic<bool> any_{false};
    std::exception_ptr first_;
    std::vector<Node*> nodes_;
};

void computeLevel(Level& level, const ComputeData* data) {
    const Groups groups(level);
    Failures failures;
    const auto computeGroup = [&groups, &failures, data](std::size_t group) {
        groups.forEach(group, [&failures, data](Node& node) {
            if (failures.any()) {
                return;
            }
            try {
                node.compute(data);
                node.setDirty(false);
            } catch (...) {
                failures.take(node);
            }
        });
    };
    if (groups.size() == 1) {
        computeGroup(0);
    } else {
        const TessilUtils::ParallelForRange range(0, static_cast<unsigned int>(groups.size()));
        TessilUtils::parallel_for(range, [&computeGroup](const TessilUtils::ParallelForRange& part) {
            for (unsigned int group = part.begin(); group != part.end(); ++group) {
                computeGroup(group);
            }
        });
    }
    failures.report();
}

}  // namespace

void computeInLevels(Node& target, const ComputeData* data) {
    std::vector<Level> levels = levelsUpstream(target);
    for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
        computeLevel(*level, data);
    }
}

}  // namespace TessilGraph::internal
