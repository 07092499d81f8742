#pragma once

#include <TessilGraph/graph/internal/Access.h>

#include <cstddef>

namespace TessilGraph::internal {

/// Among the ports of a copy, the one that stands at the place of the original if it has the same name;
/// else the first one of that name; null when there is none.
inline Port* counterpart(PortRange ports, std::size_t place, const Port& original) {
    const auto isIt = [&original](const Port* port) {
        return port != nullptr && Access::portName(*port).isSameAs(Access::portName(original));
    };
    if (place < ports.size() && isIt(ports[place])) {
        return ports[place];
    }
    for (Port* port : ports) {
        if (isIt(port)) {
            return port;
        }
    }
    return nullptr;
}

}  // namespace TessilGraph::internal
