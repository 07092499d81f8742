#pragma once

#include <TessilGraph/Export.h>

namespace TessilGraph {

/// Starts the library: the first call registers all built-in node types, later ones do nothing.
///
/// Once loaded, the library and TessilUtils stay to the end of the process, also when the host closes them or
/// the module that brought them: a worker thread may still be in their code, leaving a loop that is done. So do
/// the types that are registered. What a module of the host has handed in itself, node types and a log sink, it
/// takes back before it goes.
///
/// Threads: the first call returns before any other use of the library begins; later ones may come
/// from any thread.
TESSILGRAPH_API void initTessilGraph();

/// Registers all built-in node types with the factory, family by family. A type that is registered
/// already is left as it is, and that is logged.
///
/// Threads: as `NodeFactory::registerNode`.
TESSILGRAPH_API void registerDefaultNodes();

}  // namespace TessilGraph
