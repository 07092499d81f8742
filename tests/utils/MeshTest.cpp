#include <TessilUtils/Mesh.h>

#include <TessilUtils/Logger.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

using Imath::V3d;
using Imath::V3f;
using TessilUtils::Mesh;

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinite = std::numeric_limits<float>::infinity();
constexpr float largest = std::numeric_limits<float>::max();

// Lives, with its search tree, until the very end of the process.
Mesh lastMesh;

// Collects what is logged while it lives.
class Log {
public:
    Log()
        : before_(TessilUtils::Logger::setSink(
              [this](TessilUtils::LogLevel, const std::string& message) { messages.push_back(message); })) {}
    ~Log() { TessilUtils::Logger::setSink(before_); }

    std::vector<std::string> messages;

private:
    TessilUtils::Logger::Sink before_;
};

struct Record {
    bool hit = false;
    float t = -7;
    unsigned int faceId = 77;
    float u = -5;
    float v = -6;
};

Record cast(const Mesh& mesh, const V3f& origin, const V3f& direction, bool bothDirections = false) {
    Record record;
    record.hit = mesh.intersect(origin, direction, record.t, record.faceId, record.u, record.v, bothDirections);
    return record;
}

bool isUntouched(const Record& record) {
    return record.t == -7 && record.faceId == 77 && record.u == -5 && record.v == -6;
}

// Where the record says that the ray met the mesh, by the weights of the corners.
V3d weightedPoint(const Mesh& mesh, const Record& record) {
    const unsigned int* corners = &mesh.triangles()[3 * static_cast<std::size_t>(record.faceId)];
    const double u = record.u;
    const double v = record.v;
    return V3d(mesh.points()[corners[0]]) * u + V3d(mesh.points()[corners[1]]) * v +
           V3d(mesh.points()[corners[2]]) * (1 - u - v);
}

// One triangle around the z axis in the plane at height z.
Mesh triangleAt(float z) {
    return Mesh({V3f(2, 0, z), V3f(-1, 2, z), V3f(-1, -2, z)}, {0, 1, 2});
}

Mesh sphere(unsigned int rings, unsigned int sides, const V3f& centre = V3f(0), float size = 1) {
    constexpr double pi = 3.14159265358979323846;
    std::vector<V3f> points{centre + V3f(0, size, 0), centre - V3f(0, size, 0)};
    std::vector<unsigned int> triangles;
    const auto at = [&](unsigned int ring, unsigned int side) { return 2 + ring * sides + side % sides; };
    for (unsigned int ring = 0; ring < rings; ++ring) {
        for (unsigned int side = 0; side < sides; ++side) {
            const double latitude = pi * (ring + 1) / (rings + 1);
            const double longitude = 2 * pi * side / sides;
            const V3d direction(std::sin(latitude) * std::cos(longitude), std::cos(latitude),
                                std::sin(latitude) * std::sin(longitude));
            points.push_back(centre + V3f(direction) * size);
            if (ring == 0) {
                triangles.insert(triangles.end(), {0, at(0, side + 1), at(0, side)});
            } else {
                triangles.insert(triangles.end(), {at(ring - 1, side), at(ring - 1, side + 1), at(ring, side)});
                triangles.insert(triangles.end(), {at(ring - 1, side + 1), at(ring, side + 1), at(ring, side)});
            }
            if (ring == rings - 1) {
                triangles.insert(triangles.end(), {1, at(ring, side), at(ring, side + 1)});
            }
        }
    }
    return Mesh(points, triangles);
}

// A hilly grid of cells x cells squares over [-1, 1], seen from above without a gap.
Mesh terrain(unsigned int cells, const V3f& centre = V3f(0), float size = 1) {
    std::vector<V3f> points;
    std::vector<unsigned int> triangles;
    for (unsigned int row = 0; row <= cells; ++row) {
        for (unsigned int column = 0; column <= cells; ++column) {
            const float x = 2 * static_cast<float>(column) / static_cast<float>(cells) - 1;
            const float z = 2 * static_cast<float>(row) / static_cast<float>(cells) - 1;
            points.push_back(centre + V3f(x, 0.2f * std::sin(7 * x) * std::cos(5 * z), z) * size);
            if (row < cells && column < cells) {
                const unsigned int a = row * (cells + 1) + column;
                const unsigned int c = a + cells + 1;
                triangles.insert(triangles.end(), {a, c, a + 1, a + 1, c, c + 1});
            }
        }
    }
    return Mesh(points, triangles);
}

class Random {
public:
    explicit Random(unsigned int seed) : engine_(seed) {}
    float number(float low = -1, float high = 1) {
        return low + (high - low) * static_cast<float>(engine_() >> 8) * 0x1p-24f;
    }
    V3f vector(float size = 1) {
        const float x = number(-size, size);
        const float y = number(-size, size);
        return V3f(x, y, number(-size, size));
    }
    std::size_t index(std::size_t count) { return engine_() % count; }

private:
    std::mt19937 engine_;
};

