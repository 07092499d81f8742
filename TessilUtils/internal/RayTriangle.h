#pragma once

#include <TessilUtils/internal/PairedVector.h>

#include <Imath/ImathVec.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace TessilUtils::internal {

// The exact side of ray casting: one ray against one triangle in double precision. The products of
// two differences of floats fit into a double, so that what is decided here is decided as good as
// exactly, for floats of every size.

// A triangle's corners in one place, the second and the third side by side.
struct Corners {
    float x[2], y[2], z[2];
    Imath::V3f first;
};

inline Corners cornersOf(const Imath::V3f* points, const unsigned int* indices) {
    const Imath::V3f& second = points[indices[1]];
    const Imath::V3f& third = points[indices[2]];
    return {{second.x, third.x}, {second.y, third.y}, {second.z, third.z}, points[indices[0]]};
}

struct Triangle {
    PairedVector corner;  // the first
    Pair edgesX;          // from the first corner to the second and to the third
    Pair edgesY;
    Pair edgesZ;
    PairedVector normal;  // edge1 x edge2

    Imath::V3d edge1() const { return {edgesX[0], edgesY[0], edgesZ[0]}; }
    Imath::V3d edge2() const { return {edgesX[1], edgesY[1], edgesZ[1]}; }
    // The squared lengths of both edges.
    Pair lengths2() const { return edgesX * edgesX + edgesY * edgesY + edgesZ * edgesZ; }
};

// From the first corner and the coordinates of the second and third.
inline Triangle makeTriangle(const PairedVector& first, Pair othersX, Pair othersY, Pair othersZ) {
    const Pair x = othersX - bothAs(first.x());
    const Pair y = othersY - bothAs(first.y());
    const Pair z = othersZ - bothAs(first.z);
    Triangle triangle{first, x, y, z, {}};
    const Pair productsX = y * Pair{z[1], z[0]};
    const Pair productsY = z * Pair{x[1], x[0]};
    const Pair productsZ = x * Pair{y[1], y[0]};
    triangle.normal.xy = Pair{productsX[0], productsY[0]} - Pair{productsX[1], productsY[1]};
    triangle.normal.z = productsZ[0] - productsZ[1];
    return triangle;
}

inline Triangle makeTriangle(const Corners& corners) {
    const PairedVector first{toPair(&corners.first.x), static_cast<double>(corners.first.z)};
    return makeTriangle(first, toPair(corners.x), toPair(corners.y), toPair(corners.z));
}

inline Triangle makeTriangle(const Imath::V3f* points, const unsigned int* indices) {
    const PairedVector second = paired(points[indices[1]]);
    const PairedVector third = paired(points[indices[2]]);
    return makeTriangle(paired(points[indices[0]]), Pair{second.x(), third.x()}, Pair{second.y(), third.y()},
                        Pair{second.z, third.z});
}

// False for a triangle without area and for one with a corner that is not finite. Below the bound,
// which is a few roundings, the normal has no direction that one could rely on.
inline bool isSound(const Triangle& triangle) {
    constexpr double rounding2 = 0x1p-96;
    const double normal2 = length2(triangle.normal);
    const Pair edges2 = triangle.lengths2();
    return normal2 > rounding2 * edges2[0] * edges2[1] && normal2 < std::numeric_limits<double>::infinity();
}

struct Ray {
    PairedVector origin;
    PairedVector direction;
    double direction2;  // squared length
    bool bothDirections;
};

struct Hit {
    double t = std::numeric_limits<double>::infinity();
    Pair weights{};  // of the second and of the third corner
    unsigned int faceId = 0;
    bool found = false;
    bool atBorder = false;  // so close to it that the ray may meet a neighbour as well
};

// By how much the weights of a ray that meets the triangle, before they are divided, can come out
// below zero. Seen as a distance from the triangle that is far below the rounding of floats, even
// for origins so far away that doubles round by more.
[[gnu::cold, gnu::noinline]] inline double weightError(double direction2, Pair edges2, double fromCorner2) {
    constexpr double rounding = 0x1p-48;
    constexpr double farthest = 0x1p24;  // in sizes of the triangle
    const double size = std::sqrt(edges2[0]) + std::sqrt(edges2[1]);
    const double reach = std::fmin(std::sqrt(fromCorner2), farthest * size) + size;
    return rounding * reach * size * std::sqrt(direction2);
}

// Puts the hit of `ray` with triangle `faceId` into `best` if there is one and it is the better
// one; returns whether it did. Of equally near triangles the one with the lowest index is best,
// whatever the order in which they come.
inline bool improveHit(const Ray& ray, const Triangle& triangle, unsigned int faceId, Hit& best) {
    constexpr double parallel2 = 0x1p-92;
    constexpr double close = 0x1p-20;  // as a weight

    const double side = -dot(ray.direction, triangle.normal);
    if (!(side * side > parallel2 * ray.direction2 * length2(triangle.normal))) {
        return false;
    }
    const double sign = std::copysign(1.0, side);
    const double determinant = std::fabs(side);
    const PairedVector fromCorner = ray.origin - triangle.corner;
    const PairedVector moment = cross(fromCorner, ray.direction) * sign;
    const Pair volumes = triangle.edgesX * bothAs(moment.x()) + triangle.edgesY * bothAs(moment.y()) +
                         triangle.edgesZ * bothAs(moment.z);
    double weight1 = volumes[1];
    double weight2 = -volumes[0];
    double weight0 = determinant - weight1 - weight2;
    const double least = std::min({weight0, weight1, weight2});
    if (least < 0) {
        const double error = weightError(ray.direction2, triangle.lengths2(), length2(fromCorner));
        if (weight0 < -error || weight1 < -error || weight2 < -error) {
            return false;
        }
        weight0 = std::fmax(weight0, 0);
        weight1 = std::fmax(weight1, 0);
        weight2 = std::fmax(weight2, 0);
    }

    const double t = sign * dot(fromCorner, triangle.normal) / determinant;
    const double distance = ray.bothDirections ? std::fabs(t) : t;
    if (!(distance >= 0 && distance <= std::numeric_limits<float>::max())) {
        return false;
    }
    const double bestDistance = std::fabs(best.t);
    if (distance > bestDistance || (distance == bestDistance && best.found && best.faceId < faceId)) {
        return false;
    }
    best.t = t;
    best.weights = Pair{weight1, weight2} / bothAs(weight0 + weight1 + weight2);
    best.faceId = faceId;
    best.found = true;
    best.atBorder = least < close * determinant;
    return true;
}

}  // namespace TessilUtils::internal
