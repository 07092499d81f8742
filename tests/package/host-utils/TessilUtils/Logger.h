#pragma once

#include <functional>
#include <sstream>
#include <string>

namespace TessilUtils {

enum class LogLevel { Error };

class LogProxy {
public:
    LogProxy() = default;
    LogProxy(const LogProxy&) = delete;
    LogProxy& operator=(const LogProxy&) = delete;
    ~LogProxy();

    template <class T>
    LogProxy& operator<<(const T& piece) {
        message_ << piece << ' ';
        return *this;
    }

private:
    std::ostringstream message_;
};

class Logger {
public:
    using Sink = std::function<void(LogLevel, const std::string& message)>;

    static LogProxy error() { return {}; }
    static Sink setSink(Sink sink);
};

}  // namespace TessilUtils
