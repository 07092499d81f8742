#include <tools/host/PortAddress.h>

#include <tools/host/Errors.h>
#include <tools/host/Text.h>

#include <vector>

namespace TessilHost {

namespace {

using TessilGraph::Node;
using TessilGraph::Port;

std::string listed(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names) {
        list += list.empty() ? name : ", " + name;
    }
    return list.empty() ? "none" : list;
}

[[noreturn]] void refusePort(const Node& node, const std::string& kind, const std::string& port) {
    throw ValueError(node.typeStr() + " " + inQuotes(node.name()) + " has no " + kind + " " + inQuotes(port) +
                     "; inputs: " + listed(node.getInputPortNames()) +
                     "; outputs: " + listed(node.getOutputPortNames()));
}

}  // namespace

PortAddress PortAddress::parse(std::string_view text) {
    const std::size_t dot = text.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == text.size()) {
        throw ValueError("wants NODE.PORT, not " + inQuotes(text));
    }
    return {std::string(text.substr(0, dot)), std::string(text.substr(dot + 1))};
}

Node& requireNode(TessilGraph::NetworkManager& network, const std::string& name) {
    Node* const node = network.getNode(name);
    if (node == nullptr) {
        throw ValueError("the network has no node " + inQuotes(name));
    }
    return *node;
}

Port& requireInput(Node& node, const std::string& port) {
    Port* const input = node.getInputPort(port);
    if (input == nullptr) {
        refusePort(node, "input", port);
    }
    return *input;
}

Port& requireOutput(Node& node, const std::string& port) {
    Port* const output = node.getOutputPort(port);
    if (output == nullptr) {
        refusePort(node, "output", port);
    }
    return *output;
}

Port& requirePort(Node& node, const std::string& port) {
    if (Port* const output = node.getOutputPort(port)) {
        return *output;
    }
    if (Port* const input = node.getInputPort(port)) {
        return *input;
    }
    refusePort(node, "port", port);
}

}  // namespace TessilHost
