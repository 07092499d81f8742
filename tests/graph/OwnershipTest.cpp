#include <TessilGraph/graph/NetworkManager.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace TessilGraph {
namespace {

using tests::Pipe;
using tests::takeDestroyed;

using Names = std::vector<std::string>;

const std::string pipe = "ProbeNumber1";
const std::string sum = "ProbeNumber2";

class Ownership : public testing::Test {
protected:
    Ownership() { takeDestroyed(); }
};

TEST_F(Ownership, EndsWithTheManager) {
    {
        NetworkManager network;
        network.createNode(pipe, "b");
        network.createNode(pipe, "a");
        network.addNode(new Pipe, "c");
        EXPECT_TRUE(network.connectAttr("a", "out", "b", "in1"));
        EXPECT_TRUE(network.connectAttr("b", "out", "c", "in1"));
        EXPECT_EQ(takeDestroyed(), Names{});
    }
    EXPECT_EQ(takeDestroyed(), (Names{"a", "b", "c"}));
}

TEST_F(Ownership, EndsWithCleaning) {
    NetworkManager network;
    network.createNode(pipe, "a");
    network.addNode(new Pipe, "b");
    network.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), (Names{"a", "b"}));
    EXPECT_TRUE(network.getNodeNames().empty());
    network.clearNodeCache();
    network.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), Names{});
}

TEST_F(Ownership, OfNodesThatWaitAfterAResetEndsWithTheManager) {
    {
        NetworkManager network;
        network.createNode(pipe, "a");
        network.createNode(pipe, "b");
        network.reset();
        network.createNode(pipe, "c");
        EXPECT_EQ(takeDestroyed(), Names{});
    }
    EXPECT_EQ(takeDestroyed(), (Names{"c", "a", "b"}));
}

TEST_F(Ownership, OfANodeThatWasHandedOutTwiceEndsOnce) {
    {
        NetworkManager network;
        network.createNode(pipe, "a");
        network.reset();
        network.createNode(pipe, "a");
        network.reset();
        network.createNode(pipe, "a");
    }
    EXPECT_EQ(takeDestroyed(), Names{"a"});
}

TEST_F(Ownership, OfANodeThatWasHandedInReturnsToTheHostOnReset) {
    NetworkManager network;
    auto* node = new Pipe;
    network.addNode(node, "a");
    node->in()->set(3.0);
    network.reset();
    EXPECT_EQ(network.getNode("a"), nullptr);
    EXPECT_EQ(takeDestroyed(), Names{});
    EXPECT_EQ(node->in()->get(), 3.0);
    network.clearNodeCache();
    network.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), Names{});
    delete node;
}

TEST_F(Ownership, OfANodeThatWasHandedInAgainIsTheManagers) {
    NetworkManager network;
    auto* node = new Pipe;
    network.addNode(node, "a");
    network.reset();
    network.addNode(node, "b");
    EXPECT_EQ(network.getNode("b"), node);
    network.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), Names{"b"});
}

TEST_F(Ownership, EndsWithDeleteNode) {
    NetworkManager network;
    network.createNode(pipe, "a");
    network.addNode(new Pipe, "b");
    network.deleteNode("a");
    network.deleteNode("b");
    network.deleteNode("a");
    network.deleteNode("never");
    EXPECT_EQ(takeDestroyed(), (Names{"a", "b"}));
    network.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), Names{});
}

TEST_F(Ownership, OfANodeWhoseEntryWasOverwrittenReturnsToTheHost) {
    std::unique_ptr<Node> old;
    {
        NetworkManager network;
        old.reset(network.createNode(pipe, "a"));
        network.reset();
        Node* made = network.createNode(sum, "a");
        EXPECT_NE(made, old.get());
        network.reset();
        EXPECT_EQ(network.createNode(sum, "a"), made);
    }
    EXPECT_EQ(takeDestroyed(), Names{"a"});
    EXPECT_EQ(old->typeStr(), pipe);
}

TEST_F(Ownership, OfAWaitingNodeReturnsToTheHostWhenAnUnknownTypeTakesItsEntry) {
    std::unique_ptr<Node> old;
    {
        NetworkManager network;
        old.reset(network.createNode(pipe, "a"));
        network.reset();
        EXPECT_EQ(network.createNode("NoSuchType", "a"), nullptr);
        network.reset();
        network.clearNodeCache();
    }
    EXPECT_EQ(takeDestroyed(), Names{});
}

