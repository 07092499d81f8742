#include <tools/host/Errors.h>
#include <tools/host/PortValues.h>

#include <TessilGraph/graph/PortTemplate.h>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace TessilHost {
namespace {

using nlohmann::json;
using TessilGraph::Long;
using TessilGraph::PortTemplate;
using TessilUtils::Curve;
using TessilUtils::Mesh;

Geometry oneOfEach() {
    Geometry geometry;
    geometry.curves.emplace("path", Curve({{0, 0, 0}, {1, 2, 0.5F}}, 1));
    geometry.meshes.emplace("ground", Mesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}));
    return geometry;
}

/// What a port of value type `T` shows as JSON after `value` was set.
template <class T>
std::string shown(const std::string& value) {
    Geometry geometry = oneOfEach();
    PortTemplate<T> port("port");
    setPortValue(port, json::parse(value), geometry);
    return portJson(port);
}

/// Expects that `value` is refused and that the port keeps what it has.
template <class T>
std::string refusal(const std::string& value) {
    Geometry geometry = oneOfEach();
    PortTemplate<T> port("port");
    const std::string before = portJson(port);
    try {
        setPortValue(port, json::parse(value), geometry);
        ADD_FAILURE() << port.typeStr() << " takes " << value;
        return "";
    } catch (const ValueError& error) {
        EXPECT_EQ(portJson(port), before);
        return error.what();
    }
}

