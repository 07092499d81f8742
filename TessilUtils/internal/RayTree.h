#pragma once

#include <TessilUtils/internal/RayTriangle.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

struct RTCSceneTy;

namespace TessilUtils::internal {

// Finds the nearest triangle along a ray.
//
// Candidates come from an Embree scene, decisions from RayTriangle.h. The scene holds the triangles
// moved to the origin, scaled to about unit size and each grown by a margin that is wider than all
// of Embree's rounding errors, so that no triangle which a ray really meets is passed over; for
// every grown triangle that a ray meets, the true one is then tested in double precision while the
// ray is under way. Hits are thus exact and the same on every processor, a miss costs nothing extra, and
// Embree never sees a number that it minds. A triangle that a ray grazes has next to no margin in the ray's eyes; where
// the ray passes another one by within its margin, all triangles near that place are tested, so that it cannot slip
// through between the two. It is Embree's choice only between surfaces that lie closer behind each other than floats
// tell, and whether a triangle is met within a rounding of its border by a ray that grazes it and all others there.
class RayTree {
public:
    // No list is copied: all must outlive the tree. Uses all cores for a moment. Normals are not used
    // but fetched when a triangle may be hit, since those who cast rays mostly read them next.
    RayTree(const std::vector<Imath::V3f>& points, const std::vector<unsigned int>& triangles,
            const std::vector<Imath::V3f>& faceVertexNormals);
    ~RayTree();

    RayTree(const RayTree&) = delete;
    RayTree& operator=(const RayTree&) = delete;

    // As Mesh::intersect, but with the standard floating point settings only. May be called from
    // several threads at once.
    bool intersect(const Imath::V3f& origin, const Imath::V3f& direction, float& t, unsigned int& faceId, float& u,
                   float& v, bool bothDirections) const noexcept;

private:
    struct Bounds;
    struct Gap;
    struct Cast;

    // A ray in lengths of the scene.
    struct SceneRay {
        SceneRay reversed() const { return {origin, -direction, lengthPerT}; }
        // Where a hit lies, counted from origin + start * direction.
        double parameter(const Hit& hit, double start) const { return std::fabs(hit.t) * lengthPerT - start; }
        double length() const { return std::sqrt(length2(direction)); }  // of a parameter of 1

        PairedVector origin;
        PairedVector direction;
        double lengthPerT;  // parameters per t of the mesh's ray
    };

    // True when at least one triangle can be hit.
    bool findBounds();
    [[gnu::noinline]] Bounds boundsOf(std::size_t firstFace, std::size_t endFace) const;
    [[gnu::noinline]] void growTriangles(std::size_t firstFace, std::size_t endFace, float* grown,
                                         unsigned int* indices) const;
    void buildScene();
    Hit nearestHit(const Ray& ray, double largest) const;
    Hit nearestHitFromAfar(const Ray& ray, const SceneRay& ahead) const;
    void castRay(const Ray& ray, const SceneRay& sceneRay, double start, Hit& best) const;
    void castRayAtAll(const Ray& ray, const SceneRay& sceneRay, double start, float end, Hit& best) const;
    void search(const PairedVector& place, double reach, const Ray& ray, Hit& best) const;
    Hit scan(const Ray& ray) const;

    const std::vector<Imath::V3f>& points_;
    const std::vector<unsigned int>& triangles_;
    const std::vector<Imath::V3f>& faceVertexNormals_;
    PairedVector centre_{};
    double halfExtent_ = 0;               // of the largest side of the bounds; 0 when no triangle can be hit
    double scale_ = 0;                    // from lengths of the mesh to lengths of the scene
    RTCSceneTy* scene_ = nullptr;         // null when it could not be made: then every triangle is tested
    std::unique_ptr<Corners[]> corners_;  // of every triangle, if there is a scene
};

}  // namespace TessilUtils::internal
