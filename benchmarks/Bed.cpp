#include <benchmarks/Bed.h>

#include <memory>

namespace bench {

Bed& Bed::get(const std::string& kind, const std::string& size) {
    static std::unique_ptr<Bed> bed;
    if (!bed || bed->workload.name != kind + "/" + size) {
        bed.reset();
        bed = std::make_unique<Bed>(kind, size);
    }
    return *bed;
}

EngineNetwork& Bed::engine() {
    if (!engine_) {
        engineTouches = {};
        engine_.emplace(workload);
        engine_->setConstants();
        engine_->store();
    }
    return *engine_;
}

LeanNetwork& Bed::lean() {
    if (!lean_) {
        leanTouches = {};
        lean_.emplace(workload);
        lean_->setConstants();
        lean_->store();
    }
    return *lean_;
}

FlatLoop& Bed::flat() {
    if (!flat_) {
        flat_.emplace(workload);
    }
    return *flat_;
}

FlowGraph& Bed::flow(int threads) {
    if (!flow_ || flowThreads_ != threads) {
        flow_.reset();
        flow_.emplace(lean(), workload, threads);
        flowThreads_ = threads;
    }
    return *flow_;
}

void Bed::dropNetworks() {
    flow_.reset();
    flat_.reset();
    lean_.reset();
    engine_.reset();
}

void Bed::settle() {
    engine().forgetPrepared();
    engine().setAll(true);
    engine().evaluate();
    engine().setAll(false);
    lean().setAll(true);
    lean().evaluate();
    lean().setAll(false);
}

std::vector<std::uint32_t> Bed::reachedByAll() {
    lean().setAll(false);
    markAll(lean());
    return takeDirty();
}

std::vector<std::uint32_t> Bed::reachedByFew() {
    lean().setAll(false);
    lean().mark(workload.few);
    return takeDirty();
}

std::vector<std::uint32_t> Bed::takeDirty() {
    std::vector<std::uint32_t> dirty;
    for (std::uint32_t node = 0; node < workload.size(); ++node) {
        if (lean().node(node).dirty) {
            dirty.push_back(node);
        }
    }
    lean().setAll(false);
    return dirty;
}

Imath::V3d Bed::sinkOf(const Touches& touches) {
    FlatLoop& loop = flat();
    for (const std::uint32_t node : workload.all) {
        loop.touch(node, workload.touchValue(node, touches.all));
    }
    loop.touch(workload.few, workload.touchValue(workload.few, touches.few));
    loop.run();
    return loop.sinkValue();
}

}  // namespace bench
