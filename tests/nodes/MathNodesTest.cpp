#include <TessilGraph/nodes/MathNodes.h>

#include "MatrixTesting.h"
#include "NodeTesting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

using namespace tests;
using namespace TessilGraph;

namespace {

using AddLong = AddNode<Long, Long, Long, Long>;
using AddDouble = AddNode<double, double, double, double>;
using AddString = AddNode<std::string, std::string, std::string, std::string>;
using SubtractLong = SubtractNode<Long, Long, Long, Long>;
using SubtractDouble = SubtractNode<double, double, double, double>;
using DivideLong = DivideNode<Long, Long, Long, Long>;
using DivideDouble = DivideNode<double, double, double, double>;
using MultiplyLong = MultiplyNode<Long, Long, Long, Long>;
using MultiplyDouble = MultiplyNode<double, double, double, double>;
using AbsLong = AbsNode<Long, Long, Long>;
using AbsDouble = AbsNode<double, double, double>;
using MaxLong = MaxNode<Long, Long, Long, Long>;
using MaxDouble = MaxNode<double, double, double, double>;
using MinLong = MinNode<Long, Long, Long, Long>;
using MinDouble = MinNode<double, double, double, double>;
using SqrtLong = SqrtNode<Long, Long, Long>;
using SqrtDouble = SqrtNode<double, double, double>;
using CosDouble = CosNode<double, double, double>;
using AcosDouble = AcosNode<double, double, double>;
using SinDouble = SinNode<double, double, double>;
using AsinDouble = AsinNode<double, double, double>;
using TanDouble = TanNode<double, double, double>;
using AtanDouble = AtanNode<double, double, double>;
using CoshDouble = CoshNode<double, double, double>;
using SinhDouble = SinhNode<double, double, double>;
using TanhDouble = TanhNode<double, double, double>;
using Atan2Double = Atan2Node<double, double, double, double>;
using PowDouble = PowNode<double, double, double, double>;
using LnDouble = LnNode<double, double, double>;
using LogDouble = LogNode<double, double, double>;
using CeilDouble = CeilNode<double, double, double>;
using FloorDouble = FloorNode<double, double, double>;

/// The output of a new node with these inputs.
template <class N, class In>
auto resultOf(const In& in) {
    const auto node = make<N>();
    node->inputPort()->set(in);
    EXPECT_TRUE(node->compute(nullptr));
    return node->outputPort()->get();
}

template <class N, class In1, class In2>
auto resultOf(const In1& in1, const In2& in2) {
    const auto node = make<N>();
    node->input1Port()->set(in1);
    node->input2Port()->set(in2);
    EXPECT_TRUE(node->compute(nullptr));
    return node->outputPort()->get();
}

}  // namespace

TEST(MathNodes, HaveTheCommonShape) {
    checkBinary<AddLong>("AddLong", 1);
    checkBinary<AddDouble>("AddDouble", 2);
    checkBinary<AddString>("AddString", 3);
    checkBinary<SubtractLong>("SubtractLong", 4);
    checkBinary<SubtractDouble>("SubtractDouble", 5);
    checkBinary<DivideLong>("DivideLong", 6);
    checkBinary<DivideDouble>("DivideDouble", 7);
    checkBinary<MultiplyLong>("MultiplyLong", 8);
    checkBinary<MultiplyDouble>("MultiplyDouble", 9);
    checkUnary<AbsLong>("AbsLong", 10);
    checkUnary<AbsDouble>("AbsDouble", 11);
    checkBinary<MaxLong>("MaxLong", 12);
    checkBinary<MaxDouble>("MaxDouble", 13);
    checkBinary<MinLong>("MinLong", 14);
    checkBinary<MinDouble>("MinDouble", 15);
    checkUnary<SqrtLong>("SqrtLong", 16);
    checkUnary<SqrtDouble>("SqrtDouble", 17);
    checkUnary<CosDouble>("CosDouble", 18);
    checkUnary<AcosDouble>("AcosDouble", 19);
    checkUnary<SinDouble>("SinDouble", 20);
    checkUnary<AsinDouble>("AsinDouble", 21);
    checkUnary<TanDouble>("TanDouble", 22);
    checkUnary<AtanDouble>("AtanDouble", 23);
    checkUnary<CoshDouble>("CoshDouble", 24);
    checkUnary<SinhDouble>("SinhDouble", 25);
    checkUnary<TanhDouble>("TanhDouble", 26);
    checkBinary<Atan2Double>("Atan2Double", 27);
    checkShape<PowDouble>("PowDouble", 28);
    checkUnary<LnDouble>("LnDouble", 29);
    checkUnary<LogDouble>("LogDouble", 30);
    checkUnary<CeilDouble>("CeilDouble", 31);
    checkUnary<FloorDouble>("FloorDouble", 32);
}

