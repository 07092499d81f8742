#pragma once

#include <benchmarks/Results.h>

#include <string>
#include <vector>

namespace bench {

/// Draws what the lines say of each operation against the number of nodes, as an SVG picture: a panel for
/// each operation that was measured at several sizes, a colour for each workload, and dashed what the
/// library is compared with first. False, with nothing written, when there is no such operation.
bool writePlot(const std::string& path, const std::vector<Line>& lines);

}  // namespace bench
