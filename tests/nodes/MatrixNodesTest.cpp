#include <TessilGraph/nodes/MatrixNodes.h>

#include <TessilGraph/graph/NodeFactory.h>

#include <tests/support/CollectedLog.h>
#include "MatrixTesting.h"
#include "RandomValues.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

using namespace tests;
using Imath::M44d;
using Imath::V3d;

namespace {

using AddMatrix = TessilGraph::AddNode<M44d, M44d, M44d, M44d>;
using SubtractMatrix = TessilGraph::SubtractNode<M44d, M44d, M44d, M44d>;
using MultiplyMatrix = TessilGraph::MultiplyNode<M44d, M44d, M44d, M44d>;
using InverseMatrix = TessilGraph::InverseNode<M44d, M44d, M44d>;
using TransposeMatrix = TessilGraph::TransposeNode<M44d, M44d, M44d>;
using DeterminantMatrix = TessilGraph::DeterminantMatrixNode<M44d, M44d, double>;
using AddScalarMatrix = TessilGraph::AddScalarMatrixNode<M44d, M44d, double, M44d>;
using MultiplyScalarMatrix = TessilGraph::MultiplyScalarMatrixNode<M44d, M44d, double, M44d>;
using DivideScalarMatrix = TessilGraph::DivideScalarMatrixNode<M44d, M44d, double, M44d>;
using RotateMatrix = TessilGraph::RotateNode<M44d, M44d, V3d, M44d>;
using SetRotationMatrix = TessilGraph::SetRotateNode<M44d, M44d, V3d, M44d>;
using ScaleMatrix = TessilGraph::ScaleNode<M44d, M44d, V3d, M44d>;
using SetScaleMatrix = TessilGraph::SetScaleNode<M44d, M44d, V3d, M44d>;
using TranslateMatrix = TessilGraph::TranslateNode<M44d, M44d, V3d, M44d>;
using SetTranslationMatrix = TessilGraph::SetTranslationNode<M44d, M44d, V3d, M44d>;
using ShearMatrix = TessilGraph::ShearNode<M44d, M44d, V3d, M44d>;
using SetShearMatrix = TessilGraph::SetShearNode<M44d, M44d, V3d, M44d>;

template <class N>
M44d binary(const M44d& in1, const M44d& in2) {
    N node;
    node.input1Port()->set(in1);
    node.input2Port()->set(in2);
    EXPECT_TRUE(node.compute(nullptr));
    return node.outputPort()->get();
}

template <class N>
auto unary(const M44d& in) {
    N node;
    node.inputPort()->set(in);
    EXPECT_TRUE(node.compute(nullptr));
    return node.outputPort()->get();
}

template <class N>
M44d withScalar(const M44d& matrix, double scalar) {
    N node;
    node.matrixPort()->set(matrix);
    node.doublePort()->set(scalar);
    EXPECT_TRUE(node.compute(nullptr));
    return node.outputPort()->get();
}

template <class N>
M44d withVector(const M44d& matrix, const Triple& vector) {
    N node;
    node.matrixPort()->set(matrix);
    node.vectorPort()->set(toVector(vector));
    EXPECT_TRUE(node.compute(nullptr));
    return node.outputPort()->get();
}

template <class Rule>
Rows eachElement(Rule rule) {
    Rows rows{};
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            rows[row][column] = rule(row, column);
        }
    }
    return rows;
}

