#include <TessilUtils/Logger.h>
#include <TessilUtils/ParallelFor.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

using TessilUtils::Logger;
using TessilUtils::LogLevel;
using TessilUtils::LogProxy;

namespace {

// Collects messages for the length of a test.
class Collector {
public:
    Collector() {
        former_ = Logger::setSink([this](LogLevel, const std::string& message) { messages.push_back(message); });
    }
    ~Collector() { Logger::setSink(former_); }

    std::vector<std::string> messages;

private:
    Logger::Sink former_;
};

struct Stubborn {};

std::ostream& operator<<(std::ostream& stream, const Stubborn&) {
    stream.setstate(std::ios::failbit);
    return stream;
}

TEST(Logger, FollowsEachPieceByOneBlank) {
    Collector log;
    Logger::error() << "Node " << std::string("AddLong") << " already registered";
    Logger::error() << 1 << 2.5 << 'c' << true;
    EXPECT_EQ(log.messages, (std::vector<std::string>{"Node  AddLong  already registered ", "1 2.5 c 1 "}));
}

TEST(Logger, SendsTheMessageWhenTheProxyDies) {
    Collector log;
    {
        LogProxy proxy = Logger::error();
        proxy << "half";
        EXPECT_TRUE(log.messages.empty());
        proxy << "whole";
    }
    EXPECT_EQ(log.messages, std::vector<std::string>{"half whole "});
}

TEST(Logger, SendsAMovedMessageOnce) {
    Collector log;
    {
        LogProxy first = Logger::error();
        first << "one";
        LogProxy second = std::move(first);
        first << "ignored";
        second << "two";
    }
    EXPECT_EQ(log.messages, std::vector<std::string>{"one two "});
    static_assert(!std::is_copy_constructible_v<LogProxy>, "a copy would send twice");
    static_assert(!std::is_copy_assignable_v<LogProxy>, "a copy would send twice");
}

TEST(Logger, SurvivesNullStringsAndPiecesThatFailToPrint) {
    Collector log;
    const char* constNothing = nullptr;
    char* nothing = nullptr;
    char text[] = "text";
    char* pointer = text;
    Logger::error() << "a" << constNothing << nothing << pointer << text << "b";
    Logger::error() << Stubborn() << "after";
    EXPECT_EQ(log.messages, (std::vector<std::string>{"a   text text b ", " after "}));
}

TEST(Logger, KeepsAnyBytes) {
    Collector log;
    const std::string bytes("a\0b\n\xff", 5);
    Logger::error() << bytes << std::string(100000, 'x');
    EXPECT_EQ(log.messages, std::vector<std::string>{bytes + " " + std::string(100000, 'x') + " "});
}

TEST(Logger, PassesTheLevel) {
    LogLevel level{};
    int calls = 0;
    const Logger::Sink former = Logger::setSink([&](LogLevel given, const std::string&) {
        level = given;
        ++calls;
    });
    Logger::error() << "x";
    Logger::setSink(former);
    EXPECT_EQ(level, LogLevel::Error);
    EXPECT_EQ(calls, 1);
}

TEST(Logger, ReturnsTheSinkThatWasSet) {
    std::string seen;
    const Logger::Sink original = Logger::setSink([&](LogLevel, const std::string& message) { seen += message; });
    const Logger::Sink mine = Logger::setSink(original);
    ASSERT_TRUE(mine);
    mine(LogLevel::Error, "direct");
    EXPECT_EQ(seen, "direct");
}

TEST(Logger, WritesOneLinePerMessageToStandardErrorWithoutASink) {
    const Logger::Sink former = Logger::setSink({});
    testing::internal::CaptureStderr();
    Logger::error() << "first";
    Logger::error() << "second" << 2;
    const std::string written = testing::internal::GetCapturedStderr();
    Logger::setSink(former);
    EXPECT_EQ(written, "first \nsecond 2 \n");
}

TEST(Logger, ShowsTheMessageOfASinkThatThrows) {
    const Logger::Sink former = Logger::setSink([](LogLevel, const std::string&) { throw std::runtime_error("sink"); });
    testing::internal::CaptureStderr();
    EXPECT_NO_THROW(Logger::error() << "kept");
    // The lock was let go: the next message does not hang.
    EXPECT_NO_THROW(Logger::error() << "too");
    const std::string written = testing::internal::GetCapturedStderr();
    Logger::setSink(former);
    EXPECT_EQ(written, "kept \ntoo \n");
}

TEST(Logger, LetsASinkLogAndReplaceItself) {
    std::vector<std::string> seen;
    const std::string state(100, 's');
    const Logger::Sink former = Logger::setSink([&seen, state](LogLevel, const std::string& message) {
        Logger::error() << "from inside";
        Logger::setSink([&seen](LogLevel, const std::string& later) { seen.push_back("second " + later); });
        seen.push_back(state.substr(0, 1) + message);
    });
    testing::internal::CaptureStderr();
    Logger::error() << "one";
    Logger::error() << "two";
    const std::string written = testing::internal::GetCapturedStderr();
    Logger::setSink(former);
    EXPECT_EQ(written, "from inside \n");
    EXPECT_EQ(seen, (std::vector<std::string>{"sone ", "second two "}));
}

TEST(Logger, DeliversWholeMessagesFromManyThreadsOneAtATime) {
    constexpr int threadCount = 8;
    constexpr int messageCount = 500;
    Collector log;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([thread] {
            for (int message = 0; message < messageCount; ++message) {
                Logger::error() << thread << "says" << message;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::vector<std::string> expected;
    for (int thread = 0; thread < threadCount; ++thread) {
        for (int message = 0; message < messageCount; ++message) {
            expected.push_back(std::to_string(thread) + " says " + std::to_string(message) + " ");
        }
    }
    std::sort(expected.begin(), expected.end());
    std::sort(log.messages.begin(), log.messages.end());
    EXPECT_EQ(log.messages, expected);
}

TEST(Logger, ServesAFormerSinkNoMoreOnceItIsReplaced) {
    constexpr int rounds = 200;
    const Logger::Sink former = Logger::setSink([](LogLevel, const std::string&) {});
    std::thread talker([] {
        for (int i = 0; i < 2000; ++i) {
            Logger::error() << "talk";
        }
    });
    for (int i = 0; i < rounds; ++i) {
        auto counter = std::make_unique<int>(0);
        Logger::setSink([place = counter.get()](LogLevel, const std::string&) { ++*place; });
        Logger::setSink([](LogLevel, const std::string&) {});
        counter.reset();
    }
    talker.join();
    Logger::setSink(former);
}

}  // namespace
