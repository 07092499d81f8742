#include <TessilUtils/internal/RayTree.h>

#include <TessilUtils/Logger.h>
#include <TessilUtils/ParallelFor.h>
#include <TessilUtils/internal/FloatingPointState.h>

#include <embree3/rtcore.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace TessilUtils::internal {

namespace {

// All lengths from here on are those of the scene, whose triangles lie in [-1, 1].

// Embree computes in floats with numbers of up to about 4, a few roundings of 2^-24 each. So far from a ray something
// may be that it takes to be met, or passes over, where it looks at it from straight above.
constexpr double rounding = 0x1p-18;

// How far each triangle is grown: some times as much, since a triangle that is seen from its side looks narrower.
constexpr double growth = 4 * rounding;

// By how much a ray starts earlier and ends later than it should, so that Embree's own idea of
// where a candidate lies does not matter.
constexpr double slack = 0x1p-14;

// Rays from beyond start anew close to the scene.
constexpr double farAway = 2;

// A ray that passes triangles by in more places, or so flat that the place is uncertain by more than this, is not
// followed up at all of them, lest it take as long as a look at every triangle.
constexpr std::size_t mostGaps = 16;
constexpr double widestGap = 0x1p-8;

// Every triangle lies within this distance of the centre.
constexpr double radius = 1.75;

// From beyond, doubles do not tell any more where in the scene a ray goes.
constexpr double outOfSight = 0x1p32;

// Serves all meshes and is never released: meshes may live until the very end of the process, and
// cast rays there.
RTCDevice device() {
    static const RTCDevice shared = rtcNewDevice("ignore_config_files=1");
    return shared;
}

// The three corners of a triangle that contains `triangle`, moved by `centre` and scaled by
// `scale`, with a margin of at least `growth` all around, in its plane.
void growTriangle(const Triangle& triangle, const Imath::V3d& centre, double scale, float* corners) {
    const Imath::V3d edge1 = triangle.edge1() * scale;
    const Imath::V3d edge2 = triangle.edge2() * scale;
    const Imath::V3d edge3 = edge2 - edge1;
    const double squares[] = {edge1.length2(), edge2.length2(), edge3.length2()};
    const double longest2 = std::max({squares[0], squares[1], squares[2]});
    const double normal2 = edge1.cross(edge2).length2();

    Imath::V3d grown[3];
    const Imath::V3d corner = (triangle.corner.imath() - centre) * scale;
    // A third of the smallest height is the smallest distance from the centroid to an edge.
    const double factor = 3 * growth * std::sqrt(longest2 / normal2);
    if (factor <= 1) {
        const Imath::V3d fromCentroid = (edge1 + edge2) * (-1.0 / 3);
        grown[0] = corner + fromCentroid * factor;
        grown[1] = corner + edge1 + (fromCentroid + edge1) * factor;
        grown[2] = corner + edge2 + (fromCentroid + edge2) * factor;
    } else {
        // Thin or tiny: scaling would make a long needle of it. A triangle of twice its length and
        // height contains the rectangle around it.
        Imath::V3d start = corner;
        Imath::V3d along = triangle.edge1();
        Imath::V3d third = edge2;
        if (squares[1] == longest2) {
            along = triangle.edge2();
            third = edge1;
        } else if (squares[2] == longest2) {
            start = corner + edge1;
            along = triangle.edge2() - triangle.edge1();
            third = -edge1;
        }
        const double length = std::sqrt(along.length2()) * scale;
        along /= std::sqrt(along.length2());
        Imath::V3d across = (triangle.normal.imath() / std::sqrt(length2(triangle.normal))).cross(along);
        double height = third.dot(across);
        if (height < 0) {
            across = -across;
            height = -height;
        }
        const Imath::V3d middle = start + along * (length / 2) - across * growth;
        grown[0] = middle - along * (length + 2 * growth);
        grown[1] = middle + along * (length + 2 * growth);
        grown[2] = middle + across * (2 * (height + 2 * growth));
    }
    for (const Imath::V3d& point : grown) {
        *corners++ = static_cast<float>(point.x);
        *corners++ = static_cast<float>(point.y);
        *corners++ = static_cast<float>(point.z);
    }
}

// Embree's vectors have a fourth number behind them. It reads all four at once, which has to wait
// for all that was written before if the four were not written at once, too.
void storeFour(float* to, const PairedVector& vector) {
#if defined(__SSE2__)
    _mm_store_ps(to, _mm_movelh_ps(_mm_cvtpd_ps(vector.xy), _mm_cvtpd_ps(_mm_set_sd(vector.z))));
#else
    to[0] = static_cast<float>(vector.x());
    to[1] = static_cast<float>(vector.y());
    to[2] = static_cast<float>(vector.z);
    to[3] = 0;
#endif
}

void prepareQuery(RTCRayHit& query, const PairedVector& origin, const PairedVector& direction, float end) {
    storeFour(&query.ray.org_x, origin);
    storeFour(&query.ray.dir_x, direction);
    query.ray.tfar = end;
    query.ray.mask = ~0u;
    query.ray.id = 0;
    query.ray.flags = 0;
    query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
}

// Calls `run(first, end)` for parts of [0, count) on several threads, each with the standard floating
// point settings. What is computed there belongs in functions that are not inlined.
template <class Run>
void forFaces(std::size_t count, const Run& run) {
    if (count > std::numeric_limits<unsigned int>::max()) {
        run(0, count);
        return;
    }
    parallel_for({0, static_cast<unsigned int>(count)}, [&run](const ParallelForRange& part) {
        const FloatingPointState standard;
        run(part.begin(), part.end());
    });
}

double largestPart(const PairedVector& vector) {
    return std::max({std::fabs(vector.x()), std::fabs(vector.y()), std::fabs(vector.z)});
}

// 2^e for a positive value in [2^e, 2^(e+1)), and 2^-e.
struct PowerOfTwo {
    explicit PowerOfTwo(double value) {
        constexpr std::uint64_t exponentBits = 0x7ff0000000000000;
        constexpr std::uint64_t twiceTheBias = std::uint64_t{2046} << 52;
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        bits &= exponentBits;
        std::memcpy(&itself, &bits, sizeof bits);
        bits = twiceTheBias - bits;
        std::memcpy(&inverse, &bits, sizeof bits);
    }

