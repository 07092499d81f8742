#include <TessilGraph/nodes/IfNodes.h>

namespace TessilGraph {

template <class T>
bool IfNode<T>::compute(const ComputeData*) {
    // The values stay where they are until one is chosen: the other may be large, or linked to
    // storage that must not be touched now.
    const PortTemplate<T>* chosen = if_->get() ? in1_ : in2_;
    const T& value = chosen->getRef();
    out_->set(value);
    return true;
}

unsigned int IfNode<TessilUtils::Curve>::staticTypeId() {
    return typeInfo<IfNode>.id;
}

std::string IfNode<TessilUtils::Curve>::staticTypeStr() {
    return typeInfo<IfNode>.str;
}

template class IfNode<bool>;
template class IfNode<Long>;
template class IfNode<double>;
template class IfNode<std::string>;
template class IfNode<Imath::M44d>;
template class IfNode<Imath::V3d>;
template class IfNode<Imath::Quatd>;

void registerIfNodes() {
    // clang-format off
    registerNodes<IfNode<bool>,
                  IfNode<Long>,
                  IfNode<double>,
                  IfNode<std::string>,
                  IfNode<Imath::M44d>,
                  IfNode<Imath::V3d>,
                  IfNode<Imath::Quatd>>();
    // clang-format on
}

}  // namespace TessilGraph
