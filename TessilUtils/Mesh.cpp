#include <TessilUtils/Mesh.h>

#include <TessilUtils/Logger.h>
#include <TessilUtils/internal/FloatingPointState.h>
#include <TessilUtils/internal/RayTree.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>

namespace TessilUtils {

struct Mesh::Geometry {
    Geometry(std::vector<Imath::V3f> points_, std::vector<unsigned int> triangles_,
             std::vector<Imath::V3f> faceVertexNormals_)
        : points(std::move(points_)),
          triangles(std::move(triangles_)),
          faceVertexNormals(std::move(faceVertexNormals_)) {}

    // Built by the first ray, whichever thread casts it.
    const internal::RayTree& tree() const {
        const internal::RayTree* ready = readyTree.load(std::memory_order_acquire);
        return ready != nullptr ? *ready : builtTree();
    }

    const std::vector<Imath::V3f> points;
    const std::vector<unsigned int> triangles;
    const std::vector<Imath::V3f> faceVertexNormals;

private:
    [[gnu::cold, gnu::noinline]] const internal::RayTree& builtTree() const {
        const internal::FloatingPointState standard;
        // Not std::call_once: where pthread_once knows no exceptions, one that comes for want of memory leaves all
        // later callers waiting.
        const std::lock_guard<std::mutex> lock(building);
        if (ownedTree == nullptr) {
            ownedTree = std::make_unique<const internal::RayTree>(points, triangles, faceVertexNormals);
            readyTree.store(ownedTree.get(), std::memory_order_release);
        }
        return *ownedTree;
    }

    mutable std::mutex building;
    mutable std::unique_ptr<const internal::RayTree> ownedTree;
    mutable std::atomic<const internal::RayTree*> readyTree{nullptr};  // spares rays the lock
};

namespace {

// Never destroyed: static meshes of the host may be asked while the process ends.
const std::vector<Imath::V3f>& noVectors() {
    static const std::vector<Imath::V3f>& instance = *new std::vector<Imath::V3f>;
    return instance;
}

const std::vector<unsigned int>& noIndices() {
    static const std::vector<unsigned int>& instance = *new std::vector<unsigned int>;
    return instance;
}

bool isConsistent(const std::vector<Imath::V3f>& points, const std::vector<unsigned int>& triangles,
                  const std::vector<Imath::V3f>& faceVertexNormals) {
    if (triangles.size() % 3 != 0) {
        Logger::error() << "Mesh has" << triangles.size() << "triangle indices, which is no multiple of three";
        return false;
    }
    const auto largest = std::max_element(triangles.begin(), triangles.end());
    if (largest != triangles.end() && *largest >= points.size()) {
        Logger::error() << "Mesh has a triangle index" << *largest << "but only" << points.size() << "points";
        return false;
    }
    if (!faceVertexNormals.empty() && faceVertexNormals.size() != triangles.size()) {
        Logger::error() << "Mesh has" << faceVertexNormals.size() << "face vertex normals for" << triangles.size()
                        << "triangle indices";
        return false;
    }
    return true;
}

[[gnu::noinline]] std::vector<Imath::V3f> faceNormals(const std::vector<Imath::V3f>& points,
                                                      const std::vector<unsigned int>& triangles) {
    std::vector<Imath::V3f> normals(triangles.size());
    for (std::size_t i = 0; i < triangles.size(); i += 3) {
        const internal::Triangle triangle = internal::makeTriangle(points.data(), &triangles[i]);
        Imath::V3f normal(0);
        if (internal::isSound(triangle)) {
            normal = Imath::V3f(triangle.normal.imath() / std::sqrt(length2(triangle.normal)));
        }
        normals[i] = normals[i + 1] = normals[i + 2] = normal;
    }
    return normals;
}

}  // namespace

Mesh::Mesh() = default;

Mesh::Mesh(std::vector<Imath::V3f> points, std::vector<unsigned int> triangles,
           std::vector<Imath::V3f> faceVertexNormals) {
    if (!isConsistent(points, triangles, faceVertexNormals)) {
        return;
    }
    if (faceVertexNormals.empty()) {
        const internal::FloatingPointState standard;
        faceVertexNormals = faceNormals(points, triangles);
    }
    geometry_ = std::make_shared<const Geometry>(std::move(points), std::move(triangles), std::move(faceVertexNormals));
}

const std::vector<Imath::V3f>& Mesh::points() const {
    return geometry_ ? geometry_->points : noVectors();
}

const std::vector<unsigned int>& Mesh::triangles() const {
    return geometry_ ? geometry_->triangles : noIndices();
}

const std::vector<Imath::V3f>& Mesh::faceVertexNormals() const {
    return geometry_ ? geometry_->faceVertexNormals : noVectors();
}

bool Mesh::intersect(const Imath::V3f& origin, const Imath::V3f& direction, float& t, unsigned int& faceId, float& u,
                     float& v, bool bothDirections) const {
    if (!geometry_) {
        return false;
    }
    const internal::RayTree& tree = geometry_->tree();
    const internal::FloatingPointState standard;
    return tree.intersect(origin, direction, t, faceId, u, v, bothDirections);
}

}  // namespace TessilUtils
