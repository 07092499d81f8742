#include <TessilGraph/graph/PortList.h>

#include <TessilGraph/graph/NodeMemory.h>

#include <limits>
#include <memory>
#include <new>

namespace TessilGraph {

PortList::Array* PortList::Array::make(std::uint32_t capacity, const Node* node) {
    void* memory = internal::NodeMemory::allocate(sizeof(Array) + capacity * sizeof(void*), node);
    return new (memory) Array{0, capacity};
}

PortList::~PortList() {
    destroy(word());
}

void PortList::destroy(std::uintptr_t word) {
    if ((word & kindBits) == isArray) {
        internal::NodeMemory::release(array(word));
    } else if ((word & kindBits) == isLent) {
        destroy(lent(word)->before);
        delete lent(word);
    }
}

void PortList::add(Port* port, const Node* node) {
    const std::uintptr_t old = word();
    if (old == 0 && port != nullptr) {
        setWord(reinterpret_cast<std::uintptr_t>(port));
        return;
    }
    if ((old & kindBits) == isLent) {
        Lent& list = *lent(old);
        list.ports.push_back(port);
        if (list.known != nullptr) {
            list.known->insert(port);
        }
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
        if (old == 0 || reinterpret_cast<Port*>(old) != port) {
            return false;
        }
        setWord(0);
        return true;
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

void PortList::removeLast() {
    const std::uintptr_t old = word();
    if ((old & kindBits) == isSingle) {
        setWord(0);
    } else if ((old & kindBits) == isLent) {
        lent(old)->ports.pop_back();
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

void PortList::moveTo(PortList& other) {
    const std::uintptr_t old = word();
    if ((old & kindBits) != isLent) {
        other.setWord(old);
        setWord(0);
        return;
    }
    // The vector stays where hosts have seen it.
    other.asVector();
    other.lent(other.word())->ports.swap(lent(old)->ports);
}

const std::vector<Port*>& PortList::asVector() const {
    std::uintptr_t old = word_.load(std::memory_order_acquire);
    if ((old & kindBits) == isLent) {
        return lent(old)->ports;
    }
    const PortRange ports = range();
    auto made = std::make_unique<Lent>();
    made->ports.assign(ports.begin(), ports.end());
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
    std::vector<Port*>& ports = open();
    Lent& list = *lent(word());
    if (list.known == nullptr) {
        list.known = std::make_unique<std::unordered_set<Port*>>(ports.begin(), ports.end());
        list.known->erase(nullptr);
    }
    return ports;
}

}  // namespace TessilGraph
