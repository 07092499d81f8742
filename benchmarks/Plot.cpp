#include <benchmarks/Plot.h>

#include <benchmarks/LineName.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <map>
#include <sstream>

namespace bench {

namespace {

struct Colour {
    const char* workload;
    const char* value;
};
constexpr Colour colours[] = {
    {"chain", "#4269d0"}, {"fan", "#d99a1c"}, {"ladder", "#e0493b"}, {"dag", "#3a9a68"}, {"rig", "#8a5bd0"}};

constexpr int columns = 4;
constexpr double panelWidth = 300.0;
constexpr double panelHeight = 230.0;
constexpr double left = 52.0;
constexpr double right = 14.0;
constexpr double top = 30.0;
constexpr double bottom = 34.0;
constexpr double headHeight = 44.0;

struct Point {
    double nodes;
    double value;
};

/// One workload in one panel.
struct Curve {
    std::vector<Point> library;
    std::vector<Point> rival;
};

struct Panel {
    std::string operation;
    std::string unit;
    std::string rival;
    std::map<std::string, Curve> curves;  ///< By workload.
};

bool hasColour(const std::string& workload) {
    return std::any_of(std::begin(colours), std::end(colours),
                       [&](const Colour& colour) { return workload == colour.workload; });
}

std::vector<Panel> makePanels(const std::vector<Line>& lines) {
    std::vector<Panel> panels;
    for (const Line& line : lines) {
        const LineName name(line.name);
        if (name.nodes == 0.0 || !hasColour(name.workload) || line.subject.median <= 0.0) {
            continue;
        }
        auto panel = std::find_if(panels.begin(), panels.end(),
                                  [&](const Panel& known) { return known.operation == name.operation; });
        if (panel == panels.end()) {
            panel = panels.insert(panels.end(), {name.operation, line.unit, "", {}});
        }
        Curve& curve = panel->curves[name.workload];
        curve.library.push_back({name.nodes, line.subject.median});
        if (!line.comparisons.empty() && line.comparisons.front().median > 0.0) {
            panel->rival = line.comparisons.front().name;
            curve.rival.push_back({name.nodes, line.comparisons.front().median});
        }
    }
    const auto hasOneSize = [](const Panel& panel) {
        return std::all_of(panel.curves.begin(), panel.curves.end(),
                           [](const auto& curve) { return curve.second.library.size() < 2; });
    };
    panels.erase(std::remove_if(panels.begin(), panels.end(), hasOneSize), panels.end());
    for (Panel& panel : panels) {
        for (auto& named : panel.curves) {
            const auto bySize = [](const Point& a, const Point& b) { return a.nodes < b.nodes; };
            std::sort(named.second.library.begin(), named.second.library.end(), bySize);
            std::sort(named.second.rival.begin(), named.second.rival.end(), bySize);
        }
    }
    return panels;
}

/// A logarithmic axis from the least value to the greatest.
struct Axis {
    double from;
    double to;
    double begin;  ///< Where `from` stands in the picture, and where `to`.
    double end;

    double place(double value) const { return begin + (end - begin) * std::log(value / from) / std::log(to / from); }
};

/// The next of 1, 2, 5, 10, 20, ... at or below the value; at or above it.
double roundDown(double value) {
    const double decade = std::pow(10.0, std::floor(std::log10(value) + 1e-9));
    return decade * (value >= 4.999 * decade ? 5.0 : value >= 1.999 * decade ? 2.0 : 1.0);
}

double next(double round) {
    const double decade = std::pow(10.0, std::floor(std::log10(round) + 1e-9));
    return round < 1.5 * decade ? 2.0 * decade : round < 3.0 * decade ? 5.0 * decade : 10.0 * decade;
}

std::string label(double value) {
    std::ostringstream text;
    if (value >= 999999.0) {
        text << value / 1e6 << 'M';
    } else if (value >= 999.0) {
        text << value / 1e3 << 'k';
    } else {
        text << value;
    }
    return text.str();
}

Axis valueAxis(const Panel& panel) {
    double least = 1e300;
    double greatest = 0.0;
    for (const auto& [workload, curve] : panel.curves) {
        for (const std::vector<Point>* points : {&curve.library, &curve.rival}) {
            for (const Point& point : *points) {
                least = std::min(least, point.value);
                greatest = std::max(greatest, point.value);
            }
        }
    }
    const double from = roundDown(least);
    return {from, std::max(next(roundDown(greatest)), 10.0 * from), panelHeight - bottom, top};
}

class Picture {
public:
    explicit Picture(std::ostream& out) : out_(out) {}

