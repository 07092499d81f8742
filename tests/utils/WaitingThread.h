#pragma once

#include <TessilUtils/TaskGroup.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace tests {

/// Waits for a task group whose only task runs on another thread, so that this one has nothing to do,
/// and has `runElsewhere` offer other work meanwhile. False when the waiting thread takes that up.
inline bool leavesOtherWorkAlone(const std::function<void(std::function<void()>)>& runElsewhere) {
    using Clock = std::chrono::steady_clock;
    std::atomic<bool> started{false};
    TessilUtils::TaskGroup group;
    group.run([&started] {
        started = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    });
    // There may be no other thread.
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(20);
    while (!started && Clock::now() < end) {
        std::this_thread::yield();
    }
    static thread_local bool waits = false;
    static std::atomic<bool> strayed{false};
    strayed = false;
    runElsewhere([] { strayed = strayed || waits; });
    waits = true;
    group.wait();
    waits = false;
    return !strayed;
}

}  // namespace tests