// Aims at corners, points of edges and points of faces of the mesh in turn.
V3f target(const Mesh& mesh, Random& random, std::size_t turn) {
    const unsigned int* corners = &mesh.triangles()[3 * random.index(mesh.triangles().size() / 3)];
    const V3d a(mesh.points()[corners[0]]);
    const V3d b(mesh.points()[corners[1]]);
    const V3d c(mesh.points()[corners[2]]);
    const double along = random.number(0, 1);
    switch (turn % 4) {
        case 0:
            return mesh.points()[corners[0]];
        case 1:
            return V3f(a + (b - a) * along);
        case 2:
            return V3f((b + c) / 2);
        default:
            return V3f(a + (b - a) * along + (c - a) * ((1 - along) * random.number(0, 1)));
    }
}

// The nearest hit by testing every triangle in long double, as signed volumes. `margin` is by how
// much, as a weight, the ray passes inside or outside the nearest decision that it took.
struct Reference {
    bool hit = false;
    long double t = 0;
    long double margin = 1;
};

Reference reference(const Mesh& mesh, const V3f& origin, const V3f& direction, bool bothDirections) {
    using V = Imath::Vec3<long double>;
    const V from(origin);
    const V to(direction);
    Reference best;
    for (std::size_t i = 0; i < mesh.triangles().size(); i += 3) {
        const V a = V(mesh.points()[mesh.triangles()[i]]) - from;
        const V b = V(mesh.points()[mesh.triangles()[i + 1]]) - from;
        const V c = V(mesh.points()[mesh.triangles()[i + 2]]) - from;
        const long double weights[] = {to.dot(b.cross(c)), to.dot(c.cross(a)), to.dot(a.cross(b))};
        const long double sum = weights[0] + weights[1] + weights[2];
        if (sum == 0) {
            continue;
        }
        const long double least = std::min({weights[0] / sum, weights[1] / sum, weights[2] / sum});
        const V point = (a * weights[0] + b * weights[1] + c * weights[2]) / sum;
        const long double t = point.dot(to) / to.dot(to);
        if (t < 0 && !bothDirections) {
            continue;
        }
        best.margin = std::min(best.margin, std::fabs(least));
        if (least >= 0 && (!best.hit || std::fabs(t) < std::fabs(best.t))) {
            best.hit = true;
            best.t = t;
        }
    }
    return best;
}

}  // namespace

TEST(Mesh, IsEmptyByDefault) {
    const Mesh mesh;
    EXPECT_TRUE(mesh.points().empty());
    EXPECT_TRUE(mesh.triangles().empty());
    EXPECT_TRUE(mesh.faceVertexNormals().empty());
    const Record record = cast(mesh, V3f(0), V3f(0, 0, 1));
    EXPECT_FALSE(record.hit);
    EXPECT_TRUE(isUntouched(record));
}

TEST(Mesh, KeepsWhatItIsGiven) {
    const std::vector<V3f> points{V3f(0), V3f(1, 0, 0), V3f(0, 1, 0), V3f(9)};
    const std::vector<unsigned int> triangles{0, 1, 2, 2, 1, 0};
    const std::vector<V3f> normals{V3f(1), V3f(2), V3f(3), V3f(4), V3f(5), V3f(6)};
    const Mesh mesh(points, triangles, normals);
    EXPECT_EQ(mesh.points(), points);
    EXPECT_EQ(mesh.triangles(), triangles);
    EXPECT_EQ(mesh.faceVertexNormals(), normals);
}

TEST(Mesh, KeepsPointsWithoutTriangles) {
    const Mesh mesh({V3f(1)}, {});
    EXPECT_EQ(mesh.points().size(), 1u);
    EXPECT_FALSE(cast(mesh, V3f(0), V3f(1)).hit);
}

TEST(Mesh, IsEmptyAndSaysWhyWhenItsListsDoNotFit) {
    const std::vector<V3f> points{V3f(0), V3f(1, 0, 0), V3f(0, 1, 0)};
    const struct {
        std::vector<unsigned int> triangles;
        std::vector<V3f> normals;
        std::string reason;
    } cases[] = {
        {{0, 1, 3}, {}, "triangle index 3"},
        {{0, 1, std::numeric_limits<unsigned int>::max()}, {}, "triangle index 4294967295"},
        {{0, 1, 2, 0}, {}, "4 triangle indices"},
        {{0, 1, 2}, {V3f(1)}, "1 face vertex normals"},
        {{}, {V3f(1), V3f(1), V3f(1)}, "3 face vertex normals"},
    };
    for (const auto& wrong : cases) {
        SCOPED_TRACE(wrong.reason);
        Log log;
        const Mesh mesh(points, wrong.triangles, wrong.normals);
        EXPECT_TRUE(mesh.points().empty());
        EXPECT_TRUE(mesh.triangles().empty());
        EXPECT_TRUE(mesh.faceVertexNormals().empty());
        ASSERT_EQ(log.messages.size(), 1u);
        EXPECT_NE(log.messages[0].find(wrong.reason), std::string::npos) << log.messages[0];
    }
}

