#include <TessilUtils/Logger.h>

#include <iostream>
#include <utility>

namespace TessilUtils {

namespace {

Logger::Sink currentSink;

}  // namespace

LogProxy::~LogProxy() {
    if (currentSink) {
        currentSink(LogLevel::Error, message_.str());
    } else {
        std::cerr << message_.str() << '\n';
    }
}

Logger::Sink Logger::setSink(Sink sink) {
    return std::exchange(currentSink, std::move(sink));
}

}  // namespace TessilUtils