TEST(MathNodes, AreRegisteredInAFixedOrder) {
    registerMathNodes();
    EXPECT_EQ(takeLog(),
              alreadyRegistered({"AddLong",      "AddString",      "AddDouble",  "SubtractLong", "SubtractDouble",
                                 "MultiplyLong", "MultiplyDouble", "DivideLong", "DivideDouble", "AbsLong",
                                 "AbsDouble",    "MinLong",        "MinDouble",  "MaxLong",      "MaxDouble",
                                 "SqrtLong",     "SqrtDouble",     "CosDouble",  "AcosDouble",   "SinDouble",
                                 "AsinDouble",   "TanDouble",      "AtanDouble", "CoshDouble",   "SinhDouble",
                                 "TanhDouble",   "Atan2Double",    "PowDouble",  "LnDouble",     "LogDouble",
                                 "CeilDouble",   "FloorDouble"}));
}

TEST(AddNode, AddsIntegersAndWraps) {
    EXPECT_EQ(resultOf<AddLong>(2, 3), 5);
    EXPECT_EQ(resultOf<AddLong>(-2, -3), -5);
    EXPECT_EQ(resultOf<AddLong>(highest, 1), lowest);
    EXPECT_EQ(resultOf<AddLong>(lowest, -1), highest);
    EXPECT_EQ(resultOf<AddLong>(lowest, lowest), 0);
}

TEST(AddNode, AddsDoubles) {
    EXPECT_EQ(resultOf<AddDouble>(0.1, 0.2), 0.30000000000000004);
    EXPECT_EQ(resultOf<AddDouble>(1e308, 1e308), infinity);
    EXPECT_TRUE(std::isnan(resultOf<AddDouble>(infinity, -infinity)));
}

TEST(AddNode, JoinsStringsWithoutASeparator) {
    EXPECT_EQ(resultOf<AddString>(std::string("ab"), std::string("cd")), "abcd");
    EXPECT_EQ(resultOf<AddString>(std::string(), std::string("cd")), "cd");
    const std::string withNull("a\0b", 3);
    EXPECT_EQ(resultOf<AddString>(withNull, withNull), std::string("a\0ba\0b", 6));
}

TEST(AddNode, MayReadItsOwnOutput) {
    const auto node = make<AddString>();
    node->input1Port()->setLink(&node->outputPort()->getRef());
    node->input2Port()->setLink(&node->outputPort()->getRef());
    node->outputPort()->set("ab");
    node->compute(nullptr);
    EXPECT_EQ(node->outputPort()->get(), "abab");
}

TEST(SubtractNode, SubtractsIntegersAndWraps) {
    EXPECT_EQ(resultOf<SubtractLong>(2, 3), -1);
    EXPECT_EQ(resultOf<SubtractLong>(lowest, 1), highest);
    EXPECT_EQ(resultOf<SubtractLong>(0, lowest), lowest);
}

TEST(SubtractNode, SubtractsDoubles) {
    EXPECT_EQ(resultOf<SubtractDouble>(0.3, 0.1), 0.19999999999999998);
    EXPECT_TRUE(std::isnan(resultOf<SubtractDouble>(infinity, infinity)));
}

TEST(MultiplyNode, MultipliesIntegersAndWraps) {
    EXPECT_EQ(resultOf<MultiplyLong>(-4, 5), -20);
    EXPECT_EQ(resultOf<MultiplyLong>(65536, 65536), 0);
    EXPECT_EQ(resultOf<MultiplyLong>(123456789, 987654321), -67153019);
    EXPECT_EQ(resultOf<MultiplyLong>(lowest, -1), lowest);
}

TEST(MultiplyNode, MultipliesDoubles) {
    EXPECT_EQ(resultOf<MultiplyDouble>(0.1, 3.0), 0.30000000000000004);
    EXPECT_TRUE(std::isnan(resultOf<MultiplyDouble>(0.0, infinity)));
}

TEST(DivideNode, TruncatesIntegersTowardZero) {
    EXPECT_EQ(resultOf<DivideLong>(7, 2), 3);
    EXPECT_EQ(resultOf<DivideLong>(-7, 2), -3);
    EXPECT_EQ(resultOf<DivideLong>(7, -2), -3);
    EXPECT_EQ(resultOf<DivideLong>(-7, -2), 3);
    EXPECT_EQ(resultOf<DivideLong>(7, -1), -7);
    EXPECT_EQ(resultOf<DivideLong>(lowest, 1), lowest);
    EXPECT_EQ(resultOf<DivideLong>(lowest, lowest), 1);
}

