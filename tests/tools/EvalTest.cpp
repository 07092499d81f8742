#include "Process.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

namespace TessilTest {
namespace {

using nlohmann::json;

/// Three doubles: (2 + 3) * 4 in "product", and its root.
const std::string arithmetic = R"({
  "description": "a test",
  "nodes": [
    {"name": "product", "type": "MultiplyDouble", "values": {"in2": 4}},
    {"name": "sum", "type": "AddDouble", "values": {"in1": 2, "in2": 3}},
    {"name": "root", "type": "SqrtDouble"}
  ],
  "connections": [["sum.out", "product.in1"], ["product.out", "root.in"]]
})";

/// What `eval` writes for the network with the text `network`. Fails the test when it complains.
std::string eval(const std::string& network, std::vector<std::string> arguments) {
    const Scratch scratch;
    arguments.insert(arguments.begin(), {"eval", scratch.write("net.json", network)});
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
}

std::string node(const std::string& name, const std::string& type, const std::string& values = "{}") {
    return R"({"name": ")" + name + R"(", "type": ")" + type + R"(", "values": )" + values + "}";
}

TEST(Eval, WritesARowWithTheValuesAskedFor) {
    EXPECT_EQ(eval(arithmetic, {"--get", "product.out", "root.out"}),
              "product.out     root.out\n"
              "         20  4.472135955\n");
    EXPECT_EQ(eval(arithmetic, {"--get", "product.out", "--get", "root.out", "--format", "csv"}),
              "product.out,root.out\n20,4.47213595499958\n");
    EXPECT_EQ(eval(arithmetic, {"--get", "product.out", "root.out", "--format", "json"}),
              "[\n  {\"product.out\": 20, \"root.out\": 4.47213595499958}\n]\n");
}

TEST(Eval, ReadsInputsAsTheNodeSeesThem) {
    EXPECT_EQ(eval(arithmetic, {"--format", "csv", "--get", "product.in1", "product.in2"}),
              "product.in1,product.in2\n5,4\n");
}

TEST(Eval, SetsPortsBeforeTheEvaluation) {
    EXPECT_EQ(eval(arithmetic, {"--format", "csv", "--get", "product.out", "--set", "sum.in1=-7.5", "product.in2=1e1"}),
              "product.out\n-45\n");
}

TEST(Eval, WritesARowForEachFrame) {
    const std::vector<std::string> words = {"--get", "product.out", "sum.in1", "--frames",
                                            "1:3",   "--drive",     "sum.in1", "--format"};
    const auto with = [&](const std::string& format) {
        std::vector<std::string> all = words;
        all.push_back(format);
        return eval(arithmetic, all);
    };
    EXPECT_EQ(with("csv"), "frame,product.out,sum.in1\n1,16,1\n2,20,2\n3,24,3\n");
    EXPECT_EQ(with("table"),
              "frame  product.out  sum.in1\n"
              "    1           16        1\n"
              "    2           20        2\n"
              "    3           24        3\n");
    EXPECT_EQ(with("json"),
              "[\n"
              "  {\"frame\": 1, \"product.out\": 16, \"sum.in1\": 1},\n"
              "  {\"frame\": 2, \"product.out\": 20, \"sum.in1\": 2},\n"
              "  {\"frame\": 3, \"product.out\": 24, \"sum.in1\": 3}\n"
              "]\n");
}

TEST(Eval, TakesNegativeFractionalAndBackwardFrames) {
    EXPECT_EQ(
        eval(arithmetic, {"--get", "product.out", "--frames", "-1:1:0.5", "--drive", "sum.in1", "--format", "csv"}),
        "frame,product.out\n-1,8\n-0.5,10\n0,12\n0.5,14\n1,16\n");
    EXPECT_EQ(eval(arithmetic, {"--get", "product.out", "--frames=1:-1:-1", "--drive", "sum.in1", "--format", "csv"}),
              "frame,product.out\n1,16\n0,12\n-1,8\n");
}

TEST(Eval, DrivesIntegerPortsWithWholeFrames) {
    EXPECT_EQ(eval("{\"nodes\": [" + node("sum", "AddLong", R"({"in2": 2147483647})") + "]}",
                   {"--get", "sum.out", "--frames", "0:2", "--drive", "sum.in1", "--format", "csv"}),
              "frame,sum.out\n0,2147483647\n1,-2147483648\n2,-2147483647\n");
}

TEST(Eval, GivesTheSameWhicheverWayItComputes) {
    const std::vector<std::string> words = {"--get", "root.out", "product.out", "sum.out", "--format",
                                            "csv",   "--frames", "0:20:0.1",    "--drive", "sum.in2"};
    const std::string plain = eval(arithmetic, words);
    EXPECT_EQ(std::count(plain.begin(), plain.end(), '\n'), 202);
    for (const std::vector<std::string>& ways :
         std::vector<std::vector<std::string>>{{"--parallel"}, {"--cache"}, {"--parallel", "--cache"}}) {
        std::vector<std::string> all = words;
        all.insert(all.end(), ways.begin(), ways.end());
        EXPECT_EQ(eval(arithmetic, all), plain) << ways[0];
    }
}

