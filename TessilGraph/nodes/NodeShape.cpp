#include <TessilGraph/nodes/NodeShape.h>

#include <TessilGraph/graph/internal/Access.h>

namespace TessilGraph {

using internal::Access;

Node* copyUnconnected(Node& node, Node* copy) {
    if (copy == nullptr) {
        return nullptr;
    }
    std::unique_ptr<Node> owner(copy);
    copy->setName(node.name());
    for (Port* port : Access::inputs(node)) {
        if (port == nullptr || port->numConnections() != 0) {
            continue;
        }
        Port* target = copy->getInputPort(Access::name(*port));
        // Ports come and go on a living node, and copyValue trusts its caller with the type.
        if (target != nullptr && Access::haveSameType(*target, *port)) {
            target->copyValue(port);
        }
    }
    return owner.release();
}

}  // namespace TessilGraph
