#pragma once

#include <benchmarks/Results.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

/// Prints lines, beside those of an earlier run if there is one.
class Table {
public:
    explicit Table(const std::vector<Line>& stored);

    void printHead() const;
    void print(const Line& line) const;

private:
    std::map<std::string, Line> stored_;
};

}  // namespace bench
