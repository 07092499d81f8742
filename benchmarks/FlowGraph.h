#pragma once

#include <benchmarks/Lean.h>
#include <benchmarks/Workloads.h>

#include <tbb/flow_graph.h>
#include <tbb/task_arena.h>

#include <deque>
#include <optional>
#include <vector>

namespace bench {

/// What one would use without the library: oneTBB's flow graph. One function body for each lean node
/// computes it, wired as the nodes are; every run computes all of them.
class FlowGraph {
public:
    /// Computes the nodes of `network`, which must live as long, on that many threads; with one, on the
    /// thread that calls `run`.
    FlowGraph(LeanNetwork& network, const Workload& workload, int threads);

    void run();

private:
    using Body = tbb::flow::continue_node<tbb::flow::continue_msg>;

    tbb::task_arena arena_;
    std::optional<tbb::flow::graph> graph_;  ///< Made inside the arena, whose threads it uses from then on.
    std::deque<Body> bodies_;                ///< They stay where they are made.
    std::vector<Body*> roots_;
};

}  // namespace bench
