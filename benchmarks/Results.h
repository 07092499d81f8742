#pragma once

#include <string>
#include <vector>

namespace bench {

/// The median of several rounds and the least and the greatest.
struct Spread {
    double median = 0.0;
    double min = 0.0;
    double max = 0.0;
};

/// What a line's subject was compared with, in the same unit.
struct Comparison {
    std::string name;  ///< "lean", "flat", "flow" or the like.
    double median = 0.0;
    Spread ratio;  ///< Subject to this, round by round.
};

/// What one line of the table says.
struct Line {
    std::string name;  ///< "operation/workload/size".
    std::string unit;
    Spread subject;
    std::vector<Comparison> comparisons;  ///< The most telling one first.
};

/// Lines that an earlier run wrote. Ends the program when the file cannot be read.
std::vector<Line> readResults(const std::string& path);

void writeResults(const std::string& path, const std::vector<Line>& lines);

}  // namespace bench
