#pragma once

#include <TessilUtils/Curve.h>
#include <TessilUtils/Image.h>
#include <TessilUtils/Mesh.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
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

/// Floats for geometry: either any bits, or small numbers, which take a byte each and make shapes of one size.
class Coordinates {
public:
    explicit Coordinates(FuzzedDataProvider& data) : data_(data), areSmall_(data.ConsumeBool()) {}

    float next() { return areSmall_ ? static_cast<float>(bitsOf<std::int8_t>(data_)) / 8.0F : bitsOf<float>(data_); }

    Imath::V3f point() {
        const float x = next();
        const float y = next();
        return {x, y, next()};
    }

    std::vector<Imath::V3f> points(std::size_t most) {
        std::vector<Imath::V3f> made(data_.ConsumeIntegralInRange<std::size_t>(0, most));
        std::generate(made.begin(), made.end(), [this] { return point(); });
        return made;
    }

private:
    FuzzedDataProvider& data_;
    const bool areSmall_;
};

/// The same points again and again, each time moved on by `step`, until there are `count` of them.
inline void repeat(std::vector<Imath::V3f>& points, std::size_t count, const Imath::V3f& step) {
    const std::size_t given = points.size();
    while (given > 0 && points.size() < count) {
        points.push_back(points[points.size() - given] + step);
    }
}

/// Few bytes make up to 300 vertices, or degrees up to 40, which take other ways than the usual ones. Both at once
/// would take long.
inline TessilUtils::Curve anyCurve(FuzzedDataProvider& data) {
    Coordinates coordinates(data);
    std::vector<Imath::V3f> cvs = coordinates.points(12);
    const bool isUsual = data.ConsumeIntegralInRange(0, 3) != 0;
    const auto degree = data.ConsumeIntegralInRange<unsigned int>(0, isUsual ? 5 : 40);
    if (data.ConsumeBool()) {
        repeat(cvs, data.ConsumeIntegralInRange<std::size_t>(0, isUsual ? 300 : 50), coordinates.point());
    }
    return TessilUtils::Curve(std::move(cvs), degree);
}

/// Normals in the right number, in any other one, or none.
inline std::vector<Imath::V3f> anyNormals(FuzzedDataProvider& data, Coordinates& coordinates, std::size_t corners) {
    if (data.ConsumeBool()) {
        return {};
    }
    std::vector<Imath::V3f> normals = coordinates.points(6);
    repeat(normals, data.ConsumeIntegralInRange(0, 7) != 0 ? corners : normals.size(), coordinates.point());
    return normals;
}

/// Indices are now and then out of range, and not always three to a triangle. Few bytes make up to 320 triangles.
inline TessilUtils::Mesh anyMesh(FuzzedDataProvider& data) {
    Coordinates coordinates(data);
    std::vector<Imath::V3f> points = coordinates.points(24);
    const bool isSound = !points.empty() && data.ConsumeIntegralInRange(0, 7) != 0;
    std::vector<unsigned int> triangles(data.ConsumeIntegralInRange<std::size_t>(0, 16) * (isSound ? 3 : 1));
    for (unsigned int& index : triangles) {
        index = isSound ? data.ConsumeIntegralInRange(0U, static_cast<unsigned int>(points.size() - 1))
                        : data.ConsumeIntegral<std::uint8_t>();
    }
    if (data.ConsumeBool()) {
        const std::size_t layers = data.ConsumeIntegralInRange<std::size_t>(1, 20);
        const std::size_t indices = triangles.size();
        const auto layer = static_cast<unsigned int>(points.size());
        repeat(points, layers * points.size(), coordinates.point());
        while (triangles.size() < layers * indices) {
            triangles.push_back(triangles[triangles.size() - indices] + layer);
        }
    }
    const std::vector<Imath::V3f> normals = anyNormals(data, coordinates, triangles.size());
    return {points, triangles, normals};
}

inline TessilUtils::Image anyImage(FuzzedDataProvider& data) {
    const auto side = [&data] { return data.ConsumeIntegralInRange<unsigned int>(0, 3); };
    const unsigned int width = side();
    const unsigned int height = side();
    TessilUtils::Image image(width, height, side());
    image.setPixel(side(), side(), side(), bitsOf<float>(data));
    return image;
}

template <class T>
struct IsList : std::false_type {};
template <class T>
struct IsList<std::vector<T>> : std::true_type {};

/// A value for a port of type `T`. Pointers are not made up here.
template <class T>
T anyValue(FuzzedDataProvider& data) {
    if constexpr (std::is_same_v<T, bool>) {
        return data.ConsumeBool();
    } else if constexpr (std::is_same_v<T, std::string>) {
        return data.ConsumeRandomLengthString(64);
    } else if constexpr (std::is_same_v<T, TessilUtils::Curve>) {
        return anyCurve(data);
    } else if constexpr (std::is_same_v<T, TessilUtils::Mesh>) {
        return anyMesh(data);
    } else if constexpr (std::is_same_v<T, TessilUtils::Image>) {
        return anyImage(data);
    } else if constexpr (IsList<T>::value) {
        T values;
        for (auto left = data.ConsumeIntegralInRange(0, 4); left > 0; --left) {
            values.push_back(anyValue<typename T::value_type>(data));
        }
        return values;
    } else {
        return bitsOf<T>(data);
    }
}

}  // namespace fuzz
