#include <tools/host/Commands.h>
#include <tools/host/Errors.h>
#include <tools/host/PortValues.h>
#include <tools/host/Text.h>
#include <tools/host/TextTable.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>

#include <memory>
#include <string>

namespace TessilHost {

namespace {

using TessilGraph::NodeFactory;

void addPort(TextTable& table, const char* direction, TessilGraph::Port& port) {
    table.addRow({direction, port.name(), port.typeStr(), portJson(port)});
}

}  // namespace

std::string listTypes() {
    std::string text;
    for (const std::string& type : NodeFactory::instance().getRegisteredNodes()) {
        text += type + '\n';
    }
    return text;
}

std::string describeType(const DescribeArguments& arguments) {
    const std::unique_ptr<TessilGraph::Node> node(NodeFactory::instance().createNode(arguments.type));
    if (node == nullptr) {
        throw UserError("describe " + inQuotes(arguments.type) + ": unknown type; `tessilgraph types` lists them");
    }
    TextTable table;
    table.addRow({"", "port", "type", "default"});
    for (auto port = node->inputPortBegin(); port != node->inputPortEnd(); ++port) {
        addPort(table, "input", **port);
    }
    for (auto port = node->outputPortBegin(); port != node->outputPortEnd(); ++port) {
        addPort(table, "output", **port);
    }
    return node->typeStr() + " (number " + std::to_string(node->typeId()) + ")\n" + table.text();
}

}  // namespace TessilHost
