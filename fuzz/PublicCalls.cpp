// Sequences of public calls with names, types and values of any kind and null where a pointer is taken. After each
// sequence the network's books agree with each other, and all of it goes without a leak.

#include <TessilGraph/TessilGraph.h>

#include <fuzz/ArbitraryValues.h>
#include <fuzz/Expect.h>
#include <fuzz/QuietLog.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using fuzz::expect;
using TessilGraph::NetworkManager;
using TessilGraph::Node;
using TessilGraph::NodeFactory;
using TessilGraph::Port;
using TessilGraph::PortTemplate;

namespace {

constexpr std::size_t mostCalls = 400;
constexpr std::size_t mostNodes = 200;

class Host {
public:
    explicit Host(FuzzedDataProvider& data) : data_(data) {}

    void callAll() {
        for (std::size_t call = 0; call < mostCalls && data_.remaining_bytes() > 0; ++call) {
            callOne();
        }
        for (NetworkManager& network : networks_) {
            check(network);
        }
    }

private:
    NetworkManager& anyNetwork() { return networks_[data_.ConsumeBool() ? 1 : 0]; }

    std::string anyText() { return data_.ConsumeRandomLengthString(40); }

    /// Mostly one that there is.
    std::string anyName(NetworkManager& network) {
        const std::vector<std::string> names = network.getNodeNames();
        return names.empty() || data_.ConsumeIntegralInRange(0, 15) == 0 ? anyText() : pick(names);
    }

    template <class T>
    const T& pick(const std::vector<T>& items) {
        return items[data_.ConsumeIntegralInRange<std::size_t>(0, items.size() - 1)];
    }

    std::string anyType() {
        static const std::vector<std::string> types = NodeFactory::instance().getRegisteredNodes();
        return data_.ConsumeIntegralInRange(0, 15) == 0 ? anyText() : pick(types);
    }

    Node* anyNode(NetworkManager& network) { return network.getNode(anyName(network)); }

    std::vector<Port*> portsOf(const Node& node, bool inputs) {
        return inputs ? std::vector<Port*>(node.inputPortCBegin(), node.inputPortCEnd())
                      : std::vector<Port*>(node.outputPortCBegin(), node.outputPortCEnd());
    }

    Port* anyPort(NetworkManager& network, bool input) {
        const Node* node = anyNode(network);
        if (node == nullptr) {
            return nullptr;
        }
        const std::vector<Port*> ports = portsOf(*node, input);
        return ports.empty() ? nullptr : pick(ports);
    }

    std::string anyPortName(NetworkManager& network, const std::string& node, bool input) {
        const Node* found = network.getNode(node);
        if (found == nullptr || data_.ConsumeIntegralInRange(0, 15) == 0) {
            return anyText();
        }
        const std::vector<Port*> ports = portsOf(*found, input);
        return ports.empty() ? anyText() : pick(ports)->name();
    }

    bool isFull() { return networks_[0].getNodeNames().size() + networks_[1].getNodeNames().size() > mostNodes; }

    void make(NetworkManager& network) {
        if (isFull()) {
            return;
        }
        if (data_.ConsumeIntegralInRange(0, 3) != 0) {
            network.createNode(anyType(), anyText());
            return;
        }
        Node* node = NodeFactory::instance().createNode(anyType());
        network.addNode(node, anyText());
        hasHostsNodes_ = hasHostsNodes_ || node != nullptr;
    }

    void link(NetworkManager& network, bool makes) {
        const std::string source = anyName(network);
        const std::string target = anyName(network);
        const bool isRightWay = data_.ConsumeIntegralInRange(0, 15) != 0;
        const std::string from = anyPortName(network, source, !isRightWay);
        const std::string to = anyPortName(network, target, isRightWay);
        makes ? network.connectAttr(source, from, target, to) : network.disconnectAttr(source, from, target, to);
    }

