#pragma once

// Two calls of a function that the compiler has inlined in two places need not agree on NaN: which of two
// NaNs comes out of a sum depends on the order of the operands, and that is the compiler's choice. What
// may be computed in more than one way, by a node's compute and without it, is marked so, to exist but
// once.
#if defined(__GNUC__) && !defined(__clang__)
#define TESSILGRAPH_ONE_BODY __attribute__((noipa))
#elif defined(__clang__)
#define TESSILGRAPH_ONE_BODY __attribute__((noinline))
#else
#define TESSILGRAPH_ONE_BODY
#endif

namespace TessilGraph::internal {

/// N::evaluate, the same machine code whoever calls.
///
/// Threads: any number at once.
template <class N, class... In>
TESSILGRAPH_ONE_BODY auto evaluateOnce(const In&... in) {
    return N::evaluate(in...);
}

}  // namespace TessilGraph::internal
