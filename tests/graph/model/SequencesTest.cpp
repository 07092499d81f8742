#include <tests/graph/model/Sequences.h>

#include <gtest/gtest.h>

#include <memory>

namespace twins {

namespace {

bool agree(Look look) {
    return sequencesAgree(
        mostWords, [look] { return std::make_unique<Pair>(look); },
        [](Pair& pair, const Words& words) { return pair.step(words); });
}

}  // namespace

TEST(Sequences, LeaveModelAndLibraryAlike) {
    EXPECT_TRUE(agree(Look::Always));
}

TEST(Sequences, LeaveThemAlikeWhileNobodyLooks) {
    EXPECT_TRUE(agree(Look::Seldom));
}

}  // namespace twins
