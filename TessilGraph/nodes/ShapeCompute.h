#pragma once

#include <TessilGraph/nodes/EvaluateOnce.h>
#include <TessilGraph/nodes/NodeShape.h>

namespace TessilGraph {

/// @file
/// The compute of the shapes, for the one source in which a host instantiates node classes of its own on
/// UnaryNode or BinaryNode; nothing else includes this. It stands apart from the classes, and from
/// TessilGraph.h, so that using a built-in node never compiles its compute anew, with other compiler
/// flags than the library's.
///
/// The library is compiled without fused multiply-add, so that its figures do not depend on the processor or
/// on optimisation. For the same of a host's own rules, compile that source with -ffp-contract=off, and with
/// g++ with -fno-tree-slp-vectorize where they convert between float and double; never with -ffast-math.
///
/// Threads: `compute` as in `Node`; it calls `evaluate` without a lock, and so on several threads at once.

template <class N, class In, class Out>
bool UnaryNode<N, In, Out>::compute(const ComputeData*) {
    out_->set(internal::evaluateOnce<N>(in_->getRef()));
    return true;
}

template <class N, class In1, class In2, class Out>
bool BinaryNode<N, In1, In2, Out>::compute(const ComputeData*) {
    const In2& in2 = in2_->getRef();
    const In1& in1 = in1_->getRef();
    out_->set(internal::evaluateOnce<N>(in1, in2));
    return true;
}

}  // namespace TessilGraph
