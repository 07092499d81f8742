#include <TessilUtils/ParallelFor.h>

#include <TessilUtils/internal/PartLoop.h>

#include <atomic>
#include <utility>

namespace TessilUtils {

namespace {

using Task = std::function<void(const ParallelForRange&)>;

// Says to memory what the loop says in time: the caller comes before every part, every part before the return.
// The loop itself does so as well, but out of ThreadSanitizer's sight.
struct Work {
    explicit Work(Task workTask) : task(std::move(workTask)) { order.store(1, std::memory_order_release); }

    const Task task;
    std::atomic<unsigned int> order{0};
};

class PartScope {
public:
    explicit PartScope(Work& work) : work_(work) { static_cast<void>(work_.order.load(std::memory_order_acquire)); }
    ~PartScope() { work_.order.fetch_add(1, std::memory_order_release); }
    PartScope(const PartScope&) = delete;
    PartScope& operator=(const PartScope&) = delete;

private:
    Work& work_;
};

void runPart(void* context, unsigned int begin, unsigned int end) {
    Work& work = *static_cast<Work*>(context);
    const PartScope scope(work);
    work.task(ParallelForRange(begin, end));
}

}  // namespace

void parallel_for(const ParallelForRange& range, std::function<void(const ParallelForRange&)> task) {
    if (range.begin() >= range.end() || !task) {
        return;
    }
    Work work(std::move(task));
    struct Joined {
        Work& work;
        ~Joined() { static_cast<void>(work.order.load(std::memory_order_acquire)); }
    } const joined{work};
    runParts(range.begin(), range.end(), runPart, &work);
}

}  // namespace TessilUtils
