#pragma once

namespace bench {

/// Makes the lines of the table that measure the engine: networks, their evaluation, names.
/// @param large also with a million nodes, which takes many minutes and some GiB.
void addEngineBenchmarks(bool large);

}  // namespace bench
