#include <benchmarks/Measure.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <map>
#include <utility>
#include <vector>

namespace bench {

namespace {

bool wrong = false;

// What the table says of a line besides its counters.
std::map<std::string, const char*>& unitOfLine() {
    static std::map<std::string, const char*> units;
    return units;
}

double wallNow() {
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double threadNow() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2.0;
}

/// What asking the wall clock twice costs.
double clockCost() {
    static const double cost = [] {
        std::vector<double> costs;
        for (int i = 0; i < 1001; ++i) {
            const double start = wallNow();
            costs.push_back(wallNow() - start);
        }
        return median(costs);
    }();
    return cost;
}

/// Runs one side of a case so often in a round that the clock's grain does not count.
class Timer {
public:
    Timer(const Side& side, bool wallTime) : side_(side), wallTime_(wallTime) {
        constexpr double enough = 2e6;
        constexpr int atMost = 100000;
        double once = 0.0;
        // The first runs also warm the caches.
        for (int i = 0; i < 3; ++i) {
            prepare();
            const double start = wallNow();
            side_.run();
            once = wallNow() - start;
        }
        isShort_ = once < 2e4;
        runs_ = static_cast<int>(std::clamp(enough / std::max(once, 20.0), 1.0, double{atMost}));
        if (side_.prepare) {
            const double start = wallNow();
            side_.prepare();
            const double preparing = wallNow() - start;
            runs_ = std::min(runs_, static_cast<int>(std::max(5.0 * enough / std::max(preparing, 20.0), 1.0)));
            side_.run();
        }
    }

    /// Nanoseconds for one run.
    double round() {
        if (!side_.prepare) {
            const double start = now();
            for (int i = 0; i < runs_; ++i) {
                side_.run();
            }
            return (now() - start) / runs_;
        }
        // Asking for CPU time takes longer than a short run; being interrupted in one is rare, and
        // the median leaves those out.
        std::vector<double> times;
        for (int i = 0; i < runs_; ++i) {
            side_.prepare();
            const double start = isShort_ ? wallNow() : now();
            side_.run();
            times.push_back((isShort_ ? wallNow() : now()) - start);
        }
        const double middle = median(times);
        return isShort_ ? std::max(middle - clockCost(), 0.1) : middle;
    }

private:
    double now() const { return wallTime_ ? wallNow() : threadNow(); }

    void prepare() const {
        if (side_.prepare) {
            side_.prepare();
        }
    }

    const Side& side_;
    bool wallTime_;
    bool isShort_ = false;
    int runs_ = 1;
};

void runRounds(benchmark::State& state, const Case& compared) {
    const bool hasBaseline = static_cast<bool>(compared.baseline.run);
    Timer subject(compared.subject, compared.wallTime);
    std::vector<double> times;
    std::vector<double> baselines;
    std::vector<double> ratios;
    const auto measure = [&](Timer* baseline) {
        for (auto _ : state) {
            times.push_back(subject.round() / compared.units);
            if (baseline != nullptr) {
                baselines.push_back(baseline->round() / compared.units);
                ratios.push_back(times.back() / baselines.back());
            }
            state.SetIterationTime(times.back() * compared.units * 1e-9);
            if (compared.isRight && !compared.isRight()) {
                wrong = true;
                state.SkipWithError("the result is wrong");
                break;
            }
        }
    };
    if (hasBaseline) {
        Timer baseline(compared.baseline, compared.wallTime);
        measure(&baseline);
    } else {
        measure(nullptr);
    }
    state.counters["median"] = median(times);
    state.counters["min"] = *std::min_element(times.begin(), times.end());
    state.counters["max"] = *std::max_element(times.begin(), times.end());
    if (hasBaseline) {
        state.counters["baseline"] = median(baselines);
        state.counters["ratio"] = median(ratios);
        state.counters["ratio_min"] = *std::min_element(ratios.begin(), ratios.end());
        state.counters["ratio_max"] = *std::max_element(ratios.begin(), ratios.end());
    }
}

double counter(const benchmark::BenchmarkReporter::Run& run, const char* name) {
    const auto found = run.counters.find(name);
    return found == run.counters.end() ? 0.0 : found->second.value;
}

}  // namespace

void add(const std::string& name, int rounds, std::function<Case()> make) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [name, make = std::move(make)](benchmark::State& state) {
                                     const Case compared = make();
                                     unitOfLine()[name] = compared.unit;
                                     runRounds(state, compared);
                                 })
        ->Iterations(rounds)
        ->UseManualTime();
}

void addAmounts(const std::string& name, std::function<Amounts()> make) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [name, make = std::move(make)](benchmark::State& state) {
                                     Amounts amounts{};
                                     for (auto _ : state) {
                                         amounts = make();
                                         state.SetIterationTime(1e-9);
                                     }
                                     unitOfLine()[name] = amounts.unit;
                                     for (const char* which : {"median", "min", "max"}) {
                                         state.counters[which] = amounts.subject;
                                     }
                                     state.counters["baseline"] = amounts.baseline;
                                     for (const char* which : {"ratio", "ratio_min", "ratio_max"}) {
                                         state.counters[which] = amounts.subject / amounts.baseline;
                                     }
                                 })
        ->Iterations(1)
        ->UseManualTime();
}

bool anyWrong() {
    return wrong;
}

bool Table::ReportContext(const Context& context) {
    std::printf("%d processors", context.cpu_info.num_cpus);
    std::printf(", load average");
    for (const double load : context.cpu_info.load_avg) {
        std::printf(" %.2f", load);
    }
    std::printf("\n%-34s %10s %23s %10s %7s %15s\n", "operation/workload/size", "median", "[min .. max]", "baseline",
                "ratio", "[min .. max]");
    return true;
}

void Table::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        const std::string& name = run.run_name.function_name;
        if (run.error_occurred) {
            std::printf("%-34s FAILED: %s\n", name.c_str(), run.error_message.c_str());
            continue;
        }
        const auto unit = unitOfLine().find(name);
        std::printf("%-34s %10.4g [%9.4g .. %9.4g]", name.c_str(), counter(run, "median"), counter(run, "min"),
                    counter(run, "max"));
        if (run.counters.count("ratio") != 0) {
            std::printf(" %10.4g %7.2f [%5.2f .. %5.2f]", counter(run, "baseline"), counter(run, "ratio"),
                        counter(run, "ratio_min"), counter(run, "ratio_max"));
        } else {
            std::printf(" %10s %7s %16s", "-", "-", "");
        }
        std::printf("  %s\n", unit == unitOfLine().end() ? "" : unit->second);
    }
    std::fflush(stdout);
}

}  // namespace bench
