#include <TessilGraph/graph/PortList.h>

#include <limits>
#include <memory>
#include <mutex>
#include <new>

namespace TessilGraph {

template <std::size_t Room>
PortList<Room>::~PortList() {
    delete vector_.load(std::memory_order_relaxed);
    if (capacity_ != 0) {
        delete[] many_;
    }
}

template <std::size_t Room>
void PortList<Room>::add(Port* port) {
    if (std::vector<Port*>* vector = vector_.load(std::memory_order_relaxed)) {
        vector->push_back(port);
        return;
    }
    if (size_ == (capacity_ == 0 ? Room : capacity_)) {
        grow();
    }
    (capacity_ == 0 ? few_ : many_)[size_++] = port;
}

template <std::size_t Room>
bool PortList<Room>::remove(const Port* port) {
    if (std::vector<Port*>* vector = vector_.load(std::memory_order_relaxed)) {
        const auto found = std::find(vector->begin(), vector->end(), port);
        if (found == vector->end()) {
            return false;
        }
        vector->erase(found);
        return true;
    }
    Port** const begin = capacity_ == 0 ? few_ : many_;
    Port** const end = begin + size_;
    Port** const found = std::find(begin, end, port);
    if (found == end) {
        return false;
    }
    std::copy(found + 1, end, found);
    --size_;
    return true;
}

template <std::size_t Room>
void PortList<Room>::removeLast() {
    if (std::vector<Port*>* vector = vector_.load(std::memory_order_relaxed)) {
        vector->pop_back();
    } else {
        --size_;
    }
}

template <std::size_t Room>
void PortList<Room>::clear() {
    if (std::vector<Port*>* vector = vector_.load(std::memory_order_relaxed)) {
        vector->clear();
        return;
    }
    if (capacity_ != 0) {
        delete[] many_;
        capacity_ = 0;
    }
    size_ = 0;
}

template <std::size_t Room>
std::vector<Port*>& PortList<Room>::asVector() const {
    if (std::vector<Port*>* vector = vector_.load(std::memory_order_acquire)) {
        return *vector;
    }
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    if (vector_.load(std::memory_order_relaxed) == nullptr) {
        const PortRange ports = range();
        vector_.store(new std::vector<Port*>(ports.begin(), ports.end()), std::memory_order_release);
    }
    return *vector_.load(std::memory_order_relaxed);
}

template <std::size_t Room>
void PortList<Room>::grow() {
    if (size_ > std::numeric_limits<std::uint32_t>::max() / 2) {
        throw std::bad_alloc();
    }
    const std::uint32_t capacity = std::max<std::uint32_t>(4, 2 * size_);
    Port** const wider = new Port*[capacity];
    Port** const old = capacity_ == 0 ? few_ : many_;
    std::copy(old, old + size_, wider);
    if (capacity_ != 0) {
        delete[] many_;
    }
    many_ = wider;
    capacity_ = capacity;
}

template class PortList<1>;
template class PortList<3>;

}  // namespace TessilGraph
