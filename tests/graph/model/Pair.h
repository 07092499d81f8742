#pragma once

#include <tests/faults/Shortage.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace twins {

/// What decides a step: which one is taken, and with what. Any numbers make a step or none.
using Words = std::vector<std::uint16_t>;

/// No step looks at more words.
constexpr std::size_t mostWords = 12;

enum class Taken {
    Alike,        ///< Model and library agree on everything that can be seen.
    CalledOff,    ///< The library ran out of memory, and they agree on what that leaves.
    Skipped,      ///< No such step can be taken, or its outcome is left open. Nothing was done.
    Differently,  ///< They disagree.
};

/// How often all that can be seen is compared. Looking changes how the library keeps things: nodes in order, lists
/// of ports as vectors.
enum class Look { Always, Seldom };

/// Model and library side by side, and the steps that both take.
class Pair {
public:
    /// The names and texts that steps choose begin with `prefix`.
    explicit Pair(Look look = Look::Always, const std::string& prefix = "");
    ~Pair();
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    Taken step(const Words& words);

    /// The same while the library runs short of memory, from its allocation number `first` on.
    Taken stepInShortage(const Words& words, std::size_t first, tests::Shortage kind);

    /// Where model and library differ, and the last steps before.
    std::string report() const;

    /// How many steps of each kind were taken.
    const std::map<std::string, int>& kinds() const;

    /// How many of each kind were called off.
    const std::map<std::string, int>& calledOff() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace twins
