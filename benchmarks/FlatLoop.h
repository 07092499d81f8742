#pragma once

#include <benchmarks/Workloads.h>

#include <Imath/ImathMatrix.h>
#include <Imath/ImathVec.h>

#include <cstdint>
#include <vector>

namespace bench {

/// The same mathematics in straight loops over arrays, without nodes and flags: the value that every
/// other way must give, and the time that nothing with nodes gets below.
class FlatLoop {
public:
    explicit FlatLoop(const Workload& workload);

    void touch(std::uint32_t node, const Imath::V3d& value);
    void run();
    Imath::V3d sinkValue() const { return sink_; }

private:
    void runDoubles();
    void runRig();

    struct Entry {
        std::uint32_t in1;
        std::uint32_t in2;
    };
    /// Nodes of one kind, or of two in turn.
    struct Stretch {
        Kind first;
        Kind second;
        std::uint32_t end;
    };

    void findStretches();
    template <class First, class Second>
    void run(std::uint32_t from, std::uint32_t to, First first, Second second);

    const Workload& workload_;
    std::vector<Entry> entries_;  ///< Doubles: where in values_ a node finds its inputs.
    std::vector<Stretch> stretches_;
    std::vector<double> values_;      ///< Doubles: outputs, then the unconnected inputs.
    std::vector<Imath::V3d> angles_;  ///< Rig: of each joint.
    std::vector<std::uint32_t> parents_;
    std::vector<Imath::V3d> results_;
    std::vector<Imath::M44d> worlds_;
    Imath::V3d sink_{0.0};
};

}  // namespace bench
