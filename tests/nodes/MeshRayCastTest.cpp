#include <TessilGraph/nodes/MeshRayCast.h>

#include <TessilUtils/Mesh.h>

#include "MatrixTesting.h"
#include "NodeTesting.h"

#include <Imath/ImathVec.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using namespace tests;
using Imath::V3d;
using Imath::V3f;
using TessilGraph::MeshRayCast;

namespace {

const std::vector<V3f> cornerNormals{{1, 0, 0}, {0, 2, 0}, {0, 0, 3}, {0.25f, 0.5f, 0.125f}, {-1, 0.5f, 0}, {0, -4, 8}};

/// Two triangles: the first at height 4 under x, z in the corners (0, 0), (1, 0), (0, 1); the second
/// at height 6, ten to the right.
TessilUtils::Mesh makeMesh() {
    return TessilUtils::Mesh({{0, 4, 0}, {1, 4, 0}, {0, 4, 1}, {10, 6, 0}, {11, 6, 0}, {10, 6, 1}}, {0, 1, 2, 3, 4, 5},
                             cornerNormals);
}

struct Cast {
    explicit Cast(TessilUtils::Mesh& mesh) { node->inMeshPort()->set(&mesh); }

    bool operator()(const V3d& origin, const V3d& direction) {
        node->inOriginPort()->set(origin);
        node->inDirectionPort()->set(direction);
        EXPECT_TRUE(node->compute(nullptr));
        return node->outIntersectPort()->get();
    }

    std::unique_ptr<MeshRayCast> node = make<MeshRayCast>();
};

const V3d up(0, 1, 0);

}  // namespace

TEST(MeshRayCast, HasTheCommonShape) {
    checkShape<MeshRayCast>("MeshRayCast", 82);
    const auto node = make<MeshRayCast>();
    expectInput(*node, "inMesh", node->inMeshPort());
    expectInput(*node, "inOrigin", node->inOriginPort());
    expectInput(*node, "inDirection", node->inDirectionPort());
    expectInput(*node, "inBothDirections", node->inBothDirectionsPort());
    expectOutput(*node, "outIntersect", node->outIntersectPort());
    expectOutput(*node, "outParameter", node->outParameterPort());
    expectOutput(*node, "outFaceId", node->outFaceIdPort());
    expectOutput(*node, "outU", node->outUPort());
    expectOutput(*node, "outV", node->outVPort());
    expectOutput(*node, "outNormal", node->outNormalPort());
    expectOutput(*node, "outPosition", node->outPositionPort());
}

TEST(MeshRayCast, IsRegisteredByItsFunction) {
    TessilGraph::registerMeshRayCastNode();
    EXPECT_EQ(takeLog(), alreadyRegistered({"MeshRayCast"}));
}

TEST(MeshRayCast, FailsWithoutAMeshAndKeepsItsOutputs) {
    TessilUtils::Mesh empty;
    TessilUtils::Mesh made({}, {});
    for (TessilUtils::Mesh* mesh : {static_cast<TessilUtils::Mesh*>(nullptr), &empty, &made}) {
        const auto node = make<MeshRayCast>();
        node->inMeshPort()->set(mesh);
        int seed = 0;
        std::vector<std::string> before;
        for (auto port = node->outputPortBegin(); port != node->outputPortEnd(); ++port) {
            setSample(**port, ++seed);
            before.push_back(describe(**port));
        }
        EXPECT_FALSE(node->compute(nullptr));
        std::vector<std::string> after;
        for (auto port = node->outputPortBegin(); port != node->outputPortEnd(); ++port) {
            after.push_back(describe(**port));
        }
        EXPECT_EQ(after, before);
    }
}

TEST(MeshRayCast, MissesPointsWithoutTriangles) {
    TessilUtils::Mesh mesh({V3f(0, 4, 0), V3f(1, 4, 0), V3f(0, 4, 1)}, {});
    Cast cast(mesh);
    cast.node->outParameterPort()->set(3.0);
    EXPECT_FALSE(cast(V3d(0.25, 0, 0.25), up));
    EXPECT_EQ(cast.node->outParameterPort()->get(), 0.0);
}