    double itself;
    double inverse;
};

// u and v for a hit: rounding must not leave the third corner a weight below zero.
void setWeights(Pair weights, float& u, float& v) {
    u = static_cast<float>(std::max(1 - weights[0] - weights[1], 0.0));
    v = static_cast<float>(weights[0]);
    const double rest = 1 - static_cast<double>(u);
    if (v > rest) {
        v = static_cast<float>(rest);
        if (v > rest) {
            v = std::nextafter(v, 0.0f);
        }
    }
}

}  // namespace

// A place where a ray passes a triangle by, maybe by so little that it meets a neighbour there that Embree has passed
// over: one that the ray grazes has hardly any margin in the ray's eyes.
struct RayTree::Gap {
    double parameter;  // of the ray, counted from where it starts
    double reach;      // within which a side or corner of such a neighbour lies
};

// A ray under way in the scene that looks at every candidate. Embree hands the context on to
// `considerCandidate`.
struct RayTree::Cast {
    static void considerCandidate(const RTCFilterFunctionNArguments* arguments);
    void notePassedBy(const Triangle& triangle, double parameter);

    RTCIntersectContext context;  // first: its address is the cast's
    const Corners* corners;
    Ray ray;
    SceneRay sceneRay;
    double start;  // where the scene's ray starts, as its own parameter counted from the origin
    Hit best;
    std::array<Gap, mostGaps> gaps;
    std::size_t gapCount;
};

