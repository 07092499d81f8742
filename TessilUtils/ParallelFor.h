#pragma once

#include <TessilUtils/Export.h>

#include <functional>

namespace TessilUtils {

/// The indices [begin, end).
///
/// Threads: never changes, so any number may read it.
class ParallelForRange {
public:
    ParallelForRange(unsigned int begin, unsigned int end) : begin_(begin), end_(end) {}

    unsigned int begin() const { return begin_; }
    unsigned int end() const { return end_; }

private:
    unsigned int begin_;
    unsigned int end_;
};

/// Runs `task` on sub-ranges that together cover `range` exactly once, on several threads at once, and
/// returns when all are done.
///
/// A range that is empty or runs backwards, or an empty task, does nothing. The first exception that a
/// task throws reaches the caller, after all running sub-ranges have ended; sub-ranges that have not
/// begun are left out. Tasks compute with the floating-point settings of the caller.
///
/// Threads: may be called from any thread, from inside a task and inside a host's own arena, whose
/// limit on threads then holds. What is called off outside, an outer loop or a host's own tasks, calls
/// nothing off here. A thread that waits here keeps to this loop; all the same, a task had better let go
/// of its locks before a nested loop.
TESSILUTILS_API void parallel_for(const ParallelForRange& range, std::function<void(const ParallelForRange&)> task);

}  // namespace TessilUtils
