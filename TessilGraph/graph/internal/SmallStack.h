#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace TessilGraph::internal {

/// A stack of small things that asks for memory only when it grows beyond `Room`.
template <class T, std::size_t Room>
class SmallStack {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    SmallStack() = default;
    SmallStack(const SmallStack&) = delete;
    SmallStack& operator=(const SmallStack&) = delete;

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    T* begin() { return items_; }
    T* end() { return items_ + size_; }
    T& operator[](std::size_t place) { return items_[place]; }

    void push(T item) {
        if (size_ == capacity_ && !tryGrow()) {
            throw std::bad_alloc();
        }
        items_[size_++] = item;
    }
    /// False, with nothing changed, where there is no memory.
    bool tryPush(T item) noexcept {
        if (size_ == capacity_ && !tryGrow()) {
            return false;
        }
        items_[size_++] = item;
        return true;
    }
    T pop() { return items_[--size_]; }

private:
    bool tryGrow() noexcept {
        std::unique_ptr<T[]> wider(new (std::nothrow) T[2 * capacity_]);
        if (wider == nullptr) {
            return false;
        }
        std::copy(items_, items_ + size_, wider.get());
        heap_ = std::move(wider);
        items_ = heap_.get();
        capacity_ *= 2;
        return true;
    }

    T room_[Room];
    T* items_ = room_;
    std::size_t size_ = 0;
    std::size_t capacity_ = Room;
    std::unique_ptr<T[]> heap_;
};

}  // namespace TessilGraph::internal
