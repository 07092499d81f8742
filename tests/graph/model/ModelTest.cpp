#include <tests/graph/model/Pair.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace twins {
namespace {

class Random {
public:
    explicit Random(unsigned int seed) : numbers_(seed) {}

    Words words() {
        Words words(mostWords);
        for (std::uint16_t& word : words) {
            word = static_cast<std::uint16_t>(numbers_());
        }
        return words;
    }

private:
    std::mt19937 numbers_;
};

/// Takes so many steps; false when model and library disagree.
testing::AssertionResult takeSteps(Pair& pair, unsigned int seed, int steps) {
    Random random(seed);
    for (int taken = 0; taken < steps;) {
        switch (pair.step(random.words())) {
            case Taken::Differently:
                return testing::AssertionFailure() << "seed " << seed << '\n' << pair.report();
            case Taken::Alike:
                ++taken;
                break;
            case Taken::CalledOff:
            case Taken::Skipped:
                break;
        }
    }
    return testing::AssertionSuccess();
}

TEST(Model, AgreesWithTheLibraryThroughRandomSteps) {
    std::map<std::string, int> kinds;
    for (unsigned int seed = 1; seed <= 120; ++seed) {
        Pair pair(seed % 2 == 0 ? Look::Always : Look::Seldom);
        ASSERT_TRUE(takeSteps(pair, seed, 250));
        for (const auto& [kind, count] : pair.kinds()) {
            kinds[kind] += count;
        }
    }
    // Every kind of step was taken.
    EXPECT_EQ(kinds.size(), 52U) << testing::PrintToString(kinds);
}

TEST(Model, AgreesWithTheLibraryThroughOneLongRun) {
    Pair pair;
    ASSERT_TRUE(takeSteps(pair, 1001, 3000));
}

/// What `Sequences.LeaveModelAndLibraryAlike` found goes here as it was printed.
TEST(Model, AgreesAfterCallsThatOnceWentWrong) {
    const std::vector<std::vector<Words>> sequences = {
        // A copy of a node whose input was replaced by one of the same name and another type.
        {
            {},
            {},
            {},
            {},
            {280},
            {},
            {0, 0, 15311, 80, 0, 0, 10},
            {},
            {0, 0, 8370, 80, 0, 1318, 45054, 3},
            {280, 0, 0, 84, 0, 0, 19038, 0, 5},
        },
        // A node is deleted whose output lists an input twice.
        {
            {0, 0, 0, 8, 18857, 1},
            {0, 0, 0, 0, 8, 8616, 1},
            {0, 0, 0, 0, 8, 38158, 37},
            {0, 0, 0, 0, 8, 16958, 1},
            {},
            {0, 0, 0, 0, 8, 60944},
            {0, 0, 0, 0, 8, 17028},
            {0, 0, 0, 0, 8, 17832, 18727},
            {0, 0, 0, 80, 0, 6040},
            {0, 0, 0, 84},
            {0, 0, 0, 0, 0, 0, 231},
            {0, 0, 0, 0, 0, 0, 975},
            {54480, 0, 0, 0, 8, 9793},
            {0, 1557, 0, 30, 0, 2, 61046},
            {0, 59138, 0, 64, 33705},
            {0, 0, 0, 84, 5, 4100},
        },
    };
    for (const std::vector<Words>& sequence : sequences) {
        for (const Look look : {Look::Always, Look::Seldom}) {
            Pair pair(look);
            for (const Words& words : sequence) {
                ASSERT_NE(pair.step(words), Taken::Differently) << pair.report();
            }
        }
    }
}

}  // namespace
}  // namespace twins
