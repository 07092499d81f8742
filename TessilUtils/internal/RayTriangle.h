#pragma once

#include <Imath/ImathVec.h>

#include <cmath>
#include <limits>
#include <vector>

namespace TessilUtils::internal {

// The exact side of ray casting: one ray against one triangle in double precision. The products of
// two differences of floats fit into a double, so that what is decided here is decided as good as
// exactly, for floats of every size.

struct Triangle {
    Imath::V3d corner;  // the first
    Imath::V3d edge1;   // from the first to the second
    Imath::V3d edge2;   // from the first to the third
    Imath::V3d normal;  // edge1 x edge2
};

inline Triangle makeTriangle(const Imath::V3f* points, const unsigned int* indices) {
    Triangle triangle;
    triangle.corner = Imath::V3d(points[indices[0]]);
    triangle.edge1 = Imath::V3d(points[indices[1]]) - triangle.corner;
    triangle.edge2 = Imath::V3d(points[indices[2]]) - triangle.corner;
    triangle.normal = triangle.edge1.cross(triangle.edge2);
    return triangle;
}

// False for a triangle without area and for one with a corner that is not finite. Below the bound,
// which is a few roundings, the normal has no direction that one could rely on.
inline bool isSound(const Triangle& triangle) {
    constexpr double rounding2 = 0x1p-96;
    const double normal2 = triangle.normal.length2();
    return normal2 > rounding2 * triangle.edge1.length2() * triangle.edge2.length2() &&
           normal2 < std::numeric_limits<double>::infinity();
}

struct Ray {
    Imath::V3d origin;
    Imath::V3d direction;
    double direction2;  // squared length
    bool bothDirections;
};

struct Hit {
    double t = std::numeric_limits<double>::infinity();
    unsigned int faceId = 0;
    double weight1 = 0;  // of the second corner
    double weight2 = 0;  // of the third corner
    bool found = false;
};

// By how much the weights of a ray that meets the triangle, before they are divided, can come out
// below zero. Seen as a distance from the triangle that is far below the rounding of floats, even
// for origins so far away that doubles round by more.
inline double weightError(const Ray& ray, const Triangle& triangle, const Imath::V3d& fromCorner) {
    constexpr double rounding = 0x1p-48;
    constexpr double farthest = 0x1p24;  // in sizes of the triangle
    const double size = std::sqrt(triangle.edge1.length2()) + std::sqrt(triangle.edge2.length2());
    const double reach = std::fmin(std::sqrt(fromCorner.length2()), farthest * size) + size;
    return rounding * reach * size * std::sqrt(ray.direction2);
}

// Puts the hit of `ray` with triangle `faceId` into `best` if there is one and it is the better
// one; returns whether it did. Of equally near triangles the one with the lowest index is best,
// whatever the order in which they come.
inline bool improveHit(const Ray& ray, const Triangle& triangle, unsigned int faceId, Hit& best) {
    constexpr double parallel2 = 0x1p-92;

    double determinant = -ray.direction.dot(triangle.normal);
    if (!(determinant * determinant > parallel2 * ray.direction2 * triangle.normal.length2())) {
        return false;
    }
    const Imath::V3d fromCorner = ray.origin - triangle.corner;
    const double sign = determinant < 0 ? -1 : 1;
    determinant *= sign;
    const Imath::V3d moment = fromCorner.cross(ray.direction) * sign;
    double weight1 = triangle.edge2.dot(moment);
    double weight2 = -triangle.edge1.dot(moment);
    double weight0 = determinant - weight1 - weight2;
    if (weight0 < 0 || weight1 < 0 || weight2 < 0) {
        const double error = weightError(ray, triangle, fromCorner);
        if (weight0 < -error || weight1 < -error || weight2 < -error) {
            return false;
        }
        weight0 = std::fmax(weight0, 0);
        weight1 = std::fmax(weight1, 0);
        weight2 = std::fmax(weight2, 0);
    }

    const double t = sign * fromCorner.dot(triangle.normal) / determinant;
    const double distance = ray.bothDirections ? std::fabs(t) : t;
    if (!(distance >= 0 && distance <= std::numeric_limits<float>::max())) {
        return false;
    }
    const double bestDistance = std::fabs(best.t);
    if (distance > bestDistance || (distance == bestDistance && best.found && best.faceId < faceId)) {
        return false;
    }
    const double sum = weight0 + weight1 + weight2;
    best.t = t;
    best.faceId = faceId;
    best.weight1 = weight1 / sum;
    best.weight2 = weight2 / sum;
    best.found = true;
    return true;
}

}  // namespace TessilUtils::internal
