#include <benchmarks/EngineBenchmarks.h>

#include <benchmarks/EngineNetwork.h>
#include <benchmarks/Lean.h>
#include <benchmarks/Measure.h>
#include <benchmarks/Workloads.h>

#include <TessilGraph/TessilGraph.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include <malloc.h>

namespace bench {

namespace {

using TessilGraph::NetworkManager;

constexpr int rounds = 9;
constexpr int slowRounds = 5;

/// One workload as nodes of the library, as lean nodes and as loops, kept from line to line.
class Bed {
public:
    Bed(const std::string& kind, const std::string& size)
        : workload(makeWorkload(kind, size)), engine(workload), lean(workload), loop_(workload) {
        engine.setConstants();
        lean.setConstants();
        engine.store();
        lean.store();
        engine.evaluate();
        lean.evaluate();
    }

    /// The bed of that workload; the one before it goes.
    static Bed& get(const std::string& kind, const std::string& size) {
        static std::unique_ptr<Bed> bed;
        if (!bed || bed->workload.name != kind + "/" + size) {
            bed.reset();
            bed = std::make_unique<Bed>(kind, size);
        }
        return *bed;
    }

    /// How often the inputs of one network were set. No two runs in a row set the same, and the values
    /// come round so rarely that a run that computes nothing is found out.
    struct State {
        std::uint32_t all = 0;
        std::uint32_t few = 0;
    };

    template <class Network>
    void touchFew(Network& network, State& state) const {
        ++state.few;
        network.touch(workload.few, workload.touchValue(workload.few, state.few));
    }

    template <class Network>
    void touchAll(Network& network, State& state) const {
        ++state.all;
        for (const std::uint32_t node : workload.all) {
            network.touch(node, workload.touchValue(node, node == workload.few ? state.few : state.all));
        }
    }

    template <class Network>
    void markAll(Network& network) const {
        for (const std::uint32_t node : workload.all) {
            network.mark(node);
        }
    }

    /// The number of nodes that `mark` reaches from a clean network. Leaves the network clean.
    template <class Mark>
    double countReached(Mark mark) {
        lean.setAll(false);
        mark();
        const auto reached = static_cast<double>(lean.countDirty());
        lean.setAll(false);
        return reached;
    }

    /// Both networks have come to the values of the loop.
    bool isRight() { return sinkOf(engineState) == engine.sinkValue() && sinkOf(leanState) == lean.sinkValue(); }

    bool areDirtyAlike() const { return engine.countDirty() == lean.countDirty(); }

    /// Brings everything up to date, whatever the line before left dirty.
    void settle() {
        engine.setAll(true);
        engine.evaluate();
        engine.setAll(false);
        lean.setAll(true);
        lean.evaluate();
        lean.setAll(false);
    }

    Workload workload;
    EngineNetwork engine;
    LeanNetwork lean;
    State engineState;
    State leanState;

private:
    Imath::V3d sinkOf(const State& state) {
        for (const std::uint32_t node : workload.all) {
            loop_.touch(node, workload.touchValue(node, state.all));
        }
        loop_.touch(workload.few, workload.touchValue(workload.few, state.few));
        loop_.run();
        return loop_.sinkValue();
    }

