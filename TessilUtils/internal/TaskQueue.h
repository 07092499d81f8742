#pragma once

#include <cstddef>
#include <cstdint>

namespace TessilUtils::internal {

/// What a task of a group is called with.
struct QueuedTask {
    void (*task)(void* context, std::uintptr_t argument);
    void* context;
    std::uintptr_t argument;
};

/// The tasks of one group in the hands of oneTBB: each is run as `run(group, task)`, which must not throw.
///
/// It has a source of its own for the reason that PartLoop.h gives.
class TaskQueue {
public:
    using Run = void (*)(void* group, const QueuedTask& task);

    TaskQueue(Run run, void* group);
    ~TaskQueue();
    TaskQueue(const TaskQueue&) = delete;
    TaskQueue& operator=(const TaskQueue&) = delete;

    void add(const QueuedTask& task);

    /// Takes part in the work until all tasks have ended.
    void wait();

private:
    struct Tasks;

    Tasks& tasks();

    Run run_;
    void* group_;
    alignas(std::max_align_t) unsigned char memory_[384];
};

/// How many threads may take part where the caller stands.
unsigned int threadLimit();

}  // namespace TessilUtils::internal
