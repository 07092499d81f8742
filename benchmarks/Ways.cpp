#include <benchmarks/Ways.h>

namespace bench {

namespace {

void walk(EngineNetwork& network) {
    network.evaluate();
}
void walkLean(LeanNetwork& network) {
    network.evaluate();
}
void replay(EngineNetwork& network) {
    network.replay();
}
void replayLean(LeanNetwork& network) {
    network.replay();
}
void walkLevels(EngineNetwork& network) {
    network.evaluateLevels();
}

void runPrepared(EngineNetwork& network) {
    network.runPrepared();
}
void runPreparedParallel(EngineNetwork& network) {
    network.runPreparedParallel();
}

}  // namespace

const std::vector<Way>& ways() {
    static const std::vector<Way> all = {
        {"stored", replay, replayLean},
        {"walk", walk, walkLean},
        {"levels", walkLevels, walkLean, walk},
        {"prepared", runPrepared, replayLean},
        {"prepared_parallel", runPreparedParallel, replayLean, runPrepared},
    };
    return all;
}

}  // namespace bench
