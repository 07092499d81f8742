#include <benchmarks/PreparedBenchmarks.h>

#include <benchmarks/EngineNetwork.h>
#include <benchmarks/Lean.h>
#include <benchmarks/Measure.h>
#include <benchmarks/Workloads.h>

#include <TessilGraph/TessilGraph.h>

#include <memory>
#include <string>
#include <vector>

namespace bench {

namespace {

using TessilGraph::PreparedEvaluation;
using TessilGraph::RunOptions;

constexpr int rounds = 9;

/// One workload as nodes of the library, prepared, and as lean nodes, kept from line to line.
class Bed {
public:
    Bed(const std::string& kind, const std::string& size)
        : workload(makeWorkload(kind, size)),
          engine(workload),
          lean(workload),
          prepared(engine.manager(), engine.names()[workload.sink]) {
        engine.setConstants();
        lean.setConstants();
        lean.store();
        prepared.run();
        lean.evaluate();
    }

    static Bed& get(const std::string& kind, const std::string& size) {
        static std::unique_ptr<Bed> bed;
        if (!bed || bed->workload.name != kind + "/" + size) {
            bed.reset();
            bed = std::make_unique<Bed>(kind, size);
        }
        return *bed;
    }

    template <class Network>
    void touchAll(Network& network, std::uint32_t& step) const {
        ++step;
        for (const std::uint32_t node : workload.all) {
            network.touch(node, workload.touchValue(node, step));
        }
    }

    template <class Network>
    void touchFew(Network& network, std::uint32_t& step) const {
        ++step;
        network.touch(workload.few, workload.touchValue(workload.few, step));
    }

    /// Brings both networks to the same values.
    void settle() {
        engineStep = leanStep = 0;
        touchAll(engine, engineStep);
        touchAll(lean, leanStep);
        touchFew(engine, engineStep);
        touchFew(lean, leanStep);
        lean.setAll(true);
        engine.setAll(true);
        prepared.run();
        lean.replay();
    }

    bool isRight() const { return engineStep != leanStep || engine.sinkValue() == lean.sinkValue(); }

    Workload workload;
    EngineNetwork engine;
    LeanNetwork lean;
    PreparedEvaluation prepared;
    std::uint32_t engineStep = 0;
    std::uint32_t leanStep = 0;
};

void addRuns(const std::string& kind, const std::string& size) {
    const auto addCase = [&](const char* operation, void (*fill)(Bed&, Case&)) {
        add(std::string(operation) + "/" + kind + "/" + size, rounds, [=] {
            Bed& bed = Bed::get(kind, size);
            bed.settle();
            Case compared;
            compared.units = static_cast<double>(bed.workload.size());
            compared.isRight = [&bed] { return bed.isRight(); };
            fill(bed, compared);
            return compared;
        });
    };
    addCase("prepared_all_dirty", [](Bed& bed, Case& compared) {
        compared.subject.prepare = [&bed] {
            bed.touchAll(bed.engine, bed.engineStep);
            bed.engine.setAll(true);
        };
        compared.subject.run = [&bed] { bed.prepared.run(); };
        compared.baseline.prepare = [&bed] {
            bed.touchAll(bed.lean, bed.leanStep);
            bed.lean.setAll(true);
        };
        compared.baseline.run = [&bed] { bed.lean.replay(); };
    });
    addCase("prepared_change_all", [](Bed& bed, Case& compared) {
        compared.subject.run = [&bed] {
            bed.touchAll(bed.engine, bed.engineStep);
            bed.prepared.run();
        };
        compared.baseline.run = [&bed] {
            bed.touchAll(bed.lean, bed.leanStep);
            bed.lean.evaluate();
        };
    });
    addCase("prepared_change_few", [](Bed& bed, Case& compared) {
        compared.units = 1.0;
        compared.unit = "ns/call";
        compared.subject.run = [&bed] {
            bed.touchFew(bed.engine, bed.engineStep);
            bed.prepared.run();
        };
        compared.baseline.run = [&bed] {
            bed.touchFew(bed.lean, bed.leanStep);
            bed.lean.evaluate();
        };
    });
    addCase("prepared_clean", [](Bed& bed, Case& compared) {
        compared.units = 1.0;
        compared.unit = "ns/call";
        compared.subject.run = [&bed] { bed.prepared.run(); };
    });
    addCase("prepared_cut_off_all_dirty", [](Bed& bed, Case& compared) {
        RunOptions options;
        options.cutOff = true;
        compared.subject.prepare = [&bed] {
            bed.touchAll(bed.engine, bed.engineStep);
            bed.engine.setAll(true);
        };
        compared.subject.run = [&bed, options] { bed.prepared.run(nullptr, options); };
        compared.baseline.prepare = [&bed] {
            bed.touchAll(bed.lean, bed.leanStep);
            bed.lean.setAll(true);
        };
        compared.baseline.run = [&bed] { bed.lean.replay(); };
    });
    addCase("prepared_parallel", [](Bed& bed, Case& compared) {
        RunOptions options;
        options.parallel = true;
        const auto prepare = [&bed] {
            bed.touchAll(bed.engine, bed.engineStep);
            bed.engine.setAll(true);
        };
        compared.wallTime = true;
        compared.subject = {prepare, [&bed, options] { bed.prepared.run(nullptr, options); }};
        compared.baseline = {prepare, [&bed] { bed.prepared.run(); }};
        compared.isRight = nullptr;
    });
    addCase("prepare", [](Bed& bed, Case& compared) {
        compared.subject.run = [&bed] {
            TessilGraph::Node* node = bed.engine.manager().getNode(bed.engine.names()[0]);
            bed.engine.manager().renameNode(node->name(), node->name());
            bed.engine.manager().renameNode(node->name(), bed.engine.names()[0]);
            bed.prepared.run();
        };
    });
}

/// Compared with the same on one thread.
void addSlow(const std::string& kind) {
    add("prepared_parallel_20us/" + kind + "/1k", 5, [=] {
        struct Slow {
            explicit Slow(const std::string& which)
                : workload(makeWorkload(which, "1k")),
                  engine(workload, "SlowAdd"),
                  prepared(engine.manager(), engine.names()[workload.sink]) {
                engine.setConstants();
                parallel.parallel = true;
            }
            Workload workload;
            EngineNetwork engine;
            PreparedEvaluation prepared;
            RunOptions parallel;
        };
        auto slow = std::make_shared<Slow>(kind);
        slow->prepared.run(nullptr, slow->parallel);
        Case compared;
        compared.wallTime = true;
        compared.units = static_cast<double>(slow->workload.size());
        const auto prepare = [slow] { slow->engine.setAll(true); };
        compared.subject = {prepare, [slow] { slow->prepared.run(nullptr, slow->parallel); }};
        compared.baseline = {prepare, [slow] { slow->prepared.run(); }};
        return compared;
    });
}

}  // namespace

void addPreparedBenchmarks(bool large) {
    std::vector<std::string> sizes = {"1k", "10k", "100k"};
    if (large) {
        sizes.emplace_back("1M");
    }
    for (const std::string& size : sizes) {
        for (const char* kind : {"chain", "fan", "ladder", "dag", "rig"}) {
            addRuns(kind, size);
        }
    }
    for (const char* kind : {"dag", "fan", "ladder", "chain"}) {
        addSlow(kind);
    }
}

}  // namespace bench
