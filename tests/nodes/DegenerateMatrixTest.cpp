#include <TessilGraph/nodes/MatrixNodes.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/support/CollectedLog.h>
#include "MatrixTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

using namespace tests;
using namespace TessilGraph;
using Imath::M44d;
using Imath::Quatd;
using Imath::V3d;

namespace {

constexpr double denormal = 4.9406564584124654e-324;
constexpr double huge = std::numeric_limits<double>::max();

// Matrices that cannot be decomposed, each failing at another row. The translation is never zero, so
// that one that leaked through would show.
constexpr Rows allZero{{{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}, {7, 8, 9, 1}}};
constexpr Rows zeroFirstRow{{{0, 0, 0, 0}, {0, 3, 0, 0}, {0, 0, 6, 0}, {7, 8, 9, 1}}};
constexpr Rows zeroSecondRow{{{0, 3, 0, 0}, {0, 0, 0, 0}, {0, 0, 6, 0}, {7, 8, 9, 1}}};
constexpr Rows zeroThirdRow{{{4, 0, 0, 0}, {2, 1, 0, 0}, {0, 0, 0, 0}, {7, 8, 9, 1}}};
constexpr Rows parallelRows{{{2, 0, 0, 0}, {4, 0, 0, 0}, {0, 0, 1, 0}, {7, 8, 9, 1}}};
constexpr Rows rowsInOnePlane{{{4, 0, 0, 0}, {0, 4, 0, 0}, {4, 2, 0, 0}, {7, 8, 9, 1}}};

struct Failing {
    std::string what;
    Rows matrix;
    Triple scale;
    Triple shear;
};

// What is found before the first dependent row is kept; the scale is relative to the largest element.
const std::vector<Failing> failing = {
    {"all zero", allZero, {0, 0, 0}, {0, 0, 0}},
    {"first row zero", zeroFirstRow, {0, 0, 0}, {0, 0, 0}},
    {"second row zero", zeroSecondRow, {0.5, 0, 0}, {0, 0, 0}},
    {"third row zero", zeroThirdRow, {1, 0.25, 0}, {2, 0, 0}},
    {"two rows parallel", parallelRows, {0.5, 0, 0}, {1, 0, 0}},
    {"three rows in one plane", rowsInOnePlane, {1, 1, 0}, {0, 1, 0.5}},
};

const Rows sound = scaling({2, 3, 4}) * rotationXYZ({0.3, 0.4, 0.5}) * translation({10, 20, 30});

M44d computeRS(bool keepRotateA, bool keepScaleA, const Rows& a, const Rows& b) {
    ComputeRSMatrixNode node;
    node.keepRotateAPort()->set(keepRotateA);
    node.keepScaleAPort()->set(keepScaleA);
    node.aPort()->set(toMatrix(a));
    node.bPort()->set(toMatrix(b));
    EXPECT_TRUE(node.compute(nullptr));
    return node.outputPort()->get();
}

}  // namespace

TEST(DegenerateMatrix, LeavesNoScaleShearRotationOrTranslationBeyondTheFirstDependentRow) {
    for (const Failing& each : failing) {
        ExtractSHRTMatrixNode node;
        node.scalePort()->set(V3d(-1.0));
        node.shearPort()->set(V3d(-1.0));
        node.rotatePort()->set(V3d(-1.0));
        node.translatePort()->set(V3d(-1.0));
        node.matrixPort()->set(toMatrix(each.matrix));

        EXPECT_NO_THROW(EXPECT_TRUE(node.compute(nullptr))) << each.what;

        expectNear(node.scalePort()->get(), each.scale, 0.0, each.what + ": scale");
        expectNear(node.shearPort()->get(), each.shear, 0.0, each.what + ": shear");
        expectNear(node.rotatePort()->get(), {0, 0, 0}, 0.0, each.what + ": rotate");
        expectNear(node.translatePort()->get(), {0, 0, 0}, 0.0, each.what + ": translate");
    }
}

