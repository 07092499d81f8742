#include <TessilGraph/nodes/MatrixNodes.h>

#include "NodeTesting.h"

#include <gtest/gtest.h>

using namespace tests;
using namespace TessilGraph;
using Imath::M44d;
using Imath::V3d;

TEST(MatrixNodes, HaveTheShapeOfAllNodes) {
    checkShape<AddNode<M44d, M44d, M44d, M44d>>("AddMatrix", 44);
    checkShape<SubtractNode<M44d, M44d, M44d, M44d>>("SubtractMatrix", 45);
    checkShape<MultiplyNode<M44d, M44d, M44d, M44d>>("MultiplyMatrix", 46);
    checkShape<InverseNode<M44d, M44d, M44d>>("InverseMatrix", 47);
    checkShape<TransposeNode<M44d, M44d, M44d>>("TransposeMatrix", 48);
    checkShape<DeterminantMatrixNode<M44d, M44d, double>>("DeterminantMatrix", 49);
    checkShape<MultiplyScalarMatrixNode<M44d, M44d, double, M44d>>("MultiplyScalarMatrix", 50);
    checkShape<AddScalarMatrixNode<M44d, M44d, double, M44d>>("AddScalarMatrix", 51);
    checkShape<DivideScalarMatrixNode<M44d, M44d, double, M44d>>("DivideScalarMatrix", 52);
    checkShape<RotateNode<M44d, M44d, V3d, M44d>>("RotateMatrix", 53);
    checkShape<SetRotateNode<M44d, M44d, V3d, M44d>>("SetRotationMatrix", 54);
    checkShape<ScaleNode<M44d, M44d, V3d, M44d>>("ScaleMatrix", 55);
    checkShape<SetScaleNode<M44d, M44d, V3d, M44d>>("SetScaleMatrix", 56);
    checkShape<TranslateNode<M44d, M44d, V3d, M44d>>("TranslateMatrix", 57);
    checkShape<SetTranslationNode<M44d, M44d, V3d, M44d>>("SetTranslationMatrix", 58);
    checkShape<ShearNode<M44d, M44d, V3d, M44d>>("ShearMatrix", 59);
    checkShape<SetShearNode<M44d, M44d, V3d, M44d>>("SetShearMatrix", 60);
}

TEST(MatrixAlgorithmNodes, HaveTheShapeOfAllNodes) {
    checkShape<MultiDirMatrixNode>("MultiDirMatrix", 61);
    checkShape<MultiVecMatrixNode>("MultiVecMatrix", 62);
    checkShape<SetAxisAngleMatrixNode>("SetAxisAngleMatrix", 63);
    checkShape<AlignZAxisWithTargetDirMatrixNode>("AlignZAxisWithTargetDirMatrix", 64);
    checkShape<ComputeLocalFrameMatrixNode>("ComputeLocalFrameMatrix", 65);
    checkShape<ComputeRSMatrixNode>("ComputeRSMatrix", 66);
    checkShape<ExtractEulerZYXMatrixNode>("ExtractEulerZYXMatrix", 67);
    checkShape<ExtractQuaternionMatrixNode>("ExtractQuaternionMatrix", 68);
    checkShape<ExtractScalingMatrixNode>("ExtractScalingMatrix", 69);
    checkShape<ExtractScalingAndShearMatrixNode>("ExtractScalingAndShearMatrix", 70);
    checkShape<ExtractSHRTMatrixNode>("ExtractSHRTMatrix", 71);
    checkShape<RotationMatrixNode>("RotationMatrix", 72);
    checkShape<RotationWithUpDirMatrixNode>("RotationWithUpDirMatrix", 73);
    checkShape<SansScalingMatrixNode>("SansScalingMatrix", 74);
    checkShape<SansScalingAndShearMatrixNode>("SansScalingAndShearMatrix", 75);
    checkShape<VectorToMatrixNode>("VectorToMatrix", 76);
    checkShape<MatrixToVectorNode>("MatrixToVector", 77);
    checkShape<ExtractEulerXYZMatrixNode>("ExtractEulerXYZMatrix", 78);
}

