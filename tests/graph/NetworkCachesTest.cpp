#include <TessilGraph/graph/NetworkManager.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/HowToCompute.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace TessilGraph {
namespace {

using tests::pipeType;
using tests::serial;
using tests::Source;
using tests::sourceType;
using tests::sumType;
using tests::takeComputed;
using tests::takeDestroyed;
using tests::useCache;

using Names = std::vector<std::string>;
using Ports = std::vector<Port*>;

/// a to b to c, made by type.
class NetworkCaches : public testing::Test {
protected:
    NetworkCaches() {
        a = network.createNode(pipeType, "a");
        b = network.createNode(pipeType, "b");
        c = network.createNode(pipeType, "c");
        EXPECT_TRUE(network.connectAttr("a", "out", "b", "in1"));
        EXPECT_TRUE(network.connectAttr("b", "out", "c", "in1"));
        takeComputed();
        takeDestroyed();
    }

    Names replayed(NetworkManager& from, const std::string& name) {
        from.setAllNodeDirty();
        from.computeNode(name, nullptr, serial, useCache);
        return takeComputed();
    }

    /// As many as it takes for one to stand where a deleted node stood in memory, each with an order of its own.
    void storeNewNodes() {
        for (const std::string& name : newNames) {
            network.createNode(pipeType, name);
            network.cacheNodeNetwork(name);
        }
    }

    void expectNewNodesAlone() {
        for (const std::string& name : newNames) {
            EXPECT_EQ(replayed(network, name), Names{name});
        }
    }

