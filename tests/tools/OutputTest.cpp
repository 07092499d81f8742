#include "Process.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace TessilTest {
namespace {

namespace fs = std::filesystem;

const std::string network = R"({"nodes": [{"name": "sum", "type": "AddDouble", "values": {"in1": 1, "in2": 2}}]})";
const std::string result = "sum.out\n3\n";

std::vector<std::string> evalTo(const std::string& file, const Scratch& scratch) {
    return {"eval", scratch.write("net.json", network), "--get", "sum.out", "--format", "csv", "-o", file};
}

bool isOneLine(const std::string& text) {
    return !text.empty() && text.find('\n') == text.size() - 1;
}

TEST(Output, GoesToTheFileAndNothingElse) {
    const Scratch scratch;
    const Outcome outcome = run(evalTo(scratch.path("out.csv"), scratch));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(readFile(scratch.path("out.csv")), result);
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"net.json", "out.csv"}));
}

TEST(Output, MayHaveAnyNameThatTheSystemAllows) {
    const Scratch scratch;
    const std::string longest(255, 'n');
    EXPECT_EQ(run(evalTo(scratch.path(longest), scratch)).status, 0);
    EXPECT_EQ(readFile(scratch.path(longest)), result);
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"net.json", longest}));
}

TEST(Output, GivesANewFileTheUsualPermissionsAndKeepsThoseOfAnOldOne) {
    const Scratch scratch;
    const mode_t mask = ::umask(022);
    run(evalTo(scratch.path("new.csv"), scratch));
    ::umask(mask);
    struct stat status {};
    ASSERT_EQ(::stat(scratch.path("new.csv").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0644U);

    scratch.write("old.csv", "old");
    ::chmod(scratch.path("old.csv").c_str(), 0600);
    run(evalTo(scratch.path("old.csv"), scratch));
    ASSERT_EQ(::stat(scratch.path("old.csv").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(readFile(scratch.path("old.csv")), result);
}

TEST(Output, FollowsALinkInsteadOfReplacingIt) {
    const Scratch scratch;
    scratch.write("target.csv", "old");
    fs::create_symlink("target.csv", scratch.path("link.csv"));
    EXPECT_EQ(run(evalTo(scratch.path("link.csv"), scratch)).status, 0);
    EXPECT_TRUE(fs::is_symlink(scratch.path("link.csv")));
    EXPECT_EQ(readFile(scratch.path("target.csv")), result);
}

TEST(Output, FollowsLinksToAFileThatIsNotThereYet) {
    const Scratch scratch;
    fs::create_directory(scratch.path("folder"));
    fs::create_symlink("../target.csv", scratch.path("folder/second.csv"));
    fs::create_symlink(scratch.path("folder/second.csv"), scratch.path("first.csv"));
    EXPECT_EQ(run(evalTo(scratch.path("first.csv"), scratch)).status, 0);
    EXPECT_TRUE(fs::is_symlink(scratch.path("first.csv")));
    EXPECT_TRUE(fs::is_symlink(scratch.path("folder/second.csv")));
    EXPECT_EQ(readFile(scratch.path("target.csv")), result);
}

TEST(Output, RefusesLinksThatLeadNowhere) {
    const Scratch scratch;
    fs::create_symlink("no/such/folder.csv", scratch.path("astray.csv"));
    fs::create_symlink("circle.csv", scratch.path("circle.csv"));
    for (const char* bad : {"astray.csv", "circle.csv"}) {
        const Outcome outcome = run(evalTo(scratch.path(bad), scratch));
        EXPECT_EQ(outcome.status, 2) << bad;
        EXPECT_TRUE(isOneLine(outcome.err)) << outcome.err;
        EXPECT_TRUE(fs::is_symlink(scratch.path(bad))) << bad;
    }
}

TEST(Output, ReplacesTheTextOfAFileThatHasNoName) {
    const Scratch scratch;
    const int file = ::memfd_create("nameless", 0);
    ASSERT_GE(file, 0);
    const std::string path = "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(file);
    std::ofstream(path) << "what is old and longer than the result";
    EXPECT_EQ(run(evalTo(path, scratch)).status, 0);
    EXPECT_EQ(readFile(path), result);
    ::close(file);
}

TEST(Output, LeavesAnOldFileAloneWhenSomethingIsWrong) {
    const Scratch scratch;
    scratch.write("out.csv", "old");
    std::vector<std::string> arguments = evalTo(scratch.path("out.csv"), scratch);
    arguments[3] = "sum.nothing";
    EXPECT_EQ(run(arguments).status, 2);
    EXPECT_EQ(readFile(scratch.path("out.csv")), "old");
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"net.json", "out.csv"}));
}

