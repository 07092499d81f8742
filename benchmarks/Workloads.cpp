#include <benchmarks/Workloads.h>

#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <utility>

namespace bench {

namespace {

using Imath::V3d;

constexpr std::uint32_t in1 = 0;
constexpr std::uint32_t in2 = 1;
constexpr double sourceValue = 0.01;

/// Writes a workload down node by node.
class Builder {
public:
    Workload workload;

    std::uint32_t add(Kind kind) {
        workload.kinds.push_back(kind);
        return static_cast<std::uint32_t>(workload.kinds.size() - 1);
    }

    /// An addition of doubles whose in2 is not connected.
    std::uint32_t addSource() {
        const std::uint32_t node = add(Kind::addDouble);
        set(node, in2, V3d(sourceValue, 0.0, 0.0));
        return node;
    }

    void link(std::uint32_t source, std::uint32_t target, std::uint32_t input, std::uint32_t output = 0) {
        workload.links.push_back({source, output, target, input});
    }

    void set(std::uint32_t node, std::uint32_t input, const V3d& value) {
        workload.constants.push_back({node, input, value});
    }

    /// Adds up the outputs of `nodes` by pairs; an odd last one goes up a level as it is.
    std::uint32_t reduce(std::vector<std::uint32_t> nodes, Kind kind) {
        while (nodes.size() > 1) {
            std::vector<std::uint32_t> sums;
            for (std::size_t i = 0; i + 1 < nodes.size(); i += 2) {
                sums.push_back(add(kind));
                link(nodes[i], sums.back(), in1);
                link(nodes[i + 1], sums.back(), in2);
            }
            if (nodes.size() % 2 != 0) {
                sums.push_back(nodes.back());
            }
            nodes = std::move(sums);
        }
        return nodes.front();
    }
};

Workload chain(std::uint32_t n) {
    Builder builder;
    for (std::uint32_t i = 0; i < n; ++i) {
        builder.addSource();
        if (i > 0) {
            builder.link(i - 1, i, in1);
        }
    }
    builder.workload.sink = n - 1;
    builder.workload.few = n - 20;
    builder.workload.all = {0};
    return std::move(builder.workload);
}

Workload fan(std::uint32_t n) {
    Builder builder;
    const std::uint32_t source = builder.addSource();
    std::vector<std::uint32_t> readers;
    for (std::uint32_t i = 0; i < n / 2; ++i) {
        readers.push_back(builder.addSource());
        builder.link(source, readers.back(), in1);
    }
    builder.workload.few = readers.back();
    builder.workload.all = {source};
    builder.workload.sink = builder.reduce(readers, Kind::addDouble);
    return std::move(builder.workload);
}

Workload ladder(std::uint32_t n) {
    Builder builder;
    std::uint32_t first = builder.addSource();
    std::uint32_t second = first;
    builder.workload.all = {first};
    const std::uint32_t layers = (n - 1) / 2;
    for (std::uint32_t layer = 1; layer <= layers; ++layer) {
        const std::uint32_t above[2] = {first, second};
        first = builder.add(Kind::addDouble);
        second = builder.add(Kind::minDouble);  // keeps the values finite
        for (const std::uint32_t node : {first, second}) {
            builder.link(above[0], node, in1);
            builder.link(above[1], node, in2);
        }
        if (layer == layers - 10) {
            builder.workload.few = second;
        }
    }
    builder.workload.sink = first;
    return std::move(builder.workload);
}

Workload dag(std::uint32_t n) {
    const std::uint32_t layers = n <= 1000 ? 10 : 100;
    const std::uint32_t width = n / layers;
    Builder builder;
    Random random(12345);
    std::vector<std::uint32_t> above;
    for (std::uint32_t i = 0; i < width; ++i) {
        above.push_back(builder.addSource());
    }
    builder.workload.all = above;
    std::vector<std::uint32_t> order(width);
    for (std::uint32_t layer = 1; layer < layers; ++layer) {
        std::iota(order.begin(), order.end(), 0U);
        random.shuffle(order);
        std::vector<std::uint32_t> here;
        for (const std::uint32_t place : order) {
            here.push_back(builder.add(Kind::addDouble));
            builder.link(above[place], here.back(), in1);
            builder.link(above[random.below(width)], here.back(), in2);
        }
        above = std::move(here);
    }
    builder.workload.few = above.front();
    builder.workload.sink = builder.reduce(above, Kind::addDouble);
    return std::move(builder.workload);
}

Workload rig(std::uint32_t characters) {
    constexpr std::uint32_t joints = 80;
    Builder builder;
    Random random(777);
    std::vector<std::uint32_t> sums;
    for (std::uint32_t character = 0; character < characters; ++character) {
        std::vector<std::uint32_t> worlds;
        std::vector<std::uint32_t> results;
        for (std::uint32_t joint = 0; joint < joints; ++joint) {
            const std::uint32_t rotation = builder.add(Kind::setRotation);
            const std::uint32_t offset = builder.add(Kind::setTranslation);
            const std::uint32_t local = builder.add(Kind::multiplyMatrix);
            const std::uint32_t world = builder.add(Kind::multiplyMatrix);
            const std::uint32_t parts = builder.add(Kind::extractSHRT);
            const std::uint32_t split = builder.add(Kind::vectorToDouble);
            const std::uint32_t compare = builder.add(Kind::compareDouble);
            const std::uint32_t sum = builder.add(Kind::addDouble);
            const std::uint32_t choice = builder.add(Kind::ifDouble);
            const std::uint32_t blend = builder.add(Kind::blendVectors);

            const double j = joint;
            builder.set(rotation, 1, V3d(0.1 + 0.01 * j, 0.02 * j, -0.01 * j));
            builder.set(offset, 1, V3d(1.0, 0.5, 0.25));
            builder.set(compare, 2, V3d(3.0, 0.0, 0.0));  // greater than in2, which stays zero
            builder.workload.all.push_back(rotation);
            builder.workload.few = rotation;

            builder.link(rotation, local, in1);
            builder.link(offset, local, in2);
            builder.link(local, world, in1);
            if (joint > 0) {
                builder.link(worlds[joint - 1 - random.below(joint < 8 ? joint : 8)], world, in2);
            }
            builder.link(world, parts, 0);
            builder.link(parts, split, 0, 3);
            builder.link(split, compare, in1, 1);
            builder.link(split, sum, in1, 0);
            builder.link(split, sum, in2, 2);
            builder.link(compare, choice, 0);
            builder.link(sum, choice, 1);
            builder.link(split, choice, 2, 1);
            builder.link(parts, blend, 0, 3);
            builder.link(parts, blend, 1, 2);
            builder.link(choice, blend, 2);
            worlds.push_back(world);
            results.push_back(blend);
        }
        sums.push_back(builder.reduce(results, Kind::addVector));
    }
    builder.workload.sink = builder.reduce(sums, Kind::addVector);
    return std::move(builder.workload);
}

}  // namespace

const KindNames& namesOf(Kind kind) {
    static const KindNames names[] = {
        {"AddDouble", {"in1", "in2"}, {"out"}},
        {"MinDouble", {"in1", "in2"}, {"out"}},
        {"SetRotationMatrix", {"matrix", "vector"}, {"out"}},
        {"SetTranslationMatrix", {"matrix", "vector"}, {"out"}},
        {"MultiplyMatrix", {"in1", "in2"}, {"out"}},
        {"ExtractSHRTMatrix", {"matrix"}, {"scale", "shear", "rotate", "translate"}},
        {"VectorToDouble", {"vec"}, {"x", "y", "z"}},
        {"CompareDouble", {"in1", "in2", "operation"}, {"out"}},
        {"IfDouble", {"if", "in1", "in2"}, {"out"}},
        {"BlendVectors", {"inVector1", "inVector2", "inParameter"}, {"outVector"}},
        {"AddVector", {"in1", "in2"}, {"out"}},
        {"SlowAdd", {"in1", "in2"}, {"out"}},
    };
    return names[static_cast<std::size_t>(kind)];
}

Imath::V3d Workload::touchValue(std::uint32_t node, std::uint32_t step) const {
    const double change = 0.0001 * (step % 101);
    if (!isRig()) {
        return V3d(sourceValue + change, 0.0, 0.0);
    }
    // Ten nodes a joint, and the sums of 80 joints after those of each character.
    const auto place = node % 879 / 10;
    const auto joint = static_cast<double>(place);
    return V3d(0.1 + 0.01 * joint + change, 0.02 * joint, -0.01 * joint);
}

Workload makeWorkload(const std::string& kind, const std::string& size) {
    struct Size {
        const char* name;
        std::uint32_t nodes;  ///< 0: there is only a rig.
        std::uint32_t characters;
    };
    static constexpr Size sizes[] = {
        {"1k", 1000, 1}, {"10k", 10000, 11}, {"17.6k", 0, 20}, {"100k", 100000, 114}, {"1M", 1000000, 1136}};
    static const std::string slow = "slow_";
    const bool isSlow = kind.compare(0, slow.size(), slow) == 0;
    const std::string wiring = isSlow ? kind.substr(slow.size()) : kind;
    for (const Size& known : sizes) {
        if (size != known.name) {
            continue;
        }
        const bool isRig = wiring == "rig" && !isSlow;
        Workload workload = isRig                ? rig(known.characters)
                            : known.nodes == 0   ? Workload{}
                            : wiring == "chain"  ? chain(known.nodes)
                            : wiring == "fan"    ? fan(known.nodes)
                            : wiring == "ladder" ? ladder(known.nodes)
                            : wiring == "dag"    ? dag(known.nodes)
                                                 : Workload{};
        if (workload.kinds.empty()) {
            continue;
        }
        if (isSlow) {
            workload.kinds.assign(workload.size(), Kind::slowAdd);
        }
        workload.name = kind;
        workload.name.append("/").append(size);
        return workload;
    }
    std::fprintf(stderr, "there is no workload %s/%s\n", kind.c_str(), size.c_str());
    std::exit(2);
}

std::uint64_t Random::next() {
    state_ += 0x9e3779b97f4a7c15U;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
    return z ^ (z >> 31);
}

}  // namespace bench
