#pragma once

#include <cstddef>

namespace tests {

/// Which allocations fail.
enum class Shortage {
    Once,    ///< One.
    Lasting  ///< That one and all later ones.
};

/// From when it is made until it ends, `operator new` fails in this process, other threads and all libraries but
/// Embree included. One at a time.
class MemoryShortage {
public:
    /// Lets the `first` allocation from now on fail, counted from 1.
    MemoryShortage(std::size_t first, Shortage kind) noexcept;
    ~MemoryShortage() { end(); }
    MemoryShortage(const MemoryShortage&) = delete;
    MemoryShortage& operator=(const MemoryShortage&) = delete;

    static void end() noexcept;

    /// Whether an allocation has failed since the last one was made.
    static bool wasFelt() noexcept;
};

/// While one lives, what this thread allocates does not fail and is not counted towards those that do: for what
/// tests note down on the way.
class SparedFromShortage {
public:
    SparedFromShortage() noexcept;
    ~SparedFromShortage();
    SparedFromShortage(const SparedFromShortage&) = delete;
    SparedFromShortage& operator=(const SparedFromShortage&) = delete;
};

/// What `operator new` asks about each allocation. Without one that asks (FailingMemory.cpp), nothing ever fails.
bool isRefused(const void* caller) noexcept;

}  // namespace tests
