#include <TessilGraph/nodes/NodeShape.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/Counterpart.h>

#include <cstddef>
#include <memory>

namespace TessilGraph {

using internal::Access;

Node* copyUnconnected(Node& node, Node* copy) {
    if (copy == nullptr) {
        return nullptr;
    }
    std::unique_ptr<Node> owner(copy);
    copy->setName(Access::name(node));
    const PortRange targets = Access::inputs(*copy);
    std::size_t place = 0;
    for (Port* port : Access::inputs(node)) {
        const std::size_t here = place++;
        if (port == nullptr || !Access::connectionList(*port).empty()) {
            continue;
        }
        Port* target = internal::counterpart(targets, here, *port);
        // Ports come and go on a living node. Where one of another type took the place, the clone's keeps its default.
        if (target != nullptr && Access::haveSameType(*target, *port)) {
            target->copyValue(port);
        }
    }
    return owner.release();
}

}  // namespace TessilGraph
