#include <TessilGraph/nodes/ClosestPointOnCurve.h>

#include <TessilUtils/Curve.h>

#include "MatrixTesting.h"
#include "NodeTesting.h"

#include <Imath/ImathVec.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

using namespace tests;
using Imath::V3d;
using Imath::V3f;
using TessilGraph::ClosestPointOnCurve;

namespace {

/// A curve that notes how it is asked and gives the position back as the answer.
class AskedCurve : public TessilUtils::Curve {
public:
    using Curve::Curve;

    std::pair<float, V3f> closestPoint(const V3f& position, unsigned int samplesPerSpan, unsigned int maxIterations,
                                       float tolerance) override {
        ++calls;
        asked = position;
        samples = samplesPerSpan;
        iterations = maxIterations;
        within = tolerance;
        return {0.3f, position};
    }

    int calls = 0;
    V3f asked{};
    unsigned int samples = 0;
    unsigned int iterations = 0;
    float within = 0;
};

const std::vector<V3f> bend{{0, 0, 0}, {1, 2, 0}, {3, 1, 1}, {4, 0, 2}, {6, 1, 0}};

}  // namespace

TEST(ClosestPointOnCurve, HasTheCommonShape) {
    checkShape<ClosestPointOnCurve>("ClosetPointOnCurve", 82);
    const auto node = make<ClosestPointOnCurve>();
    expectInput(*node, "inCurve", node->inCurvePort());
    expectInput(*node, "inPosition", node->inPositionPort());
    expectOutput(*node, "outPosition", node->outPositionPort());
    expectOutput(*node, "outTangent", node->outTangentPort());
    expectOutput(*node, "outParameter", node->outParameterPort());
}

TEST(ClosestPointOnCurve, IsRegisteredByItsFunction) {
    TessilGraph::registerClosetPointOnCurveNode();
    EXPECT_EQ(takeLog(), alreadyRegistered({"ClosetPointOnCurve"}));
}

TEST(ClosestPointOnCurve, FailsWithoutACurveAndKeepsItsOutputs) {
    const auto node = make<ClosestPointOnCurve>();
    EXPECT_FALSE(node->compute(nullptr));
    EXPECT_EQ(node->outTangentPort()->get(), V3d(1, 0, 0));

    node->outPositionPort()->set(V3d(1, 2, 3));
    node->outTangentPort()->set(V3d(4, 5, 6));
    node->outParameterPort()->set(0.5);
    EXPECT_FALSE(node->compute(nullptr));
    EXPECT_EQ(node->outPositionPort()->get(), V3d(1, 2, 3));
    EXPECT_EQ(node->outTangentPort()->get(), V3d(4, 5, 6));
    EXPECT_EQ(node->outParameterPort()->get(), 0.5);
}

TEST(ClosestPointOnCurve, DoesNotAskACurveWithoutControlVertices) {
    AskedCurve curve;
    const auto node = make<ClosestPointOnCurve>();
    node->inCurvePort()->set(&curve);
    node->outParameterPort()->set(0.5);
    EXPECT_FALSE(node->compute(nullptr));
    EXPECT_EQ(curve.calls, 0);
    EXPECT_EQ(node->outParameterPort()->get(), 0.5);
}

TEST(ClosestPointOnCurve, AsksOnceWithFixedSettings) {
    AskedCurve curve(bend);
    const auto node = make<ClosestPointOnCurve>();
    node->inCurvePort()->set(&curve);
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_EQ(curve.calls, 1);
    EXPECT_EQ(curve.samples, 6u);
    EXPECT_EQ(curve.iterations, 10u);
    EXPECT_EQ(curve.within, 0.0001f);
}

