#pragma once

#include <Imath/ImathVec.h>

#include <utility>
#include <vector>

namespace TessilUtils {

class Mesh {
public:
    Mesh() = default;
    Mesh(std::vector<Imath::V3f> points, std::vector<unsigned int> triangles,
         std::vector<Imath::V3f> faceVertexNormals = {})
        : points_(std::move(points)),
          triangles_(std::move(triangles)),
          faceVertexNormals_(std::move(faceVertexNormals)) {}

    const std::vector<Imath::V3f>& points() const { return points_; }
    const std::vector<unsigned int>& triangles() const { return triangles_; }
    const std::vector<Imath::V3f>& faceVertexNormals() const { return faceVertexNormals_; }

    bool intersect(const Imath::V3f&, const Imath::V3f&, float&, unsigned int&, float&, float&, bool) const {
        return false;
    }

private:
    std::vector<Imath::V3f> points_;
    std::vector<unsigned int> triangles_;
    std::vector<Imath::V3f> faceVertexNormals_;
};

}  // namespace TessilUtils