TEST_F(Ownership, OfAWaitingNodeReturnsToTheHostWhenANodeOfItsNameIsDeleted) {
    std::unique_ptr<Node> old;
    {
        NetworkManager network;
        old.reset(network.createNode(pipe, "a"));
        network.reset();
        network.addNode(new Pipe, "a");
        network.deleteNode("a");
        EXPECT_EQ(takeDestroyed(), Names{"a"});
    }
    EXPECT_EQ(takeDestroyed(), Names{});
}

TEST_F(Ownership, OfAWaitingNodeReturnsToTheHostWhenItsNameIsDeleted) {
    std::unique_ptr<Node> old;
    {
        NetworkManager network;
        old.reset(network.createNode(pipe, "a"));
        network.reset();
        network.deleteNode("a");  // There is no such node, but there is an entry in the node cache.
        EXPECT_EQ(takeDestroyed(), Names{});
        EXPECT_NE(network.createNode(pipe, "a"), old.get());
    }
    EXPECT_EQ(takeDestroyed(), Names{"a"});
}

TEST_F(Ownership, OfAWaitingNodeEndsWhenARenamedNodeTakesItsName) {
    NetworkManager network;
    network.createNode(pipe, "a");
    network.createNode(pipe, "b");
    network.reset();
    Node* b = network.createNode(pipe, "b");
    EXPECT_TRUE(network.renameNode("b", "a"));
    EXPECT_EQ(takeDestroyed(), Names{"a"});
    network.reset();
    EXPECT_EQ(network.createNode(pipe, "a"), b);
    network.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), Names{"a"});
}

TEST_F(Ownership, OfAWaitingNodeStaysWhenANodeThatWasHandedInTakesItsName) {
    NetworkManager network;
    Node* waiting = network.createNode(pipe, "a");
    network.reset();
    auto* handedIn = new Pipe;
    network.addNode(handedIn, "b");
    EXPECT_TRUE(network.renameNode("b", "a"));
    EXPECT_EQ(takeDestroyed(), Names{});
    EXPECT_EQ(network.getNode("a"), handedIn);
    EXPECT_TRUE(network.renameNode("a", "c"));
    EXPECT_EQ(network.createNode(pipe, "a"), waiting);
    network.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), (Names{"a", "c"}));
}

TEST_F(Ownership, OfACopyIsItsOwn) {
    NetworkManager network;
    network.createNode(pipe, "a");
    {
        NetworkManager copy = network.clone();
        NetworkManager second;
        second = copy;
    }
    EXPECT_EQ(takeDestroyed(), (Names{"a", "a"}));
    EXPECT_NE(network.getNode("a"), nullptr);
}

TEST_F(Ownership, OfAMovedManagerIsCopied) {
    NetworkManager network;
    network.createNode(pipe, "a");
    NetworkManager moved(std::move(network));
    EXPECT_EQ(moved.getNodeNames(), Names{"a"});
}

TEST_F(Ownership, OfARemovedPortIsTheHosts) {
    std::unique_ptr<Port> removed;
    {
        NetworkManager network;
        Node* node = network.createNode(sum, "a");
        network.createNode(pipe, "b");
        removed.reset(node->getInputPort("in2"));
        ASSERT_TRUE(network.connectAttr("b", "out", "a", "in2"));
        node->removeInputPort("in2");
        network.deleteNode("a");
        EXPECT_EQ(removed->input(), network.getNode("b")->getOutputPort("out"));
        EXPECT_TRUE(removed->disconnectFrom(removed->input()));
    }
    EXPECT_EQ(removed->name(), "in2");
}

TEST_F(Ownership, OfANewNodeIsTheCallersOfTheFactory) {
    const std::unique_ptr<Node> node(NodeFactory::instance().createNode(pipe));
    ASSERT_NE(node, nullptr);
    NodeFactory::instance().deregisterNode(pipe);
    NodeFactory::instance().registerNode(pipe, Pipe::creator);
    EXPECT_EQ(takeDestroyed(), Names{});
}

}  // namespace
}  // namespace TessilGraph
