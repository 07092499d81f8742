#include <TessilGraph/nodes/VectorNodes.h>

#include <TessilGraph/nodes/ShapeCompute.h>
#include <TessilGraph/nodes/internal/Arithmetic.h>
#include <TessilGraph/nodes/internal/Kernels.h>

namespace TessilGraph {

using Imath::V3d;

template <class T, class In, class Out>
[[gnu::noinline]] Out LengthNode<T, In, Out>::evaluate(const In& in) {
    return in.length();
}

template <class T, class In, class Out>
[[gnu::noinline]] Out Length2Node<T, In, Out>::evaluate(const In& in) {
    return in.length2();
}

template <class T, class In, class Out>
[[gnu::noinline]] Out NormalizedNode<T, In, Out>::evaluate(const In& in) {
    return in.normalized();
}

template <class T, class In1, class In2, class Out>
[[gnu::noinline]] Out DotNode<T, In1, In2, Out>::evaluate(const In1& in1, const In2& in2) {
    return in1.dot(in2);
}

template <class T, class In1, class In2, class Out>
[[gnu::noinline]] Out CrossNode<T, In1, In2, Out>::evaluate(const In1& in1, const In2& in2) {
    return in1.cross(in2);
}

template <class T, class In1, class In2, class Out>
Out VectorScaleNode<T, In1, In2, Out>::evaluate(const In1& in1, const In2& in2) {
    return in1 * in2;
}

namespace {

void split(const V3d& vec, double& x, double& y, double& z) {
    const V3d parts = vec;
    x = parts.x;
    y = parts.y;
    z = parts.z;
}

V3d join(double x, double y, double z) {
    return {x, y, z};
}

}  // namespace

template <>
inline constexpr auto internal::ownKernel<VectorToDouble> =
    internal::makeKernel<VectorToDouble, split, &VectorToDouble::vecPort, &VectorToDouble::xPort,
                         &VectorToDouble::yPort, &VectorToDouble::zPort>();
template <>
inline constexpr auto internal::ownKernel<DoubleToVector> =
    internal::makeKernel<DoubleToVector, join, &DoubleToVector::xPort, &DoubleToVector::yPort, &DoubleToVector::zPort,
                         &DoubleToVector::vecPort>();

bool VectorToDouble::compute(const ComputeData*) {
    double x, y, z;
    split(vec_->getRef(), x, y, z);
    x_->set(x);
    y_->set(y);
    z_->set(z);
    return true;
}

bool DoubleToVector::compute(const ComputeData*) {
    vec_->set(join(x_->get(), y_->get(), z_->get()));
    return true;
}

template class AddNode<V3d, V3d, V3d, V3d>;
template class SubtractNode<V3d, V3d, V3d, V3d>;
template class MultiplyNode<V3d, V3d, V3d, V3d>;
template class LengthNode<V3d, V3d, double>;
template class Length2Node<V3d, V3d, double>;
template class NormalizedNode<V3d, V3d, V3d>;
template class DotNode<V3d, V3d, V3d, double>;
template class CrossNode<V3d, V3d, V3d, V3d>;
template class VectorScaleNode<V3d, V3d, double, V3d>;

void registerVectorNodes() {
    // clang-format off
    internal::registerBuiltIn<AddNode<V3d, V3d, V3d, V3d>,
                  SubtractNode<V3d, V3d, V3d, V3d>,
                  MultiplyNode<V3d, V3d, V3d, V3d>,
                  LengthNode<V3d, V3d, double>,
                  Length2Node<V3d, V3d, double>,
                  NormalizedNode<V3d, V3d, V3d>,
                  DotNode<V3d, V3d, V3d, double>,
                  CrossNode<V3d, V3d, V3d, V3d>,
                  VectorScaleNode<V3d, V3d, double, V3d>,
                  VectorToDouble,
                  DoubleToVector>();
    // clang-format on
}

}  // namespace TessilGraph
