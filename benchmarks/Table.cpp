#include <benchmarks/Table.h>

#include <cstdio>

namespace bench {

namespace {

constexpr int nameWidth = 40;

/// Beyond the spread of both; less than a hundredth is not worth a mark even where there is none.
bool areApart(const Spread& a, const Spread& b) {
    constexpr double little = 1.01;
    return a.max * little < b.min || b.max * little < a.min;
}

double percent(double now, double before) {
    return before == 0.0 ? 0.0 : 100.0 * (now / before - 1.0);
}

void printChange(const Line& now, const Line& before) {
    bool moved = areApart(now.subject, before.subject);
    std::printf("  %+6.0f %%", percent(now.subject.median, before.subject.median));
    if (!now.comparisons.empty() && !before.comparisons.empty()) {
        const Spread& ratio = now.comparisons.front().ratio;
        const Spread& oldRatio = before.comparisons.front().ratio;
        // A machine that has become slower moves the time, not the ratio.
        moved = moved && areApart(ratio, oldRatio);
        std::printf(" ratio %+6.0f %%", percent(ratio.median, oldRatio.median));
    }
    std::printf("%s", moved ? " *" : "");
}

}  // namespace

Table::Table(const std::vector<Line>& stored) {
    for (const Line& line : stored) {
        stored_.emplace(line.name, line);
    }
}

void Table::printHead() const {
    std::printf("%-*s %10s %24s %-12s  %s%s\n", nameWidth, "operation/workload/size", "median", "[min .. max]", "",
                "compared with: its median, x ratio to it [min .. max]",
                stored_.empty() ? "" : "; change against the stored run, * beyond the spread");
}

void Table::print(const Line& line) const {
    std::printf("%-*s %10.4g", nameWidth, line.name.c_str(), line.subject.median);
    if (line.subject.min < line.subject.max) {
        std::printf(" [%9.4g .. %9.4g]", line.subject.min, line.subject.max);
    } else {
        std::printf(" %24s", "");
    }
    std::printf(" %-12s", line.unit.c_str());
    for (std::size_t i = 0; i < line.comparisons.size(); ++i) {
        const Comparison& with = line.comparisons[i];
        std::printf("  %s %.4g x%.3g", with.name.c_str(), with.median, with.ratio.median);
        // What counts is the first; of the others the median will do.
        if (i == 0 && with.ratio.min < with.ratio.max) {
            std::printf(" [%.3g .. %.3g]", with.ratio.min, with.ratio.max);
        }
    }
    const auto before = stored_.find(line.name);
    if (before != stored_.end()) {
        printChange(line, before->second);
    }
    std::printf("\n");
    std::fflush(stdout);
}

}  // namespace bench
