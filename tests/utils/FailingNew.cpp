#include "FailingNew.h"

#include <cstdlib>
#include <new>

namespace {

bool failing = false;

}  // namespace

namespace tests {

FailingNew::FailingNew() {
    failing = true;
}

FailingNew::~FailingNew() {
    failing = false;
}

}  // namespace tests

// A source of its own: a compiler that inlines one of a pair takes it for a mismatch with the other.
void* operator new(std::size_t size) {
    if (void* memory = failing ? nullptr : std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return failing ? nullptr : std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
