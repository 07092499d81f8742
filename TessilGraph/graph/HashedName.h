#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace TessilGraph {

/// The first eight bytes of a text as a number that compares as they do; those that a shorter text
/// lacks count as 0.
///
/// Threads: any number at once, while nobody changes the text.
inline std::uint64_t leadingBytes(const char* text, std::size_t size) {
    const auto byte = [text](std::size_t index) {
        return static_cast<std::uint64_t>(static_cast<unsigned char>(text[index]));
    };
    const auto fourBytes = [byte](std::size_t first) {
        return byte(first) << 24 | byte(first + 1) << 16 | byte(first + 2) << 8 | byte(first + 3);
    };
    // Loads that overlap, rather than a loop over the bytes.
    if (size >= 8) {
        return fourBytes(0) << 32 | fourBytes(4);
    }
    if (size >= 4) {
        return fourBytes(0) << 32 | fourBytes(size - 4) << (8 * (8 - size));
    }
    if (size > 0) {
        return byte(0) << 56 | byte(size / 2) << (56 - 8 * (size / 2)) | byte(size - 1) << (64 - 8 * size);
    }
    return 0;
}

/// At most eight bytes of text as a number, which no other text of that size has.
///
/// Threads: any number at once, while nobody changes the text.
[[gnu::always_inline]] inline std::uint64_t packedBytes(const char* text, std::size_t size) {
    const auto byte = [text](std::size_t index) {
        return static_cast<std::uint64_t>(static_cast<unsigned char>(text[index]));
    };
    if (size >= 4) {
        std::uint32_t first = 0;
        std::uint32_t last = 0;
        std::memcpy(&first, text, sizeof first);
        std::memcpy(&last, text + size - sizeof last, sizeof last);
        return first | static_cast<std::uint64_t>(last) << 32;
    }
    return size > 0 ? byte(0) | byte(size / 2) << 8 | byte(size - 1) << 16 : 0;
}

/// Equality of names, which are short most of the time.
///
/// Threads: any number at once, while nobody changes the texts.
inline bool isSameText(std::string_view one, std::string_view other) {
    if (one.size() != other.size()) {
        return false;
    }
    return one.size() <= 8 ? packedBytes(one.data(), one.size()) == packedBytes(other.data(), one.size())
                           : std::memcmp(one.data(), other.data(), one.size()) == 0;
}

/// A name and its hash, worked out once for all the tables that are asked for it. It refers to the
/// text, which must outlive it.
///
/// The hash takes in every byte and the length, eight bytes a step, and spreads them over all its
/// bits. It is no shield against names that somebody made up to collide.
///
/// Threads: any number at once, while nobody changes the text.
class HashedName {
public:
    /// Expanded in place, where the hash of a literal is a constant.
    [[gnu::always_inline]] HashedName(std::string_view text) : text_(text), hash_(hashOf(text)) {}
    HashedName(const std::string& text) : HashedName(std::string_view(text)) {}

    std::string_view text() const { return text_; }
    std::uint32_t hash() const { return hash_; }

private:
    [[gnu::always_inline]] static std::uint32_t hashOf(std::string_view text) {
        const char* rest = text.data();
        std::size_t size = text.size();
        std::uint64_t hash = size;
        for (; size > 8; rest += 8, size -= 8) {
            hash = mix(hash ^ packedBytes(rest, 8), 0x9e3779b97f4a7c15U);
        }
        hash = mix(hash ^ packedBytes(rest, size), 0x9e3779b97f4a7c15U);
        return static_cast<std::uint32_t>(mix(hash, 0xd6e8feb86659fd93U));
    }

    /// Multiplying carries each bit up, shifting brings the upper half down again.
    static std::uint64_t mix(std::uint64_t bits, std::uint64_t odd) {
        bits *= odd;
        return bits ^ bits >> 32;
    }

    std::string_view text_;
    std::uint32_t hash_;
};

}  // namespace TessilGraph
