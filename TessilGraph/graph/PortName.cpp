#include <TessilGraph/graph/PortName.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <string_view>

namespace TessilGraph {

namespace {

constexpr std::size_t places = 1024;     // A power of two.
constexpr std::size_t longestWay = 8;    // How many places are tried.
constexpr std::size_t longestName = 32;  // Bytes.

/// Strings are entered and never leave, so that readers need no lock, and ports of static duration may
/// outlive everything else.
std::array<std::atomic<const std::string*>, places> sharedNames{};

/// Null when there is no room for the name.
const std::string* enter(std::string_view name, std::size_t start) {
    if (name.size() > longestName) {
        return nullptr;
    }
    for (std::size_t i = 0; i < longestWay; ++i) {
        std::atomic<const std::string*>& place = sharedNames[(start + i) % places];
        const std::string* there = place.load(std::memory_order_acquire);
        if (there == nullptr) {
            const auto* entered = new std::string(name);
            if (place.compare_exchange_strong(there, entered, std::memory_order_acq_rel)) {
                return entered;
            }
            delete entered;
        }
        if (isSameText(*there, name)) {
            return there;
        }
    }
    return nullptr;
}

}  // namespace

PortName::PortName(const HashedName& name) {
    const std::string* shared = sharedNames[name.hash() % places].load(std::memory_order_acquire);
    text_ = shared != nullptr && isSameText(*shared, name.text()) ? reinterpret_cast<std::uintptr_t>(shared)
                                                                  : enterOrKeep(name);
}

/// Apart from the rest, so that names that are there are found fast.
[[gnu::noinline]] std::uintptr_t PortName::enterOrKeep(const HashedName& name) {
    const std::string* shared = enter(name.text(), name.hash() % places);
    return shared != nullptr ? reinterpret_cast<std::uintptr_t>(shared)
                             : reinterpret_cast<std::uintptr_t>(new std::string(name.text())) | isOwn;
}

void PortName::destroy() {
    delete &str();
}

}  // namespace TessilGraph