// The matrix node types in the order in which they are registered.
const std::vector<std::string> registrationOrder = {"AddMatrix",
                                                    "SubtractMatrix",
                                                    "MultiplyMatrix",
                                                    "InverseMatrix",
                                                    "TransposeMatrix",
                                                    "DeterminantMatrix",
                                                    "MultiplyScalarMatrix",
                                                    "AddScalarMatrix",
                                                    "DivideScalarMatrix",
                                                    "RotateMatrix",
                                                    "SetRotationMatrix",
                                                    "ScaleMatrix",
                                                    "SetScaleMatrix",
                                                    "TranslateMatrix",
                                                    "SetTranslationMatrix",
                                                    "ShearMatrix",
                                                    "SetShearMatrix",
                                                    "MultiDirMatrix",
                                                    "MultiVecMatrix",
                                                    "SetAxisAngleMatrix",
                                                    "AlignZAxisWithTargetDirMatrix",
                                                    "ComputeLocalFrameMatrix",
                                                    "ComputeRSMatrix",
                                                    "ExtractEulerXYZMatrix",
                                                    "ExtractEulerZYXMatrix",
                                                    "ExtractQuaternionMatrix",
                                                    "ExtractScalingMatrix",
                                                    "ExtractScalingAndShearMatrix",
                                                    "ExtractSHRTMatrix",
                                                    "RotationMatrix",
                                                    "RotationWithUpDirMatrix",
                                                    "SansScalingMatrix",
                                                    "SansScalingAndShearMatrix",
                                                    "VectorToMatrix",
                                                    "MatrixToVector"};

}  // namespace

TEST(MatrixNodes, AreRegisteredInTheirOrder) {
    TessilGraph::registerMatrixNodes();
    takeLog();  // an earlier test of this program may have registered them

    TessilGraph::registerMatrixNodes();

    const Messages refusals = takeLog();
    ASSERT_EQ(refusals.size(), registrationOrder.size());
    for (std::size_t index = 0; index < refusals.size(); ++index) {
        EXPECT_NE(refusals[index].find(" " + registrationOrder[index] + " "), std::string::npos)
            << refusals[index] << " in place of " << registrationOrder[index];
    }
}

TEST(MatrixNodes, AreMadeByTheFactoryUnderTheirNames) {
    TessilGraph::registerMatrixNodes();
    takeLog();

    for (const std::string& type : registrationOrder) {
        const std::unique_ptr<TessilGraph::Node> node(TessilGraph::NodeFactory::instance().createNode(type));
        ASSERT_NE(node, nullptr) << type;
        EXPECT_EQ(node->typeStr(), type);
    }
}

TEST(MatrixNodes, ReadTheirInputsThroughConnections) {
    SetTranslationMatrix first;
    SetScaleMatrix second;
    MultiplyMatrix product;
    first.vectorPort()->set(V3d(1, 2, 3));
    second.vectorPort()->set(V3d(2, 4, 8));
    ASSERT_TRUE(first.outputPort()->connectTo(product.input1Port()));
    ASSERT_TRUE(second.outputPort()->connectTo(product.input2Port()));

    first.compute(nullptr);
    second.compute(nullptr);
    product.compute(nullptr);

    expectNear(product.outputPort()->get(), {{{2, 0, 0, 0}, {0, 4, 0, 0}, {0, 0, 8, 0}, {2, 8, 24, 1}}}, 0.0);
}

TEST(MatrixNodes, LeaveTheirInputsAsTheyAre) {
    RotateMatrix rotate;
    rotate.matrixPort()->set(toMatrix(projective));
    rotate.vectorPort()->set(V3d(0.1, 0.2, 0.3));

    rotate.compute(nullptr);

    expectSameBits(rotate.matrixPort()->get(), toMatrix(projective));
    EXPECT_EQ(rotate.vectorPort()->get(), V3d(0.1, 0.2, 0.3));
}

TEST(MatrixNodes, MayReadTheStorageThatTheyWrite) {
    TranslateMatrix node;
    node.matrixPort()->setLink(&node.outputPort()->getRef());
    node.vectorPort()->set(V3d(1, 2, 3));

    node.compute(nullptr);
    node.compute(nullptr);

    expectNear(node.outputPort()->get(), translation({2, 4, 6}), 0.0);
}