    const Names newNames = {"new0", "new1", "new2", "new3", "new4", "new5", "new6", "new7"};
    NetworkManager network;
    Node* a = nullptr;
    Node* b = nullptr;
    Node* c = nullptr;
};

double value(Node* node, const std::string& port) {
    Port* found = node->getInputPort(port);
    if (found == nullptr) {
        found = node->getOutputPort(port);
    }
    return static_cast<PortTemplate<double>*>(found)->get();
}

TEST_F(NetworkCaches, StoreAnOrderThatIsReplayedThoughTheNamedNodeIsClean) {
    network.cacheNodeNetwork("c");
    c->setDirty(false);
    network.computeNode("c", nullptr, serial, useCache);
    EXPECT_EQ(takeComputed(), (Names{"a", "b"}));
}

TEST_F(NetworkCaches, StoreCleanNodesTooAndChangeNoFlag) {
    a->setDirty(false);
    b->setDirty(false);
    network.cacheNodeNetwork("c");
    EXPECT_EQ(takeComputed(), Names{});
    EXPECT_FALSE(a->isDirty());
    EXPECT_FALSE(b->isDirty());
    EXPECT_TRUE(c->isDirty());
    EXPECT_EQ(replayed(network, "c"), (Names{"a", "b", "c"}));
}

TEST_F(NetworkCaches, StoreTheWholeUpstreamNetworkEachNodeBehindItsSources) {
    network.createNode(sourceType, "x");
    network.createNode(sumType, "s");
    network.createNode(sumType, "d");
    ASSERT_TRUE(network.connectAttr("c", "out", "d", "in1"));
    ASSERT_TRUE(network.connectAttr("x", "out", "s", "in1"));
    ASSERT_TRUE(network.connectAttr("a", "out", "s", "in2"));
    ASSERT_TRUE(network.connectAttr("s", "out", "d", "in2"));
    network.cacheNodeNetwork("d");
    EXPECT_EQ(replayed(network, "d"), (Names{"a", "x", "s", "b", "c", "d"}));
}

TEST_F(NetworkCaches, StoreOneOrderPerName) {
    network.cacheNodeNetwork("b");
    network.cacheNodeNetwork("c");
    ASSERT_TRUE(network.disconnectAttr("a", "out", "b", "in1"));
    EXPECT_EQ(replayed(network, "b"), (Names{"a", "b"}));
    EXPECT_EQ(replayed(network, "c"), (Names{"a", "b", "c"}));
    network.clearNodeNetworkCache("b");
    EXPECT_EQ(replayed(network, "b"), Names{"b"});
    EXPECT_EQ(replayed(network, "c"), (Names{"a", "b", "c"}));
}

TEST_F(NetworkCaches, ReplaceAnOrderThatWasStoredBefore) {
    network.cacheNodeNetwork("c");
    ASSERT_TRUE(network.disconnectAttr("a", "out", "b", "in1"));
    EXPECT_EQ(replayed(network, "c"), (Names{"a", "b", "c"}));
    network.cacheNodeNetwork("c");
    EXPECT_EQ(replayed(network, "c"), (Names{"b", "c"}));
}

TEST_F(NetworkCaches, IgnoreUnknownNames) {
    network.cacheNodeNetwork("x");
    network.createNode(pipeType, "x");
    EXPECT_EQ(replayed(network, "x"), Names{"x"});
    network.cacheNodeNetwork("c");
    network.clearNodeNetworkCache("X");
    network.clearNodeNetworkCache("");
    ASSERT_TRUE(network.disconnectAttr("a", "out", "b", "in1"));
    EXPECT_EQ(replayed(network, "c"), (Names{"a", "b", "c"}));
}

TEST_F(NetworkCaches, DropAllOrdersAtOnce) {
    network.cacheNodeNetwork("b");
    network.cacheNodeNetwork("c");
    network.clearNodeNetworkCaches();
    ASSERT_TRUE(network.disconnectAttr("a", "out", "b", "in1"));
    EXPECT_EQ(replayed(network, "b"), Names{"b"});
    EXPECT_EQ(replayed(network, "c"), (Names{"b", "c"}));
}

TEST_F(NetworkCaches, KeepAnOrderUnderTheOldNameWhenANodeIsRenamed) {
    network.cacheNodeNetwork("c");
    ASSERT_TRUE(network.renameNode("c", "d"));
    ASSERT_TRUE(network.disconnectAttr("a", "out", "b", "in1"));
    EXPECT_EQ(replayed(network, "d"), (Names{"b", "d"}));
    EXPECT_EQ(replayed(network, "c"), Names{});
    network.createNode(pipeType, "c");
    EXPECT_EQ(replayed(network, "c"), (Names{"a", "b", "d"}));
}

TEST_F(NetworkCaches, KeepAnOrderWhenTheNamedNodeIsDeleted) {
    network.createNode(pipeType, "d");
    network.cacheNodeNetwork("c");
    network.cacheNodeNetwork("b");
    network.deleteNode("d");
    ASSERT_TRUE(network.disconnectAttr("a", "out", "b", "in1"));
    EXPECT_EQ(replayed(network, "b"), (Names{"a", "b"}));
    // An order that names no deleted node may be replayed under a name that another node took over.
    ASSERT_TRUE(network.renameNode("b", "e"));
    network.clearNodeNetworkCache("c");
    network.deleteNode("c");
    network.createNode(pipeType, "b");
    EXPECT_EQ(replayed(network, "b"), (Names{"a", "e"}));
}

TEST_F(NetworkCaches, LoseADeletedNodeForGoodThoughANewOneTakesItsPlace) {
    network.cacheNodeNetwork("c");
    network.deleteNode("b");
    // As many as it takes for one to stand where the deleted node stood in memory.
    for (int made = 0; made < 8; ++made) {
        network.createNode(pipeType, made == 0 ? "b" : "more");
    }
    NetworkManager copy(network);
    EXPECT_EQ(replayed(copy, "c"), (Names{"a", "c"}));
    EXPECT_EQ(replayed(network, "c"), (Names{"a", "c"}));
    network.deleteNode("a");
    EXPECT_EQ(replayed(network, "c"), Names{"c"});
}

TEST_F(NetworkCaches, KeepANewNodeThatStandsWhereADeletedOneStood) {
    network.cacheNodeNetwork("c");
    network.deleteNode("b");
    storeNewNodes();
    expectNewNodesAlone();
}

TEST_F(NetworkCaches, DoNotTakeANewNodeIntoAnOrderThatIsBeingComputed) {
    network.cacheNodeNetwork("c");
    static_cast<tests::ProbeNode*>(a)->onCompute = [this] {
        network.deleteNode("b");
        storeNewNodes();
        static_cast<tests::ProbeNode*>(a)->onCompute = nullptr;
    };
    EXPECT_EQ(replayed(network, "c"), (Names{"a", "c"}));
    EXPECT_EQ(replayed(network, "c"), (Names{"a", "c"}));
    expectNewNodesAlone();
}

TEST_F(NetworkCaches, ComputeAnOrderToItsEndThoughItIsReplacedMeanwhile) {
    network.cacheNodeNetwork("c");
    static_cast<tests::ProbeNode*>(b)->onCompute = [this] {
        network.deleteNode("a");
        network.cacheNodeNetwork("b");
        network.clearNodeNetworkCaches();
        static_cast<tests::ProbeNode*>(b)->onCompute = nullptr;
    };
    EXPECT_EQ(replayed(network, "c"), (Names{"a", "b", "c"}));
}

TEST_F(NetworkCaches, RememberDeletedNodesWhenOneOfSeveralOrdersIsDropped) {
    network.cacheNodeNetwork("b");
    network.cacheNodeNetwork("c");
    network.deleteNode("a");
    network.clearNodeNetworkCache("b");
    network.createNode(pipeType, "a");
    EXPECT_EQ(replayed(network, "c"), (Names{"b", "c"}));
}

TEST_F(NetworkCaches, DropOrdersOnResetAndOnCleaning) {
    network.cacheNodeNetwork("c");
    network.reset();
    network.createNode(pipeType, "c");
    EXPECT_EQ(replayed(network, "c"), Names{"c"});
    network.cacheNodeNetwork("c");
    network.cleanNetwork();
    network.createNode(pipeType, "c");
    network.createNode(pipeType, "a");
    ASSERT_TRUE(network.connectAttr("a", "out", "c", "in1"));
    EXPECT_EQ(replayed(network, "c"), (Names{"a", "c"}));
}

TEST_F(NetworkCaches, HandTheSameNodeOutAgainAfterReset) {
    network.reset();
    EXPECT_TRUE(network.getNodeNames().empty());
    EXPECT_EQ(network.getNode("a"), nullptr);
    EXPECT_EQ(takeDestroyed(), Names{});
    EXPECT_EQ(network.createNode(pipeType, "a"), a);
    EXPECT_EQ(a->name(), "a");
    EXPECT_EQ(network.getNode("a"), a);
    EXPECT_EQ(network.getNodeNames(), Names{"a"});
    EXPECT_EQ(network.createNode(pipeType, "b"), b);
}

TEST_F(NetworkCaches, HandANodeOutOnlyOnce) {
    network.reset();
    EXPECT_EQ(network.createNode(pipeType, "a"), a);
    Node* second = network.createNode(pipeType, "a");
    EXPECT_EQ(second->name(), "a1");
    EXPECT_NE(second, a);
    EXPECT_NE(second, b);
    EXPECT_NE(second, c);
}

TEST_F(NetworkCaches, MakeANewNodeForAnotherTypeOrAnotherName) {
    network.reset();
    Node* made = network.createNode(sumType, "a");
    EXPECT_NE(made, a);
    EXPECT_EQ(made->typeStr(), sumType);
    EXPECT_EQ(takeDestroyed(), Names{});
    delete a;  // Its entry was taken by the new node, and with it the manager's claim.
    EXPECT_EQ(network.createNode(pipeType, "d")->numOutputPorts(), 1U);
    EXPECT_NE(network.getNode("d"), b);
}

TEST_F(NetworkCaches, CompareTheTypeExactly) {
    network.reset();
    Node* made = network.createNode("probeNumber1", "a");
    ASSERT_NE(made, nullptr);
    EXPECT_NE(made, a);
    EXPECT_EQ(made->typeStr(), pipeType);
    delete a;
}

TEST_F(NetworkCaches, ResetWhatTheyKeep) {
    static_cast<PortTemplate<double>*>(a->getInputPort("in1"))->set(5.0);
    network.computeNode("c");
    a->setProfileTime(9);
    network.reset();
    for (Node* node : {a, b, c}) {
        EXPECT_EQ(node->getInputPort("in1")->numConnections(), 0U);
        EXPECT_EQ(node->getOutputPort("out")->numConnections(), 0U);
        EXPECT_EQ(value(node, "in1"), 0.0);
        EXPECT_EQ(value(node, "out"), 0.0);
        EXPECT_FALSE(node->isDirty());
    }
    EXPECT_EQ(a->profileTime(), 9U);
    EXPECT_EQ(network.createNode(pipeType, "a"), a);
    EXPECT_FALSE(a->isDirty());
}

TEST_F(NetworkCaches, ResetTwiceLikeOnce) {
    network.reset();
    network.reset();
    EXPECT_EQ(network.createNode(pipeType, "b"), b);
}

TEST_F(NetworkCaches, FollowARenamedNode) {
    ASSERT_TRUE(network.renameNode("a", "z"));
    network.reset();
    EXPECT_NE(network.createNode(pipeType, "a"), a);
    EXPECT_EQ(network.createNode(pipeType, "z"), a);
}

/// A link of which only one end knows, and that end dies second.
TEST_F(NetworkCaches, AreClearedThoughWaitingNodesListEachOtherOneSidedly) {
    network.reset();
    b->getInputPort("in1")->getConnections().push_back(a->getOutputPort("out"));
    network.clearNodeCache();
    EXPECT_EQ(takeDestroyed(), (Names{"a", "b", "c"}));
}

TEST_F(NetworkCaches, ForgetADeletedNode) {
    network.deleteNode("a");
    EXPECT_EQ(takeDestroyed(), Names{"a"});
    network.reset();
    network.createNode(pipeType, "a");
    network.clearNodeCache();
    EXPECT_EQ(takeDestroyed(), (Names{"b", "c"}));
}

TEST_F(NetworkCaches, PassOverAnEntryWithoutANode) {
    EXPECT_EQ(network.createNode("NoSuchType", "n"), nullptr);
    network.reset();
    EXPECT_EQ(network.createNode("NoSuchType", "n"), nullptr);
    network.reset();
    network.clearNodeCache();
    EXPECT_EQ(takeDestroyed(), (Names{"a", "b", "c"}));
    EXPECT_EQ(network.createNode("NoSuchType", "n"), nullptr);
    EXPECT_NE(network.createNode(pipeType, "n"), nullptr);
    network.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), Names{"n"});
}

