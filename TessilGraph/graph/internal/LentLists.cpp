#include <TessilGraph/graph/internal/LentLists.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/CycleCheck.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <unordered_map>

namespace TessilGraph::internal::LentLists {

std::atomic<std::size_t> watchedPorts{0};

namespace {

/// Whose entry it is: the address of a network's node set, or an odd number for a thread.
using Owner = std::uintptr_t;

/// What a list held when it was handed out: enough to see whether an input lost its source.
struct Snapshot {
    std::size_t size;
    Port* first;
};

using Watched = std::unordered_map<Port*, Snapshot>;

struct Register {
    std::mutex mutex;
    std::map<Owner, Watched> byOwner;
    std::unordered_map<const Port*, Owner> owners;
};

/// Never destroyed: ports of static duration may still ask for it.
Register& watchRegister() {
    static auto* instance = new Register;
    return *instance;
}

/// Never given to a second thread, as thread ids are.
Owner thisThread() {
    static std::atomic<Owner> last{1};
    thread_local const Owner owner = last.fetch_add(2, std::memory_order_relaxed);
    return owner;
}

bool isThread(Owner owner) {
    return owner % 2 == 1;
}

Owner ownerOf(const Node* node) {
    const void* home = node != nullptr ? Access::home(*node) : nullptr;
    return home != nullptr ? reinterpret_cast<Owner>(home) : thisThread();
}

/// Whether labels grow along a link, or could be made to.
bool isInOrder(Node* upstream, Node* downstream) {
    return upstream == nullptr || downstream == nullptr || bringInOrder(*upstream, *downstream);
}

/// For an input whose source was changed by hand.
void setEpoch(Port& input, std::uint32_t epoch) {
    if (Access::epoch(input) != epoch && Access::hasLost(input)) {
        // The epoch doesn't speak for the output that was lost any more.
        Access::lostMany(input) = true;
    }
    Access::epoch(input) = epoch;
}

enum class Verdict { Sound, OneSided, Disordered };

Verdict checkOutput(Port& output) {
    for (Port* peer : Access::connections(output)) {
        if (peer != nullptr && (peer->isOutput() || !isInOrder(output.node(), peer->node()))) {
            return Verdict::Disordered;
        }
    }
    // Links get a new epoch, so that an input that was taken out of the list by hand, and may still
    // list this output, sees that its link is older than the list.
    const std::uint32_t epoch = nextEpoch();
    Access::epoch(output) = epoch;
    bool twoSided = true;
    for (Port* peer : Access::connections(output)) {
        if (peer == nullptr) {
            continue;
        }
        if (lists(*peer, output) && Access::epoch(*peer) != epoch) {
            setEpoch(*peer, epoch);
        } else {
            // Listed here without knowing, or twice: nobody may move its node back.
            Access::lostMany(*peer) = true;
            twoSided = false;
        }
    }
    return twoSided ? Verdict::Sound : Verdict::OneSided;
}

Verdict checkInput(Port& input, const Snapshot& before) {
    const PortRange sources = Access::connections(input);
    const bool changed = sources.size() != before.size || (!sources.empty() && sources.front() != before.first);
    if (changed && before.size != 0) {
        Access::lostMany(input) = true;
    }
    bool twoSided = sources.size() <= 1;
    for (Port* source : sources) {
        if (source == nullptr) {
            continue;
        }
        if (source->isInput() || !lists(*source, input)) {
            twoSided = false;
        } else if (!isInOrder(source->node(), input.node())) {
            return Verdict::Disordered;
        }
    }
    if (!twoSided) {
        Access::lostMany(input) = true;
        return Verdict::OneSided;
    }
    if (changed) {
        Port* source = sources.empty() ? nullptr : sources.front();
        setEpoch(input, source != nullptr ? Access::epoch(*source) : 0);
    }
    return Verdict::Sound;
}

Verdict check(Port& port, const Snapshot& before) {
    if (Access::displaced(port)) {
        return Verdict::Disordered;
    }
    return port.isOutput() ? checkOutput(port) : checkInput(port, before);
}

/// Takes a port out of the register, whose lock is held.
void take(Register& all, Port& port) {
    const auto owner = all.owners.find(&port);
    if (owner == all.owners.end()) {
        return;
    }
    const auto watched = all.byOwner.find(owner->second);
    watched->second.erase(&port);
    if (watched->second.empty()) {
        all.byOwner.erase(watched);
    }
    all.owners.erase(owner);
    Access::watched(port) = false;
    watchedPorts.fetch_sub(1, std::memory_order_relaxed);
}

/// Enters a port in the register, whose lock is held.
void enter(Register& all, Port& port, Owner owner, const Snapshot& snapshot) {
    all.owners.emplace(&port, owner);
    all.byOwner[owner].emplace(&port, snapshot);
    Access::watched(port) = true;
    watchedPorts.fetch_add(1, std::memory_order_relaxed);
}

/// Hands the entry of a port in the register, whose lock is held, to another owner.
void reenter(Register& all, Port& port, Owner owner) {
    const Snapshot snapshot = all.byOwner[all.owners[&port]][&port];
    take(all, port);
    enter(all, port, owner, snapshot);
}

/// True when labels can be relied on as far as the entries of this owner are concerned.
bool settleEntriesOf(Register& all, Owner owner) {
    const auto entries = all.byOwner.find(owner);
    if (entries == all.byOwner.end()) {
        return true;
    }
    bool ordered = true;
    std::vector<Port*> sound;
    for (const auto& [port, snapshot] : entries->second) {
        const Verdict verdict = check(*port, snapshot);
        ordered = ordered && verdict != Verdict::Disordered;
        if (verdict == Verdict::Sound) {
            sound.push_back(port);
        }
    }
    for (Port* port : sound) {
        take(all, *port);
    }
    return ordered;
}

bool anyOtherThreadHasEntries(const Register& all) {
    return std::any_of(all.byOwner.begin(), all.byOwner.end(),
                       [](const auto& entries) { return isThread(entries.first) && entries.first != thisThread(); });
}

}  // namespace

void watch(Port& port) {
    if (!Access::isLoose(port)) {
        watch(port, port.node());
    } else if (!Access::watched(port)) {
        watch(port, nullptr);
    }
}

void watch(Port& port, const Node* node) {
    Register& all = watchRegister();
    const std::lock_guard<std::mutex> lock(all.mutex);
    const Owner owner = ownerOf(node);
    const auto entry = all.owners.find(&port);
    if (entry == all.owners.end()) {
        const PortRange peers = Access::connections(port);
        enter(all, port, owner, {peers.size(), peers.empty() ? nullptr : peers.front()});
    } else if (entry->second != owner) {
        reenter(all, port, owner);
    }
}

void forget(Port& port) {
    if (!Access::watched(port)) {
        return;
    }
    Register& all = watchRegister();
    const std::lock_guard<std::mutex> lock(all.mutex);
    take(all, port);
}

void nodeMoves(Node& node) {
    if (watchedPorts.load(std::memory_order_relaxed) == 0) {
        return;
    }
    const auto moveAll = [&node](PortRange ports) {
        for (Port* port : ports) {
            if (port == nullptr || !Access::watched(*port) || port->node() != &node) {
                continue;
            }
            Register& all = watchRegister();
            const std::lock_guard<std::mutex> lock(all.mutex);
            reenter(all, *port, ownerOf(&node));
        }
    };
    moveAll(Access::inputs(node));
    moveAll(Access::outputs(node));
}

bool settleWatched(const Port& one, const Port& other) {
    Register& all = watchRegister();
    const std::lock_guard<std::mutex> lock(all.mutex);
    bool ordered = settleEntriesOf(all, thisThread());
    for (const Owner owner : {ownerOf(one.node()), ownerOf(other.node())}) {
        if (!isThread(owner)) {
            ordered = settleEntriesOf(all, owner) && ordered;
        } else if (anyOtherThreadHasEntries(all)) {
            // Another thread's ports are left alone: it may be using them.
            ordered = false;
        }
    }
    return ordered;
}

}  // namespace TessilGraph::internal::LentLists
