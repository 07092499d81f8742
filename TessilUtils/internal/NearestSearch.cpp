#include <TessilUtils/internal/NearestSearch.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace TessilUtils {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

// Squared distances within a span are a polynomial of twice the degree in Bernstein form: its
// coefficients bound it from below, and the signs of their differences tell how many stationary places
// there can be.

/// The best place so far, and what is worth looking at still.
struct Best {
    explicit Best(const Imath::V3d& position)
        : slack(1e-12 * std::max({std::abs(position.x), std::abs(position.y), std::abs(position.z)})) {}

    void offer(double squared, std::size_t span, double part) {
        if (squared < distance2) {
            distance2 = squared;
            place = {span, part};
            const double distance = std::sqrt(squared);
            const double worthwhile = distance - slack;
            limit = worthwhile > 0.0 ? worthwhile * worthwhile * (1.0 - 1e-12) : -1.0;
            // Box distances are floats; rounding up and the smallest normal float cover their errors.
            constexpr double largest = std::numeric_limits<float>::max();
            const double wide = squared * 1.000002;
            boxLimit = wide < largest ? static_cast<float>(wide) + std::numeric_limits<float>::min()
                                      : std::numeric_limits<float>::infinity();
        }
    }

    /// Whether squared distances from `bound` on can be better by more than rounding.
    bool allows(double bound) const { return limit >= 0.0 ? bound < limit : false; }

    SpanPlace place;
    double distance2 = infinity;
    double limit = infinity;
    float boxLimit = std::numeric_limits<float>::infinity();
    double slack;  // what coordinates as large as the position's lose by rounding
};

/// Position relative to the place asked about, first and second derivative.
struct Motion {
    Imath::V3d offset;
    Imath::V3d velocity;
    Imath::V3d acceleration;
};

class CubicSpan {
public:
    explicit CubicSpan(const Imath::V3d (&points)[4])
        : a0_(points[0]),
          a1_((points[1] - points[0]) * 3.0),
          a2_((points[0] - points[1] * 2.0 + points[2]) * 3.0),
          a3_(points[3] - points[0] + (points[1] - points[2]) * 3.0) {}

    Motion at(double part) const {
        const Imath::V3d high = a2_ + a3_ * part;
        return {a0_ + (a1_ + high * part) * part, a1_ + (high * 2.0 + a3_ * part) * part,
                (high + a3_ * (2.0 * part)) * 2.0};
    }

private:
    Imath::V3d a0_;
    Imath::V3d a1_;
    Imath::V3d a2_;
    Imath::V3d a3_;
};

class BezierSpan {
public:
    BezierSpan(const Imath::V3d* points, std::size_t degree) : points_(points), degree_(degree) {}

    /// For degrees from 2 on.
    Motion at(double part) const {
        Points points(degree_ + 1);
        std::copy(points_, points_ + degree_ + 1, points.data());
        for (std::size_t count = degree_; count > 2; --count) {
            for (std::size_t i = 0; i < count; ++i) {
                points[i] += (points[i + 1] - points[i]) * part;
            }
        }
        const auto degree = static_cast<double>(degree_);
        const Imath::V3d left = points[0] + (points[1] - points[0]) * part;
        const Imath::V3d right = points[1] + (points[2] - points[1]) * part;
        return {left + (right - left) * part, (right - left) * degree,
                (points[0] - points[1] * 2.0 + points[2]) * (degree * (degree - 1.0))};
    }

private:
    const Imath::V3d* points_;
    std::size_t degree_;
};

/// The stationary place between `low`, where the distance falls, and `high`, where it grows.
template <class Span>
void offerStationary(const Span& span, std::size_t index, double low, double high, double start,
                     const SearchOptions& options, Best& best) {
    constexpr unsigned int mostHalvings = 40;
    constexpr double afterHalving = 1e-10;  // What a halving leaves is as large as what it moved by.
    double part = start;
    for (unsigned int step = 0;; ++step) {
        const Motion motion = span.at(part);
        const double slope = motion.offset.dot(motion.velocity);
        const double bend = motion.velocity.length2() + motion.offset.dot(motion.acceleration);
        (slope < 0.0 ? low : high) = part;
        double next = part - slope / bend;
        const bool newton = step < options.iterations && bend > 0.0 && next >= low && next <= high;
        if (!newton) {
            next = 0.5 * (low + high);
        }
        const double moved = next - part;
        if (!(std::abs(moved) > (newton ? options.tolerance : afterHalving)) ||
            step >= options.iterations + mostHalvings) {
            // The last step is too small to be worth another look: slope * moved is what it gains.
            best.offer(std::max(0.0, motion.offset.length2() + std::min(0.0, slope * moved)), index, next);
            return;
        }
        part = next;
    }
}

