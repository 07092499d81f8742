#pragma once

#include "Shortage.h"

namespace tests {

/// How many pieces of memory `operator new` has given out that have not come back.
long piecesInUse() noexcept;

}  // namespace tests
