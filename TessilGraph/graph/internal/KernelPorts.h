#pragma once

namespace TessilGraph {
class Node;
class Port;
}  // namespace TessilGraph

namespace TessilGraph::internal {

/// Where the kernel of a node finds the value of one of the ports that it uses: the port itself, or the
/// output that feeds it. `isInput` says how the kernel uses the port, which may be gone.
///
/// Null if `compute` may find the value elsewhere, or elsewhere later on without anybody being told: a host
/// may have taken a port that `compute` goes on using, given it to another node, or linked it by hand.
Port* portOfKernel(const Node& node, const Port& port, bool isInput);

}  // namespace TessilGraph::internal
