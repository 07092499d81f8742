#define TBB_PREVIEW_ISOLATED_TASK_GROUP 1

#include <TessilUtils/internal/TaskQueue.h>

#include <tbb/global_control.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <new>

namespace TessilUtils::internal {

struct TaskQueue::Tasks {
    // A context of its own: a loop of the host that is called off takes no task of ours with it. It
    // keeps the floating-point settings of the thread that makes it.
    tbb::task_group_context context{tbb::task_group_context::isolated,
                                    tbb::task_group_context::fp_settings | tbb::task_group_context::concurrent_wait};
    // Isolated, so that a thread waiting here does not begin work of somebody else.
    tbb::isolated_task_group group{context};
};

TaskQueue::TaskQueue(Run run, void* group) : run_(run), group_(group) {
    static_assert(sizeof(Tasks) <= sizeof(memory_) && alignof(Tasks) <= alignof(std::max_align_t));
    new (memory_) Tasks;
}

TaskQueue::~TaskQueue() {
    tasks().~Tasks();
}

void TaskQueue::add(const QueuedTask& task) {
    tasks().group.run([run = run_, group = group_, task] { run(group, task); });
}

void TaskQueue::wait() {
    tasks().group.wait();
}

TaskQueue::Tasks& TaskQueue::tasks() {
    return *std::launder(reinterpret_cast<Tasks*>(memory_));
}

unsigned int threadLimit() {
    const std::size_t inArena = static_cast<std::size_t>(std::max(1, tbb::this_task_arena::max_concurrency()));
    const std::size_t inProcess = tbb::global_control::active_value(tbb::global_control::max_allowed_parallelism);
    return static_cast<unsigned int>(std::clamp<std::size_t>(inProcess, 1, inArena));
}

}  // namespace TessilUtils::internal
