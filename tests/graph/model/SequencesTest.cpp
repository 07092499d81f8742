#include <tests/graph/model/Sequences.h>

#include <gtest/gtest.h>

namespace twins {

TEST(Sequences, LeaveModelAndLibraryAlike) {
    EXPECT_TRUE(sequencesAgree(mostWords, "", [](Pair& pair, const Words& words) { return pair.step(words); }));
}

}  // namespace twins
