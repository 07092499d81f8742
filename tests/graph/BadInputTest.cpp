#include <TessilGraph/graph/NetworkManager.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/PortTemplate.h>
#include <TessilGraph/graph/initTessilGraph.h>

#include <tests/graph/PortMessages.h>
#include <tests/support/CollectedLog.h>
#include <tests/support/HowToCompute.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace TessilGraph {
namespace {

using tests::Messages;
using tests::parallel;
using tests::Pipe;
using tests::takeComputed;
using tests::takeLog;
using tests::useCache;

using Names = std::vector<std::string>;

const Messages aNullPointer = {tests::nullMessage};

/// A node that has no copy.
class Unique : public Pipe {
public:
    Node* clone() override { return nullptr; }
};

/// An output port that belongs to no node.
class LooseOutput : public PortTemplate<double> {
public:
    LooseOutput() : PortTemplate<double>("loose") { setAsInput(false); }
};

TEST(BadInput, NullPortsCannotBeConnected) {
    Pipe node;
    EXPECT_FALSE(node.in()->connectTo(nullptr));
    EXPECT_EQ(takeLog(), aNullPointer);
    EXPECT_FALSE(node.out()->connectTo(nullptr));
    EXPECT_EQ(takeLog(), aNullPointer);
    EXPECT_FALSE(node.in()->disconnectFrom(nullptr));
    EXPECT_EQ(takeLog(), aNullPointer);
    EXPECT_FALSE(node.out()->disconnectFrom(nullptr));
    EXPECT_EQ(takeLog(), aNullPointer);
}

TEST(BadInput, PortsWithoutANodeArePassedOverByEveryWalk) {
    NetworkManager network;
    auto* a = new Pipe;
    auto* b = new Pipe;
    network.addNode(a, "a");
    network.addNode(b, "b");
    PortTemplate<double> sink("sink");
    LooseOutput source;
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    ASSERT_TRUE(a->out()->connectTo(&sink));
    ASSERT_TRUE(source.connectTo(a->in()));
    ASSERT_TRUE(sink.isInput());

    a->setDirty(false);
    b->setDirty(false);
    a->setDirty(true);
    EXPECT_TRUE(b->isDirty());
    auto* extra = new PortTemplate<double>("extra");
    a->addInputPort(extra);
    EXPECT_FALSE(b->out()->connectTo(extra));
    EXPECT_EQ(takeLog(), Messages{"Cycle detected! the connection is not allowed! "});
    takeComputed();
    for (const bool way : {false, true}) {
        network.setAllNodeDirty();
        network.computeNode("b", nullptr, way);
        EXPECT_EQ(takeComputed(), (Names{"a", "b"}));
    }
    network.cacheNodeNetwork("b");
    network.setAllNodeDirty();
    network.computeNode("b", nullptr, !parallel, useCache);
    EXPECT_EQ(takeComputed(), (Names{"a", "b"}));
    const NetworkManager copy = network.clone();
    network.deleteNode("a");
    EXPECT_EQ(sink.numConnections(), 0U);
    EXPECT_EQ(source.numConnections(), 0U);
}

TEST(BadInput, NullEntriesInAListArePassedOver) {
    NetworkManager network;
    auto* a = new Pipe;
    auto* b = new Pipe;
    network.addNode(a, "a");
    network.addNode(b, "b");
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    a->in()->getConnections().push_back(nullptr);
    a->out()->getConnections().push_back(nullptr);
    a->out()->getConnections().insert(a->out()->getConnections().begin(), nullptr);
    EXPECT_EQ(a->in()->get(), 0.0);
    a->setDirty(false);
    b->setDirty(false);
    a->setDirty(true);
    EXPECT_TRUE(b->isDirty());
    takeComputed();
    for (const bool way : {false, true}) {
        network.setAllNodeDirty();
        network.computeNode("b", nullptr, way);
        EXPECT_EQ(takeComputed(), (Names{"a", "b"}));
    }
    network.cacheNodeNetwork("b");
    const NetworkManager copy = network.clone();
    network.clearNodeNetworkCaches();
    network.deleteNode("a");
    EXPECT_EQ(b->in()->numConnections(), 0U);
}

TEST(BadInput, NullEntriesInAListArePassedOverWhenItIsLookedThrough) {
    NetworkManager network;
    std::vector<Pipe*> nodes;
    for (const char* name : {"a", "b", "c"}) {
        nodes.push_back(new Pipe);
        network.addNode(nodes.back(), name);
    }
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    nodes[0]->out()->getConnections().push_back(nullptr);
    nodes[1]->in()->getConnections().push_back(nullptr);
    nodes[2]->addOutputPort(new PortTemplate<double>("extra"));
    const auto extra = nodes[2]->outputPortBegin() + 1;
    const std::unique_ptr<Port> taken(*extra);
    *extra = nullptr;
    // A link has lent lists looked through, and a circle searched for.
    EXPECT_TRUE(network.connectAttr("b", "out", "c", "in1"));
    EXPECT_FALSE(network.connectAttr("c", "out", "a", "in1"));
    EXPECT_EQ(takeLog().size(), 1U);
    takeComputed();
    network.computeNode("c");
    EXPECT_EQ(takeComputed(), (Names{"a", "b", "c"}));
    // So are the links of what is deleted.
    network.deleteNode("c");
    EXPECT_TRUE(takeLog().empty());
}

TEST(BadInput, NullEntriesInListsOfBuiltInNodesArePassedOver) {
    initTessilGraph();
    NetworkManager network;
    Node* source = network.createNode("AddDouble", "source");
    Node* target = network.createNode("AddDouble", "target");
    network.createNode("AddDouble", "later");
    dynamic_cast<PortTemplate<double>&>(*source->getInputPort("in1")).set(1.0);
    ASSERT_TRUE(network.connectAttr("source", "out", "target", "in1"));
    ASSERT_TRUE(network.connectAttr("target", "out", "later", "in1"));
    const auto second = target->inputPortBegin() + 1;
    Port* const taken = *second;
    *second = nullptr;
    const auto compute = [&] {
        for (const bool way : {false, true}) {
            for (int time = 0; time < 20; ++time) {
                network.setAllNodeDirty();
                network.computeNode("later", nullptr, way);
                EXPECT_FALSE(source->isDirty());
                EXPECT_FALSE(target->isDirty());
            }
        }
    };
    compute();
    // A link that is null has other walks look.
    source->getInputPort("in2")->getConnections().push_back(nullptr);
    compute();
    EXPECT_EQ(dynamic_cast<PortTemplate<double>&>(*network.getNode("later")->getOutputPort("out")).get(), 1.0);
    *second = taken;
}

TEST(BadInput, NullNodesAreNotAdded) {
    NetworkManager network;
    network.addNode(nullptr, "a");
    EXPECT_EQ(takeLog(), aNullPointer);
    EXPECT_TRUE(network.getAllNodes().empty());
    network.setAllNodeDirty();
    network.computeNode("a");
    network.reset();
}

TEST(BadInput, NullCreatorsAreNotRegistered) {
    NodeFactory::instance().registerNode("BadNothing", nullptr);
    EXPECT_EQ(takeLog(), aNullPointer);
    EXPECT_FALSE(NodeFactory::instance().isRegistered("BadNothing"));
    NodeFactory::instance().registerNode("BadNothing", Pipe::creator);
    NodeFactory::instance().deregisterNode("BadNothing");
}

TEST(BadInput, CreatorsThatReturnNullAreLikeUnknownTypes) {
    NodeFactory::instance().registerNode("BadBarren", []() -> Node* { return nullptr; });
    NetworkManager network;
    EXPECT_EQ(NodeFactory::instance().createNode("BadBarren"), nullptr);
    EXPECT_EQ(network.createNode("BadBarren", "a"), nullptr);
    EXPECT_EQ(network.getNode("a"), nullptr);
    EXPECT_TRUE(network.getNodeNames().empty());
    network.reset();
    network.clearNodeCache();
    EXPECT_EQ(network.createNode("BadBarren", "a"), nullptr);
    NodeFactory::instance().deregisterNode("BadBarren");
}

TEST(BadInput, ClonesThatAreNullAreLeftOutOfACopy) {
    NetworkManager network;
    network.addNode(new Pipe, "a");
    network.addNode(new Unique, "b");
    network.addNode(new Pipe, "c");
    network.addNode(new Pipe, "d");
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    ASSERT_TRUE(network.connectAttr("b", "out", "c", "in1"));
    ASSERT_TRUE(network.connectAttr("a", "out", "d", "in1"));
    network.cacheNodeNetwork("c");
    NetworkManager copy(network);
    EXPECT_EQ(copy.getNodeNames(), (Names{"a", "c", "d"}));
    EXPECT_EQ(copy.getNode("c")->getInputPort("in1")->numConnections(), 0U);
    EXPECT_EQ(copy.getNode("a")->getOutputPort("out")->numConnections(), 1U);
    EXPECT_NE(copy.getNode("d")->getInputPort("in1")->input(), nullptr);
    takeComputed();
    copy.computeNode("c", nullptr, !parallel, useCache);
    EXPECT_EQ(takeComputed(), (Names{"a", "c"}));
}

TEST(BadInput, ClonesWithoutTheExtraPortsAreWiredAsFarAsTheyGo) {
    NetworkManager network;
    auto* a = new Pipe;
    auto* b = new Pipe;
    network.addNode(a, "a");
    network.addNode(b, "b");
    a->addOutputPort(new PortTemplate<double>("extra"));
    b->addInputPort(new PortTemplate<double>("more"));
    b->addInputPort(new PortTemplate<double>("most"));
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "more"));
    ASSERT_TRUE(network.connectAttr("a", "extra", "b", "in1"));
    ASSERT_TRUE(network.connectAttr("a", "extra", "b", "most"));
    NetworkManager copy(network);
    EXPECT_EQ(copy.getNodeNames(), (Names{"a", "b"}));
    EXPECT_EQ(copy.getNode("b")->numInputPorts(), 1U);
    EXPECT_EQ(copy.getNode("b")->getInputPort("in1")->numConnections(), 0U);
    EXPECT_EQ(copy.getNode("a")->getOutputPort("out")->numConnections(), 0U);
}

