#include <tools/host/TextTable.h>

#include <tools/host/Text.h>

#include <algorithm>
#include <cstddef>

namespace TessilHost {

std::string TextTable::text() const {
    std::vector<std::size_t> widths;
    for (const auto& row : rows_) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], characterCount(row[i]));
        }
    }
    std::string text;
    for (const auto& row : rows_) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string padding(widths[i] - characterCount(row[i]), ' ');
            const bool right = i < columns_.size() && columns_[i] == Align::Right;
            line += (i == 0 ? "" : "  ") + (right ? padding + row[i] : row[i] + padding);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
    }
    return text;
}

}  // namespace TessilHost
