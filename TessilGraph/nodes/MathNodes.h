#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/nodes/NodeShape.h>

#include <string>

namespace TessilGraph {

/// @file
/// Scalar arithmetic. The first parameter of a class is the value type of its family, then come the
/// types of its inputs and of its output. Doubles follow the standard math library: no argument is
/// clamped, NaN and infinities are results like any other. Sum, difference and product also exist for
/// vectors (VectorNodes.h) and matrices (MatrixNodes.h).
///
/// Threads: the node classes as `NodeShape`.

/// in1 + in2. Integers wrap in 32 bits, strings are joined.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API AddNode : public BinaryNode<AddNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& in1, const In2& in2);
};

/// in1 - in2. Integers wrap in 32 bits.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API SubtractNode : public BinaryNode<SubtractNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& in1, const In2& in2);
};

/// in1 * in2. Integers wrap in 32 bits, vectors are multiplied component by component. Matrices act on
/// row vectors, so in1 is applied first.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API MultiplyNode : public BinaryNode<MultiplyNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& in1, const In2& in2);
};

/// in1 / in2. Integers are truncated toward zero; an integer divided by zero is 0, and the most negative
/// one divided by -1 stays itself.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API DivideNode : public BinaryNode<DivideNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& in1, const In2& in2);
};

/// The magnitude of "in". The most negative integer stays itself.
template <class T, class In, class Out>
class TESSILGRAPH_API AbsNode : public UnaryNode<AbsNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The lesser of in1 and in2; in1 when they are equal, as the zeros of both signs are, or do not
/// compare, as with NaN.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API MinNode : public BinaryNode<MinNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& in1, const In2& in2);
};

/// The greater of in1 and in2; in1 when they are equal, as the zeros of both signs are, or do not
/// compare, as with NaN.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API MaxNode : public BinaryNode<MaxNode<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& in1, const In2& in2);
};

/// The square root of "in", truncated for integers. A negative double gives NaN, a negative integer the
/// most negative one.
template <class T, class In, class Out>
class TESSILGRAPH_API SqrtNode : public UnaryNode<SqrtNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The cosine of "in", in radians.
template <class T, class In, class Out>
class TESSILGRAPH_API CosNode : public UnaryNode<CosNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The arc cosine of "in", in radians. NaN outside [-1, 1].
template <class T, class In, class Out>
class TESSILGRAPH_API AcosNode : public UnaryNode<AcosNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The sine of "in", in radians.
template <class T, class In, class Out>
class TESSILGRAPH_API SinNode : public UnaryNode<SinNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The arc sine of "in", in radians. NaN outside [-1, 1].
template <class T, class In, class Out>
class TESSILGRAPH_API AsinNode : public UnaryNode<AsinNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The tangent of "in", in radians.
template <class T, class In, class Out>
class TESSILGRAPH_API TanNode : public UnaryNode<TanNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The arc tangent of "in", in radians.
template <class T, class In, class Out>
class TESSILGRAPH_API AtanNode : public UnaryNode<AtanNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The hyperbolic cosine of "in".
template <class T, class In, class Out>
class TESSILGRAPH_API CoshNode : public UnaryNode<CoshNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The hyperbolic sine of "in".
template <class T, class In, class Out>
class TESSILGRAPH_API SinhNode : public UnaryNode<SinhNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The hyperbolic tangent of "in".
template <class T, class In, class Out>
class TESSILGRAPH_API TanhNode : public UnaryNode<TanhNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The angle of the point with y = in1 and x = in2, in radians from -pi to pi.
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API Atan2Node : public BinaryNode<Atan2Node<T, In1, In2, Out>, In1, In2, Out> {
public:
    static Out evaluate(const In1& in1, const In2& in2);
};

/// "base" raised to "exponent".
template <class T, class In1, class In2, class Out>
class TESSILGRAPH_API PowNode : public NodeShape<PowNode<T, In1, In2, Out>> {
public:
    PortTemplate<In1>* basePort() const { return base_; }
    PortTemplate<In2>* exponentPort() const { return exponent_; }
    PortTemplate<Out>* outputPort() const { return out_; }

    bool compute(const ComputeData* data) override;

private:
    PortTemplate<In1>* base_ = addInput<In1>(*this, "base");
    PortTemplate<In2>* exponent_ = addInput<In2>(*this, "exponent");
    PortTemplate<Out>* out_ = addOutput<Out>(*this, "out");
};

/// The natural logarithm of "in".
template <class T, class In, class Out>
class TESSILGRAPH_API LnNode : public UnaryNode<LnNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The decimal logarithm of "in".
template <class T, class In, class Out>
class TESSILGRAPH_API LogNode : public UnaryNode<LogNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The least whole number that is not below "in".
template <class T, class In, class Out>
class TESSILGRAPH_API CeilNode : public UnaryNode<CeilNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

