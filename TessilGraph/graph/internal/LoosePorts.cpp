#include <TessilGraph/graph/internal/LoosePorts.h>

#include <TessilGraph/graph/internal/Access.h>

#include <mutex>
#include <set>
#include <utility>

namespace TessilGraph::internal::LoosePorts {

namespace {

struct Register {
    std::mutex mutex;
    std::set<std::pair<const Node*, Port*>> ports;  ///< By owner.
};

/// Never destroyed: ports of static duration may still ask for it.
Register& looseRegister() {
    static auto* instance = new Register;
    return *instance;
}

}  // namespace

void enter(Port& port, const Node& owner) {
    Register& all = looseRegister();
    const std::lock_guard<std::mutex> lock(all.mutex);
    all.ports.emplace(&owner, &port);
}

void leave(Port& port) {
    Register& all = looseRegister();
    const std::lock_guard<std::mutex> lock(all.mutex);
    // The owner is asked for behind the lock: it may be dying on another thread.
    all.ports.erase({port.node(), &port});
}

void ownerDies(const Node& owner) {
    Register& all = looseRegister();
    const std::lock_guard<std::mutex> lock(all.mutex);
    auto entry = all.ports.lower_bound({&owner, nullptr});
    while (entry != all.ports.end() && entry->first == &owner) {
        Access::owner(*entry->second) = nullptr;
        entry = all.ports.erase(entry);
    }
}

}  // namespace TessilGraph::internal::LoosePorts
