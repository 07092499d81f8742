#include <TessilGraph/Version.h>

#include <string>

namespace TessilGraph {

std::string version() {
    return std::to_string(TESSILGRAPH_VERSION_MAJOR) + '.' + std::to_string(TESSILGRAPH_VERSION_MINOR) + '.' +
           std::to_string(TESSILGRAPH_VERSION_PATCH);
}

}  // namespace TessilGraph
