#pragma once

#include <TessilGraph/graph/NodeTraits.h>
#include <TessilGraph/graph/internal/Access.h>

#include <atomic>
#include <cstdint>

namespace TessilGraph::internal {

/// The traits of a node's class as the node keeps them, so that walks need not look them up.
class TraitsByte {
public:
    static TraitsByte of(const Node& node) {
        std::atomic<std::uint8_t>& kept = Access::traits(node);
        TraitsByte byte(kept.load(std::memory_order_relaxed));
        if (byte.bits_ == 0) {
            byte = find(node);
            kept.store(byte.bits_, std::memory_order_relaxed);
        }
        return byte;
    }

    bool keepsState() const { return (bits_ & keepsStateBit) != 0; }
    bool alone() const { return (bits_ & aloneBit) != 0; }
    bool pure() const { return (bits_ & pureBit) != 0; }
    NodeTraits traits() const { return {keepsState(), (bits_ & keepsOutputsBit) != 0, alone(), pure()}; }

private:
    static constexpr unsigned int knownBit = 1;  ///< Somebody has asked.
    static constexpr unsigned int keepsStateBit = 2;
    static constexpr unsigned int aloneBit = 4;
    static constexpr unsigned int pureBit = 8;
    static constexpr unsigned int keepsOutputsBit = 16;

    explicit TraitsByte(std::uint8_t bits) : bits_(bits) {}
    explicit TraitsByte(NodeTraits traits)
        : bits_(static_cast<std::uint8_t>(knownBit | (traits.keepsState ? keepsStateBit : 0) |
                                          (traits.keepsOutputs ? keepsOutputsBit : 0) | (traits.alone ? aloneBit : 0) |
                                          (traits.pure ? pureBit : 0))) {}

    static TraitsByte find(const Node& node);

    std::uint8_t bits_;
};

}  // namespace TessilGraph::internal