void RayTree::Cast::considerCandidate(const RTCFilterFunctionNArguments* arguments) {
    static_assert(std::is_standard_layout_v<Cast>);
    Cast& cast = *reinterpret_cast<Cast*>(arguments->context);
    const unsigned int faceId = RTCHitN_primID(arguments->hit, 1, 0);
    const Triangle triangle = makeTriangle(cast.corners[faceId]);
    float& end = RTCRayN_tfar(arguments->ray, 1, 0);
    if (improveHit(cast.ray, triangle, faceId, cast.best)) {
        end = static_cast<float>(cast.sceneRay.parameter(cast.best, cast.start) + slack);
    } else {
        cast.notePassedBy(triangle, static_cast<double>(end));
        arguments->valid[0] = 0;
    }
}

// Embree's idea of where a ray meets a triangle is the worse the flatter it does.
void RayTree::Cast::notePassedBy(const Triangle& triangle, double parameter) {
    const double sine =
        std::fabs(dot(ray.direction, triangle.normal)) / std::sqrt(ray.direction2 * length2(triangle.normal));
    const double reach = rounding + rounding / std::max(sine, rounding / widestGap);
    const double length = sceneRay.length();
    const bool isKnown = std::any_of(gaps.begin(), gaps.begin() + gapCount, [&](const Gap& gap) {
        return std::fabs(gap.parameter - parameter) * length + reach <= gap.reach;
    });
    if (!isKnown && gapCount < mostGaps) {
        gaps[gapCount++] = {parameter, 2 * reach};
    }
}

RayTree::RayTree(const std::vector<Imath::V3f>& points, const std::vector<unsigned int>& triangles,
                 const std::vector<Imath::V3f>& faceVertexNormals)
    : points_(points), triangles_(triangles), faceVertexNormals_(faceVertexNormals) {
    if (findBounds()) {
        buildScene();
    }
}

RayTree::~RayTree() {
    if (scene_ != nullptr) {
        rtcReleaseScene(scene_);
    }
}

// A box around what it was extended by.
struct RayTree::Bounds {
    // Does nothing if the other one is empty.
    void extendBy(const Bounds& other) {
        for (int axis = 0; axis < 3; ++axis) {
            lower[axis] = std::min(lower[axis], other.lower[axis]);
            upper[axis] = std::max(upper[axis], other.upper[axis]);
        }
    }

    Imath::V3d lower{std::numeric_limits<double>::infinity()};
    Imath::V3d upper{-std::numeric_limits<double>::infinity()};
};

RayTree::Bounds RayTree::boundsOf(std::size_t firstFace, std::size_t endFace) const {
    Bounds bounds;
    for (std::size_t i = 3 * firstFace; i < 3 * endFace; i += 3) {
        if (isSound(makeTriangle(points_.data(), &triangles_[i]))) {
            for (std::size_t corner = i; corner < i + 3; ++corner) {
                const Imath::V3d point(points_[triangles_[corner]]);
                bounds.extendBy({point, point});
            }
        }
    }
    return bounds;
}

bool RayTree::findBounds() {
    Bounds all;
    std::mutex allMutex;
    forFaces(triangles_.size() / 3, [&](std::size_t first, std::size_t end) {
        const Bounds part = boundsOf(first, end);
        const std::lock_guard<std::mutex> lock(allMutex);
        all.extendBy(part);
    });
    if (all.lower.x > all.upper.x) {
        return false;
    }
    centre_ = paired((all.lower + all.upper) / 2);
    halfExtent_ = largestPart(paired(all.upper - all.lower)) / 2;
    scale_ = 1 / halfExtent_;
    return true;
}

// Gives the scene's triangles and this tree's corners their values.
void RayTree::growTriangles(std::size_t firstFace, std::size_t endFace, float* grown, unsigned int* indices) const {
    for (std::size_t face = firstFace; face < endFace; ++face) {
        corners_[face] = cornersOf(points_.data(), &triangles_[3 * face]);
        const Triangle sides = makeTriangle(points_.data(), &triangles_[3 * face]);
        if (isSound(sides)) {
            growTriangle(sides, centre_.imath(), scale_, grown + 9 * face);
        } else {
            // Embree leaves triangles with such corners out.
            std::fill_n(grown + 9 * face, 9, std::numeric_limits<float>::quiet_NaN());
        }
        for (std::size_t corner = 3 * face; corner < 3 * face + 3; ++corner) {
            indices[corner] = static_cast<unsigned int>(corner);
        }
    }
}

