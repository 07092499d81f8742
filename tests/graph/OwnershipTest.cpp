#include <TessilGraph/graph/NetworkManager.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace TessilGraph {
namespace {

using tests::Pipe;
using tests::pipeType;
using tests::sumType;
using tests::takeDestroyed;

using Names = std::vector<std::string>;

class Ownership : public testing::Test {
protected:
    Ownership() { takeDestroyed(); }
};

TEST_F(Ownership, EndsWithTheManager) {
    {
        NetworkManager network;
        network.createNode(pipeType, "b");
        network.createNode(pipeType, "a");
        network.addNode(new Pipe, "c");
        EXPECT_TRUE(network.connectAttr("a", "out", "b", "in1"));
        EXPECT_TRUE(network.connectAttr("b", "out", "c", "in1"));
        EXPECT_EQ(takeDestroyed(), Names{});
    }
    EXPECT_EQ(takeDestroyed(), (Names{"a", "b", "c"}));
}

TEST_F(Ownership, EndsWithCleaning) {
    NetworkManager network;
    network.createNode(pipeType, "a");
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
        network.createNode(pipeType, "a");
        network.createNode(pipeType, "b");
        network.reset();
        network.createNode(pipeType, "c");
        EXPECT_EQ(takeDestroyed(), Names{});
    }
    EXPECT_EQ(takeDestroyed(), (Names{"c", "a", "b"}));
}

TEST_F(Ownership, OfANodeThatWasHandedOutTwiceEndsOnce) {
    {
        NetworkManager network;
        network.createNode(pipeType, "a");
        network.reset();
        network.createNode(pipeType, "a");
        network.reset();
        network.createNode(pipeType, "a");
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

TEST_F(Ownership, OfANodeThatWasHandedInUnderTwoNamesEndsOnce) {
    {
        NetworkManager network;
        auto* node = new Pipe;
        network.addNode(node, "a");
        network.addNode(node, "b");
    }
    EXPECT_EQ(takeDestroyed(), Names{"b"});
    NetworkManager network;
    auto* node = new Pipe;
    network.addNode(node, "a");
    network.addNode(node, "b");
    network.deleteNode("b");
    EXPECT_EQ(takeDestroyed(), Names{"b"});
    EXPECT_EQ(network.getNode("a"), nullptr);
    EXPECT_EQ(network.getNodeNames(), Names{});
}

TEST_F(Ownership, OfANodeUnderManyNamesEndsOnceWhenItLeavesFewOthers) {
    NetworkManager network;
    auto* node = new Pipe;
    for (const char* name : {"a", "b", "c", "d"}) {
        network.addNode(node, name);
    }
    for (int other = 100; other < 140; ++other) {
        network.addNode(new Pipe, std::to_string(other));
    }
    for (int other = 100; other < 131; ++other) {
        network.deleteNode(std::to_string(other));
    }
    takeDestroyed();
    network.deleteNode("d");
    EXPECT_EQ(takeDestroyed(), Names{"d"});
    EXPECT_EQ(network.getNodeNames().size(), 9U);
    for (const char* name : {"a", "b", "c"}) {
        EXPECT_EQ(network.getNode(name), nullptr) << name;
    }
}

TEST_F(Ownership, OfANodeThatWasMadeAndHandedInAgainEndsOnce) {
    for (const bool waits : {false, true}) {
        SCOPED_TRACE(waits);
        {
            NetworkManager network;
            Node* node = network.createNode(pipeType, "a");
            if (waits) {
                network.reset();
            }
            network.addNode(node, "again");
            network.deleteNode("again");
            EXPECT_EQ(takeDestroyed(), Names{"again"});
            EXPECT_EQ(network.getNodeNames(), Names{});
            network.reset();
            EXPECT_EQ(network.createNode(pipeType, "a")->name(), "a");
            EXPECT_EQ(takeDestroyed(), Names{});
        }
        EXPECT_EQ(takeDestroyed(), Names{"a"});
    }
}

TEST_F(Ownership, OfANodeThatWaitsAndWasHandedInAgainEndsOnce) {
    for (const char* name : {"a", "again"}) {
        NetworkManager network;
        Node* node = network.createNode(pipeType, "a");
        network.createNode(pipeType, "b");
        network.reset();
        network.addNode(node, name);
        network.cleanNetwork();
        EXPECT_EQ(takeDestroyed(), (Names{name, "b"}));
    }
}

TEST_F(Ownership, OfANodeThatWaitsFollowsItsNewName) {
    NetworkManager network;
    Node* node = network.createNode(pipeType, "a");
    network.reset();
    network.addNode(node, "a");
    EXPECT_TRUE(network.renameNode("a", "b"));
    network.reset();
    EXPECT_NE(network.createNode(pipeType, "a"), node);
    EXPECT_EQ(network.createNode(pipeType, "b"), node);
    network.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), (Names{"a", "b"}));
}