TEST(DivideNode, GivesZeroForAnIntegerDividedByZero) {
    EXPECT_EQ(resultOf<DivideLong>(7, 0), 0);
    EXPECT_EQ(resultOf<DivideLong>(0, 0), 0);
    EXPECT_EQ(resultOf<DivideLong>(lowest, 0), 0);
}

TEST(DivideNode, WrapsTheMostNegativeIntegerByMinusOne) {
    EXPECT_EQ(resultOf<DivideLong>(lowest, -1), lowest);
}

TEST(DivideNode, DividesDoublesWithoutTestingTheDivisor) {
    EXPECT_EQ(resultOf<DivideDouble>(1.0, 3.0), 0.33333333333333331);
    EXPECT_EQ(resultOf<DivideDouble>(1.0, 0.0), infinity);
    EXPECT_EQ(resultOf<DivideDouble>(1.0, -0.0), -infinity);
    EXPECT_EQ(resultOf<DivideDouble>(-1.0, 0.0), -infinity);
}

TEST(DivideNode, GivesNaNWhenNew) {
    const auto node = make<DivideDouble>();
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_TRUE(std::isnan(node->outputPort()->get()));
}

TEST(AbsNode, KeepsTheMostNegativeInteger) {
    EXPECT_EQ(resultOf<AbsLong>(-5), 5);
    EXPECT_EQ(resultOf<AbsLong>(5), 5);
    EXPECT_EQ(resultOf<AbsLong>(0), 0);
    EXPECT_EQ(resultOf<AbsLong>(lowest + 1), highest);
    EXPECT_EQ(resultOf<AbsLong>(lowest), lowest);
}

TEST(AbsNode, ClearsTheSignOfDoubles) {
    EXPECT_EQ(resultOf<AbsDouble>(-2.5), 2.5);
    EXPECT_EQ(resultOf<AbsDouble>(-infinity), infinity);
    EXPECT_EQ(bitsOf(resultOf<AbsDouble>(-0.0)), bitsOf(0.0));
    EXPECT_TRUE(std::isnan(resultOf<AbsDouble>(notANumber)));
}

TEST(MaxNode, TakesTheGreater) {
    EXPECT_EQ(resultOf<MaxLong>(2, 3), 3);
    EXPECT_EQ(resultOf<MaxLong>(3, 2), 3);
    EXPECT_EQ(resultOf<MaxLong>(lowest, highest), highest);
    EXPECT_EQ(resultOf<MaxDouble>(2.0, 3.0), 3.0);
    EXPECT_EQ(resultOf<MaxDouble>(3.0, 2.0), 3.0);
    EXPECT_EQ(resultOf<MaxDouble>(-infinity, infinity), infinity);
}

TEST(MaxNode, KeepsTheFirstWhenTheyDoNotCompare) {
    EXPECT_TRUE(std::isnan(resultOf<MaxDouble>(notANumber, 5.0)));
    EXPECT_EQ(resultOf<MaxDouble>(5.0, notANumber), 5.0);
    EXPECT_EQ(bitsOf(resultOf<MaxDouble>(-0.0, 0.0)), bitsOf(-0.0));
    EXPECT_EQ(bitsOf(resultOf<MaxDouble>(0.0, -0.0)), bitsOf(0.0));
}

TEST(MinNode, TakesTheLesser) {
    EXPECT_EQ(resultOf<MinLong>(2, 3), 2);
    EXPECT_EQ(resultOf<MinLong>(3, 2), 2);
    EXPECT_EQ(resultOf<MinLong>(lowest, highest), lowest);
    EXPECT_EQ(resultOf<MinDouble>(2.0, 3.0), 2.0);
    EXPECT_EQ(resultOf<MinDouble>(3.0, 2.0), 2.0);
    EXPECT_EQ(resultOf<MinDouble>(-infinity, infinity), -infinity);
}

TEST(MinNode, KeepsTheFirstWhenTheyDoNotCompare) {
    EXPECT_TRUE(std::isnan(resultOf<MinDouble>(notANumber, 5.0)));
    EXPECT_EQ(resultOf<MinDouble>(5.0, notANumber), 5.0);
    EXPECT_EQ(bitsOf(resultOf<MinDouble>(-0.0, 0.0)), bitsOf(-0.0));
    EXPECT_EQ(bitsOf(resultOf<MinDouble>(0.0, -0.0)), bitsOf(0.0));
}

