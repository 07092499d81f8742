#pragma once

#include <Imath/ImathVec.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// What a node of a workload computes.
enum class Kind : std::uint8_t {
    addDouble,
    minDouble,
    setRotation,
    setTranslation,
    multiplyMatrix,
    extractSHRT,
    vectorToDouble,
    compareDouble,
    ifDouble,
    blendVectors,
    addVector,
    slowAdd
};

/// What the library calls a kind and its ports.
struct KindNames {
    const char* type;
    std::array<const char*, 3> inputs;
    std::array<const char*, 4> outputs;
};

const KindNames& namesOf(Kind kind);

/// A link between two nodes, by their numbers and the places of their ports.
struct Link {
    std::uint32_t source;
    std::uint32_t output;
    std::uint32_t target;
    std::uint32_t input;
};

/// The value of an unconnected input. Doubles stand in x.
struct Constant {
    std::uint32_t node;
    std::uint32_t input;
    Imath::V3d value;
};

/// A network as a list: nodes in the order in which they are created, which is also an order in
/// which they can be computed.
struct Workload {
    std::string name;         ///< With the size: "dag/10k".
    std::vector<Kind> kinds;  ///< One per node.
    std::vector<Link> links;  ///< By target ascending.
    std::vector<Constant> constants;
    std::uint32_t sink = 0;
    std::uint32_t few = 0;           ///< Setting this node's input reaches some twenty nodes.
    std::vector<std::uint32_t> all;  ///< Setting these reaches all, or nearly all.

    static constexpr std::uint32_t touchedInput = 1;  ///< The place of the input that is set at those.

    std::size_t size() const { return kinds.size(); }
    bool isRig() const { return kinds.front() == Kind::setRotation; }

    /// What the touched input is set to at the given step: a row of a hundred and one different values,
    /// the first the one that it starts with.
    Imath::V3d touchValue(std::uint32_t node, std::uint32_t step) const;
};

inline constexpr std::array<const char*, 5> workloadNames = {"chain", "fan", "ladder", "dag", "rig"};

/// "chain", "fan", "ladder", "dag" or "rig" at "1k", "10k", "100k" or "1M", or twenty characters of the
/// rig, which are "17.6k"; with "slow_" before the first four, every node is a slow addition. Ends the
/// program for others.
Workload makeWorkload(const std::string& kind, const std::string& size);

/// SplitMix64.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next();
    std::uint32_t below(std::size_t n) { return static_cast<std::uint32_t>(next() % n); }

    /// From [0, 1).
    double unit() { return static_cast<double>(next() >> 11) * 0x1p-53; }

    template <class T>
    void shuffle(std::vector<T>& list) {
        for (std::size_t i = list.size(); i-- > 1;) {
            std::swap(list[i], list[below(i + 1)]);
        }
    }

private:
    std::uint64_t state_;
};

}  // namespace bench
