#pragma once

#include <TessilGraph/graph/Port.h>

namespace TessilGraph::internal {

/// The register of ports whose lists may no longer agree with what the cycle test takes for granted:
/// that the ends of a link list each other, and that labels grow along every link.
///
/// A port is entered when its list is handed out for editing, when it moves to another node with
/// links, and when two outputs are linked. Each thread looks through what it entered itself before
/// it makes its next link; what is found sound leaves the register.
namespace LentLists {

/// Enters a port, with what its list holds now.
void watch(Port& port);

/// Takes a port out, from whichever thread entered it. For ports that are about to die.
void forget(Port& port);

/// Looks through the ports that this thread entered. True when labels grow along all their links,
/// so that they can be relied on.
bool settle();

}  // namespace LentLists

}  // namespace TessilGraph::internal