TEST(PortValues, TakeEveryTypeFromJsonAndGiveItBack) {
    EXPECT_EQ(shown<bool>("true"), "true");
    EXPECT_EQ(shown<Long>("-2147483648"), "-2147483648");
    EXPECT_EQ(shown<Long>("2147483647"), "2147483647");
    EXPECT_EQ(shown<Long>("-0"), "0");
    EXPECT_EQ(shown<double>("0.1"), "0.1");
    EXPECT_EQ(shown<double>("7"), "7");
    EXPECT_EQ(shown<double>("18446744073709551615"), "18446744073709551616");
    EXPECT_EQ(shown<std::string>(R"("a\"b\u0000ä")"), R"("a\"b\u0000ä")");
    EXPECT_EQ(shown<Imath::V3d>("[1, 2.5, -3]"), "[1, 2.5, -3]");
    EXPECT_EQ(shown<Imath::Quatd>("[1, 2, 3, 4]"), "[1, 2, 3, 4]");
    const std::string matrix = "[[1, 2, 3, 4], [5, 6, 7, 8], [9, 10, 11, 12], [13, 14, 15, 16]]";
    EXPECT_EQ(shown<Imath::M44d>(matrix), matrix);
    EXPECT_EQ(shown<Curve>(R"({"curve": "path"})"), R"({"degree": 1, "cvs": [[0, 0, 0], [1, 2, 0.5]]})");
    EXPECT_EQ(shown<Curve*>(R"({"curve": "path"})"), R"({"degree": 1, "cvs": [[0, 0, 0], [1, 2, 0.5]]})");
    EXPECT_EQ(shown<Mesh>(R"({"mesh": "ground"})"), R"({"points": 3, "triangles": 1})");
    EXPECT_EQ(shown<Mesh*>(R"({"mesh": "ground"})"), R"({"points": 3, "triangles": 1})");
    EXPECT_EQ(shown<std::vector<bool>>("[true, false]"), "[true, false]");
    EXPECT_EQ(shown<std::vector<Long>>("[1, -2]"), "[1, -2]");
    EXPECT_EQ(shown<std::vector<double>>(R"([0.5, "nan", "-inf"])"), R"([0.5, "nan", "-inf"])");
    EXPECT_EQ(shown<std::vector<std::string>>(R"(["a", ""])"), R"(["a", ""])");
    EXPECT_EQ(shown<std::vector<Imath::M44d>>("[" + matrix + "]"), "[" + matrix + "]");
    EXPECT_EQ(shown<std::vector<Imath::V3d>>("[[1, 2, 3], [4, 5, 6]]"), "[[1, 2, 3], [4, 5, 6]]");
    EXPECT_EQ(shown<std::vector<Imath::Quatd>>("[]"), "[]");
    EXPECT_EQ(shown<std::vector<Curve>>(R"([{"curve": "path"}])"),
              R"([{"degree": 1, "cvs": [[0, 0, 0], [1, 2, 0.5]]}])");
    EXPECT_EQ(shown<std::vector<Mesh>>(R"([{"mesh": "ground"}])"), R"([{"points": 3, "triangles": 1}])");
}

TEST(PortValues, ReferToTheGeometryItselfThroughReferencePorts) {
    Geometry geometry = oneOfEach();
    PortTemplate<Curve*> curve("curve");
    PortTemplate<Mesh*> mesh("mesh");
    setPortValue(curve, json::parse(R"({"curve": "path"})"), geometry);
    setPortValue(mesh, json::parse(R"({"mesh": "ground"})"), geometry);
    EXPECT_EQ(curve.get(), &geometry.curves.at("path"));
    EXPECT_EQ(mesh.get(), &geometry.meshes.at("ground"));
}

TEST(PortValues, RefuseValuesOfAnotherTypeAndStayAsTheyWere) {
    for (const char* bad : {"1", "\"true\"", "null", "[]"}) {
        refusal<bool>(bad);
    }
    for (const char* bad : {"1.5", "2147483648", "-2147483649", "18446744073709551615", "1.0", "0.0", "-0.0", "0e1",
                            "1e3", "\"1\"", "true", "[1]"}) {
        refusal<Long>(bad);
    }
    for (const char* bad : {"\"1\"", "\"NaN\"", "true", "null", "[1]", "{}"}) {
        refusal<double>(bad);
    }
    refusal<std::string>("1");
    for (const char* bad : {"[1, 2]", "[1, 2, 3, 4]", "[1, 2, null]", "1", "{}"}) {
        refusal<Imath::V3d>(bad);
    }
    for (const char* bad : {"[1, 2, 3]", "[1, 2, 3, \"x\"]"}) {
        refusal<Imath::Quatd>(bad);
    }
    for (const char* bad : {"[1, 2, 3, 4]", "[[1, 2, 3, 4]]", "[[1,2,3,4],[1,2,3,4],[1,2,3,4],[1,2,3]]"}) {
        refusal<Imath::M44d>(bad);
    }
    for (const char* bad : {"\"path\"", R"({"curve": "way"})", R"({"mesh": "ground"})", R"({"curve": 1})", "{}",
                            R"({"curve": "path", "degree": 2})"}) {
        refusal<Curve>(bad);
        refusal<Curve*>(bad);
    }
    for (const char* bad : {R"({"mesh": "path"})", "null"}) {
        refusal<Mesh>(bad);
        refusal<Mesh*>(bad);
    }
    refusal<TessilUtils::Image>("[]");
    refusal<std::vector<bool>>("[true, 1]");
    refusal<std::vector<Long>>("[1, 2.5]");
    refusal<std::vector<double>>("1");
    refusal<std::vector<Mesh>>(R"({"mesh": "ground"})");
}

TEST(PortValues, SayWhatWasWantedAndWhere) {
    EXPECT_EQ(refusal<double>(R"("x")"), R"(wants a number, not the string "x")");
    EXPECT_EQ(refusal<std::vector<Imath::V3d>>("[[1, 2, 3], [4, true, 6]]"),
              "element 1 element 1 wants a number, not true");
    EXPECT_EQ(refusal<Curve>(R"({"curve": "way"})"), R"(names the curve "way", which the file does not have)");
}

TEST(PortValues, KeepTheSignOfZero) {
    Geometry geometry;
    PortTemplate<double> port("port");
    setPortValueFromText(port, "-0", geometry);
    EXPECT_TRUE(std::signbit(port.get()));
    EXPECT_EQ(portJson(port), "-0.0");
    EXPECT_EQ(portParts(port), std::vector<std::string>{"-0"});
    EXPECT_EQ(shown<Imath::V3d>("[-0, -0.0, 0]"), "[-0.0, -0.0, 0]");
}

TEST(PortValues, WriteCoordinatesInSinglePrecisionLikeOtherNumbers) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    PortTemplate<Curve> port("port");
    port.set(Curve({{-0.0F, 0.1F, -infinity}, {std::numeric_limits<float>::quiet_NaN(), infinity, 2}}, 1));
    EXPECT_EQ(portJson(port), R"({"degree": 1, "cvs": [[-0.0, 0.1, "-inf"], ["nan", "inf", 2]]})");
    EXPECT_EQ(portText(port), R"({"degree": 1, "cvs": [[-0, 0.1000000015, -inf], [nan, inf, 2]]})");
}

