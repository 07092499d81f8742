#include <TessilUtils/Image.h>
#include <TessilUtils/Logger.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using TessilUtils::Image;
using TessilUtils::Logger;

namespace {

constexpr unsigned int largest = std::numeric_limits<unsigned int>::max();

class ImageTest : public testing::Test {
protected:
    void SetUp() override {
        former_ = Logger::setSink(
            [this](TessilUtils::LogLevel, const std::string& message) { messages_.push_back(message); });
    }
    void TearDown() override {
        Logger::setSink(former_);
        EXPECT_EQ(messages_.size(), expectedMessages_) << "messages";
    }

    std::size_t expectedMessages_ = 0;

private:
    std::vector<std::string> messages_;
    Logger::Sink former_;
};

void expectEmpty(const Image& image) {
    EXPECT_TRUE(image.isEmpty());
    EXPECT_EQ(image.width(), 0u);
    EXPECT_EQ(image.height(), 0u);
    EXPECT_EQ(image.channels(), 0u);
    EXPECT_EQ(image.data(), nullptr);
    EXPECT_EQ(image.pixel(0, 0, 0), 0.0f);
}

TEST_F(ImageTest, BeginsEmpty) {
    expectEmpty(Image());
    expectEmpty(Image(0, 0, 0));
}

TEST_F(ImageTest, BeginsWithZeros) {
    const Image image(3, 2, 4);
    EXPECT_FALSE(image.isEmpty());
    EXPECT_EQ(image.width(), 3u);
    EXPECT_EQ(image.height(), 2u);
    EXPECT_EQ(image.channels(), 4u);
    EXPECT_EQ(std::vector<float>(image.data(), image.data() + 24), std::vector<float>(24, 0.0f));
}

TEST_F(ImageTest, KeepsPixelsRowByRow) {
    Image image(3, 2, 2);
    float value = 0.0f;
    for (unsigned int y = 0; y < 2; ++y) {
        for (unsigned int x = 0; x < 3; ++x) {
            for (unsigned int channel = 0; channel < 2; ++channel) {
                EXPECT_TRUE(image.setPixel(x, y, channel, value));
                value += 1.0f;
            }
        }
    }
    for (unsigned int i = 0; i < 12; ++i) {
        EXPECT_EQ(image.data()[i], static_cast<float>(i));
    }
    EXPECT_EQ(image.pixel(2, 1, 0), 10.0f);
}

TEST_F(ImageTest, RefusesToWriteOutsideAndReadsZeroThere) {
    Image image(3, 2, 1);
    for (unsigned int y = 0; y < 2; ++y) {
        for (unsigned int x = 0; x < 3; ++x) {
            image.setPixel(x, y, 0, 1.0f);
        }
    }
    const std::vector<float> before(image.data(), image.data() + 6);
    const unsigned int outside[][3] = {{3, 0, 0},       {0, 2, 0},       {0, 0, 1},
                                       {largest, 0, 0}, {0, largest, 0}, {0, 0, largest}};
    for (const auto& place : outside) {
        EXPECT_FALSE(image.setPixel(place[0], place[1], place[2], 5.0f));
        EXPECT_EQ(image.pixel(place[0], place[1], place[2]), 0.0f);
        ++expectedMessages_;
    }
    EXPECT_FALSE(Image().setPixel(0, 0, 0, 1.0f));
    ++expectedMessages_;
    EXPECT_EQ(std::vector<float>(image.data(), image.data() + 6), before);
}

TEST_F(ImageTest, SharesPixelsUntilOneIsWritten) {
    Image original(2, 2, 1);
    original.setPixel(1, 1, 0, 3.0f);
    Image copy = original;
    EXPECT_EQ(copy.data(), original.data());
    copy.setPixel(0, 0, 0, 7.0f);
    EXPECT_NE(copy.data(), original.data());
    EXPECT_EQ(original.pixel(0, 0, 0), 0.0f);
    EXPECT_EQ(copy.pixel(0, 0, 0), 7.0f);
    EXPECT_EQ(copy.pixel(1, 1, 0), 3.0f);
    const float* own = copy.data();
    copy.setPixel(0, 1, 0, 8.0f);
    EXPECT_EQ(copy.data(), own) << "an only owner writes in place";
}

TEST_F(ImageTest, CanBeAssignedAndMoved) {
    Image a(2, 1, 1);
    a.setPixel(1, 0, 0, 4.0f);
    Image b(5, 5, 3);
    b = a;
    EXPECT_EQ(b.width(), 2u);
    EXPECT_EQ(b.pixel(1, 0, 0), 4.0f);
    const Image& itself = b;
    b = itself;
    EXPECT_EQ(b.pixel(1, 0, 0), 4.0f);
    const Image moved = std::move(b);
    expectEmpty(b);
    EXPECT_EQ(moved.pixel(1, 0, 0), 4.0f);
    a = Image();
    expectEmpty(a);
    EXPECT_EQ(moved.pixel(1, 0, 0), 4.0f);
}

TEST_F(ImageTest, IsEmptyWhenOneSizeIsZeroOrTheProductTooLarge) {
    expectEmpty(Image(0, 4, 4));
    expectEmpty(Image(4, 0, 4));
    expectEmpty(Image(4, 4, 0));
    expectEmpty(Image(0, 4, 0));
    expectEmpty(Image(0, 0, 4));
    expectEmpty(Image(largest, largest, largest));
    expectEmpty(Image(largest, largest, 1));
    expectEmpty(Image(1u << 31, 1u << 31, 4));
    expectEmpty(Image(1u << 22, 1u << 22, 1u << 20));
    expectedMessages_ = 9;
}

TEST_F(ImageTest, LetsThreadsWriteTheirOwnCopies) {
    Image original(16, 16, 3);
    original.setPixel(3, 3, 0, 9.0f);
    std::vector<std::thread> threads;
    std::vector<int> wrong(8, 0);
    for (unsigned int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([copy = original, thread, &wrong]() mutable {
            for (unsigned int x = 0; x < 16; ++x) {
                copy.setPixel(x, 0, 0, static_cast<float>(thread));
                const Image other = copy;
                wrong[thread] += other.pixel(x, 0, 0) != static_cast<float>(thread) || other.pixel(3, 3, 0) != 9.0f;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, std::vector<int>(8, 0));
    EXPECT_EQ(original.pixel(0, 0, 0), 0.0f);
}

}  // namespace
