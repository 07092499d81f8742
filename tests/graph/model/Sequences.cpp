#include <tests/graph/model/Sequences.h>

#include <tests/graph/model/OnCrash.h>

#include <rapidcheck.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace twins {
namespace {

/// Some words make no step, so that a sequence has more of them.
constexpr std::size_t stepsOfASequence = 300;
constexpr std::size_t triesOfASequence = 600;

/// With how far it has been made shorter, so that nothing that is needed is tried again and again.
struct Sequence {
    std::vector<Words> steps;
    std::size_t chunk = 0;   ///< So many steps are left out at once; 0: it gets no shorter.
    std::size_t end = 0;     ///< Of the steps that have not been tried with this chunk.
    std::size_t word = 0;    ///< The first one that has not been tried to be smaller.
    bool isSmaller = false;  ///< Than when the largest chunks were tried.
};

void showSteps(const std::vector<Words>& steps, std::size_t count, std::ostream& out) {
    out << "{\n";
    for (std::size_t place = 0; place < count; ++place) {
        const Words& words = steps[place];
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

void showValue(const Sequence& sequence, std::ostream& out) {
    showSteps(sequence.steps, sequence.steps.size(), out);
}

/// Lets the first steps make nodes and links, and most others compute, set and mark. Certain words decide about the
/// network, the kind of a step, and the type of a node that it makes; see `Steps::choose`.
void makeLarge(std::vector<Words>& sequence) {
    constexpr std::size_t network = 0;
    constexpr std::size_t kind = 3;
    constexpr std::size_t type = 5;
    constexpr std::uint16_t known = 99;
    constexpr std::uint16_t marks = 74;
    constexpr std::size_t nodes = 110;
    constexpr std::size_t links = 60;
    constexpr std::array<std::uint16_t, 12> types = {0, 0, 0, 0, 0, 0, 2, 2, 4, 4, 4, 4};
    constexpr std::array<std::uint16_t, 12> frequent = {38, 38, 38, 38, 38, 38, 56, 56, 56, marks, 114, 114};
    for (std::size_t place = 0; place < sequence.size(); ++place) {
        Words& words = sequence[place];
        std::uint16_t& chosen = words[kind];
        if (place < nodes + links || words[network] % 8 != 0) {
            words[network] = 0;
        }
        if (place < nodes) {
            // While there are no nodes, words stand a place nearer, and nodes are made whatever the kind is.
            chosen = place < 6 ? known : 0;
            words[type - 1] = known;
            words[type] = types[words[type] % types.size()];
        } else if (place < nodes + links) {
            chosen = place == nodes || place == nodes + links / 2 ? 115 : 12;
        } else if (chosen % 16 != 0) {
            chosen = frequent[chosen / 16 % frequent.size()];
            if (chosen == marks) {
                words[kind + 1] %= 3;
            }
        }
    }
}

Sequence sequenceOf(std::uint64_t seed, std::size_t wordsOfAStep, Shape shape) {
    std::mt19937_64 numbers(seed);
    Sequence sequence;
    sequence.steps.resize(triesOfASequence);
    for (Words& words : sequence.steps) {
        words.resize(wordsOfAStep);
        std::generate(words.begin(), words.end(), [&numbers] { return static_cast<std::uint16_t>(numbers()); });
    }
    if (shape == Shape::Large) {
        makeLarge(sequence.steps);
    }
    sequence.chunk = sequence.steps.size() / 2;
    sequence.end = sequence.steps.size();
    return sequence;
}

/// The sequence without the chunk that ends there, to be gone on with before it.
Sequence withoutChunk(const Sequence& sequence, std::size_t end) {
    const std::size_t begin = end - std::min(end, sequence.chunk);
    Sequence left = sequence;
    const auto first = left.steps.begin();
    left.steps.erase(first + static_cast<std::ptrdiff_t>(begin), first + static_cast<std::ptrdiff_t>(end));
    left.end = begin;
    left.isSmaller = true;
    return left;
}

/// Chunks are left out from behind, then smaller ones: sequences in number about as the steps that are needed, times
/// the logarithm of all. The last one is the sequence itself, which fails again and so is gone on with.
rc::Seq<Sequence> withFewerSteps(const Sequence& sequence) {
    const std::size_t end = std::min(sequence.end, sequence.steps.size());
    const std::size_t chunks = (end + sequence.chunk - 1) / sequence.chunk;
    Sequence next = sequence;
    next.chunk /= 2;
    next.end = sequence.steps.size();
    return rc::seq::concat(rc::seq::map(rc::seq::range(std::size_t{0}, chunks),
                                        [sequence, end](std::size_t later) {
                                            return withoutChunk(sequence, end - later * sequence.chunk);
                                        }),
                           rc::seq::just(next));
}

constexpr std::array<unsigned int, 4> divisors = {65536, 256, 16, 2};

/// The sequence with one word divided, to be gone on with behind it. Nothing where an earlier divisor gives the same.
rc::Maybe<Sequence> withASmallerWord(const Sequence& sequence, std::size_t place) {
    const std::size_t word = place / divisors.size();
    const std::size_t divisor = place % divisors.size();
    const std::size_t wordsOfAStep = sequence.steps.front().size();
    const std::uint16_t old = sequence.steps[word / wordsOfAStep][word % wordsOfAStep];
    const auto less = static_cast<std::uint16_t>(old / divisors[divisor]);
    if (less == (divisor == 0 ? old : old / divisors[divisor - 1])) {
        return rc::Nothing;
    }
    Sequence smaller = sequence;
    smaller.steps[word / wordsOfAStep][word % wordsOfAStep] = less;
    smaller.word = word + 1;
    smaller.isSmaller = true;
    return smaller;
}

/// Each word is made smaller at most once: 0 stands for the first of what it chooses from. If that changed anything,
/// steps may go that were needed, and are tried again.
rc::Seq<Sequence> withSmallerWords(const Sequence& sequence) {
    const std::size_t words = sequence.steps.empty() ? 0U : sequence.steps.size() * sequence.steps.front().size();
    auto smaller = rc::seq::mapMaybe(rc::seq::range(sequence.word * divisors.size(), words * divisors.size()),
                                     [sequence](std::size_t place) { return withASmallerWord(sequence, place); });
    if (!sequence.isSmaller) {
        return smaller;
    }
    return rc::seq::concat(std::move(smaller), rc::seq::just(Sequence{sequence.steps, sequence.steps.size() / 2,
                                                                      sequence.steps.size(), 0, false}));
}

rc::Seq<Sequence> shorter(const Sequence& sequence) {
    return sequence.chunk != 0 ? withFewerSteps(sequence) : withSmallerWords(sequence);
}

rc::Gen<Sequence> anySequence(std::size_t wordsOfAStep, Shape shape) {
    const auto fromSeed = rc::gen::map(rc::gen::noShrink(rc::gen::arbitrary<std::uint64_t>()),
                                       [=](std::uint64_t seed) { return sequenceOf(seed, wordsOfAStep, shape); });
    return rc::gen::shrink(fromSeed, [](const Sequence& sequence) { return shorter(sequence); });
}

}  // namespace

bool sequencesAgree(std::size_t wordsOfAStep, const MakePair& make, const TakeStep& take, Shape shape) {
    const std::size_t steps = shape == Shape::Large ? triesOfASequence : stepsOfASequence;
    return rc::check([&] {
        const Sequence sequence = *anySequence(wordsOfAStep, shape);
        std::size_t begun = 0;
        const OnCrash onCrash([&] {
            std::cerr << "The last of these steps crashed:\n";
            showSteps(sequence.steps, begun, std::cerr);
            std::cerr << std::endl;
        });
        const std::unique_ptr<Pair> pair = make();
        std::size_t taken = 0;
        for (const Words& words : sequence.steps) {
            ++begun;
            const Taken outcome = take(*pair, words);
            if (outcome == Taken::Differently) {
                RC_LOG() << pair->report();
                RC_FAIL("model and library differ");
            }
            taken += outcome == Taken::Alike ? 1U : 0U;
            if (taken == steps) {
                break;
            }
        }
    });
}

}  // namespace twins
