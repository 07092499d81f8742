#pragma once

#include <TessilGraph/graph/internal/NetworkState.h>

#include <atomic>
#include <cstdint>

namespace TessilGraph::internal {

/// Says to the network that nodes may be at work.
class EvaluationUnderWay {
public:
    explicit EvaluationUnderWay(NetworkState& network) : network_(network) { add(1); }
    ~EvaluationUnderWay() { add(-1); }
    EvaluationUnderWay(const EvaluationUnderWay&) = delete;
    EvaluationUnderWay& operator=(const EvaluationUnderWay&) = delete;

private:
    /// One thread at a time evaluates a network, so that nobody else writes meanwhile.
    void add(int evaluations) {
        const std::uint32_t now = network_.evaluations.load(std::memory_order_relaxed);
        network_.evaluations.store(now + static_cast<std::uint32_t>(evaluations), std::memory_order_relaxed);
    }

    NetworkState& network_;
};

}  // namespace TessilGraph::internal
