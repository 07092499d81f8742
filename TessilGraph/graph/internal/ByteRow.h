#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

// Loads of sixteen bytes, each of which comes from memory in one piece, as one by one. ThreadSanitizer takes
// them for something else.
#if defined(__SSE2__) && !defined(__SANITIZE_THREAD__)
#define TESSILGRAPH_WIDE_LOADS 1
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#undef TESSILGRAPH_WIDE_LOADS
#endif
#endif
#endif

#if defined(TESSILGRAPH_WIDE_LOADS)
#include <emmintrin.h>
#endif

namespace TessilGraph::internal {

/// Flags that stand side by side, to be looked at 64 at a time while other threads may set some.
using FlagByte = std::atomic<std::uint8_t>;
using FlagWord = std::uint64_t __attribute__((may_alias));

inline constexpr std::size_t bytesPerRow = 64;

/// A row of flags as words. Rows start at multiples of 16.
inline FlagWord* wordsOf(const FlagByte* row) {
    return reinterpret_cast<FlagWord*>(const_cast<FlagByte*>(row));
}

inline bool isAnyNonZero(const FlagByte* row) {
    std::uint64_t bytes = 0;
    for (std::size_t word = 0; word < bytesPerRow / sizeof(FlagWord); ++word) {
        bytes |= __atomic_load_n(wordsOf(row) + word, __ATOMIC_RELAXED);
    }
    return bytes != 0;
}

/// A bit for each byte of a row that is not zero. Bytes are below 128.
inline std::uint64_t nonZeroBytes(const FlagByte* row) {
#if defined(TESSILGRAPH_WIDE_LOADS)
    const auto* quarters = reinterpret_cast<const __m128i*>(row);
    const auto zerosOf = [quarters](int quarter) {
        const __m128i zeros = _mm_cmpeq_epi8(_mm_load_si128(quarters + quarter), _mm_setzero_si128());
        return static_cast<std::uint64_t>(static_cast<unsigned int>(_mm_movemask_epi8(zeros)));
    };
    return ~(zerosOf(0) | zerosOf(1) << 16 | zerosOf(2) << 32 | zerosOf(3) << 48);
#else
    std::uint64_t bits = 0;
    for (std::size_t word = 0; word < bytesPerRow / sizeof(FlagWord); ++word) {
        const std::uint64_t bytes = __atomic_load_n(wordsOf(row) + word, __ATOMIC_RELAXED);
        const std::uint64_t highBits = (bytes + 0x7f7f7f7f7f7f7f7f) & 0x8080808080808080;
        // Gathers the highest bits of the eight bytes in the highest byte.
        bits |= ((highBits >> 7) * 0x0102040810204080 >> 56) << word * 8;
    }
    return bits;
#endif
}

}  // namespace TessilGraph::internal
