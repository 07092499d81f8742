#pragma once

#include <benchmarks/Results.h>

#include <string>
#include <vector>

namespace bench {

/// What a count is called in callgrind's file: the line that it belongs to, who was counted, and what the
/// count is divided by.
std::string countLabel(const std::string& line, const std::string& side, double units);

/// The labelled counts of a file as lines: "library" is the subject, other sides are compared with.
std::vector<Line> readCounts(const std::string& path);

}  // namespace bench
