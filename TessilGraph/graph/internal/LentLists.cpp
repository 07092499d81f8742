#include <TessilGraph/graph/internal/LentLists.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/CycleCheck.h>
#include <TessilGraph/graph/internal/NetworkState.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <mutex>
#include <unordered_map>
#include <utility>

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

/// The entries of one owner stand together.
using Key = std::pair<Owner, Port*>;

struct Register {
    std::mutex mutex;
    std::map<Key, Snapshot> entries;
    std::unordered_map<const Port*, Owner> owners;

    auto firstOf(Owner owner) const { return entries.lower_bound(Key(owner, nullptr)); }
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

Owner ownerOf(const Node* node) {
    const void* home = node != nullptr ? Access::home(*node) : nullptr;
    return home != nullptr ? reinterpret_cast<Owner>(home) : thisThread();
}

void noteLinkAbroad(Node& node) {
    if (Access::home(node) != nullptr) {
        Access::home(node)->linkedAbroad.store(true, std::memory_order_relaxed);
    }
}

/// Whether something downstream of the node may stand elsewhere than it does.
bool leadsAbroad(const Node* node) {
    const NetworkState* home = node != nullptr ? Access::home(*node) : nullptr;
    return home == nullptr || home->linkedAbroad.load(std::memory_order_relaxed);
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
    for (const Port* peer : Access::connections(output)) {
        noteLink(output.node(), peer != nullptr ? peer->node() : nullptr);
    }
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
    all.entries.erase(Key(owner->second, &port));
    all.owners.erase(owner);
    Access::watched(port) = false;
    watchedPorts.fetch_sub(1, std::memory_order_relaxed);
}

/// Enters a port in the register, whose lock is held.
void enter(Register& all, Port& port, Owner owner, const Snapshot& snapshot) {
    const auto entered = all.owners.emplace(&port, owner).first;
    try {
        all.entries.emplace(Key(owner, &port), snapshot);
    } catch (...) {
        all.owners.erase(entered);
        throw;
    }
    Access::watched(port) = true;
    watchedPorts.fetch_add(1, std::memory_order_relaxed);
}

/// Hands the entry of a port in the register, whose lock is held, to another owner. Asks for no memory: nodes
/// change their networks when it is too late to fail.
void reenter(Register& all, Port& port, Owner owner) noexcept {
    Owner& known = all.owners.find(&port)->second;
    auto entry = all.entries.extract(Key(known, &port));
    entry.key().first = owner;
    all.entries.insert(std::move(entry));
    known = owner;
}

/// True when labels can be relied on as far as the entries of this owner are concerned.
bool settleEntriesOf(Register& all, Owner owner) {
    bool ordered = true;
    for (auto entry = all.firstOf(owner); entry != all.entries.end() && entry->first.first == owner;) {
        const auto& [key, snapshot] = *entry++;
        const Verdict verdict = check(*key.second, snapshot);
        ordered = ordered && verdict != Verdict::Disordered;
        if (verdict == Verdict::Sound) {
            take(all, *key.second);
        }
    }
    return ordered;
}

/// Whether there are entries of none of these owners.
bool othersHaveEntries(const Register& all, std::initializer_list<Owner> owners) {
    for (auto entry = all.entries.begin(); entry != all.entries.end();) {
        const Owner owner = entry->first.first;
        if (std::find(owners.begin(), owners.end(), owner) == owners.end()) {
            return true;
        }
        entry = all.firstOf(owner + 1);
    }
    return false;
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

void nodeMoves(Node& node) noexcept {
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

void noteLink(Node* one, Node* other) noexcept {
    if (one != nullptr && other != nullptr && Access::home(*one) != Access::home(*other)) {
        noteLinkAbroad(*one);
        noteLinkAbroad(*other);
    }
}

void noteLinks(Node& node) noexcept {
    const auto noteAll = [&node](PortRange ports) {
        for (const Port* port : ports) {
            if (port == nullptr) {
                continue;
            }
            for (const Port* peer : Access::connections(*port)) {
                if (peer != nullptr && Access::isLoose(*peer)) {
                    noteLinkAbroad(node);
                } else if (peer != nullptr) {
                    noteLink(&node, peer->node());
                }
            }
        }
    };
    noteAll(Access::inputs(node));
    noteAll(Access::outputs(node));
}

bool settleWatched(const Port& one, const Port& other) {
    Register& all = watchRegister();
    const std::lock_guard<std::mutex> lock(all.mutex);
    const std::initializer_list<Owner> owners = {thisThread(), ownerOf(one.node()), ownerOf(other.node())};
    bool ordered = true;
    for (const Owner* owner = owners.begin(); owner != owners.end(); ++owner) {
        const bool isSettled = std::find(owners.begin(), owner, *owner) != owner;
        ordered = (isSettled || settleEntriesOf(all, *owner)) && ordered;
    }
    // The ports of other networks and threads are left alone: others may be using them.
    const bool mayLeadThere = leadsAbroad(one.node()) || leadsAbroad(other.node());
    return ordered && !(mayLeadThere && othersHaveEntries(all, owners));
}

}  // namespace TessilGraph::internal::LentLists
