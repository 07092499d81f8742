#include <tests/graph/model/Pair.h>

#include <TessilGraph/graph/NetworkManager.h>
#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/graph/model/Model.h>

#include <TessilUtils/Logger.h>

#include <gtest/gtest-printers.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <mutex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace twins {
namespace {

using model::Id;
using model::none;
using model::Value;
using model::World;
using TessilGraph::ComputeData;
using TessilGraph::NetworkManager;
using TessilGraph::Node;
using TessilGraph::NodeFactory;
using TessilGraph::Port;
using TessilGraph::PortTemplate;
using Numbers = PortTemplate<double>;
using Texts = PortTemplate<std::string>;

/// What the library's nodes did since the last look.
struct Record {
    std::mutex mutex;
    std::vector<Id> computed;
    std::vector<Id> destroyed;
};

/// Networks with more nodes are not looked at.
constexpr std::size_t mostNodes = 4000;

Record record;

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Value valueOf(Port* port) {
    Value value;
    if (auto* number = dynamic_cast<Numbers*>(port)) {
        value.number = number->get();
    } else {
        value.text = dynamic_cast<Texts&>(*port).get();
    }
    return value;
}

void setValue(Port* port, const Value& value) {
    if (auto* number = dynamic_cast<Numbers*>(port)) {
        number->set(value.number);
    } else {
        dynamic_cast<Texts&>(*port).set(value.text);
    }
}

Port* makePort(const std::string& name, const std::string& type) {
    if (type == "DoublePort") {
        return new Numbers(name);
    }
    return new Texts(name);
}

/// The library's side of a node of the model.
class Twin : public Node {
public:
    explicit Twin(std::size_t type) : type_(type) {
        for (const model::PortType& port : model::nodeTypes()[type].inputs) {
            addInputPort(makePort(port.name, port.type));
        }
        for (const model::PortType& port : model::nodeTypes()[type].outputs) {
            addOutputPort(makePort(port.name, port.type));
        }
    }
    ~Twin() override { record.destroyed.push_back(id); }

    template <std::size_t Type>
    static Node* creator() {
        return new Twin(Type);
    }

    std::string typeStr() const override { return model::nodeTypes()[type_].name; }
    unsigned int typeId() const override { return model::nodeTypes()[type_].id; }

    Node* clone() override {
        auto* copy = new Twin(type_);
        copy->setName(name());
        for (auto port = inputPortBegin(); port != inputPortEnd(); ++port) {
            Port* copied = copy->getInputPort((*port)->name());
            if ((*port)->numConnections() == 0 && copied != nullptr && copied->typeStr() == (*port)->typeStr()) {
                copied->copyValue(*port);
            }
        }
        return copy;
    }

    bool compute(const ComputeData*) override {
        {
            const std::lock_guard<std::mutex> guard(record.mutex);
            record.computed.push_back(id);
        }
        if (throws) {
            throw Failure(name());
        }
        ++computes;
        std::vector<Value> inputs;
        for (auto port = inputPortBegin(); port != inputPortEnd(); ++port) {
            inputs.push_back(valueOf(*port));
        }
        std::size_t index = 0;
        for (auto port = outputPortBegin(); port != outputPortEnd(); ++port) {
            setValue(*port, model::outcome(inputs, computes, index++));
        }
        return computes % 2 == 0;
    }

    Id id = none;
    int computes = 0;
    bool throws = false;

private:
    std::size_t type_;
};

void registerTwins() {
    static const bool once = [] {
        NodeFactory& factory = NodeFactory::instance();
        factory.registerNode("ModelSum", Twin::creator<0>);
        factory.registerNode("ModelText", Twin::creator<1>);
        factory.registerNode("ModelMixed", Twin::creator<2>);
        factory.registerNode("ModelSource", Twin::creator<3>);
        factory.registerNode("ModelWide", Twin::creator<4>);
        return true;
    }();
    static_cast<void>(once);
}

/// A port of no node, whose direction is chosen.
template <class T>
class Loose : public PortTemplate<T> {
public:
    Loose(const std::string& name, bool input) : PortTemplate<T>(name) { this->setAsInput(input); }
};

}  // namespace

