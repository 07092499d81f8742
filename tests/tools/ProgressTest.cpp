#include <tools/host/Progress.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <sstream>
#include <string>

namespace TessilHost {
namespace {

using std::chrono::milliseconds;

/// A clock that stands until it is told to go on.
struct HandClock {
    Progress::Time now{};
    Progress::Clock asClock() {
        return [this] { return now; };
    }
};

TEST(Progress, ShowsNothingInTheFirstSecond) {
    HandClock clock;
    std::ostringstream terminal;
    {
        Progress progress(100, &terminal, clock.asClock());
        for (int i = 0; i < 100; ++i) {
            clock.now += milliseconds(9);
            progress.advance();
        }
    }
    EXPECT_EQ(terminal.str(), "");
}

TEST(Progress, DrawsABarAfterASecondAndWipesItInTheEnd) {
    HandClock clock;
    std::ostringstream terminal;
    {
        Progress progress(4, &terminal, clock.asClock());
        clock.now += milliseconds(1000);
        progress.advance();
        EXPECT_EQ(terminal.str(), "\r[" + std::string(10, '#') + std::string(30, '.') + "] 25 %  1 of 4 frames");
        terminal.str("");
    }
    EXPECT_EQ(terminal.str(), "\r\x1b[K");
}

TEST(Progress, DrawsAtMostTenTimesASecond) {
    HandClock clock;
    std::ostringstream terminal;
    Progress progress(1'000'000, &terminal, clock.asClock());
    clock.now += milliseconds(1000);
    for (int i = 0; i < 1000; ++i) {
        progress.advance();
        clock.now += milliseconds(1);
    }
    const std::string drawn = terminal.str();
    EXPECT_EQ(std::count(drawn.begin(), drawn.end(), '\r'), 10);
}

TEST(Progress, DrawsNothingWithoutATerminal) {
    HandClock clock;
    Progress progress(2, nullptr, clock.asClock());
    clock.now += milliseconds(5000);
    progress.advance();
    EXPECT_FALSE(progress.isDrawn());
}

}  // namespace
}  // namespace TessilHost
