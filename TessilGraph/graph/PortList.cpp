#include <TessilGraph/graph/PortList.h>

#include <TessilGraph/graph/NameIndex.h>
#include <TessilGraph/graph/NodeMemory.h>

#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace TessilGraph {

/// Many ports, of which some were taken out. Their places stay empty until half of all are, so that the
/// others need not move each time.
///
/// Ports that go in order, first or last, are found at once. Where that does not help, an index is made
/// once searching has cost about as much. It goes by addresses alone: peers may be gone.
class PortList::Thinned {
public:
    /// None of the ports is null.
    explicit Thinned(PortRange ports) : places_(ports.begin(), ports.end()), size_(ports.size()) {}

    /// Neither the first nor the last entry is null.
    PortRange range() const { return {places_.data() + begin_, places_.size() - begin_}; }

    std::size_t size() const { return size_; }

    void add(Port* port) {
        if (isIndexed_) {
            index_.reserveOne();
        }
        places_.push_back(port);
        if (isIndexed_) {
            index_.insert(hashOf(port), static_cast<Place>(places_.size() - 1));
        }
        ++size_;
    }

    bool remove(const Port* port) noexcept {
        const Place place = find(port);
        if (place == NameIndex::none) {
            return false;
        }
        take(place);
        return true;
    }

    void removeLast() noexcept { take(static_cast<Place>(places_.size() - 1)); }

private:
    using Place = NameIndex::Position;

    static std::uint32_t hashOf(const Port* port) {
        constexpr std::uint64_t spread = 0x9e3779b97f4a7c15U;
        return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(port) * spread >> 32);
    }

    Place find(const Port* port) noexcept {
        constexpr std::size_t nearTheEnds = 16;
        const std::size_t places = places_.size() - begin_;
        const std::size_t reach = isIndexed_ ? std::min(places, nearTheEnds) : places;
        for (std::size_t step = 0; step < reach; ++step) {
            const std::size_t fromFront = begin_ + step;
            const std::size_t fromBack = places_.size() - 1 - step;
            if (places_[fromFront] == port || places_[fromBack] == port) {
                noteSearch(step);
                return static_cast<Place>(places_[fromFront] == port ? fromFront : fromBack);
            }
            if (fromFront >= fromBack) {
                noteSearch(step);
                return NameIndex::none;
            }
        }
        return index_.find(hashOf(port), [&](Place place) { return places_[place] == port; });
    }

    void noteSearch(std::size_t steps) noexcept {
        constexpr std::size_t searchesPerIndex = 8;
        searched_ += steps;
        if (!isIndexed_ && searched_ > searchesPerIndex * places_.size()) {
            makeIndex();
        }
    }

    void take(Place place) noexcept {
        if (isIndexed_) {
            index_.erase(hashOf(places_[place]), place);
        }
        places_[place] = nullptr;
        --size_;
        while (begin_ < places_.size() && places_[begin_] == nullptr) {
            ++begin_;
        }
        while (begin_ < places_.size() && places_.back() == nullptr) {
            places_.pop_back();
        }
        if (places_.size() > 2 * size_) {
            closeGaps();
        }
    }

    void closeGaps() noexcept {
        places_.erase(std::remove(places_.begin(), places_.end(), nullptr), places_.end());
        places_.shrink_to_fit();
        begin_ = 0;
        searched_ = 0;
        if (isIndexed_) {
            makeIndex();
        }
    }

    /// Without one where there is no memory.
    void makeIndex() noexcept {
        isIndexed_ = false;
        index_.clear();
        try {
            index_.reserve(size_);
            for (std::size_t place = begin_; place < places_.size(); ++place) {
                if (places_[place] != nullptr) {
                    index_.insert(hashOf(places_[place]), static_cast<Place>(place));
                }
            }
            isIndexed_ = true;
        } catch (const std::bad_alloc&) {
            index_.clear();
        }
    }

    std::vector<Port*> places_;
    std::size_t begin_ = 0;  ///< The places before it are empty.
    std::size_t size_;
    std::size_t searched_ = 0;  ///< Places that were looked at since gaps were closed last.
    bool isIndexed_ = false;
    NameIndex index_;  ///< The places of all ports.
};

namespace {

constexpr std::size_t many = 128;  ///< From here on peers are taken out leaving gaps.
constexpr std::size_t few = 32;    ///< From here on they stand close again.

std::vector<Port*> withoutGaps(PortRange ports) {
    std::vector<Port*> result(ports.begin(), ports.end());
    result.erase(std::remove(result.begin(), result.end(), nullptr), result.end());
    return result;
}

}  // namespace

PortList::Array* PortList::Array::make(std::uint32_t capacity, const Node* node) {
    void* memory = internal::NodeMemory::allocate(sizeof(Array) + capacity * sizeof(void*), node);
    return new (memory) Array{0, capacity};
}

void PortList::destroyLong(std::uintptr_t word) {
    if ((word & kindBits) == isArray) {
        internal::NodeMemory::release(array(word));
    } else if ((word & kindBits) == isLent) {
        destroy(lent(word)->before);
        delete lent(word);
    } else if ((word & kindBits) == isThinned) {
        delete thinned(word);
    }
}

PortRange PortList::thinnedRange(std::uintptr_t word) {
    return thinned(word)->range();
}

