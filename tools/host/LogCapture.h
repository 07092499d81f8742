#pragma once

#include <TessilUtils/Logger.h>

#include <mutex>
#include <string>

namespace TessilHost {

/// Collects what the library logs for as long as it lives, so that the library's own words can stand
/// in an error message.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// What has been logged since the last call, the messages separated by "; ", or nothing.
    std::string take();

private:
    std::mutex mutex_;
    std::string messages_;
    TessilUtils::Logger::Sink before_;
};

}  // namespace TessilHost
