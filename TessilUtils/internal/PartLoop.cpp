#include <TessilUtils/internal/PartLoop.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

namespace TessilUtils {

void runParts(unsigned int begin, unsigned int end, void (*run)(void*, unsigned int, unsigned int), void* data) {
    using Part = tbb::blocked_range<unsigned int>;
    // By itself oneTBB computes, even on this thread, with the floating-point settings that the thread had when it
    // first met oneTBB. Apart from the context of the caller, so that nothing outside calls parts of this loop off:
    // nobody would be told that they are missing.
    tbb::task_group_context context(tbb::task_group_context::isolated, tbb::task_group_context::fp_settings);
    // Isolated, so that a thread waiting here does not begin a part of an outer loop.
    tbb::this_task_arena::isolate([&] {
        tbb::parallel_for(
            Part(begin, end), [&](const Part& part) { run(data, part.begin(), part.end()); }, context);
    });
}

}  // namespace TessilUtils
