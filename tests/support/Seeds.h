#pragma once

#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <vector>

namespace tests {

/// The seeds that a random test takes, `usual` of them. For a long run the environment's TESSIL_TIMES_SEEDS says how
/// many times as many: 100, say.
inline std::vector<std::uint32_t> seeds(std::uint32_t usual, std::uint32_t first = 1) {
    const char* times = std::getenv("TESSIL_TIMES_SEEDS");
    const auto factor = times != nullptr ? static_cast<std::uint32_t>(std::strtoul(times, nullptr, 10)) : 1u;
    std::vector<std::uint32_t> taken(usual * factor);
    std::iota(taken.begin(), taken.end(), first);
    return taken;
}

}  // namespace tests
