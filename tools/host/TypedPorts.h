#pragma once

#include <TessilGraph/graph/PortTemplate.h>

#include <TessilUtils/Curve.h>
#include <TessilUtils/Image.h>
#include <TessilUtils/Mesh.h>

#include <Imath/ImathMatrix.h>
#include <Imath/ImathQuat.h>
#include <Imath/ImathVec.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace TessilHost {

// The typed port behind an untyped one.

using TessilGraph::Long;
using TessilGraph::PortTemplate;
using TessilUtils::Curve;
using TessilUtils::Image;
using TessilUtils::Mesh;

template <class... T>
struct TypeList {};

using PortTypes = TypeList<double, Imath::V3d, Imath::M44d, Long, bool, std::string, Imath::Quatd, Curve, Mesh, Image,
                           Curve*, Mesh*, std::vector<bool>, std::vector<Long>, std::vector<double>,
                           std::vector<std::string>, std::vector<Imath::M44d>, std::vector<Imath::V3d>,
                           std::vector<Imath::Quatd>, std::vector<Curve>, std::vector<Mesh>>;

template <class PortOrConst, class Visit, class... T>
void visitOneOf(PortOrConst& port, const Visit& visit, TypeList<T...>) {
    const std::string type = port.typeStr();
    const auto visitAs = [&](auto* typed) {
        visit(*typed);
        return true;
    };
    const bool visited =
        ((type == PortTemplate<T>::staticTypeStr() &&
          visitAs(
              static_cast<std::conditional_t<std::is_const_v<PortOrConst>, const PortTemplate<T>, PortTemplate<T>>*>(
                  &port))) ||
         ...);
    if (!visited) {
        throw std::logic_error("a port of the unknown type " + type);
    }
}

/// Calls `visit` with `port` as the `PortTemplate` that it is.
template <class PortOrConst, class Visit>
void visitTyped(PortOrConst& port, const Visit& visit) {
    visitOneOf(port, visit, PortTypes{});
}

template <class T>
struct ValueType;
template <class T>
struct ValueType<PortTemplate<T>> {
    using Type = T;
};
/// The value type of the typed port `typed`.
template <class Typed>
using ValueOf = typename ValueType<std::decay_t<Typed>>::Type;

}  // namespace TessilHost
