#pragma once

#include <TessilGraph/exec/internal/RunControl.h>

#include <string>
#include <vector>

namespace TessilGraph::internal {

struct NetworkState;

/// Computes the dirty nodes upstream of the targets in an order that is found now, and found again when a
/// node changes the wiring. For networks in which a prepared order could not be relied on.
void walkAfresh(NetworkState& state, const std::vector<std::string>& targets, const ComputeData* data,
                RunControl& control);

}  // namespace TessilGraph::internal
