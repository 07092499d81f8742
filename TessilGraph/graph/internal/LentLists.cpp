#include <TessilGraph/graph/internal/LentLists.h>

#include <TessilGraph/graph/internal/Access.h>

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <unordered_map>

namespace TessilGraph::internal::LentLists {

namespace {

/// What a list held when it was handed out: enough to see whether an input lost its source.
struct Snapshot {
    std::size_t size;
    Port* first;
};

using Watched = std::unordered_map<Port*, Snapshot>;

struct Register {
    std::mutex mutex;
    std::map<std::thread::id, Watched> byThread;
};

/// Never destroyed: ports of static duration may still ask for it.
Register& watchRegister() {
    static auto* instance = new Register;
    return *instance;
}

/// Whether this thread has entered anything since it last looked; spares it the lock.
thread_local bool anyWatched = false;

bool lists(const Port& port, const Port* peer) {
    const std::vector<Port*>& peers = Access::connections(port);
    return std::find(peers.begin(), peers.end(), peer) != peers.end();
}

bool hasTwins(std::vector<Port*> peers) {
    std::sort(peers.begin(), peers.end(), std::less<>());
    return std::adjacent_find(peers.begin(), peers.end()) != peers.end();
}

bool labelsGrow(Node* upstream, Node* downstream) {
    return upstream == nullptr || downstream == nullptr || Access::label(*upstream) < Access::label(*downstream);
}

enum class Verdict { Sound, OneSided, Disordered };

Verdict checkOutput(Port& output) {
    bool twoSided = !hasTwins(Access::connections(output));
    for (Port* peer : Access::connections(output)) {
        if (peer == nullptr) {
            continue;
        }
        if (peer->isOutput() || !labelsGrow(output.node(), peer->node())) {
            return Verdict::Disordered;
        }
        if (!lists(*peer, &output)) {
            // The peer may be listed here without knowing, so that nobody may move its node back.
            Access::lostMany(*peer) = true;
            twoSided = false;
        }
    }
    // An input that was taken out of the list by hand may still list this output: to it the link
    // now looks older than the list.
    Access::stamp(output) = nextStamp();
    for (Port* peer : Access::connections(output)) {
        if (peer != nullptr && lists(*peer, &output)) {
            Access::stamp(*peer) = nextStamp();
        }
    }
    return twoSided ? Verdict::Sound : Verdict::OneSided;
}

Verdict checkInput(Port& input, const Snapshot& before) {
    const std::vector<Port*>& sources = Access::connections(input);
    const bool changed = sources.size() != before.size || (!sources.empty() && sources.front() != before.first);
    if (changed && before.size != 0) {
        Access::lostMany(input) = true;
    }
    for (Port* source : sources) {
        if (source == nullptr) {
            continue;
        }
        if (source->isInput() || !lists(*source, &input)) {
            Access::stamp(input) = 0;
            return Verdict::OneSided;
        }
        if (!labelsGrow(source->node(), input.node())) {
            return Verdict::Disordered;
        }
        if (changed) {
            Access::stamp(input) = nextStamp();
        }
    }
    return Verdict::Sound;
}

Verdict check(Port& port, const Snapshot& before) {
    if (Access::displaced(port)) {
        return Verdict::Disordered;
    }
    return port.isOutput() ? checkOutput(port) : checkInput(port, before);
}

}  // namespace

void watch(Port& port) {
    if (Access::watched(port)) {
        return;
    }
    const std::vector<Port*>& peers = Access::connections(port);
    Register& all = watchRegister();
    const std::lock_guard<std::mutex> lock(all.mutex);
    all.byThread[std::this_thread::get_id()].emplace(&port,
                                                     Snapshot{peers.size(), peers.empty() ? nullptr : peers.front()});
    Access::watched(port) = true;
    anyWatched = true;
}

void forget(Port& port) {
    if (!Access::watched(port)) {
        return;
    }
    Register& all = watchRegister();
    const std::lock_guard<std::mutex> lock(all.mutex);
    for (auto entry = all.byThread.begin(); entry != all.byThread.end();) {
        entry->second.erase(&port);
        entry = entry->second.empty() ? all.byThread.erase(entry) : std::next(entry);
    }
    Access::watched(port) = false;
}

bool settle() {
    if (!anyWatched) {
        return true;
    }
    Register& all = watchRegister();
    const std::lock_guard<std::mutex> lock(all.mutex);
    const auto own = all.byThread.find(std::this_thread::get_id());
    bool ordered = true;
    if (own != all.byThread.end()) {
        Watched& watched = own->second;
        for (auto entry = watched.begin(); entry != watched.end();) {
            const Verdict verdict = check(*entry->first, entry->second);
            ordered = ordered && verdict != Verdict::Disordered;
            if (verdict == Verdict::Sound) {
                Access::watched(*entry->first) = false;
                entry = watched.erase(entry);
            } else {
                ++entry;
            }
        }
        if (watched.empty()) {
            all.byThread.erase(own);
        }
    }
    anyWatched = all.byThread.count(std::this_thread::get_id()) != 0;
    return ordered;
}

}  // namespace TessilGraph::internal::LentLists
