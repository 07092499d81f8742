// Sequences of public calls with names, types and values of any kind and null where a pointer is taken. After each
// sequence the network's books agree with each other, and all of it goes without a leak.

#include <TessilGraph/TessilGraph.h>

#include <fuzz/ArbitraryValues.h>
#include <fuzz/Belongings.h>
#include <fuzz/Expect.h>
#include <fuzz/HostTypes.h>
#include <fuzz/QuietLog.h>
#include <fuzz/Watch.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using fuzz::expect;
using fuzz::PortTypes;
using TessilGraph::Frames;
using TessilGraph::NetworkManager;
using TessilGraph::Node;
using TessilGraph::NodeFactory;
using TessilGraph::Port;
using TessilGraph::PreparedEvaluation;
using TessilGraph::RunStatus;

namespace {

constexpr std::size_t mostCalls = 400;
constexpr std::size_t longestText = 40;
constexpr std::size_t mostNodes = 200;
constexpr std::size_t mostKept = 4;

/// Types that are taken out of the factory and put back.
const std::map<std::string, NodeFactory::Creator>& knownCreators() {
    using namespace fuzz;
    static const std::map<std::string, NodeFactory::Creator> creators = {
        {HostNode<Habit::Clones>::staticTypeStr(), HostNode<Habit::Clones>::creator},
        {HostNode<Habit::HasNoClone>::staticTypeStr(), HostNode<Habit::HasNoClone>::creator},
        {HostNode<Habit::ThrowsInReset>::staticTypeStr(), HostNode<Habit::ThrowsInReset>::creator},
        {TessilGraph::TimeNode::staticTypeStr(), TessilGraph::TimeNode::creator},
        {TessilGraph::MeshRayCast::staticTypeStr(), TessilGraph::MeshRayCast::creator}};
    return creators;
}

const std::vector<std::string>& typesOfAll() {
    static const std::vector<std::string> types = [] {
        TessilGraph::initTessilGraph();
        NodeFactory& factory = NodeFactory::instance();
        for (const auto& [name, creator] : knownCreators()) {
            if (!factory.isRegistered(name)) {
                factory.registerNode(name, creator);
            }
        }
        return factory.getRegisteredNodes();
    }();
    return types;
}

class Host {
public:
    explicit Host(FuzzedDataProvider& data) : data_(data) {}
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    ~Host() {
        for (const std::string& name : registered_) {
            NodeFactory::instance().deregisterNode(name);
        }
        for (const auto& [name, creator] : knownCreators()) {
            if (!isRegistered(name)) {
                NodeFactory::instance().registerNode(name, creator);
            }
        }
    }

    void callAll() {
        for (std::size_t call = 0; call < mostCalls && data_.remaining_bytes() > 0; ++call) {
            callOne();
        }
        own_.mendLinks();
        check(own_.network(0));
        check(own_.network(1));
    }

private:
    bool chance(int oneIn) { return data_.ConsumeIntegralInRange(1, oneIn) == 1; }

    int choice(int most) { return data_.ConsumeIntegralInRange(0, most); }

    std::string anyText() { return data_.ConsumeRandomLengthString(longestText); }

    /// Longer than the names that ports get here.
    std::string noPortsName() { return anyText() + std::string(longestText + 1, '?'); }

    template <class T>
    T pick(const std::vector<T>& items) {
        return items[data_.ConsumeIntegralInRange<std::size_t>(0, items.size() - 1)];
    }

    /// Mostly one that there is.
    std::string anyName(NetworkManager& network) {
        const std::vector<std::string> names = network.getNodeNames();
        return names.empty() || chance(16) ? anyText() : pick(names);
    }

    std::string anyType() {
        if (!registered_.empty() && chance(8)) {
            return pick(registered_);
        }
        return chance(16) ? anyText() : pick(typesOfAll());
    }

    static std::vector<Port*> portsOf(const Node& node, bool inputs) {
        return inputs ? std::vector<Port*>(node.inputPortCBegin(), node.inputPortCEnd())
                      : std::vector<Port*>(node.outputPortCBegin(), node.outputPortCEnd());
    }

    /// Mostly one of the network, else one that waits there or is the host's.
    Node* anyNode() {
        if (!own_.nodes().empty() && chance(6)) {
            return pick(own_.nodes());
        }
        const std::vector<Node*> waiting = own_.waiting(index_);
        if (!waiting.empty() && chance(8)) {
            return pick(waiting);
        }
        return network().getNode(anyName(network()));
    }

    Port* anyPort(bool input) {
        const std::vector<Port*> removed = own_.removedPorts();
        if (!removed.empty() && chance(6)) {
            return pick(removed);
        }
        const Node* node = anyNode();
        if (node == nullptr) {
            return nullptr;
        }
        const std::vector<Port*> ports = portsOf(*node, input);
        return ports.empty() ? nullptr : pick(ports);
    }

