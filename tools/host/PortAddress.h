#pragma once

#include <TessilGraph/graph/NetworkManager.h>
#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/Port.h>

#include <string>
#include <string_view>

namespace TessilHost {

/// "NODE.PORT" in two halves. Neither is empty, and no port name has a dot in it.
struct PortAddress {
    /// Throws `ValueError` for a text that has not this form.
    static PortAddress parse(std::string_view text);

    std::string node;
    std::string port;
};

/// The node named `name`. Throws `ValueError` when `network` has none.
TessilGraph::Node& requireNode(TessilGraph::NetworkManager& network, const std::string& name);

/// The input of `node`, the output, and whichever of the two there is (the output first). Throw
/// `ValueError`, which lists the ports that there are.
TessilGraph::Port& requireInput(TessilGraph::Node& node, const std::string& port);
TessilGraph::Port& requireOutput(TessilGraph::Node& node, const std::string& port);
TessilGraph::Port& requirePort(TessilGraph::Node& node, const std::string& port);

}  // namespace TessilHost
