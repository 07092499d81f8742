#include "Process.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace TessilTest {
namespace {

/// What is said about "net.json", less its folder. Expects status 2, one line, and no output.
std::string complaint(const Outcome& outcome, const std::string& shown) {
    EXPECT_EQ(outcome.status, 2) << shown;
    EXPECT_EQ(outcome.out, "") << shown;
    EXPECT_EQ(outcome.err.find("tessilgraph: "), 0U) << outcome.err;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
    EXPECT_LT(outcome.err.size(), 3000U);
    const std::string program = "tessilgraph: ";
    const std::size_t file = outcome.err.find("net.json");
    const std::size_t begin = file == std::string::npos ? program.size() : file;
    return begin < outcome.err.size() ? outcome.err.substr(begin, outcome.err.size() - 1 - begin) : "";
}

std::string complaintAbout(const std::string& network) {
    const Scratch scratch;
    return complaint(run({"eval", scratch.write("net.json", network), "--get", "a.out"}), network.substr(0, 300));
}

/// What is said about arguments for a sound network of two nodes, "a" feeding "b".
std::string complaintAboutArguments(std::vector<std::string> arguments) {
    const Scratch scratch;
    const std::string network = scratch.write("net.json", R"({"nodes": [{"name": "a", "type": "AddDouble"},
        {"name": "b", "type": "AddDouble"}, {"name": "i", "type": "AddLong"}, {"name": "s", "type": "AddString"}],
        "connections": [["a.out", "b.in1"]]})");
    arguments.insert(arguments.begin(), {"eval", network});
    std::string shown;
    for (const std::string& word : arguments) {
        shown += word.substr(0, 100) + " ";
    }
    return complaint(run(arguments), shown);
}

/// A network of the node "a" with these values, and what else stands in the file.
std::string withValues(const std::string& type, const std::string& values) {
    return R"({"nodes": [{"name": "a", "type": ")" + type + R"(", "values": )" + values + "}]}";
}

void expectStart(const std::string& text, const std::string& start) {
    EXPECT_EQ(text.substr(0, start.size()), start);
}

std::string repeated(const std::string& piece, int times) {
    std::string text;
    for (int i = 0; i < times; ++i) {
        text += piece;
    }
    return text;
}

TEST(NetworkFileErrors, NameLineAndColumnOfBrokenJson) {
    expectStart(complaintAbout(""), "net.json:1:1: ");
    expectStart(complaintAbout("{\n  \"nodes\": [,]\n}"), "net.json:2:13: ");
    expectStart(complaintAbout("{\n  \"nodes\": []\n} x"), "net.json:3:3: ");
    expectStart(complaintAbout("{\"nodes\": [1e400]}"), "net.json:1:");
    expectStart(complaintAbout("{\"nodes\": [}"), "net.json:1:12: ");
    expectStart(complaintAbout("{'nodes': []}"), "net.json:1:2: ");
    expectStart(complaintAbout("{\"nodes\": []"), "net.json:1:13: ");
    expectStart(complaintAbout("{\"nodes\": [nan]}"), "net.json:1:13: ");
}

TEST(NetworkFileErrors, NameThePlaceOfBrokenUtf8) {
    expectStart(complaintAbout("{\"description\": \"a\xff\"}"), "net.json:1:19: ");
    expectStart(complaintAbout("\n\xc3\x28"), "net.json:2:1: ");
    expectStart(complaintAbout(std::string("{\0}", 3)), "net.json:1:2: ");
}

TEST(NetworkFileErrors, NameThePlaceOfAZeroByte) {
    const std::string zero(1, '\0');
    const std::string network = R"({"nodes": [{"name": "a", "type": "AddDouble"}]})";
    for (const std::string& rest : {zero + "garbage {]", zero, zero + network}) {
        EXPECT_EQ(complaintAbout(network + "\n" + rest), "net.json:2:1: a zero byte: this is no JSON text");
    }
    EXPECT_EQ(complaintAbout("{\"description\": \"" + zero), "net.json:1:18: a zero byte: this is no JSON text");
}

