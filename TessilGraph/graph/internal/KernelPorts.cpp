#include <TessilGraph/graph/internal/KernelPorts.h>

#include <TessilGraph/graph/internal/Access.h>

namespace TessilGraph::internal {

namespace {

/// Whether the network of a node tells what becomes of an output.
bool isToldOf(const Port& output, const Node& node) {
    const Node* owner = Access::isLoose(output) ? nullptr : output.node();
    return output.isOutput() && owner != nullptr && Access::home(*owner) == Access::home(node);
}

}  // namespace

Port* portOfKernel(const Node& node, const Port& port, bool isInput) {
    const PortList& held = isInput ? Access::inputList(node) : Access::outputList(node);
    if (!held.contains(&port) || port.node() != &node || port.isInput() != isInput || Access::isLoose(port)) {
        return nullptr;
    }
    Port* source = isInput ? Access::firstConnection(port) : nullptr;
    if (source == nullptr) {
        return const_cast<Port*>(&port);
    }
    return isToldOf(*source, node) && Access::valueType(*source) == Access::valueType(port) ? source : nullptr;
}

}  // namespace TessilGraph::internal
