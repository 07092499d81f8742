#pragma once

#include <string>
#include <vector>

namespace TessilGraph {
class NodeSet;
}

namespace TessilGraph::internal {

/// Whether a copy of the network gives the same figures at these nodes, whatever frames it computed before.
bool copiesGiveTheSame(const NodeSet& nodes, const std::vector<std::string>& targets);

}  // namespace TessilGraph::internal
