#include <TessilGraph/graph/PortName.h>

#include <array>
#include <atomic>
#include <cstddef>

namespace TessilGraph {

namespace {

constexpr std::size_t places = 1024;     // A power of two.
constexpr std::size_t longestWay = 8;    // How many places are tried.
constexpr std::size_t longestName = 32;  // Bytes.

/// Strings are entered and never leave, so that readers need no lock.
using SharedNames = std::array<std::atomic<const std::string*>, places>;

/// Never destroyed: ports of static duration may outlive everything else.
SharedNames& sharedNames() {
    static auto* names = new SharedNames{};
    return *names;
}

std::size_t hash(const std::string& name) {
    std::uint64_t hash = 14695981039346656037U;  // FNV-1a: names are short.
    for (const char c : name) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
    }
    return static_cast<std::size_t>(hash ^ hash >> 32);
}

/// Null when there is no room for the name.
const std::string* share(const std::string& name) {
    if (name.size() > longestName) {
        return nullptr;
    }
    SharedNames& names = sharedNames();
    const std::size_t start = hash(name);
    for (std::size_t i = 0; i < longestWay; ++i) {
        std::atomic<const std::string*>& place = names[(start + i) % places];
        const std::string* there = place.load(std::memory_order_acquire);
        if (there == nullptr) {
            const auto* entered = new std::string(name);
            if (place.compare_exchange_strong(there, entered, std::memory_order_acq_rel)) {
                return entered;
            }
            delete entered;
        }
        if (*there == name) {
            return there;
        }
    }
    return nullptr;
}

}  // namespace

PortName::PortName(const std::string& name) {
    if (const std::string* shared = share(name)) {
        text_ = reinterpret_cast<std::uintptr_t>(shared);
    } else {
        text_ = reinterpret_cast<std::uintptr_t>(new std::string(name)) | isOwn;
    }
}

PortName::~PortName() {
    if ((text_ & isOwn) != 0) {
        delete &str();
    }
}

}  // namespace TessilGraph
