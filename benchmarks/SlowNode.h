#pragma once

#include <TessilGraph/TessilGraph.h>

#include <atomic>
#include <cstdint>

namespace bench {

/// A host's node: adds, and takes some twenty microseconds for it. Counts how often it was asked.
class SlowAdd : public TessilGraph::NodeShape<SlowAdd> {
public:
    bool compute(const TessilGraph::ComputeData* data) override;

    static std::atomic<std::uint64_t> computes;

private:
    TessilGraph::PortTemplate<double>* in1_ = TessilGraph::addInput<double>(*this, "in1");
    TessilGraph::PortTemplate<double>* in2_ = TessilGraph::addInput<double>(*this, "in2");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

}  // namespace bench

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<bench::SlowAdd>{"SlowAdd", 1001};
