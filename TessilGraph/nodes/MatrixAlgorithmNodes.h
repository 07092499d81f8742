#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/nodes/MatrixShapes.h>
#include <TessilGraph/nodes/NodeShape.h>

#include <Imath/ImathMatrix.h>
#include <Imath/ImathQuat.h>
#include <Imath/ImathVec.h>

namespace TessilGraph {

/// @file
/// Matrices act on row vectors: a point stands left of the matrix, translation in row 3. Angles are
/// radians. Directions of ordinary size, whose squares neither overflow nor vanish, need no unit length.
/// Nothing here raises, whatever the input: what a degenerate input leaves open is said at the node.
///
/// Threads: the node classes as `NodeShape`.

/// The direction "vector" transformed by the upper 3x3 of "matrix": row 3 and column 3 have no effect.
class TESSILGRAPH_API MultiDirMatrixNode
    : public MatrixVectorNode<MultiDirMatrixNode, Imath::M44d, Imath::V3d, Imath::V3d> {
public:
    static Imath::V3d evaluate(const Imath::M44d& matrix, const Imath::V3d& direction);
};

/// The point "vector" transformed by "matrix" and divided by the fourth coordinate, which is not
/// tested: zero gives infinities and NaN.
class TESSILGRAPH_API MultiVecMatrixNode
    : public MatrixVectorNode<MultiVecMatrixNode, Imath::M44d, Imath::V3d, Imath::V3d> {
public:
    static Imath::V3d evaluate(const Imath::M44d& matrix, const Imath::V3d& point);
};

/// The rotation about "axis" by "angle". A zero axis gives the identity scaled by the cosine of the angle.
class TESSILGRAPH_API SetAxisAngleMatrixNode : public NodeShape<SetAxisAngleMatrixNode> {
public:
    PortTemplate<Imath::V3d>* axisPort() const { return axis_; }
    PortTemplate<double>* anglePort() const { return angle_; }
    PortTemplate<Imath::M44d>* outputPort() const { return out_; }
    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Imath::V3d>* axis_ = addInput<Imath::V3d>(*this, "axis");
    PortTemplate<double>* angle_ = addInput<double>(*this, "angle");
    PortTemplate<Imath::M44d>* out_ = addOutput<Imath::M44d>(*this, "out");
};

/// The rotation that turns the z axis to "target" and the y axis as near to "up" as that allows.
/// A zero "target" counts as the z axis, a zero "up" as the y axis; where the two are parallel,
/// another up direction is chosen.
class TESSILGRAPH_API AlignZAxisWithTargetDirMatrixNode : public NodeShape<AlignZAxisWithTargetDirMatrixNode> {
public:
    PortTemplate<Imath::V3d>* targetPort() const { return target_; }
    PortTemplate<Imath::V3d>* upPort() const { return up_; }
    PortTemplate<Imath::M44d>* outputPort() const { return out_; }
    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Imath::V3d>* target_ = addInput<Imath::V3d>(*this, "target");
    PortTemplate<Imath::V3d>* up_ = addInput<Imath::V3d>(*this, "up");
    PortTemplate<Imath::M44d>* out_ = addOutput<Imath::M44d>(*this, "out");
};

/// The orthonormal right-handed frame at "pos" whose x axis points along "xDir" and whose y axis is
/// perpendicular to "normal". Axes that the two directions leave open are zero rows.
class TESSILGRAPH_API ComputeLocalFrameMatrixNode : public NodeShape<ComputeLocalFrameMatrixNode> {
public:
    PortTemplate<Imath::V3d>* posPort() const { return pos_; }
    PortTemplate<Imath::V3d>* xDirPort() const { return xDir_; }
    PortTemplate<Imath::V3d>* normalPort() const { return normal_; }
    PortTemplate<Imath::M44d>* outputPort() const { return out_; }
    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Imath::V3d>* pos_ = addInput<Imath::V3d>(*this, "pos");
    PortTemplate<Imath::V3d>* xDir_ = addInput<Imath::V3d>(*this, "xDir");
    PortTemplate<Imath::V3d>* normal_ = addInput<Imath::V3d>(*this, "normal");
    PortTemplate<Imath::M44d>* out_ = addOutput<Imath::M44d>(*this, "out");
};

/// A matrix with the translation of "A", the rotation of "A" or "B" and the scale of "A" or "B",
/// without shear. A matrix that cannot be decomposed counts as one whose parts are as
/// `ExtractSHRTMatrixNode` gives them.
class TESSILGRAPH_API ComputeRSMatrixNode : public NodeShape<ComputeRSMatrixNode> {
public:
    /// True takes the rotation from "A", false from "B".
    PortTemplate<bool>* keepRotateAPort() const { return keepRotateA_; }
    /// True takes the scale from "A", false from "B".
    PortTemplate<bool>* keepScaleAPort() const { return keepScaleA_; }
    PortTemplate<Imath::M44d>* aPort() const { return a_; }
    PortTemplate<Imath::M44d>* bPort() const { return b_; }
    PortTemplate<Imath::M44d>* outputPort() const { return out_; }
    bool compute(const ComputeData* data) override;

private:
    PortTemplate<bool>* keepRotateA_ = addInput<bool>(*this, "keepRotateA");
    PortTemplate<bool>* keepScaleA_ = addInput<bool>(*this, "keepScaleA");
    PortTemplate<Imath::M44d>* a_ = addInput<Imath::M44d>(*this, "A");
    PortTemplate<Imath::M44d>* b_ = addInput<Imath::M44d>(*this, "B");
    PortTemplate<Imath::M44d>* out_ = addOutput<Imath::M44d>(*this, "out");
};

/// The rotation of "matrix" as ZYX Euler angles: about z, then y, then x, in this order. Positive scale
/// per row has no effect; negative scale and shear are taken for rotation.
class TESSILGRAPH_API ExtractEulerZYXMatrixNode : public MatrixNode<ExtractEulerZYXMatrixNode, Imath::V3d> {
public:
    static Imath::V3d evaluate(const Imath::M44d& matrix);
};

/// The rotation of "matrix" as a quaternion. The upper 3x3 is taken for a rotation as it stands:
/// scale and shear are to be removed before.
class TESSILGRAPH_API ExtractQuaternionMatrixNode : public MatrixNode<ExtractQuaternionMatrixNode, Imath::Quatd> {
public:
    static Imath::Quatd evaluate(const Imath::M44d& matrix);
};

/// The scale of "matrix". Where it cannot be decomposed, see `ExtractSHRTMatrixNode`.
class TESSILGRAPH_API ExtractScalingMatrixNode : public MatrixNode<ExtractScalingMatrixNode, Imath::V3d> {
public:
    static Imath::V3d evaluate(const Imath::M44d& matrix);
};

/// The scale and the shear of "matrix". Where it cannot be decomposed, see `ExtractSHRTMatrixNode`.
class TESSILGRAPH_API ExtractScalingAndShearMatrixNode : public NodeShape<ExtractScalingAndShearMatrixNode> {
public:
    PortTemplate<Imath::M44d>* matrixPort() const { return matrix_; }
    PortTemplate<Imath::V3d>* scalePort() const { return scale_; }
    /// Shear of y along x, of z along x and of z along y.
    PortTemplate<Imath::V3d>* shearPort() const { return shear_; }
    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Imath::M44d>* matrix_ = addInput<Imath::M44d>(*this, "matrix");
    PortTemplate<Imath::V3d>* scale_ = addOutput<Imath::V3d>(*this, "scale");
    PortTemplate<Imath::V3d>* shear_ = addOutput<Imath::V3d>(*this, "shear");
};

/// Splits "matrix" into scale, shear, rotation and translation, which applied in this order give an
/// affine matrix again. Column 3 has no effect. A matrix that mirrors gets three negative scales, any
/// other one three positive ones.
///
/// Each row counts with what remains of it when its part along the rows before is taken off. Where that
/// remainder is exactly zero, as computed, the matrix cannot be decomposed; a remainder of mere rounding
/// error passes for a small scale. Rotation and translation are zero then. The rows before keep their
/// scale, relative to the largest element, and their shear; the shear of the dependent row is kept as it
/// was found, relative to the largest element too; all that would follow is zero.
class TESSILGRAPH_API ExtractSHRTMatrixNode : public NodeShape<ExtractSHRTMatrixNode> {
public:
    PortTemplate<Imath::M44d>* matrixPort() const { return matrix_; }
    PortTemplate<Imath::V3d>* scalePort() const { return scale_; }
    /// Shear of y along x, of z along x and of z along y.
    PortTemplate<Imath::V3d>* shearPort() const { return shear_; }
    /// XYZ Euler angles.
    PortTemplate<Imath::V3d>* rotatePort() const { return rotate_; }
    PortTemplate<Imath::V3d>* translatePort() const { return translate_; }
    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Imath::M44d>* matrix_ = addInput<Imath::M44d>(*this, "matrix");
    PortTemplate<Imath::V3d>* scale_ = addOutput<Imath::V3d>(*this, "scale");
    PortTemplate<Imath::V3d>* shear_ = addOutput<Imath::V3d>(*this, "shear");
    PortTemplate<Imath::V3d>* rotate_ = addOutput<Imath::V3d>(*this, "rotate");
    PortTemplate<Imath::V3d>* translate_ = addOutput<Imath::V3d>(*this, "translate");
};

/// The shortest rotation that turns the direction "from" to "to". Opposite directions turn about some
/// axis perpendicular to them; a zero direction gives the identity.
class TESSILGRAPH_API RotationMatrixNode : public NodeShape<RotationMatrixNode> {
public:
    PortTemplate<Imath::V3d>* fromPort() const { return from_; }
    PortTemplate<Imath::V3d>* toPort() const { return to_; }
    PortTemplate<Imath::M44d>* outputPort() const { return out_; }
    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Imath::V3d>* from_ = addInput<Imath::V3d>(*this, "from");
    PortTemplate<Imath::V3d>* to_ = addInput<Imath::V3d>(*this, "to");
    PortTemplate<Imath::M44d>* out_ = addOutput<Imath::M44d>(*this, "out");
};

/// The rotation that turns the direction "from" to "to" and the y axis, seen from "from", as near
/// to "up" as that allows. The identity for a zero "from".
class TESSILGRAPH_API RotationWithUpDirMatrixNode : public NodeShape<RotationWithUpDirMatrixNode> {
public:
    PortTemplate<Imath::V3d>* fromPort() const { return from_; }
    PortTemplate<Imath::V3d>* toPort() const { return to_; }
    PortTemplate<Imath::V3d>* upPort() const { return up_; }
    PortTemplate<Imath::M44d>* outputPort() const { return out_; }
    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Imath::V3d>* from_ = addInput<Imath::V3d>(*this, "from");
    PortTemplate<Imath::V3d>* to_ = addInput<Imath::V3d>(*this, "to");
    PortTemplate<Imath::V3d>* up_ = addInput<Imath::V3d>(*this, "up");
    PortTemplate<Imath::M44d>* out_ = addOutput<Imath::M44d>(*this, "out");
};

/// "in" without its scale; shear, rotation and translation are kept, and column 3 becomes (0, 0, 0, 1).
/// A matrix that cannot be decomposed passes through unchanged.
class TESSILGRAPH_API SansScalingMatrixNode : public UnaryNode<SansScalingMatrixNode, Imath::M44d, Imath::M44d> {
public:
    static Imath::M44d evaluate(const Imath::M44d& in);
};

/// "in" without its scale and shear; rotation, translation and column 3 are kept. A matrix that
/// cannot be decomposed passes through unchanged.
class TESSILGRAPH_API SansScalingAndShearMatrixNode
    : public UnaryNode<SansScalingAndShearMatrixNode, Imath::M44d, Imath::M44d> {
public:
    static Imath::M44d evaluate(const Imath::M44d& in);
};

/// The matrix with the four given rows and (0, 0, 0, 1) as its last column.
class TESSILGRAPH_API VectorToMatrixNode : public NodeShape<VectorToMatrixNode> {
public:
    PortTemplate<Imath::V3d>* row1Port() const { return row1_; }
    PortTemplate<Imath::V3d>* row2Port() const { return row2_; }
    PortTemplate<Imath::V3d>* row3Port() const { return row3_; }
    /// The translation.
    PortTemplate<Imath::V3d>* row4Port() const { return row4_; }
    PortTemplate<Imath::M44d>* outputPort() const { return out_; }
    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Imath::V3d>* row1_ = addInput<Imath::V3d>(*this, "row1");
    PortTemplate<Imath::V3d>* row2_ = addInput<Imath::V3d>(*this, "row2");
    PortTemplate<Imath::V3d>* row3_ = addInput<Imath::V3d>(*this, "row3");
    PortTemplate<Imath::V3d>* row4_ = addInput<Imath::V3d>(*this, "row4");
    PortTemplate<Imath::M44d>* out_ = addOutput<Imath::M44d>(*this, "out");
};

/// The four rows of "matrix" without the last column.
class TESSILGRAPH_API MatrixToVectorNode : public NodeShape<MatrixToVectorNode> {
public:
    PortTemplate<Imath::V3d>* row1Port() const { return row1_; }
    PortTemplate<Imath::V3d>* row2Port() const { return row2_; }
    PortTemplate<Imath::V3d>* row3Port() const { return row3_; }
    /// The translation.
    PortTemplate<Imath::V3d>* row4Port() const { return row4_; }
    PortTemplate<Imath::M44d>* matrixPort() const { return matrix_; }
    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Imath::V3d>* row1_ = addOutput<Imath::V3d>(*this, "row1");
    PortTemplate<Imath::V3d>* row2_ = addOutput<Imath::V3d>(*this, "row2");
    PortTemplate<Imath::V3d>* row3_ = addOutput<Imath::V3d>(*this, "row3");
    PortTemplate<Imath::V3d>* row4_ = addOutput<Imath::V3d>(*this, "row4");
    PortTemplate<Imath::M44d>* matrix_ = addInput<Imath::M44d>(*this, "matrix");
};

/// The rotation of "matrix" as XYZ Euler angles. Positive scale per row has no effect; negative scale and
/// shear are taken for rotation.
class TESSILGRAPH_API ExtractEulerXYZMatrixNode : public MatrixNode<ExtractEulerXYZMatrixNode, Imath::V3d> {
public:
    static Imath::V3d evaluate(const Imath::M44d& matrix);
};

// clang-format off
template <> inline constexpr TypeInfo typeInfo<MultiDirMatrixNode>{"MultiDirMatrix", 61, pureNode};
template <> inline constexpr TypeInfo typeInfo<MultiVecMatrixNode>{"MultiVecMatrix", 62, pureNode};
template <> inline constexpr TypeInfo typeInfo<SetAxisAngleMatrixNode>{"SetAxisAngleMatrix", 63, pureNode};
template <> inline constexpr TypeInfo typeInfo<AlignZAxisWithTargetDirMatrixNode>{"AlignZAxisWithTargetDirMatrix", 64, pureNode};
template <> inline constexpr TypeInfo typeInfo<ComputeLocalFrameMatrixNode>{"ComputeLocalFrameMatrix", 65, pureNode};
template <> inline constexpr TypeInfo typeInfo<ComputeRSMatrixNode>{"ComputeRSMatrix", 66, pureNode};
template <> inline constexpr TypeInfo typeInfo<ExtractEulerZYXMatrixNode>{"ExtractEulerZYXMatrix", 67, pureNode};
template <> inline constexpr TypeInfo typeInfo<ExtractQuaternionMatrixNode>{"ExtractQuaternionMatrix", 68, pureNode};
template <> inline constexpr TypeInfo typeInfo<ExtractScalingMatrixNode>{"ExtractScalingMatrix", 69, pureNode};
template <> inline constexpr TypeInfo typeInfo<ExtractScalingAndShearMatrixNode>{"ExtractScalingAndShearMatrix", 70, pureNode};
template <> inline constexpr TypeInfo typeInfo<ExtractSHRTMatrixNode>{"ExtractSHRTMatrix", 71, pureNode};
template <> inline constexpr TypeInfo typeInfo<RotationMatrixNode>{"RotationMatrix", 72, pureNode};
template <> inline constexpr TypeInfo typeInfo<RotationWithUpDirMatrixNode>{"RotationWithUpDirMatrix", 73, pureNode};
template <> inline constexpr TypeInfo typeInfo<SansScalingMatrixNode>{"SansScalingMatrix", 74, pureNode};
template <> inline constexpr TypeInfo typeInfo<SansScalingAndShearMatrixNode>{"SansScalingAndShearMatrix", 75, pureNode};
template <> inline constexpr TypeInfo typeInfo<VectorToMatrixNode>{"VectorToMatrix", 76, pureNode};
template <> inline constexpr TypeInfo typeInfo<MatrixToVectorNode>{"MatrixToVector", 77, pureNode};
template <> inline constexpr TypeInfo typeInfo<ExtractEulerXYZMatrixNode>{"ExtractEulerXYZMatrix", 78, pureNode};
// clang-format on

}  // namespace TessilGraph