TEST_F(Ownership, EndsWithDeleteNode) {
    NetworkManager network;
    network.createNode(pipeType, "a");
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
        old.reset(network.createNode(pipeType, "a"));
        network.reset();
        Node* made = network.createNode(sumType, "a");
        EXPECT_NE(made, old.get());
        network.reset();
        EXPECT_EQ(network.createNode(sumType, "a"), made);
    }
    EXPECT_EQ(takeDestroyed(), Names{"a"});
    EXPECT_EQ(old->typeStr(), pipeType);
}

TEST_F(Ownership, OfAWaitingNodeReturnsToTheHostWhenAnUnknownTypeTakesItsEntry) {
    std::unique_ptr<Node> old;
    {
        NetworkManager network;
        old.reset(network.createNode(pipeType, "a"));
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
        old.reset(network.createNode(pipeType, "a"));
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
        old.reset(network.createNode(pipeType, "a"));
        network.reset();
        network.deleteNode("a");  // There is no such node, but there is an entry in the node cache.
        EXPECT_EQ(takeDestroyed(), Names{});
        EXPECT_NE(network.createNode(pipeType, "a"), old.get());
    }
    EXPECT_EQ(takeDestroyed(), Names{"a"});
}

TEST_F(Ownership, OfAWaitingNodeEndsWhenARenamedNodeTakesItsName) {
    NetworkManager network;
    network.createNode(pipeType, "a");
    network.createNode(pipeType, "b");
    network.reset();
    Node* b = network.createNode(pipeType, "b");
    EXPECT_TRUE(network.renameNode("b", "a"));
    EXPECT_EQ(takeDestroyed(), Names{"a"});
    network.reset();
    EXPECT_EQ(network.createNode(pipeType, "a"), b);
    network.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), Names{"a"});
}

TEST_F(Ownership, OfAWaitingNodeStaysWhenANodeThatWasHandedInTakesItsName) {
    NetworkManager network;
    Node* waiting = network.createNode(pipeType, "a");
    network.reset();
    auto* handedIn = new Pipe;
    network.addNode(handedIn, "b");
    EXPECT_TRUE(network.renameNode("b", "a"));
    EXPECT_EQ(takeDestroyed(), Names{});
    EXPECT_EQ(network.getNode("a"), handedIn);
    EXPECT_TRUE(network.renameNode("a", "c"));
    EXPECT_EQ(network.createNode(pipeType, "a"), waiting);
    network.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), (Names{"a", "c"}));
}

TEST_F(Ownership, OfACopyIsItsOwn) {
    NetworkManager network;
    network.createNode(pipeType, "a");
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
    network.createNode(pipeType, "a");
    NetworkManager moved(std::move(network));
    EXPECT_EQ(moved.getNodeNames(), Names{"a"});
}

