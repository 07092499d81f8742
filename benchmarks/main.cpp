#include <benchmarks/EngineBenchmarks.h>
#include <benchmarks/Measure.h>
#include <benchmarks/PreparedBenchmarks.h>

#include <benchmark/benchmark.h>

#include <cstring>

// Takes the options of Google Benchmark, and --large for a million nodes.
int main(int argc, char** argv) {
    bool large = false;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--large") == 0) {
            large = true;
        } else {
            argv[kept++] = argv[i];
        }
    }
    argv[kept] = nullptr;
    benchmark::Initialize(&kept, argv);
    if (benchmark::ReportUnrecognizedArguments(kept, argv)) {
        return 2;
    }
    bench::addEngineBenchmarks(large);
    bench::addPreparedBenchmarks(large);
    bench::Table table;
    benchmark::RunSpecifiedBenchmarks(&table);
    benchmark::Shutdown();
    return bench::anyWrong() ? 1 : 0;
}
