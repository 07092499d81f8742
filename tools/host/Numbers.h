#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace TessilHost {

/// The shortest text that reads back as exactly `number`, whole numbers without an exponent; "nan",
/// "inf" and "-inf" for what is no finite number.
std::string exactText(double number);
std::string exactText(float number);

/// `number` to ten significant digits, for people.
std::string readableText(double number);

/// The number that the whole of `text` spells ("1", "-2.5e3", "nan", "inf", "-inf"), or nothing.
/// What is too large for a double is nothing, too.
std::optional<double> parseNumber(std::string_view text);

/// `number` rounded to single precision, or nothing when that is no finite number. The largest one,
/// as it is usually printed (3.4028235e38), is a little too large and rounds down to it.
std::optional<float> toSingle(double number);

}  // namespace TessilHost