TEST_F(Ownership, OfARemovedPortIsTheHosts) {
    std::unique_ptr<Port> removed;
    {
        NetworkManager network;
        Node* node = network.createNode(sumType, "a");
        network.createNode(pipeType, "b");
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
    const std::unique_ptr<Node> node(NodeFactory::instance().createNode(pipeType));
    ASSERT_NE(node, nullptr);
    NodeFactory::instance().deregisterNode(pipeType);
    NodeFactory::instance().registerNode(pipeType, Pipe::creator);
    EXPECT_EQ(takeDestroyed(), Names{});
}

/// A pipe that may throw out of its `reset`.
class Reluctant : public Pipe {
public:
    static inline std::string throwing;  ///< The name of the one that throws, or "all".

    static Node* creator() { return new Reluctant; }
    std::string typeStr() const override { return "Reluctant"; }

    void reset() override {
        if (name() == throwing || throwing == "all") {
            throw std::runtime_error(name());
        }
        Pipe::reset();
    }
};

const std::string reluctant = "Reluctant";
const bool reluctantIsRegistered = (NodeFactory::instance().registerNode(reluctant, Reluctant::creator), true);

/// a to b to c, made by type, and a reset that one of them does not let come to its end.
struct BrokenReset {
    explicit BrokenReset(const std::string& throwing) {
        for (const std::string& name : names) {
            nodes.push_back(network.createNode(reluctant, name));
        }
        EXPECT_TRUE(network.connectAttr("a", "out", "b", "in1"));
        EXPECT_TRUE(network.connectAttr("b", "out", "c", "in1"));
        network.cacheNodeNetwork("c");
        takeDestroyed();
        Reluctant::throwing = throwing;
        try {
            network.reset();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), throwing);
        }
        Reluctant::throwing.clear();
        EXPECT_EQ(takeDestroyed(), Names{});
        EXPECT_TRUE(network.getNodeNames().empty());
    }

    const Names names = {"a", "b", "c"};
    NetworkManager network;
    std::vector<Node*> nodes;
};

Names takeDestroyedInOrderOfNames() {
    Names names = takeDestroyed();
    std::sort(names.begin(), names.end());
    return names;
}

TEST_F(Ownership, StaysWithTheManagerWhenANodeThrowsOutOfReset) {
    for (const char* throwing : {"a", "b", "c"}) {
        SCOPED_TRACE(throwing);
        { const BrokenReset broken(throwing); }
        EXPECT_EQ(takeDestroyedInOrderOfNames(), (Names{"a", "b", "c"}));
        {
            BrokenReset broken(throwing);
            broken.network.cleanNetwork();
            EXPECT_EQ(takeDestroyedInOrderOfNames(), (Names{"a", "b", "c"}));
        }
        {
            BrokenReset broken(throwing);
            broken.network.clearNodeCache();
            EXPECT_EQ(takeDestroyedInOrderOfNames(), (Names{"a", "b", "c"}));
        }
        EXPECT_EQ(takeDestroyed(), Names{});
    }
}

TEST_F(Ownership, PassesOnTheFirstOfSeveralExceptionsOutOfReset) {
    {
        NetworkManager network;
        for (const char* name : {"b", "c", "a"}) {
            network.createNode(reluctant, name);
        }
        Reluctant::throwing = "all";
        try {
            network.reset();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "a");
        }
        Reluctant::throwing.clear();
    }
    EXPECT_EQ(takeDestroyedInOrderOfNames(), (Names{"a", "b", "c"}));
}

TEST_F(Ownership, AllowsToGoOnWhenANodeThrewOutOfReset) {
    for (const char* throwing : {"a", "b", "c"}) {
        SCOPED_TRACE(throwing);
        {
            BrokenReset broken(throwing);
            NetworkManager& network = broken.network;
            network.reset();
            for (std::size_t index = 0; index < broken.names.size(); ++index) {
                Node* node = network.createNode(reluctant, broken.names[index]);
                EXPECT_EQ(node, broken.nodes[index]);
                EXPECT_EQ(node->getInputPort("in1")->numConnections(), 0U);
                EXPECT_EQ(node->getOutputPort("out")->numConnections(), 0U);
            }
            EXPECT_TRUE(network.connectAttr("c", "out", "a", "in1"));
            network.computeNode("a");
            EXPECT_FALSE(network.getNode("c")->isDirty());
            EXPECT_EQ(takeDestroyed(), Names{});
        }
        EXPECT_EQ(takeDestroyedInOrderOfNames(), (Names{"a", "b", "c"}));
        {
            // The host puts one node right by itself; what the others still list ends with them.
            BrokenReset broken(throwing);
            Node* kept = broken.network.createNode(reluctant, "b");
            EXPECT_EQ(kept, broken.nodes[1]);
            kept->reset();
            broken.network.clearNodeCache();
            EXPECT_EQ(takeDestroyedInOrderOfNames(), (Names{"a", "c"}));
            kept->setDirty(false);
            kept->setDirty(true);
            broken.network.computeNode("b");
            EXPECT_FALSE(kept->isDirty());
        }
        EXPECT_EQ(takeDestroyed(), Names{"b"});
    }
    tests::takeComputed();
}

}  // namespace
}  // namespace TessilGraph
