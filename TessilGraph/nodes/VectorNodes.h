#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/nodes/MathNodes.h>
#include <TessilGraph/nodes/NodeShape.h>

#include <Imath/ImathVec.h>

namespace TessilGraph {

/// @file
/// Vector arithmetic and conversions. NaN and infinities are results like any other.
///
/// Threads: the node classes as `NodeShape`.

/// The length of "in". It does not underflow for very small vectors, but is infinite from about 1e154 on.
template <class T, class In, class Out>
class TESSILGRAPH_API LengthNode : public UnaryNode<LengthNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The squared length of "in".
template <class T, class In, class Out>
class TESSILGRAPH_API Length2Node : public UnaryNode<Length2Node<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// "in" divided by its length; the zero vector stays zero. A vector so long that its length is infinite,
/// from about 1e154 on, becomes zero.
template <class T, class In, class Out>
class TESSILGRAPH_API NormalizedNode : public UnaryNode<NormalizedNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The dot product of in1 and in2.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API DotNode : public BinaryNode<DotNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& in1, const In2& in2);
};

/// The cross product in1 x in2, right-handed.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API CrossNode : public BinaryNode<CrossNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& in1, const In2& in2);
};

/// The vector in1 with each component multiplied by the scalar in2.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API VectorScaleNode : public BinaryNode<VectorScaleNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& in1, const In2& in2);
};

/// Splits a vector into its components.
class TESSILGRAPH_API VectorToDouble : public NodeShape<VectorToDouble> {
public:
    PortTemplate<Imath::V3d>* vecPort() const { return vec_; }
    PortTemplate<double>* xPort() const { return x_; }
    PortTemplate<double>* yPort() const { return y_; }
    PortTemplate<double>* zPort() const { return z_; }

    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Imath::V3d>* vec_ = addInput<Imath::V3d>(*this, "vec");
    PortTemplate<double>* x_ = addOutput<double>(*this, "x");
    PortTemplate<double>* y_ = addOutput<double>(*this, "y");
    PortTemplate<double>* z_ = addOutput<double>(*this, "z");
};

/// Joins three components into a vector.
class TESSILGRAPH_API DoubleToVector : public NodeShape<DoubleToVector> {
public:
    PortTemplate<Imath::V3d>* vecPort() const { return vec_; }
    PortTemplate<double>* xPort() const { return x_; }
    PortTemplate<double>* yPort() const { return y_; }
    PortTemplate<double>* zPort() const { return z_; }

    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Imath::V3d>* vec_ = addOutput<Imath::V3d>(*this, "vec");
    PortTemplate<double>* x_ = addInput<double>(*this, "x");
    PortTemplate<double>* y_ = addInput<double>(*this, "y");
    PortTemplate<double>* z_ = addInput<double>(*this, "z");
};

// clang-format off
template <> inline constexpr TypeInfo typeInfo<AddNode<Imath::V3d, Imath::V3d, Imath::V3d, Imath::V3d>>{"AddVector", 33, pureNode};
template <> inline constexpr TypeInfo typeInfo<SubtractNode<Imath::V3d, Imath::V3d, Imath::V3d, Imath::V3d>>{"SubtractVector", 34, pureNode};
template <> inline constexpr TypeInfo typeInfo<MultiplyNode<Imath::V3d, Imath::V3d, Imath::V3d, Imath::V3d>>{"MultiplyVector", 35, pureNode};
template <> inline constexpr TypeInfo typeInfo<LengthNode<Imath::V3d, Imath::V3d, double>>{"LengthVector", 36, pureNode};
template <> inline constexpr TypeInfo typeInfo<Length2Node<Imath::V3d, Imath::V3d, double>>{"Length2Vector", 37, pureNode};
template <> inline constexpr TypeInfo typeInfo<NormalizedNode<Imath::V3d, Imath::V3d, Imath::V3d>>{"NormalizedVector", 38, pureNode};
template <> inline constexpr TypeInfo typeInfo<DotNode<Imath::V3d, Imath::V3d, Imath::V3d, double>>{"DotVector", 39, pureNode};
template <> inline constexpr TypeInfo typeInfo<CrossNode<Imath::V3d, Imath::V3d, Imath::V3d, Imath::V3d>>{"CrossVector", 40, pureNode};
template <> inline constexpr TypeInfo typeInfo<VectorScaleNode<Imath::V3d, Imath::V3d, double, Imath::V3d>>{"ScaleVector", 41, pureNode};
template <> inline constexpr TypeInfo typeInfo<VectorToDouble>{"VectorToDouble", 42, pureNode};
template <> inline constexpr TypeInfo typeInfo<DoubleToVector>{"DoubleToVector", 43, pureNode};
// clang-format on

/// Registers the vector nodes and the conversions between a vector and its components.
///
/// Threads: as `NodeFactory::registerNode`.
TESSILGRAPH_API void registerVectorNodes();

}  // namespace TessilGraph
