#include <benchmarks/Bed.h>
#include <benchmarks/CallgrindCounts.h>
#include <benchmarks/Results.h>
#include <benchmarks/SlowNode.h>
#include <benchmarks/Table.h>
#include <benchmarks/Ways.h>

#include <TessilGraph/TessilGraph.h>

#include <valgrind/callgrind.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// Counts instructions, which no other program at work on the machine can change. Runs twice: once for
// each workload under callgrind, then to make a table of what that wrote.

namespace bench {

namespace {

using TessilGraph::NetworkManager;

/// Counts for one operation at a time. Under callgrind each count becomes a part of its file.
class Counter {
public:
    explicit Counter(const Workload& workload) : workload_(workload) {}

    void begin(const std::string& operation, double units) {
        operation_ = operation;
        units_ = units;
    }

    void count(const char* side, const std::function<void()>& run) {
        const std::string label = countLabel(operation_ + "/" + workload_.name, side, units_);
        CALLGRIND_ZERO_STATS;
        CALLGRIND_START_INSTRUMENTATION;
        run();
        CALLGRIND_STOP_INSTRUMENTATION;
        CALLGRIND_DUMP_STATS_AT(label.c_str());
    }

    /// The second time, when what is kept from call to call exists.
    void countSecond(const char* side, const std::function<void()>& prepare, const std::function<void()>& run) {
        prepare();
        run();
        prepare();
        count(side, run);
    }

    /// After so many calls that a network has planned what comes again and again.
    void countPlanned(const char* side, const std::function<void()>& run) {
        constexpr double timesTheNetwork = 6.0;
        for (double reached = 0.0; reached < timesTheNetwork * static_cast<double>(workload_.size());
             reached += units_) {
            run();
        }
        count(side, run);
    }

private:
    const Workload& workload_;
    std::string operation_;
    double units_ = 1.0;
};

void nothing() {}

void countEvaluation(Bed& bed, Counter& counter, const Way& way) {
    bed.settle();
    EngineNetwork& engine = bed.engine();
    LeanNetwork& lean = bed.lean();
    const std::string name = way.name;
    const auto run = [&] { way.run(engine); };
    const auto runLean = [&] { way.lean(lean); };
    const auto touchFew = [&] { bed.touchFew(engine, bed.engineTouches); };
    const auto touchFewLean = [&] { bed.touchFew(lean, bed.leanTouches); };
    const auto touchAll = [&] { bed.touchAll(engine, bed.engineTouches); };
    const auto touchAllLean = [&] { bed.touchAll(lean, bed.leanTouches); };

    counter.begin(name + "_all_dirty", bed.size());
    counter.countSecond(
        "library", [&] { bed.spoil(engine, bed.engineTouches); }, run);
    counter.countSecond(
        "lean", [&] { bed.spoil(lean, bed.leanTouches); }, runLean);
    counter.countSecond("flat", nothing, [&] { bed.flat().run(); });

    bed.settle();
    counter.begin(name + "_change_few", bed.countFew());
    counter.countPlanned("library", [&] {
        touchFew();
        run();
    });
    counter.countSecond("lean", nothing, [&] {
        touchFewLean();
        lean.evaluate();
    });

    bed.settle();
    counter.begin(name + "_change_all", bed.countAll());
    counter.countSecond("library", nothing, [&] {
        touchAll();
        run();
    });
    counter.countSecond("lean", nothing, [&] {
        touchAllLean();
        lean.evaluate();
    });

    bed.settle();
    counter.begin(name + "_clean", 1.0);
    counter.countSecond("library", nothing, run);
    counter.countSecond("lean", nothing, runLean);
}

void countMarking(Bed& bed, Counter& counter) {
    bed.settle();
    counter.begin("mark_all", bed.countAll());
    counter.countSecond(
        "library", [&] { bed.engine().setAll(false); }, [&] { bed.markAll(bed.engine()); });
    counter.countSecond(
        "lean", [&] { bed.lean().setAll(false); }, [&] { bed.markAll(bed.lean()); });
    bed.settle();
    counter.begin("mark_few", bed.countFew());
    const std::uint32_t few = bed.workload.few;
    counter.countSecond(
        "library", [&] { bed.engine().setAll(false); }, [&] { bed.engine().mark(few); });
    counter.countSecond(
        "lean", [&] { bed.lean().setAll(false); }, [&] { bed.lean().mark(few); });
}

void countBuilding(Bed& bed, Counter& counter) {
    bed.dropNetworks();
    const Workload& workload = bed.workload;
    const std::vector<std::string> names = makeNames(workload.size());
    const auto build = [&](NetworkManager& manager) { buildByNames(manager, workload, workload.links, names); };

    // The first time, the factory and the like find out what they keep.
    build(*std::make_unique<NetworkManager>());
    auto manager = std::make_unique<NetworkManager>();
    auto lean = std::unique_ptr<LeanNetwork>();
    std::unique_ptr<NetworkManager> copy;

    counter.begin("build", bed.size());
    counter.count("library", [&] { build(*manager); });
    counter.count("lean", [&] { lean = std::make_unique<LeanNetwork>(workload); });
    counter.begin("copy", bed.size());
    counter.count("library", [&] { copy = std::make_unique<NetworkManager>(*manager); });
    counter.begin("destroy", bed.size());
    counter.count("library", [&] { copy.reset(); });
    counter.count("lean", [&] { lean.reset(); });
    const std::vector<std::string> otherNames = makeNames(workload.size(), "x");
    counter.begin("rename", bed.size());
    counter.count("library", [&] {
        for (std::size_t i = 0; i < names.size(); ++i) {
            manager->renameNode(names[i], otherNames[i]);
        }
    });
    counter.begin("delete_one_by_one", bed.size());
    counter.count("library", [&] {
        for (const std::string& name : otherNames) {
            manager->deleteNode(name);
        }
    });
}

void countWorkload(const std::string& kind, const std::string& size) {
    Bed bed(kind, size);
    bed.settle();
    Counter counter(bed.workload);
    for (const Way& way : ways()) {
        // Threads that wait for work would count, too.
        if (!way.isParallel()) {
            countEvaluation(bed, counter, way);
        }
    }
    countMarking(bed, counter);
    countBuilding(bed, counter);
}

}  // namespace
}  // namespace bench

// Either a kind and a size, or files of callgrind and --out=FILE, --compare=FILE.
int main(int argc, char** argv) {
    std::vector<std::string> names;
    std::string out;
    std::string compare;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument.rfind("--out=", 0) == 0) {
            out = argument.substr(6);
        } else if (argument.rfind("--compare=", 0) == 0) {
            compare = argument.substr(10);
        } else {
            names.push_back(argument);
        }
    }
    if (RUNNING_ON_VALGRIND != 0 && names.size() == 2) {
        TessilGraph::initTessilGraph();
        TessilGraph::registerNodes<bench::SlowAdd>();
        bench::countWorkload(names[0], names[1]);
        return 0;
    }
    const bench::Table table(compare.empty() ? std::vector<bench::Line>{} : bench::readResults(compare));
    std::vector<bench::Line> lines;
    table.printHead();
    for (const std::string& name : names) {
        for (const bench::Line& line : bench::readCounts(name)) {
            table.print(line);
            lines.push_back(line);
        }
    }
    if (!out.empty()) {
        bench::writeResults(out, lines);
    }
    return lines.empty() ? 1 : 0;
}