TEST_F(NetworkCaches, AreClearedOfUnusedNodesOnly) {
    network.clearNodeCache();
    EXPECT_EQ(takeDestroyed(), Names{});
    EXPECT_EQ(network.getNodeNames(), (Names{"a", "b", "c"}));
    network.reset();
    EXPECT_EQ(network.createNode(pipeType, "b"), b);
    network.clearNodeCache();
    EXPECT_EQ(takeDestroyed(), (Names{"a", "c"}));
    EXPECT_EQ(network.getNodeNames(), Names{"b"});
    network.reset();
    EXPECT_EQ(network.createNode(pipeType, "b"), b);
}

TEST_F(NetworkCaches, UnlinkTheWaitingNodesThatTheyDelete) {
    for (const bool waitingIsFed : {true, false}) {
        SCOPED_TRACE(waitingIsFed);
        network.cleanNetwork();
        Node* kept = network.createNode(pipeType, "a");
        Node* waiting = network.createNode(pipeType, "b");
        network.reset();
        takeDestroyed();
        Port* mine = waitingIsFed ? kept->getOutputPort("out") : kept->getInputPort("in1");
        Port* other = waitingIsFed ? waiting->getInputPort("in1") : waiting->getOutputPort("out");
        ASSERT_TRUE(mine->connectTo(other));
        ASSERT_EQ(network.createNode(pipeType, "a"), kept);
        network.clearNodeCache();
        EXPECT_EQ(takeDestroyed(), Names{"b"});
        EXPECT_EQ(mine->numConnections(), 0U);
        kept->setDirty(false);
        static_cast<PortTemplate<double>*>(kept->getInputPort("in1"))->set(3.0);
        EXPECT_TRUE(kept->isDirty());
        network.createNode(pipeType, "b");
        EXPECT_TRUE(network.connectAttr("a", "out", "b", "in1"));
        network.computeNode("b");
        EXPECT_EQ(value(network.getNode("b"), "out"), 5.0);
    }
    takeComputed();
}

