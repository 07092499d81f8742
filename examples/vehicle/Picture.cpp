#include "Picture.h"

#include "Terrain.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <utility>

namespace vehicle {

namespace {

constexpr double pi = 3.14159265358979323846;

// The page, in pixels.
constexpr double pageWidth = 1150.0;
constexpr double pageHeight = 1290.0;
constexpr double plotLeft = 80.0;
constexpr double mapTop = 80.0;
constexpr double pixelsPerMetre = 6.0;
constexpr double mapWidth = (terrain::east - terrain::west) * pixelsPerMetre;
constexpr double mapHeight = (terrain::north - terrain::south) * pixelsPerMetre;
constexpr double heightChartTop = mapTop + mapHeight + 75.0;
constexpr double rollChartTop = heightChartTop + 195.0;
constexpr double chartHeight = 160.0;

/// `value` with so many decimals, without a sign when it is zero.
std::string fixed(double value, int decimals) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
    const std::string result = text.data();
    return result.find_first_not_of("-0.") == std::string::npos && result.front() == '-' ? result.substr(1) : result;
}

std::string pixel(double value) {
    return fixed(value, 1);
}

/// A place of the page.
struct Pixel {
    double x = 0.0;
    double y = 0.0;
};

std::string pixels(const Pixel& place) {
    return pixel(place.x) + " " + pixel(place.y);
}

std::string text(double x, double y, const std::string& anchor, const std::string& words,
                 const std::string& attributes = "") {
    return "<text x=\"" + pixel(x) + "\" y=\"" + pixel(y) + "\" text-anchor=\"" + anchor + "\"" +
           (attributes.empty() ? "" : " ") + attributes + ">" + words + "</text>\n";
}

std::string line(const Pixel& from, const Pixel& to, const std::string& attributes) {
    return "<path d=\"M" + pixels(from) + "L" + pixels(to) + "\" " + attributes + "/>\n";
}

std::string polyline(const std::vector<Pixel>& places, const std::string& attributes) {
    std::string points;
    for (const Pixel& place : places) {
        points += (points.empty() ? "M" : "L") + pixels(place);
    }
    return "<path d=\"" + points + "\" " + attributes + "/>\n";
}

std::string rectangle(double x, double y, double width, double height, const std::string& attributes) {
    return "<rect x=\"" + pixel(x) + "\" y=\"" + pixel(y) + "\" width=\"" + pixel(width) + "\" height=\"" +
           pixel(height) + "\" " + attributes + "/>\n";
}

Pixel onMap(double x, double y) {
    return {plotLeft + (x - terrain::west) * pixelsPerMetre, mapTop + (terrain::north - y) * pixelsPerMetre};
}

struct Range {
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();
    void include(double value) {
        low = std::min(low, value);
        high = std::max(high, value);
    }
};

Range terrainRange() {
    Range range;
    for (int row = 0; row < terrain::rows; ++row) {
        for (int column = 0; column < terrain::columns; ++column) {
            range.include(terrain::vertexHeight(column, row));
        }
    }
    return range;
}

/// The colour of a height that lies at `part` (0 to 1) of the terrain's range, in light of the strength
/// `light` (1 where the ground is level).
std::string groundColour(double part, double light) {
    struct Stop {
        double red, green, blue;
    };
    static constexpr std::array<Stop, 5> stops = {
        {{104, 142, 104}, {158, 178, 120}, {212, 204, 150}, {198, 162, 116}, {226, 212, 196}}};
    const double place = std::clamp(part, 0.0, 1.0) * static_cast<double>(stops.size() - 1);
    const std::size_t below = std::min(static_cast<std::size_t>(place), stops.size() - 2);
    const double weight = place - static_cast<double>(below);
    const auto mix = [&](double from, double to) {
        return static_cast<unsigned int>(std::clamp((from + weight * (to - from)) * light, 0.0, 255.0));
    };
    const Stop& low = stops[below];
    const Stop& high = stops[below + 1];
    std::array<char, 16> colour{};
    std::snprintf(colour.data(), colour.size(), "#%02x%02x%02x", mix(low.red, high.red), mix(low.green, high.green),
                  mix(low.blue, high.blue));
    return colour.data();
}

/// The light on the ground at (x, y) from the north-west, 45 degrees up; slopes count double so that
/// gentle ones show.
double lightAt(double x, double y) {
    const double step = 0.3;
    const double slopeX = (terrain::smoothHeight(x + step, y) - terrain::smoothHeight(x - step, y)) / step;
    const double slopeY = (terrain::smoothHeight(x, y + step) - terrain::smoothHeight(x, y - step)) / step;
    const double facing = (0.5 * slopeX - 0.5 * slopeY + std::sqrt(0.5)) / std::hypot(slopeX, slopeY, 1.0);
    return 0.42 + 0.82 * std::max(facing, 0.0);
}

/// `length` patches from west to east, as a piece of a path.
std::string patchRun(int column, int row, int length) {
    const std::string width = std::to_string(length);
    return "M" + std::to_string(column) + " " + std::to_string(row) + "h" + width + "v1h-" + width + "z";
}

std::string filled(const std::string& path, const std::string& colour) {
    return "<path fill=\"" + colour + "\" d=\"" + path + "\"/>\n";
}

/// The ground from above, half a metre a patch. Patches of one colour are one path, in runs from west to
/// east, which keeps the file small.
std::string shadedGround(const Range& heights) {
    const double patch = 0.5;
    const int columns = static_cast<int>((terrain::east - terrain::west) / patch);
    const int rows = static_cast<int>((terrain::north - terrain::south) / patch);
    const double tints = 28.0;
    const double lights = 28.0;
    std::map<std::string, std::string> paths;
    for (int row = 0; row < rows; ++row) {
        const auto colourOf = [&](int column) {
            const double x = terrain::west + patch * (column + 0.5);
            const double y = terrain::north - patch * (row + 0.5);
            const double part = (terrain::smoothHeight(x, y) - heights.low) / (heights.high - heights.low);
            return groundColour(std::round(part * tints) / tints, std::round(lightAt(x, y) * lights) / lights);
        };
        std::string colour = colourOf(0);
        int begin = 0;
        for (int column = 1; column <= columns; ++column) {
            const std::string next = column < columns ? colourOf(column) : "";
            if (next != colour) {
                paths[colour] += patchRun(begin, row, column - begin);
                colour = next;
                begin = column;
            }
        }
    }
    std::string svg = "<g shape-rendering=\"crispEdges\" transform=\"translate(" + pixel(plotLeft) + " " +
                      pixel(mapTop) + ") scale(" + pixel(patch * pixelsPerMetre) + ")\">\n";
    for (const auto& [colour, path] : paths) {
        svg += filled(path, colour);
    }
    return svg + "</g>\n";
}

/// Where the triangles of the ground have the height `level`.
std::string contour(double level) {
    std::string path;
    const auto addTriangle = [&](const std::array<std::pair<int, int>, 3>& corners) {
        std::vector<Pixel> crossings;
        for (std::size_t i = 0; i < corners.size(); ++i) {
            const auto& [columnA, rowA] = corners[i];
            const auto& [columnB, rowB] = corners[(i + 1) % corners.size()];
            const double a = terrain::vertexHeight(columnA, rowA) - level;
            const double b = terrain::vertexHeight(columnB, rowB) - level;
            if ((a < 0.0) != (b < 0.0)) {
                const double s = a / (a - b);
                crossings.push_back(onMap(terrain::vertexX(columnA) * (1.0 - s) + terrain::vertexX(columnB) * s,
                                          terrain::vertexY(rowA) * (1.0 - s) + terrain::vertexY(rowB) * s));
            }
        }
        if (crossings.size() == 2) {
            path += "M" + pixels(crossings[0]) + "L" + pixels(crossings[1]);
        }
    };
    for (int row = 0; row + 1 < terrain::rows; ++row) {
        for (int column = 0; column + 1 < terrain::columns; ++column) {
            addTriangle({{{column, row}, {column + 1, row}, {column + 1, row + 1}}});
            addTriangle({{{column, row}, {column + 1, row + 1}, {column, row + 1}}});
        }
    }
    return path;
}

std::string contours(const Range& heights) {
    const int interval = 2;
    const int first = static_cast<int>(std::ceil(heights.low / interval));
    const int last = static_cast<int>(std::floor(heights.high / interval));
    std::string path;
    for (int i = first; i <= last; ++i) {
        path += contour(static_cast<double>(i * interval));
    }
    return "<path d=\"" + path + "\" fill=\"none\" stroke=\"#5a4632\" stroke-opacity=\"0.4\" stroke-width=\"0.7\"/>\n";
}

/// The vehicle from above, and its frame's number to its left.
std::string vehicleFromAbove(const Frame& frame) {
    const double heading = frame.headingDegrees * pi / 180.0;
    const auto outline = [&](const std::vector<std::pair<double, double>>& places) {
        std::vector<Pixel> result;
        result.reserve(places.size());
        for (const auto& [forward, left] : places) {
            result.push_back(onMap(frame.body.x + forward * std::cos(heading) - left * std::sin(heading),
                                   frame.body.y + forward * std::sin(heading) + left * std::cos(heading)));
        }
        return result;
    };
    const Pixel label = outline({{0.0, 4.2}}).front();
    return polyline(
               outline({{-1.9, -0.9}, {-1.9, 0.9}, {1.5, 0.9}, {2.1, 0.5}, {2.1, -0.5}, {1.5, -0.9}, {-1.9, -0.9}}),
               "fill=\"#ffffff\" stroke=\"#101820\" stroke-width=\"1.2\" stroke-linejoin=\"round\"") +
           polyline(outline({{0.8, -0.65}, {0.4, -0.65}, {0.4, 0.65}, {0.8, 0.65}}), "fill=\"#40607a\"") +
           text(label.x, label.y + 4.5, "middle", std::to_string(frame.number),
                "font-size=\"13\" font-weight=\"bold\" stroke=\"#ffffff\" stroke-width=\"3\" paint-order=\"stroke\" "
                "stroke-linejoin=\"round\"");
}

std::vector<Pixel> trackOnMap(const std::vector<Frame>& frames, const std::function<Point(const Frame&)>& place) {
    std::vector<Pixel> track;
    track.reserve(frames.size());
    for (const Frame& frame : frames) {
        const Point point = place(frame);
        track.push_back(onMap(point.x, point.y));
    }
    return track;
}

std::string mapAxes() {
    std::string svg = rectangle(plotLeft, mapTop, mapWidth, mapHeight, "fill=\"none\" stroke=\"#303030\"");
    const double bottom = mapTop + mapHeight;
    for (int x = -80; x <= 80; x += 20) {
        const double at = onMap(x, 0.0).x;
        svg += line({at, bottom}, {at, bottom + 6.0}, "stroke=\"#303030\"");
        svg += text(at, bottom + 20.0, "middle", std::to_string(x));
    }
    for (int y = -60; y <= 60; y += 20) {
        const double at = onMap(0.0, y).y;
        svg += line({plotLeft - 6.0, at}, {plotLeft, at}, "stroke=\"#303030\"");
        svg += text(plotLeft - 10.0, at + 4.5, "end", std::to_string(y));
    }
    svg += text(plotLeft + mapWidth / 2.0, bottom + 40.0, "middle", "east (m)");
    const std::string middle = pixel(mapTop + mapHeight / 2.0);
    return svg +
           text(30.0, mapTop + mapHeight / 2.0, "middle", "north (m)", "transform=\"rotate(-90 30 " + middle + ")\"");
}

/// The scale of colours beside the map.
std::string heightScale(const Range& heights) {
    const double left = plotLeft + mapWidth + 22.0;
    const double top = mapTop + 30.0;
    const double height = 240.0;
    const int steps = 60;
    std::string svg = text(left - 2.0, mapTop + 14.0, "start", "height (m)");
    for (int i = 0; i < steps; ++i) {
        const double part = (steps - 1 - i) / (steps - 1.0);
        svg += rectangle(left, top + height * i / steps, 18.0, height / steps + 0.3,
                         "fill=\"" + groundColour(part, 1.0) + "\"");
    }
    const int interval = 4;
    for (int k = static_cast<int>(std::ceil(heights.low / interval)); k * interval <= heights.high; ++k) {
        const double part = (k * interval - heights.low) / (heights.high - heights.low);
        const double y = top + height * (1.0 - part);
        svg += line({left + 18.0, y}, {left + 23.0, y}, "stroke=\"#303030\"");
        svg += text(left + 27.0, y + 4.5, "start", std::to_string(k * interval));
    }
    return svg + rectangle(left, top, 18.0, height, "fill=\"none\" stroke=\"#303030\"");
}

std::string legend() {
    const double left = plotLeft + 14.0;
    const double top = mapTop + mapHeight - 92.0;
    const auto row = [&](int i) { return top + 20.0 + 21.0 * i; };
    return rectangle(left, top, 322.0, 80.0, "fill=\"#ffffff\" fill-opacity=\"0.85\" stroke=\"#303030\"") +
           line({left + 12.0, row(0)}, {left + 46.0, row(0)}, "stroke=\"#d02818\" stroke-width=\"2.5\"") +
           text(left + 56.0, row(0) + 4.5, "start", "path of the rear axle; yellow: braking") +
           line({left + 12.0, row(1) - 4.0}, {left + 46.0, row(1) - 4.0}, "stroke=\"#181818\" stroke-width=\"1.1\"") +
           line({left + 12.0, row(1) + 4.0}, {left + 46.0, row(1) + 4.0}, "stroke=\"#181818\" stroke-width=\"1.1\"") +
           text(left + 56.0, row(1) + 4.5, "start", "tracks of the wheels") +
           rectangle(left + 18.0, row(2) - 5.5, 23.0, 11.0, "fill=\"#ffffff\" stroke=\"#101820\"") +
           text(left + 56.0, row(2) + 4.5, "start", "vehicle and frame");
}

/// One curve over the frames.
struct Chart {
    double top = 0.0;
    std::string label;
    double tickStep = 1.0;
    std::function<double(const Frame&)> value;
    std::function<double(const Frame&)> ground = {};  ///< filled from below, when there is one
    std::string colour;
};

double frameOnChart(const std::vector<Frame>& frames, int number) {
    const double span = std::max(1, frames.back().number - frames.front().number);
    return plotLeft + mapWidth * (number - frames.front().number) / span;
}

/// The stretch in which the vehicle stands, as a lighter band with a word in it.
std::string standingBand(const std::vector<Frame>& frames, double top, bool withWord) {
    const auto stands = [](const Frame& frame) { return frame.state == "stand"; };
    const auto first = std::find_if(frames.begin(), frames.end(), stands);
    if (first == frames.end()) {
        return "";
    }
    const auto last = std::find_if(frames.rbegin(), frames.rend(), stands);
    const double from = frameOnChart(frames, first->number);
    const double to = frameOnChart(frames, last->number);
    return rectangle(from, top, to - from, chartHeight, "fill=\"#f2d7a8\" fill-opacity=\"0.8\"") +
           (withWord ? text((from + to) / 2.0, top + 16.0, "middle", "stands", "font-size=\"12\"") : "");
}

std::string chart(const std::vector<Frame>& frames, const Chart& wanted) {
    Range range;
    for (const Frame& frame : frames) {
        range.include(wanted.value(frame));
        if (wanted.ground) {
            range.include(wanted.ground(frame));
        }
    }
    const int firstTick = static_cast<int>(std::floor(range.low / wanted.tickStep));
    const int lastTick = std::max(firstTick + 1, static_cast<int>(std::ceil(range.high / wanted.tickStep)));
    const double bottom = wanted.top + chartHeight;
    const double right = plotLeft + mapWidth;
    const auto yOf = [&](double value) {
        return bottom - chartHeight * (value / wanted.tickStep - firstTick) / (lastTick - firstTick);
    };

    std::string svg = rectangle(plotLeft, wanted.top, mapWidth, chartHeight, "fill=\"#fbfaf7\"");
    svg += standingBand(frames, wanted.top, wanted.ground != nullptr);
    for (int i = firstTick; i <= lastTick; ++i) {
        const double y = yOf(i * wanted.tickStep);
        svg += line({plotLeft, y}, {right, y}, i == 0 ? "stroke=\"#909090\"" : "stroke=\"#dcdcd8\"");
        svg += text(plotLeft - 10.0, y + 4.5, "end", fixed(i * wanted.tickStep, 0));
    }
    const int frameStep = 20;
    for (int number = (frames.front().number + frameStep - 1) / frameStep * frameStep; number <= frames.back().number;
         number += frameStep) {
        const double x = frameOnChart(frames, number);
        svg += line({x, wanted.top}, {x, bottom}, "stroke=\"#dcdcd8\"");
        svg += text(x, bottom + 17.0, "middle", std::to_string(number));
    }
    std::vector<Pixel> curve;
    curve.reserve(frames.size());
    for (const Frame& frame : frames) {
        curve.push_back({frameOnChart(frames, frame.number), yOf(wanted.value(frame))});
    }
    if (wanted.ground) {
        std::vector<Pixel> ground = {{curve.front().x, bottom}};
        for (const Frame& frame : frames) {
            ground.push_back({frameOnChart(frames, frame.number), yOf(wanted.ground(frame))});
        }
        ground.push_back({curve.back().x, bottom});
        svg += polyline(ground, "fill=\"#c6a274\" fill-opacity=\"0.55\"");
    }
    svg +=
        polyline(curve, "fill=\"none\" stroke-width=\"2\" stroke-linejoin=\"round\" stroke=\"" + wanted.colour + "\"");
    svg += rectangle(plotLeft, wanted.top, mapWidth, chartHeight, "fill=\"none\" stroke=\"#303030\"");
    const double middle = wanted.top + chartHeight / 2.0;
    return svg + text(30.0, middle, "middle", wanted.label, "transform=\"rotate(-90 30 " + pixel(middle) + ")\"");
}

}  // namespace

