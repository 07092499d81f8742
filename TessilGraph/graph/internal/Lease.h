#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace TessilGraph::internal {

/// Working memory of type `T` for as long as the lease lives. A thread keeps the memory for its next
/// lease, so that what is done again allocates nothing; a lease inside another one gets memory of its own.
///
/// `T` says by `size()` how much the last use took and by `capacity()` what it holds, both in entries.
/// What is very large, or has been far too large for a while, is not kept.
template <class T>
class Lease {
public:
    Lease() {
        std::vector<Kept>& pool = kept();
        if (pool.empty()) {
            memory_.held = std::make_unique<T>();
        } else {
            memory_ = std::move(pool.back());
            pool.pop_back();
        }
    }

    ~Lease() {
        const std::size_t capacity = memory_.held->capacity();
        const bool tooLarge = capacity > large && capacity / 8 > memory_.held->size();
        memory_.usesTooLarge = tooLarge ? memory_.usesTooLarge + 1 : 0;
        if (capacity > huge || memory_.usesTooLarge > patience) {
            return;
        }
        try {
            kept().push_back(std::move(memory_));
        } catch (...) {
            // Then the next one allocates.
        }
    }

    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    T* operator->() const { return memory_.held.get(); }
    T& operator*() const { return *memory_.held; }

private:
    struct Kept {
        std::unique_ptr<T> held;
        int usesTooLarge = 0;
    };

    static constexpr std::size_t large = std::size_t{1} << 14;
    static constexpr std::size_t huge = std::size_t{1} << 22;
    static constexpr int patience = 16;

    static std::vector<Kept>& kept() {
        static thread_local std::vector<Kept> pool;
        return pool;
    }

    Kept memory_;
};

}  // namespace TessilGraph::internal
