#include <benchmarks/FlowGraph.h>

#include <cstdint>

namespace bench {

using tbb::flow::continue_msg;

FlowGraph::FlowGraph(LeanNetwork& network, const Workload& workload, int threads) : arena_(threads) {
    arena_.execute([this] { graph_.emplace(); });
    for (std::uint32_t number = 0; number < workload.size(); ++number) {
        LeanNode* node = &network.node(number);
        bodies_.emplace_back(*graph_, [node](continue_msg) { computeSplit(*node); });
    }
    std::vector<bool> isFed(workload.size());
    for (const Link& link : workload.links) {
        tbb::flow::make_edge(bodies_[link.source], bodies_[link.target]);
        isFed[link.target] = true;
    }
    for (std::uint32_t number = 0; number < workload.size(); ++number) {
        if (!isFed[number]) {
            roots_.push_back(&bodies_[number]);
        }
    }
}

void FlowGraph::run() {
    arena_.execute([this] {
        for (Body* root : roots_) {
            root->try_put(continue_msg());
        }
        graph_->wait_for_all();
    });
}

}  // namespace bench