TEST(AddMatrixNode, AddsElementByElement) {
    const Rows other = transposedRows(projective);

    expectNear(
        binary<AddMatrix>(toMatrix(projective), toMatrix(other)),
        eachElement([&](std::size_t row, std::size_t column) { return projective[row][column] + other[row][column]; }),
        0.0);
}

TEST(SubtractMatrixNode, SubtractsTheSecondElementByElement) {
    const Rows other = scaling({2, 3, 4});

    expectNear(
        binary<SubtractMatrix>(toMatrix(projective), toMatrix(other)),
        eachElement([&](std::size_t row, std::size_t column) { return projective[row][column] - other[row][column]; }),
        0.0);
}

TEST(MultiplyMatrixNode, AppliesTheFirstInputFirst) {
    const M44d product = binary<MultiplyMatrix>(toMatrix(translation({1, 0, 0})), toMatrix(rotationZ(pi / 2)));

    // The origin on the left of the product picks row 3.
    expectNear(V3d(product[3][0], product[3][1], product[3][2]), {0, 1, 0}, 1e-15);
}

TEST(MultiplyMatrixNode, ComputesTheSameBitsAsTheMatrixClass) {
    Numbers numbers(12);
    for (int round = 0; round < 1000; ++round) {
        M44d left, right, expected;
        randomise(left, numbers);
        randomise(right, numbers);
        M44d::multiply(left, right, expected);
        const M44d product = binary<MultiplyMatrix>(left, right);
        for (int element = 0; element < 16; ++element) {
            const double actual = product[element / 4][element % 4];
            const double wanted = expected[element / 4][element % 4];
            // Which of two NaNs comes out of a sum is the compiler's choice.
            EXPECT_TRUE(bitsOf(actual) == bitsOf(wanted) || (std::isnan(actual) && std::isnan(wanted)))
                << "round " << round << " element " << element << ": " << actual << " and " << wanted;
        }
    }
}

TEST(MultiplyMatrixNode, MultipliesRowsByColumns) {
    Numbers numbers(11);
    for (int round = 0; round < 50; ++round) {
        const Rows left = numbers.rows(-2, 2);
        const Rows right = numbers.rows(-2, 2);
        expectNear(binary<MultiplyMatrix>(toMatrix(left), toMatrix(right)), left * right, 1e-14);
    }
}

TEST(InverseMatrixNode, GivesTheIdentityWhenFresh) {
    InverseMatrix node;
    node.outputPort()->set(M44d(7.0));

    EXPECT_TRUE(node.compute(nullptr));

    expectNear(node.outputPort()->get(), identityRows, 0.0);
}

TEST(InverseMatrixNode, InvertsAffineMatrices) {
    Numbers numbers(12);
    for (int round = 0; round < 50; ++round) {
        const Rows rows =
            scaling({numbers.signedBetween(0.5, 3), numbers.signedBetween(0.5, 3), numbers.signedBetween(0.5, 3)}) *
            shearing(numbers.triple(-1, 1)) * rotationXYZ(numbers.triple(-3, 3)) * translation(numbers.triple(-9, 9));
        expectNear(unary<InverseMatrix>(toMatrix(rows)), inverseOf(rows), 1e-12);
    }
}

TEST(InverseMatrixNode, InvertsProjectiveMatrices) {
    Numbers numbers(13);
    for (int round = 0; round < 50; ++round) {
        Rows rows = numbers.rows(-1, 1);
        for (std::size_t diagonal = 0; diagonal < 4; ++diagonal) {
            rows[diagonal][diagonal] += 4;  // keeps it far from singular
        }
        expectNear(unary<InverseMatrix>(toMatrix(rows)), inverseOf(rows), 1e-13);
    }
}

