#include <benchmarks/FlatLoop.h>

#include <benchmarks/Mathematics.h>

namespace bench {

using Imath::M44d;
using Imath::V3d;

namespace {

/// The number of the joint, over all characters, to which one of its ten nodes belongs.
std::uint32_t jointOf(std::uint32_t node) {
    return node / 879 * 80 + node % 879 / 10;
}

}  // namespace

FlatLoop::FlatLoop(const Workload& workload) : workload_(workload) {
    const auto size = static_cast<std::uint32_t>(workload.size());
    if (workload.isRig()) {
        for (const std::uint32_t joint : workload.all) {
            angles_.push_back(workload.touchValue(joint, 0));
        }
        // The fourth node of a joint reads that of its parent, and 879 nodes make a character of 80.
        parents_.assign(angles_.size(), ~std::uint32_t{0});
        for (const Link& link : workload.links) {
            const bool isWorld = workload.kinds[link.target] == Kind::multiplyMatrix && link.target % 879 % 10 == 3;
            if (isWorld && link.input == 1) {
                parents_[jointOf(link.target)] = jointOf(link.source);
            }
        }
        worlds_.resize(angles_.size());
        return;
    }
    values_.assign(std::size_t{3} * size, 0.0);
    for (std::uint32_t node = 0; node < size; ++node) {
        entries_.push_back({size + 2 * node, size + 2 * node + 1});
        if (stretches_.empty() || stretches_.back().kind != workload.kinds[node]) {
            stretches_.push_back({workload.kinds[node], 0});
        }
        stretches_.back().end = node + 1;
    }
    for (const Link& link : workload.links) {
        (link.input == 0 ? entries_[link.target].in1 : entries_[link.target].in2) = link.source;
    }
    for (const Constant& constant : workload.constants) {
        values_[size + 2 * constant.node + constant.input] = constant.value.x;
    }
}

void FlatLoop::touch(std::uint32_t node, const V3d& value) {
    if (workload_.isRig()) {
        angles_[jointOf(node)] = value;
    } else {
        values_[workload_.size() + 2 * node + Workload::touchedInput] = value.x;
    }
}

void FlatLoop::run() {
    if (workload_.isRig()) {
        runRig();
    } else {
        runDoubles();
    }
}

void FlatLoop::runDoubles() {
    double* const values = values_.data();
    std::uint32_t node = 0;
    for (const Stretch& stretch : stretches_) {
        if (stretch.kind == Kind::addDouble) {
            for (; node < stretch.end; ++node) {
                values[node] = values[entries_[node].in1] + values[entries_[node].in2];
            }
        } else if (stretch.kind == Kind::slowAdd) {
            for (; node < stretch.end; ++node) {
                values[node] = slowSum(values[entries_[node].in1], values[entries_[node].in2]);
            }
        } else {
            for (; node < stretch.end; ++node) {
                values[node] = smaller(values[entries_[node].in1], values[entries_[node].in2]);
            }
        }
    }
    sink_ = V3d(values[workload_.sink], 0.0, 0.0);
}

void FlatLoop::runRig() {
    const M44d identity;
    const auto reduce = [this](std::size_t from) {
        while (results_.size() - from > 1) {
            std::size_t to = from;
            for (std::size_t i = from; i < results_.size(); i += 2) {
                results_[to++] = i + 1 < results_.size() ? results_[i] + results_[i + 1] : results_[i];
            }
            results_.resize(to);
        }
    };
    results_.clear();
    for (std::size_t joint = 0; joint < angles_.size(); ++joint) {
        const M44d local = product(rotation(angles_[joint]), translation(V3d(1.0, 0.5, 0.25)));
        const bool isRoot = parents_[joint] == ~std::uint32_t{0};
        worlds_[joint] = product(local, isRoot ? identity : worlds_[parents_[joint]]);
        const Parts parts = decompose(worlds_[joint]);
        const V3d& at = parts.translate;
        const double parameter = at.y > 0.0 ? at.x + at.z : at.y;
        results_.push_back(blend(parts.translate, parts.rotate, parameter));
        if (joint % 80 == 79) {
            reduce(joint / 80);
        }
    }
    reduce(0);
    sink_ = results_.front();
}

}  // namespace bench
