#include <TessilUtils/internal/RayTree.h>

#include <TessilUtils/Logger.h>

#include <embree3/rtcore.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

namespace TessilUtils::internal {

namespace {

// All lengths from here on are those of the scene, whose triangles lie in [-1, 1].

// How far each triangle is grown. Embree computes in floats with numbers of up to about 4, a few
// roundings of 2^-24 each.
constexpr double growth = 0x1p-18;

// By how much a ray starts earlier and ends later than it should, so that Embree's own idea of
// where a candidate lies does not matter.
constexpr double slack = 0x1p-14;

// Rays from beyond start anew close to the scene.
constexpr double farAway = 2;

// Every grown triangle lies within this distance of the centre.
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
    const Imath::V3d edge1 = triangle.edge1 * scale;
    const Imath::V3d edge2 = triangle.edge2 * scale;
    const Imath::V3d edge3 = edge2 - edge1;
    const double squares[] = {edge1.length2(), edge2.length2(), edge3.length2()};
    const double longest2 = std::max({squares[0], squares[1], squares[2]});
    const double normal2 = edge1.cross(edge2).length2();

    Imath::V3d grown[3];
    const Imath::V3d corner = (triangle.corner - centre) * scale;
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
        Imath::V3d along = triangle.edge1;
        Imath::V3d third = edge2;
        if (squares[1] == longest2) {
            along = triangle.edge2;
            third = edge1;
        } else if (squares[2] == longest2) {
            start = corner + edge1;
            along = triangle.edge2 - triangle.edge1;
            third = -edge1;
        }
        const double length = std::sqrt(along.length2()) * scale;
        along /= std::sqrt(along.length2());
        Imath::V3d across = (triangle.normal / std::sqrt(triangle.normal.length2())).cross(along);
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

// A ray under way in the scene. Embree hands the context on to `considerCandidate`.
struct Cast {
    RTCIntersectContext context;  // first: its address is the cast's
    const RayTree* tree;
    const Ray* ray;
    Hit* best;
    double lengthPerT;  // parameters of the scene's ray per t
    double start;       // where the scene's ray starts, as its own parameter counted from the origin
};
static_assert(std::is_standard_layout_v<Cast>);

// The best hit as a parameter of the scene's ray.
double bestParameter(const Cast& cast) {
    return std::fabs(cast.best->t) * cast.lengthPerT - cast.start;
}

void considerCandidate(const RTCFilterFunctionNArguments* arguments) {
    const Cast& cast = *reinterpret_cast<const Cast*>(arguments->context);
    const unsigned int faceId = RTCHitN_primID(arguments->hit, 1, 0);
    if (improveHit(*cast.ray, cast.tree->triangle(faceId), faceId, *cast.best)) {
        RTCRayN_tfar(arguments->ray, 1, 0) = static_cast<float>(bestParameter(cast) + slack);
    } else {
        arguments->valid[0] = 0;
    }
}

// Writes a vector and a zero. Embree reads all four at once, which costs some 25 ns a ray if the
// processor has to gather them from single writes that are still under way.
void storeFour(float* to, const Imath::V3f& vector) {
#if defined(__SSE2__)
    _mm_store_ps(to, _mm_setr_ps(vector.x, vector.y, vector.z, 0));
#else
    to[0] = vector.x;
    to[1] = vector.y;
    to[2] = vector.z;
    to[3] = 0;
#endif
}

// Casts a ray from origin + start * direction on and improves the best hit.
void castRay(RTCScene scene, Cast& cast, const Imath::V3d& origin, const Imath::V3d& direction, double start) {
    cast.start = start;
    const Imath::V3f from(origin + direction * start);
    const Imath::V3f to(direction);
    const float end =
        cast.best->found ? static_cast<float>(bestParameter(cast) + slack) : std::numeric_limits<float>::infinity();
    RTCRayHit query;
    const auto prepare = [&] {
        storeFour(&query.ray.org_x, from);
        storeFour(&query.ray.dir_x, to);
        query.ray.tfar = end;
        query.ray.mask = ~0u;
        query.ray.id = 0;
        query.ray.flags = 0;
        query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
        query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    };
    prepare();
    cast.context.filter = nullptr;
    rtcIntersect1(scene, &cast.context, &query);
    if (query.hit.geomID == RTC_INVALID_GEOMETRY_ID) {
        return;
    }
    // Mostly the nearest of the grown triangles is really hit, and nearly where Embree says. If it
    // is not, the ray passes through a margin or starts on a surface, and every candidate counts.
    const unsigned int faceId = query.hit.primID;
    if (improveHit(*cast.ray, cast.tree->triangle(faceId), faceId, *cast.best) &&
        std::fabs(bestParameter(cast) - query.ray.tfar) < slack) {
        return;
    }
    prepare();
    cast.context.filter = considerCandidate;
    rtcIntersect1(scene, &cast.context, &query);
}

double largestPart(const Imath::V3d& vector) {
    return std::max({std::fabs(vector.x), std::fabs(vector.y), std::fabs(vector.z)});
}

// 2^-e for a positive value in [2^e, 2^(e+1)).
double inversePowerOfTwo(double value) {
    constexpr std::uint64_t exponentBits = 0x7ff0000000000000;
    constexpr std::uint64_t twiceTheBias = std::uint64_t{2046} << 52;
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    bits = twiceTheBias - (bits & exponentBits);
    std::memcpy(&value, &bits, sizeof bits);
    return value;
}

}  // namespace

RayTree::RayTree(const std::vector<Imath::V3f>& points, const std::vector<unsigned int>& triangles)
    : points_(points), triangles_(triangles) {
    if (findBounds()) {
        buildScene();
    }
}

RayTree::~RayTree() {
    if (scene_ != nullptr) {
        rtcReleaseScene(scene_);
    }
}

bool RayTree::findBounds() {
    Imath::V3d lower(std::numeric_limits<double>::infinity());
    Imath::V3d upper(-std::numeric_limits<double>::infinity());
    for (std::size_t i = 0; i < triangles_.size(); i += 3) {
        const Triangle sides = makeTriangle(points_.data(), &triangles_[i]);
        if (isSound(sides)) {
            for (std::size_t corner = i; corner < i + 3; ++corner) {
                const Imath::V3d point(points_[triangles_[corner]]);
                for (int axis = 0; axis < 3; ++axis) {
                    lower[axis] = std::min(lower[axis], point[axis]);
                    upper[axis] = std::max(upper[axis], point[axis]);
                }
            }
        }
    }
    if (lower.x > upper.x) {
        return false;
    }
    centre_ = (lower + upper) / 2;
    halfExtent_ = largestPart(upper - lower) / 2;
    scale_ = 1 / halfExtent_;
    return true;
}

void RayTree::buildScene() {
    const std::size_t count = triangles_.size() / 3;
    if (device() == nullptr || triangles_.size() > std::numeric_limits<unsigned int>::max()) {
        return;
    }
    const RTCScene scene = rtcNewScene(device());
    const RTCGeometry geometry = rtcNewGeometry(device(), RTC_GEOMETRY_TYPE_TRIANGLE);
    rtcSetSceneFlags(scene, RTC_SCENE_FLAG_ROBUST | RTC_SCENE_FLAG_CONTEXT_FILTER_FUNCTION);
    rtcSetSceneBuildQuality(scene, RTC_BUILD_QUALITY_MEDIUM);
    // A corner belongs to one triangle only: neighbours grow in different directions.
    auto* corners = static_cast<float*>(
        rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float), 3 * count));
    auto* indices = static_cast<unsigned int*>(
        rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(unsigned int), count));
    if (corners != nullptr && indices != nullptr) {
        for (std::size_t i = 0; i < triangles_.size(); i += 3) {
            const Triangle sides = makeTriangle(points_.data(), &triangles_[i]);
            if (isSound(sides)) {
                growTriangle(sides, centre_, scale_, corners + 3 * i);
            } else {
                // Embree leaves triangles with such corners out.
                std::fill_n(corners + 3 * i, 9, std::numeric_limits<float>::quiet_NaN());
            }
            indices[i] = static_cast<unsigned int>(i);
            indices[i + 1] = static_cast<unsigned int>(i + 1);
            indices[i + 2] = static_cast<unsigned int>(i + 2);
        }
        rtcCommitGeometry(geometry);
        rtcAttachGeometry(scene, geometry);
        // While it waits for its helpers this thread must not pick up a task from outside: that
        // could be another ray against this mesh, which would wait for this very tree.
        tbb::this_task_arena::isolate([scene] { rtcCommitScene(scene); });
    }
    rtcReleaseGeometry(geometry);
    if (rtcGetDeviceError(device()) == RTC_ERROR_NONE) {
        scene_ = scene;
    } else {
        Logger::error() << "Mesh with" << count << "triangles got no search tree; its rays will be slow";
        rtcReleaseScene(scene);
    }
}

