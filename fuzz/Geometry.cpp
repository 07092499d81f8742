// Rays on meshes and closest points on curves, of floats with any bits.

#include <TessilUtils/Curve.h>
#include <TessilUtils/Mesh.h>

#include <fuzz/ArbitraryValues.h>
#include <fuzz/Expect.h>
#include <fuzz/QuietLog.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

using fuzz::Coordinates;
using fuzz::expect;
using Imath::V3d;
using Imath::V3f;
using TessilUtils::Curve;
using TessilUtils::Mesh;

namespace {

std::uint32_t bitsOf(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

bool sameBits(float a, float b) {
    return bitsOf(a) == bitsOf(b);
}

bool sameBits(const V3f& a, const V3f& b) {
    return sameBits(a.x, b.x) && sameBits(a.y, b.y) && sameBits(a.z, b.z);
}

bool isFinite(const V3f& point) {
    return std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z);
}

bool isNan(const V3f& point) {
    return std::isnan(point.x) || std::isnan(point.y) || std::isnan(point.z);
}

double largestOf(const V3f& point) {
    return std::max({std::fabs(double{point.x}), std::fabs(double{point.y}), std::fabs(double{point.z})});
}

struct Ray {
    V3f origin;
    V3f direction;
    bool both;
};

/// What a ray met, and what stood there before.
struct Hit {
    float t = -17.0F;
    unsigned int face = 4711;
    float u = -18.0F;
    float v = -19.0F;
    bool found = false;