TEST(Mesh, SharesItsGeometryWithCopies) {
    const Mesh mesh = triangleAt(1);
    const Mesh copy = mesh;
    Mesh assigned;
    assigned = copy;
    EXPECT_EQ(copy.points().data(), mesh.points().data());
    EXPECT_EQ(assigned.points().data(), mesh.points().data());
    EXPECT_EQ(assigned.triangles().data(), mesh.triangles().data());
    EXPECT_EQ(assigned.faceVertexNormals().data(), mesh.faceVertexNormals().data());
}

TEST(Mesh, OutlivesTheMeshItWasCopiedFrom) {
    Mesh copy;
    {
        const Mesh mesh = triangleAt(1);
        ASSERT_TRUE(cast(mesh, V3f(0), V3f(0, 0, 1)).hit);
        copy = mesh;
    }
    EXPECT_TRUE(cast(copy, V3f(0), V3f(0, 0, 1)).hit);
}

TEST(Mesh, GivesFacesTheirOwnUnitNormals) {
    const Mesh mesh({V3f(0), V3f(5, 0, 0), V3f(0, 7, 0)}, {0, 1, 2, 0, 2, 1});
    const std::vector<V3f> expected{V3f(0, 0, 1),  V3f(0, 0, 1),  V3f(0, 0, 1),
                                    V3f(0, 0, -1), V3f(0, 0, -1), V3f(0, 0, -1)};
    EXPECT_EQ(mesh.faceVertexNormals(), expected);
}

TEST(Mesh, GivesNormalsToFacesOfAnySize) {
    for (const float size : {1e-44f, 1e-30f, 1e30f, largest}) {
        const Mesh mesh({V3f(0), V3f(size, 0, 0), V3f(0, size, 0)}, {0, 1, 2});
        EXPECT_EQ(mesh.faceVertexNormals()[0], V3f(0, 0, 1)) << size;
    }
}

TEST(Mesh, GivesFacesWithoutDirectionTheZeroVector) {
    const Mesh mesh({V3f(0), V3f(1), V3f(2), V3f(notANumber, 0, 0), V3f(0, infinite, 0)},
                    {0, 1, 2, 1, 1, 1, 0, 1, 3, 0, 1, 4});
    for (const V3f& normal : mesh.faceVertexNormals()) {
        EXPECT_EQ(normal, V3f(0));
    }
}

TEST(Mesh, GivesTheWeightsOfTheFirstAndSecondCorner) {
    const std::vector<V3f> points{V3f(0, 0, 4), V3f(8, 0, 4), V3f(0, 8, 4)};
    const Mesh mesh(points, {1, 2, 0});
    const struct {
        V3f aim;
        float u, v;
    } cases[] = {
        {V3f(8, 0, 4), 1, 0},          {V3f(0, 8, 4), 0, 1},     {V3f(0, 0, 4), 0, 0},
        {V3f(2, 1, 4), 0.25f, 0.125f}, {V3f(4, 4, 4), 0.5, 0.5},
    };
    for (const auto& expected : cases) {
        const Record record = cast(mesh, V3f(expected.aim.x, expected.aim.y, 0), V3f(0, 0, 2));
        ASSERT_TRUE(record.hit) << expected.aim;
        EXPECT_EQ(record.t, 2);
        EXPECT_EQ(record.faceId, 0u);
        EXPECT_EQ(record.u, expected.u) << expected.aim;
        EXPECT_EQ(record.v, expected.v) << expected.aim;
    }
}

TEST(Mesh, ReportsTheNearestTriangle) {
    std::vector<V3f> points;
    std::vector<unsigned int> triangles;
    for (const float z : {3.0f, 1.0f, 2.0f, -1.5f}) {
        for (const V3f& point : {V3f(2, 0, z), V3f(-1, 2, z), V3f(-1, -2, z)}) {
            triangles.push_back(static_cast<unsigned int>(points.size()));
            points.push_back(point);
        }
    }
    const Mesh mesh(points, triangles);
    EXPECT_EQ(cast(mesh, V3f(0), V3f(0, 0, 1)).faceId, 1u);
    EXPECT_EQ(cast(mesh, V3f(0, 0, 5), V3f(0, 0, -1)).faceId, 0u);
    EXPECT_EQ(cast(mesh, V3f(0, 0, 1.5f), V3f(0, 0, 1)).faceId, 2u);
}

TEST(Mesh, SeesWhatIsBehindOnlyWithBothDirections) {
    const Mesh mesh = triangleAt(-3);
    const Record forward = cast(mesh, V3f(0), V3f(0, 0, 2));
    EXPECT_FALSE(forward.hit);
    EXPECT_TRUE(isUntouched(forward));
    const Record both = cast(mesh, V3f(0), V3f(0, 0, 2), true);
    ASSERT_TRUE(both.hit);
    EXPECT_EQ(both.t, -1.5f);
}

TEST(Mesh, ReportsTheNearestOfBothDirections) {
    const Mesh mesh({V3f(2, 0, 3), V3f(-1, 2, 3), V3f(-1, -2, 3), V3f(2, 0, -2), V3f(-1, 2, -2), V3f(-1, -2, -2)},
                    {0, 1, 2, 3, 4, 5});
    EXPECT_EQ(cast(mesh, V3f(0), V3f(0, 0, 1), true).t, -2);
    EXPECT_EQ(cast(mesh, V3f(0, 0, 1), V3f(0, 0, 1), true).t, 2);
    EXPECT_EQ(cast(mesh, V3f(0, 0, 1000), V3f(0, 0, 1), true).t, -997);
    EXPECT_EQ(cast(mesh, V3f(0, 0, -1000), V3f(0, 0, 1), true).t, 998);
}