TEST(Eval, WritesNumbersThatReadBackExactly) {
    const std::string network = "{\"nodes\": [" + node("third", "DivideDouble", R"({"in1": 1, "in2": 3})") + "," +
                                node("tiny", "AddDouble", R"({"in1": 5e-324})") + "," +
                                node("huge", "AddDouble", R"({"in1": 1.7976931348623157e308})") + "," +
                                node("zero", "MultiplyDouble", R"({"in1": -0.0, "in2": 1})") + "]}";
    const json rows =
        json::parse(eval(network, {"--format", "json", "--get", "third.out", "tiny.out", "huge.out", "zero.out"}));
    EXPECT_EQ(rows[0]["third.out"].get<double>(), 1.0 / 3.0);
    EXPECT_EQ(rows[0]["tiny.out"].get<double>(), 5e-324);
    EXPECT_EQ(rows[0]["huge.out"].get<double>(), 1.7976931348623157e308);
    EXPECT_TRUE(std::signbit(rows[0]["zero.out"].get<double>()));
}

TEST(Eval, WritesNanAndInfinitiesAsStringsInJson) {
    const std::string network = "{\"nodes\": [" + node("nan", "DivideDouble") + "," +
                                node("inf", "DivideDouble", R"({"in1": -1})") + "," +
                                node("in", "AddDouble", R"({"in1": "inf"})") + "]}";
    const std::vector<std::string> gets = {"--get", "nan.out", "inf.out", "in.out", "--format"};
    const auto with = [&](const std::string& format) {
        std::vector<std::string> all = gets;
        all.push_back(format);
        return eval(network, all);
    };
    EXPECT_EQ(with("json"), "[\n  {\"nan.out\": \"nan\", \"inf.out\": \"-inf\", \"in.out\": \"inf\"}\n]\n");
    EXPECT_EQ(with("csv"), "nan.out,inf.out,in.out\nnan,-inf,inf\n");
    EXPECT_EQ(with("table"), "nan.out  inf.out  in.out\n    nan     -inf     inf\n");
}

TEST(Eval, QuotesStringsSoThatRowsStayRows) {
    const std::string network =
        "{\"nodes\": [" + node("text", "AddString", R"({"in1": "a,\"b\"\n", "in2": "ä\u0001"})") + "]}";
    EXPECT_EQ(eval(network, {"--get", "text.out", "--format", "csv"}), "text.out\n\"a,\"\"b\"\"\nä\x01\"\n");
    EXPECT_EQ(eval(network, {"--get", "text.out"}), "text.out\na,\"b\"\\nä\\x01\n");
    const json rows = json::parse(eval(network, {"--get", "text.out", "--format", "json"}));
    EXPECT_EQ(rows[0]["text.out"], "a,\"b\"\nä\x01");
}

TEST(Eval, GivesVectorsColumnsOfTheirOwnInCsv) {
    const std::string network =
        "{\"nodes\": [" + node("sum", "AddVector", R"({"in1": [1, 2, 3], "in2": [0.5, 0, 0]})") + "]}";
    EXPECT_EQ(eval(network, {"--get", "sum.out", "--format", "csv"}), "sum.out.x,sum.out.y,sum.out.z\n1.5,2,3\n");
    EXPECT_EQ(eval(network, {"--get", "sum.out", "--format", "json"}), "[\n  {\"sum.out\": [1.5, 2, 3]}\n]\n");
    EXPECT_EQ(eval(network, {"--get", "sum.out"}), "sum.out\n[1.5, 2, 3]\n");
    EXPECT_EQ(eval(network, {"--get", "sum.out", "--set", "sum.in1=[0,0,7]", "--format", "csv"}),
              "sum.out.x,sum.out.y,sum.out.z\n0.5,0,7\n");
}

TEST(Eval, SetsCurvesAndMeshesOnReferenceAndValuePorts) {
    const Scratch scratch;
    scratch.write("ground.obj", "v 0 0 0\nv 10 0 0\nv 10 0 10\nv 0 0 10\nf 4 3 2 1\n");
    const std::string network = scratch.write("net.json", R"({
      "curves": {"path": {"degree": 1, "cvs": [[0, 0, 0], [10, 0, 0]]}},
      "meshes": {"ground": {"file": "ground.obj"}},
      "nodes": [{"name": "near", "type": "ClosetPointOnCurve", "values": {"inCurve": {"curve": "path"}}},
                {"name": "cast", "type": "MeshRayCast", "values": {"inMesh": {"mesh": "ground"}}}]})");
    const Outcome outcome = run({"eval", network, "--get", "near.inCurve", "cast.inMesh", "--format", "json"});
    EXPECT_EQ(outcome.err, "");
    ASSERT_EQ(outcome.status, 0);
    const json rows = json::parse(outcome.out);
    EXPECT_EQ(rows[0]["near.inCurve"]["cvs"].size(), 2U);
    EXPECT_EQ(rows[0]["cast.inMesh"]["triangles"], 2);
}