TEST(NetworkFileErrors, NameADuplicateKey) {
    EXPECT_EQ(complaintAbout("{\"nodes\": [],\n \"nodes\": []}"),
              "net.json:2:8: the key \"nodes\" stands twice in one object");
    expectStart(complaintAbout(withValues("AddDouble", R"({"in1": 1, "in1": 2})")), "net.json:1:");
}

TEST(NetworkFileErrors, EndDeepNestingEarly) {
    for (const char* bracket : {"[", "{\"a\":"}) {
        const std::string text = complaintAbout(repeated(bracket, 100'000));
        EXPECT_NE(text.find("nested deeper than"), std::string::npos) << text;
    }
    EXPECT_NE(complaintAbout(repeated("[", 100'000) + repeated("]", 100'000)).find("nested deeper"), std::string::npos);
    EXPECT_NE(complaintAbout(withValues("AddDouble", "{\"in1\": " + repeated("[", 20) + repeated("]", 20) + "}"))
                  .find("wants a number"),
              std::string::npos);
}

TEST(NetworkFileErrors, SayWhyAFileCannotBeRead) {
    const Scratch scratch;
    EXPECT_NE(complaint(run({"eval", scratch.path("net.json"), "--get", "a.out"}), "missing").find("No such file"),
              std::string::npos);
    EXPECT_NE(complaint(run({"eval", scratch.path(""), "--get", "a.out"}), "folder").find("Is a directory"),
              std::string::npos);
    EXPECT_NE(complaint(run({"eval", "", "--get", "a.out"}), "empty").find("No such file"), std::string::npos);
}

TEST(NetworkFileErrors, NamePartsOfTheWrongShape) {
    EXPECT_EQ(complaintAbout("[]"), "net.json: wants an object, not array");
    EXPECT_EQ(complaintAbout("{}"), "net.json: the key \"nodes\" is missing");
    EXPECT_EQ(complaintAbout(R"({"nodes": {}})"), "net.json: nodes: wants an array of objects, not object");
    EXPECT_EQ(complaintAbout(R"({"nodes": [], "node": 1})"), "net.json: unknown key \"node\"");
    EXPECT_EQ(complaintAbout(R"({"nodes": [], "description": 1})"),
              "net.json: description: wants a string, not number");
    EXPECT_EQ(complaintAbout(R"({"nodes": [1]})"), "net.json: nodes[0]: wants an object, not number");
    EXPECT_EQ(complaintAbout(R"({"nodes": [{"type": "AddDouble"}]})"),
              "net.json: nodes[0]: the key \"name\" is missing");
    EXPECT_EQ(complaintAbout(R"({"nodes": [{"name": "a"}]})"), "net.json: nodes[0] \"a\": the key \"type\" is missing");
    EXPECT_EQ(complaintAbout(R"({"nodes": [{"name": 1, "type": "AddDouble"}]})"),
              "net.json: nodes[0] name: wants a string, not number");
    EXPECT_EQ(complaintAbout(R"({"nodes": [{"name": "a", "type": "AddDouble", "value": {}}]})"),
              "net.json: nodes[0]: unknown key \"value\"");
    EXPECT_EQ(complaintAbout(withValues("AddDouble", "[]")),
              "net.json: nodes[0] \"a\" values: wants an object, not array");
    for (const char* bad :
         {"{}", "[1]", "[[]]", R"([["a.out"]])", R"([["a.out", "a.in1", "a.in2"]])", R"([["a.out", 1]])",
          R"([["a.out", "a"]])", R"([["a.out", ".a"]])", R"([["a.out", "a."]])"}) {
        expectStart(complaintAbout(R"({"nodes": [{"name": "a", "type": "AddDouble"}], "connections": )" +
                                   std::string(bad) + "}"),
                    "net.json: connections");
    }
}

TEST(NetworkFileErrors, NameUnknownTypesPortsAndNodes) {
    EXPECT_EQ(complaintAbout(R"({"nodes": [{"name": "b", "type": "AddDouble"}, {"name": "a", "type": "Adder"}]})"),
              "net.json: nodes[1] \"a\": unknown type \"Adder\"");
    EXPECT_EQ(complaintAbout(withValues("AddDouble", R"({"in3": 1})")),
              "net.json: nodes[0] \"a\" values \"in3\": AddDouble \"a\" has no input \"in3\"; inputs: in1, in2; "
              "outputs: out");
    EXPECT_EQ(complaintAbout(withValues("AddDouble", R"({"out": 1})")),
              "net.json: nodes[0] \"a\" values \"out\": AddDouble \"a\" has no input \"out\"; inputs: in1, in2; "
              "outputs: out");
    const auto connected = [](const std::string& pair) {
        return complaintAbout(
            R"({"nodes": [{"name": "a", "type": "AddDouble"}, {"name": "b", "type": "AddDouble"}], "connections": [)" +
            pair + "]}");
    };
    EXPECT_EQ(connected(R"(["a.out", "c.in1"])"),
              "net.json: connections[0] \"a.out\" to \"c.in1\": the network has no node \"c\"");
    expectStart(connected(R"(["a.in1", "b.in1"])"),
                "net.json: connections[0] \"a.in1\" to \"b.in1\": AddDouble \"a\" has no output \"in1\"");
    expectStart(connected(R"(["a.out", "b.in1"], ["a.out", "b.out"])"), "net.json: connections[1] ");
}

TEST(NetworkFileErrors, NameValuesOfTheWrongType) {
    EXPECT_EQ(complaintAbout(withValues("AddDouble", R"({"in1": "x"})")),
              "net.json: nodes[0] \"a\" values \"in1\": wants a number, not the string \"x\"");
    EXPECT_EQ(
        complaintAbout(withValues("AddLong", R"({"in1": 2147483648})")),
        "net.json: nodes[0] \"a\" values \"in1\": wants an integer between -2147483648 and 2147483647, not 2147483648");
    EXPECT_EQ(complaintAbout(withValues("AddVector", R"({"in1": [1, 2]})")),
              "net.json: nodes[0] \"a\" values \"in1\": wants a vector [x, y, z], not an array of 2");
}

TEST(NetworkFileErrors, NameDuplicateAndImpossibleNames) {
    EXPECT_EQ(complaintAbout(R"({"nodes": [{"name": "a", "type": "AddDouble"}, {"name": "a", "type": "AddDouble"}]})"),
              "net.json: nodes[1] \"a\": another node has this name already");
    for (const char* bad : {"", "a b", "a.b", "a=b", "ä", "a\\n"}) {
        expectStart(complaintAbout(R"({"nodes": [{"name": ")" + std::string(bad) + R"(", "type": "AddDouble"}]})"),
                    "net.json: nodes[0]: the name ");
    }
    const std::string longName(1'000'000, ' ');
    expectStart(complaintAbout(R"({"nodes": [{"name": ")" + longName + R"(", "type": "AddDouble"}]})"),
                "net.json: nodes[0]: the name ");
}

TEST(NetworkFileErrors, PassOnWhyTheLibraryRefusesAConnection) {
    const auto connected = [](const std::string& pairs) {
        return complaintAbout(R"({"nodes": [{"name": "a", "type": "AddDouble"}, {"name": "b", "type": "AddDouble"},
                                            {"name": "i", "type": "AddLong"}], "connections": [)" +
                              pairs + "]}");
    };
    EXPECT_EQ(connected(R"(["a.out", "b.in1"], ["b.out", "a.in1"])"),
              "net.json: connections[1] \"b.out\" to \"a.in1\": the library refuses the connection: "
              "Cycle detected! the connection is not allowed!");
    EXPECT_NE(connected(R"(["a.out", "a.in1"])").find("Connect port on the same node is not allowed!"),
              std::string::npos);
    const std::string types = connected(R"(["a.out", "i.in1"])");
    EXPECT_NE(types.find("Impossible connect a"), std::string::npos) << types;
    EXPECT_NE(types.find("LongPort"), std::string::npos) << types;
    EXPECT_NE(connected(R"(["a.out", "b.in1"], ["a.out", "b.in1"])").find("already connected"), std::string::npos);
    EXPECT_NE(connected(R"(["a.out", "b.in1"], ["i.out", "b.in1"])").find("Impossible"), std::string::npos);
}

TEST(NetworkFileErrors, NameCurvesThatAreNone) {
    const auto curve = [](const std::string& value) {
        return complaintAbout(R"({"nodes": [], "curves": {"path": )" + value + "}}");
    };
    EXPECT_EQ(curve("[]"), "net.json: curves \"path\": wants an object, not array");
    EXPECT_EQ(curve("{}"), "net.json: curves \"path\": the key \"cvs\" is missing");
    EXPECT_EQ(curve(R"({"cvs": []})"), "net.json: curves \"path\" cvs: a curve needs at least one control vertex");
    EXPECT_EQ(curve(R"({"cvs": [[1, 2, 3], [1, 2]]})"), "net.json: curves \"path\" cvs[1]: wants a vector [x, y, z]");
    for (const char* bad : {"1e39", "-1e39", "3.4028236e38", "\"nan\"", "null"}) {
        expectStart(curve(R"({"cvs": [[1, 2, )" + std::string(bad) + "]]}"),
                    "net.json: curves \"path\" cvs[0]: wants finite numbers");
    }
    for (const char* bad : {"0", "-1", "17", "2.5", "\"3\"", "1e30", "4294967297"}) {
        expectStart(curve(R"({"cvs": [[1, 2, 3]], "degree": )" + std::string(bad) + "}"),
                    "net.json: curves \"path\" degree: wants an integer");
    }
    EXPECT_EQ(complaintAbout(R"({"nodes": [], "curves": []})"), "net.json: curves: wants an object, not array");
}

TEST(NetworkFileErrors, NameMeshFilesWithTheirLines) {
    const Scratch scratch;
    scratch.write("broken.obj", "v 0 0 0\nv 1 0 nan\n");
    const auto mesh = [&](const std::string& file) {
        const std::string network = R"({"nodes": [], "meshes": {"ground": {"file": )" + file + "}}}";
        return complaint(run({"eval", scratch.write("net.json", network), "--get", "a.out"}), network);
    };
    EXPECT_EQ(mesh("\"broken.obj\""), "net.json: meshes \"ground\": " + scratch.path("broken.obj") +
                                          ":2: the coordinate \"nan\" is no finite number in single precision");
    EXPECT_EQ(mesh("\"missing.obj\""),
              "net.json: meshes \"ground\": " + scratch.path("missing.obj") + ": No such file or directory");
    EXPECT_EQ(mesh("1"), "net.json: meshes \"ground\" file: wants a string, not number");
    expectStart(mesh("\"\""), "net.json: meshes \"ground\": ");
    expectStart(mesh("\"a\\u0000b\""), "net.json: meshes \"ground\": ");
    scratch.write("sound.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    EXPECT_EQ(mesh("\"sound.obj\\u0000zzz\""),
              "net.json: meshes \"ground\": " + scratch.path("sound.obj") + "\\x00zzz: no file name has a zero byte");
}

