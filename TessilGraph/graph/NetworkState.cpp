#include <TessilGraph/graph/NetworkState.h>

#include <TessilGraph/graph/internal/WalkScratch.h>

namespace TessilGraph::internal {

NetworkState::NetworkState() = default;

NetworkState::~NetworkState() = default;

}  // namespace TessilGraph::internal
