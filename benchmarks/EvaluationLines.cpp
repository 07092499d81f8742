#include <benchmarks/Bed.h>
#include <benchmarks/Lines.h>
#include <benchmarks/Measure.h>

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace bench {

namespace {

int threadsOf(const Way& way) {
    return way.isParallel() ? static_cast<int>(std::thread::hardware_concurrency()) : 1;
}

void addCase(const Way& way, const char* operation, const std::string& kind, const std::string& size,
             void (*fill)(Bed&, const Way&, Case&)) {
    const std::string name = std::string(way.name) + "_" + operation + "/" + kind + "/" + size;
    addLine(name, roundsFor(size, way.isParallel() ? fewRounds : manyRounds), [=, &way] {
        Bed& bed = Bed::get(kind, size);
        bed.settle();
        Case compared;
        compared.units = bed.size();
        compared.wallTime = way.isParallel();
        fill(bed, way, compared);
        return compared;
    });
}

/// Gives a way on several threads its serial counterpart as the first rival, others the lean design.
void addRivals(Case& compared, const Way& way, const Side& serial, const Side& lean) {
    if (way.isParallel()) {
        compared.rivals.push_back({"serial", serial});
    }
    compared.rivals.push_back({"lean", lean});
}

void fillAllDirty(Bed& bed, const Way& way, Case& compared) {
    const auto spoil = [&bed] { bed.spoil(bed.engine(), bed.engineTouches); };
    const auto spoilLean = [&bed] { bed.spoil(bed.lean(), bed.leanTouches); };
    const auto isRight = [&bed] { return bed.isEngineRight(); };
    const auto isLeanRight = [&bed] { return bed.isLeanRight(); };
    compared.subject = {spoil, [&bed, &way] { way.run(bed.engine()); }, isRight};
    addRivals(compared, way, {spoil, [&bed, &way] { way.serial(bed.engine()); }, isRight},
              {spoilLean, [&bed, &way] { way.lean(bed.lean()); }, isLeanRight});
    compared.rivals.push_back({"flat", {nullptr, [&bed] { bed.flat().run(); }, nullptr}});
    FlowGraph& flow = bed.flow(threadsOf(way));
    compared.rivals.push_back({"flow", {spoilLean, [&flow] { flow.run(); }, isLeanRight}});
}

void fillChangeFew(Bed& bed, const Way& way, Case& compared) {
    compared.units = bed.countFew();
    const auto touch = [&bed] { bed.touchFew(bed.engine(), bed.engineTouches); };
    const auto isRight = [&bed] { return bed.isEngineRight(); };
    compared.subject = {nullptr,
                        [=, &bed, &way] {
                            touch();
                            way.run(bed.engine());
                        },
                        isRight};
    addRivals(compared, way,
              {nullptr,
               [=, &bed, &way] {
                   touch();
                   way.serial(bed.engine());
               },
               isRight},
              {nullptr,
               [&bed] {
                   bed.touchFew(bed.lean(), bed.leanTouches);
                   bed.lean().evaluate();
               },
               [&bed] { return bed.isLeanRight(); }});
    // The loop knows no better than to compute everything.
    compared.rivals.push_back({"flat", {nullptr, [&bed] { bed.flat().run(); }, nullptr}});
}

void fillChangeAll(Bed& bed, const Way& way, Case& compared) {
    compared.units = bed.countAll();
    const auto touch = [&bed] { bed.touchAll(bed.engine(), bed.engineTouches); };
    const auto isRight = [&bed] { return bed.isEngineRight(); };
    compared.subject = {nullptr,
                        [=, &bed, &way] {
                            touch();
                            way.run(bed.engine());
                        },
                        isRight};
    addRivals(compared, way,
              {nullptr,
               [=, &bed, &way] {
                   touch();
                   way.serial(bed.engine());
               },
               isRight},
              {nullptr,
               [&bed] {
                   bed.touchAll(bed.lean(), bed.leanTouches);
                   bed.lean().evaluate();
               },
               [&bed] { return bed.isLeanRight(); }});
    FlatLoop& flat = bed.flat();
    compared.rivals.push_back({"flat",
                               {nullptr,
                                [&bed, &flat, touches = Touches{}]() mutable {
                                    bed.touchAll(flat, touches);
                                    flat.run();
                                },
                                nullptr}});
}

void fillClean(Bed& bed, const Way& way, Case& compared) {
    compared.units = 1.0;
    compared.unit = "ns/call";
    compared.subject = {nullptr, [&bed, &way] { way.run(bed.engine()); }, [&bed] { return bed.isEngineRight(); }};
    addRivals(compared, way, {nullptr, [&bed, &way] { way.serial(bed.engine()); }, nullptr},
              {nullptr, [&bed, &way] { way.lean(bed.lean()); }, [&bed] { return bed.isLeanRight(); }});
}

/// The first evaluation after links have changed; what is kept from call to call is of no use then.
void fillRewired(Bed& bed, const Way& way, Case& compared) {
    compared.subject = {[&bed] {
                            bed.spoil(bed.engine(), bed.engineTouches);
                            bed.engine().rewire();
                        },
                        [&bed, &way] { way.run(bed.engine()); }, [&bed] { return bed.isEngineRight(); }};
    compared.rivals.push_back({"lean_walk",
                               {[&bed] { bed.spoil(bed.lean(), bed.leanTouches); }, [&bed] { bed.lean().evaluate(); },
                                [&bed] { return bed.isLeanRight(); }}});
}

/// One joint of one character is moved, as against computing everything.
void fillOneJoint(Bed& bed, const Way& way, Case& compared) {
    compared.units = 1.0;
    compared.unit = "ns/call";
    const auto isRight = [&bed] { return bed.isEngineRight(); };
    compared.subject = {nullptr,
                        [&bed, &way] {
                            bed.touchFew(bed.engine(), bed.engineTouches);
                            way.run(bed.engine());
                        },
                        isRight};
    compared.rivals.push_back(
        {"all_dirty",
         {[&bed] { bed.spoil(bed.engine(), bed.engineTouches); }, [&bed, &way] { way.run(bed.engine()); }, isRight}});
}

}  // namespace

void addEvaluationLines(const Way& way, const std::string& kind, const std::string& size) {
    addCase(way, "all_dirty", kind, size, fillAllDirty);
    if (size == "17.6k") {
        return;
    }
    addCase(way, "change_few", kind, size, fillChangeFew);
    addCase(way, "clean", kind, size, fillClean);
    if (kind == "rig") {
        addCase(way, "one_joint", kind, size, fillOneJoint);
    }
    if (!way.isParallel()) {
        addCase(way, "change_all", kind, size, fillChangeAll);
        addCase(way, "rewired", kind, size, fillRewired);
    }
}

void addMarkingLines(const std::string& kind, const std::string& size) {
    const auto addMark = [&](const char* operation, bool all) {
        addLine(operation + ("/" + kind + "/" + size), roundsFor(size, manyRounds), [=] {
            Bed& bed = Bed::get(kind, size);
            bed.settle();
            const auto reached =
                std::make_shared<const std::vector<std::uint32_t>>(all ? bed.reachedByAll() : bed.reachedByFew());
            // No other nodes are looked at, or they would push these out of the cache.
            const auto clean = [reached](auto& network) {
                for (const std::uint32_t node : *reached) {
                    network.clean(node);
                }
            };
            const auto mark = [&bed, all](auto& network) {
                if (all) {
                    bed.markAll(network);
                } else {
                    network.mark(bed.workload.few);
                }
            };
            Case compared;
            compared.units = static_cast<double>(reached->size());
            compared.subject = {[=, &bed] { clean(bed.engine()); }, [=, &bed] { mark(bed.engine()); }, nullptr};
            compared.rivals.push_back({"lean",
                                       {[=, &bed] { clean(bed.lean()); }, [=, &bed] { mark(bed.lean()); },
                                        [&bed] { return bed.areDirtyAlike(); }}});
            return compared;
        });
    };
    addMark("mark_all", true);
    addMark("mark_few", false);
}

}  // namespace bench
