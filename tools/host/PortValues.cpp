#include <tools/host/PortValues.h>

#include <tools/host/Errors.h>
#include <tools/host/JsonReader.h>
#include <tools/host/Numbers.h>
#include <tools/host/Text.h>
#include <tools/host/TypedPorts.h>

#include <TessilGraph/graph/PortTemplate.h>

#include <TessilUtils/Image.h>

#include <Imath/ImathMatrix.h>
#include <Imath/ImathQuat.h>
#include <Imath/ImathVec.h>

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

namespace TessilHost {

namespace {

using nlohmann::json;
using TessilGraph::Port;

// --- From JSON ----------------------------------------------------------------------------------

/// What `value` is, for a message.
std::string describe(const json& value) {
    if (value.is_string()) {
        return "the string " + inQuotes(value.get_ref<const std::string&>());
    }
    if (value.is_object()) {
        return "an object";
    }
    if (value.is_array()) {
        return "an array of " + std::to_string(value.size());
    }
    return value.dump();
}

[[noreturn]] void refuse(const std::string& wanted, const json& value) {
    throw ValueError("wants " + wanted + ", not " + describe(value));
}

/// Reads values of every type. An overload a type; all throw `ValueError`.
class ValueReader {
public:
    explicit ValueReader(Geometry& geometry) : geometry_(geometry) {}

    void read(const json& value, bool& result) const {
        if (!value.is_boolean()) {
            refuse("true or false", value);
        }
        result = value.get<bool>();
    }

    void read(const json& value, Long& result) const {
        constexpr const char* wanted = "an integer between -2147483648 and 2147483647";
        if (value.is_number_unsigned()) {
            if (value.get<std::uint64_t>() > std::uint64_t{std::numeric_limits<Long>::max()}) {
                refuse(wanted, value);
            }
            result = value.get<Long>();
        } else {
            if (!value.is_number_integer() || value.get<std::int64_t>() < std::numeric_limits<Long>::min()) {
                refuse(wanted, value);
            }
            result = value.get<Long>();
        }
    }

    void read(const json& value, double& result) const {
        constexpr const char* wanted = "a number";
        if (value.is_number()) {
            result = numberOf(value);
        } else if (value == "nan" || value == "inf" || value == "-inf") {
            result = *parseNumber(value.get_ref<const std::string&>());
        } else {
            refuse(wanted, value);
        }
    }

    void read(const json& value, std::string& result) const {
        if (!value.is_string()) {
            refuse("a string", value);
        }
        result = value.get<std::string>();
    }

    void read(const json& value, Imath::V3d& result) const {
        requireSize(value, 3, "a vector [x, y, z]");
        for (unsigned int i = 0; i < 3; ++i) {
            readElement(value, i, result[static_cast<int>(i)]);
        }
    }

    void read(const json& value, Imath::Quatd& result) const {
        requireSize(value, 4, "a quaternion [r, x, y, z]");
        readElement(value, 0, result.r);
        for (unsigned int i = 0; i < 3; ++i) {
            readElement(value, i + 1, result.v[static_cast<int>(i)]);
        }
    }

    void read(const json& value, Imath::M44d& result) const {
        requireSize(value, 4, "a matrix of four rows");
        for (unsigned int row = 0; row < 4; ++row) {
            elementOf(row, [&] {
                requireSize(value[row], 4, "a row of four numbers");
                for (unsigned int column = 0; column < 4; ++column) {
                    readElement(value[row], column, result.x[row][column]);
                }
            });
        }
    }

    void read(const json& value, Curve*& result) const { result = &find(value, "curve", geometry_.curves); }
    void read(const json& value, Mesh*& result) const { result = &find(value, "mesh", geometry_.meshes); }
    void read(const json& value, Curve& result) const { result = find(value, "curve", geometry_.curves); }
    void read(const json& value, Mesh& result) const { result = find(value, "mesh", geometry_.meshes); }

    void read(const json&, Image&) const { throw ValueError("an image cannot be set from a file"); }

    template <class T>
    void read(const json& value, std::vector<T>& result) const {
        if (!value.is_array()) {
            refuse("an array", value);
        }
        std::vector<T> elements;
        elements.reserve(value.size());
        for (std::size_t i = 0; i < value.size(); ++i) {
            T element{};
            readElement(value, i, element);
            elements.push_back(std::move(element));
        }
        result = std::move(elements);
    }

private:
    template <class Read>
    static void elementOf(std::size_t index, const Read& read) {
        try {
            read();
        } catch (const ValueError& error) {
            throw ValueError("element " + std::to_string(index) + " " + error.what());
        }
    }

