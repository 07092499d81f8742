#pragma once

#include <atomic>

namespace TessilGraph {

/// A wish that an evaluation stop, looked at between nodes; see `RunOptions::cancel`.
///
/// Threads: any of them may be called from any thread at any time.
class CancelToken {
public:
    CancelToken() = default;
    CancelToken(const CancelToken&) = delete;
    CancelToken& operator=(const CancelToken&) = delete;

    void cancel() noexcept { cancelled_.store(true, std::memory_order_relaxed); }

    /// Takes the wish back, for the next evaluation.
    void reset() noexcept { cancelled_.store(false, std::memory_order_relaxed); }

    bool isCancelled() const noexcept { return cancelled_.load(std::memory_order_relaxed); }

private:
    std::atomic<bool> cancelled_{false};
};

}  // namespace TessilGraph