class Pair::Impl {
public:
    Impl() {
        previousSink_ = TessilUtils::Logger::setSink([this](TessilUtils::LogLevel, const std::string& message) {
            const std::lock_guard<std::mutex> guard(record.mutex);
            messages_.push_back(message);
        });
        registerTwins();
        world_.managers.resize(2);
        for (Id index = 0; index < 2; ++index) {
            managers_.push_back(std::make_unique<NetworkManager>());
        }
        for (std::size_t index = 0; index < 4; ++index) {
            world_.outside.push_back({static_cast<double>(index) + 0.25, "outside" + std::to_string(index)});
            numbers_.push_back(world_.outside.back().number);
            texts_.push_back(world_.outside.back().text);
        }
        for (const bool input : {true, false}) {
            addLoose(std::make_unique<Loose<double>>("loose", input), "DoublePort", input);
            addLoose(std::make_unique<Loose<std::string>>("loose", input), "StringPort", input);
        }
    }

    ~Impl() {
        managers_.clear();
        for (Id manager = 0; manager < 2; ++manager) {
            world_.cleanNetwork(manager);
        }
        for (Id id = 0; id < world_.nodes.size(); ++id) {
            if (world_.nodes[id].alive) {
                delete nodes_[id];
            }
        }
        for (Id id = 0; id < world_.ports.size(); ++id) {
            if (removed_.count(id) > 0) {
                delete ports_[id];
            }
        }
        TessilUtils::Logger::setSink(std::move(previousSink_));
    }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    Taken step(const Words& words) {
        words_ = &words;
        used_ = 0;
        const Step step = choose();
        next_ = world_;
        next_.beginStep();
        const std::string expected = step.inModel(next_);
        if (expected == "skip" || next_.ambiguous || !next_.isSound() || next_.nodes.size() > mostNodes) {
            return Taken::Skipped;
        }
        ++kinds_[kind_];
        history_.push_back(step.text);
        record.computed.clear();
        record.destroyed.clear();
        messages_.clear();
        std::swap(world_, next_);
        std::string actual;
        bool threw = false;
        try {
            actual = step.inLibrary();
        } catch (const Failure&) {
            threw = true;
            actual = expected;
        }
        compare(expected, actual, threw);
        return isAlike() ? Taken::Alike : Taken::Differently;
    }

    std::string report() const {
        std::ostringstream text;
        text << differences_.str() << "after the steps\n";
        const std::size_t first = history_.size() > 30 ? history_.size() - 30 : 0;
        for (std::size_t index = first; index < history_.size(); ++index) {
            text << index << ": " << history_[index] << '\n';
        }
        return text.str();
    }

    const std::map<std::string, int>& kinds() const { return kinds_; }

private:
    struct Step {
        std::string text;
        std::function<std::string(World&)> inModel;
        std::function<std::string()> inLibrary;
    };

    // Choosing

    /// The next of the step's numbers; those that are missing are 0.
    std::size_t below(std::size_t end) { return used_ < words_->size() ? (*words_)[used_++] % end : 0; }
    bool chance(std::size_t percent) { return below(100) < percent; }

    template <class T>
    const T& any(const std::vector<T>& items) {
        return items[below(items.size())];
    }

    template <class Items>
    typename Items::const_iterator anyPlace(const Items& items) {
        const std::size_t steps = below(items.size());
        return std::next(items.begin(), static_cast<std::ptrdiff_t>(steps));
    }

    std::vector<Id> aliveNodes() const {
        std::vector<Id> ids;
        for (Id id = 0; id < world_.nodes.size(); ++id) {
            if (world_.nodes[id].alive) {
                ids.push_back(id);
            }
        }
        return ids;
    }

    std::vector<Id> alivePorts() const {
        std::vector<Id> ids;
        for (Id id = 0; id < world_.ports.size(); ++id) {
            if (world_.ports[id].alive) {
                ids.push_back(id);
            }
        }
        return ids;
    }

    /// Mostly a node of the network.
    std::string anyName(Id manager) {
        std::vector<std::string> names;
        for (const auto& [name, node] : world_.managers[manager].nodes) {
            names.push_back(name);
        }
        if (names.empty() || chance(5)) {
            return any<std::string>({"a", "b", "nobody", ""});
        }
        return any(names);
    }

    std::string newName() { return any<std::string>({"a", "b", "c", "a1", "b1", "x y", "", "d"}); }

