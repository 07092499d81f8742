#include <tools/host/Text.h>

namespace TessilHost {

namespace {

/// The length of the well-formed UTF-8 character at the start of `text`, which is not empty; 0 when
/// the bytes there are none.
std::size_t characterLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    if (first < 0x80) {
        return 1;
    }
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    // Longer than needed, halves of surrogate pairs, and beyond the last code point.
    const bool overlong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
    const bool surrogate = first == 0xED && byte(1) > 0x9F;
    const bool tooLarge = first == 0xF4 && byte(1) > 0x8F;
    return overlong || surrogate || tooLarge ? 0 : length;
}

bool isControl(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    const bool c1 = first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
    const bool lineSeparator = character == "\u2028" || character == "\u2029";
    return first < 0x20 || first == 0x7F || c1 || lineSeparator;
}

void appendEscaped(std::string& out, std::string_view bytes) {
    if (bytes == "\n") {
        out += "\\n";
    } else if (bytes == "\t") {
        out += "\\t";
    } else if (bytes == "\r") {
        out += "\\r";
    } else {
        for (const char byte : bytes) {
            const auto value = static_cast<unsigned char>(byte);
            out += "\\x";
            out += "0123456789abcdef"[value / 16];
            out += "0123456789abcdef"[value % 16];
        }
    }
}

void appendPrintable(std::string& out, std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        const std::string_view bytes = text.substr(0, length == 0 ? 1 : length);
        if (length == 0 || isControl(bytes)) {
            appendEscaped(out, bytes);
        } else {
            out += bytes;
        }
        text.remove_prefix(bytes.size());
    }
}

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

std::string oneLine(std::string_view text, std::size_t maxBytes) {
    std::string out;
    if (text.size() <= maxBytes) {
        appendPrintable(out, text);
        return out;
    }
    std::size_t head = maxBytes / 2;
    while (head > 0 && continuesCharacter(text[head])) {
        --head;
    }
    std::size_t tail = text.size() - maxBytes / 2;
    while (tail < text.size() && continuesCharacter(text[tail])) {
        ++tail;
    }
    appendPrintable(out, text.substr(0, head));
    out += " ... ";
    appendPrintable(out, text.substr(tail));
    return out;
}

std::string inQuotes(std::string_view text) {
    constexpr std::size_t maxBytes = 80;
    return '"' + oneLine(text, maxBytes) + '"';
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::size_t characterCount(std::string_view text) {
    std::size_t count = 0;
    for (const char byte : text) {
        count += continuesCharacter(byte) ? 0 : 1;
    }
    return count;
}

}  // namespace TessilHost
