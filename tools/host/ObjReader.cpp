#include <tools/host/ObjReader.h>

#include <tools/host/Errors.h>
#include <tools/host/ObjText.h>
#include <tools/host/Polygon.h>
#include <tools/host/Text.h>
#include <tools/host/TextFile.h>

#include <Imath/ImathVec.h>

#include <tiny_obj_loader.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace TessilHost {

namespace {

using Imath::V3d;
using Imath::V3f;

V3f vectorAt(const std::vector<tinyobj::real_t>& numbers, int index) {
    const std::size_t first = 3 * static_cast<std::size_t>(index);
    return {numbers[first], numbers[first + 1], numbers[first + 2]};
}

/// Collects triangles from the faces of a file.
class MeshBuilder {
public:
    explicit MeshBuilder(const tinyobj::attrib_t& attributes) : attributes_(attributes) {}

    void addFace(const tinyobj::index_t* corners, std::size_t count) {
        std::vector<V3d> points;
        points.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            points.emplace_back(vectorAt(attributes_.vertices, corners[i].vertex_index));
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

    TessilUtils::Mesh takeMesh() {
        std::vector<V3f> points;
        points.reserve(attributes_.vertices.size() / 3);
        for (std::size_t i = 0; i < attributes_.vertices.size() / 3; ++i) {
            points.push_back(vectorAt(attributes_.vertices, static_cast<int>(i)));
        }
        if (!anyNormal_) {
            normals_.clear();
        }
        return {std::move(points), std::move(triangles_), std::move(normals_)};
    }

private:
    void addCorner(const tinyobj::index_t& corner, const V3f& faceNormal) {
        triangles_.push_back(static_cast<unsigned int>(corner.vertex_index));
        const bool hasNormal = corner.normal_index >= 0;
        anyNormal_ = anyNormal_ || hasNormal;
        normals_.push_back(hasNormal ? vectorAt(attributes_.normals, corner.normal_index) : faceNormal);
    }

    const tinyobj::attrib_t& attributes_;
    std::vector<unsigned int> triangles_;
    std::vector<V3f> normals_;
    bool anyNormal_ = false;
};

}  // namespace

TessilUtils::Mesh readObjFile(const std::string& path) {
    const std::string text = checkedObjText(path, readTextFile(path));

    tinyobj::ObjReaderConfig config;
    config.triangulate = false;  // the loader loses triangles of some concave polygons
    config.vertex_color = false;
    const std::string noMaterials;
    tinyobj::ObjReader reader;
    if (!reader.ParseFromString(text, noMaterials, config)) {
        throw UserError(oneLine(path) + ": " + oneLine(reader.Error()));
    }

    MeshBuilder builder(reader.GetAttrib());
    for (const tinyobj::shape_t& shape : reader.GetShapes()) {
        std::size_t firstCorner = 0;
        for (const unsigned char corners : shape.mesh.num_face_vertices) {
            builder.addFace(&shape.mesh.indices[firstCorner], corners);
            firstCorner += corners;
        }
    }
    return builder.takeMesh();
}

}  // namespace TessilHost
