// Checks a drive of the vehicle example against the ground, prints what the wheels and the body do, and draws it:
//
//     vehicle_picture drive.csv vehicle.svg
//
// Exit status 0 when all is well, 1 when the drive cannot be true, 2 when a file cannot be read or written.

#include "Drive.h"
#include "Picture.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <vector>

namespace {

constexpr double groundTolerance = 1e-4;
constexpr double bodyTolerance = 1e-9;
constexpr double rollTolerance = 1e-9;
constexpr double valveTolerance = 1e-9;
constexpr double rollingTolerance = 0.5;  // the odometer takes a path's pace from the end of each frame

/// False, with a line that says why, when `found` is beyond `tolerance`.
bool isWithin(double tolerance, const vehicle::Largest& found, const char* what, const char* unit) {
    // A comparison that NaN fails.
    if (found.value <= tolerance) {
        return true;
    }
    std::fprintf(stderr, "frame %d, %s: %s %g%s, at most %g%s allowed\n", found.frame, found.part.c_str(), what,
                 found.value, unit, tolerance, unit);
    return false;
}

void printTable(const std::vector<vehicle::Frame>& frames) {
    const double degrees = 180.0 / std::acos(-1.0);
    std::puts(
        "             body                        driver         left front wheel            contacts' heights (m)");
    std::puts(
        "frame   way    height  pitch   roll    state gear   steer   turns  travel    fr.left fr.right  r.left "
        "r.right");
    std::puts("          m         m    deg    deg                   deg              mm");
    for (const vehicle::Frame& frame : frames) {
        if (frame.number != frames.front().number && frame.number % 20 != 0) {
            continue;
        }
        const vehicle::Wheel& wheel = frame.wheels[0];
        std::printf("%5d %6.1f %8.3f %6.1f %6.1f    %5s %4d %7.1f %7.2f %7.0f   ", frame.number, frame.distance,
                    frame.body.z, frame.pitchDegrees, frame.rollDegrees, frame.state.c_str(), frame.gear,
                    frame.steer * degrees, wheel.angle * degrees / 360.0, std::round(wheel.travel * 1000.0) + 0.0);
        for (const vehicle::Wheel& each : frame.wheels) {
            std::printf(" %7.3f", each.contact.z);
        }
        std::puts("");
    }
}

int run(const char* tableFile, const char* pictureFile) {
    std::ifstream table(tableFile);
    if (!table) {
        std::cerr << tableFile << ": cannot be read\n";
        return 2;
    }
    const std::vector<vehicle::Frame> frames = vehicle::readDrive(table);

    const vehicle::Largest gap = vehicle::largestGroundGap(frames);
    const vehicle::Largest body = vehicle::largestBodyError(frames);
    const vehicle::Largest roll = vehicle::largestRollError(frames);
    const vehicle::Largest valve = vehicle::largestValveError(frames);
    const vehicle::Largest rolling = vehicle::largestRollingError(frames);
    if (!isWithin(groundTolerance, gap, "does not touch the ground, off by", " m") ||
        !isWithin(bodyTolerance, body, "does not stand over its wheels, off by", " m") ||
        !isWithin(rollTolerance, roll, "does not roll as its wheels say, off by", " degrees") ||
        !isWithin(valveTolerance, valve, "is not turned as its angle says, its valve is off by", " m") ||
        !isWithin(rollingTolerance, rolling, "does not roll by what it covers, off by", " m")) {
        return 1;
    }

    printTable(frames);
    const std::size_t contacts = frames.size() * vehicle::wheelNames.size();
    std::printf("\nAll %zu wheel contacts lie on the ground, worked out again without rays: largest gap %.1e m.\n",
                contacts, gap.value);
    std::printf("The body stands over them within %.0e m, its roll is theirs within %.0e degrees.\n", bodyTolerance,
                rollTolerance);
    std::printf("The wheels turn by what they cover: within %.2f m of the lengths of their tracks.\n", rolling.value);

    std::array<char, 200> subtitle{};
    std::snprintf(subtitle.data(), subtitle.size(),
                  "%zu frames, %.0f m; all %zu wheel contacts within %g mm of the ground", frames.size(),
                  frames.back().distance - frames.front().distance, contacts, groundTolerance * 1000.0);
    std::ofstream picture(pictureFile);
    picture << vehicle::drawPicture(frames, subtitle.data());
    picture.close();
    if (!picture) {
        std::cerr << pictureFile << ": cannot be written\n";
        return 2;
    }
    std::printf("Picture: %s\n", pictureFile);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: vehicle_picture DRIVE.csv PICTURE.svg\n";
        return 2;
    }
    try {
        return run(argv[1], argv[2]);
    } catch (const std::exception& failure) {
        std::cerr << argv[1] << ": " << failure.what() << "\n";
        return 2;
    }
}