    bool sameAs(const Hit& other) const {
        return found == other.found && face == other.face && sameBits(t, other.t) && sameBits(u, other.u) &&
               sameBits(v, other.v);
    }
};

Hit cast(const Mesh& mesh, const Ray& ray) {
    Hit hit;
    hit.found = mesh.intersect(ray.origin, ray.direction, hit.t, hit.face, hit.u, hit.v, ray.both);
    return hit;
}

void checkLists(const Mesh& mesh) {
    expect(mesh.triangles().size() % 3 == 0, "three indices a triangle");
    expect(mesh.faceVertexNormals().size() == mesh.triangles().size(), "a normal a corner");
    for (const unsigned int index : mesh.triangles()) {
        expect(index < mesh.points().size(), "indices of points that there are");
    }
    const Mesh bare(mesh.points(), mesh.triangles());
    for (const V3f& normal : bare.faceVertexNormals()) {
        const double length = V3d(normal).length();
        expect(length == 0.0 || std::fabs(length - 1.0) < 1e-6, "unit normals, or none");
    }
}

void checkHit(const Mesh& mesh, const Hit& hit, bool both) {
    expect(hit.face < mesh.triangles().size() / 3, "a face that there is");
    expect(std::isfinite(hit.t), "a finite distance");
    expect(both || hit.t >= 0.0F, "nothing behind a ray that goes one way");
    expect(hit.u >= 0.0F && hit.u <= 1.0F && hit.v >= 0.0F && hit.v <= 1.0F, "two weights from 0 to 1");
    // The third is the caller's to compute, in floats or in doubles.
    const float third = 1.0F - hit.u - hit.v;
    expect(third >= 0.0F && third <= 1.0F && 1.0 - double{hit.u} - double{hit.v} >= 0.0, "and a third one");
}

std::vector<V3f> cornersOf(const Mesh& mesh, std::size_t face) {
    std::vector<V3f> corners;
    for (std::size_t corner = 3 * face; corner < 3 * face + 3; ++corner) {
        corners.push_back(mesh.points()[mesh.triangles()[corner]]);
    }
    return corners;
}

/// How far the finite corners of triangles lie from zero: their size, and more.
double sizeOf(const Mesh& mesh) {
    double size = 0.0;
    for (const unsigned int index : mesh.triangles()) {
        const V3f& point = mesh.points()[index];
        size = isFinite(point) ? std::max(size, largestOf(point)) : size;
    }
    return size;
}

/// Whether a ray meets a triangle so far from its borders, and at such an angle, that it meets it whatever else is in
/// the mesh. Where rays graze triangles at their borders, rounding decides.
bool isClear(const std::vector<V3f>& corners, const Ray& ray, const Hit& hit, double size) {
    constexpr double steep = 0.02;
    constexpr double margin = 4e-6;
    const V3d edges[3] = {V3d(corners[1]) - V3d(corners[0]), V3d(corners[2]) - V3d(corners[1]),
                          V3d(corners[0]) - V3d(corners[2])};
    const V3d direction(ray.direction);
    const V3d normal = edges[0].cross(edges[1]);
    const double sine = std::fabs(normal.dot(direction)) / (normal.length() * direction.length());
    const double longest = std::max({edges[0].length(), edges[1].length(), edges[2].length()});
    const double inside =
        std::min({double{hit.u}, double{hit.v}, 1.0 - double{hit.u} - double{hit.v}}) * normal.length() / longest;
    const double way = std::max(largestOf(ray.origin), size);
    return sine > steep && inside * sine > margin * size + way * 1e-14;
}

/// A triangle met by itself is met in the mesh, too, or something before it.
void checkFace(const Mesh& mesh, double size, const Ray& ray, const Hit& hit, unsigned int face) {
    const std::vector<V3f> corners = cornersOf(mesh, face);
    Hit alone = cast(Mesh(corners, {0, 1, 2}), ray);
    const bool isTheHit = hit.found && hit.face == face;
    if (!isClear(corners, ray, isTheHit ? hit : alone, size)) {
        return;
    }
    if (isTheHit) {
        alone.face += face;
        expect(alone.sameAs(hit), "the same hit when the triangle is all there is");
    } else if (alone.found) {
        const double length = V3d(ray.direction).length();
        const double allowed = 1e-5 * size / length + 1e-6 * std::fabs(double{alone.t});
        expect(hit.found, "a hit where a triangle is met");
        expect(std::fabs(hit.t) <= std::fabs(double{alone.t}) + allowed, "the first triangle that is met");
    }
}

/// Aimed at the middle of a triangle.
Ray rayAt(const Mesh& mesh, std::size_t face, const V3f& origin, bool both) {
    const std::vector<V3f> corners = cornersOf(mesh, face);
    return {origin, (corners[0] + corners[1] + corners[2]) / 3.0F - origin, both};
}

Hit checkRay(const Mesh& mesh, const Mesh& copy, const Ray& ray) {
    const Hit hit = cast(mesh, ray);
    expect(cast(mesh, ray).sameAs(hit), "the same answer to the same question");
    expect(cast(copy, ray).sameAs(hit), "the same answer from a copy");
    if (hit.found) {
        checkHit(mesh, hit, ray.both);
    } else {
        expect(hit.sameAs(Hit()), "a miss writes nothing");
    }
    return hit;
}

void castRays(FuzzedDataProvider& data) {
    const Mesh mesh = fuzz::anyMesh(data);
    checkLists(mesh);
    const Mesh copy(mesh);
    const double size = sizeOf(mesh);
    const std::size_t faces = mesh.triangles().size() / 3;
    Coordinates coordinates(data);
    // A few only: meshes of one triangle cost as much as the other questions together.
    for (int number = 0; number < 3 && faces > 0; ++number) {
        const auto face = data.ConsumeIntegralInRange<std::size_t>(0, faces - 1);
        const V3f origin = coordinates.point();
        const Ray ray = rayAt(mesh, face, origin, data.ConsumeBool());
        checkFace(mesh, size, ray, checkRay(mesh, copy, ray), static_cast<unsigned int>(face));
    }
    int checksLeft = 2;
    for (int number = 0; number < 6; ++number) {
        const V3f origin = coordinates.point();
        const Ray ray{origin, coordinates.point(), data.ConsumeBool()};
        const Hit hit = checkRay(mesh, copy, ray);
        if (hit.found && checksLeft > 0) {
            --checksLeft;
            checkFace(mesh, size, ray, hit, hit.face);
        }
    }
}

/// A question about a curve.
struct Question {
    V3f position;
    unsigned int samples;
    unsigned int iterations;
    float tolerance;

