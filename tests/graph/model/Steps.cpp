#include <tests/graph/model/Steps.h>

#include <TessilGraph/graph/NetworkManager.h>
#include <TessilGraph/graph/NodeFactory.h>

#include <tests/faults/Shortage.h>

#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <type_traits>

namespace twins {

using model::Id;
using model::none;
using model::Value;
using model::World;
using TessilGraph::NetworkManager;
using TessilGraph::Node;
using TessilGraph::NodeFactory;
using TessilGraph::Port;
using tests::SparedFromShortage;

namespace {

std::string asText(std::string answer) {
    return answer;
}

std::string asText(bool answer) {
    return answer ? "true" : "false";
}

/// The same function, with what it answers as a text: a text, yes or no, or nothing.
template <class F>
auto answering(F function) {
    return [function](auto&... arguments) -> std::string {
        if constexpr (std::is_void_v<decltype(function(arguments...))>) {
            function(arguments...);
            return {};
        } else {
            return asText(function(arguments...));
        }
    };
}

template <class InModel, class InLibrary>
Step step(const std::string& kind, const std::string& object, InModel inModel, InLibrary inLibrary) {
    return {kind, kind + " " + object, answering(inModel), answering(inLibrary), {}, false};
}

Step withoutMemory(Step made) {
    made.needsNoMemory = true;
    return made;
}

std::string managerText(Id manager) {
    return "manager " + std::to_string(manager) + " ";
}

std::string nodeText(Id node) {
    return "node " + idText(node) + " ";
}

}  // namespace

std::vector<Id> Steps::aliveNodes() const {
    std::vector<Id> ids;
    for (Id id = 0; id < both_.world.nodes.size(); ++id) {
        if (both_.world.nodes[id].alive) {
            ids.push_back(id);
        }
    }
    return ids;
}

std::vector<Id> Steps::alivePorts() const {
    std::vector<Id> ids;
    for (Id id = 0; id < both_.world.ports.size(); ++id) {
        if (both_.world.ports[id].alive) {
            ids.push_back(id);
        }
    }
    return ids;
}

/// Mostly a node of the network.
std::string Steps::anyName(Id manager) {
    std::vector<std::string> names;
    for (const auto& [name, node] : both_.world.managers[manager].nodes) {
        names.push_back(name);
    }
    if (names.empty() || chance(5)) {
        return prefixed(any<std::string>({"a", "b", "nobody", ""}));
    }
    return any(names);
}

std::string Steps::newName() {
    return prefixed(any<std::string>({"a", "b", "c", "a1", "b1", "x y", "", "d"}));
}

Value Steps::anyValue() {
    const double number = static_cast<double>(below(1000)) / 4.0;
    return {number, prefix_ + "v" + std::to_string(below(1000))};
}

// The first step of a kind keeps its number, so that sequences of words go on meaning what they meant.
Step Steps::choose(const Words& words) {
    words_ = &words;
    used_ = 0;
    const Id manager = chance(80) ? 0 : 1;
    const std::vector<Id> ports = alivePorts();
    const std::vector<Id> nodes = aliveNodes();
    const Id port = any(ports);
    const Id node = nodes.empty() ? none : any(nodes);
    const std::size_t kind = below(119);
    if (kind < 12 || nodes.size() < 6) {
        return createNode(manager);
    }
    if (kind < 30) {
        return linkByNames(manager);
    }
    if (kind < 38) {
        return linkPorts(port, ports);
    }
    if (kind < 56) {
        return computeByName(manager);
    }
    if (kind < 64) {
        return setPort(port);
    }
    if (kind < 68) {
        return handEdit(port, ports);
    }
    if (kind < 74) {
        return onStorage(kind, port, ports);
    }
    if (kind < 80) {
        return onNode(node);
    }
    if (kind < 84) {
        return onPortLists(node);
    }
    if (kind < 100) {
        return onManager(manager, node);
    }
    if (kind < 106) {
        return byHand(manager, node, port);
    }
    if (kind < 112) {
        return onFactory();
    }
    if (kind < 114) {
        return lendPortList(node);
    }
    if (kind < 116) {
        return kind < 115 ? computeOften(manager, node) : linkInARow(manager);
    }
    return kind < 118 ? makePortOn(node) : handInNothing(node, port);
}

Step Steps::linkByNames(Id manager) {
    NetworkManager* network = both_.managers[manager].get();
    const std::string source = anyName(manager);
    const std::string output = any<std::string>({"o", "o", "o", "t", "p", "a"});
    const std::string target = anyName(manager);
    const std::string input = any<std::string>({"a", "b", "t", "c", prefixed("x1"), "o"});
    const std::vector<std::string> names = {source, output, target, input};
    const std::string object = managerText(manager) + source + "." + output + " " + target + "." + input;
    if (chance(80)) {
        return step(
            "connectAttr", object, [=](World& world) { return world.connectAttr(manager, names); },
            [=] { return network->connectAttr(names[0], names[1], names[2], names[3]); });
    }
    return withoutMemory(step(
        "disconnectAttr", object, [=](World& world) { return world.disconnectAttr(manager, names); },
        [=] { return network->disconnectAttr(names[0], names[1], names[2], names[3]); }));
}

/// Each node to the next one by name, so that much leads to the last.
Step Steps::linkInARow(Id manager) {
    NetworkManager* network = both_.managers[manager].get();
    const std::string input = any<std::string>({"a", "b"});
    const auto links = [=](const auto& names, const auto& connect) {
        std::string made;
        for (std::size_t next = 1; next < names.size(); ++next) {
            made += connect(names[next - 1], names[next]) ? '1' : '0';
        }
        return made;
    };
    return step(
        "link in a row", managerText(manager) + input,
        [=](World& world) {
            std::vector<std::string> names;
            for (const auto& [name, node] : world.managers[manager].nodes) {
                names.push_back(name);
            }
            return links(names, [&](const std::string& source, const std::string& target) {
                return world.connectAttr(manager, {source, "o", target, input});
            });
        },
        [=] {
            // What is left when only some of it was done, the model cannot tell.
            const SparedFromShortage spared;
            return links(network->getNodeNames(), [&](const std::string& source, const std::string& target) {
                return network->connectAttr(source, "o", target, input);
            });
        });
}

Step Steps::linkPorts(Id port, const std::vector<Id>& ports) {
    const std::vector<Id>& mine = both_.world.ports[port].connections;
    const bool makes = chance(70);
    Id other = chance(2) ? none : any(ports);
    if (!makes && !mine.empty() && chance(80)) {
        other = any(mine);
    }
    const std::string object = both_.portText(port) + " " + both_.portText(other);
    if (makes) {
        return step(
            "connectTo", object, [=](World& world) { return world.connect(port, other); },
            [=] { return both_.at(port)->connectTo(both_.at(other)); });
    }
    return withoutMemory(step(
        "disconnectFrom", object, [=](World& world) { return world.disconnect(port, other); },
        [=] { return both_.at(port)->disconnectFrom(both_.at(other)); }));
}

Step Steps::handEdit(Id port, const std::vector<Id>& ports) {
    const Id other = any(ports);
    const std::size_t kind = below(4);
    const std::vector<Id> before = both_.world.ports[port].connections;
    std::vector<Id> after = before;
    if (kind == 0) {
        after.push_back(other);
    } else if (kind == 1) {
        after.insert(after.begin(), other);
    } else if (kind == 2 && !after.empty()) {
        after.erase(anyPlace(after));
    } else {
        for (std::size_t left = after.size(); left > 1; --left) {
            std::swap(after[left - 1], after[below(left)]);
        }
    }
    return step(
        "edit the list of", both_.portText(port) + " kind " + std::to_string(kind) + " " + both_.portText(other),
        [=](World& world) {
            const model::Port& mine = world.ports[port];
            const model::Port& theirs = world.ports[other];
            if (after == before || (kind < 2 && (mine.type != theirs.type || mine.input == theirs.input))) {
                world.isLeftOut = true;
            } else {
                world.ports.change(port).connections = after;
            }
        },
        [=] {
            std::vector<Port*>& list = both_.at(port)->getConnections();
            const SparedFromShortage spared;
            list.clear();
            for (const Id entry : after) {
                list.push_back(both_.at(entry));
            }
        });
}

Step Steps::setPort(Id port) {
    const Value value = anyValue();
    return step(
        "set", both_.portText(port), [=](World& world) { world.set(port, value); },
        [=] { setValue(both_.at(port), value); });
}

Step Steps::onStorage(std::size_t kind, Id port, const std::vector<Id>& ports) {
    if (kind < 70) {
        return bindPort(port);
    }
    if (kind < 71) {
        const Id index = below(4);
        const Value value = anyValue();
        return step(
            "change outside", std::to_string(index), [=](World& world) { world.outside[index] = value; },
            [=] {
                const SparedFromShortage spared;
                both_.numbers[index] = value.number;
                both_.texts[index] = value.text;
            });
    }
    if (kind < 73) {
        const Id from = any(ports);
        return step(
            "copyValue", both_.portText(port) + " from " + both_.portText(from),
            [=](World& world) { world.copyValue(port, from); }, [=] { both_.at(port)->copyValue(both_.at(from)); });
    }
    return withoutMemory(step(
        "reset", both_.portText(port), [=](World& world) { world.resetPort(port); }, [=] { both_.at(port)->reset(); }));
}

Step Steps::bindPort(Id port) {
    const Id link = chance(30) ? none : below(4);
    return step(
        "setLink", both_.portText(port) + " " + idText(link),
        [=](World& world) { world.ports.change(port).link = link; },
        [=] {
            const bool binds = link != none;
            if (auto* number = dynamic_cast<Numbers*>(both_.at(port))) {
                number->setLink(binds ? &both_.numbers[link] : nullptr);
            } else {
                dynamic_cast<Texts&>(*both_.at(port)).setLink(binds ? &both_.texts[link] : nullptr);
            }
        });
}

Step Steps::writeThrough(Id port) {
    const Value value = anyValue();
    return step(
        "write through", both_.portText(port), [=](World& world) { world.writeThrough(port, value); },
        [=] {
            if (auto* number = dynamic_cast<Numbers*>(both_.at(port))) {
                number->getRef() = value.number;
            } else {
                std::string& text = dynamic_cast<Texts&>(*both_.at(port)).getRef();
                const SparedFromShortage spared;
                text = value.text;
            }
        });
}

Step Steps::onNode(Id node) {
    struct Kind {
        const char* name;
        void (*inModel)(World&, Id, std::uint64_t);
        void (*inLibrary)(Twin&, std::uint64_t);
    };
    static const Kind kinds[] = {
        {"setDirty(true)", [](World& world, Id id, std::uint64_t) { world.setDirty(id, true); },
         [](Twin& twin, std::uint64_t) { twin.setDirty(true); }},
        {"setDirty(false)", [](World& world, Id id, std::uint64_t) { world.setDirty(id, false); },
         [](Twin& twin, std::uint64_t) { twin.setDirty(false); }},
        {"setDirtyFlag", [](World& world, Id id, std::uint64_t) { world.nodes.change(id).dirty = true; },
         [](Twin& twin, std::uint64_t) { twin.setDirtyFlag(); }},
        {"node reset", [](World& world, Id id, std::uint64_t) { world.resetNode(id); },
         [](Twin& twin, std::uint64_t) { twin.reset(); }},
        {"setProfileTime", [](World& world, Id id, std::uint64_t time) { world.nodes.change(id).profileTime = time; },
         [](Twin& twin, std::uint64_t time) { twin.setProfileTime(time); }},
        {"throws from now on or not",
         [](World& world, Id id, std::uint64_t) { world.nodes.change(id).throws = !world.nodes[id].throws; },
         [](Twin& twin, std::uint64_t) { twin.throws = !twin.throws; }},
    };
    const Kind kind = kinds[below(std::size(kinds))];
    const std::uint64_t time = below(1000);
    return withoutMemory(step(
        kind.name, nodeText(node), [=](World& world) { kind.inModel(world, node, time); },
        [=] { kind.inLibrary(*both_.twin(node), time); }));
}

Step Steps::onPortLists(Id node) {
    const bool input = chance(60);
    const std::size_t kind = below(3);
    if (kind == 0 && !both_.removed.empty()) {
        return onRemovedPort(node, input);
    }
    return kind == 1 ? addPort(node, input) : removePort(node, input);
}

/// A removed port comes back, to whichever node, or is thrown away.
Step Steps::onRemovedPort(Id node, bool input) {
    const Id port = *anyPlace(both_.removed);
    if (chance(60)) {
        return step(
            "add again", both_.portText(port) + " to " + nodeText(node),
            [=](World& world) { return world.addPort(node, port, input); },
            [=] {
                const bool added = both_.twin(node)->takes(both_.at(port), input);
                if (added) {
                    both_.removed.erase(port);
                }
                return added;
            });
    }
    return withoutMemory(step(
        "throw away", both_.portText(port), [=](World& world) { world.ports.change(port).alive = false; },
        [=] {
            delete both_.at(port);
            both_.removed.erase(port);
        }));
}

Step Steps::addPort(Id node, bool input) {
    const std::string name = any<std::string>({prefixed("x1"), prefixed("x2"), "a", "o"});
    const std::string type = any<std::string>({"DoublePort", "StringPort"});
    return step(
        "add port", name + " to " + nodeText(node),
        [=](World& world) {
            const bool added = world.addPort(node, world.newPort(name, type), input);
            if (!added) {
                world.ports.removeLast();
            }
            return added;
        },
        [=] {
            std::unique_ptr<Port> port(makePort(name, type));
            const bool added = both_.twin(node)->takes(port.get(), input);
            if (added) {
                const SparedFromShortage spared;
                both_.ports.push_back(port.release());
            }
            return added;
        });
}

/// As a node class makes its own.
Step Steps::makePortOn(Id node) {
    const bool input = chance(60);
    const bool isNumber = chance(50);
    const std::string name = any<std::string>({prefixed("x1"), prefixed("x2"), "a", "o"});
    return step(
        "addTo", name + " to " + nodeText(node),
        [=](World& world) {
            const bool made = world.addPort(node, world.newPort(name, isNumber ? "DoublePort" : "StringPort"), input);
            if (!made) {
                world.ports.removeLast();
            }
            return made;
        },
        [=] {
            Port* made = isNumber ? static_cast<Port*>(Numbers::addTo(*both_.twin(node), name, input))
                                  : Texts::addTo(*both_.twin(node), name, input);
            if (made != nullptr) {
                const SparedFromShortage spared;
                both_.ports.push_back(made);
            }
            return made != nullptr;
        });
}

/// Null, where a port is asked for.
Step Steps::handInNothing(Id node, Id port) {
    if (chance(30)) {
        return withoutMemory(step(
            "copyValue of null", both_.portText(port), [=](World& world) { world.copyValue(port, none); },
            [=] { both_.at(port)->copyValue(nullptr); }));
    }
    const bool input = chance(50);
    return step(
        "add null", "to " + nodeText(node), [](World& world) { world.addNoPort(); },
        [=] { input ? both_.twin(node)->addInputPort(nullptr) : both_.twin(node)->addOutputPort(nullptr); });
}

Step Steps::removePort(Id node, bool input) {
    const model::Node& told = both_.world.nodes[node];
    const std::vector<Id>& list = input ? told.inputs : told.outputs;
    const std::string name = list.empty() || chance(10) ? "nobody" : both_.world.ports[any(list)].name;
    const Id port = both_.world.findPort(node, name, input);
    return step(
        "remove port", name + " of " + nodeText(node), [=](World& world) { world.removePort(node, name, input); },
        [=] {
            input ? both_.twin(node)->removeInputPort(name) : both_.twin(node)->removeOutputPort(name);
            if (port != none) {
                const SparedFromShortage spared;
                both_.removed.insert(port);
            }
        });
}

/// A host asks for a node's list so that it may edit it, and leaves it as it is.
Step Steps::lendPortList(Id node) {
    const bool input = chance(50);
    return step(
        "lend the ports of", nodeText(node) + (input ? "in" : "out"), [](World&) {},
        [=] { input ? both_.twin(node)->inputPortBegin() : both_.twin(node)->outputPortBegin(); });
}

Step Steps::setNode(Id port, Id node) {
    return step(
        "setNode", both_.portText(port) + " " + idText(node),
        [=](World& world) {
            // A port in a node's list stays that node's.
            if (world.isListed(port)) {
                world.isLeftOut = true;
            } else {
                world.ports.change(port).node = node;
            }
        },
        [=] { both_.at(port)->setNode(node == none ? nullptr : both_.twin(node)); });
}

Step Steps::createNode(Id manager) {
    NetworkManager* network = both_.managers[manager].get();
    const std::string type =
        chance(8) ? any<std::string>({"modelSum", "NoSuchType", "", "modelsum"}) : any(model::nodeTypes()).name;
    const std::string name = newName();
    return step(
        "createNode", managerText(manager) + type + " " + name,
        [=](World& world) {
            both_.expected = world.createNode(manager, type, name);
            return nodeText(both_.expected);
        },
        [=] { return nodeText(both_.meet(network->createNode(type, name))); });
}

Step Steps::computeByName(Id manager) {
    NetworkManager* network = both_.managers[manager].get();
    const std::string name = anyName(manager);
    const bool parallel = chance(45);
    const bool useCache = chance(35);
    const TessilGraph::ComputeData* data = chance(50) ? nullptr : &both_.data;
    Step evaluation = step(
        "computeNode", managerText(manager) + name + (parallel ? " parallel" : "") + (useCache ? " cached" : ""),
        [=](World& world) { world.computeNode(manager, name, parallel, useCache); },
        [=] {
            record.data = data;
            network->computeNode(name, data, parallel, useCache);
        });
    evaluation.calledOff = [this](World& world, const World& told) { both_.computePart(world, told); };
    return evaluation;
}

/// So often that the library makes plans for large networks.
Step Steps::computeOften(Id manager, Id node) {
    NetworkManager* network = both_.managers[manager].get();
    const std::map<std::string, Id>& nodes = both_.world.managers[manager].nodes;
    const std::string name = chance(70) && !nodes.empty() ? nodes.rbegin()->first : anyName(manager);
    const bool parallel = chance(20);
    const bool useCache = chance(30);
    const bool marksAll = chance(60) || node == none;
    constexpr int often = 24;
    return step(
        "compute often", managerText(manager) + name + (marksAll ? "" : " from " + nodeText(node)),
        [=](World& world) {
            for (int time = 0; time < often && !world.threw && !world.isLeftOut; ++time) {
                marksAll ? world.setAllNodeDirty(manager) : world.setDirty(node, true);
                world.computeNode(manager, name, parallel, useCache);
            }
        },
        [=] {
            // What is left when only some of it was done, the model cannot tell.
            const SparedFromShortage spared;
            record.data = nullptr;
            for (int time = 0; time < often; ++time) {
                marksAll ? network->setAllNodeDirty() : both_.twin(node)->setDirty(true);
                network->computeNode(name, nullptr, parallel, useCache);
            }
        });
}

Step Steps::onManager(Id manager, Id node) {
    const std::string name = anyName(manager);
    const std::size_t kind = below(32);
    if (kind < 8) {
        return deleteNode(manager, name);
    }
    if (kind < 14) {
        return renameNode(manager, name);
    }
    if (kind < 20) {
        return onOrders(kind < 18, manager, name);
    }
    if (kind < 23) {
        return addNode(manager, node);
    }
    if (kind < 24) {
        return deleteByHost(node);
    }
    return kind < 30 ? onWholeNetwork(kind, manager) : copyNetwork(manager);
}

Step Steps::deleteNode(Id manager, const std::string& name) {
    NetworkManager* network = both_.managers[manager].get();
    return step(
        "deleteNode", managerText(manager) + name, [=](World& world) { world.deleteNode(manager, name); },
        [=] { network->deleteNode(name); });
}

Step Steps::renameNode(Id manager, const std::string& name) {
    NetworkManager* network = both_.managers[manager].get();
    const std::string to = newName();
    return step(
        "renameNode", managerText(manager) + name + " to " + to,
        [=](World& world) { return world.renameNode(manager, name, to); },
        [=] { return network->renameNode(name, to); });
}

Step Steps::onOrders(bool stores, Id manager, const std::string& name) {
    NetworkManager* network = both_.managers[manager].get();
    const std::string on = managerText(manager);
    if (stores) {
        return step(
            "cacheNodeNetwork", on + name, [=](World& world) { world.cacheNodeNetwork(manager, name); },
            [=] { network->cacheNodeNetwork(name); });
    }
    if (chance(30)) {
        return withoutMemory(step(
            "clearNodeNetworkCaches", on, [=](World& world) { world.managers.change(manager).networkCache.clear(); },
            [=] { network->clearNodeNetworkCaches(); }));
    }
    return withoutMemory(step(
        "clearNodeNetworkCache", on + name,
        [=](World& world) { world.managers.change(manager).networkCache.erase(name); },
        [=] { network->clearNodeNetworkCache(name); }));
}

Step Steps::addNode(Id manager, Id node) {
    NetworkManager* network = both_.managers[manager].get();
    const bool isNew = chance(40);
    const std::size_t type = below(5);
    const std::string to = newName();
    const Id known = below(100) < 94 ? node : none;
    return step(
        "addNode", managerText(manager) + to + " " + (isNew ? "new" : nodeText(known)),
        [=](World& world) {
            if (!isNew && known != none && world.isOwned(known)) {
                world.isLeftOut = true;
                return std::string();
            }
            both_.expected = isNew ? world.newNode(type) : known;
            world.addNode(manager, both_.expected, to);
            return nodeText(both_.expected);
        },
        [=] {
            std::unique_ptr<Twin> made(isNew ? new Twin(type) : nullptr);
            Node* added = isNew ? made.get() : known == none ? nullptr : both_.twin(known);
            network->addNode(added, to);
            static_cast<void>(made.release());
            return nodeText(both_.meet(added));
        });
}

Step Steps::deleteByHost(Id node) {
    return withoutMemory(step(
        "delete by the host", nodeText(node),
        [=](World& world) {
            if (node == none || world.isOwned(node)) {
                world.isLeftOut = true;
            } else {
                world.destroyNode(node);
            }
        },
        [=] { delete both_.twin(node); }));
}

Step Steps::onWholeNetwork(std::size_t kind, Id manager) {
    struct Kind {
        const char* name;
        void (World::*inModel)(Id);
        void (NetworkManager::*inLibrary)();
        bool needsNoMemory;
    };
    static const Kind kinds[] = {
        {"setAllNodeDirty", &World::setAllNodeDirty, &NetworkManager::setAllNodeDirty, true},
        {"clearNodeCache", &World::clearNodeCache, &NetworkManager::clearNodeCache, false},
        {"cleanNetwork", &World::cleanNetwork, &NetworkManager::cleanNetwork, true},
        {"manager reset", &World::reset, &NetworkManager::reset, false},
    };
    const Kind chosen = kinds[kind < 26 ? 0 : kind < 28 ? 1 : chance(20) ? 2 : 3];
    NetworkManager* network = both_.managers[manager].get();
    Step whole = step(
        chosen.name, managerText(manager), [=](World& world) { (world.*chosen.inModel)(manager); },
        [=] { (network->*chosen.inLibrary)(); });
    whole.needsNoMemory = chosen.needsNoMemory;
    return whole;
}

Step Steps::copyNetwork(Id manager) {
    const bool assigns = chance(60);
    const Id other = assigns && chance(5) ? manager : 1 - manager;
    Step copy = step(
        assigns ? "assign" : "copy", managerText(manager) + "from " + std::to_string(other),
        [=](World& world) { world.assign(manager, other); },
        [=] {
            const NetworkManager& from = *both_.managers[other];
            if (assigns) {
                *both_.managers[manager] = from;
            } else {
                both_.replaceManager(manager);
                both_.managers[manager].reset(new NetworkManager(from.clone()));
            }
            both_.meetAll(manager);
        });
    copy.calledOff = [manager](World& world, const World&) { world.cleanNetwork(manager); };
    return copy;
}

/// What a host does with nodes and ports itself, past the manager.
Step Steps::byHand(Id manager, Id node, Id port) {
    const std::size_t kind = below(6);
    const std::string name = newName();
    if (kind == 0) {
        return step(
            "clone", nodeText(node),
            [=](World& world) {
                both_.expected = world.cloneNode(node);
                return nodeText(both_.expected);
            },
            [=] { return nodeText(both_.meet(both_.twin(node)->clone())); });
    }
    if (kind == 1) {
        return step(
            "setName", nodeText(node) + name, [=](World& world) { world.nodes.change(node).name = name; },
            [=] { both_.twin(node)->setName(name); });
    }
    if (kind == 2) {
        return step(
            "compute", nodeText(node), [=](World& world) { world.computeByHand(node); },
            [=] { both_.twin(node)->compute(record.data); });
    }
    if (kind == 3) {
        return writeThrough(port);
    }
    if (kind == 4) {
        return setNode(port, chance(50) ? none : node);
    }
    const std::string taken = anyName(manager);
    return step(
        "getUniqueName", taken, [=](World& world) { return world.uniqueName(manager, taken); },
        [=] { return FreeName::of(*both_.managers[manager], taken); });
}

Step Steps::onFactory() {
    const std::size_t kind = below(5);
    const std::size_t type = below(model::nodeTypes().size());
    const std::string name =
        chance(30) ? any<std::string>({"", "modelSum", "ModelNone"}) : model::nodeTypes()[type].name;
    if (kind < 2) {
        return changeFactory(kind == 0, type, name);
    }
    if (kind == 2) {
        return step(
            "isRegistered", name, [=](World& world) { return world.typeNamed(name) != none; },
            [=] { return NodeFactory::instance().isRegistered(name); });
    }
    if (kind == 3) {
        return listTypes();
    }
    return step(
        "make", name,
        [=](World& world) {
            const Id made = world.typeNamed(name);
            both_.expected = made == none ? none : world.newNode(made);
            return nodeText(both_.expected);
        },
        [=] { return nodeText(both_.meet(NodeFactory::instance().createNode(name))); });
}

Step Steps::listTypes() {
    return step(
        "getRegisteredNodes", "",
        [](World& world) {
            std::string all;
            for (const auto& [known, made] : world.registered) {
                all += known + " ";
            }
            return all;
        },
        [] {
            const std::vector<std::string> names = NodeFactory::instance().getRegisteredNodes();
            const SparedFromShortage spared;
            std::string all;
            for (const std::string& known : names) {
                all += known + " ";
            }
            return all;
        });
}

Step Steps::changeFactory(bool adds, std::size_t type, const std::string& name) {
    NodeFactory& factory = NodeFactory::instance();
    if (!adds) {
        return step(
            "deregisterNode", name, [=](World& world) { world.deregisterNode(name); },
            [&factory, name] { factory.deregisterNode(name); });
    }
    const bool isNull = chance(20);
    return step(
        "registerNode", name + (isNull ? " null" : ""),
        [=](World& world) { world.registerNode(name, isNull ? none : type); },
        [=, &factory] { factory.registerNode(name, isNull ? nullptr : Twin::creator(type)); });
}

}  // namespace twins