    std::string anyPortName(const std::string& node, bool input) {
        const Node* found = network().getNode(node);
        if (found == nullptr || chance(16)) {
            return anyText();
        }
        const std::vector<Port*> ports = portsOf(*found, input);
        return ports.empty() ? anyText() : pick(ports)->name();
    }

    /// A value for a port of type `T`; pointers lead to what lives as long as the program.
    template <class T>
    T anyValue() {
        if constexpr (std::is_pointer_v<T>) {
            static std::remove_pointer_t<T> outside;
            return data_.ConsumeBool() ? &outside : nullptr;
        } else {
            return fuzz::anyValue<T>(data_);
        }
    }

    NetworkManager& network() { return own_.network(index_); }

    bool isFull() {
        return own_.network(0).getNodeNames().size() + own_.network(1).getNodeNames().size() + own_.nodes().size() >
               mostNodes;
    }

    void make() {
        if (isFull()) {
            return;
        }
        const int kind = choice(7);
        if (kind < 5) {
            const std::string type = anyType();
            own_.create(index_, type, anyText());
            return;
        }
        if (kind == 5) {
            own_.take(NodeFactory::instance().createNode(anyType()));
        }
        if (!own_.nodes().empty()) {
            Node* node = pick(own_.nodes());
            own_.add(index_, node, anyText());
        }
    }

    void link(bool makes) {
        const std::string source = anyName(network());
        const std::string target = anyName(network());
        const bool isRightWay = !chance(16);
        const std::string from = anyPortName(source, !isRightWay);
        const std::string to = anyPortName(target, isRightWay);
        makes ? network().connectAttr(source, from, target, to) : network().disconnectAttr(source, from, target, to);
    }

    bool isMember(const Port& port) {
        const Node* node = port.node();
        return node != nullptr && network().getNode(node->name()) == node;
    }

    void linkPorts() {
        Port* port = anyPort(data_.ConsumeBool());
        const std::size_t mine = index_;
        index_ = chance(4) ? 1 - index_ : index_;
        Port* other = anyPort(data_.ConsumeBool());
        index_ = mine;
        if (port == nullptr) {
            return;
        }
        if (other != nullptr && !(isMember(*port) && isMember(*other))) {
            own_.noteForeignLink();
        }
        !chance(4) ? port->connectTo(other) : port->disconnectFrom(other);
    }

    void setPort() {
        Port* port = anyPort(!chance(4));
        if (port != nullptr) {
            PortTypes::visit(*port, [this](auto& typed) { setTyped(typed); });
        }
    }

    template <class T>
    void setTyped(TessilGraph::PortTemplate<T>& port) {
        static T outside{};
        switch (choice(7)) {
            case 0:
                port.setLink(nullptr);
                break;
            case 1:
                port.setLink(&outside);
                break;
            case 2:
                port.copyValue(nullptr);
                break;
            case 3:
                own_.resetPort(port);
                break;
            default:
                port.set(anyValue<T>());
        }
    }

    void evaluate() {
        const std::string name = anyName(network());
        switch (choice(9)) {
            case 0:
                network().cacheNodeNetwork(name);
                break;
            case 1:
                network().clearNodeNetworkCache(name);
                break;
            case 2:
                network().clearNodeNetworkCaches();
                break;
            case 3:
                network().setAllNodeDirty();
                break;
            case 4:
                prepare(name);
                break;
            case 5:
                runPrepared();
                break;
            case 6:
                prepareFrames();
                break;
            case 7:
                runFrames();
                break;
            default: {
                const bool parallel = data_.ConsumeBool();
                const bool useCache = data_.ConsumeBool();
                network().computeNode(name, nullptr, parallel, useCache);
                const Node* node = network().getNode(name);
                expect(node == nullptr || useCache || !node->isDirty(), "a computed node is clean");
            }
        }
    }

    void prepare(const std::string& name) {
        if (prepared_.size() == mostKept) {
            prepared_.erase(prepared_.begin());
        }
        const std::vector<std::string> targets = {name, anyName(network())};
        prepared_.emplace_back(index_, PreparedEvaluation(network(), targets));
    }

    void runPrepared() {
        if (prepared_.empty()) {
            return;
        }
        auto& [index, evaluation] = prepared_[data_.ConsumeIntegralInRange<std::size_t>(0, prepared_.size() - 1)];
        fuzz::Watch watch(data_, data_.ConsumeBool());
        const RunStatus status = evaluation.run(nullptr, watch.options).status;
        watch.checkEnd(status);
        if (status == RunStatus::Done) {
            for (const std::string& target : evaluation.targets()) {
                const Node* node = own_.network(index).getNode(target);
                expect(node != nullptr && !node->isDirty(), "targets that are there and clean");
            }
        }
    }

