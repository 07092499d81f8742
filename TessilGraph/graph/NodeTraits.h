#pragma once

#include <TessilGraph/Export.h>

#include <typeinfo>

namespace TessilGraph {

class Node;

/// What evaluation may rely on for the nodes of a class. A class of which nothing is declared keeps no
/// state and no outputs, gets on with others, and is not pure.
///
/// Threads: a value; any number may read it while nobody changes it.
struct NodeTraits {
    /// What `compute` writes depends on earlier calls, not on the inputs alone.
    bool keepsState = false;

    /// `compute` may leave outputs unwritten, so that they go on showing what an earlier call wrote.
    bool keepsOutputs = false;

    /// `compute` must not run beside that of any other node.
    bool alone = false;

    /// `compute` reads its inputs, writes its outputs and touches nothing else: called again with the
    /// same inputs it changes nothing, and nobody can tell how often it ran, or in which order with
    /// others. Classes that keep state or run alone are never taken for pure.
    bool pure = false;

    /// Whether all of this is false.
    constexpr bool none() const { return !keepsState && !keepsOutputs && !alone && !pure; }

    friend constexpr NodeTraits operator|(const NodeTraits& a, const NodeTraits& b) {
        return {a.keepsState || b.keepsState, a.keepsOutputs || b.keepsOutputs, a.alone || b.alone, a.pure || b.pure};
    }
};

// To be combined with |.
// clang-format off
inline constexpr NodeTraits statefulNode{true, false, false, false};
inline constexpr NodeTraits outputKeepingNode{false, true, false, false};
inline constexpr NodeTraits aloneNode{false, false, true, false};
inline constexpr NodeTraits pureNode{false, false, false, true};
// clang-format on

/// Says what may be relied on for nodes whose class is `type`, and for these only: classes that derive
/// from it are on their own. A second call replaces the first.
///
/// For node classes that stand outside of NodeShape.h; the others say it in their `typeInfo` row. Call
/// it before the first of these nodes is evaluated; nodes that have been keep to what held then.
///
/// Threads: any number at once.
TESSILGRAPH_API void declareNodeTraits(const std::type_info& type, NodeTraits traits);

/// What was declared of the node's own class. Not to be called from the node's constructor or destructor.
///
/// Threads: any number at once.
TESSILGRAPH_API NodeTraits traitsOf(const Node& node);

}  // namespace TessilGraph
