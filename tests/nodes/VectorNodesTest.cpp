#include <TessilGraph/nodes/VectorNodes.h>

#include "MatrixTesting.h"
#include "NodeTesting.h"

#include <Imath/ImathVec.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace tests;
using namespace TessilGraph;
using Imath::V3d;

namespace {

using AddVector = AddNode<V3d, V3d, V3d, V3d>;
using SubtractVector = SubtractNode<V3d, V3d, V3d, V3d>;
using MultiplyVector = MultiplyNode<V3d, V3d, V3d, V3d>;
using LengthVector = LengthNode<V3d, V3d, double>;
using Length2Vector = Length2Node<V3d, V3d, double>;
using NormalizedVector = NormalizedNode<V3d, V3d, V3d>;
using DotVector = DotNode<V3d, V3d, V3d, double>;
using CrossVector = CrossNode<V3d, V3d, V3d, V3d>;
using ScaleVector = VectorScaleNode<V3d, V3d, double, V3d>;

template <class N>
auto resultOf(const V3d& in) {
    const auto node = make<N>();
    node->inputPort()->set(in);
    EXPECT_TRUE(node->compute(nullptr));
    return node->outputPort()->get();
}

template <class N, class In2>
auto resultOf(const V3d& in1, const In2& in2) {
    const auto node = make<N>();
    node->input1Port()->set(in1);
    node->input2Port()->set(in2);
    EXPECT_TRUE(node->compute(nullptr));
    return node->outputPort()->get();
}

bool isNaN(const V3d& vector) {
    return std::isnan(vector.x) && std::isnan(vector.y) && std::isnan(vector.z);
}

}  // namespace

TEST(VectorNodes, HaveTheCommonShape) {
    checkBinary<AddVector>("AddVector", 33);
    checkBinary<SubtractVector>("SubtractVector", 34);
    checkBinary<MultiplyVector>("MultiplyVector", 35);
    checkUnary<LengthVector>("LengthVector", 36);
    checkUnary<Length2Vector>("Length2Vector", 37);
    checkUnary<NormalizedVector>("NormalizedVector", 38);
    checkBinary<DotVector>("DotVector", 39);
    checkBinary<CrossVector>("CrossVector", 40);
    checkBinary<ScaleVector>("ScaleVector", 41);
    checkShape<VectorToDouble>("VectorToDouble", 42);
    checkShape<DoubleToVector>("DoubleToVector", 43);
}

TEST(VectorNodes, AreRegisteredInAFixedOrder) {
    registerVectorNodes();
    EXPECT_EQ(takeLog(), alreadyRegistered({"AddVector", "SubtractVector", "MultiplyVector", "LengthVector",
                                            "Length2Vector", "NormalizedVector", "DotVector", "CrossVector",
                                            "ScaleVector", "VectorToDouble", "DoubleToVector"}));
}

TEST(VectorNodes, AddSubtractAndMultiplyByComponent) {
    EXPECT_EQ(resultOf<AddVector>(V3d(1, 2, 3), V3d(10, 20, 30)), V3d(11, 22, 33));
    EXPECT_EQ(resultOf<SubtractVector>(V3d(1, 2, 3), V3d(10, 20, 30)), V3d(-9, -18, -27));
    EXPECT_EQ(resultOf<MultiplyVector>(V3d(1, 2, 3), V3d(10, 20, 30)), V3d(10, 40, 90));
}

TEST(LengthNode, NeitherUnderflowsNorLosesDigits) {
    EXPECT_EQ(resultOf<LengthVector>(V3d(2, 3, 6)), 7.0);
    EXPECT_EQ(resultOf<LengthVector>(V3d(0, 0, 0)), 0.0);
    EXPECT_EQ(resultOf<LengthVector>(V3d(0, -1e-200, 0)), 1e-200);
    EXPECT_DOUBLE_EQ(resultOf<LengthVector>(V3d(3e-200, 0, 4e-200)), 5e-200);
    EXPECT_EQ(resultOf<LengthVector>(V3d(0, 0, std::numeric_limits<double>::denorm_min())),
              std::numeric_limits<double>::denorm_min());
}

TEST(LengthNode, OverflowsToInfinity) {
    EXPECT_EQ(resultOf<LengthVector>(V3d(1e200, 0, 0)), infinity);
    EXPECT_TRUE(std::isnan(resultOf<LengthVector>(V3d(notANumber, 0, 0))));
}

TEST(Length2Node, IsTheSumOfSquares) {
    EXPECT_EQ(resultOf<Length2Vector>(V3d(2, 3, 6)), 49.0);
    EXPECT_EQ(resultOf<Length2Vector>(V3d(1e-200, 0, 0)), 0.0);
}

