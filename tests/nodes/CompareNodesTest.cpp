#include <TessilGraph/nodes/CompareNodes.h>

#include "MatrixTesting.h"
#include "NodeTesting.h"

#include <Imath/ImathMatrix.h>
#include <Imath/ImathQuat.h>
#include <Imath/ImathVec.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

using namespace tests;
using namespace TessilGraph;
using Imath::M44d;
using Imath::Quatd;
using Imath::V3d;

namespace {

template <class T>
bool compared(const T& in1, const T& in2, Long operation) {
    const auto node = make<CompareNode<T>>();
    node->input1Port()->set(in1);
    node->input2Port()->set(in2);
    node->operationPort()->set(operation);
    EXPECT_TRUE(node->compute(nullptr));
    return node->outputPort()->get();
}

using Answers = std::vector<bool>;

/// The answers to the codes 0 to 5.
template <class T>
Answers answersFor(const T& in1, const T& in2) {
    Answers answers;
    for (Long operation = 0; operation <= 5; ++operation) {
        answers.push_back(compared(in1, in2, operation));
    }
    return answers;
}

const Answers whenLess{false, true, true, false, true, false};
const Answers whenEqual{true, false, false, false, true, true};
const Answers whenGreater{false, true, false, true, false, true};
const Answers whenUnordered{false, true, false, false, false, false};
const Answers whenAlike{true, false, false, false, false, false};
const Answers whenUnlike{false, true, false, false, false, false};

template <class T>
void checkCompare(const char* typeStr, unsigned int typeId) {
    checkShape<CompareNode<T>>(typeStr, typeId);
    const auto node = make<CompareNode<T>>();
    expectInput(*node, "in1", node->input1Port());
    expectInput(*node, "in2", node->input2Port());
    expectInput(*node, "operation", node->operationPort());
    expectOutput(*node, "out", node->outputPort());
}

template <class T>
bool computedNew() {
    const auto node = make<CompareNode<T>>();
    EXPECT_TRUE(node->compute(nullptr));
    return node->outputPort()->get();
}

}  // namespace

TEST(CompareNode, HasTheCommonShapeForEachType) {
    checkCompare<bool>("CompareBool", 92);
    checkCompare<Long>("CompareLong", 93);
    checkCompare<double>("CompareDouble", 94);
    checkCompare<std::string>("CompareString", 95);
    checkCompare<M44d>("CompareMatrix", 96);
    checkCompare<V3d>("CompareVector", 97);
    checkCompare<Quatd>("CompareQuaternion", 98);
}

TEST(CompareNode, IsRegisteredInAFixedOrder) {
    registerCompareNodes();
    EXPECT_EQ(takeLog(), alreadyRegistered({"CompareBool", "CompareLong", "CompareDouble", "CompareString",
                                            "CompareMatrix", "CompareVector", "CompareQuaternion"}));
}

TEST(CompareNode, FindsTheDefaultsEqualWhenNew) {
    EXPECT_TRUE(computedNew<bool>());
    EXPECT_TRUE(computedNew<Long>());
    EXPECT_TRUE(computedNew<double>());
    EXPECT_TRUE(computedNew<std::string>());
    EXPECT_TRUE(computedNew<M44d>());
    EXPECT_TRUE(computedNew<V3d>());
    EXPECT_TRUE(computedNew<Quatd>());
}

TEST(CompareNode, OrdersFalseBeforeTrue) {
    EXPECT_EQ(answersFor(false, true), whenLess);
    EXPECT_EQ(answersFor(true, true), whenEqual);
    EXPECT_EQ(answersFor(true, false), whenGreater);
}

TEST(CompareNode, OrdersIntegersOverTheirWholeRange) {
    EXPECT_EQ(answersFor<Long>(1, 2), whenLess);
    EXPECT_EQ(answersFor<Long>(lowest, highest), whenLess);
    EXPECT_EQ(answersFor<Long>(-7, -7), whenEqual);
    EXPECT_EQ(answersFor<Long>(highest, lowest), whenGreater);
}

TEST(CompareNode, ComparesDoublesWithoutTolerance) {
    EXPECT_EQ(answersFor(1.0, 1.0 + std::numeric_limits<double>::epsilon()), whenLess);
    EXPECT_EQ(answersFor(-0.0, 0.0), whenEqual);
    EXPECT_EQ(answersFor(infinity, infinity), whenEqual);
    EXPECT_EQ(answersFor(infinity, 1e308), whenGreater);
}

