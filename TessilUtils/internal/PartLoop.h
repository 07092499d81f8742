#pragma once

namespace TessilUtils {

/// Calls `run(data, partBegin, partEnd)` for parts that together cover [begin, end), on several threads, and
/// returns when all are done. The range is not empty. The first exception of a part reaches the caller.
///
/// It has a source of its own because ThreadSanitizer cannot look into oneTBB and would take its handing over
/// of tasks for data races: that source alone is built without it.
void runParts(unsigned int begin, unsigned int end, void (*run)(void*, unsigned int, unsigned int), void* data);

}  // namespace TessilUtils
