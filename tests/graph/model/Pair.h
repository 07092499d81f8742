#pragma once

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
    Skipped,      ///< No such step can be taken, or its outcome is left open. Nothing was done.
    Differently,  ///< They disagree.
};

/// Model and library side by side, and the steps that both take.
class Pair {
public:
    Pair();
    ~Pair();
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    Taken step(const Words& words);

    /// Where model and library differ, and the last steps before.
    std::string report() const;

    /// How many steps of each kind were taken.
    const std::map<std::string, int>& kinds() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace twins
