#include "RandomNetworks.h"

#include <tbb/global_control.h>
#include <tbb/task_arena.h>

using namespace tests;

TEST(RandomNetworks, GiveTheSameBitsOnAnyNumberOfThreads) {
    const tbb::global_control threads(tbb::global_control::max_allowed_parallelism, 4);
    for (int count = 1; count <= 4; ++count) {
        SCOPED_TRACE(std::to_string(count) + " threads");
        tbb::task_arena arena(count);
        TessilGraph::RunOptions options;
        options.parallel = true;
        options.cutOff = count % 2 == 0;
        arena.execute([&] { checkRandomNetworks(12, options); });
    }
}