    Value anyValue() { return {static_cast<double>(below(1000)) / 4.0, "v" + std::to_string(below(1000))}; }

    static std::string yesNo(bool answer) { return answer ? "true" : "false"; }

    static std::string idText(Id id) { return id == none ? "none" : std::to_string(id); }

    std::string portText(Id port) const {
        if (port == none) {
            return "null";
        }
        const model::Port& told = world_.ports[port];
        return "port " + std::to_string(port) + " (node " + idText(told.node) + " " + told.name +
               (told.input ? " in)" : " out)");
    }

    Port* at(Id port) { return port == none ? nullptr : ports_[port]; }
    Twin* twin(Id node) { return nodes_[node]; }

    Step choose() {
        const Id manager = chance(80) ? 0 : 1;
        NetworkManager* network = managers_[manager].get();
        const std::string on = "manager " + std::to_string(manager) + " ";
        const std::vector<Id> ports = alivePorts();
        const std::vector<Id> nodes = aliveNodes();
        const Id port = any(ports);
        const Id node = nodes.empty() ? none : any(nodes);
        const std::size_t kind = below(100);
        if (kind < 12 || nodes.size() < 6) {
            const std::string type =
                chance(8) ? any<std::string>({"modelSum", "NoSuchType", "", "modelsum"}) : any(model::nodeTypes()).name;
            const std::string name = newName();
            return {counted("createNode ") + on + type + " " + name,
                    [=](World& world) {
                        expectedNode_ = world.createNode(manager, type, name);
                        return "node " + idText(expectedNode_);
                    },
                    [=] { return meet(network->createNode(type, name)); }};
        }
        if (kind < 30) {
            const std::vector<std::string> names = {anyName(manager), any<std::string>({"o", "o", "o", "t", "p", "a"}),
                                                    anyName(manager),
                                                    any<std::string>({"a", "b", "t", "c", "x1", "o"})};
            const bool makes = chance(80);
            return {counted(makes ? "connectAttr " : "disconnectAttr ") + on + names[0] + "." + names[1] + " " +
                        names[2] + "." + names[3],
                    [=](World& world) {
                        return yesNo(makes ? world.connectAttr(manager, names) : world.disconnectAttr(manager, names));
                    },
                    [=] {
                        return yesNo(makes ? network->connectAttr(names[0], names[1], names[2], names[3])
                                           : network->disconnectAttr(names[0], names[1], names[2], names[3]));
                    }};
        }
        if (kind < 38) {
            const std::vector<Id>& mine = world_.ports[port].connections;
            const bool makes = chance(70);
            Id other = chance(2) ? none : any(ports);
            if (!makes && !mine.empty() && chance(80)) {
                other = any(mine);
            }
            return {
                counted(makes ? "connectTo " : "disconnectFrom ") + portText(port) + " " + portText(other),
                [=](World& world) { return yesNo(makes ? world.connect(port, other) : world.disconnect(port, other)); },
                [=] { return yesNo(makes ? at(port)->connectTo(at(other)) : at(port)->disconnectFrom(at(other))); }};
        }
        if (kind < 56) {
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
        if (kind < 64) {
            const Value value = anyValue();
            return {counted("set ") + portText(port),
                    [=](World& world) {
                        world.set(port, value);
                        return std::string();
                    },
                    [=] {
                        setValue(at(port), value);
                        return std::string();
                    }};
        }
        if (kind < 68) {
            return handEdit(port, ports);
        }
        if (kind < 70) {
            const Id link = chance(30) ? none : below(4);
            return {counted("setLink ") + portText(port) + " " + idText(link),
                    [=](World& world) {
                        world.ports[port].link = link;
                        return std::string();
                    },
                    [=] {
                        const Id index = link == none ? 0 : link;
                        if (auto* number = dynamic_cast<Numbers*>(at(port))) {
                            number->setLink(link == none ? nullptr : &numbers_[index]);
                        } else {
                            dynamic_cast<Texts*>(at(port))->setLink(link == none ? nullptr : &texts_[index]);
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
                        numbers_[index] = value.number;
                        texts_[index] = value.text;
                        return std::string();
                    }};
        }
        if (kind < 73) {
            const Id from = any(ports);
            return {counted("copyValue ") + portText(port) + " from " + portText(from),
                    [=](World& world) {
                        if (world.ports[port].type != world.ports[from].type) {
                            return std::string("skip");
                        }
                        world.copyValue(port, from);
                        return std::string();
                    },
                    [=] {
                        at(port)->copyValue(at(from));
                        return std::string();
                    }};
        }
        if (kind < 74) {
            return {counted("reset ") + portText(port),
                    [=](World& world) {
                        world.resetPort(port);
                        return std::string();
                    },
                    [=] {
                        at(port)->reset();
                        return std::string();
                    }};
        }
        if (kind < 80 && node != none) {
            return onNode(node);
        }
        if (kind < 84 && node != none) {
            return onPortLists(node);
        }
        return onManager(manager, node);
    }

    Step handEdit(Id port, const std::vector<Id>& ports) {
        const Id other = any(ports);
        const std::size_t kind = below(4);
        const std::vector<Id> before = world_.ports[port].connections;
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
        return {counted("edit the list of ") + portText(port) + " kind " + std::to_string(kind) + " " + portText(other),
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
                        list.push_back(at(entry));
                    }
                    at(port)->getConnections() = list;
                    return std::string();
                }};
    }