TEST_F(NetworkCaches, UnlinkTheWaitingNodeWhoseNameARenamedNodeTakes) {
    for (const bool waitingIsFed : {true, false}) {
        SCOPED_TRACE(waitingIsFed);
        network.cleanNetwork();
        Node* kept = network.createNode(pipeType, "a");
        Node* waiting = network.createNode(pipeType, "b");
        network.reset();
        takeDestroyed();
        Port* mine = waitingIsFed ? kept->getOutputPort("out") : kept->getInputPort("in1");
        Port* other = waitingIsFed ? waiting->getInputPort("in1") : waiting->getOutputPort("out");
        ASSERT_TRUE(mine->connectTo(other));
        ASSERT_EQ(network.createNode(pipeType, "a"), kept);
        ASSERT_TRUE(network.renameNode("a", "b"));
        EXPECT_EQ(takeDestroyed(), Names{"b"});
        EXPECT_EQ(network.getNode("b"), kept);
        EXPECT_EQ(mine->numConnections(), 0U);
        kept->setDirty(false);
        static_cast<PortTemplate<double>*>(kept->getInputPort("in1"))->set(3.0);
        EXPECT_TRUE(kept->isDirty());
        network.createNode(pipeType, "c");
        EXPECT_TRUE(network.connectAttr("b", "out", "c", "in1"));
        network.computeNode("c");
        EXPECT_EQ(value(network.getNode("c"), "out"), 5.0);
    }
    takeComputed();
}

/// The names of the nodes and of both ends of every connection, in the order of the inputs.
Names wiring(NetworkManager& network) {
    Names links;
    for (Node* node : network.getAllNodes()) {
        for (auto port = node->inputPortBegin(); port != node->inputPortEnd(); ++port) {
            if ((*port)->input() != nullptr) {
                Port* from = (*port)->input();
                links.push_back(from->node()->name() + "." + from->name() + " " + node->name() + "." + (*port)->name());
            }
        }
    }
    return links;
}

class NetworkCopy : public NetworkCaches {
protected:
    NetworkCopy() {
        network.createNode(sumType, "d");
        EXPECT_TRUE(network.connectAttr("b", "out", "d", "in2"));
        static_cast<PortTemplate<double>*>(network.getNode("d")->getInputPort("in1"))->set(4.0);
        static_cast<PortTemplate<double>*>(a->getInputPort("in1"))->set(2.0);
    }
};

TEST_F(NetworkCopy, HasTheSameNodesValuesAndConnections) {
    static_assert(std::is_same_v<decltype(std::declval<const NetworkManager&>().clone()), NetworkManager>);
    const NetworkManager& original = network;
    NetworkManager copied(original);
    NetworkManager assigned;
    EXPECT_EQ(&(assigned = original), &assigned);
    NetworkManager cloned = original.clone();
    for (NetworkManager* copy : {&copied, &assigned, &cloned}) {
        EXPECT_EQ(copy->getNodeNames(), (Names{"a", "b", "c", "d"}));
        EXPECT_EQ(wiring(*copy), (Names{"a.out b.in1", "b.out c.in1", "b.out d.in2"}));
        EXPECT_EQ(value(copy->getNode("a"), "in1"), 2.0);
        EXPECT_EQ(value(copy->getNode("d"), "in1"), 4.0);
        for (const char* name : {"a", "b", "c", "d"}) {
            EXPECT_NE(copy->getNode(name), network.getNode(name));
            EXPECT_EQ(copy->getNode(name)->name(), name);
            EXPECT_TRUE(copy->getNode(name)->isDirty());
        }
        copy->computeNode("d");
        EXPECT_EQ(value(copy->getNode("d"), "out"), 1.0 + 4.0 + 1.0 + 1.0 + 2.0);
    }
    EXPECT_EQ(wiring(network), (Names{"a.out b.in1", "b.out c.in1", "b.out d.in2"}));
    EXPECT_TRUE(a->isDirty());
}

TEST_F(NetworkCopy, ListsTheInputsThatAnOutputFeedsInTheOrderOfTheirNames) {
    ASSERT_TRUE(network.disconnectAttr("b", "out", "c", "in1"));
    ASSERT_TRUE(network.connectAttr("b", "out", "c", "in1"));
    EXPECT_EQ(b->getOutputPort("out")->getConnections(),
              (Ports{network.getNode("d")->getInputPort("in2"), c->getInputPort("in1")}));
    NetworkManager copy(network);
    EXPECT_EQ(copy.getNode("b")->getOutputPort("out")->getConnections(),
              (Ports{copy.getNode("c")->getInputPort("in1"), copy.getNode("d")->getInputPort("in2")}));
}

TEST_F(NetworkCopy, LivesOnItsOwn) {
    NetworkManager copy(network);
    copy.deleteNode("b");
    EXPECT_EQ(network.getNodeNames(), (Names{"a", "b", "c", "d"}));
    EXPECT_EQ(wiring(network).size(), 3U);
    EXPECT_EQ(wiring(copy), Names{});
    network.cleanNetwork();
    EXPECT_EQ(copy.getNodeNames(), (Names{"a", "c", "d"}));
    copy.computeNode("c");
    EXPECT_FALSE(copy.getNode("c")->isDirty());
}

