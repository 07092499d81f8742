#pragma once  // IWYU pragma: always_keep

#include <TessilUtils/Logger.h>

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tests {

/// Collects what is logged while a test runs and fails the test that logged what it did not take.
///
/// Including this header is enough: every test of the program is watched. Messages may come from
/// several threads.
class CollectedLog : public testing::EmptyTestEventListener {
public:
    static CollectedLog& instance() {
        // The list of listeners owns it and lives as long as the program.
        static CollectedLog* const collected = [] {
            auto* made = new CollectedLog;
            testing::UnitTest::GetInstance()->listeners().Append(made);
            return made;
        }();
        return *collected;
    }

    /// The messages since the last call, oldest first. Who takes them has asked for them.
    std::vector<std::string> take() {
        const std::lock_guard<std::mutex> guard(mutex_);
        return std::exchange(messages_, {});
    }

    void OnTestStart(const testing::TestInfo&) override {
        take();
        previous_ = TessilUtils::Logger::setSink([this](TessilUtils::LogLevel, const std::string& message) {
            const std::lock_guard<std::mutex> guard(mutex_);
            messages_.push_back(message);
        });
    }

    void OnTestEnd(const testing::TestInfo&) override {
        TessilUtils::Logger::setSink(std::move(previous_));
        for (const std::string& message : take()) {
            ADD_FAILURE() << "logged, though the test did not ask for it: \"" << message << '"';
        }
    }

private:
    CollectedLog() = default;

    std::mutex mutex_;
    std::vector<std::string> messages_;
    TessilUtils::Logger::Sink previous_;
};

inline const bool logIsCollected = (CollectedLog::instance(), true);

/// What the running test logged since the last call, oldest first.
inline std::vector<std::string> takeLog() {
    return CollectedLog::instance().take();
}

using Messages = std::vector<std::string>;

}  // namespace tests
