#include <TessilGraph/graph/initTessilGraph.h>

#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/nodes/BlendVectors.h>
#include <TessilGraph/nodes/ClosestPointOnCurve.h>
#include <TessilGraph/nodes/CompareNodes.h>
#include <TessilGraph/nodes/IfNodes.h>
#include <TessilGraph/nodes/MathNodes.h>
#include <TessilGraph/nodes/MatrixNodes.h>
#include <TessilGraph/nodes/MeshRayCast.h>
#include <TessilGraph/nodes/UtilsNodes.h>
#include <TessilGraph/nodes/VectorNodes.h>

#include <cstddef>

namespace TessilGraph {

void initTessilGraph() {
    static bool toBeInitialised = true;
    if (!toBeInitialised) {
        return;
    }
    auto& creators = internal::Access::creators(NodeFactory::instance());
    const std::size_t before = creators.size();
    try {
        registerDefaultNodes();
    } catch (...) {
        creators.keepFirst(before);  // So that the next call finds nothing that is registered already.
        throw;
    }
    toBeInitialised = false;
}

void registerDefaultNodes() {
    registerUtilsNodes();
    registerMathNodes();
    registerVectorNodes();
    registerMatrixNodes();
    registerClosetPointOnCurveNode();
    registerMeshRayCastNode();
    registerBlendVectorsNode();
    registerCompareNodes();
    registerIfNodes();
}

}  // namespace TessilGraph
