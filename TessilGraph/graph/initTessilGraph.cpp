#include <TessilGraph/graph/initTessilGraph.h>

#include <TessilGraph/nodes/BlendVectors.h>
#include <TessilGraph/nodes/ClosestPointOnCurve.h>
#include <TessilGraph/nodes/CompareNodes.h>
#include <TessilGraph/nodes/IfNodes.h>
#include <TessilGraph/nodes/MathNodes.h>
#include <TessilGraph/nodes/MatrixNodes.h>
#include <TessilGraph/nodes/MeshRayCast.h>
#include <TessilGraph/nodes/UtilsNodes.h>
#include <TessilGraph/nodes/VectorNodes.h>

namespace TessilGraph {

void initTessilGraph() {
    static bool toBeInitialised = true;
    if (toBeInitialised) {
        registerDefaultNodes();
        toBeInitialised = false;
    }
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
