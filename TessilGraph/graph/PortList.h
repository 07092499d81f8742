#pragma once

#include <TessilGraph/Export.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_set>
#include <vector>

namespace TessilGraph {

class Node;
class Port;

/// A stretch of a list of ports, only to be read. Valid until the list changes. Entries may be null: hosts
/// write null into lists, and lists of peers out of which many went have gaps.
///
/// Threads: const functions may run side by side, while nobody changes the list.
class PortRange {
public:
    PortRange() = default;
    explicit PortRange(Port* single) : single_(single), size_(1) {}
    PortRange(Port* const* ports, std::size_t size) : ports_(ports), size_(size) {}

    Port* const* begin() const { return ports_ != nullptr ? ports_ : &single_; }
    Port* const* end() const { return begin() + size_; }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    Port* operator[](std::size_t place) const { return begin()[place]; }
    Port* front() const { return *begin(); }

private:
    Port* single_ = nullptr;
    Port* const* ports_ = nullptr;  ///< Null for a single port.
    std::size_t size_ = 0;
};

/// The ports of a node, or the peers of a port, in order, in the room of a pointer. It owns none of
/// them.
///
/// A single port stands in the list itself, several stand in an array. Most lists are never seen from
/// outside; one whose vector was asked for lives in that vector from then on. It is open once it was asked
/// for to be edited: a host's edits count at once, whenever they come. A list that no host has edited names
/// a port once.
///
/// Threads: const functions may run side by side.
class TESSILGRAPH_API PortList {
public:
    PortList() = default;
    ~PortList() { destroy(word()); }
    PortList(const PortList&) = delete;
    PortList& operator=(const PortList&) = delete;

    PortRange range() const {
        const std::uintptr_t word = word_.load(std::memory_order_acquire);
        if ((word & kindBits) == isSingle) {
            return word == 0 ? PortRange() : PortRange(reinterpret_cast<Port*>(word));
        }
        return longRange(word);
    }

    /// Calls `visit` with each port, as the list was when this was called.
    template <class Visit>
    void forEach(Visit visit) const {
        const std::uintptr_t word = word_.load(std::memory_order_acquire);
        if ((word & kindBits) == isSingle) {
            if (word != 0) {
                visit(reinterpret_cast<Port*>(word));
            }
            return;
        }
        for (Port* port : longRange(word)) {
            visit(port);
        }
    }

    std::size_t size() const {
        const std::uintptr_t word = word_.load(std::memory_order_acquire);
        return (word & kindBits) == isThinned ? thinnedSize(word) : range().size();
    }
    bool empty() const {
        const std::uintptr_t word = word_.load(std::memory_order_acquire);
        return (word & kindBits) == isSingle ? word == 0 : size() == 0;
    }

    /// Whether hosts have a way to edit the list.
    bool isOpen() const { return (word() & kindBits) == isLent && lent(word())->isOpen; }

    /// The first port; null when there is none.
    Port* front() const {
        const std::uintptr_t word = word_.load(std::memory_order_acquire);
        if ((word & kindBits) == isSingle) {
            return reinterpret_cast<Port*>(word);
        }
        const PortRange ports = longRange(word);
        return ports.empty() ? nullptr : ports.front();
    }

    bool contains(const Port* port) const {
        const std::uintptr_t word = word_.load(std::memory_order_acquire);
        if ((word & kindBits) == isSingle) {
            return word != 0 && word == reinterpret_cast<std::uintptr_t>(port);
        }
        const PortRange ports = range();
        return std::find(ports.begin(), ports.end(), port) != ports.end();
    }

    /// An array that gets too small is made anew, near `node` where that is given.
    void add(Port* port, const Node* node = nullptr) {
        if (word() == 0 && port != nullptr) {
            setWord(reinterpret_cast<std::uintptr_t>(port));
        } else {
            addToOthers(port, node);
        }
    }

    /// The first entry of that port goes. False when there is none.
    bool remove(const Port* port);

    /// The same for a list of peers: taking many out of many costs no more than a look at each, in whatever
    /// order they go. May leave gaps in what `range` shows, but for the first place and the last.
    bool unlink(const Port* port) {
        return (word() & kindBits) == isSingle ? removeSingle(port) : unlinkFromMany(port);
    }

