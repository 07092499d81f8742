#include <TessilGraph/nodes/IfNodes.h>

#include <TessilGraph/nodes/internal/Kernels.h>

namespace TessilGraph {

namespace {

/// What was not chosen is not read: it may be large, or linked to storage that must not be touched now.
template <class T>
const T& choose(bool condition, const T& in1, const T& in2) {
    return condition ? in1 : in2;
}

}  // namespace

template <class T>
inline constexpr auto internal::ownKernel<IfNode<T>> = internal::makeKernel<
    IfNode<T>, choose<T>, &IfNode<T>::ifPort, &IfNode<T>::input1Port, &IfNode<T>::input2Port, &IfNode<T>::outputPort>();
template <>
inline constexpr internal::NoKernel internal::ownKernel<IfNode<std::string>>{};

template <class T>
bool IfNode<T>::compute(const ComputeData*) {
    out_->set(choose(if_->get(), in1_->getRef(), in2_->getRef()));
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
    internal::registerBuiltIn<IfNode<bool>,
                  IfNode<Long>,
                  IfNode<double>,
                  IfNode<std::string>,
                  IfNode<Imath::M44d>,
                  IfNode<Imath::V3d>,
                  IfNode<Imath::Quatd>>();
    // clang-format on
}

}  // namespace TessilGraph