    /// Kept and run later, whatever becomes of the nodes.
    void prepareFrames() {
        if (frames_.size() == mostKept) {
            frames_.erase(frames_.begin());
        }
        const auto count = data_.ConsumeIntegralInRange<std::size_t>(0, 6);
        frames_.push_back({index_, {}, std::make_unique<Frames>(network(), count)});
        Frames& frames = *frames_.back().frames;
        for (int left = choice(3); left > 0; --left) {
            const std::string node = anyName(network());
            const std::string port = anyPortName(node, true);
            frames_.back().nodes.push_back(node);
            withPort(node, port, [&](auto& typed) {
                using T = decltype(typed.get());
                std::vector<T> values(frames.count() + (chance(16) ? 1 : 0));
                std::generate(values.begin(), values.end(), [this] { return anyValue<T>(); });
                frames.drive(node, port, values);
            });
        }
        for (int left = choice(3); left > 0; --left) {
            const std::string node = anyName(network());
            const std::string port = anyPortName(node, data_.ConsumeBool());
            frames_.back().nodes.push_back(node);
            withPort(node, port, [&](auto& typed) { frames.collect<decltype(typed.get())>(node, port); });
        }
    }

    struct KeptFrames {
        std::size_t network;
        std::vector<std::string> nodes;  ///< Those it was asked to drive or to read.
        std::unique_ptr<Frames> frames;
    };

    KeptFrames& anyFrames() { return frames_[data_.ConsumeIntegralInRange<std::size_t>(0, frames_.size() - 1)]; }

    /// The visitor gets the port of that name, so that it knows its type, or now and then another one.
    template <class Visitor>
    void withPort(const std::string& node, const std::string& name, const Visitor& visitor) {
        Node* found = network().getNode(node);
        Port* port = found == nullptr || chance(16) ? nullptr : found->getOutputPort(name);
        if (port == nullptr && found != nullptr) {
            port = found->getInputPort(name);
        }
        const std::unique_ptr<Port> other =
            PortTypes::makePort(data_.ConsumeIntegralInRange<std::size_t>(0, PortTypes::count - 1), name);
        PortTypes::visit(port != nullptr ? *port : *other, visitor);
    }

    void runFrames() {
        if (!frames_.empty()) {
            runFrames(*anyFrames().frames);
        }
    }

    void runFrames(Frames& frames) {
        fuzz::Watch watch(data_, data_.ConsumeBool());
        watch.checkEnd(frames.run(nullptr, watch.options));
        const std::string node = anyName(network());
        const std::string port = anyPortName(node, data_.ConsumeBool());
        withPort(node, port, [&](auto& typed) {
            const std::size_t values = frames.column<decltype(typed.get())>(node, port).size();
            expect(values == 0 || values == frames.count(), "a value a frame");
        });
    }

    void touchNode() {
        Node* node = anyNode();
        if (node == nullptr) {
            return;
        }
        switch (choice(11)) {
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
                node->removeInputPort(noPortsName());
                node->removeOutputPort(noPortsName());
                break;
            case 5:
                node->setName(anyText());
                break;
            case 6:
                node->compute(nullptr);
                break;
            case 7:
                own_.resetNode(*node);
                break;
            case 8:
                if (!isFull()) {
                    own_.take(node->clone());
                }
                break;
            case 9:
                removePort(*node);
                break;
            default:
                addPort(*node);
        }
    }

    void addPort(Node& node) {
        const bool asInput = data_.ConsumeBool();
        if (own_.ports().empty() || data_.ConsumeBool()) {
            const auto type = data_.ConsumeIntegralInRange<std::size_t>(0, PortTypes::count - 1);
            own_.take(PortTypes::makePort(type, anyText()).release());
        }
        own_.addPort(node, pick(own_.ports()), asInput);
    }

    void removePort(Node& node) {
        const std::vector<Port*> ports = portsOf(node, data_.ConsumeBool());
        if (!ports.empty()) {
            own_.removePort(node, pick(ports));
        }
    }

    /// With what was removed from nodes or let go of by networks.
    void touchOwn() {
        const std::vector<Port*> removed = own_.removedPorts();
        switch (choice(2)) {
            case 0:
                if (!own_.nodes().empty()) {
                    own_.deleteOwn(pick(own_.nodes()));
                }
                break;
            case 1:
                if (!own_.ports().empty()) {
                    own_.deleteOwn(pick(own_.ports()));
                }
                break;
            default:
                if (!removed.empty()) {
                    own_.noteForeignLink();
                    Port* port = pick(removed);
                    port->setNode(data_.ConsumeBool() ? anyNode() : nullptr);
                }
        }
    }