TEST(MeshRayCast, ReportsTheHit) {
    TessilUtils::Mesh mesh = makeMesh();
    Cast cast(mesh);
    EXPECT_TRUE(cast(V3d(0.25, 0, 0.5), up));
    EXPECT_EQ(cast.node->outParameterPort()->get(), 4.0);
    EXPECT_EQ(cast.node->outFaceIdPort()->get(), 0);
    EXPECT_EQ(cast.node->outUPort()->get(), 0.25);
    EXPECT_EQ(cast.node->outVPort()->get(), 0.25);
    EXPECT_EQ(cast.node->outPositionPort()->get(), V3d(0.25, 4, 0.5));
    // A quarter, a quarter and a half of the corners' normals, not normalised.
    EXPECT_EQ(cast.node->outNormalPort()->get(), V3d(0.25, 0.5, 1.5));

    EXPECT_TRUE(cast(V3d(10.25, 0, 0.5), up));
    EXPECT_EQ(cast.node->outParameterPort()->get(), 6.0);
    EXPECT_EQ(cast.node->outFaceIdPort()->get(), 1);
}

TEST(MeshRayCast, CountsInLengthsOfTheDirection) {
    TessilUtils::Mesh mesh = makeMesh();
    Cast cast(mesh);
    EXPECT_TRUE(cast(V3d(0.25, 0, 0.5), V3d(0, 8, 0)));
    EXPECT_EQ(cast.node->outParameterPort()->get(), 0.5);
    EXPECT_EQ(cast.node->outPositionPort()->get(), V3d(0.25, 4, 0.5));
}

TEST(MeshRayCast, GivesACornersNormalAtTheCorner) {
    TessilUtils::Mesh mesh = makeMesh();
    Cast cast(mesh);
    ASSERT_TRUE(cast(V3d(10, 0, 0), up));
    ASSERT_EQ(cast.node->outUPort()->get(), 1.0);
    ASSERT_EQ(cast.node->outVPort()->get(), 0.0);
    EXPECT_EQ(cast.node->outNormalPort()->get(), V3d(0.25, 0.5, 0.125));

    ASSERT_TRUE(cast(V3d(11, 0, 0), up));
    ASSERT_EQ(cast.node->outUPort()->get(), 0.0);
    ASSERT_EQ(cast.node->outVPort()->get(), 1.0);
    EXPECT_EQ(cast.node->outNormalPort()->get(), V3d(-1, 0.5, 0));

    ASSERT_TRUE(cast(V3d(10, 0, 1), up));
    ASSERT_EQ(cast.node->outUPort()->get(), 0.0);
    ASSERT_EQ(cast.node->outVPort()->get(), 0.0);
    EXPECT_EQ(cast.node->outNormalPort()->get(), V3d(0, -4, 8));
}

TEST(MeshRayCast, BlendsTheNormalInSinglePrecision) {
    TessilUtils::Mesh mesh = makeMesh();
    Cast cast(mesh);
    Numbers numbers(20240611);
    for (int round = 0; round < 200; ++round) {
        const double x = numbers.between(0.05, 0.45);
        const double z = numbers.between(0.05, 0.45);
        ASSERT_TRUE(cast(V3d(x, 0, z), up));
        const auto u = static_cast<float>(cast.node->outUPort()->get());
        const auto v = static_cast<float>(cast.node->outVPort()->get());
        const volatile float w = 1.0f - u - v;
        V3d expected;
        for (int component = 0; component < 3; ++component) {
            const volatile float first = u * cornerNormals[0][component];
            const volatile float second = v * cornerNormals[1][component];
            const volatile float third = w * cornerNormals[2][component];
            const volatile float both = first + second;
            const volatile float all = both + third;
            expected[component] = static_cast<double>(all);
        }
        EXPECT_EQ(cast.node->outNormalPort()->get(), expected) << "round " << round;
    }
}

