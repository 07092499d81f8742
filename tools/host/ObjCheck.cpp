#include <tools/host/ObjCheck.h>

#include <tools/host/Errors.h>
#include <tools/host/Numbers.h>
#include <tools/host/Text.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string_view>
#include <system_error>

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

    void run(std::string_view text) {
        while (!text.empty()) {
            const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
            ++line_;
            checkLine(text.substr(0, end));
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
    }

private:
    [[noreturn]] void refuse(const std::string& reason) const {
        throw UserError(oneLine(path_) + ':' + std::to_string(line_) + ": " + reason);
    }

    void checkLine(std::string_view line) {
        if (line.find('\0') != std::string_view::npos) {
            refuse("a zero byte: this is no OBJ file");
        }
        const std::string_view keyword = takeWord(line);
        if (keyword == "v") {
            checkNumbers(line, "a point");
            ++points_.count;
        } else if (keyword == "vn") {
            checkNumbers(line, "a normal");
            ++normals_.count;
        } else if (keyword == "vt") {
            ++textures_.count;
        } else if (keyword == "f") {
            checkFace(line);
            ++faces_;
        }
    }

    void checkNumbers(std::string_view line, const char* what) const {
        constexpr int coordinates = 3;
        constexpr double infinite = 0x1.ffffffp127;  // From here on a number rounds to no finite one.
        for (int i = 0; i < coordinates; ++i) {
            std::string_view word = takeWord(line);
            if (word.empty()) {
                refuse(std::string(what) + " needs three coordinates");
            }
            std::string_view digits = word;
            if (digits.size() > 1 && digits[0] == '+') {
                digits.remove_prefix(1);
            }
            const auto number = parseNumber(digits);
            if (!number || !(std::abs(*number) < infinite)) {
                refuse("the coordinate " + inQuotes(word) + " is no finite number in single precision");
            }
        }
    }

    void checkFace(std::string_view line) {
        unsigned int corners = 0;
        for (std::string_view word = takeWord(line); !word.empty(); word = takeWord(line)) {
            checkCorner(word);
            if (++corners > maxFaceCorners) {
                refuse("a face of more than " + std::to_string(maxFaceCorners) + " corners");
            }
        }
        if (corners < 3) {
            refuse("a face needs at least three corners");
        }
    }

    /// "POINT", "POINT/TEXTURE", "POINT//NORMAL" or "POINT/TEXTURE/NORMAL".
    void checkCorner(std::string_view corner) {
        const std::size_t first = std::min(corner.find('/'), corner.size());
        checkIndex(corner, corner.substr(0, first), points_);
        if (first == corner.size()) {
            return;
        }
        const std::string_view rest = corner.substr(first + 1);
        const std::size_t second = std::min(rest.find('/'), rest.size());
        if (second > 0) {
            checkIndex(corner, rest.substr(0, second), textures_);
        }
        if (second < rest.size()) {
            checkIndex(corner, rest.substr(second + 1), normals_);
        } else if (second == 0) {
            refuse("the corner " + inQuotes(corner) + " ends with a slash");
        }
    }

    void checkIndex(std::string_view corner, std::string_view digits, Elements& elements) const {
        int index = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), index);
        if (digits.empty() || end != digits.data() + digits.size() || error != std::errc()) {
            refuse("the corner " + inQuotes(corner) + " has an index that is no number in range");
        }
        if (index == 0) {
            refuse("the corner " + inQuotes(corner) + " has the index 0; indices start at 1");
        }
        if (index < 0 && static_cast<std::size_t>(-static_cast<long long>(index)) > elements.count) {
            refuse("the corner " + inQuotes(corner) + " counts back beyond the first " + elements.name);
        }
        if (index > 0 && static_cast<std::size_t>(index) > elements.largestIndex) {
            elements.largestIndex = static_cast<std::size_t>(index);
            elements.largestIndexLine = line_;
        }
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
    Elements points_{"point"};
    Elements textures_{"texture coordinate"};
    Elements normals_{"normal"};
};

}  // namespace

void checkObjText(const std::string& path, const std::string& text) {
    ObjCheck(path).run(text);
}

}  // namespace TessilHost
