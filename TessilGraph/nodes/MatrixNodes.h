#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/nodes/MathNodes.h>
#include <TessilGraph/nodes/MatrixAlgorithmNodes.h>
#include <TessilGraph/nodes/MatrixShapes.h>
#include <TessilGraph/nodes/NodeShape.h>

#include <Imath/ImathMatrix.h>
#include <Imath/ImathVec.h>

namespace TessilGraph {

/// @file
/// Matrices act on row vectors: a point stands left of the matrix, translation in row 3, and in a
/// product the left factor is applied first. Angles are radians. The nodes that apply a transform
/// work on a copy; the value of the "matrix" input never changes.
///
/// Threads: the node classes as `NodeShape`.

/// The inverse of "in"; the identity when there is none, and also when the determinant of an affine
/// matrix underflows, as that of a scale by 1e-120 does.
template <class T, class In, class Out>
class TESSILGRAPH_API InverseNode : public UnaryNode<InverseNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// "in" with rows and columns exchanged.
template <class T, class In, class Out>
class TESSILGRAPH_API TransposeNode : public UnaryNode<TransposeNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The determinant of all four rows and columns of "in".
template <class T, class In, class Out>
class TESSILGRAPH_API DeterminantMatrixNode : public UnaryNode<DeterminantMatrixNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// "matrix" with "double" added to each of its sixteen elements.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API AddScalarMatrixNode
    : public MatrixScalarNode<AddScalarMatrixNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& matrix, const In2& scalar);
};

/// "matrix" with each of its sixteen elements multiplied by "double".
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API MultiplyScalarMatrixNode
    : public MatrixScalarNode<MultiplyScalarMatrixNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& matrix, const In2& scalar);
};

/// "matrix" with each of its sixteen elements divided by "double". The divisor is not tested: zero
/// gives infinities and NaN.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API DivideScalarMatrixNode
    : public MatrixScalarNode<DivideScalarMatrixNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& matrix, const In2& scalar);
};

/// Rotates before "matrix" by the XYZ Euler angles in "vector". Rows 0 to 2 change in all four
/// columns, row 3 is kept.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API RotateNode : public MatrixVectorNode<RotateNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& matrix, const In2& angles);
};

/// The rotation by the XYZ Euler angles in "vector". The value of "matrix" has no effect.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API SetRotateNode : public MatrixVectorNode<SetRotateNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& matrix, const In2& angles);
};

/// Scales before "matrix": rows 0, 1 and 2 multiplied by the components of "vector".
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API ScaleNode : public MatrixVectorNode<ScaleNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& matrix, const In2& scale);
};

/// The scaling by "vector". The value of "matrix" has no effect.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API SetScaleNode : public MatrixVectorNode<SetScaleNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& matrix, const In2& scale);
};

/// Translates before "matrix": rows 0, 1 and 2, weighted by "vector", are added to row 3.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API TranslateNode : public MatrixVectorNode<TranslateNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& matrix, const In2& translation);
};

/// The translation by "vector". The value of "matrix" has no effect.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API SetTranslationNode
    : public MatrixVectorNode<SetTranslationNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& matrix, const In2& translation);
};

/// Shears before "matrix". "vector" holds the shear of y along x, of z along x and of z along y.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API ShearNode : public MatrixVectorNode<ShearNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& matrix, const In2& shear);
};

/// The shear by "vector": the identity with its components in row 1 column 0, row 2 column 0 and
/// row 2 column 1. The value of "matrix" has no effect.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API SetShearNode : public MatrixVectorNode<SetShearNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& matrix, const In2& shear);
};

// clang-format off
template <> inline constexpr TypeInfo typeInfo<AddNode<Imath::M44d, Imath::M44d, Imath::M44d, Imath::M44d>>{"AddMatrix", 44, pureNode};
template <> inline constexpr TypeInfo typeInfo<SubtractNode<Imath::M44d, Imath::M44d, Imath::M44d, Imath::M44d>>{"SubtractMatrix", 45, pureNode};
template <> inline constexpr TypeInfo typeInfo<MultiplyNode<Imath::M44d, Imath::M44d, Imath::M44d, Imath::M44d>>{"MultiplyMatrix", 46, pureNode};
template <> inline constexpr TypeInfo typeInfo<InverseNode<Imath::M44d, Imath::M44d, Imath::M44d>>{"InverseMatrix", 47, pureNode};
template <> inline constexpr TypeInfo typeInfo<TransposeNode<Imath::M44d, Imath::M44d, Imath::M44d>>{"TransposeMatrix", 48, pureNode};
template <> inline constexpr TypeInfo typeInfo<DeterminantMatrixNode<Imath::M44d, Imath::M44d, double>>{"DeterminantMatrix", 49, pureNode};
template <> inline constexpr TypeInfo typeInfo<MultiplyScalarMatrixNode<Imath::M44d, Imath::M44d, double, Imath::M44d>>{"MultiplyScalarMatrix", 50, pureNode};
template <> inline constexpr TypeInfo typeInfo<AddScalarMatrixNode<Imath::M44d, Imath::M44d, double, Imath::M44d>>{"AddScalarMatrix", 51, pureNode};
template <> inline constexpr TypeInfo typeInfo<DivideScalarMatrixNode<Imath::M44d, Imath::M44d, double, Imath::M44d>>{"DivideScalarMatrix", 52, pureNode};
template <> inline constexpr TypeInfo typeInfo<RotateNode<Imath::M44d, Imath::M44d, Imath::V3d, Imath::M44d>>{"RotateMatrix", 53, pureNode};
template <> inline constexpr TypeInfo typeInfo<SetRotateNode<Imath::M44d, Imath::M44d, Imath::V3d, Imath::M44d>>{"SetRotationMatrix", 54, pureNode};
template <> inline constexpr TypeInfo typeInfo<ScaleNode<Imath::M44d, Imath::M44d, Imath::V3d, Imath::M44d>>{"ScaleMatrix", 55, pureNode};
template <> inline constexpr TypeInfo typeInfo<SetScaleNode<Imath::M44d, Imath::M44d, Imath::V3d, Imath::M44d>>{"SetScaleMatrix", 56, pureNode};
template <> inline constexpr TypeInfo typeInfo<TranslateNode<Imath::M44d, Imath::M44d, Imath::V3d, Imath::M44d>>{"TranslateMatrix", 57, pureNode};
template <> inline constexpr TypeInfo typeInfo<SetTranslationNode<Imath::M44d, Imath::M44d, Imath::V3d, Imath::M44d>>{"SetTranslationMatrix", 58, pureNode};
template <> inline constexpr TypeInfo typeInfo<ShearNode<Imath::M44d, Imath::M44d, Imath::V3d, Imath::M44d>>{"ShearMatrix", 59, pureNode};
template <> inline constexpr TypeInfo typeInfo<SetShearNode<Imath::M44d, Imath::M44d, Imath::V3d, Imath::M44d>>{"SetShearMatrix", 60, pureNode};
// clang-format on

/// Registers the matrix nodes: arithmetic, transforms and algorithms.
///
/// Threads: as `NodeFactory::registerNode`.
TESSILGRAPH_API void registerMatrixNodes();

}  // namespace TessilGraph