TEST(NormalizedNode, DividesByTheLength) {
    EXPECT_EQ(resultOf<NormalizedVector>(V3d(3, 0, 4)), V3d(0.6, 0, 0.8));
    EXPECT_EQ(resultOf<NormalizedVector>(V3d(0, -7, 0)), V3d(0, -1, 0));
}

TEST(NormalizedNode, KeepsTheZeroVector) {
    EXPECT_EQ(resultOf<NormalizedVector>(V3d(0, 0, 0)), V3d(0, 0, 0));
}

TEST(NormalizedNode, DoesNotUnderflow) {
    EXPECT_EQ(resultOf<NormalizedVector>(V3d(1e-200, 0, 0)), V3d(1, 0, 0));
    EXPECT_EQ(resultOf<NormalizedVector>(V3d(0, 0, -std::numeric_limits<double>::denorm_min())), V3d(0, 0, -1));
}

TEST(NormalizedNode, PassesNaNOn) {
    EXPECT_TRUE(isNaN(resultOf<NormalizedVector>(V3d(notANumber, 1, 2))));
}

TEST(DotNode, IsTheSumOfProducts) {
    EXPECT_EQ(resultOf<DotVector>(V3d(1, 2, 3), V3d(4, -5, 6)), 12.0);
}

TEST(DotNode, RoundsEveryProduct) {
    // With a fused multiply-add the small rest of the first product would survive.
    const double almostOne = 1.0 + std::numeric_limits<double>::epsilon();
    const double rounded = almostOne * almostOne;
    EXPECT_EQ(resultOf<DotVector>(V3d(almostOne, -rounded, 0), V3d(almostOne, 1, 0)), 0.0);
}

TEST(CrossNode, IsRightHanded) {
    EXPECT_EQ(resultOf<CrossVector>(V3d(1, 0, 0), V3d(0, 1, 0)), V3d(0, 0, 1));
    EXPECT_EQ(resultOf<CrossVector>(V3d(0, 1, 0), V3d(1, 0, 0)), V3d(0, 0, -1));
    EXPECT_EQ(resultOf<CrossVector>(V3d(1, 2, 3), V3d(5, 7, 11)), V3d(1, 4, -3));
}

TEST(VectorScaleNode, MultipliesEachComponent) {
    EXPECT_EQ(resultOf<ScaleVector>(V3d(1, 2, 3), -2.0), V3d(-2, -4, -6));
    EXPECT_TRUE(isNaN(resultOf<ScaleVector>(V3d(1, 2, 3), notANumber)));
}

TEST(VectorNodes, PassNaNAndInfinityOn) {
    EXPECT_TRUE(isNaN(resultOf<AddVector>(V3d(notANumber), V3d(1, 2, 3))));
    EXPECT_TRUE(isNaN(resultOf<SubtractVector>(V3d(infinity), V3d(infinity))));
    EXPECT_TRUE(isNaN(resultOf<MultiplyVector>(V3d(infinity), V3d(0, 0, 0))));
    EXPECT_TRUE(std::isnan(resultOf<DotVector>(V3d(infinity, 0, 0), V3d(0, 1, 0))));
}

TEST(VectorToDouble, SplitsAndDoubleToVectorJoinsExactly) {
    const auto split = make<VectorToDouble>();
    expectInput(*split, "vec", split->vecPort());
    expectOutput(*split, "x", split->xPort());
    expectOutput(*split, "y", split->yPort());
    expectOutput(*split, "z", split->zPort());
    const auto join = make<DoubleToVector>();
    expectInput(*join, "x", join->xPort());
    expectInput(*join, "y", join->yPort());
    expectInput(*join, "z", join->zPort());
    expectOutput(*join, "vec", join->vecPort());
    ASSERT_TRUE(split->xPort()->connectTo(join->xPort()));
    ASSERT_TRUE(split->yPort()->connectTo(join->yPort()));
    ASSERT_TRUE(split->zPort()->connectTo(join->zPort()));

    for (const V3d& vector : {V3d(0.1, -0.2, 1e300), V3d(-0.0, 5e-324, infinity), V3d(1, 2, notANumber)}) {
        split->vecPort()->set(vector);
        EXPECT_TRUE(split->compute(nullptr));
        EXPECT_EQ(bitsOf(split->xPort()->get()), bitsOf(vector.x));
        EXPECT_EQ(bitsOf(split->yPort()->get()), bitsOf(vector.y));
        EXPECT_EQ(bitsOf(split->zPort()->get()), bitsOf(vector.z));
        EXPECT_TRUE(join->compute(nullptr));
        EXPECT_EQ(describe(join->vecPort()->get()), describe(vector));
    }
}
