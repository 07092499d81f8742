#pragma once

#include <Imath/ImathVec.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace TessilUtils {

/// Room for `size` values: on the stack up to `Local` of them. The values begin uninitialised or zero.
template <class T, std::size_t Local>
class Scratch {
public:
    explicit Scratch(std::size_t size) : heap_(size > Local ? size : 0), data_(size > Local ? heap_.data() : local_) {}
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    T* data() { return data_; }
    T& operator[](std::size_t index) { return data_[index]; }

private:
    T local_[Local];
    std::vector<T> heap_;
    T* data_;
};

/// Up to this degree everything is done on the stack.
inline constexpr std::size_t largestLocalDegree = 16;

using Points = Scratch<Imath::V3d, largestLocalDegree + 1>;

/// The control vertices of a clamped uniform B-spline, not owned, in its own measure: span k runs from k
/// to k + 1 and depends on the vertices k to k + degree.
struct Spline {
    const Imath::V3f* vertices;
    std::size_t count;   // at least one
    std::size_t degree;  // less than count

    std::size_t spans() const { return count - degree; }
};

inline bool isFinite(const Imath::V3d& point) {
    return std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z);
}

/// The nearest float, the largest ones for values beyond; NaN stays.
inline float toFloat(double value) {
    constexpr double largest = std::numeric_limits<float>::max();
    return static_cast<float>(std::isfinite(value) ? std::clamp(value, -largest, largest) : value);
}

inline Imath::V3f toFloat(const Imath::V3d& value) {
    return {toFloat(value.x), toFloat(value.y), toFloat(value.z)};
}

/// Between two points. At the ends the other one has no say, even when it is not finite.
inline Imath::V3d between(const Imath::V3d& a, const Imath::V3d& b, double part) {
    return part == 0.0 ? a : part == 1.0 ? b : a + (b - a) * part;
}

/// The knots around one span.
class SpanKnots {
public:
    SpanKnots(const Spline& spline, std::size_t span)
        : first_(static_cast<double>(span) + 1.0 - static_cast<double>(spline.degree)),
          last_(static_cast<double>(spline.spans())) {}

    /// The knots degree - 1 and degree are the ends of the span.
    double operator[](std::size_t index) const { return std::clamp(first_ + static_cast<double>(index), 0.0, last_); }

private:
    double first_;
    double last_;
};

inline void loadSpan(const Spline& spline, std::size_t span, const Imath::V3d& origin, Imath::V3d* points) {
    for (std::size_t i = 0; i <= spline.degree; ++i) {
        points[i] = Imath::V3d(spline.vertices[span + i]) - origin;
    }
}

struct SplinePlace {
    Imath::V3d point;
    Imath::V3d derivative;  // in the spline's own measure
};

/// The place at `u`, which lies in or at the ends of `span`.
inline SplinePlace splineAt(const Spline& spline, std::size_t span, double u) {
    const std::size_t degree = spline.degree;
    const SpanKnots knots(spline, span);
    Points points(degree + 1);
    loadSpan(spline, span, Imath::V3d(0.0), points.data());
    Imath::V3d derivative(0.0);
    for (std::size_t round = 1; round <= degree; ++round) {
        if (round == degree) {
            derivative = (points[degree] - points[degree - 1]) * static_cast<double>(degree);
        }
        for (std::size_t i = degree; i >= round; --i) {
            const double begin = knots[i - 1];
            const double part = (u - begin) / (knots[degree + i - round] - begin);
            points[i] = between(points[i - 1], points[i], part);
        }
    }
    return {points[degree], derivative};
}

/// The Bezier points of a span, degree + 1 of them, relative to `origin`.
inline void spanToBezier(const Spline& spline, std::size_t span, const Imath::V3d& origin, Imath::V3d* points) {
    const std::size_t degree = spline.degree;
    loadSpan(spline, span, origin, points);
    const SpanKnots knots(spline, span);
    const double begin = static_cast<double>(span);
    // Repeat the knot at the beginning until the part after it stands alone, then the one at the end.
    for (std::size_t round = 1; round <= degree; ++round) {
        for (std::size_t i = 0; i + round <= degree; ++i) {
            const double left = knots[i + round - 1];
            points[i] = between(points[i], points[i + 1], (begin - left) / (knots[degree + i] - left));
        }
    }
    for (std::size_t round = 1; round < degree; ++round) {
        for (std::size_t i = degree; i > round; --i) {
            points[i] = between(points[i - 1], points[i], 1.0 / (knots[degree + i - round] - begin));
        }
    }
}

}  // namespace TessilUtils
