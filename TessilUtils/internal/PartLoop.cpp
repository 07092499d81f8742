#include <TessilUtils/internal/PartLoop.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

namespace TessilUtils {

void runParts(unsigned int begin, unsigned int end, void (*run)(void*, unsigned int, unsigned int), void* context) {
    using Part = tbb::blocked_range<unsigned int>;
    // Isolated, so that a thread waiting here does not begin a part of an outer loop.
    tbb::this_task_arena::isolate([&] {
        tbb::parallel_for(Part(begin, end), [&](const Part& part) { run(context, part.begin(), part.end()); });
    });
}

}  // namespace TessilUtils
