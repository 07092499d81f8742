#include <TessilGraph/graph/internal/NetworkState.h>

#include <TessilGraph/graph/internal/LevelWalk.h>
#include <TessilGraph/graph/internal/MarkPlan.h>  // IWYU pragma: keep
#include <TessilGraph/graph/internal/WalkPlan.h>
#include <TessilGraph/graph/internal/WalkScratch.h>  // IWYU pragma: keep

namespace TessilGraph::internal {

NetworkState::NetworkState() = default;

NetworkState::~NetworkState() = default;

void NetworkState::reserveDirtyByte(std::uint32_t position) {
    while (position / bytesTogether >= dirtyBytes_.size()) {
        dirtyBytes_.push_back(std::make_unique<std::atomic<std::uint8_t>[]>(bytesTogether));
    }
}

}  // namespace TessilGraph::internal
