#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <ostream>

namespace TessilHost {

/// A progress bar for work that takes longer than a second; quicker work shows none.
class Progress {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Clock = std::function<Time()>;

    /// `terminal` is where the bar is drawn, null for no bar. It must outlive the bar.
    Progress(std::uint64_t total, std::ostream* terminal, Clock clock = std::chrono::steady_clock::now);

    /// Wipes the bar off the terminal.
    ~Progress();

    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// One of `total` steps is done.
    void advance();

    bool isDrawn() const { return drawn_; }

private:
    void draw();

    std::uint64_t total_;
    std::uint64_t done_ = 0;
    std::ostream* terminal_;
    Clock clock_;
    Time nextDrawing_;
    bool drawn_ = false;
};

}  // namespace TessilHost
