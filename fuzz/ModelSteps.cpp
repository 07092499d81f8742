// Sequences of public calls, each of them taken by the library and by an independent model of it.

#include <tests/graph/model/Pair.h>

#include <fuzz/Expect.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t mostSteps = 300;
    twins::Pair pair;
    for (std::size_t step = 0, at = 0; step < mostSteps && at < size; ++step) {
        // A step says first how many words it has.
        const std::size_t length = data[at++] % (twins::mostWords + 1);
        twins::Words words(length);
        for (std::uint16_t& word : words) {
            if (at + sizeof word <= size) {
                std::memcpy(&word, data + at, sizeof word);
            }
            at += sizeof word;
        }
        if (pair.step(words) == twins::Taken::Differently) {
            std::fputs(pair.report().c_str(), stderr);
            fuzz::expect(false, "model and library agree");
        }
    }
    return 0;
}
