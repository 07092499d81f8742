#include <benchmarks/Meshes.h>

#include <benchmarks/Workloads.h>

#include <Imath/ImathBox.h>

#include <cmath>

namespace bench {

using Imath::V3f;

namespace {

constexpr double pi = 3.14159265358979323846;
constexpr unsigned int side = 317;  ///< Squares along each side of a grid; each gives two triangles.
constexpr unsigned int pixels = 256;

/// A point of a grid whose coordinates run from 0 to 1.
template <class At>
Triangles makeGrid(At at) {
    Triangles grid;
    for (unsigned int row = 0; row <= side; ++row) {
        for (unsigned int column = 0; column <= side; ++column) {
            grid.points.push_back(V3f(at(double(column) / side, double(row) / side)));
        }
    }
    for (unsigned int row = 0; row < side; ++row) {
        for (unsigned int column = 0; column < side; ++column) {
            const unsigned int here = row * (side + 1) + column;
            const unsigned int below = here + side + 1;
            grid.corners.insert(grid.corners.end(), {here, below, here + 1, here + 1, below, below + 1});
        }
    }
    return grid;
}

Imath::Box3f boundsOf(const Triangles& triangles) {
    Imath::Box3f bounds;
    for (const V3f& point : triangles.points) {
        bounds.extendBy(point);
    }
    return bounds;
}

}  // namespace

Triangles makeSphere() {
    return makeGrid([](double u, double v) {
        const double around = 2.0 * pi * u;
        const double down = pi * v;
        return Imath::V3d(std::sin(down) * std::cos(around), std::cos(down), std::sin(down) * std::sin(around));
    });
}

Triangles makeTerrain() {
    return makeGrid([](double u, double v) {
        const double height = 0.15 * std::sin(9.0 * u + 2.0 * v) * std::cos(7.0 * v) +
                              0.04 * std::sin(41.0 * u) * std::sin(37.0 * v + u) +
                              0.008 * std::sin(190.0 * u + 30.0 * v) * std::cos(170.0 * v);
        return Imath::V3d(2.0 * u - 1.0, height, 2.0 * v - 1.0);
    });
}

std::vector<StraightRay> makeNeighbouringRays(const Triangles& triangles) {
    const V3f centre = boundsOf(triangles).center();
    const V3f eye = centre + V3f(1.3f, 1.6f, 1.9f);
    const V3f forward = (centre - eye).normalized();
    const V3f right = forward.cross(V3f(0.0f, 1.0f, 0.0f)).normalized();
    const V3f up = right.cross(forward);
    std::vector<StraightRay> rays;
    for (unsigned int row = 0; row < pixels; ++row) {
        for (unsigned int column = 0; column < pixels; ++column) {
            const float x = 0.6f * (float(column) / pixels - 0.5f);
            const float y = 0.6f * (float(row) / pixels - 0.5f);
            rays.push_back({eye, forward + right * x + up * y});
        }
    }
    return rays;
}

std::vector<StraightRay> makeRandomRays(const Triangles& triangles) {
    const Imath::Box3f bounds = boundsOf(triangles);
    Random random(4711);
    const auto unit = [&random] { return static_cast<float>(random.unit()); };
    std::vector<StraightRay> rays;
    for (unsigned int i = 0; i < pixels * pixels; ++i) {
        V3f away(unit() - 0.5f, unit() - 0.5f, unit() - 0.5f);
        const V3f origin = bounds.center() + 3.0f * away.normalized();
        const V3f share(unit(), unit(), unit());
        const V3f aim = bounds.min + share * bounds.size();
        rays.push_back({origin, aim - origin});
    }
    return rays;
}

}  // namespace bench
