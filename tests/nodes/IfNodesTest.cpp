#include <TessilGraph/nodes/IfNodes.h>

#include "MatrixTesting.h"
#include "NodeTesting.h"

#include <Imath/ImathMatrix.h>
#include <Imath/ImathQuat.h>
#include <Imath/ImathVec.h>

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <cstddef>
#include <string>
#include <type_traits>

using namespace tests;
using namespace TessilGraph;
using Imath::M44d;
using Imath::Quatd;
using Imath::V3d;

namespace {

template <class T>
void checkIf(const char* typeStr, unsigned int typeId) {
    checkShape<IfNode<T>>(typeStr, typeId);
    const auto node = make<IfNode<T>>();
    expectInput(*node, "if", node->ifPort());
    expectInput(*node, "in1", node->input1Port());
    expectInput(*node, "in2", node->input2Port());
    expectOutput(*node, "out", node->outputPort());
}

template <class T>
void expectChoice(const T& in1, const T& in2) {
    const auto node = make<IfNode<T>>();
    node->input1Port()->set(in1);
    node->input2Port()->set(in2);
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_EQ(describe(node->outputPort()->get()), describe(in2));
    node->ifPort()->set(true);
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_EQ(describe(node->outputPort()->get()), describe(in1));
}

template <class T, class = void>
constexpr bool hasCreator = false;
template <class T>
constexpr bool hasCreator<T, std::void_t<decltype(T::creator)>> = true;

}  // namespace

TEST(IfNode, HasTheCommonShapeForEachType) {
    checkIf<bool>("IfBool", 84);
    checkIf<Long>("IfLong", 85);
    checkIf<double>("IfDouble", 86);
    checkIf<std::string>("IfString", 87);
    checkIf<M44d>("IfMatrix", 88);
    checkIf<V3d>("IfVector", 89);
    checkIf<Quatd>("IfQuaternion", 90);
}

TEST(IfNode, IsRegisteredInAFixedOrder) {
    registerIfNodes();
    EXPECT_EQ(takeLog(),
              alreadyRegistered({"IfBool", "IfLong", "IfDouble", "IfString", "IfMatrix", "IfVector", "IfQuaternion"}));
}

TEST(IfNode, PassesTheChosenInputOn) {
    expectChoice(true, false);
    expectChoice<Long>(-5, 6);
    expectChoice(notANumber, -0.0);
    expectChoice<std::string>("first", "second, and long enough for the heap");
    expectChoice(M44d(2.0), M44d(3.0));
    expectChoice(V3d(1, notANumber, 3), V3d(infinity, -0.0, 6));
    expectChoice(Quatd(0.1, 0.2, 0.3, 0.4), Quatd(notANumber, 1, 2, 3));
}

TEST(IfNode, PassesTheSecondInputOnWhenNew) {
    const auto node = make<IfNode<double>>();
    node->input1Port()->set(1.0);
    node->input2Port()->set(2.0);
    node->compute(nullptr);
    EXPECT_EQ(node->outputPort()->get(), 2.0);
}

TEST(IfNode, IgnoresTheInputThatIsNotChosen) {
    const auto node = make<IfNode<double>>();
    node->ifPort()->set(true);
    node->input1Port()->set(1.0);
    node->compute(nullptr);
    node->input2Port()->set(7.0);
    node->compute(nullptr);
    EXPECT_EQ(node->outputPort()->get(), 1.0);
}

TEST(IfNode, ReadsOnlyTheChosenInput) {
    // Storage that cannot be read at all.
    const std::size_t size = 4096;
    void* const locked = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(locked, MAP_FAILED);
    const auto node = make<IfNode<double>>();
    node->input1Port()->setLink(static_cast<double*>(locked));
    node->input2Port()->set(2.0);
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_EQ(node->outputPort()->get(), 2.0);

    node->input1Port()->setLink(nullptr);
    node->input1Port()->set(1.0);
    node->input2Port()->setLink(static_cast<double*>(locked));
    node->ifPort()->set(true);
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_EQ(node->outputPort()->get(), 1.0);
    munmap(locked, size);
}

TEST(IfNode, KeepsAStringThatIsItsOwnOutput) {
    const auto node = make<IfNode<std::string>>();
    const std::string text(1000, 'x');
    node->outputPort()->set(text);
    const char* characters = node->outputPort()->getRef().data();
    node->input2Port()->setLink(&node->outputPort()->getRef());
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_EQ(node->outputPort()->get(), text);
    EXPECT_EQ(node->outputPort()->getRef().data(), characters);
}

TEST(IfNode, OfCurvesIsANameAndANumberOnly) {
    using IfCurve = IfNode<TessilUtils::Curve>;
    EXPECT_EQ(IfCurve::staticTypeId(), 91u);
    EXPECT_EQ(IfCurve::staticTypeStr(), "IfCurve");
    EXPECT_FALSE(NodeFactory::instance().isRegistered("IfCurve"));
    EXPECT_EQ(NodeFactory::instance().createNode("IfCurve"), nullptr);
    EXPECT_FALSE(std::is_default_constructible_v<IfCurve>);
    EXPECT_FALSE((std::is_base_of_v<Node, IfCurve>));
    EXPECT_FALSE(hasCreator<IfCurve>);
    EXPECT_TRUE(hasCreator<IfNode<double>>);
}
