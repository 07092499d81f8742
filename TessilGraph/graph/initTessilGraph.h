#pragma once

#include <TessilGraph/Export.h>

namespace TessilGraph {

/// Starts the library: the first call registers all built-in node types, later ones do nothing.
/// Call it from one thread before any other use of the library.
TESSILGRAPH_API void initTessilGraph();

/// Registers all built-in node types with the factory, family by family. A type that is registered
/// already is left as it is, and that is logged.
TESSILGRAPH_API void registerDefaultNodes();

}  // namespace TessilGraph