TEST_F(NetworkCopy, HasTheStoredOrdersOverItsOwnNodes) {
    network.cacheNodeNetwork("c");
    network.cacheNodeNetwork("d");
    ASSERT_TRUE(network.disconnectAttr("a", "out", "b", "in1"));
    NetworkManager copy(network);
    EXPECT_EQ(replayed(copy, "c"), (Names{"a", "b", "c"}));
    EXPECT_FALSE(copy.getNode("a")->isDirty());
    EXPECT_TRUE(a->isDirty());
    EXPECT_EQ(replayed(copy, "d"), (Names{"a", "b", "d"}));
    copy.clearNodeNetworkCaches();
    EXPECT_EQ(replayed(copy, "c"), (Names{"b", "c"}));
    EXPECT_EQ(replayed(network, "c"), (Names{"a", "b", "c"}));
}

TEST_F(NetworkCopy, KeepsAnOrderUnderAKeyThatNamesNoNode) {
    network.cacheNodeNetwork("c");
    ASSERT_TRUE(network.renameNode("c", "e"));
    NetworkManager copy(network);
    copy.createNode(pipeType, "c");
    EXPECT_EQ(replayed(copy, "c"), (Names{"a", "b", "e"}));
}

TEST_F(NetworkCopy, LeavesNodesOfAStoredOrderOutThatHaveNoCopy) {
    Source outside;
    outside.setName("outside");
    ASSERT_TRUE(outside.out()->connectTo(a->getInputPort("in1")));
    network.cacheNodeNetwork("c");
    EXPECT_EQ(replayed(network, "c"), (Names{"outside", "a", "b", "c"}));
    NetworkManager copy(network);
    outside.setDirtyFlag();
    EXPECT_EQ(replayed(copy, "c"), (Names{"a", "b", "c"}));
    EXPECT_TRUE(outside.isDirty());
    EXPECT_EQ(copy.getNode("a")->getInputPort("in1")->numConnections(), 0U);
    EXPECT_EQ(outside.out()->numConnections(), 1U);
    network.cleanNetwork();
}

TEST_F(NetworkCopy, HasAnEmptyNodeCache) {
    NetworkManager copy(network);
    takeDestroyed();
    const std::vector<Node*> nodes = copy.getAllNodes();
    copy.reset();
    EXPECT_EQ(takeDestroyed(), Names{});
    Node* made = copy.createNode(pipeType, "a");
    EXPECT_NE(made, nodes[0]);
    copy.clearNodeCache();
    EXPECT_EQ(takeDestroyed(), Names{});
    for (Node* node : nodes) {
        delete node;  // `reset` gave them up: they came in without an entry in the node cache.
    }
}

TEST_F(NetworkCopy, KeepsLinksToOutsideStorage) {
    double outside = 50.0;
    static_cast<PortTemplate<double>*>(a->getInputPort("in1"))->setLink(&outside);
    NetworkManager copy(network);
    EXPECT_EQ(value(copy.getNode("a"), "in1"), 50.0);
    outside = 60.0;
    EXPECT_EQ(value(copy.getNode("a"), "in1"), 60.0);
}

TEST_F(NetworkCopy, TakesTheNodesOwnNames) {
    a->setName("own");
    NetworkManager copy(network);
    EXPECT_EQ(copy.getNodeNames(), (Names{"b", "c", "d", "own"}));
    EXPECT_EQ(wiring(copy), (Names{"own.out b.in1", "b.out c.in1", "b.out d.in2"}));
    a->setName("a");
}

TEST_F(NetworkCopy, DeletesACloneWhoseNameAnotherOneTakes) {
    NetworkManager namesakes;
    namesakes.createNode(pipeType, "a");
    namesakes.createNode(pipeType, "b")->setName("a");
    takeDestroyed();
    {
        const NetworkManager copy(namesakes);
        EXPECT_EQ(takeDestroyed(), Names{"a"});
    }
    EXPECT_EQ(takeDestroyed(), Names{"a"});
}

TEST_F(NetworkCopy, WiresTheCloneThatHasTheName) {
    NetworkManager namesakes;
    namesakes.createNode(pipeType, "a");
    namesakes.createNode(sumType, "b")->setName("a");
    namesakes.createNode(pipeType, "c");
    ASSERT_TRUE(namesakes.connectAttr("c", "out", "a", "in1"));
    ASSERT_TRUE(namesakes.connectAttr("c", "out", "b", "in2"));
    namesakes.cacheNodeNetwork("a");
    NetworkManager copy(namesakes);
    EXPECT_EQ(copy.getNodeNames(), (Names{"a", "c"}));
    EXPECT_EQ(copy.getNode("a")->typeStr(), sumType);
    EXPECT_EQ(wiring(copy), (Names{"c.out a.in1", "c.out a.in2"}));
    EXPECT_EQ(replayed(copy, "a"), (Names{"c", "a"}));
}

/// Its clone has the same ports in another order.
class Shuffled : public Node {
public:
    explicit Shuffled(const Names& order) {
        for (const std::string& name : order) {
            addInputPort(new PortTemplate<double>(name));
            addOutputPort(new PortTemplate<double>(name));
        }
    }