constexpr std::size_t deepestHalving = 30;

struct Interval {
    double begin;
    double width;
};

/// Offers the nearest place of one span.
///
/// `Order` is the degree of the squared distance, as a number or a compile-time constant. `pieces` begins with
/// its coefficients and has room for deepestHalving + 2 sets of them.
template <class Order, class Span>
void searchSpan(Order order, double* pieces, const Span& span, std::size_t index, const SearchOptions& options,
                Best& best) {
    constexpr std::size_t mostHalvings = 4096;
    const std::size_t degree = order;
    Interval intervals[deepestHalving + 2];
    intervals[0] = {0.0, 1.0};
    std::size_t waiting = 1;
    std::size_t halvings = 0;
    while (waiting > 0) {
        --waiting;
        double* const piece = pieces + waiting * (degree + 1);
        const Interval interval = intervals[waiting];
        double bound = piece[0];
        for (std::size_t i = 1; i <= degree; ++i) {
            bound = piece[i] < bound ? piece[i] : bound;
        }
        if (!best.allows(bound)) {
            continue;
        }
        const double end = interval.begin + interval.width;
        best.offer(piece[0], index, interval.begin);
        best.offer(piece[degree], index, end);

        std::size_t turns = 0;
        bool fallsFirst = false;
        double before = 0.0;
        double crossing = 0.0;
        for (std::size_t i = 0; i < degree; ++i) {
            const double rise = piece[i + 1] - piece[i];
            if (rise * before < 0.0) {
                if (turns == 0) {
                    fallsFirst = before < 0.0;
                    crossing = static_cast<double>(i) - rise / (rise - before);
                }
                ++turns;
            }
            if (rise != 0.0) {
                before = rise;
            }
        }
        if (turns == 0 || (turns == 1 && !fallsFirst)) {
            continue;
        }
        if (turns == 1) {
            const double start = interval.begin + interval.width * crossing / static_cast<double>(degree - 1);
            offerStationary(span, index, interval.begin, end, start, options, best);
            continue;
        }
        if (halvings == 0) {
            for (unsigned int i = 1; i <= options.samples; ++i) {
                const double part = i / (options.samples + 1.0);
                best.offer(span.at(part).offset.length2(), index, part);
            }
        }
        if (interval.width < 1.0 / (1u << deepestHalving) * 1.5 || ++halvings > mostHalvings) {
            continue;
        }
        // The second half stays in place, the first half goes on top, so that it comes first.
        double* const first = piece + degree + 1;
        first[0] = piece[0];
        for (std::size_t round = 1; round <= degree; ++round) {
            for (std::size_t i = 0; i + round <= degree; ++i) {
                piece[i] = 0.5 * (piece[i] + piece[i + 1]);
            }
            first[round] = piece[0];
        }
        const double half = 0.5 * interval.width;
        intervals[waiting] = {interval.begin + half, half};
        intervals[waiting + 1] = {interval.begin, half};
        waiting += 2;
    }
}

void searchCubic(const Imath::V3d (&q)[4], std::size_t index, const SearchOptions& options, Best& best) {
    using Six = std::integral_constant<std::size_t, 6>;
    double pieces[(deepestHalving + 2) * 7];
    pieces[0] = q[0].length2();
    pieces[1] = q[0].dot(q[1]);
    pieces[2] = 0.4 * q[0].dot(q[2]) + 0.6 * q[1].length2();
    pieces[3] = 0.1 * q[0].dot(q[3]) + 0.9 * q[1].dot(q[2]);
    pieces[4] = 0.4 * q[1].dot(q[3]) + 0.6 * q[2].length2();
    pieces[5] = q[2].dot(q[3]);
    pieces[6] = q[3].length2();
    searchSpan(Six(), pieces, CubicSpan(q), index, options, best);
}

/// The coefficients of the squared distance for degrees above three.
void squaredDistance(const Imath::V3d* points, std::size_t degree, double* coefficients) {
    // Weight i of coefficient k is C(degree, i) C(degree, k - i) / C(2 degree, k). Built from neighbour to
    // neighbour, starting at the largest, because the numbers themselves overflow at high degrees.
    const auto ratio = [degree](std::size_t k, std::size_t i) {  // weight i + 1 by weight i
        return static_cast<double>((degree - i) * (k - i)) / static_cast<double>((i + 1) * (degree - k + i + 1));
    };
    for (std::size_t k = 0; k <= 2 * degree; ++k) {
        const std::size_t first = k > degree ? k - degree : 0;
        const std::size_t last = std::min(k, degree);
        const std::size_t middle = (first + last) / 2;
        double sum = 1.0;
        double coefficient = points[middle].dot(points[k - middle]);
        double weight = 1.0;
        for (std::size_t i = middle; i < last; ++i) {
            weight *= ratio(k, i);
            sum += weight;
            coefficient += weight * points[i + 1].dot(points[k - i - 1]);
        }
        weight = 1.0;
        for (std::size_t i = middle; i > first; --i) {
            weight /= ratio(k, i - 1);
            sum += weight;
            coefficient += weight * points[i - 1].dot(points[k - i + 1]);
        }
        coefficients[k] = coefficient / sum;
    }
}