TEST(SqrtNode, TruncatesIntegers) {
    EXPECT_EQ(resultOf<SqrtLong>(10), 3);
    EXPECT_EQ(resultOf<SqrtLong>(9), 3);
    EXPECT_EQ(resultOf<SqrtLong>(8), 2);
    EXPECT_EQ(resultOf<SqrtLong>(0), 0);
    EXPECT_EQ(resultOf<SqrtLong>(highest), 46340);
}

TEST(SqrtNode, GivesTheMostNegativeIntegerForNegativeOnes) {
    EXPECT_EQ(resultOf<SqrtLong>(-1), lowest);
    EXPECT_EQ(resultOf<SqrtLong>(lowest), lowest);
}

TEST(SqrtNode, GivesNaNForNegativeDoubles) {
    EXPECT_EQ(resultOf<SqrtDouble>(2.0), 1.4142135623730951);
    EXPECT_EQ(resultOf<SqrtDouble>(infinity), infinity);
    EXPECT_EQ(bitsOf(resultOf<SqrtDouble>(-0.0)), bitsOf(-0.0));
    EXPECT_TRUE(std::isnan(resultOf<SqrtDouble>(-1.0)));
}

TEST(MathNodes, HaveTheFunctionsTheyAreNamedAfter) {
    // Values from tables, not from the functions under test.
    EXPECT_DOUBLE_EQ(resultOf<CosDouble>(1.0), 0.54030230586813972);
    EXPECT_DOUBLE_EQ(resultOf<AcosDouble>(0.5), pi / 3);
    EXPECT_DOUBLE_EQ(resultOf<SinDouble>(1.0), 0.84147098480789651);
    EXPECT_DOUBLE_EQ(resultOf<AsinDouble>(0.5), pi / 6);
    EXPECT_DOUBLE_EQ(resultOf<TanDouble>(1.0), 1.5574077246549022);
    EXPECT_DOUBLE_EQ(resultOf<AtanDouble>(1.0), pi / 4);
    EXPECT_DOUBLE_EQ(resultOf<CoshDouble>(1.0), 1.5430806348152437);
    EXPECT_DOUBLE_EQ(resultOf<SinhDouble>(1.0), 1.1752011936438014);
    EXPECT_DOUBLE_EQ(resultOf<TanhDouble>(1.0), 0.76159415595576489);
    EXPECT_DOUBLE_EQ(resultOf<LnDouble>(10.0), 2.3025850929940457);
    EXPECT_DOUBLE_EQ(resultOf<LogDouble>(1000.0), 3.0);
    EXPECT_EQ(resultOf<CeilDouble>(1.2), 2.0);
    EXPECT_EQ(resultOf<CeilDouble>(-1.8), -1.0);
    EXPECT_EQ(resultOf<FloorDouble>(1.8), 1.0);
    EXPECT_EQ(resultOf<FloorDouble>(-1.2), -2.0);
}

TEST(MathNodes, GiveExactlyTheResultsOfTheStandardLibrary) {
    // Volatile, so that the compiler cannot work the expectation out itself.
    for (const double number : {0.7, -0.3, 1e-8, 0.999, 1.0, 3.25, -2.5, 1e5, 0.0, -0.0, infinity, -infinity}) {
        const volatile double in = number;
        const auto expectSame = [&](double actual, double expected) {
            EXPECT_TRUE(bitsOf(actual) == bitsOf(expected) || (std::isnan(actual) && std::isnan(expected)))
                << "for " << number << ": " << actual << " and " << expected;
        };
        expectSame(resultOf<CosDouble>(number), std::cos(in));
        expectSame(resultOf<AcosDouble>(number), std::acos(in));
        expectSame(resultOf<SinDouble>(number), std::sin(in));
        expectSame(resultOf<AsinDouble>(number), std::asin(in));
        expectSame(resultOf<TanDouble>(number), std::tan(in));
        expectSame(resultOf<AtanDouble>(number), std::atan(in));
        expectSame(resultOf<CoshDouble>(number), std::cosh(in));
        expectSame(resultOf<SinhDouble>(number), std::sinh(in));
        expectSame(resultOf<TanhDouble>(number), std::tanh(in));
        expectSame(resultOf<LnDouble>(number), std::log(in));
        expectSame(resultOf<LogDouble>(number), std::log10(in));
        expectSame(resultOf<CeilDouble>(number), std::ceil(in));
        expectSame(resultOf<FloorDouble>(number), std::floor(in));
        expectSame(resultOf<Atan2Double>(number, 0.7), std::atan2(in, 0.7));
    }
}

