#include <TessilGraph/TessilGraph.h>

#include <TessilUtils/Logger.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using TessilGraph::NetworkManager;
using TessilGraph::Node;

namespace {

/// What the nodes of a test do while they are reset, cloned or made. Each may be called from within another one.
std::function<void(Node&)> onReset;
std::function<void(Node&)> onClone;
std::function<void()> onCreate;

/// A host's node that does more than it is asked to.
class Meddler : public TessilGraph::NodeShape<Meddler> {
public:
    Meddler() { ++alive; }
    ~Meddler() override { --alive; }

    static inline int alive = 0;
    static inline Node* cloneOfAll = nullptr;  ///< What each `clone` returns, unless null.

    static Node* meddlingCreator() {
        if (const auto deed = std::exchange(onCreate, nullptr)) {
            deed();
        }
        return new Meddler;
    }

    bool compute(const TessilGraph::ComputeData*) override {
        out_->set(in1_->get() + in2_->get() + 1.0);
        return true;
    }

    Node* clone() override {
        if (onClone) {
            onClone(*this);
        }
        return cloneOfAll != nullptr ? cloneOfAll : TessilGraph::copyUnconnected(*this, new Meddler);
    }

    void reset() override {
        if (onReset) {
            onReset(*this);
        }
        Node::reset();
    }

private:
    TessilGraph::PortTemplate<double>* in1_ = TessilGraph::addInput<double>(*this, "in1");
    TessilGraph::PortTemplate<double>* in2_ = TessilGraph::addInput<double>(*this, "in2");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

}  // namespace

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<Meddler>{"FaultsMeddler", 9504};

namespace {

const bool meddlersAreRegistered = [] {
    TessilGraph::initTessilGraph();
    TessilGraph::registerNodes<Meddler>();
    TessilGraph::NodeFactory::instance().registerNode("FaultsMaker", Meddler::meddlingCreator);
    return true;
}();

using Names = std::vector<std::string>;

class MeddlingHosts : public testing::Test {
protected:
    ~MeddlingHosts() override {
        onReset = nullptr;
        onClone = nullptr;
        onCreate = nullptr;
        Meddler::cloneOfAll = nullptr;
    }

    static void make(NetworkManager& network, const Names& names) {
        for (const std::string& name : names) {
            ASSERT_NE(network.createNode("FaultsMeddler", name), nullptr);
        }
    }

    /// a feeds b and c, and b feeds c.
    static void makeTriangle(NetworkManager& network) {
        make(network, {"a", "b", "c"});
        ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
        ASSERT_TRUE(network.connectAttr("a", "out", "c", "in1"));
        ASSERT_TRUE(network.connectAttr("b", "out", "c", "in2"));
    }

