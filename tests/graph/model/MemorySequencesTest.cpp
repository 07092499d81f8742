#include <tests/graph/model/Sequences.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace twins {
namespace {

/// So that names and texts ask for memory.
const char* const longPrefix = "no_string_has_room_for_this_";

/// One word more than a step looks at says which of its allocations fails, if any does, and whether it is taken again
/// when that calls it off.
constexpr std::size_t wordsInShortage = mostWords + 1;

Taken takeStep(Pair& pair, const Words& words) {
    constexpr std::size_t mostAllocations = 32;
    const std::size_t word = words.size() == wordsInShortage ? words.back() : 0U;
    const std::size_t first = word / 4 % mostAllocations;
    if (word % 2 == 0 || first == 0) {
        return pair.step(words);
    }
    const bool isRepeated = word / 4 / mostAllocations % 2 == 1;
    const tests::Shortage kind = word % 4 == 1 ? tests::Shortage::Once : tests::Shortage::Lasting;
    const Taken outcome = pair.stepInShortage(words, first, kind);
    return outcome == Taken::CalledOff && isRepeated ? pair.step(words) : outcome;
}

bool agreeInShortage(Look look) {
    return sequencesAgree(
        wordsInShortage, [look] { return std::make_unique<Pair>(look, longPrefix); }, takeStep);
}

TEST(MemorySequences, LeaveModelAndLibraryAlike) {
    EXPECT_TRUE(agreeInShortage(Look::Always));
}

TEST(MemorySequences, LeaveThemAlikeWhileNobodyLooks) {
    EXPECT_TRUE(agreeInShortage(Look::Seldom));
}

/// What the tests above found goes here as it was printed.
TEST(MemorySequences, AgreeAfterCallsThatOnceWentWrong) {
    const std::vector<std::vector<Words>> sequences = {
        // A node has its new name although the network did not take it.
        {
            {},
            {16696},
            {},
            {},
            {},
            {},
            {1096, 0, 0, 43768, 0, 0, 59486, 0, 5},
            {},
            {0, 0, 0, 222},
            {0, 0, 1355, 60666, 0, 0, 150, 53, 0, 11, 0, 0, 9489},
        },
    };
    for (const std::vector<Words>& sequence : sequences) {
        for (const Look look : {Look::Always, Look::Seldom}) {
            Pair pair(look, longPrefix);
            for (const Words& words : sequence) {
                ASSERT_NE(takeStep(pair, words), Taken::Differently) << pair.report();
            }
        }
    }
}

TEST(MemorySequences, CallOffStepsOfManyKinds) {
    std::set<std::string> kinds;
    std::mt19937 numbers(1);
    for (int sequence = 0; sequence < 30; ++sequence) {
        Pair pair(Look::Seldom, longPrefix);
        for (int step = 0; step < 300; ++step) {
            Words words(wordsInShortage);
            std::generate(words.begin(), words.end(), [&] { return static_cast<std::uint16_t>(numbers()); });
            ASSERT_NE(takeStep(pair, words), Taken::Differently) << pair.report();
        }
        for (const auto& [kind, count] : pair.calledOff()) {
            kinds.insert(kind);
        }
    }
    EXPECT_GE(kinds.size(), 20U) << testing::PrintToString(kinds);
}

}  // namespace
}  // namespace twins
