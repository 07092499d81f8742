#include <tools/host/ObjText.h>

#include <tools/host/Errors.h>
#include <tools/host/Numbers.h>
#include <tools/host/Text.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace TessilHost {

namespace {

/// How many elements of one kind (points, texture coordinates, normals) the lines so far have
/// brought, and the largest index that a face has used. A face may refer to points that follow it.
struct Elements {
    const char* name;
    std::size_t count = 0;
    std::size_t largestIndex = 0;
    std::size_t largestIndexLine = 0;
};

class ObjCheck {
public:
    explicit ObjCheck(const std::string& path) : path_(path) {}

    std::string run(std::string_view text) {
        constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
        if (text.substr(0, byteOrderMark.size()) == byteOrderMark) {
            text.remove_prefix(byteOrderMark.size());
        }
        while (!text.empty()) {
            const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
            ++line_;
            addLine(text.substr(0, end));
            // "\r\n" ends one line, "\r" and "\n" alone one each.
            const bool two = text.substr(end, 2) == "\r\n";
            text.remove_prefix(std::min(end + (two ? 2 : 1), text.size()));
        }
        for (const Elements* elements : {&points_, &textures_, &normals_}) {
            if (elements->largestIndex > elements->count) {
                line_ = elements->largestIndexLine;
                refuse("the face names " + std::string(elements->name) + " " + std::to_string(elements->largestIndex) +
                       " of " + std::to_string(elements->count));
            }
        }
        if (faces_ == 0) {
            throw UserError(oneLine(path_) + ": the mesh is empty: no face in " + std::to_string(line_) + " lines");
        }
        return std::move(checked_);
    }

private:
    [[noreturn]] void refuse(const std::string& reason) const {
        throw UserError(oneLine(path_) + ':' + std::to_string(line_) + ": " + reason);
    }

    void addLine(std::string_view line) {
        if (line.find('\0') != std::string_view::npos) {
            refuse("a zero byte: this is no OBJ file");
        }
        const std::string_view keyword = takeWord(line);
        if (keyword == "v") {
            addVector(line, "v", "a point");
            ++points_.count;
        } else if (keyword == "vn") {
            addVector(line, "vn", "a normal");
            ++normals_.count;
        } else if (keyword == "vt") {
            ++textures_.count;
        } else if (keyword == "f") {
            addFace(line);
        }
    }

    void addVector(std::string_view line, const char* keyword, const char* what) {
        checked_ += keyword;
        for (int i = 0; i < 3; ++i) {
            const std::string_view word = takeWord(line);
            if (word.empty()) {
                refuse(std::string(what) + " needs three coordinates");
            }
            const auto number = coordinate(word);
            if (!number) {
                refuse("the coordinate " + inQuotes(word) + " is no finite number in single precision");
            }
            checked_ += ' ';
            append(*number);
        }
        checked_ += '\n';
    }

    /// As short as may be, so that it is read back as the same number.
    template <class T>
    void append(T number) {
        std::array<char, 32> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        checked_.append(digits.data(), end);
    }

    static std::optional<float> coordinate(std::string_view word) {
        if (word.size() > 1 && word[0] == '+' && word[1] != '-') {
            word.remove_prefix(1);
        }
        const auto number = parseNumber(word);
        return number ? toSingle(*number) : std::nullopt;
    }

    void addFace(std::string_view line) {
        unsigned int corners = 0;
        checked_ += 'f';
        for (std::string_view word = takeWord(line); !word.empty(); word = takeWord(line)) {
            addCorner(word);
            if (++corners > maxFaceCorners) {
                refuse("a face of more than " + std::to_string(maxFaceCorners) + " corners");
            }
        }
        if (corners < 3) {
            refuse("a face needs at least three corners");
        }
        checked_ += '\n';
        ++faces_;
    }

    /// "POINT", "POINT/TEXTURE", "POINT//NORMAL" or "POINT/TEXTURE/NORMAL".
    void addCorner(std::string_view corner) {
        const std::size_t first = std::min(corner.find('/'), corner.size());
        checked_ += ' ';
        append(readIndex(corner, corner.substr(0, first), points_));
        if (first == corner.size()) {
            return;
        }
        const std::string_view rest = corner.substr(first + 1);
        const std::size_t second = std::min(rest.find('/'), rest.size());
        if (second > 0) {
            readIndex(corner, rest.substr(0, second), textures_);
        }
        if (second < rest.size()) {
            checked_ += "//";
            append(readIndex(corner, rest.substr(second + 1), normals_));
        } else if (second == 0) {
            refuse("the corner " + inQuotes(corner) + " ends with a slash");
        }
    }

    /// Of the element that `digits` name: counted from 1, or backwards from the last one.
    std::size_t readIndex(std::string_view corner, std::string_view digits, Elements& elements) const {
        int index = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), index);
        if (digits.empty() || end != digits.data() + digits.size() || error != std::errc()) {
            refuse("the corner " + inQuotes(corner) + " has an index that is no number in range");
        }
        if (index == 0) {
            refuse("the corner " + inQuotes(corner) + " has the index 0; indices start at 1");
        }
        if (index < 0) {
            const auto back = static_cast<std::size_t>(-static_cast<long long>(index));
            if (back > elements.count) {
                refuse("the corner " + inQuotes(corner) + " counts back beyond the first " + elements.name);
            }
            return elements.count - back + 1;
        }
        const auto place = static_cast<std::size_t>(index);
        if (place > elements.largestIndex) {
            elements.largestIndex = place;
            elements.largestIndexLine = line_;
        }
        return place;
    }

    /// Removes the first word from `line` and returns it; empty at the end.
    static std::string_view takeWord(std::string_view& line) {
        constexpr const char* blanks = " \t";
        line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
        const std::string_view word = line.substr(0, line.find_first_of(blanks));
        line.remove_prefix(word.size());
        return word;
    }

    const std::string& path_;
    std::size_t line_ = 0;
    std::size_t faces_ = 0;
    std::string checked_;
    Elements points_{"point"};
    Elements textures_{"texture coordinate"};
    Elements normals_{"normal"};
};

}  // namespace

std::string checkedObjText(const std::string& path, const std::string& text) {
    return ObjCheck(path).run(text);
}

}  // namespace TessilHost