    static double valueOf(NetworkManager& network, const std::string& name) {
        network.computeNode(name);
        return dynamic_cast<TessilGraph::PortTemplate<double>&>(*network.getNode(name)->getOutputPort("out")).get();
    }
};

/// The network is reset; one of its nodes does something the first time.
void resetWhile(NetworkManager& network, const std::string& meddler, const std::function<void()>& deed) {
    Names done;
    onReset = [&](Node& node) {
        done.push_back(node.name());
        if (node.name() == meddler && done.size() <= 3) {
            deed();
        }
    };
    network.reset();
    onReset = nullptr;
    EXPECT_EQ(done, (Names{"a", "b", "c"}));
}

TEST_F(MeddlingHosts, MayAskForUnknownTypesInReset) {
    for (const char* meddler : {"a", "b", "c"}) {
        NetworkManager network;
        makeTriangle(network);
        Node* c = network.getNode("c");
        resetWhile(network, meddler, [&network] {
            for (int i = 0; i < 50; ++i) {
                EXPECT_EQ(network.createNode("NoType", "x" + std::to_string(i)), nullptr);
                EXPECT_EQ(network.createNode("NoType", "c"), nullptr);
            }
        });
        EXPECT_EQ(network.getNodeNames(), Names{});
        EXPECT_EQ(network.createNode("FaultsMeddler", "c"), c);
    }
    EXPECT_EQ(Meddler::alive, 0);
}

TEST_F(MeddlingHosts, MayMakeAndDeleteNodesOfTheSameNamesInReset) {
    for (const char* meddler : {"a", "b", "c"}) {
        NetworkManager network;
        makeTriangle(network);
        const std::vector<Node*> before = network.getAllNodes();
        resetWhile(network, meddler, [&network] {
            makeTriangle(network);
            for (const char* name : {"a", "c", "b"}) {
                network.deleteNode(name);
            }
        });
        EXPECT_EQ(network.getNodeNames(), Names{});
        EXPECT_EQ(Meddler::alive, 3);
        makeTriangle(network);
        EXPECT_EQ(network.getAllNodes(), before);
        EXPECT_EQ(valueOf(network, "c"), 4.0);
    }
    EXPECT_EQ(Meddler::alive, 0);
}

/// One name, one node: those that wait make room.
TEST_F(MeddlingHosts, KeepWhatTheyMakeInReset) {
    for (const char* meddler : {"a", "b", "c"}) {
        NetworkManager network;
        makeTriangle(network);
        Node* made = nullptr;
        resetWhile(network, meddler, [&network, &made] {
            make(network, {"b", "helper"});
            EXPECT_TRUE(network.connectAttr("helper", "out", "b", "in1"));
            made = network.getNode("b");
        });
        EXPECT_EQ(network.getNodeNames(), (Names{"b", "helper"}));
        EXPECT_EQ(network.getNode("b"), made);
        EXPECT_EQ(Meddler::alive, 4);
        EXPECT_EQ(valueOf(network, "b"), 2.0);
        network.clearNodeCache();
        EXPECT_EQ(Meddler::alive, 2);
        network.reset();
        EXPECT_EQ(network.createNode("FaultsMeddler", "b"), made);
        EXPECT_EQ(Meddler::alive, 2);
    }
    EXPECT_EQ(Meddler::alive, 0);
}

TEST_F(MeddlingHosts, MayResetAndCleanUpInReset) {
    for (const char* meddler : {"a", "b", "c"}) {
        NetworkManager network;
        makeTriangle(network);
        Node* b = network.getNode("b");
        resetWhile(network, meddler, [&network] {
            const auto outer = std::exchange(onReset, nullptr);
            make(network, {"b", "d", "e"});
            network.reset();
            make(network, {"d"});
            network.clearNodeCache();
            network.reset();
            onReset = outer;
        });
        EXPECT_EQ(network.getNodeNames(), Names{});
        EXPECT_EQ(Meddler::alive, 4);
        EXPECT_EQ(network.createNode("FaultsMeddler", "b"), b);
        network.clearNodeCache();
        EXPECT_EQ(Meddler::alive, 1);
    }
    EXPECT_EQ(Meddler::alive, 0);
}

/// In place of those that waited under their names before, and beside what is the host's.
TEST_F(MeddlingHosts, LetWaitWhatTheyMadeAndResetInReset) {
    for (const char* meddler : {"a", "b", "c"}) {
        NetworkManager network;
        makeTriangle(network);
        auto* own = new Meddler;
        Node* made = nullptr;
        resetWhile(network, meddler, [&] {
            const auto outer = std::exchange(onReset, nullptr);
            make(network, {"b"});
            made = network.getNode("b");
            network.reset();
            make(network, {"d"});
            network.addNode(own, "a");
            network.deleteNode("d");
            onReset = outer;
        });
        EXPECT_EQ(network.getNodeNames(), Names{"a"});
        EXPECT_EQ(Meddler::alive, 4);
        EXPECT_EQ(network.createNode("FaultsMeddler", "b"), made);
    }
    EXPECT_EQ(Meddler::alive, 0);
}

/// A host may hand in again what the manager made, and have it deleted.
TEST_F(MeddlingHosts, MayHandInAndDeleteInResetWhatWasReset) {
    NetworkManager network;
    makeTriangle(network);
    Node* a = network.getNode("a");
    bool done = false;
    onReset = [&](Node& node) {
        if (node.name() == "c" && !std::exchange(done, true)) {
            node.Node::reset();
            network.addNode(a, "again");
            network.deleteNode("again");
        }
    };
    network.reset();
    onReset = nullptr;
    EXPECT_EQ(Meddler::alive, 2);
}

TEST_F(MeddlingHosts, MayMakeANodeOfTheSameNameInACreator) {
    NetworkManager network;
    onCreate = [&network] { make(network, {"x"}); };
    Node* outer = network.createNode("FaultsMaker", "x");
    EXPECT_EQ(outer->name(), "x1");
    EXPECT_EQ(network.getNode("x1"), outer);
    EXPECT_EQ(network.getNodeNames(), (Names{"x", "x1"}));
    onCreate = [&network] { make(network, {"x", "x"}); };
    EXPECT_EQ(network.createNode("FaultsMaker", "x")->name(), "x4");
    onCreate = [&network] { network.deleteNode("x1"); };
    EXPECT_EQ(network.createNode("FaultsMaker", "x")->name(), "x1");
    EXPECT_EQ(network.getNodeNames(), (Names{"x", "x1", "x2", "x3", "x4"}));
    EXPECT_EQ(Meddler::alive, 5);
    onCreate = nullptr;
    network.reset();
    network.clearNodeCache();
    EXPECT_EQ(Meddler::alive, 0);
}

/// The copies that a network gets while a clone does something to it once.
Names namesOfCopy(NetworkManager& network, const std::string& meddler, const std::function<void()>& deed) {
    bool done = false;
    onClone = [&](Node& node) {
        if (node.name() == meddler && !std::exchange(done, true)) {
            deed();
        }
    };
    NetworkManager copy(network);
    onClone = nullptr;
    EXPECT_TRUE(done);
    for (const std::string& name : copy.getNodeNames()) {
        copy.computeNode(name);
        EXPECT_FALSE(copy.getNode(name)->isDirty()) << name;
    }
    return copy.getNodeNames();
}

TEST_F(MeddlingHosts, MayDeleteNodesOfTheOriginalInClone) {
    for (const char* meddler : {"a", "c"}) {
        NetworkManager network;
        makeTriangle(network);
        EXPECT_EQ(namesOfCopy(network, meddler, [&network] { network.deleteNode("b"); }), (Names{"a", "c"}));
    }
    EXPECT_EQ(Meddler::alive, 0);
}

TEST_F(MeddlingHosts, MayDeleteManyNodesOfTheOriginalInClone) {
    for (const char* meddler : {"n100", "n150", "n199"}) {
        NetworkManager network;
        for (int i = 100; i < 200; ++i) {
            make(network, {"n" + std::to_string(i)});
        }
        const Names names = namesOfCopy(network, meddler, [&] {
            for (const std::string& name : network.getNodeNames()) {
                if (name != meddler && name != "n120" && name != "n170") {
                    network.deleteNode(name);
                }
            }
        });
        EXPECT_EQ(names, network.getNodeNames());
    }
    EXPECT_EQ(Meddler::alive, 0);
}

TEST_F(MeddlingHosts, MayAddAndLinkNodesOfTheOriginalInClone) {
    for (const char* meddler : {"a", "b", "c"}) {
        NetworkManager network;
        makeTriangle(network);
        network.cacheNodeNetwork("c");
        NetworkManager copy;
        bool done = false;
        onClone = [&](Node& node) {
            if (node.name() == meddler && !std::exchange(done, true)) {
                for (int i = 0; i < 40; ++i) {
                    make(network, {"new" + std::to_string(i)});
                }
                EXPECT_TRUE(network.connectAttr("new39", "out", "b", "in2"));
            }
        };
        copy = network;
        onClone = nullptr;
        EXPECT_EQ(copy.getNodeNames(), (Names{"a", "b", "c"}));
        EXPECT_EQ(valueOf(copy, "c"), 4.0);
        copy.setAllNodeDirty();
        copy.computeNode("c", nullptr, false, true);
        EXPECT_FALSE(copy.getNode("a")->isDirty());
        EXPECT_EQ(valueOf(network, "c"), 5.0);
        EXPECT_EQ(Meddler::alive, 43 + 3);
    }
    EXPECT_EQ(Meddler::alive, 0);
}

TEST_F(MeddlingHosts, MayRenameNodesOfTheOriginalInClone) {
    NetworkManager network;
    makeTriangle(network);
    const Names names = namesOfCopy(network, "b", [&network] {
        network.renameNode("a", "z");
        network.addNode(network.getNode("c"), "c2");
    });
    EXPECT_EQ(names, (Names{"b", "c", "z"}));
    EXPECT_EQ(Meddler::alive, 3);
}

TEST_F(MeddlingHosts, LoseNoCloneWhenOneThrowsAfterTheOriginalHasChanged) {
    NetworkManager network;
    makeTriangle(network);
    onClone = [&network](Node& node) {
        if (node.name() == "b") {
            network.deleteNode("a");
        } else if (node.name() == "c") {
            throw std::runtime_error("no copy");
        }
    };
    EXPECT_THROW(network.clone(), std::runtime_error);
    onClone = nullptr;
    EXPECT_EQ(Meddler::alive, 2);
}

TEST_F(MeddlingHosts, LoseACloneOfAllOnce) {
    for (const bool deletes : {false, true}) {
        for (const bool throws : {false, true}) {
            NetworkManager network;
            makeTriangle(network);
            Meddler::cloneOfAll = new Meddler;
            onClone = [&](Node& node) {
                if (node.name() == "c" && deletes) {
                    network.deleteNode("b");
                }
                if (node.name() == "c" && throws) {
                    throw std::runtime_error("no copy");
                }
            };
            if (throws) {
                EXPECT_THROW(network.clone(), std::runtime_error);
            } else {
                NetworkManager copy(network);
                EXPECT_EQ(copy.getNodeNames(), network.getNodeNames());
                EXPECT_EQ(copy.getNode("a"), copy.getNode("c"));
            }
            onClone = nullptr;
            EXPECT_EQ(Meddler::alive, deletes ? 2 : 3);
        }
    }
}

/// Sends what is logged to a function as long as it lives.
class SinkScope {
public:
    explicit SinkScope(std::function<void()> deed)
        : previous_(TessilUtils::Logger::setSink(
              [deed = std::move(deed)](TessilUtils::LogLevel, const std::string&) { deed(); })) {}
    ~SinkScope() { TessilUtils::Logger::setSink(std::move(previous_)); }
    SinkScope(const SinkScope&) = delete;
    SinkScope& operator=(const SinkScope&) = delete;

private:
    TessilUtils::Logger::Sink previous_;
};

/// A link that one side doesn't know of is told while its node is deleted.
TEST_F(MeddlingHosts, MayDeleteInASinkTheNodeThatIsBeingDeleted) {
    for (const char* deleted : {"a", "b", "c"}) {
        NetworkManager network;
        make(network, {"a", "b", "c"});
        network.getNode("a")->getOutputPort("out")->getConnections().push_back(
            network.getNode("b")->getInputPort("in1"));
        int told = 0;
        const SinkScope sink([&] {
            ++told;
            network.deleteNode(deleted);
        });
        network.deleteNode("a");
        EXPECT_EQ(told, 1);
        EXPECT_EQ(network.getNode("a"), nullptr);
        EXPECT_EQ(network.getNode(deleted), nullptr);
    }
    EXPECT_EQ(Meddler::alive, 0);
}

TEST_F(MeddlingHosts, FindInASinkTheNodeThatIsBeingDeleted) {
    NetworkManager network;
    makeTriangle(network);
    network.getNode("b")->reset();
    std::vector<bool> found;
    const SinkScope sink([&] { found.push_back(network.getNode("a") != nullptr); });
    network.deleteNode("a");
    EXPECT_EQ(found, std::vector<bool>{true});
    EXPECT_EQ(network.getNodeNames(), (Names{"b", "c"}));
}

TEST_F(MeddlingHosts, KeepANodeThatASinkRenamedBeforeItWasDeleted) {
    NetworkManager network;
    makeTriangle(network);
    network.getNode("b")->reset();
    const SinkScope sink([&] { network.renameNode("a", "saved"); });
    network.deleteNode("a");
    EXPECT_EQ(network.getNodeNames(), (Names{"b", "c", "saved"}));
}

TEST_F(MeddlingHosts, MayChangeInACreatorTheNameThatWasAskedFor) {
    NetworkManager network;
    auto asked = std::make_unique<std::string>("a name that is too long for a string without room of its own");
    const std::string expected = *asked;
    onCreate = [&] { asked.reset(); };
    Node* made = network.createNode("FaultsMaker", *asked);
    onCreate = nullptr;
    EXPECT_EQ(made->name(), expected);
    EXPECT_EQ(network.getNode(expected), made);
}

using TypedPort = TessilGraph::PortTemplate<double>;

/// Says how many other inputs its node has, and sees to it.
class CountPort : public TypedPort {
public:
    using TypedPort::TypedPort;

