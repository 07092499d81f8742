#pragma once

#include <benchmarks/Results.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// One of several things that are measured in turn.
struct Side {
    std::function<void()> prepare;  ///< Not timed, before each run; empty where runs may follow each other.
    std::function<void()> run;
    std::function<bool()> isRight;  ///< Asked after every round, if not empty; false fails the program.
    double units = 0.0;             ///< What one run is divided by, if not the same as for the whole case.
};

/// A thing that the subject of a line is compared with.
struct Rival {
    const char* name;
    Side side;
};

/// What a line of the table compares.
struct Case {
    Side subject;
    std::vector<Rival> rivals;  ///< The most telling one first.
    double units = 1.0;         ///< What one run is divided by: nodes, or calls.
    const char* unit = "ns/node";
    bool wallTime = false;  ///< Work on several threads; otherwise the CPU time of the thread counts.
};

/// Makes a line of the table. `make` runs when the line's turn has come, not before.
void addLine(const std::string& name, int rounds, std::function<Case()> make);

/// The same for amounts that are no times and need no rounds: bytes, counts.
struct Amounts {
    double subject = 0.0;
    std::vector<std::pair<const char*, double>> rivals;
    const char* unit = "";
    bool isRight = true;
};
void addAmounts(const std::string& name, std::function<Amounts()> make);

/// Runs the lines that Google Benchmark's options choose and hands over each when it is done. False when
/// one was wrong.
bool runLines(const std::function<void(const Line&)>& report);

}  // namespace bench
