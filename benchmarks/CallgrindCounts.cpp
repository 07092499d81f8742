#include <benchmarks/CallgrindCounts.h>

#include <fstream>
#include <sstream>

namespace bench {

namespace {

Spread exactly(double value) {
    return {value, value, value};
}

void addCount(std::vector<Line>& lines, const std::string& label, double count) {
    std::istringstream words(label);
    std::string name;
    std::string side;
    double units = 1.0;
    words >> name >> side >> units;
    if (side == "library") {
        lines.push_back({"instructions_" + name, units == 1.0 ? "per call" : "per node", exactly(count / units), {}});
    } else if (!lines.empty()) {
        Line& line = lines.back();
        line.comparisons.push_back({side, count / units, exactly(line.subject.median / (count / units))});
    }
}

}  // namespace

std::string countLabel(const std::string& line, const std::string& side, double units) {
    std::ostringstream label;
    label << line << ' ' << side << ' ' << units;
    return label.str();
}

std::vector<Line> readCounts(const std::string& path) {
    static const std::string labelled = "desc: Trigger: Client Request: ";
    static const std::string total = "totals: ";
    std::vector<Line> lines;
    std::ifstream file(path);
    std::string label;
    for (std::string text; std::getline(file, text);) {
        if (text.rfind("desc: Trigger: ", 0) == 0) {
            label = text.rfind(labelled, 0) == 0 ? text.substr(labelled.size()) : "";
        } else if (text.rfind(total, 0) == 0 && !label.empty()) {
            addCount(lines, label, std::stod(text.substr(total.size())));
        }
    }
    return lines;
}

}  // namespace bench