    std::string typeStr() const override { return "Shuffled"; }
    unsigned int typeId() const override { return 9802; }
    Node* clone() override {
        auto* copy = new Shuffled({"3", "1", "2"});
        copy->setName(name());
        return copy;
    }
};

TEST_F(NetworkCopy, FindsPortsByTheirNamesWhereverTheyStand) {
    NetworkManager shuffled;
    for (const char* name : {"a", "b"}) {
        shuffled.addNode(new Shuffled({"1", "2", "3", "4"}), name);
    }
    ASSERT_TRUE(shuffled.connectAttr("a", "1", "b", "2"));
    ASSERT_TRUE(shuffled.connectAttr("a", "3", "b", "3"));
    ASSERT_TRUE(shuffled.connectAttr("a", "3", "b", "4"));
    ASSERT_TRUE(shuffled.connectAttr("a", "4", "b", "1"));
    NetworkManager copy(shuffled);
    // Ports that a clone lacks are not linked there.
    EXPECT_EQ(wiring(copy), (Names{"a.3 b.3", "a.1 b.2"}));
}

/// Its clone is fed by a node that it makes along with it.
class Accompanied : public tests::Pipe {
public:
    static inline std::unique_ptr<tests::Pipe> companion;

    Node* clone() override {
        companion = std::make_unique<tests::Pipe>();
        auto* copy = new Accompanied;
        copy->setName(name());
        EXPECT_TRUE(companion->out()->connectTo(copy->in()));
        return copy;
    }
};

TEST_F(NetworkCopy, RefusesCyclesThroughLinksThatACloneBringsAlong) {
    NetworkManager accompanied;
    accompanied.addNode(new Accompanied, "a");
    {
        NetworkManager copy(accompanied);
        Port* out = copy.getNode("a")->getOutputPort("out");
        EXPECT_FALSE(out->connectTo(Accompanied::companion->in()));
        EXPECT_EQ(tests::takeLog(), tests::Messages{"Cycle detected! the connection is not allowed! "});
    }
    Accompanied::companion.reset();
}

/// Has two inputs of one name, the second of which it put there itself.
class Alike : public Node {
public:
    Alike() {
        addInputPort(new PortTemplate<double>("in"));
        addInputPort(new PortTemplate<double>("other"));
        Port*& place = *(inputPortBegin() + 1);
        const std::unique_ptr<Port> former(place);
        place = new PortTemplate<double>("in");
        place->setNode(this);
    }

    std::string typeStr() const override { return "Alike"; }
    unsigned int typeId() const override { return 0; }
    Node* clone() override { return new Alike; }
    bool compute(const ComputeData*) override { return true; }
};

TEST_F(NetworkCopy, TellsInputsOfOneNameApartByTheirPlaces) {
    NetworkManager original;
    original.addNode(new tests::Pipe, "source");
    original.addNode(new Alike, "alike");
    const auto inputsOf = [](NetworkManager& manager) {
        const Node& node = *manager.getNode("alike");
        return std::vector<Port*>(node.inputPortCBegin(), node.inputPortCEnd());
    };
    ASSERT_TRUE(original.getNode("source")->getOutputPort("out")->connectTo(inputsOf(original).back()));
    NetworkManager copy(original);
    EXPECT_EQ(inputsOf(copy).front()->numConnections(), 0U);
    EXPECT_EQ(inputsOf(copy).back()->numConnections(), 1U);
}

/// Does something of its own whenever it is cloned.
class Willful : public tests::Pipe {
public:
    std::function<Node*(Willful&)> onClone;

    Node* clone() override { return onClone(*this); }
};

TEST_F(NetworkCopy, HoldsACloneThatComesTwiceUnderBothNames) {
    auto* shared = new tests::Pipe;
    NetworkManager twins;
    for (const char* name : {"a", "b"}) {
        auto* twin = new Willful;
        twin->onClone = [shared](Willful&) { return shared; };
        twins.addNode(twin, name);
    }
    {
        NetworkManager copy(twins);
        EXPECT_EQ(copy.getNodeNames(), (Names{"a", "b"}));
        EXPECT_EQ(copy.getNode("a"), shared);
        EXPECT_EQ(copy.getNode("b"), shared);
        EXPECT_EQ(shared->name(), "b");
        takeDestroyed();
    }
    EXPECT_EQ(takeDestroyed(), Names{"b"});
}

TEST_F(NetworkCopy, HoldsACloneThatStandsInAnotherNetworkToo) {
    NetworkManager other;
    NetworkManager willful;
    auto* original = new Willful;
    original->onClone = [&other](Willful&) {
        auto* clone = new tests::Pipe;
        other.addNode(clone, "elsewhere");
        return clone;
    };
    willful.addNode(original, "a");
    NetworkManager copy(willful);
    EXPECT_EQ(copy.getNode("a"), other.getNode("elsewhere"));
    EXPECT_EQ(copy.getNode("a")->name(), "a");
    EXPECT_EQ(other.getNodeNames(), Names{"elsewhere"});
    other.reset();
    EXPECT_EQ(other.getNode("elsewhere"), nullptr);
    EXPECT_EQ(copy.getNodeNames(), Names{"a"});
}