TEST(ArgumentErrors, NamePortsThatAreNotThere) {
    EXPECT_EQ(complaintAboutArguments({"--get", "a.nothing"}),
              "--get \"a.nothing\": AddDouble \"a\" has no port \"nothing\"; inputs: in1, in2; outputs: out");
    EXPECT_EQ(complaintAboutArguments({"--get", "c.out"}), "--get \"c.out\": the network has no node \"c\"");
    for (const std::string bad : {"", "a", "a.", ".out", ".", "a.out.x", "{}", "A.out"}) {
        expectStart(complaintAboutArguments({"--get", bad}), "--get ");
    }
    EXPECT_EQ(complaintAboutArguments({"--get", "a.out", "a.out"}), "--get \"a.out\": the port is asked for twice");
    expectStart(complaintAboutArguments({"--get", std::string(50'000, 'x') + ".out"}), "--get ");
    expectStart(complaintAboutArguments({"--get", "a\n\xff.out"}), "--get \"a\\n\\xff.out\"");
}

TEST(ArgumentErrors, NameValuesThatCannotBeSet) {
    const auto set = [](const std::string& argument) {
        return complaintAboutArguments({"--get", "b.out", "--set", argument});
    };
    EXPECT_EQ(set("a.in1"), "--set \"a.in1\": wants NODE.PORT=VALUE");
    EXPECT_EQ(set("a.in1=x"), "--set \"a.in1=x\": wants a number, not \"x\"");
    EXPECT_EQ(set("a.in1="), "--set \"a.in1=\": wants a number, not \"\"");
    expectStart(set("a.out=1"), "--set \"a.out=1\": AddDouble \"a\" has no input \"out\"");
    EXPECT_EQ(set("b.in1=1"), "--set \"b.in1=1\": the port is fed by a.out, so a value set on it would not be seen");
    expectStart(set("i.in1=1.5"), "--set \"i.in1=1.5\": wants an integer");
    expectStart(set("i.in1=[1"), "--set \"i.in1=[1\": \"[1\" is no JSON value");
    expectStart(set("s.in1=\xff"), "--set \"s.in1=\\xff\": wants well-formed UTF-8");
    expectStart(set("=1"), "--set \"=1\": wants NODE.PORT");
    EXPECT_EQ(complaintAboutArguments({"--get", "b.out", "--set", "a.in1=1", "a.in1=2"}),
              "--set \"a.in1=2\": the port is set twice");
    expectStart(set("i.in1=" + repeated("[", 100'000)), "--set ");
}

TEST(ArgumentErrors, NameFramesThatLeadNowhere) {
    for (const char* bad : {"1", "1:", "a:b", "1:2:0", "2:1", "1:2:-1", "1:2:nan", "nan:2", "1:inf", "1:2:3:4",
                            "1:4000000000", "0:1:1e-300", "-9e999:1"}) {
        expectStart(complaintAboutArguments({"--get", "b.out", "--drive", "a.in1", "--frames", bad}),
                    "--frames \"" + std::string(bad) + "\": ");
    }
}

TEST(ArgumentErrors, NameOptionsWithAnEmptyValue) {
    expectStart(complaintAboutArguments({"--get", "b.out", "--drive", "a.in1", "--frames", ""}),
                "--frames: wants a value, not \"\"");
    expectStart(complaintAboutArguments({"--get", "b.out", "-o", ""}), "--output: wants a value, not \"\"");
}

TEST(ArgumentErrors, NamePortsThatCannotBeDriven) {
    const auto drive = [](const std::string& port, const std::string& frames) {
        return complaintAboutArguments({"--get", "b.out", "--drive", port, "--frames", frames});
    };
    EXPECT_EQ(drive("s.in1", "1:2"), "--drive \"s.in1\": a StringPort takes no frame numbers");
    EXPECT_EQ(drive("b.in1", "1:2"),
              "--drive \"b.in1\": the port is fed by a.out, so a value set on it would not be seen");
    expectStart(drive("a.out", "1:2"), "--drive \"a.out\": AddDouble \"a\" has no input \"out\"");
    expectStart(drive("c.in1", "1:2"), "--drive \"c.in1\": the network has no node");
    expectStart(drive("i.in1", "1:2:0.5"), "--drive \"i.in1\": a LongPort takes integers of 32 bits only");
    expectStart(drive("i.in1", "2147483646:2147483650"),
                "--drive \"i.in1\": a LongPort takes integers of 32 bits only");
}

}  // namespace
}  // namespace TessilTest