    void line(double x1, double y1, double x2, double y2, const char* colour) {
        out_ << "<line x1='" << x1 << "' y1='" << y1 << "' x2='" << x2 << "' y2='" << y2 << "' stroke='" << colour
             << "'/>\n";
    }

    void text(double x, double y, const std::string& words, const char* anchor, const char* more = "") {
        out_ << "<text x='" << x << "' y='" << y << "' text-anchor='" << anchor << "' " << more << '>' << words
             << "</text>\n";
    }

    void curve(const std::vector<Point>& points, const Axis& across, const Axis& up, const char* colour,
               bool isLibrary) {
        if (points.empty()) {
            return;
        }
        out_ << "<polyline fill='none' stroke='" << colour << "' stroke-width='" << (isLibrary ? 2 : 1) << "'"
             << (isLibrary ? "" : " stroke-dasharray='4 3'") << " points='";
        for (const Point& point : points) {
            out_ << across.place(point.nodes) << ',' << up.place(point.value) << ' ';
        }
        out_ << "'/>\n";
        for (const Point& point : points) {
            out_ << "<circle cx='" << across.place(point.nodes) << "' cy='" << up.place(point.value) << "' r='"
                 << (isLibrary ? 2.5 : 1.5) << "' fill='" << colour << "'/>\n";
        }
    }

    void panel(const Panel& drawn, const Axis& across) {
        const Axis up = valueAxis(drawn);
        std::string title = drawn.operation;
        std::replace(title.begin(), title.end(), '_', ' ');
        text(left, 16.0, title, "start", "font-weight='bold'");
        text(panelWidth - right, 16.0, drawn.unit, "end", "fill='#666'");
        for (double tick = up.from; tick <= 1.001 * up.to; tick = next(tick)) {
            // Many decades leave no room for more than their beginnings.
            const bool isDecade = std::abs(std::remainder(std::log10(tick), 1.0)) < 1e-6;
            if (!isDecade && up.to / up.from > 300.0) {
                continue;
            }
            line(left, up.place(tick), panelWidth - right, up.place(tick), "#ddd");
            text(left - 6.0, up.place(tick) + 4.0, label(tick), "end");
        }
        for (double tick = across.from; tick <= 1.001 * across.to; tick *= 10.0) {
            line(across.place(tick), top, across.place(tick), panelHeight - bottom, "#ddd");
            text(across.place(tick), panelHeight - bottom + 16.0, label(tick), "middle");
        }
        for (const Colour& colour : colours) {
            const auto found = drawn.curves.find(colour.workload);
            if (found != drawn.curves.end()) {
                curve(found->second.rival, across, up, colour.value, false);
                curve(found->second.library, across, up, colour.value, true);
            }
        }
        if (!drawn.rival.empty()) {
            text(panelWidth - right, panelHeight - 4.0, "dashed: " + drawn.rival, "end", "fill='#666'");
        }
    }

    void legend() {
        double x = left;
        for (const Colour& colour : colours) {
            out_ << "<line x1='" << x << "' y1='22' x2='" << x + 22.0 << "' y2='22' stroke='" << colour.value
                 << "' stroke-width='3'/>\n";
            text(x + 28.0, 26.0, colour.workload, "start");
            x += 92.0;
        }
        text(x, 26.0, "solid: the library; across: nodes", "start", "fill='#666'");
    }

private:
    std::ostream& out_;
};

}  // namespace

bool writePlot(const std::string& path, const std::vector<Line>& lines) {
    const std::vector<Panel> panels = makePanels(lines);
    if (panels.empty()) {
        return false;
    }
    double most = 10000.0;
    for (const Panel& panel : panels) {
        for (const auto& [workload, curve] : panel.curves) {
            most = std::max(most, curve.library.back().nodes);
        }
    }
    const Axis across{1000.0, most, left, panelWidth - right};
    const std::size_t rows = (panels.size() + columns - 1) / columns;
    const double width = columns * panelWidth;
    const double height = headHeight + static_cast<double>(rows) * panelHeight;

    std::ofstream file(path);
    file << "<svg xmlns='http://www.w3.org/2000/svg' width='" << width << "' height='" << height
         << "' font-family='sans-serif' font-size='11'>\n<rect width='100%' height='100%' fill='white'/>\n";
    Picture picture(file);
    picture.legend();
    for (std::size_t i = 0; i < panels.size(); ++i) {
        const std::size_t row = i / columns;
        const std::size_t column = i % columns;
        file << "<g transform='translate(" << static_cast<double>(column) * panelWidth << ' '
             << headHeight + static_cast<double>(row) * panelHeight << ")'>\n";
        picture.panel(panels[i], across);
        file << "</g>\n";
    }
    file << "</svg>\n";
    return true;
}

}  // namespace bench
