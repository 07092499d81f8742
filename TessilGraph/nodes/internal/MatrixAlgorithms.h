#pragma once

namespace TessilGraph::internal {

/// The part of `registerMatrixNodes` that concerns MatrixAlgorithmNodes.h.
void registerMatrixAlgorithmNodes();

}  // namespace TessilGraph::internal