TEST(MeshRayCast, RoundsEachProductAndThenEachSumOfTheNormal) {
    TessilUtils::Mesh mesh({{0, 4, 0}, {1, 4, 0}, {0, 4, 1}}, {0, 1, 2},
                           {{0.1f, -0.3f, 0.9f}, {0.7f, 0.2f, -0.6f}, {-0.4f, 1.1f, 0.3f}});
    Cast cast(mesh);
    ASSERT_TRUE(cast(V3d(0.1875, 0, 0.375), up));
    ASSERT_EQ(cast.node->outUPort()->get(), 0.4375);
    ASSERT_EQ(cast.node->outVPort()->get(), 0.1875);
    // Worked out in exact fractions, each step rounded to 24 bits: the weights are 7, 3 and 6
    // sixteenths. Each other order of the sums, each fused product, and a blend in double precision
    // give another value in one component at least.
    const V3f expected(0.0249999911f, 0.318750024f, 0.393749982f);
    EXPECT_EQ(cast.node->outNormalPort()->get(), V3d(expected));
}

TEST(MeshRayCast, FormsThePositionInDoublePrecision) {
    TessilUtils::Mesh mesh = makeMesh();
    Cast cast(mesh);
    const V3d origin(0.1, 1.0 / 3.0, 0.2);
    const V3d direction(0.01, 1.1, 0.02);
    ASSERT_TRUE(cast(origin, direction));
    const double t = cast.node->outParameterPort()->get();
    EXPECT_EQ(t, static_cast<double>(static_cast<float>(t)));
    EXPECT_NEAR(t, (4.0 - 1.0 / 3.0) / 1.1, 1e-6);
    const volatile double x = t * 0.01, y = t * 1.1, z = t * 0.02;
    EXPECT_EQ(cast.node->outPositionPort()->get(), V3d(0.1 + x, 1.0 / 3.0 + y, 0.2 + z));
}

TEST(MeshRayCast, CastsTheRayInSinglePrecision) {
    // In float, both rays are the same one.
    TessilUtils::Mesh mesh = makeMesh();
    Cast cast(mesh);
    ASSERT_TRUE(cast(V3d(0.1, 1.0 / 3.0, 0.2), V3d(0.01, 1.1, 0.02)));
    const double t = cast.node->outParameterPort()->get();
    const double u = cast.node->outUPort()->get();
    const double v = cast.node->outVPort()->get();
    ASSERT_TRUE(cast(V3d(V3f(0.1f, 1.0f / 3.0f, 0.2f)), V3d(V3f(0.01f, 1.1f, 0.02f))));
    EXPECT_EQ(cast.node->outParameterPort()->get(), t);
    EXPECT_EQ(cast.node->outUPort()->get(), u);
    EXPECT_EQ(cast.node->outVPort()->get(), v);
}

TEST(MeshRayCast, KeepsNormalAndPositionOnAMiss) {
    TessilUtils::Mesh mesh = makeMesh();
    Cast cast(mesh);
    ASSERT_TRUE(cast(V3d(10.25, 0, 0.5), up));
    const V3d normal = cast.node->outNormalPort()->get();
    const V3d position = cast.node->outPositionPort()->get();
    ASSERT_EQ(position, V3d(10.25, 6, 0.5));

    EXPECT_FALSE(cast(V3d(5, 0, 5), up));
    EXPECT_EQ(cast.node->outParameterPort()->get(), 0.0);
    EXPECT_EQ(cast.node->outFaceIdPort()->get(), 0);
    EXPECT_EQ(cast.node->outUPort()->get(), 0.0);
    EXPECT_EQ(cast.node->outVPort()->get(), 0.0);
    EXPECT_EQ(cast.node->outNormalPort()->get(), normal);
    EXPECT_EQ(cast.node->outPositionPort()->get(), position);
}

