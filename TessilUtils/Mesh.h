#pragma once

#include <TessilUtils/Export.h>

#include <Imath/ImathVec.h>

#include <memory>
#include <vector>

namespace TessilUtils {

/// Triangles over a list of points, with a normal at every corner of every triangle.
///
/// A mesh is a value whose geometry never changes: copies share it, so a copy costs a pointer, and
/// assigning a new mesh is how one is replaced. What `intersect` builds for its own speed is shared
/// among the copies as well.
///
/// Where memory runs out, `std::bad_alloc` reaches the caller. A mesh is then as it was, and the next ray builds anew
/// what it needs.
///
/// Threads: const functions may run side by side, and different meshes are used from different threads,
/// also when they share geometry. One mesh is assigned by one thread while no other one uses it.
class TESSILUTILS_API Mesh {
public:
    /// No points, no triangles.
    Mesh();

    /// `triangles` holds three point indices per triangle, `faceVertexNormals` three normals per
    /// triangle, in the order of its corners; normals are kept as they are given. Without normals
    /// each corner gets the unit normal of its face, on the side from which the corners run
    /// counter-clockwise, or the zero vector where the face has none: no area, or a corner that is
    /// not finite.
    ///
    /// An index without a point, a number of indices that is no multiple of three, or normals in
    /// another number than indices: the mesh is empty and the reason is logged.
    Mesh(std::vector<Imath::V3f> points, std::vector<unsigned int> triangles,
         std::vector<Imath::V3f> faceVertexNormals = {});

    /// Valid as long as a copy of this mesh is, as are the other lists.
    const std::vector<Imath::V3f>& points() const;

    /// Three indices into `points` per triangle.
    const std::vector<unsigned int>& triangles() const;

    /// Three normals per triangle: the one of corner c of triangle f stands at 3 * f + c.
    const std::vector<Imath::V3f>& faceVertexNormals() const;

    /// Finds where the ray origin + t * direction first meets the mesh: the smallest t >= 0, or
    /// with `bothDirections` the t of the smallest absolute value. Both sides of a triangle count.
    ///
    /// True on a hit: then `t` is set, `faceId` to the index of the triangle, and `u` and `v` to
    /// the weights of its first and second corner, 1 - u - v being the third's; all three lie in
    /// [0, 1]. False on a miss, with the four left as they were.
    ///
    /// The direction need not be a unit vector; t counts in lengths of it. A ray that is not finite
    /// or has no direction misses, and a triangle without area or with a corner that is not finite
    /// is never hit. Surfaces have no gaps: a ray aimed at an edge or a corner that triangles share
    /// meets one of them; unless it grazes them the same one, whatever else is in the mesh. Where it grazes all
    /// that meet there, at less than about a hundredth of a radian, it may pass by. Of surfaces
    /// behind each other at less than some millionths of the size of the mesh, it may be another one than
    /// the first.
    ///
    /// The first ray builds a search tree, which takes far longer than the rays after it. Neither
    /// the caller's floating point settings nor its exception flags change, and the result does not
    /// depend on them.
    bool intersect(const Imath::V3f& origin, const Imath::V3f& direction, float& t, unsigned int& faceId, float& u,
                   float& v, bool bothDirections) const;

private:
    struct Geometry;

    std::shared_ptr<const Geometry> geometry_;  // null without points
};

}  // namespace TessilUtils
