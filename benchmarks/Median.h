#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace bench {

/// Of at least one value.
inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2.0;
}

}  // namespace bench
