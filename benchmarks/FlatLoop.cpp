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
    }
    findStretches();
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

void FlatLoop::findStretches() {
    const std::vector<Kind>& kinds = workload_.kinds;
    std::size_t node = 0;
    while (node < kinds.size()) {
        const Kind first = kinds[node];
        const Kind second = node + 1 < kinds.size() ? kinds[node + 1] : first;
        const std::size_t begin = node;
        while (node < kinds.size() && kinds[node] == ((node - begin) % 2 == 0 ? first : second)) {
            ++node;
        }
        stretches_.push_back({first, second, static_cast<std::uint32_t>(node)});
    }
}

template <class First, class Second>
void FlatLoop::run(std::uint32_t from, std::uint32_t to, First first, Second second) {
    double* const values = values_.data();
    const Entry* const entries = entries_.data();
    std::uint32_t node = from;
    for (; node + 1 < to; node += 2) {
        values[node] = first(values[entries[node].in1], values[entries[node].in2]);
        values[node + 1] = second(values[entries[node + 1].in1], values[entries[node + 1].in2]);
    }
    if (node < to) {
        values[node] = first(values[entries[node].in1], values[entries[node].in2]);
    }
}

void FlatLoop::runDoubles() {
    const auto add = [](double in1, double in2) { return in1 + in2; };
    const auto least = [](double in1, double in2) { return smaller(in1, in2); };
    const auto slow = [](double in1, double in2) { return slowSum(in1, in2); };
    std::uint32_t node = 0;
    for (const Stretch& stretch : stretches_) {
        if (stretch.first == Kind::slowAdd) {
            run(node, stretch.end, slow, slow);
        } else if (stretch.first == stretch.second) {
            stretch.first == Kind::addDouble ? run(node, stretch.end, add, add) : run(node, stretch.end, least, least);
        } else if (stretch.first == Kind::addDouble) {
            run(node, stretch.end, add, least);
        } else {
            run(node, stretch.end, least, add);
        }
        node = stretch.end;
    }
    sink_ = V3d(values_[workload_.sink], 0.0, 0.0);
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
