#pragma once

#include <cstddef>
#include <cstdint>
#include <typeinfo>

namespace TessilGraph {

class Node;
class Port;

namespace internal {

/// Where a value stands among those that plans and prepared networks use, in units of `placeSize` bytes.
using Place = std::uint32_t;
inline constexpr std::size_t placeSize = 8;

/// Computes a node from the places of its values alone: those that its inputs show, then those of its
/// outputs. Returns where the places end.
using KernelFunction = const Place* (*)(const Place* places, unsigned char* values);

/// What `compute` of one node class comes to when it is known where the values stand.
struct Kernel {
    static constexpr std::size_t maxPorts = 8;
    static constexpr std::size_t maxOutputBytes = 256;

    KernelFunction function;
    std::size_t inputs;
    std::size_t outputs;
    std::size_t outputBytes;  ///< Of the places of all outputs.

    /// The ports that `compute` uses, inputs first, in the order of the places. They may be gone: only to
    /// be compared with those that the node still holds.
    void (*ports)(const Node& node, const Port** ports);
};

/// Enters the kernel of a node class. The first one that a class is given counts.
void addKernel(const std::type_info& nodeClass, const Kernel& kernel);

/// The kernel of the very class of a node; null when there is none, as for every class of a host. Valid
/// for good.
const Kernel* findKernel(const Node& node);

}  // namespace internal
}  // namespace TessilGraph
