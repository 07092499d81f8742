#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/nodes/NodeShape.h>

#include <TessilUtils/Curve.h>

#include <Imath/ImathVec.h>

namespace TessilGraph {

/// Finds the point of a curve that is nearest to "inPosition", with the curve's parameter and tangent
/// there. The tangent is the curve's derivative, not normalised.
///
/// "inCurve" is neither owned nor copied; it must not change while the network is computed. The
/// search runs in single precision.
///
/// Threads: as `NodeShape`; nodes on several threads may ask one curve, a curve class of a host's own
/// if its `closestPoint` allows that.
class TESSILGRAPH_API ClosestPointOnCurve : public NodeShape<ClosestPointOnCurve> {
public:
    ClosestPointOnCurve();

    PortTemplate<TessilUtils::Curve*>* inCurvePort() const { return inCurve_; }
    PortTemplate<Imath::V3d>* inPositionPort() const { return inPosition_; }
    PortTemplate<Imath::V3d>* outPositionPort() const { return outPosition_; }
    PortTemplate<Imath::V3d>* outTangentPort() const { return outTangent_; }
    PortTemplate<double>* outParameterPort() const { return outParameter_; }

    /// False, with all outputs kept, when there is no curve or it has no control vertices.
    bool compute(const ComputeData* data) override;

    /// Also puts "outTangent" back to (1, 0, 0).
    void reset() override;

private:
    void restoreDefaults();

    PortTemplate<TessilUtils::Curve*>* inCurve_ = addInput<TessilUtils::Curve*>(*this, "inCurve");
    PortTemplate<Imath::V3d>* inPosition_ = addInput<Imath::V3d>(*this, "inPosition");
    PortTemplate<Imath::V3d>* outPosition_ = addOutput<Imath::V3d>(*this, "outPosition");
    PortTemplate<Imath::V3d>* outTangent_ = addOutput<Imath::V3d>(*this, "outTangent");
    PortTemplate<double>* outParameter_ = addOutput<double>(*this, "outParameter");
};

// The type string lacks an "s", as does the name of the registration function: both are kept for
// the networks and hosts that use them. A curve may be of a host's own class, whose search does whatever
// it does, so the node is not taken for pure.
template <>
inline constexpr TypeInfo typeInfo<ClosestPointOnCurve>{"ClosetPointOnCurve", 82, outputKeepingNode};

/// Registers the closest-point node.
///
/// Threads: as `NodeFactory::registerNode`.
TESSILGRAPH_API void registerClosetPointOnCurveNode();

}  // namespace TessilGraph
