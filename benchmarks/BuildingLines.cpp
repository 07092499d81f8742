#include <benchmarks/Bed.h>
#include <benchmarks/Lines.h>
#include <benchmarks/Measure.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <malloc.h>

namespace bench {

using TessilGraph::NetworkManager;

namespace {

/// The bed's workload, without the networks that other lines have made of it.
const Workload& workloadOf(const std::string& kind, const std::string& size) {
    Bed& bed = Bed::get(kind, size);
    bed.dropNetworks();
    return bed.workload;
}

/// A network or the like that a run makes or takes apart.
template <class T>
using Slot = std::shared_ptr<std::unique_ptr<T>>;

template <class T>
Slot<T> makeSlot() {
    return std::make_shared<std::unique_ptr<T>>();
}

template <class T>
auto emptying(const Slot<T>& slot) {
    return [slot] { slot->reset(); };
}

std::vector<Link> reversed(const Workload& workload) {
    return {workload.links.rbegin(), workload.links.rend()};
}

std::vector<Link> shuffled(const Workload& workload) {
    std::vector<Link> links = workload.links;
    Random(99).shuffle(links);
    return links;
}

std::vector<Link> asListed(const Workload& workload) {
    return workload.links;
}

/// Builds by names, into an empty slot.
Side buildSide(const Workload& workload, std::vector<Link> links) {
    auto slot = makeSlot<NetworkManager>();
    return {[slot] {
                slot->reset();
                *slot = std::make_unique<NetworkManager>();
            },
            [slot, &workload, links = std::move(links), names = makeNames(workload.size())] {
                buildByNames(**slot, workload, links, names);
            },
            nullptr};
}

Side leanBuildSide(const Workload& workload) {
    auto slot = makeSlot<LeanNetwork>();
    return {emptying(slot), [slot, &workload] { *slot = std::make_unique<LeanNetwork>(workload); }, nullptr};
}

/// A network to make copies of.
std::shared_ptr<const NetworkManager> original(const Workload& workload) {
    auto manager = std::make_shared<NetworkManager>();
    buildByNames(*manager, workload, workload.links, makeNames(workload.size()));
    return manager;
}

double usedMemory() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

/// With names, index and stored order; what malloc itself spends on a block counts.
Amounts countBytes(const Workload& workload) {
    const std::vector<std::string> names = makeNames(workload.size());
    const double before = usedMemory();
    double library = 0.0;
    {
        NetworkManager manager;
        buildByNames(manager, workload, workload.links, names);
        manager.cacheNodeNetwork(names[workload.sink]);
        library = usedMemory() - before;
    }
    const double between = usedMemory();
    LeanNetwork lean(workload);
    lean.store();
    const auto nodes = static_cast<double>(workload.size());
    return {library / nodes, {{"lean", (usedMemory() - between) / nodes}}, "bytes/node", true};
}

void addCase(const char* operation, const std::string& kind, const std::string& size,
             void (*fill)(const Workload&, Case&)) {
    addLine(operation + ("/" + kind + "/" + size), roundsFor(size, size == "1k" ? manyRounds : fewRounds), [=] {
        const Workload& workload = workloadOf(kind, size);
        Case compared;
        compared.units = static_cast<double>(workload.size());
        fill(workload, compared);
        return compared;
    });
}

}  // namespace

void addBuildingLines(const std::string& kind, const std::string& size) {
    addCase("build", kind, size, [](const Workload& workload, Case& compared) {
        compared.subject = buildSide(workload, asListed(workload));
        compared.rivals.push_back({"lean", leanBuildSide(workload)});
    });
    addCase("build_reverse", kind, size, [](const Workload& workload, Case& compared) {
        compared.subject = buildSide(workload, reversed(workload));
        compared.rivals.push_back({"in_order", buildSide(workload, asListed(workload))});
    });
    addCase("build_random", kind, size, [](const Workload& workload, Case& compared) {
        compared.subject = buildSide(workload, shuffled(workload));
        compared.rivals.push_back({"in_order", buildSide(workload, asListed(workload))});
    });
    addCase("copy", kind, size, [](const Workload& workload, Case& compared) {
        auto slot = makeSlot<NetworkManager>();
        compared.subject = {emptying(slot),
                            [slot, from = original(workload)] { *slot = std::make_unique<NetworkManager>(*from); },
                            nullptr};
        // The lean design has no copying of its own; it is made anew, which is no less than that.
        compared.rivals.push_back({"lean_build", leanBuildSide(workload)});
    });
    addCase("destroy", kind, size, [](const Workload& workload, Case& compared) {
        auto slot = makeSlot<NetworkManager>();
        auto leanSlot = makeSlot<LeanNetwork>();
        compared.subject = {[slot, from = original(workload)] { *slot = std::make_unique<NetworkManager>(*from); },
                            emptying(slot), nullptr};
        compared.rivals.push_back({"lean",
                                   {[leanSlot, &workload] { *leanSlot = std::make_unique<LeanNetwork>(workload); },
                                    emptying(leanSlot), nullptr}});
    });
    addCase("delete_one_by_one", kind, size, [](const Workload& workload, Case& compared) {
        auto slot = makeSlot<NetworkManager>();
        compared.subject = {[slot, from = original(workload)] { *slot = std::make_unique<NetworkManager>(*from); },
                            [slot, names = makeNames(workload.size())] {
                                for (const std::string& name : names) {
                                    (*slot)->deleteNode(name);
                                }
                            },
                            [slot] { return (*slot)->getNodeNames().empty(); }};
    });
    addAmounts("bytes/" + kind + "/" + size, [=] { return countBytes(workloadOf(kind, size)); });
}

}  // namespace bench
