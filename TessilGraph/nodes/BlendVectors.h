#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/nodes/NodeShape.h>

#include <Imath/ImathVec.h>

namespace TessilGraph {

/// Blends from "inVector1" (parameter 0) to "inVector2" (parameter 1). The parameter is not clamped:
/// beyond [0, 1] it extrapolates.
///
/// Threads: as `NodeShape`.
class TESSILGRAPH_API BlendVectors : public NodeShape<BlendVectors> {
public:
    PortTemplate<Imath::V3d>* inVector1Port() const { return inVector1_; }
    PortTemplate<Imath::V3d>* inVector2Port() const { return inVector2_; }
    PortTemplate<double>* inParameterPort() const { return inParameter_; }
    PortTemplate<Imath::V3d>* outVectorPort() const { return outVector_; }

    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Imath::V3d>* inVector1_ = addInput<Imath::V3d>(*this, "inVector1");
    PortTemplate<Imath::V3d>* inVector2_ = addInput<Imath::V3d>(*this, "inVector2");
    PortTemplate<double>* inParameter_ = addInput<double>(*this, "inParameter");
    PortTemplate<Imath::V3d>* outVector_ = addOutput<Imath::V3d>(*this, "outVector");
};

template <>
inline constexpr TypeInfo typeInfo<BlendVectors>{"BlendVectors", 83, pureNode};

/// Registers the vector blending node.
///
/// Threads: as `NodeFactory::registerNode`.
TESSILGRAPH_API void registerBlendVectorsNode();

}  // namespace TessilGraph