TEST(Eval, TakesTheLargestCoordinatesAsItPrintsThem) {
    const auto network = [](const std::string& cvs) {
        return R"({"curves": {"path": {"degree": 1, "cvs": )" + cvs + R"(}}, "nodes": [)" +
               node("near", "ClosetPointOnCurve", R"({"inCurve": {"curve": "path"}})") + "]}";
    };
    const auto cvsOf = [&](const std::string& cvs) {
        const json rows = json::parse(eval(network(cvs), {"--get", "near.inCurve", "--format", "json"}));
        return rows[0]["near.inCurve"]["cvs"].dump();
    };
    const std::string printed = cvsOf("[[3.4028234663852886e38, -3.4028234663852886e38, 0]]");
    EXPECT_EQ(printed, "[[3.4028235e+38,-3.4028235e+38,0]]");
    EXPECT_EQ(cvsOf(printed), printed);
    EXPECT_EQ(cvsOf("[[-0, -0.0, 0]]"), "[[-0.0,-0.0,0]]");
}

TEST(Eval, TakesNamesOfAnyLength) {
    const std::string longName(100'000, 'n');
    EXPECT_EQ(eval("{\"nodes\": [" + node(longName, "AddDouble", R"({"in1": 1})") + "]}",
                   {"--get", longName + ".out", "--format", "csv"}),
              longName + ".out\n1\n");
}

TEST(Eval, BuildsLongChainsWrittenBackToFront) {
    constexpr int length = 20'000;
    std::ostringstream network;
    network << "{\"nodes\": [";
    for (int i = 0; i < length; ++i) {
        network << (i == 0 ? "" : ",") << node("n" + std::to_string(i), "AddLong", R"({"in2": 1})");
    }
    network << "], \"connections\": [";
    for (int i = length - 1; i > 0; --i) {
        network << "[\"n" << i - 1 << ".out\", \"n" << i << ".in1\"]" << (i == 1 ? "" : ",");
    }
    network << "]}";
    EXPECT_EQ(eval(network.str(), {"--get", "n19999.out", "--format", "csv"}), "n19999.out\n20000\n");
}

TEST(Eval, ComputesTheExamples) {
    const std::string folder = std::string(TESSIL_SOURCE_FOLDER) + "/examples/";
    const Outcome distance = run({"eval", folder + "great-circle.json", "--get", "LHR-SYD_km.out", "--format", "json"});
    ASSERT_EQ(distance.status, 0) << distance.err;
    EXPECT_NEAR(json::parse(distance.out)[0]["LHR-SYD_km.out"].get<double>(), 17015.6, 17015.6 * 0.0056);

    const Outcome sun =
        run({"eval", folder + "sun-of-the-year.json", "--get", "declination_degrees.out", "day-length_hours.out",
             "--frames", "172:355:183", "--drive", "days.in1", "--format", "json"});
    ASSERT_EQ(sun.status, 0) << sun.err;
    const json rows = json::parse(sun.out);
    EXPECT_NEAR(rows[0]["declination_degrees.out"].get<double>(), 23.44, 0.01);
    EXPECT_NEAR(rows[1]["declination_degrees.out"].get<double>(), -23.44, 0.01);
    EXPECT_NEAR(rows[0]["day-length_hours.out"].get<double>(), 16 + 38 / 60.0, 2 / 60.0);
    EXPECT_NEAR(rows[1]["day-length_hours.out"].get<double>(), 7 + 50 / 60.0, 2 / 60.0);
}

TEST(Eval, TakesTheNetworkThatItsManualShows) {
    const std::string manual = readFile(std::string(TESSIL_SOURCE_FOLDER) + "/docs/network-file.md");
    const std::string fence = "```json\n";
    const std::size_t begin = manual.find(fence);
    ASSERT_NE(begin, std::string::npos);
    const std::size_t end = manual.find("```", begin + fence.size());
    const Scratch scratch;
    scratch.write("terrain.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    const std::string network =
        scratch.write("net.json", manual.substr(begin + fence.size(), end - begin - fence.size()));
    const Outcome outcome = run({"eval", network, "--get", "root.out", "--format", "csv"});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, "root.out\n6.48074069840786\n");
}

}  // namespace
}  // namespace TessilTest
