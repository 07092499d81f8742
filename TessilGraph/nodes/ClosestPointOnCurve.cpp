#include <TessilGraph/nodes/ClosestPointOnCurve.h>

#include <TessilGraph/nodes/internal/SinglePrecision.h>

#include <utility>

namespace TessilGraph {

namespace {

constexpr unsigned int samplesPerSpan = 6;
constexpr unsigned int maxIterations = 10;
constexpr float tolerance = 0.0001f;

}  // namespace

ClosestPointOnCurve::ClosestPointOnCurve() {
    restoreDefaults();
}

bool ClosestPointOnCurve::compute(const ComputeData*) {
    TessilUtils::Curve* curve = inCurve_->get();
    if (curve == nullptr || curve->cvs().empty()) {
        return false;
    }

    const Imath::V3f position = toSingle(inPosition_->getRef());
    const std::pair<float, Imath::V3f> closest =
        curve->closestPoint(position, samplesPerSpan, maxIterations, tolerance);
    outPosition_->set(toDouble(closest.second));
    outParameter_->set(static_cast<double>(closest.first));
    outTangent_->set(toDouble(curve->tangentOnCurve(closest.first)));
    return true;
}

void ClosestPointOnCurve::reset() {
    Node::reset();
    restoreDefaults();
}

void ClosestPointOnCurve::restoreDefaults() {
    outTangent_->set(Imath::V3d(1.0, 0.0, 0.0));
}

void registerClosetPointOnCurveNode() {
    registerNodes<ClosestPointOnCurve>();
}

}  // namespace TessilGraph
