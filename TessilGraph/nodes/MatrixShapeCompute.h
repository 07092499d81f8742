#pragma once

#include <TessilGraph/nodes/MatrixShapes.h>

namespace TessilGraph {

// The compute of the matrix shapes, for the sources that make or register nodes of their own of these
// shapes. It stands apart from the classes so that including a family's header never compiles a
// built-in node's compute anew, with other compiler flags than the library's.

template <class N, class Out>
bool MatrixNode<N, Out>::compute(const ComputeData*) {
    out_->set(N::evaluate(matrix_->getRef()));
    return true;
}

template <class N, class Matrix, class Scalar, class Out>
bool MatrixScalarNode<N, Matrix, Scalar, Out>::compute(const ComputeData*) {
    out_->set(N::evaluate(matrix_->getRef(), double_->getRef()));
    return true;
}

template <class N, class Matrix, class Vector, class Out>
bool MatrixVectorNode<N, Matrix, Vector, Out>::compute(const ComputeData*) {
    out_->set(N::evaluate(matrix_->getRef(), vector_->getRef()));
    return true;
}

}  // namespace TessilGraph
