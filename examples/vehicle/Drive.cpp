#include "Drive.h"

#include "Terrain.h"

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace vehicle {

namespace {

/// One row of a table with the names of its columns; names itself in what it throws.
class Row {
public:
    Row(const std::map<std::string, std::size_t>& columns, std::vector<std::string> cells, int line)
        : columns_(columns), cells_(std::move(cells)), line_(line) {
        if (cells_.size() != columns_.size()) {
            fail(std::to_string(cells_.size()) + " cells, expected " + std::to_string(columns_.size()));
        }
    }

    const std::string& text(const std::string& name) const {
        const auto column = columns_.find(name);
        if (column == columns_.end()) {
            fail("no column " + name);
        }
        return cells_[column->second];
    }

    double number(const std::string& name) const {
        const std::string& cell = text(name);
        char* end = nullptr;
        const double value = std::strtod(cell.c_str(), &end);
        if (cell.empty() || *end != '\0') {
            fail("\"" + cell + "\" in column " + name + " is no number");
        }
        return value;
    }

    int integer(const std::string& name) const {
        const double value = number(name);
        if (!(std::abs(value) <= 1e6) || std::floor(value) != value) {
            fail("\"" + text(name) + "\" in column " + name + " is no small whole number");
        }
        return static_cast<int>(value);
    }

    Point point(const std::string& name) const {
        return {number(name + ".x"), number(name + ".y"), number(name + ".z")};
    }

private:
    [[noreturn]] void fail(const std::string& reason) const {
        throw std::runtime_error("line " + std::to_string(line_) + ": " + reason);
    }

    const std::map<std::string, std::size_t>& columns_;
    std::vector<std::string> cells_;
    int line_;
};

/// The cells of a line; none of ours holds a comma or a quote.
std::vector<std::string> splitLine(const std::string& line) {
    std::vector<std::string> cells;
    std::istringstream stream(line);
    for (std::string cell; std::getline(stream, cell, ',');) {
        cells.push_back(cell);
    }
    if (!line.empty() && line.back() == ',') {
        cells.emplace_back();
    }
    return cells;
}

Frame readFrame(const Row& row) {
    Frame frame;
    frame.number = row.integer("frame");
    frame.seconds = row.number("clock.seconds");
    frame.distance = row.number("odometer.frame");
    frame.place = row.point("place.outPosition");
    frame.body = row.point("bodyPosition.out");
    frame.headingDegrees = row.number("headingDegrees.out");
    frame.pitchDegrees = row.number("pitchDegrees.out");
    frame.rollDegrees = row.number("rollDegrees.out");
    frame.steer = row.number("steerFrontLeft.out");
    frame.state = row.text("state.out");
    frame.gear = row.integer("gear.out");
    for (std::size_t i = 0; i < wheelNames.size(); ++i) {
        const std::string name = wheelNames[i];
        Wheel& wheel = frame.wheels[i];
        wheel.contact = row.point("hit" + name + ".outPosition");
        wheel.valve = row.point("valve" + name + ".out");
        wheel.angle = row.number("angle" + name + ".out");
        wheel.travel = row.number("travel" + name + ".out");
    }
    return frame;
}

double distanceBetween(const Point& a, const Point& b) {
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

Point operator+(const Point& a, const Point& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
Point operator-(const Point& a, const Point& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
Point operator*(const Point& a, double factor) {
    return {a.x * factor, a.y * factor, a.z * factor};
}

Point cross(const Point& a, const Point& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

Point direction(const Point& a) {
    return a * (1.0 / std::hypot(a.x, a.y, a.z));
}

struct Body {
    Point position;
    double rollDegrees = 0.0;
};

/// The body as the contacts of the wheels carry it.
Body bodyOver(const std::array<Wheel, 4>& wheels) {
    const auto& [frontLeft, frontRight, rearLeft, rearRight] = wheels;
    const Point front = frontLeft.contact + frontRight.contact;
    const Point rear = rearLeft.contact + rearRight.contact;
    const Point left = frontLeft.contact + rearLeft.contact;
    const Point right = frontRight.contact + rearRight.contact;
    const Point up = direction(cross(front - rear, left - right));
    const Point side = direction(cross(up, front - rear));
    const double degrees = 180.0 / std::acos(-1.0);
    return {(front + rear) * 0.25 + up * rideHeight, std::atan2(side.z, up.z) * degrees};
}

void keepLargest(Largest& largest, double value, int frame, const char* part) {
    // The second question is true of NaN, which nothing replaces once it is there.
    if (value > largest.value || (std::isnan(value) && !std::isnan(largest.value))) {
        largest = {value, frame, part};
    }
}

/// The largest of what `measure` says of each frame's wheels.
template <class Measure>
Largest largestOverWheels(const std::vector<Frame>& frames, const Measure& measure) {
    Largest largest;
    for (const Frame& frame : frames) {
        for (std::size_t i = 0; i < wheelNames.size(); ++i) {
            keepLargest(largest, measure(frame.wheels[i]), frame.number, wheelNames[i]);
        }
    }
    return largest;
}

}  // namespace

std::vector<Frame> readDrive(std::istream& table) {
    std::string line;
    std::getline(table, line);
    std::map<std::string, std::size_t> columns;
    for (const std::string& name : splitLine(line)) {
        const std::size_t place = columns.size();
        columns.emplace(name, place);
    }
    std::vector<Frame> frames;
    for (int lineNumber = 2; std::getline(table, line); ++lineNumber) {
        frames.push_back(readFrame(Row(columns, splitLine(line), lineNumber)));
    }
    if (frames.empty()) {
        throw std::runtime_error("no rows");
    }
    return frames;
}

Largest largestGroundGap(const std::vector<Frame>& frames) {
    return largestOverWheels(frames, [](const Wheel& wheel) {
        return std::abs(wheel.contact.z - terrain::meshHeight(wheel.contact.x, wheel.contact.y));
    });
}

Largest largestBodyError(const std::vector<Frame>& frames) {
    Largest largest;
    for (const Frame& frame : frames) {
        keepLargest(largest, distanceBetween(frame.body, bodyOver(frame.wheels).position), frame.number, "body");
    }
    return largest;
}

Largest largestRollError(const std::vector<Frame>& frames) {
    Largest largest;
    for (const Frame& frame : frames) {
        keepLargest(largest, std::abs(frame.rollDegrees - bodyOver(frame.wheels).rollDegrees), frame.number, "body");
    }
    return largest;
}

Largest largestValveError(const std::vector<Frame>& frames) {
    return largestOverWheels(frames, [](const Wheel& wheel) {
        // The law of cosines, in the triangle of contact, axle and valve.
        const double squared = wheelRadius * wheelRadius + valveRadius * valveRadius -
                               2.0 * wheelRadius * valveRadius * std::cos(wheel.angle);
        return std::abs(distanceBetween(wheel.contact, wheel.valve) - std::sqrt(squared));
    });
}

Largest largestRollingError(const std::vector<Frame>& frames) {
    Largest largest;
    for (std::size_t i = 0; i < wheelNames.size(); ++i) {
        double track = 0.0;
        for (std::size_t k = 1; k < frames.size(); ++k) {
            track += distanceBetween(frames[k - 1].wheels[i].contact, frames[k].wheels[i].contact);
            const double rolled = (frames[k].wheels[i].angle - frames.front().wheels[i].angle) * wheelRadius;
            keepLargest(largest, std::abs(rolled - track), frames[k].number, wheelNames[i]);
        }
    }
    return largest;
}

}  // namespace vehicle