TEST(Output, LeavesAnOldFileAloneWhenTheNewOneCannotBeWritten) {
    const Scratch scratch;
    scratch.write("out.csv", "old");
    Surroundings small;
    small.fileSizeLimit = 4;  // less than the result, as on a full disk
    const std::vector<std::string> arguments = evalTo(scratch.path("out.csv"), scratch);
    EXPECT_EQ(run(arguments, small).status, 1);
    EXPECT_EQ(readFile(scratch.path("out.csv")), "old");
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"net.json", "out.csv"}));
}

TEST(Output, RefusesFilesThatCannotBe) {
    const Scratch scratch;
    for (const std::string& bad : {scratch.path("no/such/folder.csv"), scratch.path(""), std::string("/proc/version/x"),
                                   scratch.path("net.json"), scratch.path("./net.json")}) {
        const Outcome outcome = run(evalTo(bad, scratch));
        EXPECT_EQ(outcome.status, 2) << bad;
        EXPECT_TRUE(isOneLine(outcome.err)) << outcome.err;
    }
    EXPECT_EQ(readFile(scratch.path("net.json")), network);
}

TEST(Output, ReplacesNoObjFileOfTheNetwork) {
    const Scratch scratch;
    const std::string triangle = "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n";
    const std::string obj = scratch.write("ground.obj", triangle);
    const std::string net = scratch.write("net.json", R"({"meshes": {"ground": {"file": "ground.obj"}}, "nodes": [
        {"name": "sum", "type": "AddDouble"}]})");
    fs::create_symlink("ground.obj", scratch.path("link.obj"));
    for (const std::string& bad : {obj, scratch.path("./ground.obj"), scratch.path("link.obj")}) {
        const Outcome outcome = run({"eval", net, "--get", "sum.out", "-o", bad});
        EXPECT_EQ(outcome.status, 2) << bad;
        EXPECT_TRUE(isOneLine(outcome.err)) << outcome.err;
    }
    EXPECT_EQ(readFile(obj), triangle);
    EXPECT_EQ(run({"eval", net, "--get", "sum.out", "-o", scratch.path("other.obj")}).status, 0);
}

TEST(Output, NoticesAFullDisk) {
    const Scratch scratch;
    std::vector<std::string> arguments = evalTo("/dev/full", scratch);
    Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(isOneLine(outcome.err)) << outcome.err;

    Surroundings full;
    full.outputTo = "/dev/full";
    arguments.resize(arguments.size() - 2);
    for (const auto& words : {arguments, {"types"}, {"describe", "AddDouble"}, {"--help"}, {"--version"}}) {
        outcome = run(words, full);
        EXPECT_EQ(outcome.status, 1) << words[0];
        EXPECT_TRUE(isOneLine(outcome.err)) << outcome.err;
    }
}

TEST(Output, NoticesAReaderThatHasGone) {
    Surroundings gone;
    gone.outputIsClosedPipe = true;
    const Outcome outcome = run({"types"}, gone);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(isOneLine(outcome.err)) << outcome.err;
}

TEST(Output, AddsToWhatStandardOutputAndErrorAddTo) {
    const Scratch scratch;
    const std::string file = scratch.write("all.csv", "old\n");
    Surroundings adding;
    adding.outputTo = file;
    EXPECT_EQ(run(evalTo("/dev/stdout", scratch), adding).status, 0);
    EXPECT_EQ(readFile(file), "old\n" + result);

    adding = {};
    adding.errorsTo = file;
    EXPECT_EQ(run(evalTo("/dev/stderr", scratch), adding).status, 0);
    EXPECT_EQ(readFile(file), "old\n" + result + result);
}

TEST(Output, WritesToDevicesDirectly) {
    const Scratch scratch;
    const Outcome outcome = run(evalTo("/dev/stdout", scratch));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, result);
    EXPECT_EQ(run(evalTo("/dev/null", scratch)).status, 0);
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

}  // namespace
}  // namespace TessilTest