TEST(Mesh, IsHitWhereARayStartsOnIt) {
    const Mesh mesh = triangleAt(1);
    for (const V3f& direction : {V3f(0, 0, 1), V3f(0, 0, -1), V3f(1, 1, 0.001f)}) {
        const Record record = cast(mesh, V3f(0, 0, 1), direction);
        ASSERT_TRUE(record.hit) << direction;
        EXPECT_EQ(record.t, 0);
        EXPECT_FALSE(std::signbit(record.t));
    }
}

TEST(Mesh, LeavesTheRecordOfAMissAlone) {
    const Mesh mesh = triangleAt(1);
    EXPECT_TRUE(isUntouched(cast(mesh, V3f(0), V3f(0, 0, -1))));
    EXPECT_TRUE(isUntouched(cast(mesh, V3f(0), V3f(1, 0, 0))));
    EXPECT_TRUE(isUntouched(cast(mesh, V3f(0, 3, 0), V3f(0, 0, 1))));
    EXPECT_TRUE(isUntouched(cast(mesh, V3f(0, 3000, 0), V3f(0, 0, 1), true)));
}

TEST(Mesh, IsMissedByRaysThatAreNone) {
    const Mesh mesh = triangleAt(0);
    for (const float bad : {notANumber, infinite, -infinite}) {
        for (int axis = 0; axis < 3; ++axis) {
            V3f broken(0, 0, 1);
            broken[axis] = bad;
            for (const bool bothDirections : {false, true}) {
                EXPECT_TRUE(isUntouched(cast(mesh, broken, V3f(0, 0, -1), bothDirections)));
                EXPECT_TRUE(isUntouched(cast(mesh, V3f(0, 0, 1), broken, bothDirections)));
                EXPECT_TRUE(isUntouched(cast(mesh, broken, broken, bothDirections)));
            }
        }
    }
    EXPECT_TRUE(isUntouched(cast(mesh, V3f(0), V3f(0), true)));
    EXPECT_TRUE(isUntouched(cast(mesh, V3f(0, 0, 1), V3f(0.0f, -0.0f, 0.0f), true)));
}

TEST(Mesh, TakesDirectionsOfAnyLength) {
    const Mesh mesh = triangleAt(1);
    for (const float length : {1e-38f, 1e-20f, 0.5f, 3.0f, 1e18f, 1e30f, largest}) {
        const Record record = cast(mesh, V3f(0), V3f(0, 0, length));
        ASSERT_TRUE(record.hit) << length;
        EXPECT_FLOAT_EQ(record.t, static_cast<float>(1.0 / length)) << length;
    }
}

TEST(Mesh, TakesOriginsFromFarAway) {
    const Mesh mesh = triangleAt(0);
    for (const float distance : {1e3f, 1e9f, 1e18f, 2e18f, 1e30f, largest}) {
        const Record record = cast(mesh, V3f(0, 0, distance), V3f(0, 0, -1));
        ASSERT_TRUE(record.hit) << distance;
        EXPECT_EQ(record.t, distance);
        EXPECT_FALSE(cast(mesh, V3f(0, 0, distance), V3f(0, 0, 1)).hit) << distance;
        EXPECT_FALSE(cast(mesh, V3f(distance, 0, 1), V3f(0, 0, -1)).hit) << distance;
        EXPECT_FALSE(cast(mesh, V3f(3, 0, distance), V3f(0, 0, -1)).hit) << distance;
    }
}

TEST(Mesh, MayBeOfAnySize) {
    for (const float size : {1e-44f, 1e-30f, 1e-10f, 1e10f, 1e18f, 1e25f, 1e38f}) {
        const Mesh mesh({V3f(2, 0, 1) * size, V3f(-1, 2, 1) * size, V3f(-1, -2, 1) * size}, {0, 1, 2});
        const Record record = cast(mesh, V3f(0), V3f(0, 0, size));
        ASSERT_TRUE(record.hit) << size;
        EXPECT_EQ(record.t, 1) << size;
        EXPECT_FALSE(cast(mesh, V3f(0, 3, 0) * size, V3f(0, 0, 1)).hit) << size;
    }
}

TEST(Mesh, IsHitBesideCornersThatAreHuge) {
    const Mesh mesh({V3f(2, 0, 1), V3f(-1, 2, 1), V3f(-1, -2, 1), V3f(1e30f, 0, 0), V3f(0, 1e30f, 0), V3f(0, 0, 1e30f)},
                    {0, 1, 2, 3, 4, 5});
    EXPECT_EQ(cast(mesh, V3f(0), V3f(0, 0, 1)).faceId, 0u);
    const Record record = cast(mesh, V3f(0), V3f(1));
    ASSERT_TRUE(record.hit);
    EXPECT_EQ(record.faceId, 1u);
    EXPECT_FLOAT_EQ(record.t, 1e30f / 3);
}

