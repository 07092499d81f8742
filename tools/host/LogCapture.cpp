#include <tools/host/LogCapture.h>

#include <utility>

namespace TessilHost {

LogCapture::LogCapture() {
    before_ = TessilUtils::Logger::setSink([this](TessilUtils::LogLevel, const std::string& message) {
        const std::lock_guard<std::mutex> lock(mutex_);
        // The logger ends each message with a blank.
        const std::string trimmed = message.substr(0, message.find_last_not_of(" \n") + 1);
        constexpr std::size_t enough = 4096;
        if (messages_.size() < enough) {
            messages_ += messages_.empty() ? trimmed : "; " + trimmed;
        }
    });
}

LogCapture::~LogCapture() {
    TessilUtils::Logger::setSink(std::move(before_));
}

std::string LogCapture::take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(messages_, {});
}

}  // namespace TessilHost