/// The greatest whole number that is not above "in".
template <class T, class In, class Out>
class TESSILGRAPH_API FloorNode : public UnaryNode<FloorNode<T, In, Out>, In, Out> {
public:
    static Out evaluate(const In& in);
};

// clang-format off
template <> inline constexpr TypeInfo typeInfo<AddNode<Long, Long, Long, Long>>{"AddLong", 1, pureNode};
template <> inline constexpr TypeInfo typeInfo<AddNode<double, double, double, double>>{"AddDouble", 2, pureNode};
template <> inline constexpr TypeInfo typeInfo<AddNode<std::string, std::string, std::string, std::string>>{"AddString", 3, pureNode};
template <> inline constexpr TypeInfo typeInfo<SubtractNode<Long, Long, Long, Long>>{"SubtractLong", 4, pureNode};
template <> inline constexpr TypeInfo typeInfo<SubtractNode<double, double, double, double>>{"SubtractDouble", 5, pureNode};
template <> inline constexpr TypeInfo typeInfo<DivideNode<Long, Long, Long, Long>>{"DivideLong", 6, pureNode};
template <> inline constexpr TypeInfo typeInfo<DivideNode<double, double, double, double>>{"DivideDouble", 7, pureNode};
template <> inline constexpr TypeInfo typeInfo<MultiplyNode<Long, Long, Long, Long>>{"MultiplyLong", 8, pureNode};
template <> inline constexpr TypeInfo typeInfo<MultiplyNode<double, double, double, double>>{"MultiplyDouble", 9, pureNode};
template <> inline constexpr TypeInfo typeInfo<AbsNode<Long, Long, Long>>{"AbsLong", 10, pureNode};
template <> inline constexpr TypeInfo typeInfo<AbsNode<double, double, double>>{"AbsDouble", 11, pureNode};
template <> inline constexpr TypeInfo typeInfo<MaxNode<Long, Long, Long, Long>>{"MaxLong", 12, pureNode};
template <> inline constexpr TypeInfo typeInfo<MaxNode<double, double, double, double>>{"MaxDouble", 13, pureNode};
template <> inline constexpr TypeInfo typeInfo<MinNode<Long, Long, Long, Long>>{"MinLong", 14, pureNode};
template <> inline constexpr TypeInfo typeInfo<MinNode<double, double, double, double>>{"MinDouble", 15, pureNode};
template <> inline constexpr TypeInfo typeInfo<SqrtNode<Long, Long, Long>>{"SqrtLong", 16, pureNode};
template <> inline constexpr TypeInfo typeInfo<SqrtNode<double, double, double>>{"SqrtDouble", 17, pureNode};
template <> inline constexpr TypeInfo typeInfo<CosNode<double, double, double>>{"CosDouble", 18, pureNode};
template <> inline constexpr TypeInfo typeInfo<AcosNode<double, double, double>>{"AcosDouble", 19, pureNode};
template <> inline constexpr TypeInfo typeInfo<SinNode<double, double, double>>{"SinDouble", 20, pureNode};
template <> inline constexpr TypeInfo typeInfo<AsinNode<double, double, double>>{"AsinDouble", 21, pureNode};
template <> inline constexpr TypeInfo typeInfo<TanNode<double, double, double>>{"TanDouble", 22, pureNode};
template <> inline constexpr TypeInfo typeInfo<AtanNode<double, double, double>>{"AtanDouble", 23, pureNode};
template <> inline constexpr TypeInfo typeInfo<CoshNode<double, double, double>>{"CoshDouble", 24, pureNode};
template <> inline constexpr TypeInfo typeInfo<SinhNode<double, double, double>>{"SinhDouble", 25, pureNode};
template <> inline constexpr TypeInfo typeInfo<TanhNode<double, double, double>>{"TanhDouble", 26, pureNode};
template <> inline constexpr TypeInfo typeInfo<Atan2Node<double, double, double, double>>{"Atan2Double", 27, pureNode};
template <> inline constexpr TypeInfo typeInfo<PowNode<double, double, double, double>>{"PowDouble", 28, pureNode};
template <> inline constexpr TypeInfo typeInfo<LnNode<double, double, double>>{"LnDouble", 29, pureNode};
template <> inline constexpr TypeInfo typeInfo<LogNode<double, double, double>>{"LogDouble", 30, pureNode};
template <> inline constexpr TypeInfo typeInfo<CeilNode<double, double, double>>{"CeilDouble", 31, pureNode};
template <> inline constexpr TypeInfo typeInfo<FloorNode<double, double, double>>{"FloorDouble", 32, pureNode};
// clang-format on

/// Registers the scalar math nodes.
///
/// Threads: as `NodeFactory::registerNode`.
TESSILGRAPH_API void registerMathNodes();

}  // namespace TessilGraph
