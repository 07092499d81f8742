#include <benchmarks/Results.h>

#include <nlohmann/json.hpp>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>

namespace bench {

using nlohmann::json;

namespace {

json toJson(const Spread& spread) {
    return {{"median", spread.median}, {"min", spread.min}, {"max", spread.max}};
}

Spread toSpread(const json& from) {
    return {from.at("median"), from.at("min"), from.at("max")};
}

json toJson(const Line& line) {
    json comparisons = json::array();
    for (const Comparison& comparison : line.comparisons) {
        comparisons.push_back(
            {{"name", comparison.name}, {"median", comparison.median}, {"ratio", toJson(comparison.ratio)}});
    }
    return {{"name", line.name}, {"unit", line.unit}, {"subject", toJson(line.subject)}, {"comparisons", comparisons}};
}

Line toLine(const json& from) {
    Line line{from.at("name"), from.at("unit"), toSpread(from.at("subject")), {}};
    for (const json& comparison : from.at("comparisons")) {
        line.comparisons.push_back({comparison.at("name"), comparison.at("median"), toSpread(comparison.at("ratio"))});
    }
    return line;
}

}  // namespace

std::vector<Line> readResults(const std::string& path) {
    std::vector<Line> lines;
    try {
        std::ifstream file(path);
        const json results = json::parse(file);
        for (const json& line : results.at("lines")) {
            lines.push_back(toLine(line));
        }
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s holds no results: %s\n", path.c_str(), problem.what());
        std::exit(2);
    }
    return lines;
}

void writeResults(const std::string& path, const std::vector<Line>& lines) {
    std::ofstream file(path);
    // A line of the file for each line, so that two files can be told apart by eye.
    file << "{\"lines\": [\n";
    for (std::size_t i = 0; i < lines.size(); ++i) {
        file << toJson(lines[i]).dump() << (i + 1 < lines.size() ? ",\n" : "\n");
    }
    file << "]}\n";
}

}  // namespace bench
