#pragma once

#include <TessilGraph/nodes/MathNodes.h>

#include <Imath/ImathMatrix.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace TessilGraph {

// The rules that hold for several value types: one general form, and the exceptions to it. Integers
// wrap in 32 bits, which takes unsigned arithmetic.

inline Long wrapped(std::uint32_t bits) {
    return static_cast<Long>(bits);
}

template <class T>
T add(const T& in1, const T& in2) {
    return in1 + in2;
}

inline Long add(Long in1, Long in2) {
    return wrapped(static_cast<std::uint32_t>(in1) + static_cast<std::uint32_t>(in2));
}

template <class T>
T subtract(const T& in1, const T& in2) {
    return in1 - in2;
}

inline Long subtract(Long in1, Long in2) {
    return wrapped(static_cast<std::uint32_t>(in1) - static_cast<std::uint32_t>(in2));
}

template <class T>
T multiply(const T& in1, const T& in2) {
    return in1 * in2;
}

inline Long multiply(Long in1, Long in2) {
    return wrapped(static_cast<std::uint32_t>(in1) * static_cast<std::uint32_t>(in2));
}

[[gnu::noinline]] inline Imath::M44d multiply(const Imath::M44d& in1, const Imath::M44d& in2) {
    Imath::M44d product(Imath::UNINITIALIZED);
    Imath::M44d::multiply(in1, in2, product);
    return product;
}

inline double divide(double in1, double in2) {
    return in1 / in2;
}

inline Long divide(Long in1, Long in2) {
    if (in2 == 0) {
        return 0;
    }
    // The processor's division traps on the most negative value by -1.
    return in2 == -1 ? subtract(Long{0}, in1) : in1 / in2;
}

inline double absolute(double in) {
    return std::fabs(in);
}

inline Long absolute(Long in) {
    const Long negated = subtract(Long{0}, in);
    return in >= negated ? in : negated;
}

inline double squareRoot(double in) {
    return std::sqrt(in);
}

inline Long squareRoot(Long in) {
    // Converting NaN to an integer gives another value on each family of processors.
    return in < 0 ? std::numeric_limits<Long>::min() : static_cast<Long>(std::sqrt(static_cast<double>(in)));
}

// Scalars, vectors and matrices share these three node classes; the family that instantiates one
// includes this header.

template <class T, class In1, class In2, class Out>
Out AddNode<T, In1, In2, Out>::evaluate(const In1& in1, const In2& in2) {
    return add(in1, in2);
}

template <class T, class In1, class In2, class Out>
Out SubtractNode<T, In1, In2, Out>::evaluate(const In1& in1, const In2& in2) {
    return subtract(in1, in2);
}

template <class T, class In1, class In2, class Out>
Out MultiplyNode<T, In1, In2, Out>::evaluate(const In1& in1, const In2& in2) {
    return multiply(in1, in2);
}

}  // namespace TessilGraph