    void linkPorts() {
        Port* port = anyPort(networks_[0], data_.ConsumeBool());
        Port* other = anyPort(networks_[0], data_.ConsumeBool());
        if (port != nullptr) {
            data_.ConsumeIntegralInRange(0, 3) != 0 ? port->connectTo(other) : port->disconnectFrom(other);
        }
    }

    void setPort(NetworkManager& network) {
        Port* port = anyPort(network, data_.ConsumeIntegralInRange(0, 3) != 0);
        if (port == nullptr) {
            return;
        }
        set<double>(*port) || set<TessilGraph::Long>(*port) || set<Imath::V3d>(*port) || set<Imath::M44d>(*port) ||
            set<Imath::Quatd>(*port) || setText(*port);
    }

    template <class T>
    bool set(Port& port) {
        auto* typed = dynamic_cast<PortTemplate<T>*>(&port);
        if (typed == nullptr) {
            return false;
        }
        static T outside{};
        switch (data_.ConsumeIntegralInRange(0, 7)) {
            case 0:
                typed->setLink(nullptr);
                break;
            case 1:
                typed->setLink(&outside);
                break;
            case 2:
                typed->copyValue(nullptr);
                break;
            default:
                typed->set(fuzz::bitsOf<T>(data_));
        }
        return true;
    }

    bool setText(Port& port) {
        auto* typed = dynamic_cast<PortTemplate<std::string>*>(&port);
        if (typed != nullptr) {
            typed->set(anyText());
        }
        return typed != nullptr;
    }

    void evaluate(NetworkManager& network) {
        const std::string name = anyName(network);
        switch (data_.ConsumeIntegralInRange(0, 7)) {
            case 0:
                network.cacheNodeNetwork(name);
                break;
            case 1:
                network.clearNodeNetworkCache(name);
                break;
            case 2:
                network.clearNodeNetworkCaches();
                break;
            case 3:
                network.setAllNodeDirty();
                break;
            case 4:
                prepared_.emplace(network, std::vector<std::string>{name, anyName(network)});
                break;
            case 5:
                if (prepared_.has_value()) {
                    TessilGraph::RunOptions options;
                    options.parallel = data_.ConsumeBool();
                    options.cutOff = data_.ConsumeBool();
                    prepared_->run(nullptr, options);
                }
                break;
            case 6:
                runFrames(network);
                break;
            default: {
                const bool parallel = data_.ConsumeBool();
                network.computeNode(name, nullptr, parallel, data_.ConsumeBool());
            }
        }
    }

    void runFrames(NetworkManager& network) {
        TessilGraph::Frames frames(network, data_.ConsumeIntegralInRange<std::size_t>(0, 4));
        const std::string driven = anyName(network);
        std::vector<double> values(data_.ConsumeIntegralInRange<std::size_t>(0, 5));
        frames.drive(driven, anyPortName(network, driven, true), values);
        const std::string read = anyName(network);
        const std::string port = anyPortName(network, read, data_.ConsumeBool());
        frames.collect<double>(read, port);
        frames.run();
        frames.column<double>(read, port);
    }

    void touchNode(NetworkManager& network) {
        Node* node = anyNode(network);
        if (node == nullptr) {
            return;
        }
        switch (data_.ConsumeIntegralInRange(0, 5)) {
            case 0:
                node->setDirty(data_.ConsumeBool());
                break;
            case 1:
                node->setDirtyFlag();
                break;
            case 2:
                node->addInputPort(nullptr);
                node->addOutputPort(nullptr);
                break;
            case 3:
                node->setProfileTime(fuzz::bitsOf<std::uint64_t>(data_));
                break;
            case 4:
                node->removeInputPort(anyText() + "?");
                node->removeOutputPort(anyText() + "?");
                break;
            default:
                addPort(*node);
        }
    }

