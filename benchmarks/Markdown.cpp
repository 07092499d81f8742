#include <benchmarks/Markdown.h>

#include <benchmarks/LineName.h>
#include <benchmarks/Workloads.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <utility>

namespace bench {

namespace {

std::string number(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), value >= 1000.0 ? "%.0f" : "%.3g", value);
    return text.data();
}

std::string words(std::string name) {
    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
}

std::string ratioOf(const Spread& ratio) {
    return number(ratio.median) +
           (ratio.min < ratio.max ? " [" + number(ratio.min) + " .. " + number(ratio.max) + "]" : "");
}

/// Rows with a column for each workload.
class WorkloadTable {
public:
    explicit WorkloadTable(std::string head) : head_(std::move(head)) {}

    /// `group` and `size` begin the row; groups stay together, in the order in which they came.
    void set(const std::string& group, const std::string& size, const std::string& workload, const std::string& cell) {
        std::vector<Row>& rows = rowsOf(group);
        auto row = std::find_if(rows.begin(), rows.end(), [&](const Row& known) { return known.size == size; });
        if (row == rows.end()) {
            row = rows.insert(rows.end(), {size, {}});
        }
        for (std::size_t i = 0; i < workloadNames.size(); ++i) {
            if (workload == workloadNames[i]) {
                row->cells[i] = cell;
            }
        }
    }

    void write(std::ostream& out) {
        out << head_;
        for (const char* name : workloadNames) {
            out << ' ' << name << " |";
        }
        out << "\n|";
        for (std::ptrdiff_t i = std::count(head_.begin(), head_.end(), '|'); i > 1; --i) {
            out << "---|";
        }
        for (std::size_t i = 0; i < workloadNames.size(); ++i) {
            out << "---:|";
        }
        out << '\n';
        for (const auto& [group, rows] : groups_) {
            for (const Row& row : rows) {
                out << group << ' ' << row.size << " |";
                for (const std::string& cell : row.cells) {
                    out << ' ' << (cell.empty() ? "-" : cell) << " |";
                }
                out << '\n';
            }
        }
        out << '\n';
    }

private:
    struct Row {
        std::string size;
        std::array<std::string, workloadNames.size()> cells;
    };

    std::vector<Row>& rowsOf(const std::string& group) {
        for (auto& [name, rows] : groups_) {
            if (name == group) {
                return rows;
            }
        }
        return groups_.emplace_back(group, std::vector<Row>{}).second;
    }

    std::string head_;
    std::vector<std::pair<std::string, std::vector<Row>>> groups_;
};

bool isNetworkLine(const LineName& name) {
    return name.nodes > 0.0 && std::any_of(workloadNames.begin(), workloadNames.end(),
                                           [&](const char* workload) { return name.workload == workload; });
}

}  // namespace

void writeMarkdown(const std::string& path, const std::vector<Line>& lines) {
    WorkloadTable ratios("| operation | compared with | nodes |");
    WorkloadTable medians("| operation | unit | nodes |");
    std::string others = "| what | median | unit | compared with, x ratio |\n|---|---:|---|---|\n";
    for (const Line& line : lines) {
        const LineName name(line.name);
        if (!isNetworkLine(name)) {
            others += "| " + words(line.name) + " | " + number(line.subject.median) + " | " + line.unit + " |";
            const char* between = " ";
            for (const Comparison& with : line.comparisons) {
                others += between + words(with.name) + " " + number(with.median) + ", x " + ratioOf(with.ratio);
                between = "; ";
            }
            others += " |\n";
            continue;
        }
        const std::string start = "| " + words(name.operation) + " | ";
        medians.set(start + line.unit + " |", name.size, name.workload, number(line.subject.median));
        for (const Comparison& with : line.comparisons) {
            ratios.set(start + words(with.name) + " |", name.size, name.workload, ratioOf(with.ratio));
        }
    }
    std::ofstream file(path);
    ratios.write(file);
    medians.write(file);
    file << others;
}

}  // namespace bench