    template <class T>
    void readElement(const json& array, std::size_t index, T& result) const {
        elementOf(index, [&] { read(array[index], result); });
    }

    static void requireSize(const json& value, std::size_t size, const char* wanted) {
        if (!value.is_array() || value.size() != size) {
            refuse(wanted, value);
        }
    }

    /// The curve or mesh that {"curve": "name"} or {"mesh": "name"} names.
    template <class Object>
    static Object& find(const json& value, const char* kind, std::map<std::string, Object>& objects) {
        if (!value.is_object() || value.size() != 1 || !value.contains(kind) || !value[kind].is_string()) {
            refuse(std::string("{\"") + kind + "\": \"NAME\"}", value);
        }
        const auto& name = value[kind].get_ref<const std::string&>();
        const auto found = objects.find(name);
        if (found == objects.end()) {
            throw ValueError("names the " + std::string(kind) + " " + inQuotes(name) +
                             ", which the file does not have");
        }
        return found->second;
    }

    Geometry& geometry_;
};

// --- To text ------------------------------------------------------------------------------------

/// How numbers are written: so that they read back exactly, or for people.
enum class Digits { Exact, Readable };

class ValueWriter {
public:
    explicit ValueWriter(Digits digits) : digits_(digits) {}

    std::string takeText() { return std::move(text_); }

    void write(bool value) { text_ += value ? "true" : "false"; }
    void write(Long value) { text_ += std::to_string(value); }
    void write(double value) { writeNumber(value); }
    void write(float value) { writeNumber(value); }
    void write(const std::string& value) {
        constexpr int noIndent = -1;
        constexpr bool onlyAscii = false;
        text_ += json(value).dump(noIndent, ' ', onlyAscii, json::error_handler_t::replace);
    }
    void write(const Imath::V3d& value) { writeArray(value.x, value.y, value.z); }
    void write(const Imath::V3f& value) { writeArray(value.x, value.y, value.z); }
    void write(const Imath::Quatd& value) { writeArray(value.r, value.v.x, value.v.y, value.v.z); }
    void write(const Imath::M44d& value) {
        const auto row = [&](int i) { writeArray(value.x[i][0], value.x[i][1], value.x[i][2], value.x[i][3]); };
        text_ += '[';
        for (int i = 0; i < 4; ++i) {
            text_ += i == 0 ? "" : separator();
            row(i);
        }
        text_ += ']';
    }
    void write(const Curve& value) {
        text_ += R"({"degree": )" + std::to_string(value.degree()) + R"(, "cvs": )";
        write(value.cvs());
        text_ += '}';
    }
    void write(const Mesh& value) {
        constexpr std::size_t corners = 3;
        text_ += R"({"points": )" + std::to_string(value.points().size()) + R"(, "triangles": )" +
                 std::to_string(value.triangles().size() / corners) + '}';
    }
    void write(const Image& value) {
        text_ += R"({"width": )" + std::to_string(value.width()) + R"(, "height": )" + std::to_string(value.height()) +
                 R"(, "channels": )" + std::to_string(value.channels()) + '}';
    }
    template <class T>
    void write(T* value) {
        if (value == nullptr) {
            text_ += "null";
        } else {
            write(std::as_const(*value));
        }
    }
    template <class T>
    void write(const std::vector<T>& values) {
        text_ += '[';
        for (std::size_t i = 0; i < values.size(); ++i) {
            text_ += i == 0 ? "" : separator();
            if constexpr (std::is_same_v<T, bool>) {
                const bool element = values[i];
                write(element);
            } else {
                write(values[i]);
            }
        }
        text_ += ']';
    }

private:
    static const char* separator() { return ", "; }

    template <class Real>
    void writeNumber(Real value) {
        if (digits_ == Digits::Readable) {
            text_ += readableText(value);
        } else if (!std::isfinite(value)) {
            text_ += '"' + exactText(value) + '"';  // JSON has no word for it
        } else {
            // An integer to JSON readers, to whom "-0" would be a plain 0.
            const std::string digits = exactText(value);
            text_ += digits == "-0" ? "-0.0" : digits;
        }
    }

