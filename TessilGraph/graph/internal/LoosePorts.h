#pragma once

namespace TessilGraph {
class Node;
class Port;
}  // namespace TessilGraph

namespace TessilGraph::internal {

/// The register of ports that name an owner which does not hold them, or need not: they were removed from
/// it, or `Port::setNode` named it. It may die before they do, and they are not to follow it then.
///
/// Threads: any of them, at once.
namespace LoosePorts {

/// To be told before the port names that owner, or leaves its list.
void enter(Port& port, const Node& owner);

/// Takes the port out, with the owner that it names. For ports that die or get another owner.
void leave(Port& port);

/// The ports that name the owner have none from now on.
void ownerDies(const Node& owner);

}  // namespace LoosePorts

}  // namespace TessilGraph::internal