TEST(Mesh, IsHitOnItsSoundTrianglesOnly) {
    const std::vector<V3f> points{V3f(2, 0, 3),          V3f(-1, 2, 3), V3f(-1, -2, 3),
                                  V3f(2, 0, 1),          V3f(-1, 2, 1), V3f(-1, notANumber, 1),
                                  V3f(-1, -infinite, 1), V3f(0, 0, 1),  V3f(0, 0, 2)};
    const std::vector<unsigned int> broken{3, 4, 5, 3, 4, 6, 7, 7, 7, 7, 8, 7, 3, 3, 4, 7, 8, 8};
    std::vector<unsigned int> triangles = broken;
    triangles.insert(triangles.end(), {0, 1, 2});
    const Record record = cast(Mesh(points, triangles), V3f(0), V3f(0, 0, 1));
    ASSERT_TRUE(record.hit);
    EXPECT_EQ(record.faceId, 6u);
    EXPECT_TRUE(isUntouched(cast(Mesh(points, broken), V3f(0), V3f(0, 0, 1), true)));
}

TEST(Mesh, IsHitOnTheOnlySoundTriangleOfMany) {
    const std::vector<V3f> points{V3f(2, 0, 3), V3f(-1, 2, 3), V3f(-1, -2, 3), V3f(500), V3f(notANumber)};
    constexpr unsigned int count = 20000;
    for (const unsigned int sound : {0u, 1u, count / 2, count - 1}) {
        std::vector<unsigned int> triangles;
        for (unsigned int face = 0; face < count; ++face) {
            if (face == sound) {
                triangles.insert(triangles.end(), {0, 1, 2});
            } else {
                triangles.insert(triangles.end(), {3, face % 2 + 3, 3});
            }
        }
        const Mesh mesh(points, triangles);
        const Record record = cast(mesh, V3f(0), V3f(0, 0, 1));
        ASSERT_TRUE(record.hit) << sound;
        EXPECT_EQ(record.faceId, sound);
        EXPECT_EQ(record.t, 3);
        EXPECT_FALSE(cast(mesh, V3f(499), V3f(1)).hit) << sound;
    }
}

TEST(Mesh, RoundsWhatItFindsInDoublePrecision) {
    Random random(8);
    for (int round = 0; round < 300; ++round) {
        const std::vector<V3f> points{random.vector(), random.vector(), random.vector()};
        const Mesh mesh(points, {0, 1, 2});
        const V3d corner(points[0]);
        const V3d edge1 = V3d(points[1]) - corner;
        const V3d edge2 = V3d(points[2]) - corner;
        const V3d normal = edge1.cross(edge2);
        for (std::size_t ray = 0; ray < 20; ++ray) {
            const V3f origin = random.vector(3);
            const V3f direction = (target(mesh, random, 3) - origin) * random.number(0.1f, 3);
            const Record record = cast(mesh, origin, direction);
            if (!record.hit) {
                continue;
            }
            const V3d from = V3d(origin) - corner;
            const double volume = -V3d(direction).dot(normal);
            const double sign = volume < 0 ? -1 : 1;
            const V3d moment = from.cross(V3d(direction)) * sign;
            const double second = std::max(edge2.dot(moment), 0.0);
            const double third = std::max(-edge1.dot(moment), 0.0);
            const double first = std::max(volume * sign - edge2.dot(moment) + edge1.dot(moment), 0.0);
            const double sum = first + second + third;
            ASSERT_EQ(record.t, static_cast<float>(sign * from.dot(normal) / (volume * sign)));
            ASSERT_EQ(record.u, static_cast<float>(std::max(1 - second / sum - third / sum, 0.0)));
            ASSERT_NEAR(record.v, second / sum, 1e-7);
        }
    }
}

TEST(Mesh, AgreesWithTestingEveryTriangle) {
    Random random(1);
    std::size_t hits = 0;
    std::size_t decided = 0;
    for (int round = 0; round < 60; ++round) {
        const float size = std::pow(10.0f, static_cast<float>(round % 7 - 3));
        const V3f centre = random.vector(round % 3 == 0 ? 50 * size : 0);
        std::vector<V3f> points;
        std::vector<unsigned int> triangles;
        for (unsigned int i = 0; i < 120; ++i) {
            const V3f corner = centre + random.vector(size);
            const float spread = i % 5 == 0 ? 0.02f * size : 0.5f * size;
            for (unsigned int k = 0; k < 3; ++k) {
                points.push_back(corner + random.vector(spread));
                triangles.push_back(3 * i + k);
            }
        }
        const Mesh mesh(points, triangles);
        for (std::size_t ray = 0; ray < 300; ++ray) {
            const float distance = ray % 5 == 0 ? 100 * size : 2 * size;
            const V3f origin = centre + random.vector(distance);
            V3f direction = ray % 3 == 0 ? random.vector() : target(mesh, random, 3) - origin;
            direction *= random.number(0.01f, 3);
            const bool bothDirections = ray % 2 == 0;
            const Reference expected = reference(mesh, origin, direction, bothDirections);
            if (expected.margin < 1e-7L) {
                continue;  // either answer is right
            }
            ++decided;
            const Record record = cast(mesh, origin, direction, bothDirections);
            ASSERT_EQ(record.hit, expected.hit) << "round " << round << " ray " << ray;
            if (record.hit) {
                ++hits;
                const double t = static_cast<double>(expected.t);
                ASSERT_NEAR(record.t, t, 3e-7 * std::fabs(t)) << "round " << round << " ray " << ray;
                const V3d point = V3d(origin) + V3d(direction) * t;
                ASSERT_LT((weightedPoint(mesh, record) - point).length(),
                          1e-6 * (size + centre.length() + point.length()))
                    << "round " << round << " ray " << ray;
            }
        }
    }
    EXPECT_GT(decided, 17000u);
    EXPECT_GT(hits, 8000u);
}

