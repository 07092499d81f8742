#pragma once

#include <TessilGraph/Export.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace TessilGraph {

class Port;

/// A stretch of a list of ports, only to be read. Valid until the list changes.
class PortRange {
public:
    PortRange(Port* const* begin, std::size_t size) : begin_(begin), end_(begin + size) {}

    Port* const* begin() const { return begin_; }
    Port* const* end() const { return end_; }
    std::size_t size() const { return static_cast<std::size_t>(end_ - begin_); }
    bool empty() const { return begin_ == end_; }
    Port* operator[](std::size_t place) const { return begin_[place]; }
    Port* front() const { return *begin_; }

private:
    Port* const* begin_;
    Port* const* end_;
};

/// The ports of a node, or the peers of a port, in order. It owns none of them.
///
/// Up to `Room` ports stand in the list itself. Most lists are never seen from outside; one whose
/// vector was asked for lives in that vector from then on, so that a host's edits count at once.
///
/// Threads: const functions may run side by side.
template <std::size_t Room>
class TESSILGRAPH_API PortList {
public:
    PortList() : few_{} {}
    ~PortList();
    PortList(const PortList&) = delete;
    PortList& operator=(const PortList&) = delete;

    PortRange range() const {
        if (const std::vector<Port*>* vector = vector_.load(std::memory_order_acquire)) {
            return {vector->data(), vector->size()};
        }
        return {capacity_ == 0 ? few_ : many_, size_};
    }

    std::size_t size() const {
        const std::vector<Port*>* vector = vector_.load(std::memory_order_acquire);
        return vector != nullptr ? vector->size() : size_;
    }
    bool empty() const { return size() == 0; }

    /// The first port; null when there is none.
    Port* front() const {
        const PortRange ports = range();
        return ports.empty() ? nullptr : ports.front();
    }

    bool contains(const Port* port) const {
        const PortRange ports = range();
        return std::find(ports.begin(), ports.end(), port) != ports.end();
    }

    void add(Port* port);

    /// The first entry of that port goes. False when there is none.
    bool remove(const Port* port);

    void removeLast();
    void clear();

    /// The list as a vector, in which it lives from now on.
    std::vector<Port*>& asVector() const;

private:
    void grow();

    union {
        Port* few_[Room];
        Port** many_;
    };
    std::uint32_t size_ = 0;
    std::uint32_t capacity_ = 0;  ///< Of `many_`; 0 while the ports stand in `few_`.
    mutable std::atomic<std::vector<Port*>*> vector_{nullptr};
};

extern template class PortList<1>;
extern template class PortList<3>;

}  // namespace TessilGraph
