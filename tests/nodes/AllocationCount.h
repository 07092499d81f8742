#pragma once

#include <cstddef>

namespace tests {

/// How often this program, the libraries it uses included, has called operator new.
std::size_t allocationCount();

}  // namespace tests
