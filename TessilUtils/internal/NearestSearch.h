#pragma once

#include <TessilUtils/internal/CurveSpans.h>

namespace TessilUtils {

/// How the search is made; see Curve::closestPoint.
struct SearchOptions {
    unsigned int samples;
    unsigned int iterations;
    double tolerance;  // as a part of a span
};

/// A place on a spline: `part`, 0 to 1, of the way through `span`.
struct SpanPlace {
    std::size_t span = 0;
    double part = 0.0;
};

/// The place of `spans` nearest to `position`, which is finite; the beginning when no span is finite.
SpanPlace nearestPlace(const CurveSpans& spans, const Imath::V3d& position, const SearchOptions& options);

}  // namespace TessilUtils
