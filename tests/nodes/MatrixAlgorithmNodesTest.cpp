#include <TessilGraph/nodes/MatrixAlgorithmNodes.h>

#include <tests/support/CollectedLog.h>
#include "MatrixTesting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using namespace tests;
using namespace TessilGraph;
using Imath::M44d;
using Imath::Quatd;
using Imath::V3d;

namespace {

template <class N>
V3d transformed(const Rows& matrix, const Triple& vector) {
    N node;
    node.matrixPort()->set(toMatrix(matrix));
    node.vectorPort()->set(toVector(vector));
    EXPECT_TRUE(node.compute(nullptr));
    return node.outputPort()->get();
}

template <class N>
auto extracted(const Rows& matrix) {
    N node;
    node.matrixPort()->set(toMatrix(matrix));
    EXPECT_TRUE(node.compute(nullptr));
    return node.outputPort()->get();
}

template <class N>
M44d stripped(const Rows& matrix) {
    N node;
    node.inputPort()->set(toMatrix(matrix));
    EXPECT_TRUE(node.compute(nullptr));
    return node.outputPort()->get();
}

M44d axisAngle(const Triple& axis, double angle) {
    SetAxisAngleMatrixNode node;
    node.axisPort()->set(toVector(axis));
    node.anglePort()->set(angle);
    EXPECT_TRUE(node.compute(nullptr));
    return node.outputPort()->get();
}

M44d aligned(const Triple& target, const Triple& up) {
    AlignZAxisWithTargetDirMatrixNode node;
    node.targetPort()->set(toVector(target));
    node.upPort()->set(toVector(up));
    EXPECT_TRUE(node.compute(nullptr));
    return node.outputPort()->get();
}

M44d localFrame(const Triple& pos, const Triple& xDir, const Triple& normal) {
    ComputeLocalFrameMatrixNode node;
    node.posPort()->set(toVector(pos));
    node.xDirPort()->set(toVector(xDir));
    node.normalPort()->set(toVector(normal));
    EXPECT_TRUE(node.compute(nullptr));
    return node.outputPort()->get();
}

M44d rotationBetween(const Triple& from, const Triple& to) {
    RotationMatrixNode node;
    node.fromPort()->set(toVector(from));
    node.toPort()->set(toVector(to));
    EXPECT_TRUE(node.compute(nullptr));
    return node.outputPort()->get();
}

M44d rotationWithUp(const Triple& from, const Triple& to, const Triple& up) {
    RotationWithUpDirMatrixNode node;
    node.fromPort()->set(toVector(from));
    node.toPort()->set(toVector(to));
    node.upPort()->set(toVector(up));
    EXPECT_TRUE(node.compute(nullptr));
    return node.outputPort()->get();
}

// Rotation about a unit axis, built from the part along the axis, the part across it and their cross
// product, one row for each base vector.
Rows rotationAbout(const Triple& axis, double angle) {
    Rows rows = identityRows;
    for (std::size_t base = 0; base < 3; ++base) {
        const Triple direction = axisOf(identityRows, base);
        const Triple along = scaled(axis, dot(axis, direction));
        const Triple sideways = cross(axis, direction);
        for (std::size_t column = 0; column < 3; ++column) {
            rows[base][column] = along[column] + std::cos(angle) * (direction[column] - along[column]) +
                                 std::sin(angle) * sideways[column];
        }
    }
    return rows;
}

// The rows that turn z to `target` and y toward `up`; the two must not be parallel.
Rows alignedRows(const Triple& target, const Triple& up) {
    const Triple z = unit(target);
    const Triple x = unit(cross(up, target));
    const Triple y = cross(z, x);
    return {{{x[0], x[1], x[2], 0}, {y[0], y[1], y[2], 0}, {z[0], z[1], z[2], 0}, {0, 0, 0, 1}}};
}

// A decomposition's parts, chosen so that they are the only answer: no mirroring, y away from the poles.
struct Parts {
    Triple scale;
    Triple shear;
    Triple rotate;
    Triple translate;

