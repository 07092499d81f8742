#pragma once

#include <TessilGraph/nodes/MathNodes.h>

#include <Imath/ImathMatrix.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
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

/// Two neighbours in a row of a matrix.
using MatrixPair = double __attribute__((vector_size(16)));

// Matrices stand wherever a double may, which is less than the pair alone would ask for.
inline MatrixPair loadPair(const double* from) {
    MatrixPair pair;
    std::memcpy(&pair, from, sizeof pair);
    return pair;
}
inline void storePair(double* to, MatrixPair pair) {
    std::memcpy(to, &pair, sizeof pair);
}

/// What `Imath::M44d::multiply` comes to: each element in the same steps, two elements at a time.
inline Imath::M44d multiply(const Imath::M44d& in1, const Imath::M44d& in2) {
    Imath::M44d product(Imath::UNINITIALIZED);
    MatrixPair right[8];
    for (std::size_t pair = 0; pair < 8; ++pair) {
        right[pair] = loadPair(in2.getValue() + 2 * pair);
    }
    double* out = product.getValue();
    for (int row = 0; row < 4; ++row, out += 4) {
        const double* left = in1[row];
        const MatrixPair a = {left[0], left[0]};
        const MatrixPair b = {left[1], left[1]};
        const MatrixPair c = {left[2], left[2]};
        const MatrixPair d = {left[3], left[3]};
        storePair(out, a * right[0] + b * right[2] + c * right[4] + d * right[6]);
        storePair(out + 2, a * right[1] + b * right[3] + c * right[5] + d * right[7]);
    }
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