TEST_F(NetworkCopy, LeavesOutWhatACloneAddsToTheSource) {
    NetworkManager growing;
    auto* original = new Willful;
    original->onClone = [&growing](Willful& self) {
        growing.createNode(pipeType, "late");
        auto* clone = new tests::Pipe;
        clone->setName(self.name());
        return clone;
    };
    growing.addNode(original, "m");
    growing.createNode(pipeType, "a");
    NetworkManager copy(growing);
    EXPECT_EQ(growing.getNodeNames(), (Names{"a", "late", "m"}));
    EXPECT_EQ(copy.getNodeNames(), (Names{"a", "m"}));
    EXPECT_EQ(copy.getNode("late"), nullptr);
    EXPECT_NE(copy.createNode(pipeType, "late"), nullptr);
    EXPECT_EQ(copy.getNodeNames(), (Names{"a", "late", "m"}));
}

TEST_F(NetworkCopy, CallsACloneByTheNameOfItsOriginal) {
    NetworkManager willful;
    auto* original = new Willful;
    original->onClone = [](Willful&) {
        auto* clone = new tests::Pipe;
        clone->setName("misnamed");
        return clone;
    };
    willful.addNode(original, "a");
    NetworkManager copy(willful);
    EXPECT_EQ(copy.getNodeNames(), Names{"a"});
    ASSERT_NE(copy.getNode("a"), nullptr);
    EXPECT_EQ(copy.getNode("a")->name(), "a");
    EXPECT_EQ(copy.getNode("misnamed"), nullptr);
}

TEST_F(NetworkCopy, KeepsTheNamesInOrderWhateverComesAndGoesLater) {
    for (const char* name : {"z", "y", "x", "w"}) {
        network.createNode(pipeType, name);
    }
    network.deleteNode("z");
    network.deleteNode("a");
    NetworkManager copy(network);
    EXPECT_EQ(copy.getNodeNames(), (Names{"b", "c", "d", "w", "x", "y"}));
    for (const std::string& name : copy.getNodeNames()) {
        ASSERT_NE(copy.getNode(name), nullptr) << name;
        EXPECT_EQ(copy.getNode(name)->name(), name);
        EXPECT_NE(copy.getNode(name), network.getNode(name));
    }
    EXPECT_EQ(copy.createNode(pipeType, "b")->name(), "b1");
    EXPECT_EQ(copy.createNode(pipeType, "a")->name(), "a");
    EXPECT_TRUE(copy.renameNode("y", "e"));
    copy.deleteNode("x");
    EXPECT_EQ(copy.getNodeNames(), (Names{"a", "b", "b1", "c", "d", "e", "w"}));
    EXPECT_EQ(copy.getNode("x"), nullptr);
    EXPECT_EQ(copy.getNode("e")->name(), "e");
    EXPECT_EQ(NetworkManager(copy).getNodeNames(), copy.getNodeNames());
    EXPECT_EQ(network.getNodeNames(), (Names{"b", "c", "d", "w", "x", "y"}));
    takeDestroyed();
    copy.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), (Names{"a", "b", "b1", "c", "d", "e", "w"}));
}

TEST_F(NetworkCopy, ReplacesWhatWasThere) {
    NetworkManager target;
    target.createNode(pipeType, "old");
    target.createNode(pipeType, "a");
    target.cacheNodeNetwork("a");
    takeDestroyed();
    target = network;
    EXPECT_EQ(takeDestroyed(), (Names{"a", "old"}));
    EXPECT_EQ(target.getNodeNames(), (Names{"a", "b", "c", "d"}));
    ASSERT_TRUE(target.disconnectAttr("b", "out", "c", "in1"));
    EXPECT_EQ(replayed(target, "a"), Names{"a"});
}

TEST_F(NetworkCopy, OfItselfIsEmpty) {
    network.cacheNodeNetwork("c");
    NetworkManager& same = network;
    network = same;
    EXPECT_TRUE(network.getNodeNames().empty());
    EXPECT_EQ(takeDestroyed(), (Names{"a", "b", "c", "d"}));
    EXPECT_NE(network.createNode(pipeType, "a"), nullptr);
}

TEST_F(NetworkCopy, OfNothingIsEmpty) {
    const NetworkManager empty;
    network = empty;
    EXPECT_TRUE(network.getNodeNames().empty());
    EXPECT_EQ(takeDestroyed(), (Names{"a", "b", "c", "d"}));
}

TEST_F(NetworkCopy, IsMadeFromBothSidesOfALinkThatOnlyTheInputLists) {
    b->getOutputPort("out")->reset();
    NetworkManager copy(network);
    EXPECT_EQ(wiring(copy), (Names{"a.out b.in1", "b.out c.in1", "b.out d.in2"}));
    EXPECT_EQ(copy.getNode("b")->getOutputPort("out")->numConnections(), 2U);
}

TEST_F(NetworkCopy, LeavesALinkOutThatOnlyTheOutputLists) {
    c->getInputPort("in1")->reset();
    NetworkManager copy(network);
    EXPECT_EQ(wiring(copy), (Names{"a.out b.in1", "b.out d.in2"}));
    EXPECT_EQ(copy.getNode("b")->getOutputPort("out")->numConnections(), 1U);
}

/// What goes wrong when a network of `MoodyNode`s is copied.
struct Moods {
    std::string refusesToClone;  ///< The name of the node whose clone is null.
    std::string throwsInClone;   ///< The name of the node that throws out of its `clone`.
    int typesAskedFor = -1;      ///< How often ports may be asked for their type until one throws; -1 for always.
};

Moods moods;

class MoodyPort : public PortTemplate<double> {
public:
    using PortTemplate<double>::PortTemplate;