TEST(MatrixNodes, GiveTheirPortsByName) {
    MultiplyNode<M44d, M44d, M44d, M44d> binary;
    expectInput(binary, "in1", binary.input1Port());
    expectInput(binary, "in2", binary.input2Port());
    expectOutput(binary, "out", binary.outputPort());

    DeterminantMatrixNode<M44d, M44d, double> unary;
    expectInput(unary, "in", unary.inputPort());
    expectOutput(unary, "out", unary.outputPort());

    AddScalarMatrixNode<M44d, M44d, double, M44d> scalar;
    expectInput(scalar, "matrix", scalar.matrixPort());
    expectInput(scalar, "double", scalar.doublePort());
    expectOutput(scalar, "out", scalar.outputPort());

    RotateNode<M44d, M44d, V3d, M44d> vector;
    expectInput(vector, "matrix", vector.matrixPort());
    expectInput(vector, "vector", vector.vectorPort());
    expectOutput(vector, "out", vector.outputPort());
}

TEST(MatrixAlgorithmNodes, GiveTheirPortsByName) {
    ExtractQuaternionMatrixNode quaternion;
    expectInput(quaternion, "matrix", quaternion.matrixPort());
    expectOutput(quaternion, "out", quaternion.outputPort());

    SetAxisAngleMatrixNode axisAngle;
    expectInput(axisAngle, "axis", axisAngle.axisPort());
    expectInput(axisAngle, "angle", axisAngle.anglePort());
    expectOutput(axisAngle, "out", axisAngle.outputPort());

    AlignZAxisWithTargetDirMatrixNode align;
    expectInput(align, "target", align.targetPort());
    expectInput(align, "up", align.upPort());
    expectOutput(align, "out", align.outputPort());

    ComputeLocalFrameMatrixNode frame;
    expectInput(frame, "pos", frame.posPort());
    expectInput(frame, "xDir", frame.xDirPort());
    expectInput(frame, "normal", frame.normalPort());
    expectOutput(frame, "out", frame.outputPort());

    ComputeRSMatrixNode computeRS;
    expectInput(computeRS, "keepRotateA", computeRS.keepRotateAPort());
    expectInput(computeRS, "keepScaleA", computeRS.keepScaleAPort());
    expectInput(computeRS, "A", computeRS.aPort());
    expectInput(computeRS, "B", computeRS.bPort());
    expectOutput(computeRS, "out", computeRS.outputPort());

    ExtractScalingAndShearMatrixNode scalingAndShear;
    expectInput(scalingAndShear, "matrix", scalingAndShear.matrixPort());
    expectOutput(scalingAndShear, "scale", scalingAndShear.scalePort());
    expectOutput(scalingAndShear, "shear", scalingAndShear.shearPort());

    ExtractSHRTMatrixNode parts;
    expectInput(parts, "matrix", parts.matrixPort());
    expectOutput(parts, "scale", parts.scalePort());
    expectOutput(parts, "shear", parts.shearPort());
    expectOutput(parts, "rotate", parts.rotatePort());
    expectOutput(parts, "translate", parts.translatePort());

    RotationMatrixNode rotation;
    expectInput(rotation, "from", rotation.fromPort());
    expectInput(rotation, "to", rotation.toPort());
    expectOutput(rotation, "out", rotation.outputPort());

    RotationWithUpDirMatrixNode withUp;
    expectInput(withUp, "from", withUp.fromPort());
    expectInput(withUp, "to", withUp.toPort());
    expectInput(withUp, "up", withUp.upPort());
    expectOutput(withUp, "out", withUp.outputPort());

    VectorToMatrixNode joined;
    expectInput(joined, "row1", joined.row1Port());
    expectInput(joined, "row2", joined.row2Port());
    expectInput(joined, "row3", joined.row3Port());
    expectInput(joined, "row4", joined.row4Port());
    expectOutput(joined, "out", joined.outputPort());

    MatrixToVectorNode split;
    expectInput(split, "matrix", split.matrixPort());
    expectOutput(split, "row1", split.row1Port());
    expectOutput(split, "row2", split.row2Port());
    expectOutput(split, "row3", split.row3Port());
    expectOutput(split, "row4", split.row4Port());
}