class Search {
public:
    Search(const CurveSpans& spans, const Imath::V3d& position, const SearchOptions& options)
        : spans_(spans),
          spline_(spans.spline()),
          position_(position),
          point_{static_cast<float>(position.x), static_cast<float>(position.y), static_cast<float>(position.z)},
          options_(options),
          best_(position) {}

    SpanPlace run() {
        for (const CurveSpans::LonePoint& lone : spans_.lonePoints()) {
            const std::size_t span = std::min(static_cast<std::size_t>(lone.parameter), spline_.spans() - 1);
            best_.offer((lone.point - position_).length2(), span, lone.parameter - static_cast<double>(span));
        }
        collect(spans_.levels().size() - 1, 0);
        searchCandidates();
        return best_.place;
    }

private:
    struct Candidate {
        float bound;
        std::uint32_t span;

        bool operator<(const Candidate& other) const { return bound > other.bound; }  // nearest on top of a heap
    };

    /// Searches the most promising span at once, to have a measure, and notes down which others could be better.
    void collect(std::size_t level, std::size_t block) {
        float bounds[BoxBlock::size];
        spans_.levels()[level][block].distances(point_, bounds);
        const std::size_t begin = block * BoxBlock::size;
        const std::size_t below = level > 0 ? spans_.levels()[level - 1].size() : spline_.spans();
        const std::size_t count = std::min(BoxBlock::size, below - begin);
        std::size_t first = BoxBlock::size;
        if (!measured_) {
            first = static_cast<std::size_t>(std::min_element(bounds, bounds + count) - bounds);
            if (level > 0) {
                collect(level - 1, begin + first);
            } else {
                measured_ = true;
                searchSpanAt(begin + first);
            }
        }
        for (std::size_t i = 0; i < count; ++i) {
            if (bounds[i] > best_.boxLimit || i == first) {
                continue;
            }
            if (level > 0) {
                collect(level - 1, begin + i);
            } else {
                candidates_[candidateCount_++] = {bounds[i], static_cast<std::uint32_t>(begin + i)};
                if (candidateCount_ == mostCandidates) {
                    searchCandidates();
                }
            }
        }
    }

    void searchCandidates() {
        Candidate* const begin = candidates_;
        Candidate* end = candidates_ + candidateCount_;
        std::make_heap(begin, end);
        while (begin != end && begin->bound <= best_.boxLimit) {
            searchSpanAt(begin->span);
            std::pop_heap(begin, end--);
        }
        candidateCount_ = 0;
    }

    void searchSpanAt(std::size_t span) {
        const std::size_t degree = spline_.degree;
        if (degree <= 3) {
            Imath::V3d points[4];
            spans_.cubic(span, position_, points);
            if (spans_.allFinite() || std::all_of(points, points + 4, isFinite)) {
                searchCubic(points, span, options_, best_);
            }
            return;
        }
        Points points(degree + 1);
        spanToBezier(spline_, span, position_, points.data());
        if (!spans_.allFinite() && !std::all_of(points.data(), points.data() + degree + 1, isFinite)) {
            return;
        }
        Scratch<double, (2 * largestLocalDegree + 1) * (deepestHalving + 2)> pieces((2 * degree + 1) *
                                                                                    (deepestHalving + 2));
        squaredDistance(points.data(), degree, pieces.data());
        searchSpan(2 * degree, pieces.data(), BezierSpan(points.data(), degree), span, options_, best_);
    }

    static constexpr std::size_t mostCandidates = 1024;

    const CurveSpans& spans_;
    const Spline spline_;
    const Imath::V3d position_;
    const float point_[3];
    const SearchOptions options_;
    Best best_;
    bool measured_ = false;
    std::size_t candidateCount_ = 0;
    Candidate candidates_[mostCandidates];
};

}  // namespace

SpanPlace nearestPlace(const CurveSpans& spans, const Imath::V3d& position, const SearchOptions& options) {
    return Search(spans, position, options).run();
}

}  // namespace TessilUtils
