#pragma once

#include <benchmarks/EngineNetwork.h>
#include <benchmarks/Lean.h>

#include <vector>

namespace bench {

/// A way in which the library brings a network up to date.
struct Way {
    const char* name;
    void (*run)(EngineNetwork&);
    /// What the lean design does in its place.
    void (*lean)(LeanNetwork&);
    /// For ways that use several threads: what they are compared with, on one.
    void (*serial)(EngineNetwork&) = nullptr;

    bool isParallel() const { return serial != nullptr; }
};

/// All of them. A new one needs a row here, and a function of EngineNetwork; the lines follow.
const std::vector<Way>& ways();

}  // namespace bench
