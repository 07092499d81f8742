#include <tests/graph/model/Comparison.h>

#include <gtest/gtest-printers.h>

#include <algorithm>
#include <cstddef>

namespace twins {

using model::Id;
using model::none;
using model::Value;
using TessilGraph::NetworkManager;
using TessilGraph::Node;
using TessilGraph::Port;

namespace {

/// Whether some letters of `whole` are left out, or none.
bool isCutFrom(const std::string& whole, const std::string& message) {
    auto next = whole.begin();
    for (const char letter : message) {
        next = std::find(next, whole.end(), letter);
        if (next == whole.end()) {
            return false;
        }
        ++next;
    }
    return true;
}

}  // namespace

std::string Comparison::text(const Place& place) const {
    const std::string kind = place.kind;
    return (kind == "port" ? both_.portText(place.id) : kind + " " + idText(place.id)) + " " + place.part;
}

template <class T, class F>
void Comparison::same(const Place& place, const T& told, const F& found) {
    if (!(told == found)) {
        differs() << text(place) << ": model and library differ: " << testing::PrintToString(told) << " and "
                  << testing::PrintToString(found) << '\n';
    }
}

void Comparison::samePorts(const Place& place, const std::vector<Id>& told, const std::vector<Port*>& found) {
    const auto isSame = [this](Id id, const Port* port) { return both_.at(id) == port; };
    if (!std::equal(told.begin(), told.end(), found.begin(), found.end(), isSame)) {
        std::vector<Port*> ports;
        for (const Id id : told) {
            ports.push_back(both_.at(id));
        }
        same(place, ports, found);
    }
}

void Comparison::compare(const std::string& expected, const std::string& actual, bool threw, bool wasShort) {
    same({"result"}, expected, actual);
    same({"exception"}, both_.world.threw, threw);
    if (wasShort) {
        compareMessages(both_.world.log);
    } else {
        same({"messages"}, both_.world.log, both_.messages);
    }
    compareDestroyed(wasShort);
    compareRun(both_.world, true);
}

void Comparison::compareCalledOff(const model::World& told) {
    compareMessages(told.log);
    compareDestroyed(true);
    compareRun(told, false);
}

/// Some may be lost, and others cut.
void Comparison::compareMessages(const std::vector<std::string>& told) {
    auto next = told.begin();
    for (const std::string& message : both_.messages) {
        next =
            std::find_if(next, told.end(), [&message](const std::string& whole) { return isCutFrom(whole, message); });
        if (next == told.end()) {
            differs() << "nobody expects the message " << message << '\n';
            return;
        }
        ++next;
    }
}

/// In order, unless there was no memory to bring them in order.
void Comparison::compareDestroyed(bool wasShort) {
    std::vector<Id> told = both_.world.destroyed;
    std::vector<Id> found = record.destroyed;
    if (wasShort) {
        found.erase(std::remove(found.begin(), found.end(), none), found.end());
        std::sort(told.begin(), told.end());
        std::sort(found.begin(), found.end());
    }
    same({"destroyed nodes"}, told, found);
}

void Comparison::compareEverything() {
    for (Id id = 0; id < both_.world.nodes.size(); ++id) {
        if (both_.world.nodes[id].alive) {
            compareNode(id);
        }
    }
    for (Id id = 0; id < both_.world.ports.size(); ++id) {
        if (both_.world.ports[id].alive) {
            comparePort(id);
        }
    }
    for (std::size_t index = 0; index < both_.managers.size(); ++index) {
        compareManager(index);
    }
}

/// What was computed when. Unless the run is whole, its end is missing.
void Comparison::compareRun(const model::World& world, bool isWhole) {
    std::size_t position = 0;
    for (const std::vector<Id>& together : world.ran) {
        std::vector<Id> found;
        while (found.size() < together.size() && position < record.computed.size()) {
            found.push_back(record.computed[position++]);
        }
        for (const Id node : together) {
            for (const Id port : world.nodes[node].inputs) {
                const auto source = std::find(found.begin(), found.end(), world.upstream(port));
                if (source != found.end() && source > std::find(found.begin(), found.end(), node)) {
                    differs() << "node " << node << " was computed before its source " << *source << '\n';
                }
            }
        }
        std::vector<Id> told = together;
        std::sort(told.begin(), told.end());
        std::sort(found.begin(), found.end());
        const bool isCut = !isWhole && position == record.computed.size();
        if (!isCut || !std::includes(told.begin(), told.end(), found.begin(), found.end())) {
            same({"computed together"}, told, found);
        }
    }
    same({"number of computes"}, position, record.computed.size());
    same({"other data handed to a compute"}, false, record.hadOtherData);
}

void Comparison::compareNode(Id id) {
    const model::Node& told = both_.world.nodes[id];
    const Twin& found = *both_.nodes[id];
    const model::NodeType& type = model::nodeTypes()[told.type];
    same({"node", id, "type"}, type.name, found.typeStr());
    same({"node", id, "type number"}, type.id, found.typeId());
    same({"node", id, "group"}, 0, found.baseNodeType());
    same({"node", id, "name"}, told.name, found.name());
    same({"node", id, "dirty"}, told.dirty, found.isDirty());
    same({"node", id, "profile time"}, told.profileTime, found.profileTime());
    same({"node", id, "computes"}, told.computes, found.computes);
    samePorts({"node", id, "inputs"}, told.inputs, portsOf(found.inputPortCBegin(), found.inputPortCEnd()));
    samePorts({"node", id, "outputs"}, told.outputs, portsOf(found.outputPortCBegin(), found.outputPortCEnd()));
    same({"node", id, "number of inputs"}, told.inputs.size(), found.numInputPorts());
    same({"node", id, "number of outputs"}, told.outputs.size(), found.numOutputPorts());
    compareNames(id, told.inputs, found.getInputPortNames(), &Node::getInputPort);
    compareNames(id, told.outputs, found.getOutputPortNames(), &Node::getOutputPort);
}

void Comparison::compareNames(Id node, const std::vector<Id>& told, const std::vector<std::string>& names,
                              Port* (Node::*find)(const std::string&)) {
    same({"node", node, "number of names"}, told.size(), names.size());
    for (std::size_t index = 0; index < told.size() && isAlike(); ++index) {
        same({"node", node, "name of a port"}, both_.world.ports[told[index]].name, names[index]);
        same({"node", node, "port by name"}, both_.at(told[index]), (both_.nodes[node]->*find)(names[index]));
    }
    same({"node", node, "port by a name of none"}, static_cast<Port*>(nullptr), (both_.nodes[node]->*find)("none"));
}

const std::vector<Port*>& Comparison::portsOf(std::vector<Port*>::const_iterator begin,
                                              std::vector<Port*>::const_iterator end) {
    list_.assign(begin, end);
    return list_;
}

void Comparison::comparePort(Id id) {
    const model::Port& told = both_.world.ports[id];
    const Port& found = *both_.ports[id];  // Without const, the library would take its list for edited.
    same({"port", id, "type"}, told.type, found.typeStr());
    same({"port", id, "name"}, told.name, found.name());
    same({"port", id, "node"}, told.node == none ? nullptr : static_cast<Node*>(both_.twin(told.node)), found.node());
    same({"port", id, "direction"}, told.input, found.isInput());
    same({"port", id, "other direction"}, !told.input, found.isOutput());
    same({"port", id, "number of connections"}, told.connections.size(), found.numConnections());
    samePorts({"port", id, "connections"}, told.connections, found.getConnections());
    same({"port", id, "source"}, told.input && !told.connections.empty() ? both_.at(told.connections.front()) : nullptr,
         found.input());
    const Value& value = both_.world.read(id);
    if (auto* number = dynamic_cast<Numbers*>(both_.ports[id])) {
        same({"port", id, "value"}, value.number, number->get());
    } else {
        same({"port", id, "value"}, value.text, dynamic_cast<Texts&>(*both_.ports[id]).get());
    }
}

void Comparison::compareManager(Id index) {
    const model::Manager& told = both_.world.managers[index];
    NetworkManager& found = *both_.managers[index];
    const std::vector<std::string> names = found.getNodeNames();
    const std::vector<Node*> nodes = found.getAllNodes();
    same({"manager", index, "number of names"}, told.nodes.size(), names.size());
    same({"manager", index, "number of nodes"}, told.nodes.size(), nodes.size());
    std::vector<Node*> firstOfType(model::nodeTypes().size());
    std::size_t place = 0;
    for (const auto& [name, id] : told.nodes) {
        if (!isAlike()) {
            return;
        }
        Node* node = both_.twin(id);
        same({"manager", index, "name"}, name, names[place]);
        same({"manager", index, "node"}, node, nodes[place]);
        same({"manager", index, "node by name"}, node, found.getNode(name));
        Node*& first = firstOfType[both_.world.nodes[id].type];
        first = first == nullptr ? node : first;
        ++place;
    }
    for (std::size_t type = 0; type < firstOfType.size(); ++type) {
        same({"manager", index, "node by type"}, firstOfType[type], found.getNodeByType(model::nodeTypes()[type].id));
    }
    same({"manager", index, "node by a name of none"}, static_cast<Node*>(nullptr), found.getNode("none"));
    same({"manager", index, "node by a type of none"}, static_cast<Node*>(nullptr), found.getNodeByType(1));
}

void Comparison::compareFactory() {
    TessilGraph::NodeFactory& factory = TessilGraph::NodeFactory::instance();
    std::vector<std::string> told;
    for (const auto& [name, type] : both_.world.registered) {
        told.push_back(name);
        same({"a type is registered"}, both_.world.typeNamed(name) != none, factory.isRegistered(name));
    }
    same({"registered types"}, told, factory.getRegisteredNodes());
}

}  // namespace twins
