#pragma once

#include <string>
#include <utility>
#include <vector>

namespace TessilHost {

/// Lines up cells in columns two blanks apart, without blanks at the ends of lines.
class TextTable {
public:
    enum class Align { Left, Right };

    /// How the cells of each column line up. Further columns line up on the left.
    explicit TextTable(std::vector<Align> columns = {}) : columns_(std::move(columns)) {}

    void addRow(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

    std::string text() const;

private:
    std::vector<Align> columns_;
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace TessilHost
