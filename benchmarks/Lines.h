#pragma once

#include <benchmarks/Ways.h>

#include <cstddef>
#include <string>

// What makes the lines of the table, idea by idea.

namespace bench {

/// Rounds of a line whose runs are short, and of one whose runs are long.
inline constexpr int manyRounds = 9;
inline constexpr int fewRounds = 5;

/// Fewer for a million nodes.
inline int roundsFor(const std::string& size, int rounds) {
    return size == "1M" ? 3 : rounds;
}

/// Bringing a network up to date, when everything, little or nothing has changed.
void addEvaluationLines(const Way& way, const std::string& kind, const std::string& size);

/// Marking what is downstream of a change.
void addMarkingLines(const std::string& kind, const std::string& size);

/// Making networks, copying them and taking them apart, and the memory that they take.
void addBuildingLines(const std::string& kind, const std::string& size);

/// Giving nodes names.
void addRenameLine(const std::string& size);
void addOneNameLine(std::size_t count, const std::string& size);

/// Evaluation of slow host nodes, on several threads.
void addSlowLines(const Way& way, const std::string& kind);

/// Blocks of memory that the evaluation of an unchanged network asks for.
void addAllocationLines(const Way& way, const std::string& kind, const std::string& size);

/// Rays through a node, beside Embree alone.
void addRayLines();

/// Closest points through a node, beside dense sampling.
void addCurveLines();

}  // namespace bench