TEST(BadInput, ExceptionsOfACreatorLeaveTheNetworkUsable) {
    NodeFactory::instance().registerNode("BadThrowing", []() -> Node* { throw std::runtime_error("creator"); });
    NetworkManager network;
    network.createNode(tests::pipeType, "a");
    EXPECT_THROW(network.createNode("BadThrowing", "b"), std::runtime_error);
    EXPECT_EQ(network.getNode("b"), nullptr);
    EXPECT_NE(network.createNode(tests::pipeType, "b"), nullptr);
    EXPECT_EQ(network.getNodeNames(), (Names{"a", "b"}));
    network.reset();
    NodeFactory::instance().deregisterNode("BadThrowing");
}

TEST(BadInput, ExceptionsOfANodeReachTheCallerEachWay) {
    NetworkManager network;
    auto* a = new Pipe;
    auto* b = new Pipe;
    auto* c = new Pipe;
    network.addNode(a, "a");
    network.addNode(b, "b");
    network.addNode(c, "c");
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    ASSERT_TRUE(network.connectAttr("b", "out", "c", "in1"));
    network.cacheNodeNetwork("c");
    for (const bool withCache : {false, true}) {
        for (const bool way : {false, true}) {
            network.setAllNodeDirty();
            b->onCompute = [] { throw std::runtime_error("b failed"); };
            try {
                network.computeNode("c", nullptr, way, withCache);
                ADD_FAILURE() << "nothing was thrown";
            } catch (const std::runtime_error& error) {
                EXPECT_STREQ(error.what(), "b failed");
            }
            EXPECT_FALSE(a->isDirty());
            EXPECT_TRUE(b->isDirty());
            EXPECT_TRUE(c->isDirty());
            b->onCompute = nullptr;
            network.computeNode("c", nullptr, way, withCache);
            EXPECT_FALSE(c->isDirty());
            EXPECT_EQ(c->out()->get(), 3.0);
        }
    }
    takeComputed();
}

}  // namespace
}  // namespace TessilGraph