    void addPort(Node& node) {
        auto port = std::make_unique<PortTemplate<double>>(anyText());
        const bool asInput = data_.ConsumeBool();
        const std::uint64_t before = node.numInputPorts() + node.numOutputPorts();
        asInput ? node.addInputPort(port.get()) : node.addOutputPort(port.get());
        if (node.numInputPorts() + node.numOutputPorts() > before) {
            static_cast<void>(port.release());
        }
    }

    void changeNetwork(NetworkManager& network) {
        const std::string name = anyName(network);
        switch (data_.ConsumeIntegralInRange(0, 12)) {
            case 0:
            case 1:
            case 2:
                network.deleteNode(name);
                break;
            case 3:
            case 4:
            case 5:
                network.renameNode(name, anyText());
                break;
            case 6:
                network.clearNodeCache();
                break;
            case 7:
                network.addNode(nullptr, anyText());
                break;
            case 8:
                network.getNodeByType(fuzz::bitsOf<unsigned int>(data_));
                break;
            case 9:
                NodeFactory::instance().registerNode(anyText(), nullptr);
                break;
            case 10:
                if (!isFull()) {
                    networks_[1] = networks_[0];
                    hasHostsNodes_ = true;
                }
                break;
            case 11:
                reset(network);
                break;
            default:
                network.cleanNetwork();
        }
    }

    /// What came in through `addNode` or by copying would be the host's afterwards, and so would waiting nodes
    /// under whose names others are made.
    void reset(NetworkManager& network) {
        if (hasHostsNodes_) {
            return;
        }
        std::vector<std::pair<std::string, std::string>> made;
        for (Node* node : network.getAllNodes()) {
            made.emplace_back(node->typeStr(), node->name());
        }
        network.reset();
        for (const auto& [type, name] : made) {
            if (data_.ConsumeBool()) {
                network.createNode(type, name);
            }
        }
        network.clearNodeCache();
    }

    void callOne() {
        NetworkManager& network = anyNetwork();
        const int kind = data_.ConsumeIntegralInRange(0, 31);
        if (kind < 7) {
            make(network);
        } else if (kind < 13) {
            link(network, kind != 12);
        } else if (kind < 16) {
            linkPorts();
        } else if (kind < 21) {
            setPort(network);
        } else if (kind < 26) {
            evaluate(network);
        } else if (kind < 28) {
            touchNode(network);
        } else {
            changeNetwork(network);
        }
    }

    /// Names are unique and in order, and every link has two ends.
    void check(NetworkManager& network) {
        const std::vector<std::string> names = network.getNodeNames();
        const std::vector<Node*> nodes = network.getAllNodes();
        expect(names.size() == nodes.size(), "as many names as nodes");
        expect(std::adjacent_find(names.begin(), names.end(), std::greater_equal<std::string>()) == names.end(),
               "names in ascending order, none twice");
        for (std::size_t place = 0; place < names.size(); ++place) {
            expect(network.getNode(names[place]) == nodes[place], "a node under its name");
            for (const bool inputs : {true, false}) {
                for (const Port* port : portsOf(*nodes[place], inputs)) {
                    checkLinks(*port, *nodes[place]);
                }
            }
        }
    }

    static void checkLinks(const Port& port, const Node& node) {
        expect(port.node() == &node, "a port knows its node");
        expect(!port.isInput() || port.numConnections() <= 1, "an input has one source");
        for (const Port* peer : port.getConnections()) {
            const std::vector<Port*>& back = peer->getConnections();
            expect(std::find(back.begin(), back.end(), &port) != back.end(), "a link has two ends");
        }
    }

    FuzzedDataProvider& data_;
    NetworkManager networks_[2];
    std::optional<TessilGraph::PreparedEvaluation> prepared_;
    bool hasHostsNodes_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const bool isStarted = (TessilGraph::initTessilGraph(), true);
    static_cast<void>(isStarted);
    FuzzedDataProvider data(bytes, size);
    Host(data).callAll();
    return 0;
}
