#include <TessilGraph/nodes/MatrixAlgorithmNodes.h>

#include <TessilGraph/nodes/EvaluateOnce.h>
#include <TessilGraph/nodes/MatrixShapeCompute.h>
#include <TessilGraph/nodes/ShapeCompute.h>
#include <TessilGraph/nodes/internal/Kernels.h>
#include <TessilGraph/nodes/internal/MatrixAlgorithms.h>

#include <Imath/ImathMatrixAlgo.h>

namespace TessilGraph {

using Imath::M44d;
using Imath::Quatd;
using Imath::V3d;

namespace {

// The last argument of the decompositions: they answer false instead of raising.
constexpr bool neverRaise = false;

// The parts of a matrix. They start at zero because a decomposition that fails leaves some of
// them unwritten.
struct Parts {
    V3d scale{0.0};
    V3d shear{0.0};
    V3d rotate{0.0};
    V3d translate{0.0};
};

// All steps in one piece, so that what nobody reads of the matrix product among them is not computed.
__attribute__((flatten)) Parts decompose(const M44d& matrix) {
    Parts parts;
    Imath::extractSHRT(matrix, parts.scale, parts.shear, parts.rotate, parts.translate, neverRaise);
    return parts;
}

// Only the scale and shear of `matrix`; rotation and translation stay zero.
Parts scalingAndShear(const M44d& matrix) {
    Parts parts;
    Imath::extractScalingAndShear(matrix, parts.scale, parts.shear, neverRaise);
    return parts;
}

V3d firstThree(const double* row) {
    return {row[0], row[1], row[2]};
}

TESSILGRAPH_ONE_BODY M44d axisAngle(const V3d& axis, double angle) {
    M44d out;
    out.setAxisAngle(axis, angle);
    return out;
}

TESSILGRAPH_ONE_BODY M44d alignZAxis(const V3d& target, const V3d& up) {
    M44d out;
    Imath::alignZAxisWithTargetDir(out, target, up);
    return out;
}

TESSILGRAPH_ONE_BODY M44d localFrame(const V3d& pos, const V3d& xDir, const V3d& normal) {
    return Imath::computeLocalFrame(pos, xDir, normal);
}

// Imath::computeRSMatrix step by step, because that one raises on a degenerate matrix.
TESSILGRAPH_ONE_BODY M44d rsMatrix(bool keepRotateA, bool keepScaleA, const M44d& matrixA, const M44d& matrixB) {
    const Parts a = decompose(matrixA);
    const Parts b = decompose(matrixB);
    M44d out;
    out.translate(a.translate);
    out.rotate(keepRotateA ? a.rotate : b.rotate);
    out.scale(keepScaleA ? a.scale : b.scale);
    return out;
}

TESSILGRAPH_ONE_BODY void scalingAndShearOf(const M44d& matrix, V3d& scale, V3d& shear) {
    const Parts parts = scalingAndShear(matrix);
    scale = parts.scale;
    shear = parts.shear;
}

TESSILGRAPH_ONE_BODY void partsOf(const M44d& matrix, V3d& scale, V3d& shear, V3d& rotate, V3d& translate) {
    const Parts parts = decompose(matrix);
    scale = parts.scale;
    shear = parts.shear;
    rotate = parts.rotate;
    translate = parts.translate;
}

TESSILGRAPH_ONE_BODY M44d rotation(const V3d& from, const V3d& to) {
    return Imath::rotationMatrix(from, to);
}

TESSILGRAPH_ONE_BODY M44d rotationWithUp(const V3d& from, const V3d& to, const V3d& up) {
    return Imath::rotationMatrixWithUpDir(from, to, up);
}

M44d fromRows(const V3d& row1, const V3d& row2, const V3d& row3, const V3d& row4) {
    // clang-format off
    return M44d(row1.x, row1.y, row1.z, 0.0,
                row2.x, row2.y, row2.z, 0.0,
                row3.x, row3.y, row3.z, 0.0,
                row4.x, row4.y, row4.z, 1.0);
    // clang-format on
}

void toRows(const M44d& matrix, V3d& row1, V3d& row2, V3d& row3, V3d& row4) {
    row1 = firstThree(matrix[0]);
    row2 = firstThree(matrix[1]);
    row3 = firstThree(matrix[2]);
    row4 = firstThree(matrix[3]);
}

}  // namespace

namespace internal {

template <>
inline constexpr auto ownKernel<SetAxisAngleMatrixNode> =
    makeKernel<SetAxisAngleMatrixNode, axisAngle, &SetAxisAngleMatrixNode::axisPort, &SetAxisAngleMatrixNode::anglePort,
               &SetAxisAngleMatrixNode::outputPort>();
template <>
inline constexpr auto ownKernel<AlignZAxisWithTargetDirMatrixNode> =
    makeKernel<AlignZAxisWithTargetDirMatrixNode, alignZAxis, &AlignZAxisWithTargetDirMatrixNode::targetPort,
               &AlignZAxisWithTargetDirMatrixNode::upPort, &AlignZAxisWithTargetDirMatrixNode::outputPort>();
template <>
inline constexpr auto ownKernel<ComputeLocalFrameMatrixNode> =
    makeKernel<ComputeLocalFrameMatrixNode, localFrame, &ComputeLocalFrameMatrixNode::posPort,
               &ComputeLocalFrameMatrixNode::xDirPort, &ComputeLocalFrameMatrixNode::normalPort,
               &ComputeLocalFrameMatrixNode::outputPort>();
template <>
inline constexpr auto ownKernel<ComputeRSMatrixNode> = makeKernel<
    ComputeRSMatrixNode, rsMatrix, &ComputeRSMatrixNode::keepRotateAPort, &ComputeRSMatrixNode::keepScaleAPort,
    &ComputeRSMatrixNode::aPort, &ComputeRSMatrixNode::bPort, &ComputeRSMatrixNode::outputPort>();
template <>
inline constexpr auto ownKernel<ExtractScalingAndShearMatrixNode> =
    makeKernel<ExtractScalingAndShearMatrixNode, scalingAndShearOf, &ExtractScalingAndShearMatrixNode::matrixPort,
               &ExtractScalingAndShearMatrixNode::scalePort, &ExtractScalingAndShearMatrixNode::shearPort>();
template <>
inline constexpr auto ownKernel<ExtractSHRTMatrixNode> = makeKernel<
    ExtractSHRTMatrixNode, partsOf, &ExtractSHRTMatrixNode::matrixPort, &ExtractSHRTMatrixNode::scalePort,
    &ExtractSHRTMatrixNode::shearPort, &ExtractSHRTMatrixNode::rotatePort, &ExtractSHRTMatrixNode::translatePort>();
template <>
inline constexpr auto ownKernel<RotationMatrixNode> =
    makeKernel<RotationMatrixNode, rotation, &RotationMatrixNode::fromPort, &RotationMatrixNode::toPort,
               &RotationMatrixNode::outputPort>();
template <>
inline constexpr auto ownKernel<RotationWithUpDirMatrixNode> =
    makeKernel<RotationWithUpDirMatrixNode, rotationWithUp, &RotationWithUpDirMatrixNode::fromPort,
               &RotationWithUpDirMatrixNode::toPort, &RotationWithUpDirMatrixNode::upPort,
               &RotationWithUpDirMatrixNode::outputPort>();
template <>
inline constexpr auto ownKernel<VectorToMatrixNode> =
    makeKernel<VectorToMatrixNode, fromRows, &VectorToMatrixNode::row1Port, &VectorToMatrixNode::row2Port,
               &VectorToMatrixNode::row3Port, &VectorToMatrixNode::row4Port, &VectorToMatrixNode::outputPort>();
template <>
inline constexpr auto ownKernel<MatrixToVectorNode> =
    makeKernel<MatrixToVectorNode, toRows, &MatrixToVectorNode::matrixPort, &MatrixToVectorNode::row1Port,
               &MatrixToVectorNode::row2Port, &MatrixToVectorNode::row3Port, &MatrixToVectorNode::row4Port>();

}  // namespace internal

V3d MultiDirMatrixNode::evaluate(const M44d& matrix, const V3d& direction) {
    V3d out(0.0);
    matrix.multDirMatrix(direction, out);
    return out;
}

V3d MultiVecMatrixNode::evaluate(const M44d& matrix, const V3d& point) {
    V3d out(0.0);
    matrix.multVecMatrix(point, out);
    return out;
}

bool SetAxisAngleMatrixNode::compute(const ComputeData*) {
    out_->set(axisAngle(axis_->getRef(), angle_->getRef()));
    return true;
}

bool AlignZAxisWithTargetDirMatrixNode::compute(const ComputeData*) {
    out_->set(alignZAxis(target_->getRef(), up_->getRef()));
    return true;
}

bool ComputeLocalFrameMatrixNode::compute(const ComputeData*) {
    out_->set(localFrame(pos_->getRef(), xDir_->getRef(), normal_->getRef()));
    return true;
}

bool ComputeRSMatrixNode::compute(const ComputeData*) {
    out_->set(rsMatrix(keepRotateA_->getRef(), keepScaleA_->getRef(), a_->getRef(), b_->getRef()));
    return true;
}

V3d ExtractEulerZYXMatrixNode::evaluate(const M44d& matrix) {
    V3d out(0.0);
    Imath::extractEulerZYX(matrix, out);
    return out;
}

Quatd ExtractQuaternionMatrixNode::evaluate(const M44d& matrix) {
    return Imath::extractQuat(matrix);
}

V3d ExtractScalingMatrixNode::evaluate(const M44d& matrix) {
    return scalingAndShear(matrix).scale;
}

bool ExtractScalingAndShearMatrixNode::compute(const ComputeData*) {
    V3d scale, shear;
    scalingAndShearOf(matrix_->getRef(), scale, shear);
    scale_->set(scale);
    shear_->set(shear);
    return true;
}

bool ExtractSHRTMatrixNode::compute(const ComputeData*) {
    V3d scale, shear, rotate, translate;
    partsOf(matrix_->getRef(), scale, shear, rotate, translate);
    scale_->set(scale);
    shear_->set(shear);
    rotate_->set(rotate);
    translate_->set(translate);
    return true;
}

bool RotationMatrixNode::compute(const ComputeData*) {
    out_->set(rotation(from_->getRef(), to_->getRef()));
    return true;
}

bool RotationWithUpDirMatrixNode::compute(const ComputeData*) {
    out_->set(rotationWithUp(from_->getRef(), to_->getRef(), up_->getRef()));
    return true;
}

M44d SansScalingMatrixNode::evaluate(const M44d& in) {
    return Imath::sansScaling(in, neverRaise);
}

M44d SansScalingAndShearMatrixNode::evaluate(const M44d& in) {
    return Imath::sansScalingAndShear(in, neverRaise);
}

bool VectorToMatrixNode::compute(const ComputeData*) {
    out_->set(fromRows(row1_->getRef(), row2_->getRef(), row3_->getRef(), row4_->getRef()));
    return true;
}

bool MatrixToVectorNode::compute(const ComputeData*) {
    V3d row1, row2, row3, row4;
    toRows(matrix_->getRef(), row1, row2, row3, row4);
    row1_->set(row1);
    row2_->set(row2);
    row3_->set(row3);
    row4_->set(row4);
    return true;
}

V3d ExtractEulerXYZMatrixNode::evaluate(const M44d& matrix) {
    V3d out(0.0);
    Imath::extractEulerXYZ(matrix, out);
    return out;
}

template class MatrixVectorNode<MultiDirMatrixNode, M44d, V3d, V3d>;
template class MatrixVectorNode<MultiVecMatrixNode, M44d, V3d, V3d>;
template class MatrixNode<ExtractEulerZYXMatrixNode, V3d>;
template class MatrixNode<ExtractQuaternionMatrixNode, Quatd>;
template class MatrixNode<ExtractScalingMatrixNode, V3d>;
template class MatrixNode<ExtractEulerXYZMatrixNode, V3d>;
template class UnaryNode<SansScalingMatrixNode, M44d, M44d>;
template class UnaryNode<SansScalingAndShearMatrixNode, M44d, M44d>;

void internal::registerMatrixAlgorithmNodes() {
    registerBuiltIn<MultiDirMatrixNode, MultiVecMatrixNode, SetAxisAngleMatrixNode, AlignZAxisWithTargetDirMatrixNode,
                    ComputeLocalFrameMatrixNode, ComputeRSMatrixNode, ExtractEulerXYZMatrixNode,
                    ExtractEulerZYXMatrixNode, ExtractQuaternionMatrixNode, ExtractScalingMatrixNode,
                    ExtractScalingAndShearMatrixNode, ExtractSHRTMatrixNode, RotationMatrixNode,
                    RotationWithUpDirMatrixNode, SansScalingMatrixNode, SansScalingAndShearMatrixNode,
                    VectorToMatrixNode, MatrixToVectorNode>();
}

}  // namespace TessilGraph
