#include <TessilGraph/nodes/CompareNodes.h>

#include <TessilGraph/nodes/internal/Kernels.h>

namespace TessilGraph {

namespace {

/// The values of "operation".
enum Operation : Long { equal = 0, notEqual = 1, less = 2, greater = 3, lessOrEqual = 4, greaterOrEqual = 5 };

template <class T>
inline constexpr bool isOrdered = true;
template <>
inline constexpr bool isOrdered<Imath::M44d> = false;
template <>
inline constexpr bool isOrdered<Imath::V3d> = false;
template <>
inline constexpr bool isOrdered<Imath::Quatd> = false;

template <class T>
bool compare(const T& in1, const T& in2, Long operation) {
    if constexpr (isOrdered<T>) {
        switch (operation) {
            case notEqual:
                return in1 != in2;
            case less:
                return in1 < in2;
            case greater:
                return in1 > in2;
            case lessOrEqual:
                return in1 <= in2;
            case greaterOrEqual:
                return in1 >= in2;
            default:
                return in1 == in2;
        }
    } else {
        switch (operation) {
            case equal:
                return in1 == in2;
            case notEqual:
                return in1 != in2;
            default:
                return false;
        }
    }
}

}  // namespace

template <class T>
inline constexpr auto internal::ownKernel<CompareNode<T>> =
    internal::makeKernel<CompareNode<T>, compare<T>, &CompareNode<T>::input1Port, &CompareNode<T>::input2Port,
                         &CompareNode<T>::operationPort, &CompareNode<T>::outputPort>();
template <>
inline constexpr internal::NoKernel internal::ownKernel<CompareNode<std::string>>{};

template <class T>
bool CompareNode<T>::compute(const ComputeData*) {
    const Long operation = operation_->get();
    const T& in2 = in2_->getRef();
    const T& in1 = in1_->getRef();
    out_->set(compare(in1, in2, operation));
    return true;
}

template class CompareNode<bool>;
template class CompareNode<Long>;
template class CompareNode<double>;
template class CompareNode<std::string>;
template class CompareNode<Imath::M44d>;
template class CompareNode<Imath::V3d>;
template class CompareNode<Imath::Quatd>;

void registerCompareNodes() {
    // clang-format off
    internal::registerBuiltIn<CompareNode<bool>,
                  CompareNode<Long>,
                  CompareNode<double>,
                  CompareNode<std::string>,
                  CompareNode<Imath::M44d>,
                  CompareNode<Imath::V3d>,
                  CompareNode<Imath::Quatd>>();
    // clang-format on
}

}  // namespace TessilGraph
