#include <TessilGraph/graph/NetworkManager.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace TessilGraph {
namespace {

using tests::Messages;
using tests::takeLog;

using Ports = std::vector<Port*>;

/// Number nodes "a", "b", "c" with two inputs each and a text node "t".
class NetworkConnections : public testing::Test {
protected:
    NetworkConnections() {
        a = network.createNode(tests::sumType, "a");
        b = network.createNode(tests::sumType, "b");
        c = network.createNode(tests::sumType, "c");
        t = network.createNode("ProbeText1", "t");
    }

    NetworkManager network;
    Node* a = nullptr;
    Node* b = nullptr;
    Node* c = nullptr;
    Node* t = nullptr;
};

TEST_F(NetworkConnections, AreMadeByName) {
    EXPECT_TRUE(network.connectAttr("a", "out", "b", "in2"));
    EXPECT_EQ(a->getOutputPort("out")->getConnections(), Ports{b->getInputPort("in2")});
    EXPECT_EQ(b->getInputPort("in2")->getConnections(), Ports{a->getOutputPort("out")});
    EXPECT_EQ(b->getInputPort("in1")->numConnections(), 0U);
}

TEST_F(NetworkConnections, AreRemovedByName) {
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    ASSERT_TRUE(network.connectAttr("a", "out", "c", "in1"));
    EXPECT_TRUE(network.disconnectAttr("a", "out", "b", "in1"));
    EXPECT_EQ(a->getOutputPort("out")->getConnections(), Ports{c->getInputPort("in1")});
    EXPECT_EQ(b->getInputPort("in1")->numConnections(), 0U);
}

TEST_F(NetworkConnections, OfUnknownNodesAndPortsAreRefusedInSilence) {
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    const std::vector<std::vector<std::string>> cases = {
        {"x", "out", "b", "in1"}, {"a", "out", "x", "in1"}, {"a", "x", "b", "in1"},    {"a", "out", "b", "x"},
        {"A", "out", "b", "in1"}, {"a", "Out", "b", "in1"}, {"", "out", "b", "in1"},   {"a", "", "b", "in1"},
        {"a", "out", "b", ""},    {"x", "y", "z", "w"},     {"a", "out ", "b", "in1"},
    };
    for (const auto& name : cases) {
        EXPECT_FALSE(network.connectAttr(name[0], name[1], name[2], name[3]));
        EXPECT_FALSE(network.disconnectAttr(name[0], name[1], name[2], name[3]));
    }
    EXPECT_EQ(a->getOutputPort("out")->numConnections(), 1U);
}

TEST_F(NetworkConnections, LookForSourcesAmongOutputsAndForDestinationsAmongInputs) {
    EXPECT_FALSE(network.connectAttr("b", "in1", "a", "out"));
    EXPECT_FALSE(network.connectAttr("a", "out", "b", "out"));
    EXPECT_FALSE(network.connectAttr("a", "in1", "b", "in1"));
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    EXPECT_FALSE(network.disconnectAttr("b", "in1", "a", "out"));
}

TEST_F(NetworkConnections, FindTheRightOneOfTwoPortsThatShareAName) {
    auto* in = new PortTemplate<double>("both");
    auto* out = new PortTemplate<double>("both");
    a->addOutputPort(out);
    b->addInputPort(in);
    b->addOutputPort(new PortTemplate<double>("both"));
    EXPECT_TRUE(network.connectAttr("a", "both", "b", "both"));
    EXPECT_EQ(in->input(), out);
}

TEST_F(NetworkConnections, PassOnTheRefusalsOfThePorts) {
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    EXPECT_FALSE(network.connectAttr("a", "out", "b", "in1"));
    EXPECT_EQ(takeLog(), Messages{"Node are already connected "});
    EXPECT_FALSE(network.connectAttr("a", "out", "a", "in1"));
    EXPECT_EQ(takeLog(), Messages{"Connect port on the same node is not allowed! "});
    EXPECT_FALSE(network.connectAttr("b", "out", "a", "in1"));
    EXPECT_EQ(takeLog(), Messages{"Cycle detected! the connection is not allowed! "});
    EXPECT_FALSE(network.connectAttr("c", "out", "b", "in1"));
    EXPECT_EQ(takeLog(), Messages{"Attribute already connected to another attribute  out   in1 "});
    EXPECT_FALSE(network.connectAttr("a", "out", "t", "in1"));
    EXPECT_EQ(takeLog(), Messages{"Impossible connect a  DoublePort  attribute to a  StringPort  port "});
    EXPECT_FALSE(network.disconnectAttr("a", "out", "c", "in1"));
    EXPECT_EQ(takeLog(), Messages{"Connection doesn't exist "});
}

TEST_F(NetworkConnections, MarkNothingDirty) {
    for (Node* node : {a, b}) {
        node->setDirty(false);
    }
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    EXPECT_FALSE(a->isDirty());
    EXPECT_FALSE(b->isDirty());
    ASSERT_TRUE(network.disconnectAttr("a", "out", "b", "in1"));
    EXPECT_FALSE(a->isDirty());
    EXPECT_FALSE(b->isDirty());
}

TEST_F(NetworkConnections, OfADeletedNodeAreGoneOnTheOtherSide) {
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    ASSERT_TRUE(network.connectAttr("a", "out", "c", "in2"));
    ASSERT_TRUE(network.connectAttr("b", "out", "c", "in1"));
    network.deleteNode("a");
    EXPECT_EQ(b->getInputPort("in1")->numConnections(), 0U);
    EXPECT_EQ(c->getInputPort("in2")->numConnections(), 0U);
    EXPECT_EQ(c->getInputPort("in1")->input(), b->getOutputPort("out"));
    network.deleteNode("c");
    EXPECT_EQ(b->getOutputPort("out")->numConnections(), 0U);
    EXPECT_EQ(network.getNodeNames(), (std::vector<std::string>{"b", "t"}));
}

TEST_F(NetworkConnections, ThatOnlyOneSideListsAreReportedWhenTheNodeIsDeleted) {
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    b->getInputPort("in1")->reset();
    network.deleteNode("a");
    EXPECT_EQ(takeLog(), Messages{"Connection doesn't exist "});
    EXPECT_EQ(network.getNode("a"), nullptr);
}

TEST_F(NetworkConnections, ThatOneSideListsTwiceAreReportedOnceWhenTheNodeIsDeleted) {
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    ASSERT_TRUE(network.connectAttr("a", "out", "c", "in1"));
    a->getOutputPort("out")->getConnections().push_back(b->getInputPort("in1"));
    network.deleteNode("a");
    EXPECT_EQ(takeLog(), Messages{"Connection doesn't exist "});
    EXPECT_EQ(b->getInputPort("in1")->numConnections(), 0U);
}

TEST_F(NetworkConnections, SurviveRenaming) {
    ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    ASSERT_TRUE(network.renameNode("a", "source"));
    EXPECT_FALSE(network.disconnectAttr("a", "out", "b", "in1"));
    EXPECT_TRUE(network.disconnectAttr("source", "out", "b", "in1"));
}

}  // namespace
}  // namespace TessilGraph
