#include <TessilGraph/nodes/MatrixAlgorithmNodes.h>

#include <TessilGraph/nodes/MatrixShapeCompute.h>
#include <TessilGraph/nodes/ShapeCompute.h>

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

Parts decompose(const M44d& matrix) {
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

}  // namespace

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
    M44d out;
    out.setAxisAngle(axis_->getRef(), angle_->getRef());
    out_->set(out);
    return true;
}

bool AlignZAxisWithTargetDirMatrixNode::compute(const ComputeData*) {
    M44d out;
    Imath::alignZAxisWithTargetDir(out, target_->getRef(), up_->getRef());
    out_->set(out);
    return true;
}

bool ComputeLocalFrameMatrixNode::compute(const ComputeData*) {
    out_->set(Imath::computeLocalFrame(pos_->getRef(), xDir_->getRef(), normal_->getRef()));
    return true;
}

bool ComputeRSMatrixNode::compute(const ComputeData*) {
    // Imath::computeRSMatrix step by step, because that one raises on a degenerate matrix.
    const Parts a = decompose(a_->getRef());
    const Parts b = decompose(b_->getRef());
    M44d out;
    out.translate(a.translate);
    out.rotate(keepRotateA_->getRef() ? a.rotate : b.rotate);
    out.scale(keepScaleA_->getRef() ? a.scale : b.scale);
    out_->set(out);
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
    const Parts parts = scalingAndShear(matrix_->getRef());
    scale_->set(parts.scale);
    shear_->set(parts.shear);
    return true;
}

bool ExtractSHRTMatrixNode::compute(const ComputeData*) {
    const Parts parts = decompose(matrix_->getRef());
    scale_->set(parts.scale);
    shear_->set(parts.shear);
    rotate_->set(parts.rotate);
    translate_->set(parts.translate);
    return true;
}

bool RotationMatrixNode::compute(const ComputeData*) {
    out_->set(Imath::rotationMatrix(from_->getRef(), to_->getRef()));
    return true;
}

bool RotationWithUpDirMatrixNode::compute(const ComputeData*) {
    out_->set(Imath::rotationMatrixWithUpDir(from_->getRef(), to_->getRef(), up_->getRef()));
    return true;
}

M44d SansScalingMatrixNode::evaluate(const M44d& in) {
    return Imath::sansScaling(in, neverRaise);
}

M44d SansScalingAndShearMatrixNode::evaluate(const M44d& in) {
    return Imath::sansScalingAndShear(in, neverRaise);
}

bool VectorToMatrixNode::compute(const ComputeData*) {
    const V3d& row1 = row1_->getRef();
    const V3d& row2 = row2_->getRef();
    const V3d& row3 = row3_->getRef();
    const V3d& row4 = row4_->getRef();
    // clang-format off
    out_->set(M44d(row1.x, row1.y, row1.z, 0.0,
                   row2.x, row2.y, row2.z, 0.0,
                   row3.x, row3.y, row3.z, 0.0,
                   row4.x, row4.y, row4.z, 1.0));
    // clang-format on
    return true;
}

bool MatrixToVectorNode::compute(const ComputeData*) {
    const M44d& matrix = matrix_->getRef();
    row1_->set(firstThree(matrix[0]));
    row2_->set(firstThree(matrix[1]));
    row3_->set(firstThree(matrix[2]));
    row4_->set(firstThree(matrix[3]));
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

}  // namespace TessilGraph