TEST(Mesh, LetsNoRayOutOfAClosedSurface) {
    Random random(2);
    const struct {
        V3f centre;
        float size;
    } cases[] = {
        {V3f(0), 1}, {V3f(0.1f, -0.3f, 7), 0.37f}, {V3f(900, -700, 333), 3}, {V3f(0), 1e12f}, {V3f(0), 1e-12f}};
    for (const auto& shape : cases) {
        const Mesh mesh = sphere(40, 61, shape.centre, shape.size);
        for (std::size_t ray = 0; ray < 60000; ++ray) {
            const V3f origin = shape.centre + random.vector(0.5f * shape.size);
            const V3f direction = (target(mesh, random, ray) - origin) * (ray % 8 < 4 ? 1 : random.number(0.1f, 9));
            const Record record = cast(mesh, origin, direction);
            ASSERT_TRUE(record.hit) << shape.centre << " size " << shape.size << " ray " << ray;
            ASSERT_TRUE(record.u >= 0 && record.v >= 0 && 1 - record.u - record.v >= 0 &&
                        1 - static_cast<double>(record.u) - record.v >= 0)
                << record.u << " " << record.v;
        }
    }
}

/// The floor is grazed: rays that pass the walls by in their margins meet it, though hardly in its own.
TEST(Mesh, LetsNoRayOutWhereAGrazedTriangleMeetsAnother) {
    Random random(12);
    const unsigned int edges[][2] = {{0, 1}, {1, 3}, {3, 2}, {2, 0}};
    for (const bool isTurned : {false, true}) {
        // So that no coordinate is exact.
        const float c = isTurned ? std::cos(0.5f) : 1.0f;
        const float s = isTurned ? std::sin(0.5f) : 0.0f;
        const auto place = [c, s](const V3f& point) {
            const V3f turned(c * point.x - s * point.y, s * point.x + c * point.y, point.z);
            return V3f(turned.x, c * turned.y - s * turned.z, s * turned.y + c * turned.z);
        };
        std::vector<V3f> corners;
        for (unsigned int i = 0; i < 8; ++i) {
            corners.push_back(
                place({(i & 1) != 0 ? 10.0f : 0.0f, (i & 2) != 0 ? 10.0f : 0.0f, (i & 4) != 0 ? 3.0f : 0.0f}));
        }
        const Mesh room(corners, {0, 1, 2, 1, 3, 2, 4, 6, 5, 5, 6, 7, 0, 4, 1, 1, 4, 5,
                                  2, 3, 6, 3, 7, 6, 0, 2, 4, 2, 6, 4, 1, 5, 3, 3, 5, 7});
        for (const float height : {0.1f, 0.01f, 0.001f}) {
            for (std::size_t ray = 0; ray < 20000; ++ray) {
                const V3f eye = place({random.number(1, 9), random.number(1, 9), height});
                const V3f& start = corners[edges[ray % 4][0]];
                const V3f aim = start + (corners[edges[ray % 4][1]] - start) * random.number(0, 1);
                ASSERT_TRUE(cast(room, eye, aim - eye).hit) << isTurned << " " << height << " ray " << ray;
            }
        }
    }
}

TEST(Mesh, IsHitBehindManyTrianglesThatARayPassesByNarrowly) {
    std::vector<V3f> corners = {V3f(-1, -1, 0), V3f(1, -1, 0), V3f(0, 1, 0)};
    std::vector<unsigned int> triangles = {0, 1, 2};
    for (int step = 1; step <= 40; ++step) {
        const float height = static_cast<float>(step) / 40.0f;
        for (const V3f& corner : {V3f(1e-7f, -1, height), V3f(1, 0, height), V3f(1e-7f, 1, height)}) {
            triangles.push_back(static_cast<unsigned int>(corners.size()));
            corners.push_back(corner);
        }
    }
    const Record record = cast(Mesh(corners, triangles), V3f(0, 0, 2), V3f(0, 0, -1));
    EXPECT_TRUE(record.hit);
    EXPECT_EQ(record.faceId, 0U);
}

