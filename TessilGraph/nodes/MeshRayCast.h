#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/nodes/NodeShape.h>

#include <TessilUtils/Mesh.h>

#include <Imath/ImathVec.h>

namespace TessilGraph {

/// Casts one ray against a triangle mesh.
///
/// "inMesh" is neither owned nor copied; it must not change while the network is computed. The
/// direction need not have length 1: "outParameter" counts in its lengths, and "outPosition" is
/// origin + outParameter * direction, behind the origin when that is negative. "outU", "outV" and
/// 1 - outU - outV weigh the first, second and third corner of the triangle "outFaceId"; "outNormal"
/// is the corners' normals in these weights, not normalised. The query runs in single precision.
///
/// Threads: as `NodeShape`; nodes on several threads may ask one mesh.
class TESSILGRAPH_API MeshRayCast : public NodeShape<MeshRayCast> {
public:
    MeshRayCast();

    PortTemplate<TessilUtils::Mesh*>* inMeshPort() const { return inMesh_; }
    PortTemplate<Imath::V3d>* inOriginPort() const { return inOrigin_; }
    PortTemplate<Imath::V3d>* inDirectionPort() const { return inDirection_; }
    PortTemplate<bool>* inBothDirectionsPort() const { return inBothDirections_; }
    PortTemplate<bool>* outIntersectPort() const { return outIntersect_; }
    PortTemplate<double>* outParameterPort() const { return outParameter_; }
    PortTemplate<Long>* outFaceIdPort() const { return outFaceId_; }
    PortTemplate<double>* outUPort() const { return outU_; }
    PortTemplate<double>* outVPort() const { return outV_; }
    PortTemplate<Imath::V3d>* outNormalPort() const { return outNormal_; }
    PortTemplate<Imath::V3d>* outPositionPort() const { return outPosition_; }

    /// False, with all outputs kept, when there is no mesh or it has no points. A miss is no failure: it
    /// sets "outIntersect" to false and "outParameter", "outFaceId", "outU" and "outV" to zero, and keeps
    /// "outNormal" and "outPosition".
    bool compute(const ComputeData* data) override;

    /// Also puts "inOrigin" back to (0, 0, 0) and "inDirection" to (0, 1, 0).
    void reset() override;

private:
    void restoreDefaults();

    PortTemplate<TessilUtils::Mesh*>* inMesh_ = addInput<TessilUtils::Mesh*>(*this, "inMesh");
    PortTemplate<Imath::V3d>* inOrigin_ = addInput<Imath::V3d>(*this, "inOrigin");
    PortTemplate<Imath::V3d>* inDirection_ = addInput<Imath::V3d>(*this, "inDirection");
    PortTemplate<bool>* inBothDirections_ = addInput<bool>(*this, "inBothDirections");
    PortTemplate<bool>* outIntersect_ = addOutput<bool>(*this, "outIntersect");
    PortTemplate<double>* outParameter_ = addOutput<double>(*this, "outParameter");
    PortTemplate<Long>* outFaceId_ = addOutput<Long>(*this, "outFaceId");
    PortTemplate<double>* outU_ = addOutput<double>(*this, "outU");
    PortTemplate<double>* outV_ = addOutput<double>(*this, "outV");
    PortTemplate<Imath::V3d>* outNormal_ = addOutput<Imath::V3d>(*this, "outNormal");
    PortTemplate<Imath::V3d>* outPosition_ = addOutput<Imath::V3d>(*this, "outPosition");
};

// The number is also that of ClosestPointOnCurve; both are kept, so it does not tell the two apart.
template <>
inline constexpr TypeInfo typeInfo<MeshRayCast>{"MeshRayCast", 82, pureNode | outputKeepingNode};

/// Registers the ray casting node.
///
/// Threads: as `NodeFactory::registerNode`.
TESSILGRAPH_API void registerMeshRayCastNode();

}  // namespace TessilGraph
