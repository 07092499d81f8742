#pragma once

#include <TessilGraph/nodes/EvaluateOnce.h>
#include <TessilGraph/nodes/MatrixShapes.h>

namespace TessilGraph {

/// @file
/// The compute of the matrix shapes, for the one source in which a host instantiates node classes of its
/// own on MatrixNode, MatrixScalarNode or MatrixVectorNode; nothing else includes this. It stands apart
/// from the classes, and from TessilGraph.h, so that using a built-in node never compiles its compute
/// anew, with other compiler flags than the library's.
///
/// The library is compiled without fused multiply-add, so that its figures do not depend on the processor or
/// on optimisation. For the same of a host's own rules, compile that source with -ffp-contract=off, and with
/// g++ with -fno-tree-slp-vectorize where they convert between float and double; never with -ffast-math.
///
/// Threads: `compute` as in `Node`; it calls `evaluate` without a lock, and so on several threads at once.

template <class N, class Out>
bool MatrixNode<N, Out>::compute(const ComputeData*) {
    out_->set(internal::evaluateOnce<N>(matrix_->getRef()));
    return true;
}

template <class N, class Matrix, class Scalar, class Out>
bool MatrixScalarNode<N, Matrix, Scalar, Out>::compute(const ComputeData*) {
    out_->set(internal::evaluateOnce<N>(matrix_->getRef(), double_->getRef()));
    return true;
}

template <class N, class Matrix, class Vector, class Out>
bool MatrixVectorNode<N, Matrix, Vector, Out>::compute(const ComputeData*) {
    out_->set(internal::evaluateOnce<N>(matrix_->getRef(), vector_->getRef()));
    return true;
}

}  // namespace TessilGraph
