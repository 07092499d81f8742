#pragma once

// Tasks that start tasks come from TessilUtils. A host's own TessilUtils need not have them: everything
// is computed on one thread then.
#if __has_include(<TessilUtils/TaskGroup.h>)

#include <TessilUtils/TaskGroup.h>

namespace TessilGraph::internal {
using TaskGroup = TessilUtils::TaskGroup;
}

#else

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace TessilGraph::internal {

/// Runs tasks in `wait`, one after the other, on the thread that waits.
class TaskGroup {
public:
    using Task = void (*)(void* context, std::uintptr_t argument);

    TaskGroup() = default;
    TaskGroup(const TaskGroup&) = delete;
    TaskGroup& operator=(const TaskGroup&) = delete;

    void run(Task task, void* context, std::uintptr_t argument = 0) {
        run([task, context, argument] { task(context, argument); });
    }
    void run(std::function<void()> task) { tasks_.push_back(std::move(task)); }

    void wait() {
        while (!tasks_.empty()) {
            const std::function<void()> task = std::move(tasks_.back());
            tasks_.pop_back();
            task();
        }
    }

    static unsigned int concurrency() { return 1; }

private:
    std::vector<std::function<void()> > tasks_;
};

}  // namespace TessilGraph::internal

#endif
