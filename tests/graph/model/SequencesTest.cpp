#include <tests/graph/model/Sequences.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>

namespace twins {

namespace {

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
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(fewest, 2U);
    EXPECT_LT(tries, 300U);
}

}  // namespace twins
