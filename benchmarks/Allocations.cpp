#include <benchmarks/Allocations.h>

#include <atomic>
#include <cstddef>

// The functions that stand behind those of glibc, which the ones below take the place of.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

std::atomic<bool> counting{false};
std::atomic<std::uint64_t> count{0};

inline void note() {
    if (counting.load(std::memory_order_relaxed)) {
        count.fetch_add(1, std::memory_order_relaxed);
    }
}

}  // namespace

// Every library of the process comes here, operator new too.
extern "C" {

void* malloc(std::size_t size) {
    note();
    return __libc_malloc(size);
}

void* calloc(std::size_t nmemb, std::size_t size) {
    note();
    return __libc_calloc(nmemb, size);
}

void* realloc(void* ptr, std::size_t size) {
    note();
    return __libc_realloc(ptr, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
    note();
    return __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    note();
    return __libc_memalign(alignment, size);
}

}  // extern "C"

namespace bench {

std::uint64_t countAllocations(const std::function<void()>& run) {
    count = 0;
    counting = true;
    run();
    counting = false;
    return count;
}

}  // namespace bench