TEST(Mesh, IsMetOnTheNearSideByRaysAimedAtItsCornersFromOutside) {
    Random random(3);
    const Mesh mesh = sphere(40, 61);
    for (std::size_t ray = 0; ray < 60000; ++ray) {
        const V3f aim = target(mesh, random, ray);
        const V3f origin = aim * (ray % 4 == 0 ? 300.0f : 3.0f) + random.vector(0.3f);
        const Record record = cast(mesh, origin, aim - origin);
        ASSERT_TRUE(record.hit) << ray;
        ASSERT_NEAR(record.t, 1, 1e-4) << ray;
    }
}

TEST(Mesh, IsHitFromAboveAlongEveryEdgeOfAGrid) {
    Random random(4);
    const Mesh grids[] = {terrain(64), terrain(50, V3f(1000, 20, -3000), 100), terrain(33, V3f(0.7f), 0.01f)};
    for (const Mesh& mesh : grids) {
        V3f low = mesh.points().front();
        V3f high = mesh.points().back();
        const float height = (high.x - low.x) * 0.6f;
        for (std::size_t ray = 0; ray < 60000; ++ray) {
            V3f aim = target(mesh, random, ray);
            const float above = mesh.points()[0].y + height;
            const Record record = cast(mesh, V3f(aim.x, above, aim.z), V3f(0, -1, 0));
            ASSERT_TRUE(record.hit) << aim;
            ASSERT_NEAR(record.t, above - aim.y, 2e-5f * (height + std::fabs(above))) << aim;
        }
    }
}

TEST(Mesh, IsHitOnTheSameOfSeveralNeighboursWhateverElseItHolds) {
    std::mt19937 engine(3);
    const auto eighths = [&engine](unsigned int below, float from) {
        return from + static_cast<float>(engine() % (8 * below)) / 8;
    };
    constexpr unsigned int cells = 16;
    for (int round = 0; round < 20; ++round) {
        std::vector<V3f> points;
        std::vector<unsigned int> triangles;
        for (unsigned int corner = 0; corner <= cells * (cells + 1) + cells; ++corner) {
            const unsigned int row = corner / (cells + 1), column = corner % (cells + 1);
            points.emplace_back(static_cast<float>(column), eighths(1, 0) / 4, static_cast<float>(row));
            if (row < cells && column < cells) {
                const unsigned int below = corner + cells + 1;
                triangles.insert(triangles.end(), {corner, below, corner + 1, corner + 1, below, below + 1});
            }
        }
        const Mesh alone(points, triangles);
        // Other numbers for the search, far from all rays.
        const auto first = static_cast<unsigned int>(points.size());
        const V3f elsewhere(eighths(40, 20), -50, eighths(40, 20));
        points.insert(points.end(), {elsewhere, elsewhere + V3f(1, 0, 0), elsewhere + V3f(0, 0, 1)});
        triangles.insert(triangles.end(), {first, first + 1, first + 2});
        const Mesh withMore(points, triangles);

        for (int ray = 0; ray < 500; ++ray) {
            // A corner, or the middle of an edge. The differences are exact, so that the ray meets all who share it.
            const unsigned int* face = &triangles[3 * (engine() % (2 * cells * cells))];
            const V3f target = (points[face[0]] + points[face[engine() % 2]]) / 2;
            const V3f origin(eighths(cells, 0), eighths(8, 30), eighths(cells, 0));
            const Record expected = cast(alone, origin, target - origin);
            const Record record = cast(withMore, origin, target - origin);
            ASSERT_TRUE(expected.hit);
            ASSERT_EQ(record.faceId, expected.faceId);
            ASSERT_EQ(record.t, expected.t);
            ASSERT_EQ(record.u, expected.u);
            ASSERT_EQ(record.v, expected.v);
        }
    }
}

TEST(Mesh, IsNotHitBesideItsBorder) {
    Random random(5);
    const Mesh mesh({V3f(-1, 0, -1), V3f(1, 0, -1), V3f(1, 0, 1), V3f(-1, 0, 1)}, {0, 1, 2, 0, 2, 3});
    for (int ray = 0; ray < 20000; ++ray) {
        const float beside = std::nextafter(1.0f, 2.0f) + (ray % 2 == 0 ? 0 : random.number(0, 1e-4f));
        const float along = random.number();
        const float side = ray % 4 < 2 ? beside : -beside;
        ASSERT_FALSE(cast(mesh, V3f(side, 1, along), V3f(0, -1, 0)).hit) << side;
        ASSERT_FALSE(cast(mesh, V3f(along, 1, side), V3f(0, -3, 0)).hit) << side;
        ASSERT_TRUE(cast(mesh, V3f(along, 1, std::copysign(1.0f, side)), V3f(0, -1, 0)).hit) << along;
    }
}

