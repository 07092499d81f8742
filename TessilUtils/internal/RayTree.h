#pragma once

#include <TessilUtils/internal/RayTriangle.h>

#include <cstddef>
#include <vector>

struct RTCSceneTy;

namespace TessilUtils::internal {

// Finds the nearest triangle along a ray.
//
// Candidates come from an Embree scene, decisions from RayTriangle.h. The scene holds the triangles
// moved to the origin, scaled to about unit size and each grown by a margin that is wider than all
// of Embree's rounding errors, so that no triangle which a ray really meets is passed over; for
// every grown triangle that a ray meets, the true one is then tested in double precision while the
// ray is under way. Hits are thus exact and the same on every processor, a ray cannot slip through
// between neighbours, a miss costs nothing extra, and Embree never sees a number that it minds.
class RayTree {
public:
    // Neither list is copied: both must outlive the tree. Uses all cores for a moment.
    RayTree(const std::vector<Imath::V3f>& points, const std::vector<unsigned int>& triangles);
    ~RayTree();

    RayTree(const RayTree&) = delete;
    RayTree& operator=(const RayTree&) = delete;

    // May be called from several threads at once.
    Hit nearestHit(const Imath::V3f& origin, const Imath::V3f& direction, bool bothDirections) const;

    Triangle triangle(unsigned int faceId) const {
        return makeTriangle(points_.data(), &triangles_[3 * static_cast<std::size_t>(faceId)]);
    }

private:
    // True when at least one triangle can be hit.
    bool findBounds();
    void buildScene();
    Hit scan(const Ray& ray) const;

    const std::vector<Imath::V3f>& points_;
    const std::vector<unsigned int>& triangles_;
    Imath::V3d centre_{0};
    double halfExtent_ = 0;        // of the largest side of the bounds; 0 when no triangle can be hit
    double scale_ = 0;             // from lengths of the mesh to lengths of the scene
    RTCSceneTy* scene_ = nullptr;  // null when Embree could not make it: then every triangle is tested
};

}  // namespace TessilUtils::internal
