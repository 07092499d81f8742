#pragma once

#include <Imath/ImathVec.h>

#include <array>
#include <cstddef>
#include <vector>

namespace bench {

/// A clamped uniform cubic B-spline that is searched by taking samples: what one would write without
/// further thought, and with very many samples the truth.
class SampledCurve {
public:
    /// At least four vertices.
    explicit SampledCurve(const std::vector<Imath::V3f>& vertices);

    /// The best of so many samples for each span, moved on by ten Newton steps.
    Imath::V3d nearest(const Imath::V3d& position, int samplesPerSpan) const;

    /// How far away the curve is, as exactly as can be told.
    double distance(const Imath::V3d& position) const;

private:
    using Cubic = std::array<Imath::V3d, 4>;  ///< The factors of 1, t, t^2 and t^3.

    static Imath::V3d pointAt(const Cubic& cubic, double t);
    Imath::V3d pointAt(double parameter) const;
    double refined(const Imath::V3d& position, double from, double to) const;

    std::vector<Cubic> spans_;
    mutable std::vector<double> distances_;  ///< For `distance`: kept from call to call.
};

}  // namespace bench