TEST(Mesh, IsHitOnSlivers) {
    Random random(6);
    for (const float width : {1e-3f, 1e-5f, 1e-6f, 1e-7f}) {
        // A strip of needles across the x axis.
        std::vector<V3f> points;
        std::vector<unsigned int> triangles;
        for (unsigned int i = 0; i < 50; ++i) {
            const float x = static_cast<float>(i) * width;
            points.push_back(V3f(x, 0, -1));
            points.push_back(V3f(x, 0, 1));
            if (i > 0) {
                triangles.insert(triangles.end(), {2 * i - 2, 2 * i - 1, 2 * i, 2 * i, 2 * i - 1, 2 * i + 1});
            }
        }
        const Mesh mesh(points, triangles);
        for (std::size_t ray = 0; ray < 2000; ++ray) {
            const V3f aim = target(mesh, random, ray);
            ASSERT_TRUE(cast(mesh, V3f(aim.x, 1, aim.z), V3f(0, -1, 0)).hit) << width << " " << aim;
            ASSERT_FALSE(cast(mesh, V3f(-width, 1, aim.z), V3f(0, -1, 0)).hit) << width;
        }
    }
}

TEST(Mesh, IsHitOnNeedlesHoweverTheirCornersAreListed) {
    const float width = 1e-6f;
    const std::vector<V3f> points = {V3f(0, 0, -1), V3f(0, 0, 1), V3f(width, 0, 0.25f)};
    std::vector<unsigned int> corners = {0, 1, 2};
    do {
        const Mesh mesh(points, corners);
        for (const float along : {-0.9f, -0.5f, 0.0f, 0.2f, 0.9f}) {
            const V3f aim(0, 0, along);
            ASSERT_TRUE(cast(mesh, aim + V3f(0, 1, 0), V3f(0, -1, 0)).hit) << corners[0] << corners[1] << along;
            ASSERT_TRUE(cast(mesh, aim - V3f(0, 1, 0), V3f(0, 1, 0)).hit) << corners[0] << corners[1] << along;
        }
        ASSERT_FALSE(cast(mesh, V3f(-width, 1, 0), V3f(0, -1, 0)).hit);
        ASSERT_FALSE(cast(mesh, V3f(2 * width, 1, 0), V3f(0, -1, 0)).hit);
    } while (std::next_permutation(corners.begin(), corners.end()));
}

TEST(Mesh, GivesEveryThreadTheSameAnswersFromTheFirstRayOn) {
    for (int round = 0; round < 8; ++round) {
        const Mesh mesh = sphere(60, 60);
        constexpr unsigned int threadCount = 6;
        std::atomic<unsigned int> waiting{threadCount};
        std::vector<std::vector<Record>> answers(threadCount);
        std::vector<std::thread> threads;
        for (unsigned int thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([&, thread, copy = mesh] {
                Random random(7);
                --waiting;
                while (waiting > 0) {
                    std::this_thread::yield();
                }
                for (int ray = 0; ray < 500; ++ray) {
                    answers[thread].push_back(cast(copy, random.vector(0.4f), random.vector(), ray % 2 == 0));
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        for (unsigned int thread = 0; thread < threadCount; ++thread) {
            for (std::size_t ray = 0; ray < answers[0].size(); ++ray) {
                const Record& one = answers[0][ray];
                const Record& other = answers[thread][ray];
                ASSERT_TRUE(one.hit && other.hit);
                ASSERT_TRUE(one.t == other.t && one.faceId == other.faceId && one.u == other.u && one.v == other.v);
            }
        }
    }
}

#if defined(__SSE2__)
TEST(Mesh, NeitherChangesNorObeysFloatingPointSettings) {
    constexpr unsigned int quiet = 0x1f80;
    constexpr unsigned int trapping = 0;
    constexpr unsigned int flushing = quiet | 0x8040;  // denormals are zero, as operands and as results
    constexpr unsigned int upwards = quiet | 0x4000;
    const V3f origin(0.1f, 0.2f, 0.3f);
    const V3f direction(0.3f, 1e-42f, 0.7f);
    const Record expected = cast(sphere(20, 20), origin, direction, true);
    ASSERT_TRUE(expected.hit);
    const unsigned int before = _mm_getcsr();
    for (const unsigned int settings : {quiet, trapping, flushing, upwards}) {
        std::vector<V3f> points = sphere(20, 20).points();
        std::vector<unsigned int> triangles = sphere(20, 20).triangles();
        points.push_back(V3f(notANumber));
        triangles.insert(triangles.end(), {0, 1, static_cast<unsigned int>(points.size() - 1), 5, 5, 5});
        _mm_setcsr(settings);
        const Mesh mesh(points, triangles);
        const unsigned int afterMaking = _mm_getcsr();
        const Record first = cast(mesh, origin, direction, true);
        const Record second = cast(mesh, origin, direction, true);
        cast(mesh, V3f(notANumber), V3f(infinite));
        cast(mesh, V3f(largest), V3f(1e-44f));
        const unsigned int after = _mm_getcsr();
        _mm_setcsr(before);
        EXPECT_EQ(afterMaking, settings);
        EXPECT_EQ(after, settings);
        for (const Record& record : {first, second}) {
            EXPECT_TRUE(record.hit);
            EXPECT_EQ(record.t, expected.t);
            EXPECT_EQ(record.u, expected.u);
            EXPECT_EQ(record.v, expected.v);
        }
    }
}
#endif

TEST(Mesh, MayLiveUntilTheProcessEnds) {
    lastMesh = sphere(10, 10);
    EXPECT_TRUE(cast(lastMesh, V3f(0), V3f(1)).hit);
}