TEST(PortValues, TakeStringsAndNumbersFromArgumentsAsTheyStand) {
    Geometry geometry = oneOfEach();
    PortTemplate<std::string> text("text");
    for (const char* value : {"", "a=b", "\"quoted\"", "[1]", " ä "}) {
        setPortValueFromText(text, value, geometry);
        EXPECT_EQ(text.get(), value);
    }
    EXPECT_THROW(setPortValueFromText(text, "\xff", geometry), ValueError);

    PortTemplate<double> number("number");
    setPortValueFromText(number, "-inf", geometry);
    EXPECT_EQ(number.get(), -std::numeric_limits<double>::infinity());
    EXPECT_THROW(setPortValueFromText(number, "", geometry), ValueError);
    EXPECT_THROW(setPortValueFromText(number, "1 2", geometry), ValueError);

    PortTemplate<Imath::V3d> vector("vector");
    setPortValueFromText(vector, "[1, -0, 3]", geometry);
    EXPECT_EQ(portJson(vector), "[1, -0.0, 3]");
    EXPECT_THROW(setPortValueFromText(vector, "[1, 2", geometry), ValueError);
    EXPECT_THROW(setPortValueFromText(vector, std::string("[1, 2, 3]\0]", 11), geometry), ValueError);

    PortTemplate<Mesh*> mesh("mesh");
    setPortValueFromText(mesh, R"({"mesh": "ground"})", geometry);
    EXPECT_EQ(mesh.get(), &geometry.meshes.at("ground"));
}

TEST(PortValues, SplitFixedTypesForSpreadsheets) {
    PortTemplate<Imath::V3d> vector("vector");
    vector.set({0.1, 2, 3});
    EXPECT_EQ(portPartNames(vector), (std::vector<std::string>{".x", ".y", ".z"}));
    EXPECT_EQ(portParts(vector), (std::vector<std::string>{"0.1", "2", "3"}));
    PortTemplate<Imath::Quatd> quaternion("quaternion");
    EXPECT_EQ(portPartNames(quaternion), (std::vector<std::string>{".r", ".x", ".y", ".z"}));
    EXPECT_EQ(portParts(quaternion), (std::vector<std::string>{"1", "0", "0", "0"}));
    PortTemplate<Imath::M44d> matrix("matrix");
    EXPECT_EQ(portPartNames(matrix).size(), 16U);
    EXPECT_EQ(portPartNames(matrix)[7], ".m13");
    EXPECT_EQ(portParts(matrix).size(), 16U);
    EXPECT_EQ(portParts(matrix)[5], "1");
    PortTemplate<std::vector<double>> array("array");
    array.set({0.1, 2});
    EXPECT_EQ(portPartNames(array), std::vector<std::string>{""});
    EXPECT_EQ(portParts(array), std::vector<std::string>{"[0.1, 2]"});
}

TEST(PortValues, ShortenNumbersForPeople) {
    PortTemplate<Imath::V3d> vector("vector");
    vector.set({0.1 + 0.2, std::numeric_limits<double>::quiet_NaN(), 1.0 / 3.0});
    EXPECT_EQ(portText(vector), "[0.3, nan, 0.3333333333]");
    PortTemplate<std::string> text("text");
    text.set("two\nlines");
    EXPECT_EQ(portText(text), "two\\nlines");
    PortTemplate<Curve*> curve("curve");
    EXPECT_EQ(portText(curve), "null");
    PortTemplate<TessilUtils::Image> image("image");
    image.set(TessilUtils::Image(4, 3, 2));
    EXPECT_EQ(portText(image), R"({"width": 4, "height": 3, "channels": 2})");
}

}  // namespace
}  // namespace TessilHost
