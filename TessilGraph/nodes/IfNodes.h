#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/nodes/NodeShape.h>

#include <TessilUtils/Curve.h>

#include <Imath/ImathMatrix.h>
#include <Imath/ImathQuat.h>
#include <Imath/ImathVec.h>

#include <string>

namespace TessilGraph {

/// Passes "in1" on when "if" is true and "in2" otherwise. Only the chosen input is read.
///
/// Threads: as `NodeShape`.
template <class T>
class TESSILGRAPH_API IfNode : public NodeShape<IfNode<T>> {
public:
    PortTemplate<bool>* ifPort() const { return if_; }
    PortTemplate<T>* input1Port() const { return in1_; }
    PortTemplate<T>* input2Port() const { return in2_; }
    PortTemplate<T>* outputPort() const { return out_; }

    bool compute(const ComputeData* data) override;

private:
    PortTemplate<bool>* if_ = addInput<bool>(*this, "if");
    PortTemplate<T>* in1_ = addInput<T>(*this, "in1");
    PortTemplate<T>* in2_ = addInput<T>(*this, "in2");
    PortTemplate<T>* out_ = addOutput<T>(*this, "out");
};

/// Reserved: the type string and the number are taken, the node cannot be made.
///
/// Threads: any number at once.
template <>
class IfNode<TessilUtils::Curve> {
public:
    IfNode() = delete;

    TESSILGRAPH_API static unsigned int staticTypeId();
    TESSILGRAPH_API static std::string staticTypeStr();
};

// clang-format off
template <> inline constexpr TypeInfo typeInfo<IfNode<bool>>{"IfBool", 84, pureNode};
template <> inline constexpr TypeInfo typeInfo<IfNode<Long>>{"IfLong", 85, pureNode};
template <> inline constexpr TypeInfo typeInfo<IfNode<double>>{"IfDouble", 86, pureNode};
template <> inline constexpr TypeInfo typeInfo<IfNode<std::string>>{"IfString", 87, pureNode};
template <> inline constexpr TypeInfo typeInfo<IfNode<Imath::M44d>>{"IfMatrix", 88, pureNode};
template <> inline constexpr TypeInfo typeInfo<IfNode<Imath::V3d>>{"IfVector", 89, pureNode};
template <> inline constexpr TypeInfo typeInfo<IfNode<Imath::Quatd>>{"IfQuaternion", 90, pureNode};
template <> inline constexpr TypeInfo typeInfo<IfNode<TessilUtils::Curve>>{"IfCurve", 91};
// clang-format on

/// Registers the if nodes.
///
/// Threads: as `NodeFactory::registerNode`.
TESSILGRAPH_API void registerIfNodes();

}  // namespace TessilGraph
