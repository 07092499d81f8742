#include <benchmarks/SampledCurve.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace bench {

using Imath::V3d;

namespace {

constexpr std::size_t degree = 3;

/// The blossom of a span at three parameters of its own, which run from 0 to 1.
V3d blossom(const std::vector<Imath::V3f>& vertices, std::size_t span, const std::array<double, degree>& at) {
    const auto knot = [&](std::size_t index) {
        const double last = static_cast<double>(vertices.size() - degree);
        return std::clamp(static_cast<double>(index) - static_cast<double>(degree), 0.0, last);
    };
    std::array<V3d, degree + 1> points;
    for (std::size_t i = 0; i <= degree; ++i) {
        points[i] = V3d(vertices[span + i]);
    }
    for (std::size_t round = 1; round <= degree; ++round) {
        const double parameter = static_cast<double>(span) + at[round - 1];
        for (std::size_t i = degree; i >= round; --i) {
            const double left = knot(span + i);
            const double part = (parameter - left) / (knot(span + i + degree + 1 - round) - left);
            points[i] = points[i - 1] * (1.0 - part) + points[i] * part;
        }
    }
    return points[degree];
}

}  // namespace

SampledCurve::SampledCurve(const std::vector<Imath::V3f>& vertices) {
    for (std::size_t span = 0; span + degree < vertices.size(); ++span) {
        const V3d a = blossom(vertices, span, {0.0, 0.0, 0.0});
        const V3d b = blossom(vertices, span, {0.0, 0.0, 1.0});
        const V3d c = blossom(vertices, span, {0.0, 1.0, 1.0});
        const V3d d = blossom(vertices, span, {1.0, 1.0, 1.0});
        spans_.push_back({a, (b - a) * 3.0, (a - b * 2.0 + c) * 3.0, d - a + (b - c) * 3.0});
    }
}

V3d SampledCurve::nearest(const V3d& position, int samplesPerSpan) const {
    double best = std::numeric_limits<double>::infinity();
    double parameter = 0.0;
    for (std::size_t span = 0; span < spans_.size(); ++span) {
        for (int sample = 0; sample <= samplesPerSpan; ++sample) {
            const double t = static_cast<double>(sample) / samplesPerSpan;
            const double distance = (pointAt(spans_[span], t) - position).length2();
            if (distance < best) {
                best = distance;
                parameter = static_cast<double>(span) + t;
            }
        }
    }
    V3d found = pointAt(parameter);
    for (int step = 0; step < 10; ++step) {
        const auto span = std::min(static_cast<std::size_t>(parameter), spans_.size() - 1);
        const double t = parameter - static_cast<double>(span);
        const Cubic& cubic = spans_[span];
        const V3d away = pointAt(cubic, t) - position;
        const V3d first = cubic[1] + (cubic[2] * 2.0 + cubic[3] * (3.0 * t)) * t;
        const V3d second = cubic[2] * 2.0 + cubic[3] * (6.0 * t);
        const double slope = first.dot(first) + away.dot(second);
        if (slope <= 0.0) {
            break;
        }
        parameter = std::clamp(parameter - away.dot(first) / slope, 0.0, static_cast<double>(spans_.size()));
        const V3d next = pointAt(parameter);
        if ((next - position).length2() <= (found - position).length2()) {
            found = next;
        }
    }
    return found;
}

double SampledCurve::distance(const V3d& position) const {
    constexpr int samples = 400;
    const std::size_t count = spans_.size() * samples + 1;
    distances_.resize(count);
    for (std::size_t span = 0; span < spans_.size(); ++span) {
        for (int sample = 0; sample < samples; ++sample) {
            const double t = static_cast<double>(sample) / samples;
            distances_[span * samples + static_cast<std::size_t>(sample)] =
                (pointAt(spans_[span], t) - position).length2();
        }
    }
    distances_.back() = (pointAt(spans_.back(), 1.0) - position).length2();
    double best = std::min(distances_.front(), distances_.back());
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t before = i == 0 ? 0 : i - 1;
        const std::size_t after = std::min(i + 1, count - 1);
        if (distances_[i] <= distances_[before] && distances_[i] <= distances_[after]) {
            best = std::min(
                best, refined(position, static_cast<double>(before) / samples, static_cast<double>(after) / samples));
        }
    }
    return std::sqrt(best);
}

V3d SampledCurve::pointAt(const Cubic& cubic, double t) {
    return cubic[0] + (cubic[1] + (cubic[2] + cubic[3] * t) * t) * t;
}

V3d SampledCurve::pointAt(double parameter) const {
    const auto span = std::min(static_cast<std::size_t>(parameter), spans_.size() - 1);
    return pointAt(spans_[span], parameter - static_cast<double>(span));
}

// Between two samples around a least one the distance falls and rises once.
double SampledCurve::refined(const V3d& position, double from, double to) const {
    double best = std::numeric_limits<double>::infinity();
    for (int i = 0; i < 30; ++i) {
        const double third = (to - from) / 3.0;
        const double left = (pointAt(from + third) - position).length2();
        const double right = (pointAt(to - third) - position).length2();
        best = std::min({best, left, right});
        (left < right ? to : from) += left < right ? -third : third;
    }
    return best;
}

}  // namespace bench
