#include "RandomNetworks.h"

using namespace tests;
using TessilGraph::RunOptions;

TEST(RandomNetworks, GiveTheSameBitsAsAStoredOrder) {
    checkRandomNetworks(60, RunOptions());
}

TEST(RandomNetworks, GiveTheSameBitsCutOff) {
    RunOptions options;
    options.cutOff = true;
    checkRandomNetworks(60, options);
}

TEST(RandomNetworks, GiveTheSameBitsInParallel) {
    RunOptions options;
    options.parallel = true;
    checkRandomNetworks(40, options);
}

TEST(RandomNetworks, GiveTheSameBitsInParallelCutOff) {
    RunOptions options;
    options.parallel = true;
    options.cutOff = true;
    checkRandomNetworks(40, options);
}
