#pragma once

#include <cstdint>
#include <string>

namespace TessilHost {

/// The frames first, first + step, first + 2 step, ... up to and including last.
class FrameRange {
public:
    /// Reads "FIRST:LAST" or "FIRST:LAST:STEP"; the step is 1 when left out, and may be negative.
    /// Throws `UserError` for anything else, for a step that does not lead to LAST, and for more
    /// than `maxCount` frames.
    static FrameRange parse(const std::string& text);

    static constexpr std::uint64_t maxCount = 10'000'000;

    /// At least 1.
    std::uint64_t count() const { return count_; }

    /// Frame number `index`, counted from 0. Never beyond LAST, and without accumulated rounding.
    double frame(std::uint64_t index) const;

    /// Whether every frame is a whole number that fits 32 bits.
    bool isIntegral() const;

private:
    /// Whether no two frames round to the same number.
    bool tellsFramesApart() const;

    double first_ = 0.0;
    double last_ = 0.0;
    double step_ = 1.0;
    std::uint64_t count_ = 1;
};

}  // namespace TessilHost
