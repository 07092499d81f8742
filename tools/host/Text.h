#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace TessilHost {

/// `text` on one line of printable UTF-8: control characters and broken bytes are written as
/// escapes. Shortened in the middle to about `maxBytes`.
std::string oneLine(std::string_view text, std::size_t maxBytes = 400);

/// `text` in double quotes, on one line, shortened: how a message shows a name or a path.
std::string inQuotes(std::string_view text);

/// Whether `text` is well-formed UTF-8.
bool isUtf8(std::string_view text);

/// How many characters `text`, well-formed UTF-8, has.
std::size_t characterCount(std::string_view text);

}  // namespace TessilHost
