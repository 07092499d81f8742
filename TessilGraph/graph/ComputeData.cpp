#include <TessilGraph/graph/ComputeData.h>

namespace TessilGraph {

ComputeData::~ComputeData() = default;

}  // namespace TessilGraph