    std::pair<float, V3f> ask(Curve& curve) const {
        return curve.closestPoint(position, samples, iterations, tolerance);
    }
};

/// The size of everything that has a say, and how far the curve gets with the parameter.
struct Measures {
    explicit Measures(const Curve& curve) {
        const std::vector<V3f>& cvs = curve.cvs();
        for (std::size_t place = 0; place < cvs.size(); ++place) {
            isFinite = isFinite && ::isFinite(cvs[place]);
            size = ::isFinite(cvs[place]) ? std::max(size, largestOf(cvs[place])) : size;
            if (place > 0 && ::isFinite(cvs[place - 1]) && ::isFinite(cvs[place])) {
                speed = std::max(speed, (V3d(cvs[place]) - V3d(cvs[place - 1])).length());
            }
        }
        speed *= static_cast<double>(curve.degree()) * static_cast<double>(cvs.size() - curve.degree());
    }

    bool isFinite = true;
    double size = 0.0;
    double speed = 0.0;
};

/// The point and the parameter are roundings of one place.
void checkPlace(const Curve& curve, const Measures& measures, float parameter, const V3f& found) {
    const V3f there = curve.pointOnCurve(parameter);
    if (curve.degree() == 0) {
        expect(sameBits(there, found), "the vertex at the parameter");
    } else if (isFinite(there) && isFinite(found)) {
        const double allowed = 1e-6 * measures.size + 1e-7 * measures.speed + 1e-44;
        expect((V3d(there) - V3d(found)).length() <= allowed, "the point at the parameter");
    } else {
        expect(!measures.isFinite, "finite points of finite vertices");
    }
}

/// No other place of the curve is nearer.
void checkNearest(const Curve& curve, const Measures& measures, const V3f& position, const V3f& found,
                  float elsewhere) {
    constexpr float largest = std::numeric_limits<float>::max();
    const V3d from(std::clamp(position.x, -largest, largest), std::clamp(position.y, -largest, largest),
                   std::clamp(position.z, -largest, largest));
    const V3f other = curve.pointOnCurve(elsewhere);
    if (!isFinite(other)) {
        return;
    }
    expect(isFinite(found), "a finite point where there is one");
    const double size = std::max(measures.size, largestOf(V3f(from)));
    const double allowed = 4e-6 * size + 1e-44;
    expect((V3d(found) - from).length() <= (V3d(other) - from).length() + allowed, "the nearest place");
}

void findPoints(FuzzedDataProvider& data) {
    Curve curve = fuzz::anyCurve(data);
    const Measures measures(curve);
    const Curve untouched(curve);
    Coordinates coordinates(data);
    for (int point = 0; point < 4; ++point) {
        const Question question{coordinates.point(), data.ConsumeIntegral<std::uint8_t>(),
                                data.ConsumeIntegral<std::uint8_t>(), fuzz::bitsOf<float>(data)};
        const auto [parameter, found] = question.ask(curve);
        expect(parameter >= 0.0F && parameter <= 1.0F, "a parameter on the curve");
        Curve fresh(untouched);
        const auto [parameterAgain, foundAgain] = question.ask(point == 0 ? fresh : curve);
        expect(sameBits(parameterAgain, parameter) && sameBits(foundAgain, found), "the same answer again");
        const float anywhere = fuzz::bitsOf<float>(data);
        curve.tangentOnCurve(anywhere);
        if (curve.cvs().empty()) {
            expect(sameBits(found, V3f(0.0F)) && parameter == 0.0F, "nothing of no curve");
            continue;
        }
        checkPlace(curve, measures, parameter, found);
        if (isNan(question.position)) {
            expect(parameter == 0.0F && sameBits(found, curve.pointOnCurve(0.0F)), "the beginning for no place");
            continue;
        }
        checkNearest(curve, measures, question.position, found, anywhere);
        for (int part = 0; part <= 8; ++part) {
            checkNearest(curve, measures, question.position, found, static_cast<float>(part) / 8.0F);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    FuzzedDataProvider data(bytes, size);
    data.ConsumeBool() ? castRays(data) : findPoints(data);
    return 0;
}
