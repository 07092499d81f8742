#pragma once

#include <functional>

namespace TessilUtils {

class ParallelForRange {
public:
    ParallelForRange(unsigned int begin, unsigned int end) : begin_(begin), end_(end) {}

    unsigned int begin() const { return begin_; }
    unsigned int end() const { return end_; }

private:
    unsigned int begin_;
    unsigned int end_;
};

inline void parallel_for(const ParallelForRange& range, std::function<void(const ParallelForRange&)> task) {
    if (range.begin() < range.end()) {
        task(range);
    }
}

}  // namespace TessilUtils
