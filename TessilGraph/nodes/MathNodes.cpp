#include <TessilGraph/nodes/MathNodes.h>

#include <TessilGraph/nodes/ShapeCompute.h>
#include <TessilGraph/nodes/internal/Arithmetic.h>
#include <TessilGraph/nodes/internal/Kernels.h>

#include <cmath>

namespace TessilGraph {

template <class T, class In1, class In2, class Out>
Out DivideNode<T, In1, In2, Out>::evaluate(const In1& in1, const In2& in2) {
    return divide(in1, in2);
}

template <class T, class In, class Out>
Out AbsNode<T, In, Out>::evaluate(const In& in) {
    return absolute(in);
}

template <class T, class In1, class In2, class Out>
Out MinNode<T, In1, In2, Out>::evaluate(const In1& in1, const In2& in2) {
    return in2 < in1 ? in2 : in1;
}

template <class T, class In1, class In2, class Out>
Out MaxNode<T, In1, In2, Out>::evaluate(const In1& in1, const In2& in2) {
    return in1 < in2 ? in2 : in1;
}

template <class T, class In, class Out>
Out SqrtNode<T, In, Out>::evaluate(const In& in) {
    return squareRoot(in);
}

template <class T, class In, class Out>
Out CosNode<T, In, Out>::evaluate(const In& in) {
    return std::cos(in);
}

template <class T, class In, class Out>
Out AcosNode<T, In, Out>::evaluate(const In& in) {
    return std::acos(in);
}

template <class T, class In, class Out>
Out SinNode<T, In, Out>::evaluate(const In& in) {
    return std::sin(in);
}

template <class T, class In, class Out>
Out AsinNode<T, In, Out>::evaluate(const In& in) {
    return std::asin(in);
}

template <class T, class In, class Out>
Out TanNode<T, In, Out>::evaluate(const In& in) {
    return std::tan(in);
}

template <class T, class In, class Out>
Out AtanNode<T, In, Out>::evaluate(const In& in) {
    return std::atan(in);
}

template <class T, class In, class Out>
Out CoshNode<T, In, Out>::evaluate(const In& in) {
    return std::cosh(in);
}

template <class T, class In, class Out>
Out SinhNode<T, In, Out>::evaluate(const In& in) {
    return std::sinh(in);
}

template <class T, class In, class Out>
Out TanhNode<T, In, Out>::evaluate(const In& in) {
    return std::tanh(in);
}

template <class T, class In1, class In2, class Out>
Out Atan2Node<T, In1, In2, Out>::evaluate(const In1& in1, const In2& in2) {
    return std::atan2(in1, in2);
}

namespace {

double power(double base, double exponent) {
    return std::pow(base, exponent);
}

}  // namespace

template <class T, class In1, class In2, class Out>
inline constexpr auto internal::ownKernel<PowNode<T, In1, In2, Out>> =
    internal::makeKernel<PowNode<T, In1, In2, Out>, power, &PowNode<T, In1, In2, Out>::basePort,
                         &PowNode<T, In1, In2, Out>::exponentPort, &PowNode<T, In1, In2, Out>::outputPort>();

template <class T, class In1, class In2, class Out>
bool PowNode<T, In1, In2, Out>::compute(const ComputeData*) {
    out_->set(power(base_->get(), exponent_->get()));
    return true;
}

template <class T, class In, class Out>
Out LnNode<T, In, Out>::evaluate(const In& in) {
    return std::log(in);
}

template <class T, class In, class Out>
Out LogNode<T, In, Out>::evaluate(const In& in) {
    return std::log10(in);
}

template <class T, class In, class Out>
Out CeilNode<T, In, Out>::evaluate(const In& in) {
    return std::ceil(in);
}

template <class T, class In, class Out>
Out FloorNode<T, In, Out>::evaluate(const In& in) {
    return std::floor(in);
}

template class AddNode<Long, Long, Long, Long>;
template class AddNode<std::string, std::string, std::string, std::string>;
template class AddNode<double, double, double, double>;
template class SubtractNode<Long, Long, Long, Long>;
template class SubtractNode<double, double, double, double>;
template class MultiplyNode<Long, Long, Long, Long>;
template class MultiplyNode<double, double, double, double>;
template class DivideNode<Long, Long, Long, Long>;
template class DivideNode<double, double, double, double>;
template class AbsNode<Long, Long, Long>;
template class AbsNode<double, double, double>;
template class MinNode<Long, Long, Long, Long>;
template class MinNode<double, double, double, double>;
template class MaxNode<Long, Long, Long, Long>;
template class MaxNode<double, double, double, double>;
template class SqrtNode<Long, Long, Long>;
template class SqrtNode<double, double, double>;
template class CosNode<double, double, double>;
template class AcosNode<double, double, double>;
template class SinNode<double, double, double>;
template class AsinNode<double, double, double>;
template class TanNode<double, double, double>;
template class AtanNode<double, double, double>;
template class CoshNode<double, double, double>;
template class SinhNode<double, double, double>;
template class TanhNode<double, double, double>;
template class Atan2Node<double, double, double, double>;
template class PowNode<double, double, double, double>;
template class LnNode<double, double, double>;
template class LogNode<double, double, double>;
template class CeilNode<double, double, double>;
template class FloorNode<double, double, double>;

void registerMathNodes() {
    // clang-format off
    internal::registerBuiltIn<AddNode<Long, Long, Long, Long>,
                  AddNode<std::string, std::string, std::string, std::string>,
                  AddNode<double, double, double, double>,
                  SubtractNode<Long, Long, Long, Long>,
                  SubtractNode<double, double, double, double>,
                  MultiplyNode<Long, Long, Long, Long>,
                  MultiplyNode<double, double, double, double>,
                  DivideNode<Long, Long, Long, Long>,
                  DivideNode<double, double, double, double>,
                  AbsNode<Long, Long, Long>,
                  AbsNode<double, double, double>,
                  MinNode<Long, Long, Long, Long>,
                  MinNode<double, double, double, double>,
                  MaxNode<Long, Long, Long, Long>,
                  MaxNode<double, double, double, double>,
                  SqrtNode<Long, Long, Long>,
                  SqrtNode<double, double, double>,
                  CosNode<double, double, double>,
                  AcosNode<double, double, double>,
                  SinNode<double, double, double>,
                  AsinNode<double, double, double>,
                  TanNode<double, double, double>,
                  AtanNode<double, double, double>,
                  CoshNode<double, double, double>,
                  SinhNode<double, double, double>,
                  TanhNode<double, double, double>,
                  Atan2Node<double, double, double, double>,
                  PowNode<double, double, double, double>,
                  LnNode<double, double, double>,
                  LogNode<double, double, double>,
                  CeilNode<double, double, double>,
                  FloorNode<double, double, double>>();
    // clang-format on
}

}  // namespace TessilGraph
