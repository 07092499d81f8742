#include <tests/graph/model/Sequences.h>

#include <rapidcheck.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <random>
#include <utility>
#include <vector>

namespace twins {
namespace {

constexpr std::size_t stepsOfASequence = 300;

/// Some words make no step, so that a sequence has more of them.
constexpr std::size_t triesOfASequence = 600;

struct Sequence {
    std::vector<Words> steps;
};

void showValue(const Sequence& sequence, std::ostream& out) {
    out << "{\n";
    for (const Words& words : sequence.steps) {
        const auto end =
            std::find_if(words.rbegin(), words.rend(), [](std::uint16_t word) { return word != 0; }).base();
        out << "    {";
        for (auto word = words.begin(); word != end; ++word) {
            out << (word == words.begin() ? "" : ", ") << *word;
        }
        out << "},\n";
    }
    out << '}';
}

Sequence sequenceOf(std::uint64_t seed, std::size_t wordsOfAStep) {
    std::mt19937_64 numbers(seed);
    Sequence sequence;
    sequence.steps.resize(triesOfASequence);
    for (Words& words : sequence.steps) {
        words.resize(wordsOfAStep);
        std::generate(words.begin(), words.end(), [&numbers] { return static_cast<std::uint16_t>(numbers()); });
    }
    return sequence;
}

/// Fewer steps, then smaller words: a word that is 0 stands for the first of what it chooses from.
rc::Seq<Sequence> shorter(const Sequence& sequence) {
    const auto asSequence = [](std::vector<Words> steps) { return Sequence{std::move(steps)}; };
    const auto smaller = [](const Words& words) {
        return rc::shrink::eachElement(
            words, [](std::uint16_t word) { return rc::shrink::towards<std::uint16_t>(word, std::uint16_t{0}); });
    };
    return rc::seq::concat(rc::seq::map(rc::shrink::removeChunks(sequence.steps), asSequence),
                           rc::seq::map(rc::shrink::eachElement(sequence.steps, smaller), asSequence));
}

rc::Gen<Sequence> anySequence(std::size_t wordsOfAStep) {
    const auto fromSeed = rc::gen::map(rc::gen::noShrink(rc::gen::arbitrary<std::uint64_t>()),
                                       [wordsOfAStep](std::uint64_t seed) { return sequenceOf(seed, wordsOfAStep); });
    return rc::gen::shrink(fromSeed, [](const Sequence& sequence) { return shorter(sequence); });
}

}  // namespace

bool sequencesAgree(std::size_t wordsOfAStep, const MakePair& make, const TakeStep& take) {
    return rc::check([&] {
        const Sequence sequence = *anySequence(wordsOfAStep);
        const std::unique_ptr<Pair> pair = make();
        std::size_t taken = 0;
        for (const Words& words : sequence.steps) {
            const Taken outcome = take(*pair, words);
            if (outcome == Taken::Differently) {
                RC_LOG() << pair->report();
                RC_FAIL("model and library differ");
            }
            taken += outcome == Taken::Alike ? 1U : 0U;
            if (taken == stepsOfASequence) {
                break;
            }
        }
    });
}

}  // namespace twins
