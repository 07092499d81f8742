#pragma once

#include <benchmarks/Meshes.h>

#include <embree3/rtcore.h>

namespace bench {

/// Embree as a program that needs nothing else would use it: the mesh's own triangles, a tree of medium
/// quality, the robust mode.
class EmbreeScene {
public:
    /// Reads `triangles` where they are; they must live as long.
    explicit EmbreeScene(const Triangles& triangles);
    ~EmbreeScene();
    EmbreeScene(const EmbreeScene&) = delete;
    EmbreeScene& operator=(const EmbreeScene&) = delete;

    /// How far along the ray, in lengths of its direction, the mesh is met first; -1 where it is not.
    double cast(const StraightRay& ray);

private:
    RTCScene scene_;
};

}  // namespace bench
