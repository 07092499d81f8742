#pragma once

#include <Imath/ImathMatrix.h>
#include <Imath/ImathQuat.h>
#include <Imath/ImathVec.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

namespace TessilGraph::internal {

/// Values that are bytes without gaps: they may be copied, moved and compared as such.
template <class T>
inline constexpr bool isPlainValue =
    std::is_arithmetic_v<T> || std::is_pointer_v<T> || std::is_same_v<T, Imath::M44d> ||
    std::is_same_v<T, Imath::V3d> || std::is_same_v<T, Imath::Quatd>;

/// Whether two port values are the same bit for bit, so that whoever reads them cannot tell them apart:
/// NaN is the same as itself, zeros of different signs differ. Curves, meshes and images never are, nor
/// are pointers to them, since what they point to may have changed.
template <class T>
bool haveSameBits(const T& a, const T& b) {
    if constexpr (isPlainValue<T> && !std::is_pointer_v<T>) {
        const void* left = &a;
        const void* right = &b;
        return std::memcmp(left, right, sizeof(T)) == 0;
    } else {
        return false;
    }
}

inline bool haveSameBits(const std::string& a, const std::string& b) {
    return a == b;
}

template <class T>
bool haveSameBits(const std::vector<T>& a, const std::vector<T>& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        const T& left = a[i];
        const T& right = b[i];
        if (!haveSameBits(left, right)) {
            return false;
        }
    }
    return true;
}

}  // namespace TessilGraph::internal
