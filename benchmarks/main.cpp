#include <benchmarks/Lines.h>
#include <benchmarks/Markdown.h>
#include <benchmarks/Measure.h>
#include <benchmarks/Plot.h>
#include <benchmarks/Results.h>
#include <benchmarks/SlowNode.h>
#include <benchmarks/Table.h>
#include <benchmarks/Workloads.h>

#include <TessilGraph/TessilGraph.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

struct Options {
    bool large = false;   ///< Also networks of a million nodes.
    std::string compare;  ///< Results of an earlier run.
    std::string out;      ///< Where the results go, for a later comparison.
    std::string tables;   ///< The same for a document.
    std::string plot;     ///< The same as a picture.
};

/// Takes our own options out of the list; the others are Google Benchmark's.
Options takeOptions(int& argc, char** argv) {
    Options options;
    const auto takeValue = [](const char* argument, const char* option, std::string& value) {
        const std::size_t length = std::strlen(option);
        const bool isIt = std::strncmp(argument, option, length) == 0;
        if (isIt) {
            value = argument + length;
        }
        return isIt;
    };
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--large") == 0) {
            options.large = true;
        } else if (!takeValue(argv[i], "--compare=", options.compare) && !takeValue(argv[i], "--out=", options.out) &&
                   !takeValue(argv[i], "--tables=", options.tables) && !takeValue(argv[i], "--plot=", options.plot)) {
            argv[kept++] = argv[i];
        }
    }
    argc = kept;
    argv[kept] = nullptr;
    return options;
}

void addNetworkLines(const std::string& kind, const std::string& size) {
    for (const bench::Way& way : bench::ways()) {
        bench::addEvaluationLines(way, kind, size);
    }
    bench::addMarkingLines(kind, size);
    if (size == "10k") {
        for (const bench::Way& way : bench::ways()) {
            bench::addAllocationLines(way, kind, size);
        }
    }
    bench::addBuildingLines(kind, size);
}

void addAllLines(bool large) {
    std::vector<std::string> sizes = {"1k", "10k", "100k"};
    if (large) {
        sizes.emplace_back("1M");
    }
    for (const std::string& size : sizes) {
        for (const char* kind : bench::workloadNames) {
            addNetworkLines(kind, size);
        }
        bench::addRenameLine(size);
    }
    for (const bench::Way& way : bench::ways()) {
        bench::addEvaluationLines(way, "rig", "17.6k");
    }
    bench::addOneNameLine(16000, "16k");
    if (large) {
        bench::addOneNameLine(1000000, "1M");
    }
    for (const char* kind : {"chain", "fan", "ladder", "dag"}) {
        for (const bench::Way& way : bench::ways()) {
            if (way.isParallel()) {
                bench::addSlowLines(way, kind);
            }
        }
    }
    bench::addRayLines();
    bench::addCurveLines();
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = takeOptions(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    const std::vector<bench::Line> stored =
        options.compare.empty() ? std::vector<bench::Line>{} : bench::readResults(options.compare);
    TessilGraph::initTessilGraph();
    TessilGraph::registerNodes<bench::SlowAdd>();
    addAllLines(options.large);

    const bench::Table table(stored);
    table.printHead();
    std::vector<bench::Line> lines;
    const bool allRight = bench::runLines([&](const bench::Line& line) {
        table.print(line);
        lines.push_back(line);
    });
    benchmark::Shutdown();
    if (!options.out.empty()) {
        bench::writeResults(options.out, lines);
    }
    if (!options.tables.empty()) {
        bench::writeMarkdown(options.tables, lines);
    }
    if (!options.plot.empty()) {
        bench::writePlot(options.plot, lines);
    }
    return allRight ? 0 : 1;
}
