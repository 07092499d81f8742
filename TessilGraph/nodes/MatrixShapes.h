#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/nodes/NodeShape.h>

#include <Imath/ImathMatrix.h>
#include <Imath/ImathVec.h>

namespace TessilGraph {

/// @file
/// Shapes of nodes with a matrix input. Like those of NodeShape.h they serve hosts as well: the source in
/// which a host instantiates a class of its own on one of them includes
/// <TessilGraph/nodes/MatrixShapeCompute.h>.
///
/// Threads: all of them as `UnaryNode`.

/// A node with the input "matrix" and the output "out" = N::evaluate(matrix).
template <class N, class Out>
class TESSILGRAPH_API MatrixNode : public NodeShape<N> {
public:
    PortTemplate<Imath::M44d>* matrixPort() const { return matrix_; }
    PortTemplate<Out>* outputPort() const { return out_; }
    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Imath::M44d>* matrix_ = addInput<Imath::M44d>(*this, "matrix");
    PortTemplate<Out>* out_ = addOutput<Out>(*this, "out");
};

/// A node with the inputs "matrix" and "double" and the output "out" = N::evaluate(matrix, scalar).
template <class N, class Matrix, class Scalar, class Out>
class TESSILGRAPH_API MatrixScalarNode : public NodeShape<N> {
public:
    PortTemplate<Matrix>* matrixPort() const { return matrix_; }
    PortTemplate<Scalar>* doublePort() const { return double_; }
    PortTemplate<Out>* outputPort() const { return out_; }
    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Matrix>* matrix_ = addInput<Matrix>(*this, "matrix");
    PortTemplate<Scalar>* double_ = addInput<Scalar>(*this, "double");
    PortTemplate<Out>* out_ = addOutput<Out>(*this, "out");
};

/// A node with the inputs "matrix" and "vector" and the output "out" = N::evaluate(matrix, vector).
template <class N, class Matrix, class Vector, class Out>
class TESSILGRAPH_API MatrixVectorNode : public NodeShape<N> {
public:
    PortTemplate<Matrix>* matrixPort() const { return matrix_; }
    PortTemplate<Vector>* vectorPort() const { return vector_; }
    PortTemplate<Out>* outputPort() const { return out_; }
    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Matrix>* matrix_ = addInput<Matrix>(*this, "matrix");
    PortTemplate<Vector>* vector_ = addInput<Vector>(*this, "vector");
    PortTemplate<Out>* out_ = addOutput<Out>(*this, "out");
};

}  // namespace TessilGraph
