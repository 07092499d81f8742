#pragma once

#include <cstdint>
#include <functional>

namespace bench {

/// How often `run` and the threads that it wakes ask malloc and its kin for memory.
std::uint64_t countAllocations(const std::function<void()>& run);

}  // namespace bench
