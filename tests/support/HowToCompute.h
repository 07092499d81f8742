#pragma once

namespace tests {

// What `NetworkManager::computeNode` is asked for.
inline constexpr bool parallel = true;
inline constexpr bool serial = false;
inline constexpr bool useCache = true;

}  // namespace tests