TEST(InverseMatrixNode, GivesTheIdentityForAMatrixWithoutInverse) {
    const Rows zero{};
    const Rows flat = scaling({1, 0, 1}) * translation({5, 6, 7});
    const Rows twoEqualRows{{{1, 2, 3, 0}, {1, 2, 3, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
    const Rows singularProjective{{{1, 2, 3, 4}, {2, 4, 6, 8}, {0, 1, 0, 1}, {1, 0, 0, 1}}};
    for (const Rows& rows : {zero, flat, twoEqualRows, singularProjective}) {
        expectNear(unary<InverseMatrix>(toMatrix(rows)), identityRows, 0.0);
    }
}

TEST(TransposeMatrixNode, ExchangesRowsAndColumns) {
    expectNear(unary<TransposeMatrix>(toMatrix(projective)),
               eachElement([](std::size_t row, std::size_t column) { return projective[column][row]; }), 0.0);
}

TEST(DeterminantMatrixNode, IsOneWhenFresh) {
    DeterminantMatrix node;
    EXPECT_EQ(node.outputPort()->get(), 0.0);

    EXPECT_TRUE(node.compute(nullptr));

    EXPECT_EQ(node.outputPort()->get(), 1.0);
}

TEST(DeterminantMatrixNode, TakesAllFourRowsAndColumns) {
    Numbers numbers(14);
    for (int round = 0; round < 50; ++round) {
        const Rows rows = numbers.rows(-2, 2);
        EXPECT_NEAR(unary<DeterminantMatrix>(toMatrix(rows)), determinantOf(rows), 1e-13);
    }
    EXPECT_EQ(unary<DeterminantMatrix>(M44d(3, 0, 0, 0, 0, 5, 0, 0, 0, 0, 7, 0, 0, 0, 0, 11)), 3.0 * 5 * 7 * 11);
}

TEST(MultiplyScalarMatrixNode, MultipliesEveryElement) {
    expectNear(withScalar<MultiplyScalarMatrix>(toMatrix(projective), -2.5),
               eachElement([](std::size_t row, std::size_t column) { return projective[row][column] * -2.5; }), 0.0);
}

TEST(AddScalarMatrixNode, AddsToEveryElementTheLastRowAndColumnIncluded) {
    expectNear(withScalar<AddScalarMatrix>(M44d(), 1.0), {{{2, 1, 1, 1}, {1, 2, 1, 1}, {1, 1, 2, 1}, {1, 1, 1, 2}}},
               0.0);
    expectNear(withScalar<AddScalarMatrix>(toMatrix(projective), -0.5),
               eachElement([](std::size_t row, std::size_t column) { return projective[row][column] - 0.5; }), 0.0);
}

TEST(DivideScalarMatrixNode, GivesInfinityOnTheDiagonalAndNaNElsewhereWhenFresh) {
    DivideScalarMatrix node;

    EXPECT_TRUE(node.compute(nullptr));

    const Rows out = toRows(node.outputPort()->get());
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            if (row == column) {
                EXPECT_EQ(out[row][column], infinity);
            } else {
                EXPECT_TRUE(std::isnan(out[row][column])) << row << ' ' << column;
            }
        }
    }
}

TEST(DivideScalarMatrixNode, DividesEveryElementWithOneRounding) {
    // 49 * (1 / 49) is not 1, so a product with the reciprocal would show.
    ASSERT_NE(49.0 * (1.0 / 49.0), 1.0);

    expectNear(withScalar<DivideScalarMatrix>(M44d(49.0), 49.0), toRows(M44d(1.0)), 0.0);
    expectNear(withScalar<DivideScalarMatrix>(toMatrix(projective), 49.0),
               eachElement([](std::size_t row, std::size_t column) { return projective[row][column] / 49.0; }), 0.0);
}

TEST(RotateMatrixNode, RotatesBeforeTheMatrixAndKeepsRowThree) {
    const Triple angles{0.3, -1.1, 2.5};

    const Rows out = toRows(withVector<RotateMatrix>(toMatrix(projective), angles));

    expectNear(out, rotationXYZ(angles) * projective, 1e-13);
    EXPECT_EQ(out[3], projective[3]);
}

TEST(RotateMatrixNode, TurnsColumnThreeToo) {
    const M44d out = withVector<RotateMatrix>(toMatrix(projective), {0, 0, pi / 2});

    EXPECT_NEAR(out[0][3], projective[1][3], 1e-14);
    EXPECT_NEAR(out[1][3], -projective[0][3], 1e-14);
}

TEST(SetRotationMatrixNode, IsTheRotationAboutXThenYThenZ) {
    Numbers numbers(15);
    for (int round = 0; round < 50; ++round) {
        const Triple angles = numbers.triple(-7, 7);
        expectNear(withVector<SetRotationMatrix>(M44d(), angles), rotationXYZ(angles), 1e-15);
    }
    expectNear(withVector<SetRotationMatrix>(M44d(), {pi / 2, 0, 0}),
               {{{1, 0, 0, 0}, {0, 0, 1, 0}, {0, -1, 0, 0}, {0, 0, 0, 1}}}, 1e-15);
}

TEST(ScaleMatrixNode, MultipliesTheFirstThreeRows) {
    const Rows out = toRows(withVector<ScaleMatrix>(toMatrix(projective), {2, -3, 0.5}));

    expectNear(out, scaling({2, -3, 0.5}) * projective, 0.0);
    EXPECT_EQ(out[3], projective[3]);
}

TEST(SetScaleMatrixNode, IsADiagonalMatrix) {
    expectNear(withVector<SetScaleMatrix>(toMatrix(projective), {2, 3, 4}),
               {{{2, 0, 0, 0}, {0, 3, 0, 0}, {0, 0, 4, 0}, {0, 0, 0, 1}}}, 0.0);
}

TEST(TranslateMatrixNode, AddsTheWeightedRowsToRowThree) {
    const Rows out = toRows(withVector<TranslateMatrix>(toMatrix(projective), {2, -3, 0.5}));

    expectNear(out, translation({2, -3, 0.5}) * projective, 0.0);
    EXPECT_EQ(out[3][3], 53 + 2 * 7 - 3 * 19 + 0.5 * 37);
}

TEST(SetTranslationMatrixNode, IsTheIdentityWithAnotherRowThree) {
    expectNear(withVector<SetTranslationMatrix>(toMatrix(projective), {2, 3, 4}),
               {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {2, 3, 4, 1}}}, 0.0);
}