TEST(CompareNode, FindsNaNUnequalToEverything) {
    EXPECT_EQ(answersFor(notANumber, 1.0), whenUnordered);
    EXPECT_EQ(answersFor(1.0, notANumber), whenUnordered);
    EXPECT_EQ(answersFor(notANumber, notANumber), whenUnordered);
}

TEST(CompareNode, ComparesStringsByteByByte) {
    EXPECT_EQ(answersFor<std::string>("ab", "abc"), whenLess);
    EXPECT_EQ(answersFor<std::string>("B", "a"), whenLess);
    EXPECT_EQ(answersFor<std::string>("z", "\xc3\xa4"), whenLess);  // bytes count without a sign
    EXPECT_EQ(answersFor(std::string("a\0b", 3), std::string("a\0c", 3)), whenLess);
    EXPECT_EQ(answersFor<std::string>("abc", "abc"), whenEqual);
    EXPECT_EQ(answersFor<std::string>("b", "abc"), whenGreater);
}

TEST(CompareNode, TakesUnknownCodesOnOrderedTypesForEquality) {
    for (const Long operation : {6, 7, -1, lowest, highest}) {
        EXPECT_TRUE(compared<Long>(4, 4, operation)) << operation;
        EXPECT_FALSE(compared<Long>(4, 5, operation)) << operation;
        EXPECT_FALSE(compared<Long>(5, 4, operation)) << operation;
        EXPECT_TRUE(compared(true, true, operation)) << operation;
        EXPECT_FALSE(compared(0.5, 0.6, operation)) << operation;
        EXPECT_FALSE(compared(notANumber, notANumber, operation)) << operation;
        EXPECT_TRUE(compared<std::string>("a", "a", operation)) << operation;
    }
}

TEST(CompareNode, AnswersUnknownCodesOnComponentTypesWithFalse) {
    for (const Long operation : {2, 3, 4, 5, 6, 7, -1, lowest, highest}) {
        EXPECT_FALSE(compared(V3d(1, 2, 3), V3d(1, 2, 3), operation)) << operation;
        EXPECT_FALSE(compared(V3d(1, 2, 3), V3d(2, 3, 4), operation)) << operation;
        EXPECT_FALSE(compared(M44d(), M44d(), operation)) << operation;
        EXPECT_FALSE(compared(Quatd(), Quatd(), operation)) << operation;
    }
}

TEST(CompareNode, ComparesEveryComponent) {
    EXPECT_EQ(answersFor(V3d(1, 2, 3), V3d(1, 2, 3)), whenAlike);
    for (unsigned int component = 0; component < 3; ++component) {
        V3d other(1, 2, 3);
        other[static_cast<int>(component)] += 1e-15;
        EXPECT_EQ(answersFor(V3d(1, 2, 3), other), whenUnlike) << component;
    }

    const Quatd quaternion(0.1, 0.2, 0.3, 0.4);
    EXPECT_EQ(answersFor(quaternion, quaternion), whenAlike);
    for (int component = 0; component < 4; ++component) {
        Quatd other = quaternion;
        other[component] += 1e-15;
        EXPECT_EQ(answersFor(quaternion, other), whenUnlike) << component;
    }

    for (int element = 0; element < 16; ++element) {
        M44d other;
        other[element / 4][element % 4] += 1e-15;
        EXPECT_EQ(answersFor(M44d(), other), whenUnlike) << element;
        EXPECT_EQ(answersFor(other, other), whenAlike) << element;
    }
}

TEST(CompareNode, FindsANaNComponentUnequalToItself) {
    EXPECT_EQ(answersFor(V3d(1, notANumber, 3), V3d(1, notANumber, 3)), whenUnlike);
    EXPECT_EQ(answersFor(Quatd(notANumber, 0, 0, 0), Quatd(notANumber, 0, 0, 0)), whenUnlike);
    M44d matrix;
    matrix[2][3] = notANumber;
    EXPECT_EQ(answersFor(matrix, matrix), whenUnlike);
}

TEST(CompareNode, FindsZerosOfBothSignsEqual) {
    M44d matrix;
    matrix[1][0] = -0.0;
    EXPECT_EQ(answersFor(matrix, M44d()), whenAlike);
    EXPECT_EQ(answersFor(V3d(0, -0.0, 0), V3d(-0.0, 0, 0)), whenAlike);
}