    Rows rotation() const { return rotationXYZ(rotate); }
    Rows matrix() const { return scaling(scale) * shearing(shear) * rotation() * translation(translate); }
};

Parts someParts(Numbers& numbers) {
    return {numbers.triple(0.3, 3),
            numbers.triple(-1, 1),
            {numbers.between(-3, 3), numbers.between(-1.4, 1.4), numbers.between(-3, 3)},
            numbers.triple(-9, 9)};
}

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

TEST(MultiDirMatrixNode, TransformsADirectionByTheUpperThreeByThree) {
    expectNear(transformed<MultiDirMatrixNode>(projective, {1, 10, 100}),
               {2 + 110 + 2300, 3 - 130 + 2900, 5 + 170 - 3100}, 0.0);
}

TEST(MultiDirMatrixNode, IgnoresRowThreeAndColumnThree) {
    Rows other = projective;
    other[3] = {notANumber, infinity, -1, 0};
    other[0][3] = other[1][3] = other[2][3] = notANumber;

    expectNear(transformed<MultiDirMatrixNode>(other, {1, -2, 3}),
               toTriple(transformed<MultiDirMatrixNode>(projective, {1, -2, 3})), 0.0);
}

TEST(MultiVecMatrixNode, TransformsAPointAndDividesByItsFourthCoordinate) {
    const double w = 7 + 190 + 3700 + 53;
    expectNear(transformed<MultiVecMatrixNode>(projective, {1, 10, 100}),
               {(2 + 110 + 2300 + 41) / w, (3 - 130 + 2900 + 43) / w, (5 + 170 - 3100 + 47) / w}, 0.0);
    expectNear(transformed<MultiVecMatrixNode>(translation({4, 5, 6}), {1, 2, 3}), {5, 7, 9}, 0.0);
}

TEST(MultiVecMatrixNode, GivesInfinitiesAndNaNWhereTheFourthCoordinateIsZero) {
    Rows rows = identityRows;
    rows[0][3] = 1;  // w = x + m33
    rows[3][3] = -2;

    const V3d out = transformed<MultiVecMatrixNode>(rows, {2, -3, 0});

    EXPECT_EQ(out.x, infinity);
    EXPECT_EQ(out.y, -infinity);
    EXPECT_TRUE(std::isnan(out.z));
    expectNear(transformed<MultiDirMatrixNode>(rows, {2, -3, 0}), {2, -3, 0}, 0.0);
}

TEST(SetAxisAngleMatrixNode, RotatesAboutTheAxisWhateverItsLength) {
    Numbers numbers(21);
    for (int round = 0; round < 50; ++round) {
        const Triple axis = numbers.triple(-5, 5);
        const double angle = numbers.between(-7, 7);
        expectNear(axisAngle(axis, angle), rotationAbout(unit(axis), angle), 1e-14);
    }
    expectNear(axisAngle({0, 0, 10}, pi / 2), rotationZ(pi / 2), 1e-15);
}

TEST(SetAxisAngleMatrixNode, ScalesByTheCosineWhenTheAxisIsZero) {
    const double cosine = std::cos(2.0);
    expectNear(axisAngle({0, 0, 0}, 2.0), scaling({cosine, cosine, cosine}), 0.0);
}

TEST(AlignZAxisWithTargetDirMatrixNode, TurnsZToTheTargetAndYTowardUp) {
    Numbers numbers(22);
    for (int round = 0; round < 50; ++round) {
        const Triple target = numbers.triple(-5, 5);
        const Triple up = numbers.triple(-5, 5);
        const M44d out = aligned(target, up);
        expectRotation(out, 1e-12);
        expectNear(out, alignedRows(target, up), 1e-12);
        EXPECT_GT(dot(axisOf(toRows(out), 1), up), 0.0);
    }
}

TEST(AlignZAxisWithTargetDirMatrixNode, TakesTheZAxisForAZeroTargetAndTheYAxisForAZeroUp) {
    expectNear(aligned({0, 0, 0}, {0, 0, 0}), identityRows, 0.0);
    expectNear(aligned({0, 0, 0}, {2, 0, 0}), alignedRows({0, 0, 1}, {1, 0, 0}), 0.0);
    expectNear(aligned({3, 0, 0}, {0, 0, 0}), alignedRows({1, 0, 0}, {0, 1, 0}), 0.0);
}

TEST(AlignZAxisWithTargetDirMatrixNode, StillTurnsToATargetParallelToUp) {
    for (const Triple& target : {Triple{2, 0, 0}, Triple{0, 2, 0}, Triple{0, 0, 2}, Triple{1, 2, -2}}) {
        for (const double factor : {1.0, -2.0}) {
            const M44d out = aligned(target, scaled(target, factor));
            expectRotation(out, 1e-15);
            expectNear(V3d(out[2][0], out[2][1], out[2][2]), unit(target), 1e-15);
        }
    }
}

TEST(ComputeLocalFrameMatrixNode, PutsXAlongItsDirectionAndYAcrossTheNormal) {
    Numbers numbers(23);
    for (int round = 0; round < 50; ++round) {
        const Triple pos = numbers.triple(-5, 5);
        const Triple xDir = numbers.triple(-5, 5);
        const Triple normal = numbers.triple(-5, 5);
        const Triple x = unit(xDir);
        const Triple y = unit(cross(normal, x));
        const Triple z = cross(x, y);
        expectNear(localFrame(pos, xDir, normal),
                   {{{x[0], x[1], x[2], 0}, {y[0], y[1], y[2], 0}, {z[0], z[1], z[2], 0}, {pos[0], pos[1], pos[2], 1}}},
                   1e-12);
    }
}

TEST(ComputeLocalFrameMatrixNode, PutsZAlongANormalThatIsPerpendicularToX) {
    expectNear(localFrame({7, 8, 9}, {0, 3, 0}, {0, 0, -2}),
               {{{0, 1, 0, 0}, {1, 0, 0, 0}, {0, 0, -1, 0}, {7, 8, 9, 1}}}, 0.0);
}

TEST(ComputeLocalFrameMatrixNode, LeavesRowsZeroThatTheDirectionsLeaveOpen) {
    expectNear(localFrame({7, 8, 9}, {2, 0, 0}, {5, 0, 0}), {{{1, 0, 0, 0}, {}, {}, {7, 8, 9, 1}}}, 0.0);
    expectNear(localFrame({7, 8, 9}, {0, 0, 0}, {5, 0, 0}), {{{}, {}, {}, {7, 8, 9, 1}}}, 0.0);
}

TEST(ComputeRSMatrixNode, TakesRotationAndScaleFromBWhenFresh) {
    ComputeRSMatrixNode node;
    EXPECT_FALSE(node.keepRotateAPort()->get());
    EXPECT_FALSE(node.keepScaleAPort()->get());
    Numbers numbers(24);
    const Parts a = someParts(numbers);
    const Parts b = someParts(numbers);
    node.aPort()->set(toMatrix(a.matrix()));
    node.bPort()->set(toMatrix(b.matrix()));

    EXPECT_TRUE(node.compute(nullptr));

    expectNear(node.outputPort()->get(), scaling(b.scale) * b.rotation() * translation(a.translate), 1e-13);
}

TEST(ComputeRSMatrixNode, ComposesTheChosenPartsWithoutShear) {
    Numbers numbers(25);
    for (int round = 0; round < 50; ++round) {
        const Parts a = someParts(numbers);
        const Parts b = someParts(numbers);
        for (const bool keepRotateA : {false, true}) {
            for (const bool keepScaleA : {false, true}) {
                expectNear(
                    computeRS(keepRotateA, keepScaleA, a.matrix(), b.matrix()),
                    scaling((keepScaleA ? a : b).scale) * (keepRotateA ? a : b).rotation() * translation(a.translate),
                    1e-12);
            }
        }
    }
}

TEST(ExtractEulerXYZMatrixNode, GivesNoAnglesWhenFresh) {
    ExtractEulerXYZMatrixNode node;
    node.outputPort()->set(V3d(1, 2, 3));

    EXPECT_TRUE(node.compute(nullptr));

    expectNear(node.outputPort()->get(), {0, 0, 0}, 0.0);
}

TEST(ExtractEulerXYZMatrixNode, GivesTheAnglesOfARotation) {
    Numbers numbers(26);
    for (int round = 0; round < 50; ++round) {
        const Triple angles{numbers.between(-3, 3), numbers.between(-1.4, 1.4), numbers.between(-3, 3)};
        expectNear(extracted<ExtractEulerXYZMatrixNode>(rotationXYZ(angles)), angles, 1e-14);
        expectNear(
            extracted<ExtractEulerXYZMatrixNode>(scaling({2, 3, 0.5}) * rotationXYZ(angles) * translation({1, 2, 3})),
            angles, 1e-13, "scaled and translated");
    }
}

TEST(ExtractEulerXYZMatrixNode, GivesAnglesThatRebuildTheRotationAtThePoles) {
    for (const double y : {pi / 2, -pi / 2}) {
        for (const double x : {0.0, 0.7, -2.9}) {
            const Rows rotation = rotationXYZ({x, y, 1.1});
            const V3d angles = extracted<ExtractEulerXYZMatrixNode>(rotation);
            expectNear(rotationXYZ(toTriple(angles)), rotation, 1e-14);
        }
    }
}

TEST(ExtractEulerZYXMatrixNode, GivesTheAnglesInTheOrderZYX) {
    Numbers numbers(27);
    for (int round = 0; round < 50; ++round) {
        const Triple angles{numbers.between(-3, 3), numbers.between(-1.4, 1.4), numbers.between(-3, 3)};
        expectNear(extracted<ExtractEulerZYXMatrixNode>(rotationZYX(angles)), angles, 1e-14);
        expectNear(
            extracted<ExtractEulerZYXMatrixNode>(scaling({2, 3, 0.5}) * rotationZYX(angles) * translation({1, 2, 3})),
            angles, 1e-13, "scaled and translated");
    }
}

TEST(ExtractEulerZYXMatrixNode, GivesAnglesThatRebuildTheRotationAtThePoles) {
    for (const double y : {pi / 2, -pi / 2}) {
        for (const double z : {0.0, 0.7, -2.9}) {
            const Rows rotation = rotationZYX({z, y, 1.1});
            const V3d angles = extracted<ExtractEulerZYXMatrixNode>(rotation);
            expectNear(rotationZYX(toTriple(angles)), rotation, 1e-14);
        }
    }
}

TEST(ExtractQuaternionMatrixNode, GivesTheIdentityWhenFresh) {
    ExtractQuaternionMatrixNode node;
    node.outputPort()->set(Quatd(0, 1, 2, 3));

    EXPECT_TRUE(node.compute(nullptr));

    EXPECT_EQ(node.outputPort()->get(), Quatd(1, 0, 0, 0));
}

TEST(ExtractQuaternionMatrixNode, GivesHalfTheAngleAboutTheAxis) {
    // Small angles take the branch of a positive trace, half turns the largest diagonal element.
    for (const Triple& direction :
         {Triple{1, 0, 0}, Triple{0, 1, 0}, Triple{0, 0, 1}, Triple{3, 1, 2}, Triple{1, 3, -2}, Triple{-1, 2, 3}}) {
        for (const double angle : {0.01, 1.0, 2.0, 2.5, 3.0, 3.14}) {
            const Triple axis = unit(direction);
            const Quatd out = extracted<ExtractQuaternionMatrixNode>(rotationAbout(axis, angle));
            const Triple half = scaled(axis, std::sin(angle / 2));
            // q and -q are the same rotation.
            const double sign = out.r * std::cos(angle / 2) + dot(toTriple(out.v), half) < 0 ? -1.0 : 1.0;
            EXPECT_NEAR(sign * out.r, std::cos(angle / 2), 1e-13) << angle;
            expectNear(sign * out.v, half, 1e-13);
        }
    }
}

TEST(ExtractQuaternionMatrixNode, GivesThePositiveAxisForAHalfTurn) {
    const Quatd aboutX = extracted<ExtractQuaternionMatrixNode>(scaling({1, -1, -1}));
    const Quatd aboutY = extracted<ExtractQuaternionMatrixNode>(scaling({-1, 1, -1}));
    const Quatd aboutZ = extracted<ExtractQuaternionMatrixNode>(scaling({-1, -1, 1}));

    EXPECT_EQ(aboutX, Quatd(0, 1, 0, 0));
    EXPECT_EQ(aboutY, Quatd(0, 0, 1, 0));
    EXPECT_EQ(aboutZ, Quatd(0, 0, 0, 1));
}

TEST(ExtractScalingMatrixNode, GivesTheScaleUnderShearRotationAndTranslation) {
    Numbers numbers(28);
    for (int round = 0; round < 50; ++round) {
        const Parts parts = someParts(numbers);
        expectNear(extracted<ExtractScalingMatrixNode>(parts.matrix()), parts.scale, 1e-13);
    }
}

TEST(ExtractScalingAndShearMatrixNode, GivesScaleAndShearUnderRotationAndTranslation) {
    Numbers numbers(29);
    for (int round = 0; round < 50; ++round) {
        const Parts parts = someParts(numbers);
        ExtractScalingAndShearMatrixNode node;
        node.matrixPort()->set(toMatrix(parts.matrix()));
        EXPECT_TRUE(node.compute(nullptr));
        expectNear(node.scalePort()->get(), parts.scale, 1e-13, "scale");
        expectNear(node.shearPort()->get(), parts.shear, 1e-12, "shear");
    }
}

TEST(ExtractSHRTMatrixNode, GivesBackThePartsThatMakeTheMatrix) {
    Numbers numbers(30);
    for (int round = 0; round < 50; ++round) {
        const Parts parts = someParts(numbers);
        ExtractSHRTMatrixNode node;
        node.matrixPort()->set(toMatrix(parts.matrix()));
        EXPECT_TRUE(node.compute(nullptr));
        expectNear(node.scalePort()->get(), parts.scale, 1e-12, "scale");
        expectNear(node.shearPort()->get(), parts.shear, 1e-12, "shear");
        expectNear(node.rotatePort()->get(), parts.rotate, 1e-12, "rotate");
        expectNear(node.translatePort()->get(), parts.translate, 1e-14, "translate");
    }
}

TEST(ExtractSHRTMatrixNode, SplitsAnyInvertibleMatrixIntoPartsThatRebuildIt) {
    Numbers numbers(31);
    int mirrored = 0;
    for (int round = 0; round < 200; ++round) {
        Rows rows = numbers.rows(-3, 3);
        rows[0][3] = rows[1][3] = rows[2][3] = 0;
        rows[3][3] = 1;
        const double determinant = determinantOf(rows);
        if (std::abs(determinant) < 0.1) {
            continue;
        }
        mirrored += determinant < 0 ? 1 : 0;

        ExtractSHRTMatrixNode node;
        node.matrixPort()->set(toMatrix(rows));
        EXPECT_TRUE(node.compute(nullptr));

        const Parts parts{toTriple(node.scalePort()->get()), toTriple(node.shearPort()->get()),
                          toTriple(node.rotatePort()->get()), toTriple(node.translatePort()->get())};
        expectNear(parts.matrix(), rows, 1e-11, "round " + std::to_string(round));
        EXPECT_EQ(parts.scale[0] < 0, determinant < 0);
    }
    EXPECT_GT(mirrored, 20);
}

TEST(ExtractSHRTMatrixNode, CopesWithVerySmallAndVeryLargeScales) {
    for (const double size : {1e-310, 1e-300, 1e-160, 1e160, 1e300}) {
        const Rows rows = scaling({size, 2 * size, 4 * size}) * translation({1, 2, 3});
        ExtractSHRTMatrixNode node;
        node.matrixPort()->set(toMatrix(rows));
        EXPECT_TRUE(node.compute(nullptr));
        expectNear(node.scalePort()->get(), {size, 2 * size, 4 * size}, size * 1e-12);
        expectNear(node.shearPort()->get(), {0, 0, 0}, 0.0);
        expectNear(node.rotatePort()->get(), {0, 0, 0}, 0.0);
        expectNear(node.translatePort()->get(), {1, 2, 3}, 0.0);
    }
}

TEST(RotationMatrixNode, TurnsOneDirectionToTheOtherTheShortestWay) {
    Numbers numbers(32);
    for (int round = 0; round < 50; ++round) {
        const Triple from = numbers.triple(-5, 5);
        const Triple to = numbers.triple(-5, 5);
        const M44d out = rotationBetween(from, to);
        const double angle = std::acos(dot(unit(from), unit(to)));
        expectNear(out, rotationAbout(unit(cross(from, to)), angle), 1e-12);
    }
}

TEST(RotationMatrixNode, TurnsToTheOppositeDirection) {
    for (const Triple& from : {Triple{1, 0, 0}, Triple{0, 3, 0}, Triple{0, 0, 2}, Triple{1, 2, 4}}) {
        const M44d out = rotationBetween(from, scaled(from, -2));
        expectRotation(out, 1e-15);
        expectNear(toVector(turned(unit(from), toRows(out))), unit(scaled(from, -1)), 1e-15);
    }
}

TEST(RotationMatrixNode, IsTheIdentityForEqualAndForZeroDirections) {
    expectNear(rotationBetween({1, 2, 2}, {2, 4, 4}), identityRows, 1e-15);
    expectNear(rotationBetween({0, 0, 0}, {0, 0, 0}), identityRows, 0.0);
}

TEST(RotationWithUpDirMatrixNode, IsTheIdentityForAZeroFrom) {
    expectNear(rotationWithUp({0, 0, 0}, {1, 2, 3}, {3, 2, 1}), identityRows, 0.0);
    expectNear(rotationWithUp({0, 0, 0}, {0, 0, 0}, {0, 0, 0}), identityRows, 0.0);
    expectNear(rotationWithUp({-0.0, 0, 0}, {notANumber, 2, 3}, {infinity, 0, 0}), identityRows, 0.0);
}

TEST(RotationWithUpDirMatrixNode, TurnsFromToToAndUpright) {
    Numbers numbers(33);
    for (int round = 0; round < 50; ++round) {
        const Triple from = numbers.triple(-5, 5);
        const Triple to = numbers.triple(-5, 5);
        const Triple up = numbers.triple(-5, 5);
        const M44d out = rotationWithUp(from, to, up);
        expectRotation(out, 1e-12);
        expectNear(out, transposedRows(alignedRows(from, {0, 1, 0})) * alignedRows(to, up), 1e-12);
        expectNear(toVector(turned(unit(from), toRows(out))), unit(to), 1e-12);
    }
}

TEST(SansScalingMatrixNode, DropsTheScaleAndKeepsTheShear) {
    Numbers numbers(34);
    for (int round = 0; round < 50; ++round) {
        const Parts parts = someParts(numbers);
        expectNear(stripped<SansScalingMatrixNode>(parts.matrix()),
                   shearing(parts.shear) * parts.rotation() * translation(parts.translate), 1e-12);
    }
}

TEST(SansScalingMatrixNode, MakesColumnThreeThatOfAnAffineMatrix) {
    Rows rows = scaling({2, 3, 4}) * translation({5, 6, 7});
    rows[0][3] = 9;
    rows[3][3] = 2;
    expectNear(stripped<SansScalingMatrixNode>(rows), translation({5, 6, 7}), 1e-15);
}

TEST(SansScalingAndShearMatrixNode, LeavesRotationAndTranslation) {
    Numbers numbers(35);
    for (int round = 0; round < 50; ++round) {
        const Parts parts = someParts(numbers);
        expectNear(stripped<SansScalingAndShearMatrixNode>(parts.matrix()),
                   parts.rotation() * translation(parts.translate), 1e-12);
    }
}

TEST(SansScalingAndShearMatrixNode, KeepsColumnThree) {
    Rows rows = scaling({2, 3, 4}) * translation({5, 6, 7});
    rows[0][3] = 9;
    rows[3][3] = 2;
    Rows expected = translation({5, 6, 7});
    expected[0][3] = 9;
    expected[3][3] = 2;
    expectNear(stripped<SansScalingAndShearMatrixNode>(rows), expected, 1e-15);
}

TEST(VectorToMatrixNode, PutsTheVectorsIntoTheRowsOfAnAffineMatrix) {
    VectorToMatrixNode node;
    node.outputPort()->set(M44d(7.0));
    node.row1Port()->set(V3d(1, 2, 3));
    node.row2Port()->set(V3d(4, 5, 6));
    node.row3Port()->set(V3d(7, 8, 9));
    node.row4Port()->set(V3d(10, 11, 12));

    EXPECT_TRUE(node.compute(nullptr));

    expectNear(node.outputPort()->get(), {{{1, 2, 3, 0}, {4, 5, 6, 0}, {7, 8, 9, 0}, {10, 11, 12, 1}}}, 0.0);
}

TEST(MatrixToVectorNode, DropsColumnThreeAndVectorToMatrixMakesItAffine) {
    MatrixToVectorNode split;
    split.matrixPort()->set(toMatrix(projective));

    EXPECT_TRUE(split.compute(nullptr));

    expectNear(split.row1Port()->get(), {2, 3, 5}, 0.0);
    expectNear(split.row2Port()->get(), {11, -13, 17}, 0.0);
    expectNear(split.row3Port()->get(), {23, 29, -31}, 0.0);
    expectNear(split.row4Port()->get(), {41, 43, 47}, 0.0);

    VectorToMatrixNode joined;
    ASSERT_TRUE(joined.row1Port()->connectTo(split.row1Port()));
    ASSERT_TRUE(joined.row2Port()->connectTo(split.row2Port()));
    ASSERT_TRUE(joined.row3Port()->connectTo(split.row3Port()));
    ASSERT_TRUE(joined.row4Port()->connectTo(split.row4Port()));
    joined.compute(nullptr);

    Rows expected = projective;
    expected[0][3] = expected[1][3] = expected[2][3] = 0;
    expected[3][3] = 1;
    expectNear(joined.outputPort()->get(), expected, 0.0);
}

TEST(MatrixToVectorNode, AddsItsOutputsInTheOrderOfTheRows) {
    const MatrixToVectorNode node;
    EXPECT_EQ(node.getOutputPortNames(), (std::vector<std::string>{"row1", "row2", "row3", "row4"}));
    EXPECT_EQ(node.getInputPortNames(), (std::vector<std::string>{"matrix"}));
}