    FlatLoop loop_;
};

void addEvaluation(const std::string& kind, const std::string& size) {
    const std::string suffix = "/" + kind + "/" + size;
    const auto addCase = [&](const char* operation, int roundCount, void (*fill)(Bed&, Case&)) {
        add(operation + suffix, roundCount, [=] {
            Bed& bed = Bed::get(kind, size);
            bed.settle();
            Case compared;
            compared.units = static_cast<double>(bed.workload.size());
            compared.isRight = [&bed] { return bed.isRight(); };
            fill(bed, compared);
            return compared;
        });
    };

    addCase("stored_all_dirty", rounds, [](Bed& bed, Case& compared) {
        compared.subject.prepare = [&bed] {
            bed.touchAll(bed.engine, bed.engineState);
            bed.engine.setAll(true);
        };
        compared.subject.run = [&bed] { bed.engine.replay(); };
        compared.baseline.prepare = [&bed] {
            bed.touchAll(bed.lean, bed.leanState);
            bed.lean.setAll(true);
        };
        compared.baseline.run = [&bed] { bed.lean.replay(); };
    });
    addCase("walk_all_dirty", rounds, [](Bed& bed, Case& compared) {
        compared.subject.prepare = [&bed] {
            bed.touchAll(bed.engine, bed.engineState);
            bed.engine.setAll(true);
        };
        compared.subject.run = [&bed] { bed.engine.evaluate(); };
        compared.baseline.prepare = [&bed] {
            bed.touchAll(bed.lean, bed.leanState);
            bed.lean.setAll(true);
        };
        compared.baseline.run = [&bed] { bed.lean.evaluate(); };
    });
    addCase("mark_all", rounds, [](Bed& bed, Case& compared) {
        compared.units = bed.countReached([&bed] { bed.markAll(bed.lean); });
        compared.subject.prepare = [&bed] { bed.engine.setAll(false); };
        compared.subject.run = [&bed] { bed.markAll(bed.engine); };
        compared.baseline.prepare = [&bed] { bed.lean.setAll(false); };
        compared.baseline.run = [&bed] { bed.markAll(bed.lean); };
        compared.isRight = [&bed] { return bed.areDirtyAlike(); };
    });
    addCase("mark_few", rounds, [](Bed& bed, Case& compared) {
        compared.units = bed.countReached([&bed] { bed.lean.mark(bed.workload.few); });
        compared.subject.prepare = [&bed] { bed.engine.setAll(false); };
        compared.subject.run = [&bed] { bed.engine.mark(bed.workload.few); };
        compared.baseline.prepare = [&bed] { bed.lean.setAll(false); };
        compared.baseline.run = [&bed] { bed.lean.mark(bed.workload.few); };
        compared.isRight = [&bed] { return bed.areDirtyAlike(); };
    });
    addCase("change_few", rounds, [](Bed& bed, Case& compared) {
        compared.units = bed.countReached([&bed] { bed.lean.mark(bed.workload.few); });
        compared.subject.run = [&bed] {
            bed.touchFew(bed.engine, bed.engineState);
            bed.engine.evaluate();
        };
        compared.baseline.run = [&bed] {
            bed.touchFew(bed.lean, bed.leanState);
            bed.lean.evaluate();
        };
    });
    addCase("change_all", rounds, [](Bed& bed, Case& compared) {
        compared.units = bed.countReached([&bed] { bed.markAll(bed.lean); });
        compared.subject.run = [&bed] {
            bed.touchAll(bed.engine, bed.engineState);
            bed.engine.evaluate();
        };
        compared.baseline.run = [&bed] {
            bed.touchAll(bed.lean, bed.leanState);
            bed.lean.evaluate();
        };
    });
    addCase("stored_clean", rounds, [](Bed& bed, Case& compared) {
        compared.units = 1.0;
        compared.unit = "ns/call";
        compared.subject.run = [&bed] { bed.engine.replay(); };
        compared.baseline.run = [&bed] { bed.lean.replay(); };
    });
    addCase("walk_clean", rounds, [](Bed& bed, Case& compared) {
        compared.units = 1.0;
        compared.unit = "ns/call";
        compared.subject.run = [&bed] { bed.engine.evaluate(); };
    });
    if (size == "1k" || size == "10k") {
        addCase("level_walk", slowRounds, [](Bed& bed, Case& compared) {
            const auto prepare = [&bed] {
                bed.touchAll(bed.engine, bed.engineState);
                bed.engine.setAll(true);
            };
            compared.wallTime = true;
            compared.subject = {prepare, [&bed] { bed.engine.evaluateLevels(); }};
            compared.baseline = {prepare, [&bed] { bed.engine.evaluate(); }};
        });
    }
}

/// A network or the like that a run makes or takes apart.
template <class T>
struct Slot {
    std::unique_ptr<T> held;
};

void addBuilding(const std::string& kind, const std::string& size) {
    const std::string suffix = "/" + kind + "/" + size;
    const int roundCount = size == "1k" ? rounds : slowRounds;

    struct Orders {
        std::vector<Link> topological;
        std::vector<Link> reverse;
        std::vector<Link> random;
        std::vector<std::string> names;
    };
    const auto ordersOf = [](const Workload& workload) {
        auto orders = std::make_shared<Orders>();
        orders->topological = workload.links;
        orders->reverse.assign(workload.links.rbegin(), workload.links.rend());
        orders->random = workload.links;
        Random(99).shuffle(orders->random);
        orders->names = makeNames(workload.size());
        return orders;
    };
    const auto buildSide = [](const Workload& workload, std::shared_ptr<Orders> orders,
                              std::vector<Link> Orders::*links) {
        auto slot = std::make_shared<Slot<NetworkManager>>();
        return Side{[slot] { slot->held = std::make_unique<NetworkManager>(); },
                    [=, &workload] { buildByNames(*slot->held, workload, (*orders).*links, orders->names); }};
    };

    add("build" + suffix, roundCount, [=] {
        Bed& bed = Bed::get(kind, size);
        Case compared;
        compared.units = static_cast<double>(bed.workload.size());
        compared.subject = buildSide(bed.workload, ordersOf(bed.workload), &Orders::topological);
        auto slot = std::make_shared<Slot<LeanNetwork>>();
        compared.baseline = {[slot] { slot->held.reset(); },
                             [slot, &bed] { slot->held = std::make_unique<LeanNetwork>(bed.workload); }};
        return compared;
    });
    // What these are compared with is the library's own build in topological order.
    const auto addOrder = [&](const char* operation, std::vector<Link> Orders::*links) {
        add(operation + suffix, roundCount, [=] {
            Bed& bed = Bed::get(kind, size);
            const auto orders = ordersOf(bed.workload);
            Case compared;
            compared.units = static_cast<double>(bed.workload.size());
            compared.subject = buildSide(bed.workload, orders, links);
            compared.baseline = buildSide(bed.workload, orders, &Orders::topological);
            return compared;
        });
    };
    addOrder("build_reverse", &Orders::reverse);
    addOrder("build_random", &Orders::random);

    add("copy" + suffix, roundCount, [=] {
        Bed& bed = Bed::get(kind, size);
        Case compared;
        compared.units = static_cast<double>(bed.workload.size());
        auto slot = std::make_shared<Slot<NetworkManager>>();
        compared.subject = {[slot] { slot->held.reset(); },
                            [slot, &bed] { slot->held = std::make_unique<NetworkManager>(bed.engine.manager()); }};
        return compared;
    });
    add("destroy" + suffix, roundCount, [=] {
        Bed& bed = Bed::get(kind, size);
        Case compared;
        compared.units = static_cast<double>(bed.workload.size());
        auto slot = std::make_shared<Slot<NetworkManager>>();
        auto leanSlot = std::make_shared<Slot<LeanNetwork>>();
        compared.subject = {[slot, &bed] { slot->held = std::make_unique<NetworkManager>(bed.engine.manager()); },
                            [slot] { slot->held.reset(); }};
        compared.baseline = {[leanSlot, &bed] { leanSlot->held = std::make_unique<LeanNetwork>(bed.workload); },
                             [leanSlot] { leanSlot->held.reset(); }};
        return compared;
    });
    add("delete_one_by_one" + suffix, roundCount, [=] {
        Bed& bed = Bed::get(kind, size);
        Case compared;
        compared.units = static_cast<double>(bed.workload.size());
        auto slot = std::make_shared<Slot<NetworkManager>>();
        compared.subject = {[slot, &bed] { slot->held = std::make_unique<NetworkManager>(bed.engine.manager()); },
                            [slot, &bed] {
                                for (const std::string& name : bed.engine.names()) {
                                    slot->held->deleteNode(name);
                                }
                            }};
        return compared;
    });
    // With names, index and stored order; what malloc itself spends on a block counts.
    addAmounts("bytes" + suffix, [=] {
        const Bed& bed = Bed::get(kind, size);
        const auto orders = ordersOf(bed.workload);
        const auto used = [] {
            const struct mallinfo2 info = mallinfo2();
            return static_cast<double>(info.uordblks + info.hblkhd);
        };
        const double before = used();
        NetworkManager manager;
        buildByNames(manager, bed.workload, orders->topological, orders->names);
        manager.cacheNodeNetwork(orders->names[bed.workload.sink]);
        const double between = used();
        LeanNetwork lean(bed.workload);
        lean.store();
        const auto nodes = static_cast<double>(bed.workload.size());
        return Amounts{(between - before) / nodes, (used() - between) / nodes, "bytes/node"};
    });
}

void addNames(const std::string& size) {
    add("rename/chain/" + size, rounds, [=] {
        Bed& bed = Bed::get("chain", size);
        struct Renaming {
            std::unique_ptr<NetworkManager> manager;
            std::vector<std::string> names[2];
            bool back = false;
        };
        auto renaming = std::make_shared<Renaming>();
        renaming->manager = std::make_unique<NetworkManager>(bed.engine.manager());
        renaming->names[0] = bed.engine.names();
        renaming->names[1] = makeNames(bed.workload.size(), "x");
        Case compared;
        compared.units = static_cast<double>(bed.workload.size());
        compared.unit = "ns/call";
        compared.subject.run = [renaming] {
            const std::vector<std::string>& from = renaming->names[renaming->back ? 1 : 0];
            const std::vector<std::string>& to = renaming->names[renaming->back ? 0 : 1];
            for (std::size_t i = 0; i < from.size(); ++i) {
                renaming->manager->renameNode(from[i], to[i]);
            }
            renaming->back = !renaming->back;
        };
        compared.isRight = [renaming, size = bed.workload.size()] {
            return renaming->manager->getNodeNames().size() == size &&
                   renaming->manager->getNode(renaming->names[renaming->back ? 1 : 0].back()) != nullptr;
        };
        return compared;
    });
}

void addOneName() {
    add("one_name/16k", slowRounds, [] {
        constexpr std::size_t count = 16000;
        const auto side = [](std::vector<std::string> names, std::shared_ptr<Slot<NetworkManager>> slot) {
            return Side{[slot] { slot->held = std::make_unique<NetworkManager>(); },
                        [slot, names = std::move(names)] {
                            for (const std::string& name : names) {
                                slot->held->createNode("AddDouble", name);
                            }
                        }};
        };
        Case compared;
        compared.units = double{count};
        auto slot = std::make_shared<Slot<NetworkManager>>();
        compared.subject = side(std::vector<std::string>(count, "node"), slot);
        compared.baseline = side(makeNames(count, "node"), std::make_shared<Slot<NetworkManager>>());
        compared.isRight = [slot] { return slot->held->getNode("node" + std::to_string(count - 1)) != nullptr; };
        return compared;
    });
}

/// Adds, and takes some twenty microseconds for it. Counts how often it was asked.
class SlowAdd : public TessilGraph::NodeShape<SlowAdd> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        computes.fetch_add(1, std::memory_order_relaxed);
        out_->set(slowSum(in1_->get(), in2_->get()));
        return true;
    }

