#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

/// Ends the program, which keeps its input then, unless `holds`.
inline void expect(bool holds, const char* promise) {
    if (!holds) {
        std::fprintf(stderr, "broken: %s\n", promise);
        std::abort();
    }
}

}  // namespace fuzz