void RayTree::buildScene() {
    const std::size_t count = triangles_.size() / 3;
    if (device() == nullptr || triangles_.size() > std::numeric_limits<unsigned int>::max()) {
        return;
    }
    corners_.reset(new (std::nothrow) Corners[count]);
    std::unique_ptr<RTCSceneTy, void (*)(RTCScene)> owner(rtcNewScene(device()), rtcReleaseScene);
    const RTCScene scene = owner.get();
    const std::unique_ptr<RTCGeometryTy, void (*)(RTCGeometry)> geometryOwner(
        rtcNewGeometry(device(), RTC_GEOMETRY_TYPE_TRIANGLE), rtcReleaseGeometry);
    const RTCGeometry geometry = geometryOwner.get();
    rtcSetSceneFlags(scene, RTC_SCENE_FLAG_ROBUST | RTC_SCENE_FLAG_CONTEXT_FILTER_FUNCTION);
    rtcSetSceneBuildQuality(scene, RTC_BUILD_QUALITY_MEDIUM);
    // A corner belongs to one triangle only: neighbours grow in different directions.
    auto* grown = static_cast<float*>(
        rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float), 3 * count));
    auto* indices = static_cast<unsigned int*>(
        rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(unsigned int), count));
    if (corners_ != nullptr && grown != nullptr && indices != nullptr) {
        forFaces(count, [=](std::size_t first, std::size_t end) { growTriangles(first, end, grown, indices); });
        rtcCommitGeometry(geometry);
        rtcAttachGeometry(scene, geometry);
        // As a loop: while it waits for its helpers this thread must not pick up a task from outside, which could be
        // another ray against this mesh and wait for this very tree; and nothing outside may call its helpers off.
        parallel_for({0, 1}, [scene](const ParallelForRange&) { rtcCommitScene(scene); });
    }
    if (corners_ != nullptr && rtcGetDeviceError(device()) == RTC_ERROR_NONE) {
        scene_ = owner.release();
    } else {
        Logger::error() << "Mesh with" << count << "triangles got no search tree; its rays will be slow";
    }
}

bool RayTree::intersect(const Imath::V3f& origin, const Imath::V3f& direction, float& t, unsigned int& faceId, float& u,
                        float& v, bool bothDirections) const noexcept {
    Ray ray;
    ray.origin = paired(origin);
    ray.direction = paired(direction);
    ray.direction2 = length2(ray.direction);
    ray.bothDirections = bothDirections;
    // Six floats cannot sum up to more than a double holds.
    const PairedVector sums = ray.origin + ray.direction;
    const double largest = largestPart(ray.direction);
    if (!std::isfinite(sums.x() + sums.y() + sums.z) || largest == 0 || halfExtent_ == 0) {
        return false;
    }
    const Hit hit = scene_ != nullptr ? nearestHit(ray, largest) : scan(ray);
    if (!hit.found) {
        return false;
    }
    t = static_cast<float>(hit.t) + 0.0f;  // no negative zero
    faceId = hit.faceId;
    setWeights(hit.weights, u, v);
    return true;
}

inline Hit RayTree::nearestHit(const Ray& ray, double largest) const {
    const PowerOfTwo length(largest);
    const SceneRay ahead{(ray.origin - centre_) * scale_, ray.direction * length.inverse, scale_ * length.itself};
    if (largestPart(ahead.origin) > farAway) {
        return nearestHitFromAfar(ray, ahead);
    }
    Hit best;
    castRay(ray, ahead, -slack, best);
    if (ray.bothDirections) {
        castRay(ray, ahead.reversed(), -slack, best);
    }
    return best;
}

Hit RayTree::nearestHitFromAfar(const Ray& ray, const SceneRay& ahead) const {
    if (largestPart(ahead.origin) > outOfSight) {
        return scan(ray);
    }
    Hit best;
    const double direction2 = length2(ahead.direction);
    const double closest = -dot(ahead.origin, ahead.direction) / direction2;
    const double aside2 = length2(ahead.origin + ahead.direction * closest);
    if (aside2 <= radius * radius && (closest >= 0 || ray.bothDirections)) {
        const double start = std::fabs(closest) - farAway / std::sqrt(direction2);
        castRay(ray, closest < 0 ? ahead.reversed() : ahead, start, best);
    }
    return best;
}

