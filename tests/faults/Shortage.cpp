#include "Shortage.h"

#include <dlfcn.h>

#include <atomic>
#include <cstring>

namespace tests {

namespace {

std::atomic<bool> isShort{false};
std::atomic<bool> isLasting{false};
std::atomic<bool> wasRefused{false};
std::atomic<long> left{0};  // Allocations that succeed before one fails.
thread_local int spared = 0;

/// Embree leaves something behind where it runs out of memory, which is not ours to mend.
bool isEmbree(const void* caller) {
    Dl_info library;
    return dladdr(caller, &library) != 0 && std::strstr(library.dli_fname, "libembree") != nullptr;
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