    void removeLast();
    void clear();

    /// Empties the list, and calls `visit` with each port that was in it. Asks for no memory.
    template <class Visit>
    void drain(Visit visit) {
        const std::uintptr_t old = word();
        if ((old & kindBits) == isLent) {
            // The vector stays where hosts have seen it.
            std::vector<Port*> ports;
            ports.swap(lent(old)->ports);
            for (Port* port : ports) {
                visit(port);
            }
            return;
        }
        PortList ports;
        ports.setWord(old);
        setWord(0);
        ports.forEach(visit);
    }

    /// The list as a vector, in which it lives from now on.
    const std::vector<Port*>& asVector() const;

    /// The same, to be edited.
    std::vector<Port*>& open();

    /// The same for the list of a node's ports, which from then on knows those that were in it at some time:
    /// a host may take them out without telling anybody.
    std::vector<Port*>& openKnowing();

    /// Says that the list need not know that port any more.
    void forget(Port* port) {
        const std::uintptr_t word = word_.load(std::memory_order_relaxed);
        if ((word & kindBits) == isLent && lent(word)->known != nullptr) {
            lent(word)->known->erase(port);
        }
    }

    /// Calls `visit` with each port that the list knows.
    template <class Visit>
    void forEachKnown(Visit visit) const {
        const std::uintptr_t word = word_.load(std::memory_order_relaxed);
        if ((word & kindBits) == isLent && lent(word)->known != nullptr) {
            for (Port* port : *lent(word)->known) {
                visit(port);
            }
        }
    }

private:
    /// Several ports, right behind this header.
    struct Array {
        std::uint32_t size;
        std::uint32_t capacity;

        Port** ports() { return reinterpret_cast<Port**>(this + 1); }
        static Array* make(std::uint32_t capacity, const Node* node);
    };

    /// A vector that hosts have seen.
    struct Lent {
        std::vector<Port*> ports;
        std::uintptr_t before;  ///< What the list was; readers on other threads may still be at it.
        bool isOpen = false;
        std::unique_ptr<std::unordered_set<Port*>> known;  ///< See `openKnowing`.
    };

    class Thinned;

    static constexpr std::uintptr_t kindBits = 3;
    static constexpr std::uintptr_t isSingle = 0;
    static constexpr std::uintptr_t isArray = 1;
    static constexpr std::uintptr_t isLent = 2;
    static constexpr std::uintptr_t isThinned = 3;

    static PortRange longRange(std::uintptr_t word) {
        if ((word & kindBits) == isArray) {
            return {array(word)->ports(), array(word)->size};
        }
        if ((word & kindBits) == isThinned) {
            return thinnedRange(word);
        }
        const std::vector<Port*>& ports = lent(word)->ports;
        return ports.empty() ? PortRange() : PortRange(ports.data(), ports.size());
    }
    static Array* array(std::uintptr_t word) { return reinterpret_cast<Array*>(word & ~kindBits); }
    static Lent* lent(std::uintptr_t word) { return reinterpret_cast<Lent*>(word & ~kindBits); }
    static Thinned* thinned(std::uintptr_t word) { return reinterpret_cast<Thinned*>(word & ~kindBits); }
    static PortRange thinnedRange(std::uintptr_t word);
    static std::size_t thinnedSize(std::uintptr_t word);
    static void destroy(std::uintptr_t word) {
        if ((word & kindBits) != isSingle) {
            destroyLong(word);
        }
    }
    static void destroyLong(std::uintptr_t word);

    void addToOthers(Port* port, const Node* node);
    bool removeSingle(const Port* port) {
        const bool isIt = word() != 0 && word() == reinterpret_cast<std::uintptr_t>(port);
        if (isIt) {
            setWord(0);
        }
        return isIt;
    }
    bool unlinkFromMany(const Port* port);
    void becomeThinned() noexcept;
    void becomeArray() noexcept;

    std::uintptr_t word() const { return word_.load(std::memory_order_relaxed); }
    void setWord(std::uintptr_t word) { word_.store(word, std::memory_order_release); }

    /// A port, an array of ports, one with gaps or a lent vector, told apart by the lowest bits.
    mutable std::atomic<std::uintptr_t> word_{0};
};

}  // namespace TessilGraph
