#include <TessilUtils/Logger.h>

#include <cstdio>
#include <locale>
#include <mutex>
#include <new>
#include <utility>

namespace TessilUtils {

namespace {

struct Outlet {
    std::mutex mutex;  // held while the sink runs
    std::shared_ptr<Logger::Sink> sink = std::make_shared<Logger::Sink>();
};

// Never destroyed: static objects of the host may log while the process ends.
Outlet& outlet() {
    static Outlet& instance = *new Outlet;
    return instance;
}

// Whether this thread is inside the sink and so holds the outlet's mutex already.
thread_local bool insideSink = false;

class SinkScope {
public:
    SinkScope() : lock_(outlet().mutex) { insideSink = true; }
    ~SinkScope() { insideSink = false; }
    SinkScope(const SinkScope&) = delete;
    SinkScope& operator=(const SinkScope&) = delete;

private:
    std::lock_guard<std::mutex> lock_;
};

void writeLine(const std::string& message) {
    // One write, so that lines of several threads or processes do not mix.
    const std::string line = message + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

// For want of memory or of a lock.
void reportLoss() {
    std::fputs("A message was lost\n", stderr);
}

void send(LogLevel level, const std::string& message) {
    if (insideSink) {
        writeLine(message);
        return;
    }
    const SinkScope scope;
    // The copy keeps the sink alive when it replaces itself.
    const std::shared_ptr<Logger::Sink> sink = outlet().sink;
    if (!*sink) {
        writeLine(message);
        return;
    }
    try {
        (*sink)(level, message);
    } catch (...) {
        writeLine(message);
    }
}

}  // namespace

LogProxy::LogProxy(LogLevel level) : level_(level), text_(new (std::nothrow) std::ostringstream) {
    if (!text_) {
        reportLoss();
        return;
    }
    // Numbers look the same whatever locale the host has set.
    text_->imbue(std::locale::classic());
}

LogProxy::LogProxy(LogProxy&& other) noexcept = default;

LogProxy::~LogProxy() {
    if (!text_) {
        return;
    }
    try {
        send(level_, text_->str());
    } catch (...) {
        reportLoss();
    }
}

LogProxy Logger::error() {
    return LogProxy(LogLevel::Error);
}

Logger::Sink Logger::setSink(Sink sink) {
    auto next = std::make_shared<Sink>(std::move(sink));
    if (insideSink) {
        // The former sink is still running, so its state has to stay where it is.
        outlet().sink.swap(next);
        return *next;
    }
    const std::lock_guard<std::mutex> lock(outlet().mutex);
    outlet().sink.swap(next);
    return std::move(*next);
}

}  // namespace TessilUtils
