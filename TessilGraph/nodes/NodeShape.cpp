#include <TessilGraph/nodes/NodeShape.h>

namespace TessilGraph {

Node* copyUnconnected(Node& node, Node* copy) {
    if (copy == nullptr) {
        return nullptr;
    }
    std::unique_ptr<Node> owner(copy);
    copy->setName(node.name());
    for (auto port = node.inputPortBegin(); port != node.inputPortEnd(); ++port) {
        if (*port == nullptr || (*port)->numConnections() != 0) {
            continue;
        }
        Port* target = copy->getInputPort((*port)->name());
        // Ports come and go on a living node, and copyValue trusts its caller with the type.
        if (target != nullptr && target->typeStr() == (*port)->typeStr()) {
            target->copyValue(*port);
        }
    }
    return owner.release();
}

}  // namespace TessilGraph
