#pragma once

#include <Imath/ImathVec.h>

#include <array>
#include <cstddef>
#include <vector>

namespace TessilHost {

/// Cuts the polygon with these corners, at least three, into corners - 2 triangles of its own
/// winding. Concave polygons are cut along lines inside them. What is no simple polygon (it crosses
/// itself, or all its corners lie on one line) is cut in some way; the result is always complete.
/// The triangles index into `corners`.
std::vector<std::array<std::size_t, 3>> triangulate(const std::vector<Imath::V3d>& corners);

}  // namespace TessilHost
