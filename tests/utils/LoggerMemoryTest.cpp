#include "FailingNew.h"

#include <TessilUtils/Logger.h>

#include <gtest/gtest.h>

#include <string>

using TessilUtils::Logger;
using TessilUtils::LogLevel;
using TessilUtils::LogProxy;

namespace {

TEST(LoggerMemory, LosesAMessageWithoutThrowing) {
    const std::string longPiece(1000, 'x');
    testing::internal::CaptureStderr();
    bool threw = false;
    {
        const tests::FailingNew noMemory;
        try {
            Logger::error() << "short" << longPiece << 1;
        } catch (...) {
            threw = true;
        }
    }
    EXPECT_FALSE(threw);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "A message was lost\n");
}

TEST(LoggerMemory, CutsAPieceShortButNotTheOthers) {
    const std::string longPiece(100000, 'x');
    std::string seen;
    const Logger::Sink former = Logger::setSink([&](LogLevel, const std::string& message) { seen = message; });
    bool threw = false;
    {
        LogProxy proxy = Logger::error();
        proxy << "before";
        {
            const tests::FailingNew noMemory;
            try {
                proxy << longPiece;
            } catch (...) {
                threw = true;
            }
        }
        proxy << "after";
    }
    Logger::setSink(former);
    EXPECT_FALSE(threw);
    EXPECT_EQ(seen.substr(0, 7), "before ");
    EXPECT_EQ(seen.substr(seen.size() - 6), "after ");
    EXPECT_LT(seen.size(), longPiece.size());
}

}  // namespace
