#pragma once

#include <TessilUtils/Export.h>

#include <cstddef>
#include <cstdint>
#include <functional>

namespace TessilUtils {

/// Tasks that start tasks, run on several threads at once.
///
/// What `run` takes may begin at once on another thread, or in `wait` on the thread that waits. Every
/// task is run exactly once, also after another one threw, and may call `run` for further ones.
/// Memory that whoever calls `run` has written is seen by the task, and what tasks have written by
/// whoever comes back from `wait`.
///
/// Threads: `run` may be called from any thread until `wait` has returned, from then on anew; `wait` from
/// one thread at a time, never from a task of the same group. Works inside tasks of other groups, inside
/// loops, and inside a host's own arena, whose limit on threads then holds. A thread that waits here
/// keeps to the tasks of this group, what these wait for included; all the same, a task had better let
/// go of its locks before it waits.
///
/// Where memory runs out, `run` throws `std::bad_alloc` and has not taken the task; those before it are run all the
/// same.
///
/// Tasks compute with the floating-point settings of the thread that made the group.
class TESSILUTILS_API TaskGroup {
public:
    /// What a task does: a function, and what it is called with. `context` is not owned.
    using Task = void (*)(void* context, std::uintptr_t argument);

    TaskGroup();
    TaskGroup(const TaskGroup&) = delete;
    TaskGroup& operator=(const TaskGroup&) = delete;

    /// Waits for the tasks that are left; what they throw is lost.
    ~TaskGroup();

    /// Starts a task. Allocates nothing once the threads at work have seen some tasks. A null task does nothing.
    void run(Task task, void* context, std::uintptr_t argument = 0);

    /// The same for anything that can be called, at the price of its memory.
    void run(std::function<void()> task);

    /// Takes part in the work until all tasks have ended, and throws the first exception that one of
    /// them threw. The group is then as new.
    void wait();

    /// How many threads may take part where the caller stands, itself included. At least 1.
    ///
    /// Threads: any number at once.
    static unsigned int concurrency();

private:
    struct State;

    State& state();

    alignas(std::max_align_t) unsigned char memory_[448];  ///< Of the state, so that making a group allocates nothing.
};

}  // namespace TessilUtils
