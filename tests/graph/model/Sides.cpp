#include <tests/graph/model/Sides.h>

#include <tests/faults/Shortage.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace twins {

using model::Id;
using model::none;
using TessilGraph::Node;
using TessilGraph::Port;

std::string idText(Id id) {
    return id == none ? "none" : std::to_string(id);
}

Sides::Sides() {
    registerTwins();
    for (Id type = 0; type < model::nodeTypes().size(); ++type) {
        world.registered[model::nodeTypes()[type].name] = type;
    }
    for (Id index = 0; index < 2; ++index) {
        world.managers.add({});
        managers.push_back(std::make_unique<TessilGraph::NetworkManager>());
    }
    for (std::size_t index = 0; index < 4; ++index) {
        world.outside.push_back({static_cast<double>(index) + 0.25, "outside" + std::to_string(index)});
        numbers.push_back(world.outside.back().number);
        texts.push_back(world.outside.back().text);
    }
    for (const bool input : {true, false}) {
        addLoose(std::make_unique<Loose<double>>("loose", input), "DoublePort", input);
        addLoose(std::make_unique<Loose<std::string>>("loose", input), "StringPort", input);
    }
}

Sides::~Sides() {
    managers.clear();
    for (Id manager = 0; manager < 2; ++manager) {
        world.cleanNetwork(manager);
    }
    for (Id id = 0; id < world.nodes.size(); ++id) {
        if (world.nodes[id].alive) {
            delete nodes[id];
        }
    }
    for (const Id id : removed) {
        delete ports[id];
    }
    for (const auto& [name, type] : world.registered) {
        TessilGraph::NodeFactory::instance().deregisterNode(name);
    }
}

void Sides::addLoose(std::unique_ptr<Port> port, const std::string& type, bool input) {
    const Id id = world.newPort("loose", type);
    world.ports.change(id).input = input;
    ports.push_back(port.get());
    loose.push_back(std::move(port));
}

Id Sides::meet(Node* found) {
    const tests::SparedFromShortage spared;
    if (found == nullptr) {
        return none;
    }
    auto* met = dynamic_cast<Twin*>(found);
    if (met->id == none && expected != none) {
        met->id = expected;
        const model::Node& told = world.nodes[expected];
        nodes.resize(std::max(nodes.size(), expected + 1));
        nodes[expected] = met;
        ports.resize(world.ports.size());
        std::size_t position = 0;
        for (Port* port : met->inputs()) {
            ports[told.inputs.at(position++)] = port;
        }
        position = 0;
        for (Port* port : met->outputs()) {
            ports[told.outputs.at(position++)] = port;
        }
    }
    return met->id;
}

void Sides::meetAll(Id manager) {
    const tests::SparedFromShortage spared;
    for (const auto& [name, node] : world.managers[manager].nodes) {
        expected = node;
        meet(managers[manager]->getNode(name));
    }
}

void Sides::replaceManager(Id manager) {
    const tests::SparedFromShortage spared;
    managers[manager] = std::make_unique<TessilGraph::NetworkManager>();
}

void Sides::computePart(model::World& before, const model::World& told) const {
    before.computeOnly(record.computed);
    for (Id id = 0; id < before.nodes.size(); ++id) {
        const bool mayBePassed = before.nodes[id].alive && told.nodes[id].profileTime == 0;
        if (mayBePassed && nodes[id]->profileTime() == 0) {
            before.nodes.change(id).profileTime = 0;
        }
    }
}

std::string Sides::portText(Id port) const {
    if (port == none) {
        return "null";
    }
    const model::Port& told = world.ports[port];
    return "port " + std::to_string(port) + " (node " + idText(told.node) + " " + told.name +
           (told.input ? " in)" : " out)");
}

}  // namespace twins
