#include <tools/host/Errors.h>
#include <tools/host/FrameRange.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace TessilHost {
namespace {

std::vector<double> framesOf(const std::string& text) {
    const FrameRange range = FrameRange::parse(text);
    std::vector<double> frames;
    for (std::uint64_t i = 0; i < range.count(); ++i) {
        frames.push_back(range.frame(i));
    }
    return frames;
}

TEST(FrameRange, HasBothEnds) {
    EXPECT_EQ(framesOf("1:4"), (std::vector<double>{1, 2, 3, 4}));
    EXPECT_EQ(framesOf("5:5"), (std::vector<double>{5}));
    EXPECT_EQ(framesOf("-1:1"), (std::vector<double>{-1, 0, 1}));
}

TEST(FrameRange, StopsBeforeAnEndThatTheStepsDoNotMeet) {
    EXPECT_EQ(framesOf("0:5:2"), (std::vector<double>{0, 2, 4}));
    EXPECT_EQ(framesOf("0:0.99"), (std::vector<double>{0}));
    EXPECT_EQ(framesOf("0:1:1e300"), (std::vector<double>{0}));
}

TEST(FrameRange, RunsBackwards) {
    EXPECT_EQ(framesOf("3:1:-1"), (std::vector<double>{3, 2, 1}));
    EXPECT_EQ(framesOf("1:0:-0.5"), (std::vector<double>{1, 0.5, 0}));
}

TEST(FrameRange, MeetsItsEndWhateverTheStepRoundsTo) {
    for (const double step : {0.1, 0.3, 0.7, 1.1, 1.0 / 3.0}) {
        for (int steps = 1; steps < 200; ++steps) {
            const double last = step * steps;
            const std::string text = "0:" + std::to_string(last) + ":" + std::to_string(step);
            const FrameRange range = FrameRange::parse(text);
            const double shownLast = std::stod(std::to_string(last));
            if (std::abs(shownLast - steps * std::stod(std::to_string(step))) < 1e-12) {
                ASSERT_EQ(range.count(), static_cast<std::uint64_t>(steps) + 1) << text;
                ASSERT_EQ(range.frame(range.count() - 1), shownLast) << text;
            }
        }
    }
    EXPECT_EQ(FrameRange::parse("0:0.9:0.3").frame(3), 0.9);
    EXPECT_EQ(FrameRange::parse("0:0.7:0.1").frame(7), 0.7);
}

TEST(FrameRange, HasNoNegativeZero) {
    EXPECT_FALSE(std::signbit(FrameRange::parse("-0:1").frame(0)));
    EXPECT_FALSE(std::signbit(FrameRange::parse("1:-0:-1").frame(1)));
}

TEST(FrameRange, RefusesWhatIsNoRange) {
    for (const char* bad : {"", "1", ":", "1:", ":1", "1:2:", "1:2:3:4", "a:b", "1:2:x", "1 :2", "nan:1", "1:inf",
                            "1:2:nan", "1:1e400", "0x1:2", "1-2"}) {
        EXPECT_THROW(FrameRange::parse(bad), UserError) << bad;
    }
}

TEST(FrameRange, RefusesAStepThatDoesNotLeadToTheEnd) {
    for (const char* bad : {"1:2:0", "1:2:-0", "2:1", "1:2:-1", "2:1:0.5"}) {
        EXPECT_THROW(FrameRange::parse(bad), UserError) << bad;
    }
}

TEST(FrameRange, RefusesMoreFramesThanAnybodyWaitsFor) {
    for (const char* bad : {"0:10000000", "1:4000000000", "0:1:1e-9", "-1e308:1e308", "0:1e308:1e-308", "0:1:5e-324"}) {
        EXPECT_THROW(FrameRange::parse(bad), UserError) << bad;
    }
    EXPECT_EQ(FrameRange::parse("1:10000000").count(), FrameRange::maxCount);
    EXPECT_EQ(framesOf("-1e308:1e308:1e308"), (std::vector<double>{-1e308, 0, 1e308}));
}

TEST(FrameRange, MayBeWiderThanADoubleCanSay) {
    EXPECT_EQ(framesOf("8.98846567431157954e307:-8.98846567431157954e307:-4.49423283715578977e307"),
              (std::vector<double>{0x1p1023, 0x1p1022, 0, -0x1p1022, -0x1p1023}));
    const std::vector<double> frames = framesOf("-1e308:1e308:1e307");
    ASSERT_EQ(frames.size(), 21U);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_NEAR(frames[i], 1e307 * (static_cast<double>(i) - 10), 1e293) << i;
    }
}

TEST(FrameRange, RefusesAStepThatIsLostInTheFrames) {
    for (const char* bad : {"1e16:10000000000000004:0.5", "9007199254740990:9007199254741010",
                            "9007199254741010:9007199254740990:-1", "-9007199254741010:-9007199254740990"}) {
        EXPECT_THROW(FrameRange::parse(bad), UserError) << bad;
    }
    EXPECT_EQ(framesOf("9007199254740989:9007199254740992"),
              (std::vector<double>{9007199254740989, 9007199254740990, 9007199254740991, 9007199254740992}));
    EXPECT_EQ(framesOf("9007199254740992:9007199254740998:2").size(), 4U);
    EXPECT_EQ(framesOf("0:3e-323:5e-324").size(), 7U);
}

TEST(FrameRange, KnowsWhetherItsFramesAreIntegers) {
    EXPECT_TRUE(FrameRange::parse("1:10").isIntegral());
    EXPECT_TRUE(FrameRange::parse("-2147483648:-2147483640:2").isIntegral());
    EXPECT_FALSE(FrameRange::parse("1:10:0.5").isIntegral());
    EXPECT_FALSE(FrameRange::parse("0.5:10").isIntegral());
    EXPECT_FALSE(FrameRange::parse("2147483640:2147483650").isIntegral());
}

}  // namespace
}  // namespace TessilHost