    void copyValue(TessilGraph::Port* other) override {
        TypedPort::copyValue(other);
        for (int i = 0; i < static_cast<int>(get()); ++i) {
            node()->addInputPort(new TypedPort(std::to_string(i)));
        }
    }

    void reset() override {
        for (int i = 0; i < static_cast<int>(get()); ++i) {
            const std::unique_ptr<TessilGraph::Port> port(node()->getInputPort(std::to_string(i)));
            node()->removeInputPort(port->name());
        }
        TypedPort::reset();
    }
};

TEST_F(MeddlingHosts, MayAddAndRemovePortsWhileOneIsCopiedOrReset) {
    constexpr std::size_t many = 100;
    NetworkManager network;
    make(network, {"a"});
    Node& node = *network.getNode("a");
    auto* count = new CountPort("count");
    node.addInputPort(count);
    count->set(static_cast<double>(many));
    for (std::size_t i = 0; i < many; ++i) {
        auto* port = new TypedPort(std::to_string(i));
        node.addInputPort(port);
        port->set(static_cast<double>(i));
    }
    Meddler clone;
    auto* copied = new CountPort("count");
    clone.addInputPort(copied);
    TessilGraph::copyUnconnected(node, &clone);
    ASSERT_EQ(clone.numInputPorts(), many + 3);
    EXPECT_EQ(dynamic_cast<TypedPort&>(*clone.getInputPort("99")).get(), 99.0);
    clone.reset();
    EXPECT_EQ(clone.numInputPorts(), 3U);
    network.reset();
    EXPECT_EQ(node.numInputPorts(), 3U);
}

Names portsOf(const Node& node) {
    Names names = node.getInputPortNames();
    names.emplace_back("|");
    for (const std::string& name : node.getOutputPortNames()) {
        names.push_back(name);
    }
    return names;
}

TEST_F(MeddlingHosts, HaveAPortInOneNodeWhenTwoAcceptIt) {
    for (const bool isListSeen : {false, true}) {
        const auto first = std::make_unique<Meddler>();
        Meddler second;
        if (isListSeen) {
            static_cast<void>(first->inputPortBegin());
            static_cast<void>(second.outputPortBegin());
        }
        auto* port = new TypedPort("x");
        first->addInputPort(port);
        second.addInputPort(port);
        EXPECT_EQ(port->node(), &second);
        EXPECT_EQ(portsOf(*first), (Names{"in1", "in2", "|", "out"}));
        EXPECT_EQ(portsOf(second), (Names{"in1", "in2", "x", "|", "out"}));
        first->addOutputPort(port);
        second.addOutputPort(port);
        second.removeOutputPort("y");
        EXPECT_EQ(portsOf(*first), (Names{"in1", "in2", "|", "out"}));
        EXPECT_EQ(portsOf(second), (Names{"in1", "in2", "|", "out", "x"}));
        EXPECT_TRUE(port->isOutput());
    }
}

TEST_F(MeddlingHosts, HaveAPortOnOneSideWhenBothAcceptIt) {
    for (const bool isListSeen : {false, true}) {
        Meddler node;
        if (isListSeen) {
            static_cast<void>(node.inputPortBegin());
            static_cast<void>(node.outputPortBegin());
        }
        auto* port = new TypedPort("x");
        node.addInputPort(port);
        node.addOutputPort(port);
        EXPECT_EQ(portsOf(node), (Names{"in1", "in2", "|", "out", "x"}));
        EXPECT_TRUE(port->isOutput());
        node.addInputPort(port);
        EXPECT_EQ(portsOf(node), (Names{"in1", "in2", "x", "|", "out"}));
        EXPECT_TRUE(port->isInput());
        EXPECT_EQ(port->node(), &node);
    }
}

/// Also to where no network knows of it.
TEST_F(MeddlingHosts, EvaluatePreparedWhatAPortFeedsFromItsNewNode) {
    Meddler stranger;
    NetworkManager network;
    makeTriangle(network);
    auto* port = new TypedPort("x");
    network.getNode("a")->addOutputPort(port);
    ASSERT_TRUE(network.connectAttr("a", "x", "b", "in2"));
    TessilGraph::PreparedEvaluation evaluation(network, "c");
    evaluation.run();
    stranger.setDirty(false);
    stranger.addOutputPort(port);
    stranger.setDirty(true);
    EXPECT_TRUE(network.getNode("c")->isDirty());
    evaluation.run();
    EXPECT_FALSE(stranger.isDirty());
    network.disconnectAttr("a", "out", "b", "in1");
    network.getNode("b")->getInputPort("in2")->disconnectFrom(port);
}

/// It takes its links along.
TEST_F(MeddlingHosts, EvaluateWhatAPortFeedsFromItsNewNode) {
    NetworkManager network;
    makeTriangle(network);
    auto* port = new TypedPort("x");
    network.getNode("a")->addOutputPort(port);
    port->set(5.0);
    ASSERT_TRUE(network.connectAttr("a", "x", "b", "in2"));
    EXPECT_EQ(valueOf(network, "c"), 9.0);
    make(network, {"d"});
    network.computeNode("d");
    network.getNode("d")->addOutputPort(port);
    network.deleteNode("a");
    network.getNode("d")->setDirty(true);
    EXPECT_TRUE(network.getNode("c")->isDirty());
    network.getNode("b")->setDirty(true);
    EXPECT_EQ(valueOf(network, "c"), 7.0);
    EXPECT_FALSE(network.getNode("d")->isDirty());
    make(network, {"e"});
    network.getNode("e")->addOutputPort(port);
    network.deleteNode("d");
    EXPECT_EQ(valueOf(network, "c"), 7.0);
    network.deleteNode("e");
    network.getNode("b")->setDirty(true);
    EXPECT_EQ(valueOf(network, "c"), 2.0);
}

}  // namespace