std::string drawPicture(const std::vector<Frame>& frames, const std::string& subtitle) {
    const Range heights = terrainRange();
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + pixel(pageWidth) + " " +
                      pixel(pageHeight) + "\" width=\"" + pixel(pageWidth) + "\" height=\"" + pixel(pageHeight) +
                      "\" font-family=\"DejaVu Sans, Verdana, Helvetica, sans-serif\" font-size=\"13\" "
                      "fill=\"#181818\">\n";
    svg += rectangle(0.0, 0.0, pageWidth, pageHeight, "fill=\"#ffffff\"");
    svg += text(plotLeft, 36.0, "start", "A vehicle follows a path over rough ground",
                "font-size=\"22\" font-weight=\"bold\"");
    svg += text(plotLeft, 60.0, "start", subtitle, "font-size=\"14\" fill=\"#505050\"");

    svg += shadedGround(heights);
    svg += contours(heights);
    for (std::size_t i = 0; i < wheelNames.size(); ++i) {
        svg += polyline(trackOnMap(frames, [i](const Frame& frame) { return frame.wheels[i].contact; }),
                        "fill=\"none\" stroke=\"#181818\" stroke-width=\"1.1\" stroke-opacity=\"0.75\"");
    }
    const std::vector<Pixel> path = trackOnMap(frames, [](const Frame& frame) { return frame.place; });
    svg += polyline(path, "fill=\"none\" stroke=\"#d02818\" stroke-width=\"2.5\" stroke-linejoin=\"round\"");
    std::vector<Frame> braking;
    std::copy_if(frames.begin(), frames.end(), std::back_inserter(braking),
                 [](const Frame& frame) { return frame.state == "brake"; });
    svg += polyline(trackOnMap(braking, [](const Frame& frame) { return frame.place; }),
                    "fill=\"none\" stroke=\"#ffd020\" stroke-width=\"2.5\" stroke-linejoin=\"round\"");
    const int vehicleStep = 20;
    for (const Frame& frame : frames) {
        if (frame.number == frames.front().number || frame.number % vehicleStep == 0) {
            svg += vehicleFromAbove(frame);
        }
    }
    svg += mapAxes() + heightScale(heights) + legend();

    Chart height;
    height.top = heightChartTop;
    height.label = "height (m)";
    height.tickStep = 4.0;
    height.value = [](const Frame& frame) { return frame.body.z; };
    height.ground = [](const Frame& frame) { return terrain::meshHeight(frame.body.x, frame.body.y); };
    height.colour = "#1c4f8c";
    svg += text(plotLeft, heightChartTop - 8.0, "start", "Height of the body; brown: the ground under it",
                "font-weight=\"bold\"");
    svg += chart(frames, height);

    Chart roll;
    roll.top = rollChartTop + 20.0;
    roll.label = "roll (degrees)";
    roll.tickStep = 5.0;
    roll.value = [](const Frame& frame) { return frame.rollDegrees; };
    roll.colour = "#a0301c";
    svg += text(plotLeft, rollChartTop + 12.0, "start", "Roll of the body; above zero the left side is the higher one",
                "font-weight=\"bold\"");
    svg += chart(frames, roll);
    svg += text(plotLeft + mapWidth / 2.0, roll.top + chartHeight + 36.0, "middle", "frame");
    return svg + "</svg>\n";
}

}  // namespace vehicle
