#include <benchmarks/Measure.h>

#include <benchmarks/Clocks.h>
#include <benchmarks/Median.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <map>
#include <random>
#include <utility>

namespace bench {

namespace {

/// Google Benchmark hands numbers on, not lines, so the lines wait here until they are reported.
std::map<std::string, Line>& finishedLines() {
    static std::map<std::string, Line> lines;
    return lines;
}

/// Runs one side of a case so often in a round that the clock's grain does not count.
class Timer {
public:
    Timer(const Side& side, bool wallTime, double units)
        : side_(side), wallTime_(wallTime), units_(side.units > 0.0 ? side.units : units) {
        constexpr double enough = 2e6;
        constexpr double longEnough = 5e8;
        constexpr double settled = 1.5e8;
        constexpr int atMost = 100000;
        const double begin = wallNow();
        double once = longEnough;
        double all = 0.0;
        // The first runs also warm the caches, and networks plan in them what comes again; long ones do so at once.
        for (int i = 0; all < (i < 10 ? longEnough : settled); ++i) {
            prepare();
            const double start = wallNow();
            side_.run();
            once = std::min(once, wallNow() - start);
            all = wallNow() - begin;
        }
        isShort_ = once < 2e4;
        runs_ = static_cast<int>(std::clamp(enough / std::max(once, 20.0), 1.0, double{atMost}));
        if (side_.prepare && runs_ > 1) {
            const double start = wallNow();
            side_.prepare();
            const double preparing = wallNow() - start;
            runs_ = std::min(runs_, static_cast<int>(std::max(5.0 * enough / std::max(preparing, 20.0), 1.0)));
            side_.run();
        }
    }

    /// Runs once or more. False when what came out is wrong.
    bool round() {
        times_.push_back((side_.prepare ? preparedRuns() : runsInARow()) / units_);
        return !side_.isRight || side_.isRight();
    }

    const std::vector<double>& times() const { return times_; }

private:
    double now() const { return wallTime_ ? wallNow() : threadNow(); }

    void prepare() const {
        if (side_.prepare) {
            side_.prepare();
        }
    }

    double runsInARow() const {
        const double start = now();
        for (int i = 0; i < runs_; ++i) {
            side_.run();
        }
        return (now() - start) / runs_;
    }

    double preparedRuns() const {
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

    const Side& side_;
    bool wallTime_;
    double units_;
    bool isShort_ = false;
    int runs_ = 1;
    std::vector<double> times_;
};

Spread spreadOf(const std::vector<double>& values) {
    return {median(values), *std::min_element(values.begin(), values.end()),
            *std::max_element(values.begin(), values.end())};
}

void runRounds(benchmark::State& state, const std::string& name, const Case& compared) {
    std::deque<Timer> timers;
    timers.emplace_back(compared.subject, compared.wallTime, compared.units);
    for (const Rival& rival : compared.rivals) {
        timers.emplace_back(rival.side, compared.wallTime, compared.units);
    }
    // Whoever comes after another one finds the caches, and threads that are still awake, as that one left them.
    std::vector<Timer*> turns(timers.size());
    std::transform(timers.begin(), timers.end(), turns.begin(), [](Timer& timer) { return &timer; });
    std::mt19937 draw(1);
    for (auto _ : state) {
        bool isRight = true;
        std::shuffle(turns.begin(), turns.end(), draw);
        for (Timer* timer : turns) {
            isRight = timer->round() && isRight;
        }
        state.SetIterationTime(timers.front().times().back() * 1e-9);
        if (!isRight) {
            state.SkipWithError("the result is wrong");
            break;
        }
    }
    const std::vector<double>& times = timers.front().times();
    Line line{name, compared.unit, spreadOf(times), {}};
    for (std::size_t i = 0; i < compared.rivals.size(); ++i) {
        const std::vector<double>& others = timers[i + 1].times();
        std::vector<double> ratios;
        for (std::size_t round = 0; round < times.size(); ++round) {
            ratios.push_back(times[round] / others[round]);
        }
        line.comparisons.push_back({compared.rivals[i].name, median(others), spreadOf(ratios)});
    }
    finishedLines()[name] = std::move(line);
}

Line lineOf(const std::string& name, const Amounts& amounts) {
    Line line{name, amounts.unit, {amounts.subject, amounts.subject, amounts.subject}, {}};
    for (const auto& [rival, amount] : amounts.rivals) {
        const double ratio = amount == 0.0 ? 0.0 : amounts.subject / amount;
        line.comparisons.push_back({rival, amount, {ratio, ratio, ratio}});
    }
    return line;
}

/// Hands finished lines over.
class Reporter : public benchmark::BenchmarkReporter {
public:
    explicit Reporter(const std::function<void(const Line&)>& report) : report_(report) {}

    bool ReportContext(const Context& context) override {
        std::printf("%d processors, load average", context.cpu_info.num_cpus);
        for (const double load : context.cpu_info.load_avg) {
            std::printf(" %.2f", load);
        }
        std::printf("\n");
        return true;
    }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const std::string& name = run.run_name.function_name;
            const auto line = finishedLines().find(name);
            if (line != finishedLines().end()) {
                report_(line->second);
                finishedLines().erase(line);
            }
            if (run.error_occurred) {
                std::printf("%s FAILED: %s\n", name.c_str(), run.error_message.c_str());
                failed = true;
            }
        }
    }

    bool failed = false;

private:
    const std::function<void(const Line&)>& report_;
};

}  // namespace

void addLine(const std::string& name, int rounds, std::function<Case()> make) {
    benchmark::RegisterBenchmark(
        name.c_str(), [name, make = std::move(make)](benchmark::State& state) { runRounds(state, name, make()); })
        ->Iterations(rounds)
        ->UseManualTime();
}

void addAmounts(const std::string& name, std::function<Amounts()> make) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [name, make = std::move(make)](benchmark::State& state) {
                                     for (auto _ : state) {
                                         const Amounts amounts = make();
                                         state.SetIterationTime(1e-9);
                                         finishedLines()[name] = lineOf(name, amounts);
                                         if (!amounts.isRight) {
                                             state.SkipWithError("the result is wrong");
                                             break;
                                         }
                                     }
                                 })
        ->Iterations(1)
        ->UseManualTime();
}

bool runLines(const std::function<void(const Line&)>& report) {
    Reporter reporter(report);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return !reporter.failed;
}

}  // namespace bench
