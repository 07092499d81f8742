#include "Process.h"

#include <TessilGraph/Version.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/initTessilGraph.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace TessilTest {
namespace {

TEST(Arguments, AskForTheVersion) {
    const Outcome outcome = run({"--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "tessilgraph " + TessilGraph::version() + "\n");
    EXPECT_EQ(outcome.err, "");
}

TEST(Arguments, AskForHelp) {
    const Outcome general = run({"--help"});
    EXPECT_EQ(general.status, 0);
    for (const char* word : {"eval", "types", "describe", "--version", "status"}) {
        EXPECT_NE(general.out.find(word), std::string::npos) << word;
    }
    const Outcome eval = run({"eval", "--help"});
    EXPECT_EQ(eval.status, 0);
    for (const char* word :
         {"NETWORK", "--get NODE.PORT ...", "--set NODE.PORT=VALUE ...", "--frames", "FIRST:LAST[:STEP]", "--drive",
          "--parallel", "--cache", "--format", "table", "csv", "json", "-o"}) {
        EXPECT_NE(eval.out.find(word), std::string::npos) << word;
    }
}

TEST(Arguments, ListTheRegisteredTypes) {
    TessilGraph::initTessilGraph();
    std::string expected;
    for (const std::string& type : TessilGraph::NodeFactory::instance().getRegisteredNodes()) {
        expected += type + "\n";
    }
    const Outcome outcome = run({"types"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, expected);
    EXPECT_NE(expected.find("AddDouble\n"), std::string::npos);
}

TEST(Arguments, DescribeATypeWithItsPortsAndDefaults) {
    const Outcome pow = run({"describe", "powDouble"});
    EXPECT_EQ(pow.status, 0);
    EXPECT_EQ(pow.out,
              "PowDouble (number 28)\n"
              "        port      type        default\n"
              "input   base      DoublePort  0\n"
              "input   exponent  DoublePort  0\n"
              "output  out       DoublePort  0\n");
}

TEST(Arguments, GetOneLineAndStatus2WhenTheyMakeNoSense) {
    const Scratch scratch;
    const std::string network = scratch.write("net.json", R"({"nodes": [{"name": "a", "type": "AddDouble"}]})");
    const std::vector<std::vector<std::string>> bad = {
        {},
        {"nonsense"},
        {"--nonsense"},
        {"eval"},
        {"eval", network},
        {"eval", "--get", "a.out"},
        {"eval", network, "--get"},
        {"eval", network, "--get", "[a.out]"},
        {"eval", network, "--get=[a.out,a.in1]"},
        {"eval", network, "--get", "a.out", "--set", "[a.in1=1,a.in2=2]"},
        {"eval", network, "--get", "a.out", "--format", "xml"},
        {"eval", network, "--get", "a.out", "--format", ""},
        {"eval", network, "--get", "a.out", "--format", "0"},
        {"eval", network, "--get", "a.out", "--format", "1"},
        {"eval", network, "--get", "a.out", "--format", "2"},
        {"eval", network, "--get", "a.out", "--format", "7"},
        {"eval", network, "--get", "a.out", "--format", "-1"},
        {"eval", network, "--get", "a.out", "--format", "CSV"},
        {"eval", network, "--get", "a.out", "--format", "csv", "--format", "csv"},
        {"eval", network, "--get", "a.out", "--frames", "", "--drive", "a.in1"},
        {"eval", network, "--get", "a.out", "--frames=", "--drive", "no.thing"},
        {"eval", network, "--get", "a.out", "-o", ""},
        {"eval", network, "--get", "a.out", "--frames", "1:2"},
        {"eval", network, "--get", "a.out", "--drive", "a.in1"},
        {"eval", network, "--get", "a.out", "--frames", "1:2", "--frames", "1:2", "--drive", "a.in1"},
        {"eval", network, "--get", "a.out", "--what"},
        {"eval", network, network, "--get", "a.out"},
        {"eval", network, "--get", "a.out", "types"},
        {"types", "more"},
        {"describe"},
        {"describe", "NoSuchType"},
        {"describe", ""},
        {"describe", "AddDouble", "AddLong"},
    };
    for (const auto& words : bad) {
        std::string shown;
        for (const std::string& word : words) {
            shown += word + " ";
        }
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 2) << shown;
        EXPECT_EQ(outcome.out, "") << shown;
        EXPECT_EQ(outcome.err.find("tessilgraph: "), 0U) << shown;
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << shown << outcome.err;
    }
}

TEST(Arguments, AreNamedWhereTheyAreWrong) {
    const auto complaint = [](const std::vector<std::string>& words) {
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 2);
        return outcome.err;
    };
    const std::string unknown = "tessilgraph: the argument \"--frob\" was not expected (--help shows what there is)\n";
    EXPECT_EQ(complaint({"--frob"}), unknown);
    EXPECT_EQ(complaint({"--frob", "b"}), unknown);
    EXPECT_EQ(complaint({"types", "--frob", "b"}), unknown);
    EXPECT_EQ(complaint({"describe", "--frob"}), unknown);
    EXPECT_EQ(complaint({"eval", "net.json", "--frob"}), unknown);
    EXPECT_NE(complaint({"frob"}).find("\"frob\""), std::string::npos);
    EXPECT_NE(complaint({""}).find("\"\""), std::string::npos);
    EXPECT_NE(complaint({}).find("A subcommand is required"), std::string::npos);
    EXPECT_EQ(complaint({"eval", "", "--get", "a.out"}), "tessilgraph: \"\": No such file or directory\n");
}

}  // namespace
}  // namespace TessilTest