    void changeNetwork() {
        const std::string name = anyName(network());
        switch (choice(12)) {
            case 0:
            case 1:
            case 2:
                own_.deleteNode(index_, name);
                break;
            case 3:
            case 4:
                own_.rename(index_, name, anyText());
                break;
            case 5:
                frames_.empty() || chance(3) ? replace(name) : replaceFramed();
                break;
            case 6:
                own_.clearCache(index_);
                break;
            case 7:
                network().addNode(nullptr, anyText());
                break;
            case 8:
                network().getNodeByType(fuzz::bitsOf<unsigned int>(data_));
                break;
            case 9:
                copyNetwork();
                break;
            case 10:
                own_.reset(index_);
                break;
            case 11:
                remakeWaiting();
                break;
            default:
                if (chance(4)) {
                    own_.clean(index_);
                }
        }
    }

    /// Where frames look for a node that they know there is one of another type, mostly.
    void replaceFramed() {
        KeptFrames& kept = anyFrames();
        if (!kept.nodes.empty()) {
            index_ = kept.network;
            replace(pick(kept.nodes));
        }
        if (data_.ConsumeBool()) {
            runFrames(*kept.frames);
        }
    }

    /// A node of another type under the same name.
    void replace(const std::string& name) {
        own_.deleteNode(index_, name);
        own_.create(index_, anyType(), name);
    }

    void remakeWaiting() {
        for (Node* node : own_.waiting(index_)) {
            if (!isFull() && data_.ConsumeBool()) {
                const std::string name = node->name();
                own_.create(index_, data_.ConsumeBool() ? node->typeStr() : anyType(), name);
            }
        }
    }

    void copyNetwork() {
        if (isFull()) {
            return;
        }
        if (data_.ConsumeBool()) {
            own_.assign(index_, chance(8) ? index_ : 1 - index_);
            return;
        }
        NetworkManager copy = network().clone();
        check(copy);
        copy.computeNode(anyName(copy));
    }

    static bool isRegistered(const std::string& name) {
        const std::vector<std::string> names = NodeFactory::instance().getRegisteredNodes();
        return std::binary_search(names.begin(), names.end(), name);
    }

    void changeFactory() {
        NodeFactory& factory = NodeFactory::instance();
        const auto known = std::next(knownCreators().begin(), choice(static_cast<int>(knownCreators().size()) - 1));
        const std::string name = data_.ConsumeBool() ? known->first : anyText();
        switch (choice(2)) {
            case 0: {
                const bool isNew = !isRegistered(name) && knownCreators().count(name) == 0;
                factory.registerNode(name, known->second);
                expect(isRegistered(name), "a type that was registered");
                if (isNew) {
                    registered_.push_back(name);
                }
                break;
            }
            case 1:
                factory.registerNode(name, nullptr);
                break;
            default:
                dropType(name);
        }
    }

    /// One that can be put back, or that is the host's.
    void dropType(const std::string& name) {
        const auto own = std::find(registered_.begin(), registered_.end(), name);
        if (knownCreators().count(name) == 0 && own == registered_.end() && isRegistered(name)) {
            return;
        }
        NodeFactory::instance().deregisterNode(name);
        expect(!isRegistered(name), "no type that was taken out");
        if (own != registered_.end()) {
            registered_.erase(own);
        }
    }

    void callOne() {
        index_ = data_.ConsumeBool() ? 1 : 0;
        const int kind = choice(39);
        try {
            if (kind < 8) {
                make();
            } else if (kind < 14) {
                link(kind != 13);
            } else if (kind < 18) {
                linkPorts();
            } else if (kind < 23) {
                setPort();
            } else if (kind < 30) {
                evaluate();
            } else if (kind < 33) {
                touchNode();
            } else if (kind < 34) {
                touchOwn();
            } else if (kind < 39) {
                changeNetwork();
            } else {
                changeFactory();
            }
        } catch (const fuzz::Failure&) {
        }
    }

    /// Names are unique and in order, and every link has two ends.
    static void check(NetworkManager& network) {
        const std::vector<std::string> names = network.getNodeNames();
        const std::vector<Node*> nodes = network.getAllNodes();
        expect(names.size() == nodes.size(), "as many names as nodes");
        expect(std::adjacent_find(names.begin(), names.end(), std::greater_equal<std::string>()) == names.end(),
               "names in ascending order, none twice");
        for (std::size_t place = 0; place < names.size(); ++place) {
            expect(network.getNode(names[place]) == nodes[place], "a node under its name");
            for (const Port* port : fuzz::Belongings::portsOf(*nodes[place])) {
                checkLinks(*port, *nodes[place]);
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
    std::size_t index_ = 0;  ///< The network that the call is about.
    fuzz::Belongings own_;
    std::vector<std::pair<std::size_t, PreparedEvaluation>> prepared_;
    std::vector<KeptFrames> frames_;
    std::vector<std::string> registered_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    typesOfAll();
    FuzzedDataProvider data(bytes, size);
    Host(data).callAll();
    return 0;
}
