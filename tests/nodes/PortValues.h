#pragma once

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/Port.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <TessilUtils/Curve.h>
#include <TessilUtils/Mesh.h>

#include <Imath/ImathMatrix.h>
#include <Imath/ImathQuat.h>
#include <Imath/ImathVec.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace tests {

// Ports of the built-in nodes whatever their type.

/// Calls `visitor` with the typed port. The value types are those that built-in nodes have.
template <class Visitor>
void visitPort(TessilGraph::Port& port, const Visitor& visitor) {
    bool visited = false;
    const auto tryAs = [&](auto* null) {
        using T = std::remove_pointer_t<decltype(null)>;
        if (auto* typed = dynamic_cast<TessilGraph::PortTemplate<T>*>(&port)) {
            visitor(*typed);
            visited = true;
        }
    };
    tryAs(static_cast<bool*>(nullptr));
    tryAs(static_cast<TessilGraph::Long*>(nullptr));
    tryAs(static_cast<double*>(nullptr));
    tryAs(static_cast<std::string*>(nullptr));
    tryAs(static_cast<Imath::M44d*>(nullptr));
    tryAs(static_cast<Imath::V3d*>(nullptr));
    tryAs(static_cast<Imath::Quatd*>(nullptr));
    tryAs(static_cast<TessilUtils::Curve**>(nullptr));
    tryAs(static_cast<TessilUtils::Mesh**>(nullptr));
    if (!visited) {
        throw std::logic_error("no built-in node has a " + port.typeStr());
    }
}

/// A value as text in which any two different ones differ, signs of zero and payloads of NaN included.
inline std::string describe(bool value) {
    return value ? "true" : "false";
}
inline std::string describe(TessilGraph::Long value) {
    return std::to_string(value);
}
inline std::string describe(double value) {
    char text[64];
    if (value != value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        std::snprintf(text, sizeof text, "NaN %016llx", static_cast<unsigned long long>(bits));
    } else {
        std::snprintf(text, sizeof text, "%.17g", value);
    }
    return text;
}
inline std::string describe(const std::string& value) {
    return '"' + value + '"';
}
inline std::string describe(const Imath::V3d& value) {
    return "(" + describe(value.x) + ", " + describe(value.y) + ", " + describe(value.z) + ")";
}
inline std::string describe(const Imath::Quatd& value) {
    return "(" + describe(value.r) + ", " + describe(value.v.x) + ", " + describe(value.v.y) + ", " +
           describe(value.v.z) + ")";
}
inline std::string describe(const Imath::M44d& value) {
    std::string text;
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            text += (row + column == 0 ? "(" : ", ") + describe(value[row][column]);
        }
    }
    return text == "(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1" ? "identity" : text + ")";
}
inline std::string describe(const TessilUtils::Curve* value) {
    return value == nullptr ? "null" : "curve";
}
inline std::string describe(const TessilUtils::Mesh* value) {
    return value == nullptr ? "null" : "mesh";
}

/// What a reader of the port sees.
inline std::string describe(TessilGraph::Port& port) {
    std::string text;
    visitPort(port, [&](auto& typed) { text = describe(typed.get()); });
    return text;
}

inline std::vector<TessilGraph::Port*> inputsOf(const TessilGraph::Node& node) {
    return {node.inputPortCBegin(), node.inputPortCEnd()};
}
inline std::vector<TessilGraph::Port*> outputsOf(const TessilGraph::Node& node) {
    return {node.outputPortCBegin(), node.outputPortCEnd()};
}

/// Names of ports with what a reader of them sees.
inline std::string describe(const std::vector<TessilGraph::Port*>& ports) {
    std::string text;
    for (TessilGraph::Port* port : ports) {
        text += " " + port->name() + " " + describe(*port);
    }
    return text;
}

/// A port of the same type.
inline std::unique_ptr<TessilGraph::Port> makeLike(TessilGraph::Port& port, const std::string& name) {
    std::unique_ptr<TessilGraph::Port> made;
    visitPort(port, [&](auto& typed) { made = std::make_unique<std::decay_t<decltype(typed)>>(name); });
    return made;
}

/// A value that is no default of any port, and different for different seeds (bool apart).
inline void makeSample(bool& value, int) {
    value = true;
}
inline void makeSample(TessilGraph::Long& value, int seed) {
    value = 7 + seed;
}
inline void makeSample(double& value, int seed) {
    value = 0.3 + seed;
}
inline void makeSample(std::string& value, int seed) {
    value = "a sample for the heap, number " + std::to_string(seed);
}
inline void makeSample(Imath::V3d& value, int seed) {
    value = {0.1 + seed, -0.2 - seed, 0.7};
}
inline void makeSample(Imath::Quatd& value, int seed) {
    value = {0.5 + seed, 0.1, -0.2, 0.7};
}
inline void makeSample(Imath::M44d& value, int seed) {
    value = Imath::M44d(1.5 + seed, 0.1, -0.2, 0, 0.3, 2.5, 0.4, 0, -0.5, 0.6, 3.5, 0, 7.1, -8.2, 9.3, 1);
}
inline void makeSample(TessilUtils::Curve*& value, int) {
    static TessilUtils::Curve curve({{0, 0, 0}, {1, 2, 0}, {3, 1, 1}, {4, 0, 2}, {6, 1, 0}});
    value = &curve;
}
inline void makeSample(TessilUtils::Mesh*& value, int) {
    static TessilUtils::Mesh mesh({{-9, 3, -9}, {9, 3, -9}, {0, 3, 9}, {0, 8, 0}}, {0, 1, 2, 0, 1, 3});
    value = &mesh;
}

inline void setSample(TessilGraph::Port& port, int seed) {
    visitPort(port, [&](auto& typed) {
        auto value = typed.get();
        makeSample(value, seed);
        typed.set(value);
    });
}

}  // namespace tests