    static double slowSum(double in1, double in2) {
        double x = in1 + in2;
        for (int i = 0; i < 12000; ++i) {
            x = x * 0.999999 + 1e-6;
        }
        return x;
    }

    static std::atomic<std::uint64_t> computes;

private:
    TessilGraph::PortTemplate<double>* in1_ = TessilGraph::addInput<double>(*this, "in1");
    TessilGraph::PortTemplate<double>* in2_ = TessilGraph::addInput<double>(*this, "in2");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

std::atomic<std::uint64_t> SlowAdd::computes{0};

/// Compared with the same number of computes one after the other.
void addSlowLevels(const std::string& kind) {
    add("level_walk_20us/" + kind + "/1k", slowRounds, [=] {
        struct Slow {
            explicit Slow(const std::string& which) : workload(makeWorkload(which, "1k")), engine(workload, "SlowAdd") {
                engine.setConstants();
            }
            Workload workload;
            EngineNetwork engine;
            double sum = 0.0;
        };
        auto slow = std::make_shared<Slow>(kind);
        SlowAdd::computes = 0;
        slow->engine.evaluateLevels();
        const std::uint64_t computes = SlowAdd::computes;
        const Imath::V3d parallelValue = slow->engine.sinkValue();
        slow->engine.setAll(true);
        slow->engine.evaluate();
        const bool isRight = slow->engine.sinkValue() == parallelValue;

        Case compared;
        compared.wallTime = true;
        compared.units = static_cast<double>(computes);
        compared.unit = "ns/compute";
        compared.subject = {[slow] { slow->engine.setAll(true); }, [slow] { slow->engine.evaluateLevels(); }};
        compared.baseline.run = [slow, computes] {
            for (std::uint64_t i = 0; i < computes; ++i) {
                slow->sum += SlowAdd::slowSum(0.01, slow->sum);
            }
        };
        compared.isRight = [isRight] { return isRight; };
        return compared;
    });
}

}  // namespace
}  // namespace bench

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<bench::SlowAdd>{"SlowAdd", 1001};

namespace bench {

void addEngineBenchmarks(bool large) {
    TessilGraph::initTessilGraph();
    TessilGraph::registerNodes<SlowAdd>();

    std::vector<std::string> sizes = {"1k", "10k", "100k"};
    if (large) {
        sizes.emplace_back("1M");
    }
    for (const std::string& size : sizes) {
        for (const char* kind : {"chain", "fan", "ladder", "dag", "rig"}) {
            addEvaluation(kind, size);
            addBuilding(kind, size);
            if (std::string(kind) == "chain") {
                addNames(size);
            }
        }
    }
    addOneName();
    addSlowLevels("dag");
    addSlowLevels("fan");
}

}  // namespace bench