    Step onNode(Id node) {
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
                            twin(node)->setDirty(true);
                            break;
                        case 1:
                            twin(node)->setDirty(false);
                            break;
                        case 2:
                            twin(node)->setDirtyFlag();
                            break;
                        case 3:
                            twin(node)->reset();
                            break;
                        case 4:
                            twin(node)->setProfileTime(time);
                            break;
                        default:
                            twin(node)->throws = !twin(node)->throws;
                            break;
                    }
                    return std::string();
                }};
    }

    Step onPortLists(Id node) {
        const bool input = chance(60);
        const model::Node& told = world_.nodes[node];
        const std::size_t kind = below(3);
        if (kind == 0 && !removed_.empty()) {
            // A removed port comes back, to whichever node, or is thrown away.
            const Id port = *anyPlace(removed_);
            if (chance(60)) {
                return {counted("add again ") + portText(port) + " to node " + idText(node),
                        [=](World& world) { return yesNo(world.addPort(node, port, input)); },
                        [=] {
                            const auto before = twin(node)->numInputPorts() + twin(node)->numOutputPorts();
                            input ? twin(node)->addInputPort(at(port)) : twin(node)->addOutputPort(at(port));
                            const bool added = twin(node)->numInputPorts() + twin(node)->numOutputPorts() > before;
                            if (added) {
                                removed_.erase(port);
                            }
                            return yesNo(added);
                        }};
            }
            return {counted("throw away ") + portText(port),
                    [=](World& world) {
                        world.ports[port].alive = false;
                        return std::string();
                    },
                    [=] {
                        delete at(port);
                        removed_.erase(port);
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
                        const auto before = twin(node)->numInputPorts() + twin(node)->numOutputPorts();
                        input ? twin(node)->addInputPort(port.get()) : twin(node)->addOutputPort(port.get());
                        const bool added = twin(node)->numInputPorts() + twin(node)->numOutputPorts() > before;
                        if (added) {
                            ports_.push_back(port.release());
                        }
                        return yesNo(added);
                    }};
        }
        const std::vector<Id>& list = input ? told.inputs : told.outputs;
        const std::string name = list.empty() || chance(10) ? "nobody" : world_.ports[any(list)].name;
        const Id port = world_.findPort(node, name, input);
        return {counted("remove port ") + name + " of node " + idText(node),
                [=](World& world) {
                    world.removePort(node, name, input);
                    return std::string();
                },
                [=] {
                    input ? twin(node)->removeInputPort(name) : twin(node)->removeOutputPort(name);
                    if (port != none) {
                        removed_.insert(port);
                    }
                    return std::string();
                }};
    }

    Step onManager(Id manager, Id node) {
        NetworkManager* network = managers_[manager].get();
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
                        expectedNode_ = isNew ? world.newNode(type) : node;
                        world.addNode(manager, expectedNode_, to);
                        return "node " + idText(expectedNode_);
                    },
                    [=] {
                        Node* added = isNew ? new Twin(type) : node == none ? nullptr : twin(node);
                        network->addNode(added, to);
                        return meet(added);
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
                        delete twin(node);
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
                    NetworkManager& from = *managers_[other];
                    if (assigns) {
                        *network = from;
                    } else {
                        managers_[manager] = nullptr;
                        managers_[manager].reset(new NetworkManager(from.clone()));
                    }
                    for (const auto& [key, member] : world_.managers[manager].nodes) {
                        expectedNode_ = member;
                        meet(managers_[manager]->getNode(key));
                    }
                    return std::string();
                }};
    }

    // Meeting what is new

    void addLoose(std::unique_ptr<Port> port, const std::string& type, bool input) {
        const Id id = world_.newPort("loose", type);
        world_.ports[id].input = input;
        ports_.push_back(port.get());
        loose_.push_back(std::move(port));
    }

    /// Learns which of the library's nodes is the expected one of the model, unless it is known.
    std::string meet(Node* found) {
        if (found == nullptr) {
            return "node " + idText(none);
        }
        auto* met = dynamic_cast<Twin*>(found);
        if (met->id == none && expectedNode_ != none) {
            met->id = expectedNode_;
            const model::Node& told = world_.nodes[expectedNode_];
            nodes_.resize(std::max(nodes_.size(), expectedNode_ + 1));
            nodes_[expectedNode_] = met;
            ports_.resize(world_.ports.size());
            std::size_t position = 0;
            for (auto port = met->inputPortBegin(); port != met->inputPortEnd(); ++port) {
                ports_[told.inputs.at(position++)] = *port;
            }
            position = 0;
            for (auto port = met->outputPortBegin(); port != met->outputPortEnd(); ++port) {
                ports_[told.outputs.at(position++)] = *port;
            }
        }
        return "node " + idText(met->id);
    }

    // Comparing

    /// Where something is compared. It becomes text only when something differs there.
    struct Place {
        const char* kind;  ///< "node", "port" or "manager", or else what is compared.
        Id id = none;
        const char* part = "";
    };

    std::string text(const Place& place) const {
        const std::string kind = place.kind;
        return (kind == "port" ? portText(place.id) : kind + " " + idText(place.id)) + " " + place.part;
    }

    template <class T, class F>
    void same(const Place& place, const T& told, const F& found) {
        if (!(told == found)) {
            differences_ << text(place) << ": model and library differ: " << testing::PrintToString(told) << " and "
                         << testing::PrintToString(found) << '\n';
        }
    }

    void samePorts(const Place& place, const std::vector<Id>& told, const std::vector<Port*>& found) {
        const auto isSame = [this](Id id, const Port* port) { return at(id) == port; };
        if (!std::equal(told.begin(), told.end(), found.begin(), found.end(), isSame)) {
            std::vector<Port*> ports;
            for (const Id id : told) {
                ports.push_back(at(id));
            }
            same(place, ports, found);
        }
    }

    void compare(const std::string& expected, const std::string& actual, bool threw) {
        same({"result"}, expected, actual);
        same({"messages"}, world_.log, messages_);
        same({"destroyed nodes"}, world_.destroyed, record.destroyed);
        same({"exception"}, world_.threw, threw);
        compareRun();
        if (!isAlike()) {
            return;
        }
        for (Id id = 0; id < world_.nodes.size(); ++id) {
            if (world_.nodes[id].alive) {
                compareNode(id);
            }
        }
        for (Id id = 0; id < world_.ports.size(); ++id) {
            if (world_.ports[id].alive) {
                comparePort(id);
            }
        }
        for (std::size_t index = 0; index < managers_.size(); ++index) {
            compareManager(index);
        }
    }

    bool isAlike() { return differences_.tellp() == 0; }

    void compareRun() {
        std::size_t position = 0;
        for (const std::vector<Id>& together : world_.ran) {
            std::vector<Id> found;
            while (found.size() < together.size() && position < record.computed.size()) {
                found.push_back(record.computed[position++]);
            }
            for (const Id node : together) {
                for (const Id port : world_.nodes[node].inputs) {
                    const auto source = std::find(found.begin(), found.end(), world_.upstream(port));
                    if (source != found.end() && source > std::find(found.begin(), found.end(), node)) {
                        differences_ << "node " << node << " was computed before its source " << *source << '\n';
                    }
                }
            }
            std::vector<Id> told = together;
            std::sort(told.begin(), told.end());
            std::sort(found.begin(), found.end());
            same({"computed together"}, told, found);
        }
        same({"number of computes"}, position, record.computed.size());
    }

    void compareNode(Id id) {
        const model::Node& told = world_.nodes[id];
        const Twin& found = *nodes_[id];
        same({"node", id, "name"}, told.name, found.name());
        same({"node", id, "dirty"}, told.dirty, found.isDirty());
        same({"node", id, "profile time"}, told.profileTime, found.profileTime());
        same({"node", id, "computes"}, told.computes, found.computes);
        samePorts({"node", id, "inputs"}, told.inputs, portsOf(found.inputPortCBegin(), found.inputPortCEnd()));
        samePorts({"node", id, "outputs"}, told.outputs, portsOf(found.outputPortCBegin(), found.outputPortCEnd()));
        const std::vector<std::string> names = found.getInputPortNames();
        same({"node", id, "number of names"}, told.inputs.size(), names.size());
        for (std::size_t index = 0; index < told.inputs.size() && isAlike(); ++index) {
            const Id port = told.inputs[index];
            same({"node", id, "input name"}, world_.ports[port].name, names[index]);
            same({"node", id, "input by name"}, at(port), nodes_[id]->getInputPort(names[index]));
        }
    }

    /// The list of which these are the ends.
    const std::vector<Port*>& portsOf(std::vector<Port*>::const_iterator begin,
                                      std::vector<Port*>::const_iterator end) {
        list_.assign(begin, end);
        return list_;
    }

    void comparePort(Id id) {
        const model::Port& told = world_.ports[id];
        const Port& found = *ports_[id];  // Without const, the library would take its list for edited.
        same({"port", id, "name"}, told.name, found.name());
        same({"port", id, "node"}, told.node == none ? nullptr : static_cast<Node*>(twin(told.node)), found.node());
        same({"port", id, "direction"}, told.input, found.isInput());
        samePorts({"port", id, "connections"}, told.connections, found.getConnections());
        same({"port", id, "source"}, told.input && !told.connections.empty() ? at(told.connections.front()) : nullptr,
             found.input());
        const Value& value = world_.read(id);
        if (auto* number = dynamic_cast<Numbers*>(ports_[id])) {
            same({"port", id, "value"}, value.number, number->get());
        } else {
            same({"port", id, "value"}, value.text, dynamic_cast<Texts&>(*ports_[id]).get());
        }
    }

    void compareManager(Id index) {
        const model::Manager& told = world_.managers[index];
        NetworkManager& found = *managers_[index];
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
            Node* node = twin(id);
            same({"manager", index, "name"}, name, names[place]);
            same({"manager", index, "node"}, node, nodes[place]);
            same({"manager", index, "node by name"}, node, found.getNode(name));
            Node*& first = firstOfType[world_.nodes[id].type];
            first = first == nullptr ? node : first;
            ++place;
        }
        for (std::size_t type = 0; type < firstOfType.size(); ++type) {
            same({"manager", index, "node by type"}, firstOfType[type],
                 found.getNodeByType(model::nodeTypes()[type].id));
        }
    }

    const std::string& counted(const std::string& kind) {
        kind_ = kind;
        return kind_;
    }

    const Words* words_ = nullptr;
    std::size_t used_ = 0;
    World world_;
    World next_;  ///< Kept for its memory.
    std::vector<std::unique_ptr<NetworkManager>> managers_;
    std::vector<Twin*> nodes_;
    std::vector<Port*> ports_;
    std::vector<std::unique_ptr<Port>> loose_;
    std::set<Id> removed_;
    std::vector<double> numbers_;
    std::vector<std::string> texts_;
    Id expectedNode_ = none;
    std::string kind_;
    std::vector<std::string> history_;
    std::map<std::string, int> kinds_;
    TessilUtils::Logger::Sink previousSink_;
    std::vector<std::string> messages_;  ///< Of the last step.
    std::ostringstream differences_;
    std::vector<Port*> list_;
};

Pair::Pair() : impl_(std::make_unique<Impl>()) {}

Pair::~Pair() = default;

Taken Pair::step(const Words& words) {
    return impl_->step(words);
}

std::string Pair::report() const {
    return impl_->report();
}

const std::map<std::string, int>& Pair::kinds() const {
    return impl_->kinds();
}

}  // namespace twins
