#pragma once

#include <Imath/ImathVec.h>

#include <limits>

namespace TessilGraph {

// Between the double precision of ports and the single precision of curves and meshes.

static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559,
              "a double beyond the range of float must become an infinity");

/// Each component rounded to the nearest float. Beyond the range of float it becomes an infinity.
inline Imath::V3f toSingle(const Imath::V3d& v) {
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

inline Imath::V3d toDouble(const Imath::V3f& v) {
    return {static_cast<double>(v.x), static_cast<double>(v.y), static_cast<double>(v.z)};
}

}  // namespace TessilGraph
