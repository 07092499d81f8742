#include "Shortage.h"

#include <dlfcn.h>
#include <execinfo.h>

#include <algorithm>
#include <atomic>
#include <cstring>

namespace tests {

namespace {

std::atomic<bool> isShort{false};
std::atomic<bool> isLasting{false};
std::atomic<bool> wasRefused{false};
std::atomic<long> left{0};  // Allocations that succeed before one fails.
thread_local int spared = 0;

bool isIn(const char* library, const void* address) {
    Dl_info found;
    return dladdr(address, &found) != 0 && std::strstr(found.dli_fname, library) != nullptr;
}

/// Embree leaves something behind where it runs out of memory, which is not ours to mend, and falls over it later. Its
/// strings grow in the C++ library.
bool isEmbree(const void* caller) {
    constexpr const char* standard = "libstdc++";
    constexpr const char* embree = "libembree";
    if (!isIn(standard, caller)) {
        return isIn(embree, caller);
    }
    void* frames[16];
    void** const end = frames + backtrace(frames, 16);
    const auto isStandard = [](const void* frame) { return isIn(standard, frame); };
    void** const user = std::find_if_not(std::find_if(frames, end, isStandard), end, isStandard);
    return user != end && isIn(embree, *user);
}

}  // namespace

bool isRefused(const void* caller) noexcept {
    if (!isShort.load(std::memory_order_relaxed) || spared != 0) {
        return false;
    }
    const long before = left.fetch_sub(1, std::memory_order_relaxed);
    const bool isDue = isLasting.load(std::memory_order_relaxed) ? before <= 0 : before == 0;
    const bool refused = isDue && !isEmbree(caller);
    if (refused) {
        wasRefused.store(true, std::memory_order_relaxed);
    }
    return refused;
}

MemoryShortage::MemoryShortage(std::size_t first, Shortage kind) noexcept {
    left = static_cast<long>(first) - 1;
    isLasting = kind == Shortage::Lasting;
    wasRefused = false;
    isShort = true;
}

void MemoryShortage::end() noexcept {
    isShort = false;
}

bool MemoryShortage::wasFelt() noexcept {
    return wasRefused;
}

SparedFromShortage::SparedFromShortage() noexcept {
    ++spared;
}

SparedFromShortage::~SparedFromShortage() {
    --spared;
}

}  // namespace tests
