#include <tools/host/Polygon.h>

#include <cmath>
#include <cstddef>
#include <numeric>

namespace TessilHost {

namespace {

using Imath::V2d;
using Imath::V3d;
using Triangle = std::array<std::size_t, 3>;

/// Twice the area vector of the polygon, whose direction is the side that it faces.
V3d facing(const std::vector<V3d>& corners) {
    V3d sum(0.0);
    for (std::size_t i = 1; i + 1 < corners.size(); ++i) {
        sum += (corners[i] - corners[0]).cross(corners[i + 1] - corners[0]);
    }
    return sum;
}

/// The corners seen along the coordinate axis that the polygon faces most, turning left.
std::vector<V2d> flatten(const std::vector<V3d>& corners) {
    const V3d normal = facing(corners);
    int axis = std::abs(normal.x) > std::abs(normal.y) ? 0 : 1;
    axis = std::abs(normal[axis]) > std::abs(normal.z) ? axis : 2;
    int right = (axis + 1) % 3;
    int up = (axis + 2) % 3;
    if (normal[axis] < 0.0) {
        std::swap(right, up);
    }
    std::vector<V2d> flat;
    flat.reserve(corners.size());
    for (const V3d& corner : corners) {
        flat.emplace_back(corner[right] - corners[0][right], corner[up] - corners[0][up]);
    }
    return flat;
}

/// Positive when a, b, c turn left.
double turn(const V2d& a, const V2d& b, const V2d& c) {
    return (b - a).cross(c - a);
}

bool covers(const V2d& a, const V2d& b, const V2d& c, const V2d& point) {
    return turn(a, b, point) >= 0.0 && turn(b, c, point) >= 0.0 && turn(c, a, point) >= 0.0;
}

/// Whether the corner at place `at` of the outline `left` can be cut off.
bool isEar(const std::vector<V2d>& flat, const std::vector<std::size_t>& left, std::size_t at) {
    const std::size_t size = left.size();
    const V2d& before = flat[left[(at + size - 1) % size]];
    const V2d& corner = flat[left[at]];
    const V2d& after = flat[left[(at + 1) % size]];
    if (!(turn(before, corner, after) > 0.0)) {
        return false;
    }
    for (const std::size_t other : left) {
        const V2d& point = flat[other];
        // Outlines may touch themselves, so it is the place that counts, not the number.
        if (point != before && point != corner && point != after && covers(before, corner, after, point)) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::vector<Triangle> triangulate(const std::vector<V3d>& corners) {
    const std::vector<V2d> flat = flatten(corners);
    std::vector<std::size_t> left(corners.size());
    std::iota(left.begin(), left.end(), std::size_t{0});

    std::vector<Triangle> triangles;
    triangles.reserve(corners.size() - 2);
    while (left.size() > 3) {
        // Without an ear this is no simple polygon, and any corner is as good as another.
        std::size_t ear = 1;
        for (std::size_t i = 0; i < left.size(); ++i) {
            const std::size_t at = (i + 1) % left.size();
            if (isEar(flat, left, at)) {
                ear = at;
                break;
            }
        }
        const std::size_t size = left.size();
        triangles.push_back({left[(ear + size - 1) % size], left[ear], left[(ear + 1) % size]});
        left.erase(left.begin() + static_cast<std::ptrdiff_t>(ear));
    }
    triangles.push_back({left[0], left[1], left[2]});
    return triangles;
}

}  // namespace TessilHost
