#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

namespace bench {

/// One of two things that are measured in turn.
struct Side {
    std::function<void()> prepare;  ///< Not timed, before each run; empty where runs may follow each other.
    std::function<void()> run;
};

/// What a line of the table compares.
struct Case {
    Side subject;
    Side baseline;       ///< Empty when there is nothing to compare with.
    double units = 1.0;  ///< What one run is divided by: nodes, or calls.
    const char* unit = "ns/node";
    bool wallTime = false;          ///< Work on several threads; otherwise the CPU time of the thread counts.
    std::function<bool()> isRight;  ///< Asked after every round; false fails the program.
};

/// Makes a line of the table. `make` runs when the benchmark does, not before.
void add(const std::string& name, int rounds, std::function<Case()> make);

/// The same for two amounts that are no times.
struct Amounts {
    double subject;
    double baseline;
    const char* unit;
};
void addAmounts(const std::string& name, std::function<Amounts()> make);

/// True when a result was wrong.
bool anyWrong();

/// Prints a line per benchmark: median, spread, baseline, median of the rounds' ratios.
class Table : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
};

}  // namespace bench
