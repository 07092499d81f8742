#include <TessilUtils/internal/CurveSpans.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

namespace TessilUtils {

namespace {

constexpr float unbounded = std::numeric_limits<float>::infinity();

struct Box {
    float low[3] = {unbounded, unbounded, unbounded};
    float high[3] = {-unbounded, -unbounded, -unbounded};

    Box() = default;

    /// Around `count` points, one float further out than the nearest ones, which may lie inside.
    Box(const Imath::V3d* points, std::size_t count) {
        Imath::V3d least = points[0];
        Imath::V3d most = points[0];
        for (std::size_t i = 1; i < count; ++i) {
            const Imath::V3d& point = points[i];
            least = {std::min(least.x, point.x), std::min(least.y, point.y), std::min(least.z, point.z)};
            most = {std::max(most.x, point.x), std::max(most.y, point.y), std::max(most.z, point.z)};
        }
        const Imath::V3f lowest = toFloat(least);
        const Imath::V3f highest = toFloat(most);
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::nextafter(lowest[axis], -unbounded);
            high[axis] = std::nextafter(highest[axis], unbounded);
        }
    }

    void add(const BoxBlock& block) {
        for (unsigned int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], *std::min_element(block.low[axis], block.low[axis] + BoxBlock::size));
            high[axis] = std::max(high[axis], *std::max_element(block.high[axis], block.high[axis] + BoxBlock::size));
        }
    }
};

std::size_t blocksFor(std::size_t boxes) {
    return (boxes + BoxBlock::size - 1) / BoxBlock::size;
}

}  // namespace

BoxBlock::BoxBlock() {
    for (unsigned int axis = 0; axis < 3; ++axis) {
        std::fill_n(low[axis], size, unbounded);
        std::fill_n(high[axis], size, -unbounded);
    }
}

void BoxBlock::set(std::size_t lane, const float (&lowCorner)[3], const float (&highCorner)[3]) {
    for (unsigned int axis = 0; axis < 3; ++axis) {
        low[axis][lane] = lowCorner[axis];
        high[axis][lane] = highCorner[axis];
    }
}

CurveSpans::CurveSpans(const std::vector<Imath::V3f>& vertices, std::size_t degree)
    : vertices_(vertices), degree_(degree) {
    if (degree_ == 3) {
        const std::size_t count = spline().spans();
        for (const std::size_t span : {std::size_t{0}, std::size_t{1}, count - 2, count - 1}) {
            if (span < count) {
                const std::size_t place = span < 2 ? span : span + 4 - count;
                spanToBezier(spline(), span, Imath::V3d(0.0), ends_[place].data());
            }
        }
    }
    makeBoxes();
}

const CurveSpans* CurveSpans::share(const CurveSpans* spans) {
    if (spans != nullptr) {
        spans->owners_.fetch_add(1, std::memory_order_relaxed);
    }
    return spans;
}

void CurveSpans::release(const CurveSpans* spans) {
    if (spans != nullptr && spans->owners_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete spans;
    }
}

bool CurveSpans::madeFrom(const std::vector<Imath::V3f>& vertices, std::size_t degree) const {
    return degree == degree_ && vertices.size() == vertices_.size() &&
           std::memcmp(vertices.data(), vertices_.data(), vertices.size() * sizeof(Imath::V3f)) == 0;
}

void CurveSpans::cubic(std::size_t span, const Imath::V3d& origin, Imath::V3d (&points)[4]) const {
    const Spline shape = spline();
    if (degree_ == 3) {
        const std::size_t count = shape.spans();
        if (span >= 2 && span + 3 <= count) {
            Imath::V3d vertex[4];
            loadSpan(shape, span, origin, vertex);
            points[1] = (vertex[1] * 2.0 + vertex[2]) * (1.0 / 3.0);
            points[2] = (vertex[1] + vertex[2] * 2.0) * (1.0 / 3.0);
            points[0] = (vertex[0] + vertex[1] * 4.0 + vertex[2]) * (1.0 / 6.0);
            points[3] = (vertex[1] + vertex[2] * 4.0 + vertex[3]) * (1.0 / 6.0);
            return;
        }
        const auto& end = ends_[span < 2 ? span : span + 4 - count];
        for (std::size_t i = 0; i < 4; ++i) {
            points[i] = end[i] - origin;
        }
        return;
    }
    Imath::V3d own[4];
    spanToBezier(shape, span, origin, own);
    const Imath::V3d last = own[degree_];
    points[0] = own[0];
    points[1] = degree_ == 2 ? (own[0] + own[1] * 2.0) * (1.0 / 3.0) : (own[0] * 2.0 + last) * (1.0 / 3.0);
    points[2] = degree_ == 2 ? (own[1] * 2.0 + last) * (1.0 / 3.0) : (own[0] + last * 2.0) * (1.0 / 3.0);
    points[3] = last;
}

void CurveSpans::makeBoxes() {
    const Spline shape = spline();
    const std::size_t count = shape.spans();
    levels_.emplace_back(blocksFor(count));
    Points points(degree_ + 1);
    for (std::size_t span = 0; span < count; ++span) {
        if (degree_ == 3) {
            Imath::V3d cubicPoints[4];
            cubic(span, Imath::V3d(0.0), cubicPoints);
            std::copy(cubicPoints, cubicPoints + 4, points.data());
        } else if (degree_ <= largestLocalDegree) {
            spanToBezier(shape, span, Imath::V3d(0.0), points.data());
        } else {
            // The hull of the control vertices is wider, but much cheaper at high degrees.
            loadSpan(shape, span, Imath::V3d(0.0), points.data());
        }
        if (std::all_of(points.data(), points.data() + degree_ + 1, isFinite)) {
            const Box box(points.data(), degree_ + 1);
            levels_[0][span / BoxBlock::size].set(span % BoxBlock::size, box.low, box.high);
            continue;
        }
        allFinite_ = false;
        // Each end depends on one vertex less than the span, so it can be finite all the same.
        for (const double end : {static_cast<double>(span), static_cast<double>(span) + 1.0}) {
            const Imath::V3d point = splineAt(shape, span, end).point;
            if (isFinite(point)) {
                lonePoints_.push_back({point, end});
            }
        }
    }
    while (levels_.back().size() > 1) {
        const std::vector<BoxBlock>& below = levels_.back();
        std::vector<BoxBlock> level(blocksFor(below.size()));
        for (std::size_t i = 0; i < below.size(); ++i) {
            Box box;
            box.add(below[i]);
            level[i / BoxBlock::size].set(i % BoxBlock::size, box.low, box.high);
        }
        levels_.push_back(std::move(level));
    }
}

}  // namespace TessilUtils
