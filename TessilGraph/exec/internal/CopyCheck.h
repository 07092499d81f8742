#pragma once

#include <string>
#include <vector>

namespace TessilGraph {
class NodeSet;
}

namespace TessilGraph::internal {

/// Whether a copy of the network gives the same figures at these nodes, whatever frames it computed before.
bool copiesGiveTheSame(const NodeSet& nodes, const std::vector<std::string>& targets);

/// Whether that copy is of the network as it stands, with all that these nodes need: hosts' own classes may well give
/// clones of other types, without some of the ports, or without the values that were set.
bool isTrueCopy(const NodeSet& nodes, const std::vector<std::string>& targets, const NodeSet& copy);

}  // namespace TessilGraph::internal