Hit RayTree::nearestHit(const Imath::V3f& origin, const Imath::V3f& direction, bool bothDirections) const {
    Hit best;
    Ray ray;
    ray.origin = Imath::V3d(origin);
    ray.direction = Imath::V3d(direction);
    // Six floats cannot sum up to more than a double holds.
    const double sum = ray.origin.x + ray.origin.y + ray.origin.z + ray.direction.x + ray.direction.y + ray.direction.z;
    const double largest = largestPart(ray.direction);
    if (!std::isfinite(sum) || largest == 0 || halfExtent_ == 0) {
        return best;
    }
    const Imath::V3d fromCentre = ray.origin - centre_;
    ray.direction2 = ray.direction.length2();
    ray.bothDirections = bothDirections;

    const double shortening = inversePowerOfTwo(largest);
    const Imath::V3d from = fromCentre * scale_;
    const Imath::V3d along = ray.direction * shortening;
    Cast cast;
    rtcInitIntersectContext(&cast.context);
    cast.tree = this;
    cast.ray = &ray;
    cast.best = &best;
    cast.lengthPerT = scale_ / shortening;

    const double distance = largestPart(from);
    if (distance > farAway) {
        const double along2 = along.length2();
        const double closest = -from.dot(along) / along2;
        const double aside2 = (from + along * closest).length2();
        if (distance > outOfSight || scene_ == nullptr) {
            return scan(ray);
        }
        if (aside2 > radius * radius || (closest < 0 && !bothDirections)) {
            return best;
        }
        const double start = std::fabs(closest) - farAway / std::sqrt(along2);
        castRay(scene_, cast, from, closest < 0 ? -along : along, start);
        return best;
    }
    if (scene_ == nullptr) {
        return scan(ray);
    }
    castRay(scene_, cast, from, along, -slack);
    if (bothDirections) {
        castRay(scene_, cast, from, -along, -slack);
    }
    return best;
}

Hit RayTree::scan(const Ray& ray) const {
    Hit best;
    for (std::size_t i = 0; i < triangles_.size(); i += 3) {
        const auto faceId = static_cast<unsigned int>(i / 3);
        const Triangle candidate = triangle(faceId);
        if (isSound(candidate)) {
            improveHit(ray, candidate, faceId, best);
        }
    }
    return best;
}

}  // namespace TessilUtils::internal
