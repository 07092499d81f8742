#include <tools/host/Progress.h>

#include <ostream>
#include <string>
#include <utility>

namespace TessilHost {

namespace {

constexpr std::chrono::milliseconds patience(1000);
constexpr std::chrono::milliseconds interval(100);

}  // namespace

Progress::Progress(std::uint64_t total, std::ostream* terminal, Clock clock)
    : total_(total), terminal_(terminal), clock_(std::move(clock)), nextDrawing_(clock_() + patience) {}

Progress::~Progress() {
    if (drawn_) {
        constexpr const char* wipeLine = "\r\x1b[K";
        *terminal_ << wipeLine << std::flush;
    }
}

void Progress::advance() {
    ++done_;
    if (terminal_ == nullptr) {
        return;
    }
    const Time now = clock_();
    if (now >= nextDrawing_) {
        nextDrawing_ = now + interval;
        draw();
    }
}

void Progress::draw() {
    constexpr std::uint64_t width = 40;
    constexpr std::uint64_t percent = 100;
    const std::uint64_t filled = done_ * width / total_;
    *terminal_ << "\r[" << std::string(filled, '#') << std::string(width - filled, '.') << "] "
               << done_ * percent / total_ << " %  " << done_ << " of " << total_ << " frames" << std::flush;
    drawn_ = true;
}

}  // namespace TessilHost
