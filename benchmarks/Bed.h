#pragma once

#include <benchmarks/EngineNetwork.h>
#include <benchmarks/FlatLoop.h>
#include <benchmarks/FlowGraph.h>
#include <benchmarks/Lean.h>
#include <benchmarks/Workloads.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/// How often the inputs of a network were set. No two runs in a row set the same, and the values come
/// round so rarely that a run that computes nothing is found out.
struct Touches {
    std::uint32_t all = 0;
    std::uint32_t few = 0;
};

/// One workload as nodes of the library, as lean nodes, as a flow graph over these, and as a loop. Each
/// is made when it is asked for first and kept from line to line.
class Bed {
public:
    Bed(const std::string& kind, const std::string& size) : workload(makeWorkload(kind, size)) {}

    /// The bed of that workload; the one before it goes.
    static Bed& get(const std::string& kind, const std::string& size);

    EngineNetwork& engine();
    LeanNetwork& lean();
    FlatLoop& flat();
    FlowGraph& flow(int threads);

    /// Leaves the workload alone.
    void dropNetworks();

    /// Brings both networks up to date, whatever the line before left dirty.
    void settle();

    template <class Network>
    void touchFew(Network& network, Touches& touches) const {
        ++touches.few;
        network.touch(workload.few, workload.touchValue(workload.few, touches.few));
    }

    template <class Network>
    void touchAll(Network& network, Touches& touches) const {
        ++touches.all;
        for (const std::uint32_t node : workload.all) {
            network.touch(node, workload.touchValue(node, node == workload.few ? touches.few : touches.all));
        }
    }

    /// Sets the inputs and marks every single node dirty.
    template <class Network>
    void spoil(Network& network, Touches& touches) const {
        touchAll(network, touches);
        network.setAll(true);
    }

    template <class Network>
    void markAll(Network& network) const {
        for (const std::uint32_t node : workload.all) {
            network.mark(node);
        }
    }

    /// The nodes that a change of everything, or of little, reaches in a clean network. Leaves the lean
    /// network clean.
    std::vector<std::uint32_t> reachedByAll();
    std::vector<std::uint32_t> reachedByFew();
    double countAll() { return static_cast<double>(reachedByAll().size()); }
    double countFew() { return static_cast<double>(reachedByFew().size()); }

    /// The network is up to date and has come to the value of the loop.
    bool isEngineRight() { return isRight(engine(), engineTouches); }
    bool isLeanRight() { return isRight(lean(), leanTouches); }

    bool areDirtyAlike() { return engine().countDirty() == lean().countDirty(); }

    double size() const { return static_cast<double>(workload.size()); }

    const Workload workload;
    Touches engineTouches;
    Touches leanTouches;

private:
    template <class Network>
    bool isRight(const Network& network, const Touches& touches) {
        return !network.isSinkDirty() && network.sinkValue() == sinkOf(touches);
    }

    Imath::V3d sinkOf(const Touches& touches);
    std::vector<std::uint32_t> takeDirty();

    std::optional<EngineNetwork> engine_;
    std::optional<LeanNetwork> lean_;
    std::optional<FlatLoop> flat_;
    std::optional<FlowGraph> flow_;
    int flowThreads_ = 0;
};

}  // namespace bench
