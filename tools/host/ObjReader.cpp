#include <tools/host/ObjReader.h>

#include <tools/host/ObjText.h>
#include <tools/host/Polygon.h>
#include <tools/host/TextFile.h>

#include <Imath/ImathVec.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace TessilHost {

namespace {

using Imath::V3d;
using Imath::V3f;

/// Collects triangles from the faces of a file.
class MeshBuilder {
public:
    explicit MeshBuilder(ObjText text) : text_(std::move(text)) {}

    TessilUtils::Mesh build() {
        const ObjText::Corner* corners = text_.corners.data();
        for (const unsigned int size : text_.faceSizes) {
            addFace(corners, size);
            corners += size;
        }
        if (!anyNormal_) {
            normals_.clear();
        }
        return {std::move(text_.points), std::move(triangles_), std::move(normals_)};
    }

private:
    void addFace(const ObjText::Corner* corners, std::size_t count) {
        std::vector<V3d> points;
        points.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            points.emplace_back(text_.points[corners[i].point]);
        }
        for (const auto& triangle : triangulate(points)) {
            // In double precision, where the products of single ones neither overflow nor vanish.
            const V3d edge1 = points[triangle[1]] - points[triangle[0]];
            const V3d edge2 = points[triangle[2]] - points[triangle[0]];
            const V3f faceNormal(edge1.cross(edge2).normalized());
            for (const std::size_t corner : triangle) {
                addCorner(corners[corner], faceNormal);
            }
        }
    }

    void addCorner(const ObjText::Corner& corner, const V3f& faceNormal) {
        triangles_.push_back(corner.point);
        const bool hasNormal = corner.normal != ObjText::noNormal;
        anyNormal_ = anyNormal_ || hasNormal;
        normals_.push_back(hasNormal ? text_.normals[corner.normal] : faceNormal);
    }

    ObjText text_;
    std::vector<unsigned int> triangles_;
    std::vector<V3f> normals_;
    bool anyNormal_ = false;
};

}  // namespace

TessilUtils::Mesh readObjFile(const std::string& path) {
    return MeshBuilder(ObjText::parse(path, readTextFile(path))).build();
}

}  // namespace TessilHost
