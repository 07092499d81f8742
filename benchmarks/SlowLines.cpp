#include <benchmarks/Bed.h>
#include <benchmarks/Lines.h>
#include <benchmarks/Measure.h>
#include <benchmarks/SlowNode.h>

#include <string>
#include <thread>

namespace bench {

namespace {

/// How often a way computes nodes when all are dirty.
double countComputes(Bed& bed, const Way& way) {
    bed.engine().setAll(true);
    SlowAdd::computes = 0;
    way.run(bed.engine());
    return static_cast<double>(SlowAdd::computes.load());
}

}  // namespace

void addSlowLines(const Way& way, const std::string& kind) {
    addLine(std::string(way.name) + "_20us/" + kind + "/1k", fewRounds, [=, &way] {
        Bed& bed = Bed::get("slow_" + kind, "1k");
        bed.settle();
        const double computes = countComputes(bed, way);
        const auto spoil = [&bed] { bed.spoil(bed.engine(), bed.engineTouches); };
        const auto spoilLean = [&bed] { bed.spoil(bed.lean(), bed.leanTouches); };
        const auto isLeanRight = [&bed] { return bed.isLeanRight(); };
        FlowGraph& flow = bed.flow(static_cast<int>(std::thread::hardware_concurrency()));

        // A node counts each time it is computed, so that all are compared with the same number of
        // computes one after the other.
        Case compared;
        compared.units = bed.size();
        compared.unit = "ns/compute";
        compared.wallTime = true;
        compared.subject = {spoil, [&bed, &way] { way.run(bed.engine()); }, [&bed] { return bed.isEngineRight(); },
                            computes};
        compared.rivals.push_back({"serial", {spoilLean, [&bed] { bed.lean().replay(); }, isLeanRight}});
        compared.rivals.push_back({"flow", {spoilLean, [&flow] { flow.run(); }, isLeanRight}});
        return compared;
    });
}

}  // namespace bench