TEST(MathNodes, ClampNoArgument) {
    EXPECT_TRUE(std::isnan(resultOf<AcosDouble>(1.0000001)));
    EXPECT_TRUE(std::isnan(resultOf<AsinDouble>(-1.0000001)));
    EXPECT_TRUE(std::isnan(resultOf<LnDouble>(-1.0)));
    EXPECT_TRUE(std::isnan(resultOf<LogDouble>(-1.0)));
    EXPECT_EQ(resultOf<LnDouble>(0.0), -infinity);
    EXPECT_EQ(resultOf<LogDouble>(0.0), -infinity);
}

TEST(MathNodes, PassNaNOn) {
    EXPECT_TRUE(std::isnan(resultOf<AddDouble>(notANumber, 1.0)));
    EXPECT_TRUE(std::isnan(resultOf<SubtractDouble>(1.0, notANumber)));
    EXPECT_TRUE(std::isnan(resultOf<MultiplyDouble>(notANumber, 0.0)));
    EXPECT_TRUE(std::isnan(resultOf<SqrtDouble>(notANumber)));
    EXPECT_TRUE(std::isnan(resultOf<CosDouble>(notANumber)));
    EXPECT_TRUE(std::isnan(resultOf<CeilDouble>(notANumber)));
    EXPECT_TRUE(std::isnan(resultOf<Atan2Double>(notANumber, 1.0)));
}

TEST(Atan2Node, TakesYFirst) {
    EXPECT_DOUBLE_EQ(resultOf<Atan2Double>(1.0, 0.0), pi / 2);
    EXPECT_DOUBLE_EQ(resultOf<Atan2Double>(0.0, -1.0), pi);
    EXPECT_DOUBLE_EQ(resultOf<Atan2Double>(-1.0, 0.0), -pi / 2);
    EXPECT_DOUBLE_EQ(resultOf<Atan2Double>(-1.0, -1.0), -3 * pi / 4);
}

TEST(PowNode, RaisesTheBaseToTheExponent) {
    const auto node = make<PowDouble>();
    expectInput(*node, "base", node->basePort());
    expectInput(*node, "exponent", node->exponentPort());
    expectOutput(*node, "out", node->outputPort());

    node->basePort()->set(2.0);
    node->exponentPort()->set(10.0);
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_EQ(node->outputPort()->get(), 1024.0);

    node->basePort()->set(-8.0);
    node->exponentPort()->set(1.0 / 3.0);
    node->compute(nullptr);
    EXPECT_TRUE(std::isnan(node->outputPort()->get()));
}

TEST(PowNode, GivesOneWhenNew) {
    const auto node = make<PowDouble>();
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_EQ(node->outputPort()->get(), 1.0);
}

TEST(MathNodes, CloneCopiesOnlyWhatIsNotConnected) {
    const auto feeder = make<AddDouble>();
    feeder->outputPort()->set(4.0);
    const auto node = make<AddDouble>();
    node->input1Port()->set(1.0);
    node->input2Port()->set(2.0);
    ASSERT_TRUE(feeder->outputPort()->connectTo(node->input1Port()));

    const std::unique_ptr<Node> copy(node->clone());
    auto& typed = dynamic_cast<AddDouble&>(*copy);
    EXPECT_EQ(typed.input1Port()->get(), 0.0);
    EXPECT_EQ(typed.input2Port()->get(), 2.0);
    EXPECT_EQ(typed.input1Port()->numConnections(), 0u);
}

TEST(MathNodes, ReadTheirInputsThroughConnectionsAndLinks) {
    const auto feeder = make<AddDouble>();
    feeder->outputPort()->set(4.0);
    const auto node = make<SubtractDouble>();
    ASSERT_TRUE(feeder->outputPort()->connectTo(node->input1Port()));
    double linked = 1.5;
    node->input2Port()->setLink(&linked);
    node->compute(nullptr);
    EXPECT_EQ(node->outputPort()->get(), 2.5);
}

TEST(MathNodes, EvaluateCanBeCalledByItself) {
    EXPECT_EQ(AddLong::evaluate(highest, 1), lowest);
    EXPECT_EQ(AddString::evaluate("ab", "cd"), "abcd");
    EXPECT_EQ(SqrtLong::evaluate(-1), lowest);
    EXPECT_EQ(FloorDouble::evaluate(1.5), 1.0);
}