// Improves the best hit by those from origin + start * direction on.
inline void RayTree::castRay(const Ray& ray, const SceneRay& sceneRay, double start, Hit& best) const {
    const float end = best.found ? static_cast<float>(sceneRay.parameter(best, start) + slack)
                                 : std::numeric_limits<float>::infinity();
    RTCRayHit query;
    prepareQuery(query, sceneRay.origin + sceneRay.direction * start, sceneRay.direction, end);
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    rtcIntersect1(scene_, &context, &query);
    if (query.hit.geomID == RTC_INVALID_GEOMETRY_ID) {
        return;
    }
    // Mostly the nearest of the grown triangles is really hit, and nearly where Embree says. If it
    // is not, the ray passes through a margin or starts on a surface, and every candidate counts. So
    // it does where the ray meets neighbours at once, of which Embree takes one or another.
    const unsigned int faceId = query.hit.primID;
    const Imath::V3f* const normals = faceVertexNormals_.data() + std::size_t{3} * faceId;
    __builtin_prefetch(normals);
    __builtin_prefetch(normals + 2);
    if (!improveHit(ray, makeTriangle(corners_[faceId]), faceId, best) ||
        !(std::fabs(sceneRay.parameter(best, start) - static_cast<double>(query.ray.tfar)) < slack) || best.atBorder) {
        castRayAtAll(ray, sceneRay, start, end, best);
    }
}

// As castRay, with a look at every grown triangle on the way.
void RayTree::castRayAtAll(const Ray& ray, const SceneRay& sceneRay, double start, float end, Hit& best) const {
    RTCRayHit query;
    prepareQuery(query, sceneRay.origin + sceneRay.direction * start, sceneRay.direction, end);
    Cast cast{{}, corners_.get(), ray, sceneRay, start, best, {}, 0};
    rtcInitIntersectContext(&cast.context);
    cast.context.filter = Cast::considerCandidate;
    rtcIntersect1(scene_, &cast.context, &query);
    const double length = sceneRay.length();
    std::for_each(cast.gaps.begin(), cast.gaps.begin() + cast.gapCount, [&](const Gap& gap) {
        if (!cast.best.found || gap.parameter <= sceneRay.parameter(cast.best, start) + slack + gap.reach / length) {
            search(sceneRay.origin + sceneRay.direction * (start + gap.parameter), gap.reach, ray, cast.best);
        }
    });
    best = cast.best;
}

// Improves the best hit by those with triangles near a place.
void RayTree::search(const PairedVector& place, double reach, const Ray& ray, Hit& best) const {
    struct Search {
        const Corners* corners;
        const Ray& ray;
        Hit& best;
    } search{corners_.get(), ray, best};
    RTCPointQuery query;
    query.x = static_cast<float>(place.x());
    query.y = static_cast<float>(place.y());
    query.z = static_cast<float>(place.z);
    query.time = 0;
    query.radius = static_cast<float>(reach);
    RTCPointQueryContext context;
    rtcInitPointQueryContext(&context);
    const auto consider = [](RTCPointQueryFunctionArguments* arguments) {
        const Search& mine = *static_cast<Search*>(arguments->userPtr);
        improveHit(mine.ray, makeTriangle(mine.corners[arguments->primID]), arguments->primID, mine.best);
        return false;  // The radius has not changed.
    };
    rtcPointQuery(scene_, &query, &context, consider, &search);
}

Hit RayTree::scan(const Ray& ray) const {
    Hit best;
    for (std::size_t i = 0; i < triangles_.size(); i += 3) {
        const Triangle candidate = makeTriangle(points_.data(), &triangles_[i]);
        if (isSound(candidate)) {
            improveHit(ray, candidate, static_cast<unsigned int>(i / 3), best);
        }
    }
    return best;
}

}  // namespace TessilUtils::internal
