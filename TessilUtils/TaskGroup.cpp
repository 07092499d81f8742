#include <TessilUtils/TaskGroup.h>

#include <TessilUtils/internal/TaskQueue.h>

#include <atomic>
#include <exception>
#include <memory>
#include <new>
#include <utility>

#if defined(__SANITIZE_THREAD__)
#define TESSILUTILS_SEES_THREADS 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define TESSILUTILS_SEES_THREADS 1
#endif
#endif

namespace TessilUtils {

namespace {

// Says to memory what the queue says in time: `run` comes before its task, every task before the end of
// `wait`. The queue itself does so as well, but out of ThreadSanitizer's sight; other builds do without.
class Order {
public:
#if defined(TESSILUTILS_SEES_THREADS)
    void before() {
        count_.fetch_add(1, std::memory_order_release);
    }
    void after() {
        static_cast<void>(count_.load(std::memory_order_acquire));
    }

private:
    std::atomic<unsigned int> count_{0};
#else
    void before() {}
    void after() {}
#endif
};

void callFunction(void* context, std::uintptr_t) {
    const std::unique_ptr<std::function<void()>> function(static_cast<std::function<void()>*>(context));
    (*function)();
}

}  // namespace

struct TaskGroup::State {
    State() : queue(runTask, this) {}

    static void runTask(void* group, const internal::QueuedTask& task) {
        State& state = *static_cast<State*>(group);
        state.order.after();
        try {
            task.task(task.context, task.argument);
        } catch (...) {
            if (!state.failed.exchange(true, std::memory_order_relaxed)) {
                state.failure = std::current_exception();
            }
        }
        state.order.before();
    }

    Order order;
    std::atomic<bool> failed{false};
    std::exception_ptr failure;
    internal::TaskQueue queue;
};

TaskGroup::TaskGroup() {
    static_assert(sizeof(State) <= sizeof(memory_) && alignof(State) <= alignof(std::max_align_t));
    new (memory_) State;
}

TaskGroup::~TaskGroup() {
    try {
        wait();
    } catch (...) {
        // Nobody asked.
    }
    state().~State();
}

void TaskGroup::run(Task task, void* context, std::uintptr_t argument) {
    if (task != nullptr) {
        state().order.before();
        state().queue.add({task, context, argument});
    }
}

void TaskGroup::run(std::function<void()> task) {
    if (task) {
        auto owned = std::make_unique<std::function<void()>>(std::move(task));
        run(callFunction, owned.get());
        static_cast<void>(owned.release());
    }
}

void TaskGroup::wait() {
    State& own = state();
    own.queue.wait();
    own.order.after();
    if (own.failed.exchange(false, std::memory_order_relaxed)) {
        std::rethrow_exception(std::exchange(own.failure, nullptr));
    }
}

unsigned int TaskGroup::concurrency() {
    return internal::threadLimit();
}

TaskGroup::State& TaskGroup::state() {
    return *std::launder(reinterpret_cast<State*>(memory_));
}

}  // namespace TessilUtils
