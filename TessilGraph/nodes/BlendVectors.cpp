#include <TessilGraph/nodes/BlendVectors.h>

namespace TessilGraph {

bool BlendVectors::compute(const ComputeData*) {
    const Imath::V3d& inVector1 = inVector1_->getRef();
    const Imath::V3d& inVector2 = inVector2_->getRef();
    const double parameter = inParameter_->get();
    outVector_->set(parameter * inVector2 + (1.0 - parameter) * inVector1);
    return true;
}

void registerBlendVectorsNode() {
    registerNodes<BlendVectors>();
}

}  // namespace TessilGraph
