#pragma once

#include <TessilUtils/Curve.h>
#include <TessilUtils/Mesh.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace fuzz {

/// A value of any bits at all.
template <class T>
T bitsOf(FuzzedDataProvider& data) {
    T value{};
    data.ConsumeData(&value, sizeof value);
    return value;
}

inline Imath::V3f anyPoint(FuzzedDataProvider& data) {
    return {bitsOf<float>(data), bitsOf<float>(data), bitsOf<float>(data)};
}

inline std::vector<Imath::V3f> anyPoints(FuzzedDataProvider& data, std::size_t most) {
    std::vector<Imath::V3f> points(data.ConsumeIntegralInRange<std::size_t>(0, most));
    for (Imath::V3f& point : points) {
        point = anyPoint(data);
    }
    return points;
}

inline TessilUtils::Curve anyCurve(FuzzedDataProvider& data) {
    std::vector<Imath::V3f> cvs = anyPoints(data, 12);
    return TessilUtils::Curve(std::move(cvs), data.ConsumeIntegral<std::uint8_t>());
}

/// Indices are now and then out of range, and not always three to a triangle.
inline TessilUtils::Mesh anyMesh(FuzzedDataProvider& data) {
    const std::vector<Imath::V3f> points = anyPoints(data, 24);
    const bool isSound = !points.empty() && data.ConsumeIntegralInRange(0, 7) != 0;
    std::vector<unsigned int> triangles(data.ConsumeIntegralInRange<std::size_t>(0, 16) * (isSound ? 3 : 1));
    for (unsigned int& index : triangles) {
        index = isSound ? data.ConsumeIntegralInRange(0U, static_cast<unsigned int>(points.size() - 1))
                        : data.ConsumeIntegral<std::uint8_t>();
    }
    std::vector<Imath::V3f> normals;
    if (data.ConsumeBool()) {
        normals.resize(triangles.size());
        for (Imath::V3f& normal : normals) {
            normal = anyPoint(data);
        }
    }
    return {points, triangles, normals};
}

}  // namespace fuzz
