#pragma once

#include <TessilUtils/Export.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>

namespace TessilUtils {

/// How much a message matters.
enum class LogLevel { Error };

/// One message in the making. It collects what is streamed into it and is sent when it is destroyed,
/// usually at the end of the statement that asked `Logger` for it.
///
/// A message travels when the proxy is moved, and is then sent by the last holder only. Logging throws
/// nothing of its own. Where memory runs out, a piece is cut short, or the message is lost and a line on
/// standard error says so.
///
/// Threads: one proxy serves one thread at a time; it may be sent from another than it was made on.
class TESSILUTILS_API LogProxy {
public:
    /// Takes the message over; `other` sends nothing any more and ignores further pieces.
    LogProxy(LogProxy&& other) noexcept;
    LogProxy(const LogProxy&) = delete;
    LogProxy& operator=(const LogProxy&) = delete;
    LogProxy& operator=(LogProxy&&) = delete;

    /// Sends the message, also when nothing was streamed. Throws nothing, whatever the sink does.
    ~LogProxy();

    /// Writes `piece`, anything that a standard stream takes, then one blank. A null C string writes
    /// the blank alone. Throws only what the piece's own operator throws.
    template <class T>
    LogProxy& operator<<(const T& piece) {
        if (!text_) {
            return *this;
        }
        if constexpr (std::is_same_v<T, const char*> || std::is_same_v<T, char*>) {
            if (piece != nullptr) {
                *text_ << piece;
            }
        } else {
            *text_ << piece;
        }
        // A piece that failed to print itself, or found no memory, must not swallow those that follow.
        text_->clear();
        *text_ << ' ';
        text_->clear();
        return *this;
    }

private:
    friend class Logger;
    explicit LogProxy(LogLevel level);

    LogLevel level_;
    std::unique_ptr<std::ostringstream> text_;
};

/// Takes the messages of the whole process.
///
/// Threads: any number at once. A message arrives whole; the sink is called by one thread at a time.
class TESSILUTILS_API Logger {
public:
    /// Takes a complete message, without a line end.
    ///
    /// What a sink logs itself goes to standard error. When it throws, the exception ends here and
    /// the message goes to standard error. It must not wait for another thread that logs.
    ///
    /// It is called by the thread that logs, in the midst of that one's work, and leaves alone what this may be at
    /// work on, unless that says otherwise.
    using Sink = std::function<void(LogLevel, const std::string& message)>;

    Logger() = delete;

    /// A new error message: `Logger::error() << "Node" << name << "not found";`
    static LogProxy error();

    /// Sends all further messages to `sink` and returns the sink that was set; an empty one stands
    /// for standard error, one line per message. The former sink is not running any more when this
    /// returns, unless it is itself the caller.
    static Sink setSink(Sink sink);
};

}  // namespace TessilUtils
