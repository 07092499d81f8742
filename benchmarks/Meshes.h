#pragma once

#include <Imath/ImathVec.h>

#include <vector>

namespace bench {

/// Some two hundred thousand triangles.
struct Triangles {
    std::vector<Imath::V3f> points;
    std::vector<unsigned int> corners;  ///< Three indices into `points` per triangle.
};

/// Around the origin, with radius 1.
Triangles makeSphere();

/// Hills over the square from (-1, 0, -1) to (1, 0, 1).
Triangles makeTerrain();

struct StraightRay {
    Imath::V3f origin;
    Imath::V3f direction;
};

/// From a picture's point of view above and beside the mesh, row by row.
std::vector<StraightRay> makeNeighbouringRays(const Triangles& triangles);

/// From anywhere around to some point of the mesh's bounds.
std::vector<StraightRay> makeRandomRays(const Triangles& triangles);

}  // namespace bench
