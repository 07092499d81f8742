#include <benchmarks/EmbreeScene.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace bench {

namespace {

/// One for the process.
RTCDevice device() {
    static const RTCDevice made = [] {
        const RTCDevice fresh = rtcNewDevice(nullptr);
        if (fresh == nullptr) {
            std::fprintf(stderr, "Embree cannot be used here\n");
            std::exit(1);
        }
        return fresh;
    }();
    return made;
}

}  // namespace

EmbreeScene::EmbreeScene(const Triangles& triangles) : scene_(rtcNewScene(device())) {
    rtcSetSceneFlags(scene_, RTC_SCENE_FLAG_ROBUST);
    rtcSetSceneBuildQuality(scene_, RTC_BUILD_QUALITY_MEDIUM);
    const RTCGeometry geometry = rtcNewGeometry(device(), RTC_GEOMETRY_TYPE_TRIANGLE);
    // Points are read with 16 bytes at once, so the last one must not stand at the end; copies spare that.
    auto* points = static_cast<Imath::V3f*>(rtcSetNewGeometryBuffer(
        geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, sizeof(Imath::V3f), triangles.points.size()));
    std::copy(triangles.points.begin(), triangles.points.end(), points);
    rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, triangles.corners.data(), 0,
                               3 * sizeof(unsigned int), triangles.corners.size() / 3);
    rtcCommitGeometry(geometry);
    rtcAttachGeometry(scene_, geometry);
    rtcReleaseGeometry(geometry);
    rtcCommitScene(scene_);
}

EmbreeScene::~EmbreeScene() {
    rtcReleaseScene(scene_);
}

double EmbreeScene::cast(const StraightRay& ray) {
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    RTCRayHit query{};
    query.ray.org_x = ray.origin.x;
    query.ray.org_y = ray.origin.y;
    query.ray.org_z = ray.origin.z;
    query.ray.dir_x = ray.direction.x;
    query.ray.dir_y = ray.direction.y;
    query.ray.dir_z = ray.direction.z;
    query.ray.tfar = std::numeric_limits<float>::infinity();
    query.ray.mask = ~0U;
    query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    rtcIntersect1(scene_, &context, &query);
    return query.hit.geomID == RTC_INVALID_GEOMETRY_ID ? -1.0 : static_cast<double>(query.ray.tfar);
}

}  // namespace bench
