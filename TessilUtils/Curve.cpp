#include <TessilUtils/Curve.h>

#include <TessilUtils/internal/CurveSpans.h>
#include <TessilUtils/internal/FloatingPointState.h>
#include <TessilUtils/internal/NearestSearch.h>
#include <TessilUtils/internal/Spline.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace TessilUtils {

namespace {

SplinePlace placeAt(const Spline& spline, float parameter) {
    const auto spans = static_cast<double>(spline.spans());
    // Written so that NaN becomes 0.
    const double u = parameter > 0.0f ? std::min(static_cast<double>(parameter), 1.0) * spans : 0.0;
    const std::size_t span = std::min(static_cast<std::size_t>(u), spline.spans() - 1);
    return splineAt(spline, span, u);
}

SearchOptions searchOptions(unsigned int samplesPerSpan, unsigned int maxIterations, float tolerance) {
    constexpr unsigned int mostSamples = 16;
    constexpr unsigned int mostIterations = 64;
    constexpr double coarsest = 1e-4;
    constexpr double finest = 1e-10;
    // Written so that NaN becomes the coarsest. One step after a hundredth of it is as good as rounding allows.
    const double wanted = tolerance < coarsest ? std::max(static_cast<double>(tolerance), finest) : coarsest;
    return {std::min(samplesPerSpan, mostSamples), std::min(maxIterations, mostIterations), 0.01 * wanted};
}

Imath::V3d withinFloat(const Imath::V3f& position) {
    constexpr float largest = std::numeric_limits<float>::max();
    return {std::clamp(position.x, -largest, largest), std::clamp(position.y, -largest, largest),
            std::clamp(position.z, -largest, largest)};
}

// Keeps what it computes out of the function that changes the floating point settings.
[[gnu::noinline]] std::pair<float, Imath::V3f> nearestOn(const CurveSpans& spans, const Imath::V3f& position,
                                                         unsigned int samplesPerSpan, unsigned int maxIterations,
                                                         float tolerance) {
    const Spline spline = spans.spline();
    if (std::isnan(position.x) || std::isnan(position.y) || std::isnan(position.z)) {
        return {0.0f, toFloat(placeAt(spline, 0.0f).point)};
    }
    SpanPlace place =
        nearestPlace(spans, withinFloat(position), searchOptions(samplesPerSpan, maxIterations, tolerance));
    const Imath::V3d point = splineAt(spline, place.span, static_cast<double>(place.span) + place.part).point;
    if (spline.degree == 0 && isFinite(point)) {
        // All of the span is the same point; its middle survives the rounding of the parameter.
        place.part = 0.5;
    }
    const double u = static_cast<double>(place.span) + place.part;
    return {static_cast<float>(u / static_cast<double>(spline.spans())), toFloat(point)};
}

}  // namespace

Curve::Curve() = default;

Curve::Curve(std::vector<Imath::V3f> cvs, unsigned int degree) : cvs_(std::move(cvs)), degree_(degree) {}

Curve::Curve(const Curve& other)
    : cvs_(other.cvs_),
      degree_(other.degree_),
      spans_(CurveSpans::share(other.spans_.load(std::memory_order_acquire))) {}

Curve::Curve(Curve&& other) noexcept
    : cvs_(std::move(other.cvs_)),
      degree_(other.degree_),
      spans_(other.spans_.exchange(nullptr)),
      retired_(std::exchange(other.retired_, nullptr)) {
    other.cvs_.clear();
}

Curve& Curve::operator=(const Curve& other) {
    return *this = Curve(other);
}

Curve& Curve::operator=(Curve&& other) noexcept {
    Curve taken(std::move(other));
    cvs_.swap(taken.cvs_);
    std::swap(degree_, taken.degree_);
    taken.spans_ = spans_.exchange(taken.spans_);
    std::swap(retired_, taken.retired_);
    return *this;
}

Curve::~Curve() {
    CurveSpans::release(spans_);
    CurveSpans::release(retired_);
}

unsigned int Curve::degree() const {
    return cvs_.size() > degree_ ? degree_ : static_cast<unsigned int>(cvs_.empty() ? 0 : cvs_.size() - 1);
}

Imath::V3f Curve::pointOnCurve(float parameter) const {
    if (cvs_.empty()) {
        return Imath::V3f(0.0f);
    }
    return toFloat(placeAt({cvs_.data(), cvs_.size(), degree()}, parameter).point);
}

Imath::V3f Curve::tangentOnCurve(float parameter) const {
    if (cvs_.empty()) {
        return Imath::V3f(0.0f);
    }
    const Spline spline{cvs_.data(), cvs_.size(), degree()};
    return toFloat(placeAt(spline, parameter).derivative * static_cast<double>(spline.spans()));
}

std::pair<float, Imath::V3f> Curve::closestPoint(const Imath::V3f& position, unsigned int samplesPerSpan,
                                                 unsigned int maxIterations, float tolerance) {
    if (cvs_.empty()) {
        return {0.0f, Imath::V3f(0.0f)};
    }
    const internal::FloatingPointState standard;
    return nearestOn(*currentSpans(), position, samplesPerSpan, maxIterations, tolerance);
}

const CurveSpans* Curve::currentSpans() {
    const CurveSpans* const found = spans_.load(std::memory_order_acquire);
    if (found != nullptr && found->madeFrom(cvs_, degree())) {
        return found;
    }
    const auto* const made = new CurveSpans(cvs_, degree());
    const CurveSpans* other = found;
    if (spans_.compare_exchange_strong(other, made, std::memory_order_acq_rel, std::memory_order_acquire)) {
        // Other threads may be reading what was found until the next change of the vertices, and for
        // that change the owner has to wait for them. So what was retired before has no readers left.
        CurveSpans::release(retired_);
        retired_ = found;
        return made;
    }
    // Another thread was faster, for the same vertices.
    CurveSpans::release(made);
    return other;
}

}  // namespace TessilUtils