TEST(DegenerateMatrix, GivesTheSameScaleAndShearFromTheNarrowerNodes) {
    for (const Failing& each : failing) {
        ExtractScalingMatrixNode scale;
        scale.outputPort()->set(V3d(-1.0));
        scale.matrixPort()->set(toMatrix(each.matrix));
        EXPECT_NO_THROW(EXPECT_TRUE(scale.compute(nullptr))) << each.what;
        expectNear(scale.outputPort()->get(), each.scale, 0.0, each.what);

        ExtractScalingAndShearMatrixNode both;
        both.scalePort()->set(V3d(-1.0));
        both.shearPort()->set(V3d(-1.0));
        both.matrixPort()->set(toMatrix(each.matrix));
        EXPECT_NO_THROW(EXPECT_TRUE(both.compute(nullptr))) << each.what;
        expectNear(both.scalePort()->get(), each.scale, 0.0, each.what);
        expectNear(both.shearPort()->get(), each.shear, 0.0, each.what);
    }
}

TEST(DegenerateMatrix, PassesUnchangedThroughTheNodesThatStripScale) {
    std::vector<Failing> passing = failing;
    passing.push_back({"scale (0, 1, 1)", scaling({0, 1, 1}) * translation({1, 2, 3}), {}, {}});
    passing.back().matrix[1][3] = 5;  // column 3 passes too
    for (const Failing& each : passing) {
        SansScalingMatrixNode sansScaling;
        sansScaling.inputPort()->set(toMatrix(each.matrix));
        EXPECT_NO_THROW(EXPECT_TRUE(sansScaling.compute(nullptr))) << each.what;
        expectSameBits(sansScaling.outputPort()->get(), toMatrix(each.matrix), each.what);

        SansScalingAndShearMatrixNode sansBoth;
        sansBoth.inputPort()->set(toMatrix(each.matrix));
        EXPECT_NO_THROW(EXPECT_TRUE(sansBoth.compute(nullptr))) << each.what;
        expectSameBits(sansBoth.outputPort()->get(), toMatrix(each.matrix), each.what);
    }
}

TEST(DegenerateMatrix, GivesComputeRSOnlyTheScaleThatWasFoundInA) {
    for (const Failing& each : failing) {
        EXPECT_NO_THROW({
            expectNear(computeRS(true, true, each.matrix, sound), scaling(each.scale), 0.0, each.what);
            expectNear(computeRS(true, false, each.matrix, sound), scaling({2, 3, 4}), 1e-14, each.what);
            expectNear(computeRS(false, true, each.matrix, sound), scaling(each.scale) * rotationXYZ({0.3, 0.4, 0.5}),
                       1e-14, each.what);
            expectNear(computeRS(false, false, each.matrix, sound), scaling({2, 3, 4}) * rotationXYZ({0.3, 0.4, 0.5}),
                       1e-14, each.what);
        }) << each.what;
    }
}

TEST(DegenerateMatrix, GivesComputeRSOnlyTheScaleThatWasFoundInB) {
    for (const Failing& each : failing) {
        EXPECT_NO_THROW({
            expectNear(computeRS(true, true, sound, each.matrix), sound, 1e-13, each.what);
            expectNear(computeRS(false, true, sound, each.matrix), scaling({2, 3, 4}) * translation({10, 20, 30}),
                       1e-14, each.what);
            expectNear(computeRS(true, false, sound, each.matrix),
                       scaling(each.scale) * rotationXYZ({0.3, 0.4, 0.5}) * translation({10, 20, 30}), 1e-14,
                       each.what);
            expectNear(computeRS(false, false, sound, each.matrix), scaling(each.scale) * translation({10, 20, 30}),
                       0.0, each.what);
        }) << each.what;
    }
}

TEST(DegenerateMatrix, OfNaNHasNoInverseWhenAffine) {
    M44d matrix;
    matrix[1][1] = notANumber;
    InverseNode<M44d, M44d, M44d> node;
    node.inputPort()->set(matrix);

    EXPECT_TRUE(node.compute(nullptr));

    expectNear(node.outputPort()->get(), identityRows, 0.0);
}

