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
    // Ports of hosts' classes may add others to their nodes, or remove them, when they are copied.
    for (std::size_t place = 0; place < Access::inputs(node).size(); ++place) {
        Port* port = Access::inputs(node)[place];
        if (port == nullptr || !Access::connectionList(*port).empty()) {
            continue;
        }
        Port* target = internal::counterpart(Access::inputs(*copy), place, *port);
        // Ports come and go on a living node. Where one of another type took the place, the clone's keeps its default.
        if (target != nullptr && Access::haveSameType(*target, *port)) {
            target->copyValue(port);
        }
    }
    return owner.release();
}

}  // namespace TessilGraph
