#include <tools/host/FrameRange.h>

#include <tools/host/Errors.h>
#include <tools/host/Numbers.h>
#include <tools/host/Text.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <vector>

namespace TessilHost {

namespace {

/// A part of the largest frame. Steps of at least that part are more than three times as wide as the gaps between
/// doubles there, so that no two frames round to the same one.
constexpr double safeStep = 0x1p-50;

/// A step such as 0.1 is no exact double: a last frame that is missed by this part of a step counts.
constexpr double hair = 1e-9;

std::vector<std::string_view> splitAtColons(std::string_view text) {
    std::vector<std::string_view> parts;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t colon = text.find(':', begin);
        parts.push_back(text.substr(begin, colon - begin));
        if (colon == std::string_view::npos) {
            return parts;
        }
        begin = colon + 1;
    }
}

}  // namespace

FrameRange FrameRange::parse(const std::string& text) {
    const auto refuse = [&](const std::string& reason) -> void {
        throw UserError("--frames " + inQuotes(text) + ": " + reason);
    };
    const std::vector<std::string_view> parts = splitAtColons(text);
    if (parts.size() < 2 || parts.size() > 3) {
        refuse("a range is FIRST:LAST or FIRST:LAST:STEP");
    }
    double numbers[3] = {0.0, 0.0, 1.0};
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const auto number = parseNumber(parts[i]);
        if (!number || !std::isfinite(*number)) {
            refuse(inQuotes(parts[i]) + " is no finite number");
        }
        numbers[i] = *number;
    }

    FrameRange range;
    range.first_ = numbers[0];
    range.last_ = numbers[1];
    range.step_ = numbers[2];
    if (range.step_ == 0.0) {
        refuse("the step is 0");
    }
    // The range may be wider than a double can say, so both ends are divided before they are subtracted.
    const double steps = range.last_ / range.step_ - range.first_ / range.step_;
    if (steps < 0.0) {
        refuse("a step of " + exactText(range.step_) + " leads from " + exactText(range.first_) + " away from " +
               exactText(range.last_));
    }
    if (!(steps < static_cast<double>(maxCount))) {
        refuse("more than " + std::to_string(maxCount) + " frames");
    }
    range.count_ = static_cast<std::uint64_t>(std::floor(steps * (1.0 + hair) + hair)) + 1;
    if (range.count_ > maxCount) {
        refuse("more than " + std::to_string(maxCount) + " frames");
    }
    if (!range.tellsFramesApart()) {
        refuse("the step is too small to tell one frame from the next");
    }
    return range;
}

bool FrameRange::tellsFramesApart() const {
    if (std::abs(step_) >= safeStep * std::max(std::abs(first_), std::abs(last_))) {
        return true;
    }
    for (std::uint64_t i = 1; i < count_; ++i) {
        if (frame(i - 1) == frame(i)) {
            return false;
        }
    }
    return true;
}

double FrameRange::frame(std::uint64_t index) const {
    const auto steps = static_cast<double>(index);
    const double way = steps * step_;
    // A way longer than a double can say leads to a frame nonetheless: halves of such numbers are exact.
    const double frame = std::isfinite(way) ? first_ + way : 2.0 * (first_ / 2.0 + steps * (step_ / 2.0));
    const bool meetsLast = index > 0 && std::abs(frame - last_) <= hair * std::abs(step_);
    const bool beyondLast = step_ > 0.0 ? frame > last_ : frame < last_;
    // Adding 0.0 makes a plain 0 of the -0 that a range through zero can meet.
    return (meetsLast || beyondLast ? last_ : frame) + 0.0;
}

bool FrameRange::isIntegral() const {
    const auto fits = [](double number) {
        return number == std::floor(number) && number >= std::numeric_limits<std::int32_t>::min() &&
               number <= std::numeric_limits<std::int32_t>::max();
    };
    const double end = frame(count_ - 1);
    return fits(first_) && fits(end) && step_ == std::floor(step_);
}

}  // namespace TessilHost
