#pragma once

#include <TessilGraph/graph/internal/Kernel.h>
#include <TessilGraph/graph/internal/SameBits.h>
#include <TessilGraph/nodes/EvaluateOnce.h>
#include <TessilGraph/nodes/MatrixShapes.h>
#include <TessilGraph/nodes/NodeShape.h>

#include <Imath/ImathVec.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace TessilGraph::internal {

// How the sources of the built-in node classes make kernels. A kernel calls the same function as
// `compute`, so that the rule stands once; it is instantiated beside `compute`, with the same flags.

template <class T>
using ValueOfParameter = std::remove_cv_t<std::remove_reference_t<T>>;

/// The value type of the port that an accessor of a node class returns.
template <class Class, class T>
T valueOfAccessor(PortTemplate<T>* (Class::*)() const);

template <class Parameter>
inline constexpr bool isOutput =
    std::is_lvalue_reference_v<Parameter> && !std::is_const_v<std::remove_reference_t<Parameter>>;

/// What a value takes up among the others.
template <class Parameter>
inline constexpr std::size_t bytesInPlaces =
    (sizeof(std::conditional_t<std::is_void_v<Parameter>, int, ValueOfParameter<Parameter>>) + placeSize - 1) /
    placeSize* placeSize;

/// Whether two values share storage.
template <class A, class B>
bool overlap(const A& a, const B& b) {
    const auto distance = reinterpret_cast<std::uintptr_t>(&b) - reinterpret_cast<std::uintptr_t>(&a);
    return distance < sizeof(A) || -distance < sizeof(B);
}

/// A kernel around `evaluate`, a function with one body if it calculates with floating-point numbers: either
/// Out(In...), or void(In..., Out&...) for several outputs.
template <auto evaluate>
struct KernelAround;

template <class Out, class... Values, Out (*evaluate)(Values...)>
struct KernelAround<evaluate> {
    using Result = ValueOfParameter<Out>;
    static constexpr bool returns = !std::is_void_v<Out>;
    static constexpr std::size_t outputs = returns ? 1 : (std::size_t{0} + ... + (isOutput<Values> ? 1 : 0));
    static constexpr std::size_t outputBytes =
        returns ? bytesInPlaces<Result> : (std::size_t{0} + ... + (isOutput<Values> ? bytesInPlaces<Values> : 0));
    static constexpr std::size_t ports = sizeof...(Values) + (returns ? 1 : 0);

    template <class... Ports>
    static constexpr bool fits() {
        if constexpr (returns) {
            return std::is_same_v<std::tuple<ValueOfParameter<Values>..., Result>, std::tuple<Ports...>>;
        } else {
            return std::is_same_v<std::tuple<ValueOfParameter<Values>...>, std::tuple<Ports...>>;
        }
    }

    static const Place* run(const Place* places, unsigned char* values) {
        return run(places, values, std::index_sequence_for<Values...>());
    }

private:
    template <class Value>
    static std::remove_reference_t<Value>& at(unsigned char* values, Place place) {
        return *reinterpret_cast<std::remove_reference_t<Value>*>(values + placeSize * place);
    }

    template <std::size_t... Places>
    static const Place* run(const Place* places, unsigned char* values, std::index_sequence<Places...>) {
        if constexpr (returns && bytesInPlaces < Result >> sizeof(Imath::V3d)) {
            // Made in its place, unless a host has bound an input to the storage of the output.
            Result& out = at<Result>(values, places[sizeof...(Values)]);
            if ((overlap(out, at<Values>(values, places[Places])) || ...)) {
                out = evaluate(at<Values>(values, places[Places])...);
            } else {
                ::new (static_cast<void*>(&out)) Result(evaluate(at<Values>(values, places[Places])...));
            }
        } else if constexpr (returns) {
            at<Result>(values, places[sizeof...(Values)]) = evaluate(at<Values>(values, places[Places])...);
        } else {
            evaluate(at<Values>(values, places[Places])...);
        }
        return places + ports;
    }
};

/// The kernel of node class `N`, whose `compute` gives the values of the first `accessors` to `evaluate`
/// and sets those of the last. Kernels are for plain values.
template <class N, auto evaluate, auto... accessors>
constexpr Kernel makeKernel() {
    using Around = KernelAround<evaluate>;
    static_assert((isPlainValue<decltype(valueOfAccessor(accessors))> && ...));
    static_assert(Around::template fits<decltype(valueOfAccessor(accessors))...>());
    static_assert(Around::ports <= Kernel::maxPorts && Around::outputBytes <= Kernel::maxOutputBytes);
    return {Around::run, Around::ports - Around::outputs, Around::outputs, Around::outputBytes,
            [](const Node& node, const Port** ports) {
                const N& typed = static_cast<const N&>(node);
                ((*ports++ = (typed.*accessors)()), ...);
            }};
}

struct NoKernel {};

// The kernels of the shapes.

NoKernel shapeKernel(...);

template <class N, class In, class Out, std::enable_if_t<isPlainValue<In> && isPlainValue<Out>, int> = 0>
constexpr Kernel shapeKernel(const UnaryNode<N, In, Out>*) {
    return makeKernel<N, &evaluateOnce<N, In>, &N::inputPort, &N::outputPort>();
}

template <class N, class In1, class In2, class Out,
          std::enable_if_t<isPlainValue<In1> && isPlainValue<In2> && isPlainValue<Out>, int> = 0>
constexpr Kernel shapeKernel(const BinaryNode<N, In1, In2, Out>*) {
    return makeKernel<N, &evaluateOnce<N, In1, In2>, &N::input1Port, &N::input2Port, &N::outputPort>();
}

template <class N, class Out>
constexpr Kernel shapeKernel(const MatrixNode<N, Out>*) {
    return makeKernel<N, &evaluateOnce<N, Imath::M44d>, &N::matrixPort, &N::outputPort>();
}

template <class N, class Matrix, class Scalar, class Out>
constexpr Kernel shapeKernel(const MatrixScalarNode<N, Matrix, Scalar, Out>*) {
    return makeKernel<N, &evaluateOnce<N, Matrix, Scalar>, &N::matrixPort, &N::doublePort, &N::outputPort>();
}

template <class N, class Matrix, class Vector, class Out>
constexpr Kernel shapeKernel(const MatrixVectorNode<N, Matrix, Vector, Out>*) {
    return makeKernel<N, &evaluateOnce<N, Matrix, Vector>, &N::matrixPort, &N::vectorPort, &N::outputPort>();
}

/// The kernel of a node class that has its own `compute`. Specialised beside it; the others have none.
template <class N>
inline constexpr NoKernel ownKernel{};

template <class N>
void addKernelOf() {
    using Shape = decltype(shapeKernel(static_cast<const N*>(nullptr)));
    if constexpr (std::is_same_v<Shape, Kernel>) {
        addKernel(typeid(N), shapeKernel(static_cast<const N*>(nullptr)));
    } else if constexpr (std::is_same_v<std::remove_cv_t<decltype(ownKernel<N>)>, Kernel>) {
        addKernel(typeid(N), ownKernel<N>);
    }
}

/// Registers node classes of the library with the factory, in the order given, and their kernels.
template <class... N>
void registerBuiltIn() {
    registerNodes<N...>();
    (addKernelOf<N>(), ...);
}

}  // namespace TessilGraph::internal
