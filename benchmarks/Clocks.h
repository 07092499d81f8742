#pragma once

namespace bench {

/// Nanoseconds, by the clock on the wall.
double wallNow();

/// Nanoseconds that this thread has spent on a processor.
double threadNow();

/// What asking the wall clock twice costs.
double clockCost();

}  // namespace bench
