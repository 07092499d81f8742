#pragma once

#include <TessilGraph/exec/PreparedEvaluation.h>

#include <atomic>
#include <cstdint>
#include <thread>

namespace TessilGraph::internal {

/// What ends a run early, and who is told how far it is.
class RunControl {
public:
    explicit RunControl(const RunOptions& options) : options_(options), caller_(std::this_thread::get_id()) {}

    /// Whether somebody may want to end a run on one thread, or to be told how far it is.
    bool isAsked() const { return options_.cancel != nullptr || wantsProgress(); }
    bool wantsProgress() const { return static_cast<bool>(options_.progress); }
    void setTotal(std::uint64_t total) { total_ = total; }
    /// So many are left to do.
    void setRemaining(std::uint64_t count) { total_ = done_.load(std::memory_order_relaxed) + count; }

    bool isCancelled() const { return cancelled_.load(std::memory_order_relaxed); }
    bool isStopped() const { return stopped_.load(std::memory_order_relaxed); }
    void stop() { stopped_.store(true, std::memory_order_relaxed); }
    void resume() { stopped_.store(false, std::memory_order_relaxed); }

    std::uint64_t computed() const { return computed_.load(std::memory_order_relaxed); }
    void addComputed(std::uint64_t count) { computed_.fetch_add(count, std::memory_order_relaxed); }

    /// Between two nodes, of which `count` are done since the last call. False when the run is to end.
    bool goesOn(std::uint64_t count) {
        if (count != 0 && wantsProgress()) {
            const std::uint64_t done = done_.fetch_add(count, std::memory_order_relaxed) + count;
            if (std::this_thread::get_id() == caller_) {
                tell(done);
            }
        }
        return mayGoOn();
    }

    /// After a turn side by side, on the caller's thread: others may have had the last word, or every word.
    void tellTheRest() {
        const std::uint64_t done = done_.load(std::memory_order_relaxed);
        if (wantsProgress() && done > told_) {
            tell(done);
        }
    }

    bool mayGoOn() {
        if (options_.cancel != nullptr && options_.cancel->isCancelled()) {
            cancelled_.store(true, std::memory_order_relaxed);
            stop();
        }
        return !isStopped();
    }

private:
    void tell(std::uint64_t done) {
        told_ = done;
        options_.progress(done, done > total_ ? done : total_);
    }

    const RunOptions& options_;
    const std::thread::id caller_;
    std::uint64_t total_ = 0;
    std::uint64_t told_ = 0;  ///< Read and written by the caller's thread alone.
    std::atomic<std::uint64_t> done_{0};
    std::atomic<std::uint64_t> computed_{0};
    std::atomic<bool> cancelled_{false};
    std::atomic<bool> stopped_{false};
};

}  // namespace TessilGraph::internal
