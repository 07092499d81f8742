#pragma once

namespace bench {

/// Adds the lines about prepared evaluation.
void addPreparedBenchmarks(bool large);

}  // namespace bench