    template <class First, class... Rest>
    void writeArray(const First& first, const Rest&... rest) {
        text_ += '[';
        write(first);
        ((text_ += separator(), write(rest)), ...);
        text_ += ']';
    }

    Digits digits_;
    std::string text_;
};

template <class T>
std::string valueText(const T& value, Digits digits) {
    ValueWriter writer(digits);
    writer.write(value);
    return writer.takeText();
}

}  // namespace

void setPortValue(Port& port, const json& value, Geometry& geometry) {
    visitTyped(port, [&](auto& typed) {
        ValueOf<decltype(typed)> read{};
        ValueReader(geometry).read(value, read);
        typed.set(read);
    });
}

void setPortValueFromText(Port& port, const std::string& text, Geometry& geometry) {
    visitTyped(port, [&](auto& typed) {
        using T = ValueOf<decltype(typed)>;
        T read{};
        if constexpr (std::is_same_v<T, std::string>) {
            if (!isUtf8(text)) {
                throw ValueError("wants well-formed UTF-8, not " + inQuotes(text));
            }
            read = text;
        } else if constexpr (std::is_same_v<T, double>) {
            const auto number = parseNumber(text);
            if (!number) {
                throw ValueError("wants a number, not " + inQuotes(text));
            }
            read = *number;
        } else {
            ValueReader(geometry).read(parseJsonArgument(text), read);
        }
        typed.set(read);
    });
}

bool isIntegerPort(const Port& port) {
    return port.typeStr() == PortTemplate<Long>::staticTypeStr();
}

bool isNumberPort(const Port& port) {
    return isIntegerPort(port) || port.typeStr() == PortTemplate<double>::staticTypeStr();
}

void setPortNumber(Port& port, double number) {
    if (isIntegerPort(port)) {
        static_cast<PortTemplate<Long>&>(port).set(static_cast<Long>(number));
    } else {
        static_cast<PortTemplate<double>&>(port).set(number);
    }
}

std::string portJson(Port& port) {
    std::string text;
    visitTyped(port, [&](const auto& typed) { text = valueText(typed.getRef(), Digits::Exact); });
    return text;
}

std::string portText(Port& port) {
    std::string text;
    visitTyped(port, [&](const auto& typed) {
        if constexpr (std::is_same_v<ValueOf<decltype(typed)>, std::string>) {
            text = oneLine(typed.getRef(), std::numeric_limits<std::size_t>::max());
        } else {
            text = valueText(typed.getRef(), Digits::Readable);
        }
    });
    return text;
}

std::vector<std::string> portPartNames(const Port& port) {
    std::vector<std::string> names = {""};
    visitTyped(port, [&](const auto& typed) {
        using T = ValueOf<decltype(typed)>;
        if constexpr (std::is_same_v<T, Imath::V3d>) {
            names = {".x", ".y", ".z"};
        } else if constexpr (std::is_same_v<T, Imath::Quatd>) {
            names = {".r", ".x", ".y", ".z"};
        } else if constexpr (std::is_same_v<T, Imath::M44d>) {
            names = {".m00", ".m01", ".m02", ".m03", ".m10", ".m11", ".m12", ".m13",
                     ".m20", ".m21", ".m22", ".m23", ".m30", ".m31", ".m32", ".m33"};
        }
    });
    return names;
}

std::vector<std::string> portParts(Port& port) {
    std::vector<std::string> parts;
    const auto add = [&](double number) { parts.push_back(exactText(number)); };
    visitTyped(port, [&](const auto& typed) {
        using T = ValueOf<decltype(typed)>;
        const T& value = typed.getRef();
        if constexpr (std::is_same_v<T, double>) {
            add(value);
        } else if constexpr (std::is_same_v<T, Imath::V3d>) {
            parts = {exactText(value.x), exactText(value.y), exactText(value.z)};
        } else if constexpr (std::is_same_v<T, Imath::Quatd>) {
            parts = {exactText(value.r), exactText(value.v.x), exactText(value.v.y), exactText(value.v.z)};
        } else if constexpr (std::is_same_v<T, Imath::M44d>) {
            for (const auto& row : value.x) {
                for (const double number : row) {
                    add(number);
                }
            }
        } else if constexpr (std::is_same_v<T, std::string>) {
            parts.push_back(value);
        } else {
            parts.push_back(valueText(value, Digits::Exact));
        }
    });
    return parts;
}

}  // namespace TessilHost
