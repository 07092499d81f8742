#include <TessilGraph/graph/internal/Repetition.h>

#include <TessilGraph/graph/NodeSet.h>
#include <TessilGraph/graph/internal/NetworkState.h>

namespace TessilGraph::internal {

void Repetition::note(const NetworkState& network, std::size_t visits) {
    const std::uint64_t wiring = network.wiring.load(std::memory_order_relaxed);
    if (wiring_ != wiring || storage_ != network.storage) {
        wiring_ = wiring;
        storage_ = network.storage;
        wasDue_ = false;
        visits_.store(visits, std::memory_order_relaxed);
        return;
    }
    visits_.store(visits_.load(std::memory_order_relaxed) + visits, std::memory_order_relaxed);
}

bool Repetition::isDue(const NetworkState& network) {
    constexpr std::size_t timesTheNetwork = 4;
    constexpr std::size_t smallNetwork = 64;
    const std::size_t size = network.nodes->size();
    if (wasDue_ || size < smallNetwork || visits_.load(std::memory_order_relaxed) <= timesTheNetwork * size) {
        return false;
    }
    wasDue_ = true;
    return true;
}

}  // namespace TessilGraph::internal
