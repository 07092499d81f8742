#include <TessilGraph/nodes/BlendVectors.h>

#include <TessilGraph/nodes/EvaluateOnce.h>
#include <TessilGraph/nodes/internal/Kernels.h>

namespace TessilGraph {

namespace {

TESSILGRAPH_ONE_BODY Imath::V3d blend(const Imath::V3d& inVector1, const Imath::V3d& inVector2, double parameter) {
    return parameter * inVector2 + (1.0 - parameter) * inVector1;
}

}  // namespace

template <>
inline constexpr auto internal::ownKernel<BlendVectors> =
    internal::makeKernel<BlendVectors, blend, &BlendVectors::inVector1Port, &BlendVectors::inVector2Port,
                         &BlendVectors::inParameterPort, &BlendVectors::outVectorPort>();

bool BlendVectors::compute(const ComputeData*) {
    outVector_->set(blend(inVector1_->getRef(), inVector2_->getRef(), inParameter_->get()));
    return true;
}

void registerBlendVectorsNode() {
    internal::registerBuiltIn<BlendVectors>();
}

}  // namespace TessilGraph
