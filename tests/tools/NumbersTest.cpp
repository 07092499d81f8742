#include <tools/host/Numbers.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

namespace TessilHost {
namespace {

TEST(Numbers, ReadBackExactlyAsTheyWereWritten) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 100'000; ++i) {
        const std::uint64_t bits = random();
        double number = 0.0;
        std::memcpy(&number, &bits, sizeof(number));
        if (!std::isfinite(number)) {
            continue;
        }
        const auto back = parseNumber(exactText(number));
        ASSERT_TRUE(back) << exactText(number);
        ASSERT_EQ(*back, number);
        ASSERT_EQ(std::signbit(*back), std::signbit(number));
    }
}

TEST(Numbers, AreWrittenAsShortAsPossible) {
    EXPECT_EQ(exactText(0.1), "0.1");
    EXPECT_EQ(exactText(0.1F), "0.1");
    EXPECT_EQ(exactText(1.0), "1");
    EXPECT_EQ(exactText(-3e6), "-3000000");
    EXPECT_EQ(exactText(3e6F), "3000000");
    EXPECT_EQ(exactText(1e22), "1e+22");
    EXPECT_EQ(exactText(-0.0), "-0");
    EXPECT_EQ(exactText(0.1 + 0.2), "0.30000000000000004");
    EXPECT_EQ(exactText(5e-324), "5e-324");
    EXPECT_EQ(readableText(0.1 + 0.2), "0.3");
    EXPECT_EQ(readableText(5554.3375), "5554.3375");
}

TEST(Numbers, HaveWordsForWhatIsNotFinite) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(exactText(infinity), "inf");
    EXPECT_EQ(exactText(-infinity), "-inf");
    EXPECT_EQ(exactText(std::copysign(nan, -1.0)), "nan");
    EXPECT_EQ(readableText(std::copysign(nan, -1.0)), "nan");
    EXPECT_EQ(parseNumber("-inf"), -infinity);
    EXPECT_TRUE(std::isnan(*parseNumber("nan")));
}

TEST(Numbers, AreWholeTextsOrNone) {
    for (const char* bad :
         {"", " 1", "1 ", "1x", "0x10", "1e", "--1", "+1", "1,5", "infinity", "nan(1)", "NAN", "1e400"}) {
        EXPECT_FALSE(parseNumber(bad)) << bad;
    }
    EXPECT_EQ(parseNumber(".5"), 0.5);
    EXPECT_EQ(parseNumber("-2.5e3"), -2500.0);
    EXPECT_EQ(parseNumber("1e-400"), 0.0);
}

TEST(Numbers, GoIntoSinglePrecisionWhereTheyRoundToAFiniteNumber) {
    const float largest = std::numeric_limits<float>::max();
    EXPECT_EQ(toSingle(0.1), 0.1F);
    EXPECT_TRUE(std::signbit(*toSingle(-0.0)));
    EXPECT_EQ(toSingle(1e-300), 0.0F);
    EXPECT_EQ(toSingle(3.4028235e38), largest);
    EXPECT_EQ(toSingle(-3.4028235e38), -largest);
    // Half way to what would follow the largest number.
    EXPECT_EQ(toSingle(std::nextafter(0x1.ffffffp127, 0.0)), largest);
    for (const double bad : {0x1.ffffffp127, -0x1.ffffffp127, 3.4028236e38, std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_FALSE(toSingle(bad)) << bad;
    }
}

}  // namespace
}  // namespace TessilHost
