#include <benchmarks/EmbreeScene.h>
#include <benchmarks/Lines.h>
#include <benchmarks/Measure.h>
#include <benchmarks/Meshes.h>

#include <TessilGraph/TessilGraph.h>

#include <Imath/ImathVec.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace bench {

using Imath::V3d;

namespace {

/// A mesh in both hands and rays to cast at it.
struct Range {
    Range(const std::string& shape, const std::string& order)
        : triangles(shape == "sphere" ? makeSphere() : makeTerrain()),
          rays(order == "random" ? makeRandomRays(triangles) : makeNeighbouringRays(triangles)),
          mesh(triangles.points, triangles.corners),
          embree(triangles) {
        node.inMeshPort()->set(&mesh);
    }

    void castAtNode(bool bothDirections) {
        node.inBothDirectionsPort()->set(bothDirections);
        for (const StraightRay& ray : rays) {
            castAtNode(ray);
        }
    }

    void castAtNode(const StraightRay& ray) {
        node.inOriginPort()->set(V3d(ray.origin));
        node.inDirectionPort()->set(V3d(ray.direction));
        node.compute(nullptr);
    }

    void castAtEmbree() {
        for (const StraightRay& ray : rays) {
            sum += embree.cast(ray);
        }
    }

    /// Embree's rounding may pass by an edge that the library meets, and the other way round, so a few
    /// answers may differ.
    bool isRight() {
        std::size_t differences = 0;
        node.inBothDirectionsPort()->set(false);
        for (const StraightRay& ray : rays) {
            castAtNode(ray);
            const double other = embree.cast(ray);
            const double own = node.outIntersectPort()->get() ? node.outParameterPort()->get() : -1.0;
            differences += std::abs(own - other) > 1e-4 * (1.0 + std::abs(other)) ? 1 : 0;
        }
        return differences * 1000 <= rays.size();
    }

    Triangles triangles;
    std::vector<StraightRay> rays;
    TessilUtils::Mesh mesh;
    EmbreeScene embree;
    TessilGraph::MeshRayCast node;
    double sum = 0.0;
};

void addCase(const std::string& operation, const std::string& shape, const std::string& order, bool bothDirections) {
    addLine(operation + "/" + shape + "/" + order, manyRounds, [=] {
        auto range = std::make_shared<Range>(shape, order);
        Case compared;
        compared.units = static_cast<double>(range->rays.size());
        compared.unit = "ns/ray";
        compared.subject = {nullptr, [=] { range->castAtNode(bothDirections); }, [=] { return range->isRight(); }};
        if (bothDirections) {
            compared.rivals.push_back({"one_direction", {nullptr, [=] { range->castAtNode(false); }, nullptr}});
        }
        compared.rivals.push_back({"embree", {nullptr, [=] { range->castAtEmbree(); }, nullptr}});
        return compared;
    });
}

/// From lists of points and corners to the answer to the first ray; both use all processors.
void addFirstRayLine(const std::string& shape) {
    addLine("first_ray/" + shape + "/200k", fewRounds, [=] {
        struct Shared {
            Triangles triangles;
            StraightRay ray;
            double sum = 0.0;
        };
        auto shared = std::make_shared<Shared>();
        shared->triangles = shape == "sphere" ? makeSphere() : makeTerrain();
        shared->ray = makeRandomRays(shared->triangles).front();
        Case compared;
        compared.units = 1e6;
        compared.unit = "ms/mesh";
        compared.wallTime = true;
        compared.subject = {nullptr,
                            [=] {
                                const TessilUtils::Mesh mesh(shared->triangles.points, shared->triangles.corners);
                                float t = 0.0f;
                                unsigned int face = 0;
                                float u = 0.0f;
                                float v = 0.0f;
                                mesh.intersect(shared->ray.origin, shared->ray.direction, t, face, u, v, false);
                                shared->sum += static_cast<double>(t);
                            },
                            nullptr};
        compared.rivals.push_back({"embree",
                                   {nullptr,
                                    [=] {
                                        EmbreeScene scene(shared->triangles);
                                        shared->sum += scene.cast(shared->ray);
                                    },
                                    nullptr}});
        return compared;
    });
}

}  // namespace

void addRayLines() {
    for (const char* shape : {"sphere", "terrain"}) {
        for (const char* order : {"neighbouring", "random"}) {
            addCase("ray", shape, order, false);
            addCase("ray_both", shape, order, true);
        }
        addFirstRayLine(shape);
    }
}

}  // namespace bench