std::size_t PortList::thinnedSize(std::uintptr_t word) {
    return thinned(word)->size();
}

/// Stays as it is where there is no memory.
void PortList::becomeThinned() noexcept {
    const std::uintptr_t old = word();
    const PortRange ports = range();
    if (std::find(ports.begin(), ports.end(), nullptr) != ports.end()) {
        return;
    }
    try {
        setWord(reinterpret_cast<std::uintptr_t>(new Thinned(ports)) | isThinned);
        destroy(old);
    } catch (const std::bad_alloc&) {
    }
}

/// Stays as it is where there is no memory.
void PortList::becomeArray() noexcept {
    const std::uintptr_t old = word();
    try {
        const std::size_t size = thinned(old)->size();
        Array* target = Array::make(static_cast<std::uint32_t>(std::max<std::size_t>(size, 2)), nullptr);
        const PortRange ports = range();
        std::remove_copy(ports.begin(), ports.end(), target->ports(), nullptr);
        target->size = static_cast<std::uint32_t>(size);
        setWord(reinterpret_cast<std::uintptr_t>(target) | isArray);
        destroy(old);
    } catch (const std::bad_alloc&) {
    }
}

void PortList::addToOthers(Port* port, const Node* node) {
    const std::uintptr_t old = word();
    if ((old & kindBits) == isLent) {
        Lent& list = *lent(old);
        list.ports.push_back(port);
        if (list.known != nullptr) {
            try {
                list.known->insert(port);
            } catch (...) {
                list.ports.pop_back();
                throw;
            }
        }
        return;
    }
    if ((old & kindBits) == isThinned) {
        thinned(old)->add(port);
        return;
    }
    const PortRange ports = range();
    const auto size = static_cast<std::uint32_t>(ports.size());
    Array* target = (old & kindBits) == isArray ? array(old) : nullptr;
    if (target == nullptr || target->size == target->capacity) {
        if (size > std::numeric_limits<std::uint32_t>::max() / 2) {
            throw std::bad_alloc();
        }
        target = Array::make(size < 2 ? 2 : 2 * size, node);
        std::copy(ports.begin(), ports.end(), target->ports());
        target->size = size;
        setWord(reinterpret_cast<std::uintptr_t>(target) | isArray);
        destroy(old);
    }
    target->ports()[target->size++] = port;
}

bool PortList::remove(const Port* port) {
    const std::uintptr_t old = word();
    if ((old & kindBits) == isSingle) {
        return removeSingle(port);
    }
    if ((old & kindBits) == isLent) {
        std::vector<Port*>& ports = lent(old)->ports;
        const auto found = std::find(ports.begin(), ports.end(), port);
        if (found == ports.end()) {
            return false;
        }
        ports.erase(found);
        return true;
    }
    if ((old & kindBits) == isThinned) {
        const bool removed = thinned(old)->remove(port);
        if (thinned(old)->size() <= few) {
            becomeArray();
        }
        return removed;
    }
    Port** const begin = array(old)->ports();
    Port** const end = begin + array(old)->size;
    Port** const found = std::find(begin, end, port);
    if (found == end) {
        return false;
    }
    std::copy(found + 1, end, found);
    --array(old)->size;
    return true;
}

bool PortList::unlinkFromMany(const Port* port) {
    if ((word() & kindBits) == isArray && array(word())->size >= many) {
        becomeThinned();
    }
    return remove(port);
}

void PortList::removeLast() {
    const std::uintptr_t old = word();
    if ((old & kindBits) == isSingle) {
        setWord(0);
    } else if ((old & kindBits) == isLent) {
        forget(lent(old)->ports.back());
        lent(old)->ports.pop_back();
    } else if ((old & kindBits) == isThinned) {
        thinned(old)->removeLast();
    } else {
        --array(old)->size;
    }
}

void PortList::clear() {
    const std::uintptr_t old = word();
    if ((old & kindBits) == isLent) {
        lent(old)->ports.clear();
        return;
    }
    setWord(0);
    destroy(old);
}

const std::vector<Port*>& PortList::asVector() const {
    std::uintptr_t old = word_.load(std::memory_order_acquire);
    if ((old & kindBits) == isLent) {
        return lent(old)->ports;
    }
    const PortRange ports = range();
    auto made = std::make_unique<Lent>();
    made->ports = (old & kindBits) == isThinned ? withoutGaps(ports) : std::vector<Port*>(ports.begin(), ports.end());
    made->before = old;
    const std::uintptr_t word = reinterpret_cast<std::uintptr_t>(made.get()) | isLent;
    if (word_.compare_exchange_strong(old, word, std::memory_order_acq_rel, std::memory_order_acquire)) {
        return made.release()->ports;
    }
    return lent(old)->ports;  // Another thread was first.
}

std::vector<Port*>& PortList::open() {
    asVector();
    Lent& list = *lent(word());
    list.isOpen = true;
    return list.ports;
}

std::vector<Port*>& PortList::openKnowing() {
    const std::vector<Port*>& ports = asVector();
    Lent& list = *lent(word());
    if (list.known == nullptr) {
        auto known = std::make_unique<std::unordered_set<Port*>>(ports.begin(), ports.end());
        known->erase(nullptr);
        list.known = std::move(known);
    }
    return open();
}

}  // namespace TessilGraph
