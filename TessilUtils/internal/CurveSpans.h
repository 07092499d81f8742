#pragma once

#include <TessilUtils/internal/Spline.h>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <vector>

namespace TessilUtils {

/// Sixteen boxes, coordinate by coordinate, so that their distances from a point come out of one loop.
/// Unused ones are empty: infinitely far from everything.
struct BoxBlock {
    static constexpr std::size_t size = 16;

    BoxBlock();
    void set(std::size_t lane, const float (&lowCorner)[3], const float (&highCorner)[3]);

    /// The squared distances of the boxes from `point`, infinite where they are beyond float.
    void distances(const float (&point)[3], float (&squared)[size]) const {
#ifdef __SSE2__
        // By hand: comparisons of floats keep compilers from doing four at once.
        for (std::size_t lane = 0; lane < size; lane += 4) {
            __m128 sum = _mm_setzero_ps();
            for (unsigned int axis = 0; axis < 3; ++axis) {
                const __m128 place = _mm_set1_ps(point[axis]);
                const __m128 under = _mm_sub_ps(_mm_loadu_ps(low[axis] + lane), place);
                const __m128 over = _mm_sub_ps(place, _mm_loadu_ps(high[axis] + lane));
                const __m128 distance = _mm_max_ps(_mm_max_ps(under, over), _mm_setzero_ps());
                sum = _mm_add_ps(sum, _mm_mul_ps(distance, distance));
            }
            _mm_storeu_ps(squared + lane, sum);
        }
#else
        for (std::size_t lane = 0; lane < size; ++lane) {
            squared[lane] = 0.0f;
            for (unsigned int axis = 0; axis < 3; ++axis) {
                const float under = low[axis][lane] - point[axis];
                const float over = point[axis] - high[axis][lane];
                const float distance = std::max(std::max(under, over), 0.0f);
                squared[lane] += distance * distance;
            }
        }
#endif
    }

    float low[3][size];
    float high[3][size];
};

/// What a curve prepares for nearest-point questions: boxes around its spans, boxes around sixteen of
/// those, and so on up to one block. Never changed once made, shared by curves and threads, counted.
class CurveSpans {
public:
    /// A vertex on the curve whose surroundings are not finite.
    struct LonePoint {
        Imath::V3d point;
        double parameter;  // in the spline's own measure
    };

    CurveSpans(const std::vector<Imath::V3f>& vertices, std::size_t degree);

    static const CurveSpans* share(const CurveSpans* spans);
    static void release(const CurveSpans* spans);

    /// Whether these were made from exactly these vertices, bit by bit, so that NaN equals itself.
    bool madeFrom(const std::vector<Imath::V3f>& vertices, std::size_t degree) const;

    Spline spline() const { return {vertices_.data(), vertices_.size(), degree_}; }

    /// levels()[0] bounds the spans, the last level is one block.
    const std::vector<std::vector<BoxBlock>>& levels() const { return levels_; }

    const std::vector<LonePoint>& lonePoints() const { return lonePoints_; }

    /// False when some spans are not finite.
    bool allFinite() const { return allFinite_; }

    /// The four Bezier points of a span, relative to `origin`; lower degrees are raised.
    void cubic(std::size_t span, const Imath::V3d& origin, Imath::V3d (&points)[4]) const;

private:
    void makeBoxes();

    mutable std::atomic<std::size_t> owners_{1};
    std::vector<Imath::V3f> vertices_;
    std::size_t degree_;
    std::vector<std::vector<BoxBlock>> levels_;
    std::vector<LonePoint> lonePoints_;
    bool allFinite_ = true;
    // Bezier points of the two first and two last spans of a cubic; those between all have the same weights.
    std::array<std::array<Imath::V3d, 4>, 4> ends_;
};

}  // namespace TessilUtils
