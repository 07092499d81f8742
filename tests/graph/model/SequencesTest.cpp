#include <tests/graph/model/Sequences.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace twins {

namespace {

/// The steps of the list in a text, as a compiler reads it.
std::vector<Words> listIn(const std::string& text) {
    std::vector<Words> steps;
    std::istringstream lines(text.substr(std::min(text.find("\n{\n"), text.size() - 1) + 3));
    for (std::string line; std::getline(lines, line) && line != "}";) {
        std::replace_if(
            line.begin(), line.end(), [](char c) { return c == '{' || c == '}' || c == ','; }, ' ');
        std::istringstream numbers(line);
        steps.emplace_back(std::istream_iterator<std::uint16_t>(numbers), std::istream_iterator<std::uint16_t>());
    }
    return steps;
}

bool agree(Look look, Shape shape = Shape::Any) {
    return sequencesAgree(
        mostWords, [look] { return std::make_unique<Pair>(look); },
        [](Pair& pair, const Words& words) { return pair.step(words); }, shape);
}

}  // namespace

TEST(Sequences, LeaveModelAndLibraryAlike) {
    EXPECT_TRUE(agree(Look::Always));
}

TEST(Sequences, LeaveThemAlikeWhileNobodyLooks) {
    EXPECT_TRUE(agree(Look::Seldom));
}

TEST(Sequences, LeaveLargeNetworksAlike) {
    EXPECT_TRUE(agree(Look::Seldom, Shape::Large));
}

/// Two steps that only together make model and library differ, far apart among 600.
TEST(Sequences, AreShortenedToTheStepsThatMatterInFewTries) {
    const char* parameters = std::getenv("RC_PARAMS");
    if (parameters != nullptr && std::string(parameters).find("noshrink") != std::string::npos) {
        GTEST_SKIP();
    }
    std::size_t tries = 0;
    std::size_t steps = 0;
    std::size_t fewest = 1000;
    bool isFirstTaken = false;
    const auto make = [&] {
        ++tries;
        steps = 0;
        isFirstTaken = false;
        return std::make_unique<Pair>(Look::Seldom);
    };
    const auto take = [&](Pair&, const Words& words) {
        ++steps;
        isFirstTaken = isFirstTaken || words[0] % 100 == 42;
        if (!isFirstTaken || words[1] % 100 != 24) {
            return Taken::Skipped;
        }
        fewest = std::min(fewest, steps);
        return Taken::Differently;
    };
    testing::internal::CaptureStderr();
    EXPECT_FALSE(sequencesAgree(2, make, take));
    const std::vector<Words> printed = listIn(testing::internal::GetCapturedStderr());
    EXPECT_EQ(fewest, 2U);
    EXPECT_LT(tries, 300U);
    ASSERT_EQ(printed.size(), 2U);
    EXPECT_EQ(printed[0].at(0) % 100, 42);
    EXPECT_EQ(printed[1].at(1) % 100, 24);
}

TEST(Sequences, ArePrintedUpToTheStepThatCrashes) {
    const auto crash = [] {
        std::size_t steps = 0;
        sequencesAgree(
            mostWords, [] { return std::make_unique<Pair>(Look::Seldom); },
            [&](Pair&, const Words&) {
                if (++steps == 3) {
                    std::raise(SIGSEGV);
                }
                return Taken::Alike;
            });
    };
    // In a process of its own.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(crash(), "The last of these steps crashed:\n.\n( *.[0-9, ]+.,\n){3}.\n");
}

}  // namespace twins
