#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/nodes/NodeShape.h>

#include <Imath/ImathMatrix.h>
#include <Imath/ImathQuat.h>
#include <Imath/ImathVec.h>

#include <string>

namespace TessilGraph {

/// Compares "in1" with "in2" by the code in "operation", without tolerance.
///
/// For bool, Long, double and std::string: 0 equal, 1 not equal, 2 less, 3 greater, 4 less or equal,
/// 5 greater or equal; any other code means equal. Strings compare byte by byte. For matrices, vectors
/// and quaternions: 0 all components equal, 1 not all equal; any other code gives false. A NaN equals
/// nothing, itself included.
///
/// Threads: as `NodeShape`.
template <class T>
class TESSILGRAPH_API CompareNode : public NodeShape<CompareNode<T>> {
public:
    PortTemplate<T>* input1Port() const { return in1_; }
    PortTemplate<T>* input2Port() const { return in2_; }
    PortTemplate<Long>* operationPort() const { return operation_; }
    PortTemplate<bool>* outputPort() const { return out_; }

    bool compute(const ComputeData* data) override;

private:
    PortTemplate<T>* in1_ = addInput<T>(*this, "in1");
    PortTemplate<T>* in2_ = addInput<T>(*this, "in2");
    PortTemplate<Long>* operation_ = addInput<Long>(*this, "operation");
    PortTemplate<bool>* out_ = addOutput<bool>(*this, "out");
};

// clang-format off
template <> inline constexpr TypeInfo typeInfo<CompareNode<bool>>{"CompareBool", 92, pureNode};
template <> inline constexpr TypeInfo typeInfo<CompareNode<Long>>{"CompareLong", 93, pureNode};
template <> inline constexpr TypeInfo typeInfo<CompareNode<double>>{"CompareDouble", 94, pureNode};
template <> inline constexpr TypeInfo typeInfo<CompareNode<std::string>>{"CompareString", 95, pureNode};
template <> inline constexpr TypeInfo typeInfo<CompareNode<Imath::M44d>>{"CompareMatrix", 96, pureNode};
template <> inline constexpr TypeInfo typeInfo<CompareNode<Imath::V3d>>{"CompareVector", 97, pureNode};
template <> inline constexpr TypeInfo typeInfo<CompareNode<Imath::Quatd>>{"CompareQuaternion", 98, pureNode};
// clang-format on

/// Registers the compare nodes.
///
/// Threads: as `NodeFactory::registerNode`.
TESSILGRAPH_API void registerCompareNodes();

}  // namespace TessilGraph