    std::string typeStr() const override {
        if (moods.typesAskedFor == 0) {
            throw std::runtime_error("type");
        }
        moods.typesAskedFor -= moods.typesAskedFor > 0 ? 1 : 0;
        return PortTemplate<double>::typeStr();
    }
};

class MoodyNode : public Node {
public:
    MoodyNode() {
        addInputPort(new MoodyPort("in1"));
        addOutputPort(new MoodyPort("out"));
        ++alive;
    }
    ~MoodyNode() override { --alive; }

    static inline int alive = 0;

    std::string typeStr() const override { return "Moody"; }
    unsigned int typeId() const override { return 9801; }

    Node* clone() override {
        if (name() == moods.throwsInClone) {
            throw std::runtime_error(name());
        }
        if (name() == moods.refusesToClone) {
            return nullptr;
        }
        auto* copy = new MoodyNode;
        copy->setName(name());
        return copy;
    }
};

/// a to b to c to d, and an order stored for d.
class NetworkCopyInTrouble : public testing::Test {
protected:
    NetworkCopyInTrouble() {
        for (const std::string& name : names) {
            network.addNode(new MoodyNode, name);
            network.getNode(name)->setDirty(name == "c");
        }
        EXPECT_TRUE(network.connectAttr("a", "out", "b", "in1"));
        EXPECT_TRUE(network.connectAttr("b", "out", "c", "in1"));
        EXPECT_TRUE(network.connectAttr("c", "out", "d", "in1"));
        network.cacheNodeNetwork("d");
    }

    ~NetworkCopyInTrouble() override {
        moods = {};
        network.cleanNetwork();
        EXPECT_EQ(MoodyNode::alive, 0);
    }

    /// That the network which is copied is as it was, and nothing else is left.
    void expectSourceUnchangedAndAlone() {
        EXPECT_EQ(MoodyNode::alive, 4);
        EXPECT_EQ(network.getNodeNames(), names);
        EXPECT_EQ(wiring(network), (Names{"a.out b.in1", "b.out c.in1", "c.out d.in1"}));
        for (const std::string& name : names) {
            EXPECT_EQ(network.getNode(name)->isDirty(), name == "c") << name;
        }
    }

    /// That a manager can be built on, assigned to and destroyed.
    void expectUsable(NetworkManager& target) {
        moods = {};
        target.addNode(new MoodyNode, "fresh");
        target.addNode(new MoodyNode, "fresher");
        EXPECT_TRUE(target.connectAttr("fresh", "out", "fresher", "in1"));
        target.computeNode("fresher");
        EXPECT_FALSE(target.getNode("fresh")->isDirty());
        target = network;
        EXPECT_EQ(target.getNodeNames(), names);
        EXPECT_EQ(wiring(target), wiring(network));
        EXPECT_EQ(MoodyNode::alive, 8);
        target.cleanNetwork();
        expectSourceUnchangedAndAlone();
    }

    void expectEveryWayToThrow(const Moods& wanted) {
        moods = wanted;
        EXPECT_THROW(NetworkManager copy(network), std::runtime_error);
        expectSourceUnchangedAndAlone();
        moods = wanted;
        EXPECT_THROW(network.clone(), std::runtime_error);
        expectSourceUnchangedAndAlone();
        NetworkManager target;
        target.addNode(new MoodyNode, "old");
        target.cacheNodeNetwork("old");
        moods = wanted;
        EXPECT_THROW(target = network, std::runtime_error);
        EXPECT_EQ(target.getNode("old"), nullptr);
        expectUsable(target);
    }

    const Names names = {"a", "b", "c", "d"};
    NetworkManager network;
};

TEST_F(NetworkCopyInTrouble, LeaksNothingWhenACloneThrows) {
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        Moods wanted;
        wanted.throwsInClone = name;
        expectEveryWayToThrow(wanted);
    }
}

TEST_F(NetworkCopyInTrouble, LeaksNothingWhenALinkThrows) {
    // Three links, and each of them asks two ports.
    for (int asked = 0; asked < 6; ++asked) {
        SCOPED_TRACE(asked);
        Moods wanted;
        wanted.typesAskedFor = asked;
        expectEveryWayToThrow(wanted);
    }
}

TEST_F(NetworkCopyInTrouble, LeavesNodesOutThatHaveNoClone) {
    const Names links = {"a.out b.in1", "b.out c.in1", "c.out d.in1"};
    for (std::size_t missing = 0; missing < names.size(); ++missing) {
        SCOPED_TRACE(names[missing]);
        moods.refusesToClone = names[missing];
        Names expectedNames;
        Names expectedLinks;
        for (std::size_t index = 0; index < names.size(); ++index) {
            if (index != missing) {
                expectedNames.push_back(names[index]);
            }
            if (index > 0 && index != missing && index - 1 != missing) {
                expectedLinks.push_back(links[index - 1]);
            }
        }
        NetworkManager target;
        target = network;
        EXPECT_EQ(target.getNodeNames(), expectedNames);
        EXPECT_EQ(wiring(target), expectedLinks);
        EXPECT_EQ(MoodyNode::alive, 7);
        target.computeNode("d", nullptr, serial, useCache);
        for (Node* node : target.getAllNodes()) {
            EXPECT_EQ(node->isDirty(), names[missing] == "d") << node->name();
        }
        target.cleanNetwork();
        expectSourceUnchangedAndAlone();
        expectUsable(target);
    }
}

}  // namespace
}  // namespace TessilGraph
