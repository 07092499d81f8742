#pragma once

#include <tools/host/LogCapture.h>
#include <tools/host/PortValues.h>

#include <TessilGraph/graph/NetworkManager.h>

#include <memory>
#include <string>
#include <vector>

namespace TessilHost {

/// A network and the curves and meshes that its ports refer to.
struct Network {
    Geometry geometry;
    TessilGraph::NetworkManager manager;
    std::vector<std::string> objFiles;  ///< What the meshes were read from.
};

/// Builds the network that the file at `path` describes (docs/network-file.md). Throws `UserError`
/// with one line that names file, place and reason; `log` lends it the library's own words.
std::unique_ptr<Network> readNetworkFile(const std::string& path, LogCapture& log);

}  // namespace TessilHost
