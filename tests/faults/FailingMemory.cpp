#include "FailingMemory.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

using tests::isRefused;

std::atomic<long> inUse{0};

void* counted(void* memory) {
    if (memory != nullptr) {
        inUse.fetch_add(1, std::memory_order_relaxed);
    }
    return memory;
}

void* tryNew(const void* caller, std::size_t size) {
    return isRefused(caller) ? nullptr : counted(std::malloc(size == 0 ? 1 : size));
}

void* tryNew(const void* caller, std::size_t size, std::align_val_t alignment) {
    // The size has to be a multiple of the alignment, which is a power of two.
    const auto step = static_cast<std::size_t>(alignment);
    const std::size_t rounded = ((size == 0 ? 1 : size) + step - 1) & ~(step - 1);
    return rounded < size || isRefused(caller) ? nullptr : counted(std::aligned_alloc(step, rounded));
}

void* orThrow(void* memory) {
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void giveBack(void* memory) {
    if (memory != nullptr) {
        inUse.fetch_sub(1, std::memory_order_relaxed);
        std::free(memory);
    }
}

}  // namespace

namespace tests {

long piecesInUse() noexcept {
    return inUse;
}

}  // namespace tests

// A source of its own: a compiler that inlines one of a pair takes it for a mismatch with the other.
void* operator new(std::size_t size) {
    return orThrow(tryNew(__builtin_return_address(0), size));
}
void* operator new[](std::size_t size) {
    return orThrow(tryNew(__builtin_return_address(0), size));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return tryNew(__builtin_return_address(0), size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return tryNew(__builtin_return_address(0), size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return orThrow(tryNew(__builtin_return_address(0), size, alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return orThrow(tryNew(__builtin_return_address(0), size, alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return tryNew(__builtin_return_address(0), size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return tryNew(__builtin_return_address(0), size, alignment);
}
void operator delete(void* memory) noexcept {
    giveBack(memory);
}
void operator delete[](void* memory) noexcept {
    giveBack(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    giveBack(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    giveBack(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    giveBack(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    giveBack(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    giveBack(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    giveBack(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    giveBack(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    giveBack(memory);
}
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    giveBack(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    giveBack(memory);
}
