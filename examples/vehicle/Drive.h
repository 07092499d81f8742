#pragma once

#include <array>
#include <istream>
#include <string>
#include <vector>

/// What the network says of the drive, frame by frame, and whether it can be true. Metres and radians
/// unless a name says otherwise.
namespace vehicle {

struct Point {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

struct Wheel {
    Point contact;
    Point valve;          ///< a mark on the wheel, `valveRadius` from its axle
    double angle = 0.0;   ///< turned since the start
    double travel = 0.0;  ///< of the suspension
};

constexpr double wheelRadius = 0.4;
constexpr double valveRadius = 0.3;
constexpr double rideHeight = 0.75;  ///< of the body over the mean plane of the contacts
constexpr std::array<const char*, 4> wheelNames = {"FrontLeft", "FrontRight", "RearLeft", "RearRight"};

struct Frame {
    int number = 0;
    double seconds = 0.0;   ///< of driving; standing does not count
    double distance = 0.0;  ///< along the path
    Point place;            ///< on the path, at height 0
    Point body;
    double headingDegrees = 0.0;
    double pitchDegrees = 0.0;
    double rollDegrees = 0.0;
    double steer = 0.0;  ///< of the left front wheel
    std::string state;   ///< "drive", "brake" or "stand"
    int gear = 0;
    std::array<Wheel, 4> wheels;  ///< in the order of `wheelNames`
};

/// Reads the table that drive.sh writes. Throws `std::runtime_error` with line and reason for what is
/// no such table, or has no rows.
std::vector<Frame> readDrive(std::istream& table);

/// A number that should be small, and where it is largest.
struct Largest {
    double value = 0.0;  ///< NaN once one was met
    int frame = 0;
    std::string part;  ///< of the vehicle: one of `wheelNames` or "body"
};

/// The gap between each wheel's contact and the ground below it, which is worked out from the terrain's
/// formula and grid alone.
Largest largestGroundGap(const std::vector<Frame>& frames);

/// How far the body is from its place over the contacts, and its roll, in degrees, from the one that the
/// contacts give it.
Largest largestBodyError(const std::vector<Frame>& frames);
Largest largestRollError(const std::vector<Frame>& frames);

/// How far each valve is from where a wheel turned by its angle about an axle over its contact has it.
Largest largestValveError(const std::vector<Frame>& frames);

/// The difference between what each wheel has rolled by a frame and the length that the track of its contacts
/// has by then.
Largest largestRollingError(const std::vector<Frame>& frames);

}  // namespace vehicle