TEST(ClosestPointOnCurve, AsksAndAnswersInSinglePrecision) {
    // None of these is a float.
    const V3d position(0.1, -1.0 / 3.0, 16777217.0);
    AskedCurve curve(bend);
    const auto node = make<ClosestPointOnCurve>();
    node->inCurvePort()->set(&curve);
    node->inPositionPort()->set(position);
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_EQ(curve.asked, V3f(0.1f, -0.333333343f, 16777216.0f));
    EXPECT_EQ(node->outPositionPort()->get(), V3d(0.10000000149011612, -0.3333333432674408, 16777216.0));
    EXPECT_EQ(node->outParameterPort()->get(), 0.30000001192092896);
    const V3f tangent = curve.tangentOnCurve(0.3f);
    EXPECT_EQ(node->outTangentPort()->get(), V3d(tangent));
}

TEST(ClosestPointOnCurve, TakesPositionsBeyondFloatForInfinities) {
    constexpr double largestFloat = std::numeric_limits<float>::max();
    AskedCurve curve(bend);
    const auto node = make<ClosestPointOnCurve>();
    node->inCurvePort()->set(&curve);
    node->inPositionPort()->set(V3d(1e39, -1e300, infinity));
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_EQ(node->outPositionPort()->get(), V3d(infinity, -infinity, infinity));

    // Half a step beyond the largest float rounds up; what is nearer to it does not.
    node->inPositionPort()->set(
        V3d(largestFloat * (1.0 + 1.0 / 67108864.0), largestFloat * (1.0 + 1.0 / 16777216.0), -largestFloat));
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_EQ(node->outPositionPort()->get(), V3d(largestFloat, infinity, -largestFloat));

    node->inPositionPort()->set(V3d(notANumber, 1e-50, -1e-50));
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_TRUE(std::isnan(node->outPositionPort()->get().x));
    EXPECT_EQ(node->outPositionPort()->get().y, 0.0);
    EXPECT_TRUE(std::signbit(node->outPositionPort()->get().z));
}

TEST(ClosestPointOnCurve, FindsAPointOfTheCurveAndItsParameter) {
    TessilUtils::Curve curve(bend);
    const auto node = make<ClosestPointOnCurve>();
    node->inCurvePort()->set(&curve);
    for (const float parameter : {0.0f, 0.15f, 0.4f, 0.5f, 0.77f, 1.0f}) {
        const V3d position(curve.pointOnCurve(parameter));
        node->inPositionPort()->set(position);
        EXPECT_TRUE(node->compute(nullptr));
        EXPECT_LT((node->outPositionPort()->get() - position).length(), 1e-5) << parameter;
        EXPECT_NEAR(node->outParameterPort()->get(), static_cast<double>(parameter), 1e-5);
        const V3d tangent(curve.tangentOnCurve(static_cast<float>(node->outParameterPort()->get())));
        EXPECT_EQ(node->outTangentPort()->get(), tangent) << parameter;
        EXPECT_GT(std::fabs(tangent.length() - 1.0), 0.1) << "the tangent is not normalised";
    }
}

TEST(ClosestPointOnCurve, PutsTheTangentBackOnReset) {
    TessilUtils::Curve curve(bend);
    const auto node = make<ClosestPointOnCurve>();
    node->inCurvePort()->set(&curve);
    EXPECT_TRUE(node->compute(nullptr));
    ASSERT_NE(node->outTangentPort()->get(), V3d(1, 0, 0));
    node->setDirty(false);
    node->reset();
    EXPECT_EQ(node->outTangentPort()->get(), V3d(1, 0, 0));
    EXPECT_EQ(node->outPositionPort()->get(), V3d(0, 0, 0));
    EXPECT_EQ(node->inCurvePort()->get(), nullptr);
    EXPECT_FALSE(node->isDirty());
}

TEST(ClosestPointOnCurve, ClonesThePointerNotTheCurve) {
    TessilUtils::Curve curve(bend);
    const auto node = make<ClosestPointOnCurve>();
    node->inCurvePort()->set(&curve);
    const std::unique_ptr<TessilGraph::Node> copy(node->clone());
    EXPECT_EQ(dynamic_cast<ClosestPointOnCurve&>(*copy).inCurvePort()->get(), &curve);
}
