#pragma once

#include <benchmarks/Results.h>

#include <string>
#include <vector>

namespace bench {

/// Writes the lines as tables for a document: ratios and medians of networks, a column for each workload,
/// and then all other lines.
void writeMarkdown(const std::string& path, const std::vector<Line>& lines);

}  // namespace bench
