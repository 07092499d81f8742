#include <benchmarks/SlowNode.h>

#include <benchmarks/Mathematics.h>

namespace bench {

std::atomic<std::uint64_t> SlowAdd::computes{0};

bool SlowAdd::compute(const TessilGraph::ComputeData*) {
    computes.fetch_add(1, std::memory_order_relaxed);
    out_->set(slowSum(in1_->get(), in2_->get()));
    return true;
}

}  // namespace bench
