#include <TessilGraph/nodes/BlendVectors.h>

#include "MatrixTesting.h"
#include "NodeTesting.h"

#include <Imath/ImathVec.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace tests;
using Imath::V3d;
using TessilGraph::BlendVectors;

namespace {

V3d blend(const V3d& inVector1, const V3d& inVector2, double parameter) {
    const auto node = make<BlendVectors>();
    node->inVector1Port()->set(inVector1);
    node->inVector2Port()->set(inVector2);
    node->inParameterPort()->set(parameter);
    EXPECT_TRUE(node->compute(nullptr));
    return node->outVectorPort()->get();
}

}  // namespace

TEST(BlendVectors, HasTheCommonShape) {
    checkShape<BlendVectors>("BlendVectors", 83);
    const auto node = make<BlendVectors>();
    expectInput(*node, "inVector1", node->inVector1Port());
    expectInput(*node, "inVector2", node->inVector2Port());
    expectInput(*node, "inParameter", node->inParameterPort());
    expectOutput(*node, "outVector", node->outVectorPort());
}

TEST(BlendVectors, IsRegisteredByItsFunction) {
    TessilGraph::registerBlendVectorsNode();
    EXPECT_EQ(takeLog(), alreadyRegistered({"BlendVectors"}));
}

TEST(BlendVectors, MeetsBothEndsExactly) {
    const V3d first(0.1, -0.7, 1e300);
    const V3d second(0.3, 1e-300, 5.5);
    EXPECT_EQ(blend(first, second, 0.0), first);
    EXPECT_EQ(blend(first, second, 1.0), second);
}

TEST(BlendVectors, BlendsBetween) {
    EXPECT_EQ(blend(V3d(0, 10, -4), V3d(8, 20, 4), 0.25), V3d(2, 12.5, -2));
}

TEST(BlendVectors, DoesNotClamp) {
    EXPECT_EQ(blend(V3d(0, 0, 0), V3d(1, 1, 1), 2.0), V3d(2, 2, 2));
    EXPECT_EQ(blend(V3d(0, 0, 0), V3d(1, 1, 1), -1.0), V3d(-1, -1, -1));
}

TEST(BlendVectors, GivesZeroWhenNew) {
    const auto node = make<BlendVectors>();
    node->outVectorPort()->set(V3d(1, 2, 3));
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_EQ(node->outVectorPort()->get(), V3d(0, 0, 0));
}

TEST(BlendVectors, RoundsEachProductAndThenTheSum) {
    const volatile double first = 0.1, second = 0.7, parameter = 0.3;
    const volatile double rest = 1.0 - parameter;
    const volatile double product1 = rest * first, product2 = parameter * second;
    const double expected = product2 + product1;
    EXPECT_EQ(blend(V3d(first), V3d(second), parameter), V3d(expected));
}

TEST(BlendVectors, PassesNaNAndInfinityOn) {
    const V3d withNaN = blend(V3d(notANumber, 1, 1), V3d(2, 2, 2), 0.5);
    EXPECT_TRUE(std::isnan(withNaN.x));
    EXPECT_EQ(withNaN.y, 1.5);
    EXPECT_TRUE(std::isnan(blend(V3d(1, 1, 1), V3d(2, 2, 2), notANumber).z));
    EXPECT_EQ(blend(V3d(1, 1, 1), V3d(infinity, 2, 2), 0.5).x, infinity);
}