TEST(MeshRayCast, LooksBehindTheOriginOnlyWhenAsked) {
    TessilUtils::Mesh mesh = makeMesh();
    Cast cast(mesh);
    EXPECT_FALSE(cast(V3d(0.25, 6, 0.5), up));
    cast.node->inBothDirectionsPort()->set(true);
    EXPECT_TRUE(cast(V3d(0.25, 6, 0.5), up));
    EXPECT_EQ(cast.node->outParameterPort()->get(), -2.0);
    EXPECT_EQ(cast.node->outPositionPort()->get(), V3d(0.25, 4, 0.5));
}

TEST(MeshRayCast, LooksUpwardsWhenNew) {
    TessilUtils::Mesh mesh = makeMesh();
    const auto node = make<MeshRayCast>();
    node->inMeshPort()->set(&mesh);
    node->inOriginPort()->set(V3d(0.25, 0, 0.5));
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_TRUE(node->outIntersectPort()->get());
}

TEST(MeshRayCast, MissesWithARayBeyondFloat) {
    TessilUtils::Mesh mesh = makeMesh();
    Cast cast(mesh);
    cast.node->inBothDirectionsPort()->set(true);
    for (const double huge : {1e39, -1e39, 1e300, infinity, -infinity, notANumber}) {
        EXPECT_FALSE(cast(V3d(huge, 0, 0.5), up)) << huge;
        EXPECT_FALSE(cast(V3d(0.25, huge, 0.5), up)) << huge;
        EXPECT_FALSE(cast(V3d(0.25, 0, 0.5), V3d(0, huge, 0))) << huge;
    }
    EXPECT_FALSE(cast(V3d(0.25, 0, 0.5), V3d(0, 0, 0)));
    // In single precision there is no direction left.
    EXPECT_FALSE(cast(V3d(0.25, 0, 0.5), V3d(0, 1e-60, 0)));
}

TEST(MeshRayCast, MayReadItsOwnOutputs) {
    TessilUtils::Mesh mesh = makeMesh();
    Cast cast(mesh);
    cast.node->inOriginPort()->setLink(&cast.node->outNormalPort()->getRef());
    cast.node->outNormalPort()->set(V3d(0.25, 0, 0.5));
    EXPECT_TRUE(cast.node->compute(nullptr));
    EXPECT_TRUE(cast.node->outIntersectPort()->get());
    EXPECT_EQ(cast.node->outPositionPort()->get(), V3d(0.25, 4, 0.5));
}

TEST(MeshRayCast, PutsTheRayBackOnReset) {
    TessilUtils::Mesh mesh = makeMesh();
    Cast cast(mesh);
    ASSERT_TRUE(cast(V3d(0.25, 8, 0.5), V3d(0, -1, 0)));
    cast.node->reset();
    EXPECT_EQ(cast.node->inMeshPort()->get(), nullptr);
    EXPECT_EQ(cast.node->inOriginPort()->get(), V3d(0, 0, 0));
    EXPECT_EQ(cast.node->inDirectionPort()->get(), V3d(0, 1, 0));
    EXPECT_EQ(cast.node->outPositionPort()->get(), V3d(0, 0, 0));
}

TEST(MeshRayCast, IsDirtyAfterAReset) {
    TessilUtils::Mesh mesh = makeMesh();
    Cast cast(mesh);
    ASSERT_TRUE(cast(V3d(0.25, 0, 0.5), up));
    cast.node->setDirty(false);
    cast.node->reset();
    EXPECT_TRUE(cast.node->isDirty());
}

TEST(MeshRayCast, ClonesThePointerNotTheMesh) {
    TessilUtils::Mesh mesh = makeMesh();
    const auto node = make<MeshRayCast>();
    node->inMeshPort()->set(&mesh);
    const std::unique_ptr<TessilGraph::Node> copy(node->clone());
    EXPECT_EQ(dynamic_cast<MeshRayCast&>(*copy).inMeshPort()->get(), &mesh);
}
