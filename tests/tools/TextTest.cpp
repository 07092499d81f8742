#include <tools/host/Text.h>

#include <gtest/gtest.h>

#include <string>

namespace TessilHost {
namespace {

TEST(Text, KeepsPrintableCharactersOfAllLanguages) {
    EXPECT_EQ(oneLine("Grüße, 東京, 🙂"), "Grüße, 東京, 🙂");
}

TEST(Text, EscapesWhatWouldBreakALineOrATerminal) {
    EXPECT_EQ(oneLine("a\nb\r\tc"), "a\\nb\\r\\tc");
    EXPECT_EQ(oneLine(std::string("\0\x1b[31m\x7f", 7)), "\\x00\\x1b[31m\\x7f");
    EXPECT_EQ(oneLine("\u2028\u0085"), "\\xe2\\x80\\xa8\\xc2\\x85");
}

TEST(Text, EscapesBytesThatAreNoUtf8) {
    EXPECT_EQ(oneLine("a\xff\x62"), "a\\xffb");
    EXPECT_EQ(oneLine("\xc3"), "\\xc3");
    EXPECT_EQ(oneLine("\xed\xa0\x80"), "\\xed\\xa0\\x80");
}

TEST(Text, ShortensLongTextWithoutCuttingCharacters) {
    std::string umlauts;
    for (int i = 0; i < 1000; ++i) {
        umlauts += "ä";
    }
    for (const std::size_t length : {20U, 21U, 22U, 23U}) {
        const std::string line = oneLine(umlauts, length);
        EXPECT_LT(line.size(), 40U);
        EXPECT_TRUE(isUtf8(line));
        EXPECT_EQ(line.find("\\x"), std::string::npos) << line;
    }
}

TEST(Text, KnowsUtf8FromOtherBytes) {
    for (const char* good :
         {"", "a", "\xc2\x80", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"}) {
        EXPECT_TRUE(isUtf8(good)) << oneLine(good);
    }
    for (const char* bad : {"\x80", "\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xf0\x8f\xbf\xbf",
                            "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xe2\x82", "a\xc3"}) {
        EXPECT_FALSE(isUtf8(bad)) << oneLine(bad);
    }
}

TEST(Text, CountsCharactersNotBytes) {
    EXPECT_EQ(characterCount("aä東🙂"), 4U);
}

}  // namespace
}  // namespace TessilHost
