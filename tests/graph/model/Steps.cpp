#include <tests/graph/model/Steps.h>

#include <TessilGraph/graph/NetworkManager.h>
#include <TessilGraph/graph/NodeFactory.h>

#include <cstdint>
#include <map>
#include <memory>

namespace twins {

using model::Id;
using model::none;
using model::Value;
using model::World;
using TessilGraph::NetworkManager;
using TessilGraph::Node;
using TessilGraph::NodeFactory;
using TessilGraph::Port;

namespace {

std::string yesNo(bool answer) {
    return answer ? "true" : "false";
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
        return any<std::string>({"a", "b", "nobody", ""});
    }
    return any(names);
}

std::string Steps::newName() {
    return any<std::string>({"a", "b", "c", "a1", "b1", "x y", "", "d"});
}

Value Steps::anyValue() {
    return {static_cast<double>(below(1000)) / 4.0, "v" + std::to_string(below(1000))};
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
    const std::size_t kind = below(112);
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
    return onFactory();
}

Step Steps::createNode(Id manager) {
    NetworkManager* network = both_.managers[manager].get();
    const std::string on = "manager " + std::to_string(manager) + " ";
    const std::string type =
        chance(8) ? any<std::string>({"modelSum", "NoSuchType", "", "modelsum"}) : any(model::nodeTypes()).name;
    const std::string name = newName();
    return {counted("createNode ") + on + type + " " + name,
            [=](World& world) {
                both_.expected = world.createNode(manager, type, name);
                return "node " + idText(both_.expected);
            },
            [=] { return both_.meet(network->createNode(type, name)); }};
}

Step Steps::linkByNames(Id manager) {
    NetworkManager* network = both_.managers[manager].get();
    const std::string on = "manager " + std::to_string(manager) + " ";
    const std::vector<std::string> names = {anyName(manager), any<std::string>({"o", "o", "o", "t", "p", "a"}),
                                            anyName(manager), any<std::string>({"a", "b", "t", "c", "x1", "o"})};
    const bool makes = chance(80);
    return {counted(makes ? "connectAttr " : "disconnectAttr ") + on + names[0] + "." + names[1] + " " + names[2] +
                "." + names[3],
            [=](World& world) {
                return yesNo(makes ? world.connectAttr(manager, names) : world.disconnectAttr(manager, names));
            },
            [=] {
                return yesNo(makes ? network->connectAttr(names[0], names[1], names[2], names[3])
                                   : network->disconnectAttr(names[0], names[1], names[2], names[3]));
            }};
}

Step Steps::linkPorts(Id port, const std::vector<Id>& ports) {
    const std::vector<Id>& mine = both_.world.ports[port].connections;
    const bool makes = chance(70);
    Id other = chance(2) ? none : any(ports);
    if (!makes && !mine.empty() && chance(80)) {
        other = any(mine);
    }
    return {counted(makes ? "connectTo " : "disconnectFrom ") + both_.portText(port) + " " + both_.portText(other),
            [=](World& world) { return yesNo(makes ? world.connect(port, other) : world.disconnect(port, other)); },
            [=] {
                return yesNo(makes ? both_.at(port)->connectTo(both_.at(other))
                                   : both_.at(port)->disconnectFrom(both_.at(other)));
            }};
}

Step Steps::computeByName(Id manager) {
    NetworkManager* network = both_.managers[manager].get();
    const std::string on = "manager " + std::to_string(manager) + " ";
    const std::string name = anyName(manager);
    const bool parallel = chance(45);
    const bool useCache = chance(35);
    return {counted("computeNode ") + on + name + (parallel ? " parallel" : "") + (useCache ? " cached" : ""),
            [=](World& world) {
                world.computeNode(manager, name, parallel, useCache);
                return std::string();
            },
            [=] {
                network->computeNode(name, nullptr, parallel, useCache);
                return std::string();
            }};
}

Step Steps::setPort(Id port) {
    const Value value = anyValue();
    return {counted("set ") + both_.portText(port),
            [=](World& world) {
                world.set(port, value);
                return std::string();
            },
            [=] {
                setValue(both_.at(port), value);
                return std::string();
            }};
}

Step Steps::onStorage(std::size_t kind, Id port, const std::vector<Id>& ports) {
    if (kind < 70) {
        const Id link = chance(30) ? none : below(4);
        return {counted("setLink ") + both_.portText(port) + " " + idText(link),
                [=](World& world) {
                    world.ports[port].link = link;
                    return std::string();
                },
                [=] {
                    const Id index = link == none ? 0 : link;
                    if (auto* number = dynamic_cast<Numbers*>(both_.at(port))) {
                        number->setLink(link == none ? nullptr : &both_.numbers[index]);
                    } else {
                        dynamic_cast<Texts*>(both_.at(port))->setLink(link == none ? nullptr : &both_.texts[index]);
                    }
                    return std::string();
                }};
    }
    if (kind < 71) {
        const Id index = below(4);
        const Value value = anyValue();
        return {counted("change outside ") + std::to_string(index),
                [=](World& world) {
                    world.outside[index] = value;
                    return std::string();
                },
                [=] {
                    both_.numbers[index] = value.number;
                    both_.texts[index] = value.text;
                    return std::string();
                }};
    }
    if (kind < 73) {
        const Id from = any(ports);
        return {counted("copyValue ") + both_.portText(port) + " from " + both_.portText(from),
                [=](World& world) {
                    if (world.ports[port].type != world.ports[from].type) {
                        return std::string("skip");
                    }
                    world.copyValue(port, from);
                    return std::string();
                },
                [=] {
                    both_.at(port)->copyValue(both_.at(from));
                    return std::string();
                }};
    }
    return {counted("reset ") + both_.portText(port),
            [=](World& world) {
                world.resetPort(port);
                return std::string();
            },
            [=] {
                both_.at(port)->reset();
                return std::string();
            }};
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
    return {counted("edit the list of ") + both_.portText(port) + " kind " + std::to_string(kind) + " " +
                both_.portText(other),
            [=](World& world) {
                model::Port& mine = world.ports[port];
                const model::Port& theirs = world.ports[other];
                if (after == before || (kind < 2 && (mine.type != theirs.type || mine.input == theirs.input))) {
                    return std::string("skip");
                }
                mine.connections = after;
                return std::string();
            },
            [=] {
                std::vector<Port*> list;
                for (const Id entry : after) {
                    list.push_back(both_.at(entry));
                }
                both_.at(port)->getConnections() = list;
                return std::string();
            }};
}

Step Steps::onNode(Id node) {
    const std::size_t kind = below(6);
    const std::uint64_t time = below(1000);
    const char* names[] = {"setDirty(true) ", "setDirty(false) ", "setDirtyFlag ",
                           "node reset ",     "setProfileTime ",  "throws from now on or not "};
    return {counted(names[kind]) + "node " + idText(node),
            [=](World& world) {
                switch (kind) {
                    case 0:
                        world.setDirty(node, true);
                        break;
                    case 1:
                        world.setDirty(node, false);
                        break;
                    case 2:
                        world.nodes[node].dirty = true;
                        break;
                    case 3:
                        world.resetNode(node);
                        break;
                    case 4:
                        world.nodes[node].profileTime = time;
                        break;
                    default:
                        world.nodes[node].throws = !world.nodes[node].throws;
                        break;
                }
                return std::string();
            },
            [=] {
                switch (kind) {
                    case 0:
                        both_.twin(node)->setDirty(true);
                        break;
                    case 1:
                        both_.twin(node)->setDirty(false);
                        break;
                    case 2:
                        both_.twin(node)->setDirtyFlag();
                        break;
                    case 3:
                        both_.twin(node)->reset();
                        break;
                    case 4:
                        both_.twin(node)->setProfileTime(time);
                        break;
                    default:
                        both_.twin(node)->throws = !both_.twin(node)->throws;
                        break;
                }
                return std::string();
            }};
}

Step Steps::onPortLists(Id node) {
    const bool input = chance(60);
    const model::Node& told = both_.world.nodes[node];
    const std::size_t kind = below(3);
    if (kind == 0 && !both_.removed.empty()) {
        // A removed port comes back, to whichever node, or is thrown away.
        const Id port = *anyPlace(both_.removed);
        if (chance(60)) {
            return {counted("add again ") + both_.portText(port) + " to node " + idText(node),
                    [=](World& world) { return yesNo(world.addPort(node, port, input)); },
                    [=] {
                        const auto before = both_.twin(node)->numInputPorts() + both_.twin(node)->numOutputPorts();
                        input ? both_.twin(node)->addInputPort(both_.at(port))
                              : both_.twin(node)->addOutputPort(both_.at(port));
                        const bool added =
                            both_.twin(node)->numInputPorts() + both_.twin(node)->numOutputPorts() > before;
                        if (added) {
                            both_.removed.erase(port);
                        }
                        return yesNo(added);
                    }};
        }
        return {counted("throw away ") + both_.portText(port),
                [=](World& world) {
                    world.ports[port].alive = false;
                    return std::string();
                },
                [=] {
                    delete both_.at(port);
                    both_.removed.erase(port);
                    return std::string();
                }};
    }
    if (kind == 1) {
        const std::string name = any<std::string>({"x1", "x2", "a", "o"});
        const std::string type = any<std::string>({"DoublePort", "StringPort"});
        return {counted("add port ") + name + " to node " + idText(node),
                [=](World& world) {
                    const Id port = world.newPort(name, type);
                    const bool added = world.addPort(node, port, input);
                    if (!added) {
                        world.ports.pop_back();
                    }
                    return yesNo(added);
                },
                [=] {
                    std::unique_ptr<Port> port(makePort(name, type));
                    const auto before = both_.twin(node)->numInputPorts() + both_.twin(node)->numOutputPorts();
                    input ? both_.twin(node)->addInputPort(port.get()) : both_.twin(node)->addOutputPort(port.get());
                    const bool added = both_.twin(node)->numInputPorts() + both_.twin(node)->numOutputPorts() > before;
                    if (added) {
                        both_.ports.push_back(port.release());
                    }
                    return yesNo(added);
                }};
    }
    const std::vector<Id>& list = input ? told.inputs : told.outputs;
    const std::string name = list.empty() || chance(10) ? "nobody" : both_.world.ports[any(list)].name;
    const Id port = both_.world.findPort(node, name, input);
    return {counted("remove port ") + name + " of node " + idText(node),
            [=](World& world) {
                world.removePort(node, name, input);
                return std::string();
            },
            [=] {
                input ? both_.twin(node)->removeInputPort(name) : both_.twin(node)->removeOutputPort(name);
                if (port != none) {
                    both_.removed.insert(port);
                }
                return std::string();
            }};
}

Step Steps::onManager(Id manager, Id node) {
    NetworkManager* network = both_.managers[manager].get();
    const std::string on = "manager " + std::to_string(manager) + " ";
    const std::string name = anyName(manager);
    const std::size_t kind = below(32);
    if (kind < 8) {
        return {counted("deleteNode ") + on + name,
                [=](World& world) {
                    world.deleteNode(manager, name);
                    return std::string();
                },
                [=] {
                    network->deleteNode(name);
                    return std::string();
                }};
    }
    if (kind < 14) {
        const std::string to = newName();
        return {counted("renameNode ") + on + name + " to " + to,
                [=](World& world) { return yesNo(world.renameNode(manager, name, to)); },
                [=] { return yesNo(network->renameNode(name, to)); }};
    }
    if (kind < 18) {
        return {counted("cacheNodeNetwork ") + on + name,
                [=](World& world) {
                    world.cacheNodeNetwork(manager, name);
                    return std::string();
                },
                [=] {
                    network->cacheNodeNetwork(name);
                    return std::string();
                }};
    }
    if (kind < 20) {
        const bool all = chance(30);
        return {counted("clear orders ") + on + (all ? "all" : name),
                [=](World& world) {
                    std::map<std::string, std::vector<Id>>& orders = world.managers[manager].networkCache;
                    all ? orders.clear() : static_cast<void>(orders.erase(name));
                    return std::string();
                },
                [=] {
                    all ? network->clearNodeNetworkCaches() : network->clearNodeNetworkCache(name);
                    return std::string();
                }};
    }
    if (kind < 23) {
        const bool isNew = chance(40);
        const auto type = below(5);
        const std::string to = newName();
        return {counted("addNode ") + on + to + (isNew ? " new" : " " + idText(node)),
                [=](World& world) {
                    if (!isNew && node != none && world.isOwned(node)) {
                        return std::string("skip");
                    }
                    both_.expected = isNew ? world.newNode(type) : node;
                    world.addNode(manager, both_.expected, to);
                    return "node " + idText(both_.expected);
                },
                [=] {
                    Node* added = isNew ? new Twin(type) : node == none ? nullptr : both_.twin(node);
                    network->addNode(added, to);
                    return both_.meet(added);
                }};
    }
    if (kind < 24) {
        return {counted("delete by the host node ") + idText(node),
                [=](World& world) {
                    if (node == none || world.isOwned(node)) {
                        return std::string("skip");
                    }
                    world.destroyNode(node);
                    return std::string();
                },
                [=] {
                    delete both_.twin(node);
                    return std::string();
                }};
    }
    if (kind < 26) {
        return {counted("setAllNodeDirty ") + on,
                [=](World& world) {
                    for (const auto& [key, member] : world.managers[manager].nodes) {
                        world.nodes[member].dirty = true;
                    }
                    return std::string();
                },
                [=] {
                    network->setAllNodeDirty();
                    return std::string();
                }};
    }
    if (kind < 28) {
        return {counted("clearNodeCache ") + on,
                [=](World& world) {
                    world.clearNodeCache(manager);
                    return std::string();
                },
                [=] {
                    network->clearNodeCache();
                    return std::string();
                }};
    }
    if (kind < 30) {
        const bool clean = chance(20);
        return {counted(clean ? "cleanNetwork " : "manager reset ") + on,
                [=](World& world) {
                    clean ? world.cleanNetwork(manager) : world.reset(manager);
                    return std::string();
                },
                [=] {
                    clean ? network->cleanNetwork() : network->reset();
                    return std::string();
                }};
    }
    const bool assigns = chance(60);
    const Id other = assigns && chance(5) ? manager : 1 - manager;
    return {counted(assigns ? "assign " : "copy ") + on + "from " + std::to_string(other),
            [=](World& world) {
                world.assign(manager, other);
                return std::string();
            },
            [=] {
                NetworkManager& from = *both_.managers[other];
                if (assigns) {
                    *network = from;
                } else {
                    both_.managers[manager] = nullptr;
                    both_.managers[manager].reset(new NetworkManager(from.clone()));
                }
                for (const auto& [key, member] : both_.world.managers[manager].nodes) {
                    both_.expected = member;
                    both_.meet(both_.managers[manager]->getNode(key));
                }
                return std::string();
            }};
}

/// What a host does with nodes and ports itself, past the manager.
Step Steps::byHand(Id manager, Id node, Id port) {
    const std::size_t kind = below(6);
    const std::string name = newName();
    if (kind == 0) {
        return {counted("clone ") + "node " + idText(node),
                [=](World& world) {
                    both_.expected = world.cloneNode(node);
                    return "node " + idText(both_.expected);
                },
                [=] { return both_.meet(both_.twin(node)->clone()); }};
    }
    if (kind == 1) {
        return {counted("setName ") + "node " + idText(node) + " " + name,
                [=](World& world) {
                    world.nodes[node].name = name;
                    return std::string();
                },
                [=] {
                    both_.twin(node)->setName(name);
                    return std::string();
                }};
    }
    if (kind == 2) {
        return {counted("compute ") + "node " + idText(node),
                [=](World& world) {
                    world.computeByHand(node);
                    return std::string();
                },
                [=] {
                    both_.twin(node)->compute(nullptr);
                    return std::string();
                }};
    }
    if (kind == 3) {
        const Value value = anyValue();
        return {counted("write through ") + both_.portText(port),
                [=](World& world) {
                    world.writeThrough(port, value);
                    return std::string();
                },
                [=] {
                    if (auto* number = dynamic_cast<Numbers*>(both_.at(port))) {
                        number->getRef() = value.number;
                    } else {
                        dynamic_cast<Texts&>(*both_.at(port)).getRef() = value.text;
                    }
                    return std::string();
                }};
    }
    if (kind == 4) {
        const Id owner = chance(50) ? none : node;
        return {counted("setNode ") + both_.portText(port) + " " + idText(owner),
                [=](World& world) {
                    // A port in a node's list stays that node's.
                    if (world.isListed(port)) {
                        return std::string("skip");
                    }
                    world.ports[port].node = owner;
                    return std::string();
                },
                [=] {
                    both_.at(port)->setNode(owner == none ? nullptr : both_.twin(owner));
                    return std::string();
                }};
    }
    const std::string taken = anyName(manager);
    return {counted("getUniqueName ") + taken, [=](World& world) { return world.uniqueName(manager, taken); },
            [=] { return FreeName::of(*both_.managers[manager], taken); }};
}

Step Steps::onFactory() {
    const std::size_t kind = below(5);
    const std::size_t type = below(model::nodeTypes().size());
    const std::string name =
        chance(30) ? any<std::string>({"", "modelSum", "ModelNone"}) : model::nodeTypes()[type].name;
    if (kind == 0) {
        const bool isNull = chance(20);
        return {counted("registerNode ") + name + (isNull ? " null" : ""),
                [=](World& world) {
                    world.registerNode(name, isNull ? none : type);
                    return std::string();
                },
                [=] {
                    NodeFactory::instance().registerNode(name, isNull ? nullptr : Twin::creator(type));
                    return std::string();
                }};
    }
    if (kind == 1) {
        return {counted("deregisterNode ") + name,
                [=](World& world) {
                    world.deregisterNode(name);
                    return std::string();
                },
                [=] {
                    NodeFactory::instance().deregisterNode(name);
                    return std::string();
                }};
    }
    if (kind == 2) {
        return {counted("isRegistered ") + name, [=](World& world) { return yesNo(world.typeNamed(name) != none); },
                [=] { return yesNo(NodeFactory::instance().isRegistered(name)); }};
    }
    if (kind == 3) {
        return {counted("getRegisteredNodes"),
                [=](World& world) {
                    std::string all;
                    for (const auto& [known, made] : world.registered) {
                        all += known + " ";
                    }
                    return all;
                },
                [=] {
                    std::string all;
                    for (const std::string& known : NodeFactory::instance().getRegisteredNodes()) {
                        all += known + " ";
                    }
                    return all;
                }};
    }
    return {counted("make ") + name,
            [=](World& world) {
                const Id made = world.typeNamed(name);
                both_.expected = made == none ? none : world.newNode(made);
                return "node " + idText(both_.expected);
            },
            [=] { return both_.meet(NodeFactory::instance().createNode(name)); }};
}

}  // namespace twins