TEST(ShearMatrixNode, ShearsBeforeTheMatrix) {
    expectNear(withVector<ShearMatrix>(toMatrix(projective), {2, -3, 0.5}), shearing({2, -3, 0.5}) * projective, 0.0);
}

TEST(SetShearMatrixNode, PutsTheVectorBelowTheDiagonal) {
    expectNear(withVector<SetShearMatrix>(toMatrix(projective), {2, 3, 4}),
               {{{1, 0, 0, 0}, {2, 1, 0, 0}, {3, 4, 1, 0}, {0, 0, 0, 1}}}, 0.0);
}

template <class N>
void expectSameWhateverTheMatrixInput() {
    SCOPED_TRACE(N::staticTypeStr());
    const Triple vector{0.25, -0.5, 1.5};
    const M44d expected = withVector<N>(M44d(), vector);

    expectSameBits(withVector<N>(toMatrix(projective), vector), expected);
    expectSameBits(withVector<N>(M44d(0.0), vector), expected);
    expectSameBits(withVector<N>(M44d(notANumber), vector), expected);
}

TEST(SettingMatrixNodes, GiveTheSameWhateverTheMatrixInput) {
    expectSameWhateverTheMatrixInput<SetRotationMatrix>();
    expectSameWhateverTheMatrixInput<SetScaleMatrix>();
    expectSameWhateverTheMatrixInput<SetTranslationMatrix>();
    expectSameWhateverTheMatrixInput<SetShearMatrix>();
}
