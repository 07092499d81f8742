#include <tools/host/Numbers.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <system_error>

namespace TessilHost {

namespace {

constexpr std::size_t longestNumber = 64;

template <class Real>
std::string shortestText(Real number) {
    if (std::isnan(number)) {
        return "nan";  // never "-nan": the sign of a NaN means nothing here
    }
    char text[longestNumber];
    // Whole numbers as people write them: 100000, not 1e+05.
    constexpr Real manyDigits = Real(1e15);
    const bool isWhole = std::abs(number) < manyDigits && number == std::trunc(number);
    const auto end = isWhole ? std::to_chars(text, text + longestNumber, number, std::chars_format::fixed)
                             : std::to_chars(text, text + longestNumber, number);
    return {text, end.ptr};
}

}  // namespace

std::string exactText(double number) {
    return shortestText(number);
}

std::string exactText(float number) {
    return shortestText(number);
}

std::string readableText(double number) {
    if (std::isnan(number)) {
        return "nan";
    }
    constexpr int digits = 10;
    char text[longestNumber];
    const auto end = std::to_chars(text, text + longestNumber, number, std::chars_format::general, digits);
    return {text, end.ptr};
}

std::optional<double> parseNumber(std::string_view text) {
    if (text == "nan") {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (text == "inf" || text == "-inf") {
        const double infinity = std::numeric_limits<double>::infinity();
        return text == "inf" ? infinity : -infinity;
    }
    // Only plain decimals: from_chars alone would take "infinity" and "nan(1)" as well.
    if (text.find_first_not_of("0123456789+-.eE") != std::string_view::npos) {
        return std::nullopt;
    }
    double number = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (end != text.data() + text.size() || error == std::errc::invalid_argument) {
        return std::nullopt;
    }
    if (error == std::errc::result_out_of_range) {
        // Too small is zero or a denormal, which is an answer; too large is none.
        number = std::strtod(std::string(text).c_str(), nullptr);
        if (!std::isfinite(number)) {
            return std::nullopt;
        }
    }
    return number;
}

std::optional<float> toSingle(double number) {
    constexpr double infinite = 0x1.ffffffp127;  // from here on a number rounds to no finite one
    if (!(std::abs(number) < infinite)) {
        return std::nullopt;
    }
    return static_cast<float>(number);
}

}  // namespace TessilHost
