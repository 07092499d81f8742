#pragma once

/// @file
/// Everything the library offers to a host that uses its nodes, in one line: every public header but
/// ShapeCompute.h and MatrixShapeCompute.h. These two hold the compute of the shapes; wherever they are
/// in sight, a built-in node that is made there has its compute compiled anew. Only the source in which
/// a host instantiates node classes of its own includes them.
///
/// Threads: the first `initTessilGraph` returns before any other use begins; the rest stands with each thing.

#include <TessilGraph/Export.h>
#include <TessilGraph/Version.h>
#include <TessilGraph/exec/CancelToken.h>
#include <TessilGraph/exec/Frames.h>
#include <TessilGraph/exec/PreparedEvaluation.h>
#include <TessilGraph/graph/ComputeData.h>
#include <TessilGraph/graph/NetworkManager.h>
#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/NodeMemory.h>
#include <TessilGraph/graph/NodeTraits.h>
#include <TessilGraph/graph/Port.h>
#include <TessilGraph/graph/PortList.h>
#include <TessilGraph/graph/PortName.h>
#include <TessilGraph/graph/PortTemplate.h>
#include <TessilGraph/graph/initTessilGraph.h>
#include <TessilGraph/nodes/BlendVectors.h>
#include <TessilGraph/nodes/ClosestPointOnCurve.h>
#include <TessilGraph/nodes/CompareNodes.h>
#include <TessilGraph/nodes/EvaluateOnce.h>
#include <TessilGraph/nodes/IfNodes.h>
#include <TessilGraph/nodes/MathNodes.h>
#include <TessilGraph/nodes/MatrixAlgorithmNodes.h>
#include <TessilGraph/nodes/MatrixNodes.h>
#include <TessilGraph/nodes/MatrixShapes.h>
#include <TessilGraph/nodes/MeshRayCast.h>
#include <TessilGraph/nodes/NodeShape.h>
#include <TessilGraph/nodes/UtilsNodes.h>
#include <TessilGraph/nodes/VectorNodes.h>
