#pragma once

#include <Imath/ImathVec.h>

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace TessilUtils::internal {

// Two doubles that the processor computes with at once. Each of them comes out as it would alone.
using Pair = double __attribute__((vector_size(16)));

inline Pair bothAs(double value) {
    return Pair{value, value};
}

// A vector in double precision, for computing in pairs. Sums and differences are formed in the order
// in which Imath forms them, so the results have the same bits as Imath's.
struct PairedVector {
    Pair xy;
    double z;

    double x() const { return xy[0]; }
    double y() const { return xy[1]; }
    Imath::V3d imath() const { return {x(), y(), z}; }
};

// Two floats in a row, made doubles. They are read at once, so they must not have been written one by
// one a moment ago: the processor would wait until they are in the cache.
inline Pair toPair(const float* floats) {
#if defined(__SSE2__)
    double both = 0;
    std::memcpy(&both, floats, sizeof both);
    return _mm_cvtps_pd(_mm_castpd_ps(_mm_set_sd(both)));
#else
    return Pair{static_cast<double>(floats[0]), static_cast<double>(floats[1])};
#endif
}

inline PairedVector paired(const Imath::V3d& vector) {
    return {Pair{vector.x, vector.y}, vector.z};
}

inline PairedVector paired(const Imath::V3f& vector) {
    return {Pair{static_cast<double>(vector.x), static_cast<double>(vector.y)}, static_cast<double>(vector.z)};
}

inline PairedVector operator+(const PairedVector& a, const PairedVector& b) {
    return {a.xy + b.xy, a.z + b.z};
}

inline PairedVector operator-(const PairedVector& a, const PairedVector& b) {
    return {a.xy - b.xy, a.z - b.z};
}

inline PairedVector operator-(const PairedVector& a) {
    return {-a.xy, -a.z};
}

inline PairedVector operator*(const PairedVector& a, double factor) {
    return {a.xy * bothAs(factor), a.z * factor};
}

inline double dot(const PairedVector& a, const PairedVector& b) {
    const Pair products = a.xy * b.xy;
    return products[0] + products[1] + a.z * b.z;
}

inline double length2(const PairedVector& a) {
    return dot(a, a);
}

inline PairedVector cross(const PairedVector& a, const PairedVector& b) {
    const Pair products = a.xy * Pair{b.y(), b.x()};
    return {Pair{a.y(), a.z} * Pair{b.z, b.x()} - Pair{a.z, a.x()} * Pair{b.y(), b.z}, products[0] - products[1]};
}

}  // namespace TessilUtils::internal