namespace {

const std::vector<double>& nastyNumbers() {
    static const std::vector<double> numbers = {0.0,       -0.0,     1.0,       -1.0,       0.5,   1e-160, 1e-308,
                                                -denormal, denormal, 1e160,     1e308,      -huge, huge,   1e16 + 2,
                                                pi,        infinity, -infinity, notANumber, -3e9,  1e-9,   -notANumber};
    return numbers;
}

std::vector<double> makeScalars() {
    return nastyNumbers();
}

std::vector<V3d> makeVectors() {
    std::vector<V3d> vectors = {V3d(1, 2, 3),           V3d(0, 1, 0),          V3d(0, 0, -1),
                                V3d(1e-160, 0, 1e-160), V3d(-1, -2, -3),       V3d(1e160, -1e160, 1),
                                V3d(denormal, 0, 0),    V3d(0, notANumber, 0), V3d(infinity, 0, 1)};
    for (const double number : {0.0, -0.0, 1.0, denormal, 1e-160, 1e160, huge, infinity, -infinity, notANumber}) {
        vectors.emplace_back(number);
    }
    return vectors;
}

std::vector<M44d> makeMatrices() {
    std::vector<M44d> matrices = {M44d(), toMatrix(sound), -toMatrix(sound)};
    for (const Failing& each : failing) {
        matrices.push_back(toMatrix(each.matrix));
    }
    for (const double number : nastyNumbers()) {
        matrices.emplace_back(number);  // all sixteen elements alike
        M44d diagonal;
        diagonal[0][0] = diagonal[1][1] = diagonal[2][2] = number;
        matrices.push_back(diagonal);
        M44d oneElement = toMatrix(sound);
        oneElement[1][2] = number;
        matrices.push_back(oneElement);
        M44d perspective = toMatrix(sound);
        perspective[0][3] = perspective[3][3] = number;
        matrices.push_back(perspective);
        M44d oneRow = toMatrix(sound);
        oneRow[2][0] = oneRow[2][1] = oneRow[2][2] = number;
        matrices.push_back(oneRow);
    }
    Numbers numbers(41);
    for (int count = 0; count < 40; ++count) {
        Rows rows{};
        for (Row& row : rows) {
            for (double& element : row) {
                element = nastyNumbers()[numbers.below(static_cast<std::uint32_t>(nastyNumbers().size()))];
            }
        }
        matrices.push_back(toMatrix(rows));
    }
    return matrices;
}

// The values that one input may take, and how to set one of them.
class Choices {
public:
    explicit Choices(Port& port) : port_(port) {}

    std::uint32_t count() const {
        static const auto sizes = [] {
            return std::array<std::uint32_t, 3>{static_cast<std::uint32_t>(makeMatrices().size()),
                                                static_cast<std::uint32_t>(makeVectors().size()),
                                                static_cast<std::uint32_t>(makeScalars().size())};
        }();
        const std::string type = port_.typeStr();
        return type == "MatrixPort" ? sizes[0] : type == "VectorPort" ? sizes[1] : type == "DoublePort" ? sizes[2] : 2;
    }

