// Rays on meshes and closest points on curves, of floats with any bits.

#include <TessilUtils/Curve.h>
#include <TessilUtils/Mesh.h>

#include <fuzz/ArbitraryValues.h>
#include <fuzz/Expect.h>
#include <fuzz/QuietLog.h>

#include <cmath>
#include <cstdint>

using fuzz::expect;

namespace {

void castRays(FuzzedDataProvider& data) {
    const TessilUtils::Mesh mesh = fuzz::anyMesh(data);
    const std::size_t faces = mesh.triangles().size() / 3;
    expect(mesh.triangles().size() % 3 == 0, "three indices a triangle");
    expect(mesh.faceVertexNormals().size() == mesh.triangles().size(), "a normal a corner");
    for (const unsigned int index : mesh.triangles()) {
        expect(index < mesh.points().size(), "indices of points that there are");
    }
    for (int ray = 0; ray < 8; ++ray) {
        const Imath::V3f origin = fuzz::anyPoint(data);
        const Imath::V3f direction = fuzz::anyPoint(data);
        const bool both = data.ConsumeBool();
        float t[2], u[2], v[2];
        unsigned int face[2];
        bool hit[2];
        for (int time = 0; time < 2; ++time) {
            t[time] = u[time] = v[time] = 0.0F;
            face[time] = 0;
            hit[time] = mesh.intersect(origin, direction, t[time], face[time], u[time], v[time], both);
        }
        expect(hit[0] == hit[1], "the same hit for the same ray");
        if (hit[0]) {
            expect(face[0] == face[1] && t[0] == t[1] && u[0] == u[1] && v[0] == v[1], "the same numbers for it");
            expect(face[0] < faces, "a face that there is");
            expect(std::isfinite(t[0]) && std::isfinite(u[0]) && std::isfinite(v[0]), "finite numbers");
            expect(both || t[0] >= 0.0F, "nothing behind a ray that goes one way");
        }
    }
}

void findPoints(FuzzedDataProvider& data) {
    TessilUtils::Curve curve = fuzz::anyCurve(data);
    for (int point = 0; point < 4; ++point) {
        const Imath::V3f position = fuzz::anyPoint(data);
        const unsigned int samples = data.ConsumeIntegral<std::uint8_t>();
        const unsigned int iterations = data.ConsumeIntegral<std::uint8_t>();
        const auto [parameter, found] = curve.closestPoint(position, samples, iterations, fuzz::bitsOf<float>(data));
        expect(parameter >= 0.0F && parameter <= 1.0F, "a parameter on the curve");
        const float anywhere = fuzz::bitsOf<float>(data);
        curve.pointOnCurve(anywhere);
        curve.tangentOnCurve(anywhere);
        static_cast<void>(found);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    FuzzedDataProvider data(bytes, size);
    data.ConsumeBool() ? castRays(data) : findPoints(data);
    return 0;
}
