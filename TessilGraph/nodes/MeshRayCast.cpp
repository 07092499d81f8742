#include <TessilGraph/nodes/MeshRayCast.h>

#include <TessilGraph/nodes/internal/SinglePrecision.h>

#include <cstddef>
#include <vector>

namespace TessilGraph {

MeshRayCast::MeshRayCast() {
    restoreDefaults();
}

bool MeshRayCast::compute(const ComputeData*) {
    const TessilUtils::Mesh* mesh = inMesh_->get();
    if (mesh == nullptr) {
        return false;
    }

    const Imath::V3d origin = inOrigin_->get();
    const Imath::V3d direction = inDirection_->get();
    const bool bothDirections = inBothDirections_->get();

    float t = 0.0f;
    unsigned int faceId = 0;
    float u = 0.0f;
    float v = 0.0f;
    const bool hit = mesh->intersect(toSingle(origin), toSingle(direction), t, faceId, u, v, bothDirections);
    if (!hit && mesh->points().empty()) {
        return false;
    }

    outIntersect_->set(hit);
    outParameter_->set(static_cast<double>(t));
    outFaceId_->set(static_cast<Long>(faceId));
    outU_->set(static_cast<double>(u));
    outV_->set(static_cast<double>(v));
    if (!hit) {
        return true;
    }

    const std::vector<Imath::V3f>& normals = mesh->faceVertexNormals();
    const std::size_t corner = std::size_t{3} * faceId;
    const Imath::V3f normal = u * normals[corner] + v * normals[corner + 1] + (1.0f - u - v) * normals[corner + 2];
    outNormal_->set(toDouble(normal));
    outPosition_->set(origin + static_cast<double>(t) * direction);
    return true;
}

void MeshRayCast::reset() {
    Node::reset();
    restoreDefaults();
}

void MeshRayCast::restoreDefaults() {
    inOrigin_->set(Imath::V3d(0.0, 0.0, 0.0));
    inDirection_->set(Imath::V3d(0.0, 1.0, 0.0));
}

void registerMeshRayCastNode() {
    registerNodes<MeshRayCast>();
}

}  // namespace TessilGraph