    void choose(std::uint32_t index) {
        static const std::vector<M44d> matrices = makeMatrices();
        static const std::vector<V3d> vectors = makeVectors();
        static const std::vector<double> scalars = makeScalars();
        if (auto* matrix = dynamic_cast<PortTemplate<M44d>*>(&port_)) {
            matrix->set(matrices.at(index));
        } else if (auto* vector = dynamic_cast<PortTemplate<V3d>*>(&port_)) {
            vector->set(vectors.at(index));
        } else if (auto* scalar = dynamic_cast<PortTemplate<double>*>(&port_)) {
            scalar->set(scalars.at(index));
        } else {
            dynamic_cast<PortTemplate<bool>&>(port_).set(index == 1);
        }
    }

private:
    Port& port_;
};

template <class... Doubles>
void append(std::vector<std::uint64_t>& bits, Doubles... values) {
    (bits.push_back(bitsOf(values)), ...);
}

std::vector<std::uint64_t> outputBits(Node& node) {
    std::vector<std::uint64_t> bits;
    for (auto each = node.outputPortBegin(); each != node.outputPortEnd(); ++each) {
        if (const auto* matrix = dynamic_cast<PortTemplate<M44d>*>(*each)) {
            for (const Row& row : toRows(matrix->get())) {
                append(bits, row[0], row[1], row[2], row[3]);
            }
        } else if (const auto* vector = dynamic_cast<PortTemplate<V3d>*>(*each)) {
            append(bits, vector->get().x, vector->get().y, vector->get().z);
        } else if (const auto* quaternion = dynamic_cast<PortTemplate<Quatd>*>(*each)) {
            const Quatd value = quaternion->get();
            append(bits, value.r, value.v.x, value.v.y, value.v.z);
        } else {
            append(bits, dynamic_cast<PortTemplate<double>&>(**each).get());
        }
    }
    return bits;
}

// Fills the stack below the caller, so that a value which the next call leaves unset is seen in what
// it computes.
#if defined(__GNUC__)
__attribute__((noinline))
#endif
void
fillStack(unsigned char pattern) {
    volatile unsigned char used[4096];
    for (volatile unsigned char& byte : used) {
        byte = pattern;
    }
}

class EveryMatrixNode : public testing::TestWithParam<const char*> {
protected:
    // The node, computed on inputs of every kind; `check` runs after each choice of inputs.
    template <class Check>
    void withNastyInputs(Check check) {
        registerMatrixNodes();
        takeLog();  // another test may have registered them before
        const std::unique_ptr<Node> node(NodeFactory::instance().createNode(GetParam()));
        ASSERT_NE(node, nullptr);

        std::vector<Choices> inputs;
        std::uint64_t all = 1;
        for (auto each = node->inputPortBegin(); each != node->inputPortEnd(); ++each) {
            inputs.emplace_back(**each);
            all *= inputs.back().count();
        }
        // All of them where that is quick, else as many at random.
        constexpr std::uint64_t limit = 2000;
        Numbers numbers(42);
        for (std::uint64_t round = 0; round < std::min(all, limit) && !HasFailure(); ++round) {
            std::uint64_t rest = round;
            for (Choices& input : inputs) {
                input.choose(all <= limit ? static_cast<std::uint32_t>(rest % input.count())
                                          : numbers.below(input.count()));
                rest /= input.count();
            }
            check(*node, "round " + std::to_string(round));
        }
    }
};

}  // namespace

TEST_P(EveryMatrixNode, ComputesTheSameBitsAgainFromAnyInput) {
    withNastyInputs([](Node& node, const std::string& round) {
        fillStack(0x00);
        EXPECT_NO_THROW(EXPECT_TRUE(node.compute(nullptr))) << round;
        const std::vector<std::uint64_t> first = outputBits(node);
        fillStack(0xA5);
        EXPECT_NO_THROW(EXPECT_TRUE(node.compute(nullptr))) << round;
        EXPECT_EQ(outputBits(node), first) << round;
    });
}

TEST_P(EveryMatrixNode, RemembersNothingOfTheInputsBefore) {
    withNastyInputs([](Node& node, const std::string& round) {
        node.compute(nullptr);
        const std::unique_ptr<Node> fresh(node.clone());
        fillStack(0x5A);
        fresh->compute(nullptr);
        EXPECT_EQ(outputBits(node), outputBits(*fresh)) << round;
    });
}

INSTANTIATE_TEST_SUITE_P(
    DegenerateMatrix, EveryMatrixNode,
    testing::Values("AddMatrix", "SubtractMatrix", "MultiplyMatrix", "InverseMatrix", "TransposeMatrix",
                    "DeterminantMatrix", "MultiplyScalarMatrix", "AddScalarMatrix", "DivideScalarMatrix",
                    "RotateMatrix", "SetRotationMatrix", "ScaleMatrix", "SetScaleMatrix", "TranslateMatrix",
                    "SetTranslationMatrix", "ShearMatrix", "SetShearMatrix", "MultiDirMatrix", "MultiVecMatrix",
                    "SetAxisAngleMatrix", "AlignZAxisWithTargetDirMatrix", "ComputeLocalFrameMatrix", "ComputeRSMatrix",
                    "ExtractEulerXYZMatrix", "ExtractEulerZYXMatrix", "ExtractQuaternionMatrix", "ExtractScalingMatrix",
                    "ExtractScalingAndShearMatrix", "ExtractSHRTMatrix", "RotationMatrix", "RotationWithUpDirMatrix",
                    "SansScalingMatrix", "SansScalingAndShearMatrix", "VectorToMatrix", "MatrixToVector"),
    [](const auto& type) { return std::string(type.param); });
