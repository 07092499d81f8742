#include <TessilGraph/graph/NetworkManager.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/HowToCompute.h>
#include <tests/support/ProbeNode.h>
#include <tests/support/Seeds.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace TessilGraph {
namespace {

using tests::Messages;
using tests::parallel;
using tests::Pipe;
using tests::pipeType;
using tests::Sum;
using tests::sumType;
using tests::takeLog;
using tests::useCache;

using Names = std::vector<std::string>;

/// Shows the protected member.
class OpenNetwork : public NetworkManager {
public:
    using NetworkManager::getUniqueName;
};

TEST(NetworkNames, StartEmpty) {
    NetworkManager network;
    EXPECT_TRUE(network.getNodeNames().empty());
    EXPECT_TRUE(network.getAllNodes().empty());
    EXPECT_EQ(network.getNode(""), nullptr);
    EXPECT_EQ(network.getNodeByType(Pipe::staticTypeId()), nullptr);
}

TEST(NetworkNames, AreMadeUniqueByTheNextNumber) {
    NetworkManager network;
    for (const char* expected : {"mult", "mult1", "mult2"}) {
        Node* node = network.createNode(pipeType, "mult");
        ASSERT_NE(node, nullptr);
        EXPECT_EQ(node->name(), expected);
        EXPECT_EQ(network.getNode(expected), node);
    }
    EXPECT_EQ(network.getNodeNames(), (Names{"mult", "mult1", "mult2"}));
}

TEST(NetworkNames, GetTheLowestFreeNumber) {
    NetworkManager network;
    for (int index = 0; index < 12; ++index) {
        network.createNode(pipeType, "mult");
    }
    for (const char* freed : {"mult1", "mult7", "mult11", "mult"}) {
        network.deleteNode(freed);
        EXPECT_EQ(network.createNode(pipeType, "mult")->name(), freed);
    }
    network.deleteNode("mult9");
    network.deleteNode("mult3");
    network.deleteNode("mult10");
    EXPECT_EQ(network.createNode(pipeType, "mult")->name(), "mult3");
    EXPECT_EQ(network.createNode(pipeType, "mult")->name(), "mult9");
    EXPECT_EQ(network.createNode(pipeType, "mult")->name(), "mult10");
    EXPECT_EQ(network.createNode(pipeType, "mult")->name(), "mult12");
}

TEST(NetworkNames, AreNotParsedForNumbers) {
    NetworkManager network;
    EXPECT_EQ(network.createNode(pipeType, "add1")->name(), "add1");
    EXPECT_EQ(network.createNode(pipeType, "add1")->name(), "add11");
    EXPECT_EQ(network.createNode(pipeType, "add")->name(), "add");
    EXPECT_EQ(network.createNode(pipeType, "add")->name(), "add2");
    EXPECT_EQ(network.createNode(pipeType, "add01")->name(), "add01");
    EXPECT_EQ(network.createNode(pipeType, "add0")->name(), "add0");
    EXPECT_EQ(network.createNode(pipeType, "add0")->name(), "add02");
}

TEST(NetworkNames, SeeNumbersThatWereTakenInAnyOtherWay) {
    NetworkManager network;
    network.createNode(pipeType, "n");
    network.createNode(pipeType, "n");  // n1
    auto* added = new Pipe;
    network.addNode(added, "n3");
    network.createNode(pipeType, "other");
    EXPECT_TRUE(network.renameNode("other", "n2"));
    EXPECT_EQ(network.createNode(pipeType, "n")->name(), "n4");
    EXPECT_TRUE(network.renameNode("n1", "free"));
    EXPECT_EQ(network.createNode(pipeType, "n")->name(), "n1");
    EXPECT_TRUE(network.renameNode("n", "n"));
    EXPECT_EQ(network.getNodeNames(), (Names{"free", "n1", "n2", "n3", "n4", "n5"}));
    EXPECT_EQ(network.createNode(pipeType, "n")->name(), "n");
    network.reset();
    delete added;  // A reset lets go of what was added.
    EXPECT_EQ(network.createNode(pipeType, "n")->name(), "n");
    EXPECT_EQ(network.createNode(pipeType, "n")->name(), "n1");
    network.cleanNetwork();
    EXPECT_EQ(network.createNode(pipeType, "n")->name(), "n");
    EXPECT_EQ(network.createNode(pipeType, "n")->name(), "n1");
}

TEST(NetworkNames, StayLowestThroughRandomChanges) {
    for (const unsigned int seed : tests::seeds(5)) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        OpenNetwork network;
        for (int step = 0; step < 400; ++step) {
            const Names bases = {"a", "a1", "a11", "b", ""};
            const std::string base = bases[random() % bases.size()];
            const Names taken = network.getNodeNames();
            const auto isTaken = [&taken](const std::string& name) {
                return std::binary_search(taken.begin(), taken.end(), name);
            };
            std::string expected = base;
            for (int number = 1; isTaken(expected); ++number) {
                expected = base + std::to_string(number);
            }
            ASSERT_EQ(network.getUniqueName(base), expected);
            switch (random() % 4) {
                case 0:
                    ASSERT_EQ(network.createNode(pipeType, base)->name(), expected);
                    break;
                case 1:
                    network.addNode(new Pipe, base);
                    ASSERT_NE(network.getNode(expected), nullptr);
                    break;
                case 2:
                    if (!taken.empty()) {
                        network.deleteNode(taken[random() % taken.size()]);
                    }
                    break;
                default:
                    if (!taken.empty() && !base.empty()) {
                        ASSERT_TRUE(network.renameNode(taken[random() % taken.size()], base));
                        ASSERT_NE(network.getNode(expected), nullptr);
                    }
                    break;
            }
        }
    }
}

TEST(NetworkNames, ComeFromTheNodeSetOnly) {
    OpenNetwork network;
    EXPECT_EQ(network.getUniqueName("a"), "a");
    EXPECT_EQ(network.getUniqueName("a"), "a");
    EXPECT_EQ(network.createNode("NoSuchType", "a"), nullptr);
    EXPECT_EQ(network.getUniqueName("a"), "a");
    network.createNode(pipeType, "a");
    EXPECT_EQ(network.getUniqueName("a"), "a1");
    network.cacheNodeNetwork("a");
    network.reset();
    EXPECT_EQ(network.getUniqueName("a"), "a");
    EXPECT_EQ(network.getUniqueName(""), "");
    EXPECT_EQ(network.getUniqueName("not valid\n"), "not valid\n");
}

TEST(NetworkNames, AreKeptInAscendingByteOrder) {
    NetworkManager network;
    const Names names = {"b", "a", "B", "a1", "a10", "a2", "", "\xff", "_", "~"};
    for (const std::string& name : names) {
        network.createNode(pipeType, name);
    }
    const Names expected = {"", "B", "_", "a", "a1", "a10", "a2", "b", "~", "\xff"};
    EXPECT_EQ(network.getNodeNames(), expected);
    const std::vector<Node*> nodes = network.getAllNodes();
    ASSERT_EQ(nodes.size(), expected.size());
    for (std::size_t index = 0; index < nodes.size(); ++index) {
        EXPECT_EQ(nodes[index]->name(), expected[index]);
    }
}

TEST(NetworkNames, AreLookedUpExactly) {
    NetworkManager network;
    Node* node = network.createNode(pipeType, "Node");
    EXPECT_EQ(network.getNode("Node"), node);
    EXPECT_EQ(network.getNode("node"), nullptr);
    EXPECT_EQ(network.getNode("Node "), nullptr);
    EXPECT_EQ(network.getNode(std::string("Node\0", 5)), nullptr);
}

TEST(NetworkNames, FindTheFirstNodeOfAType) {
    NetworkManager network;
    network.createNode(pipeType, "z");
    Node* first = network.createNode(pipeType, "b");
    network.createNode(sumType, "a");
    EXPECT_EQ(network.getNodeByType(Pipe::staticTypeId()), first);
    EXPECT_EQ(network.getNodeByType(Sum::staticTypeId()), network.getNode("a"));
    EXPECT_EQ(network.getNodeByType(0), nullptr);
}

TEST(NetworkNames, AreGivenToNodesThatAreHandedIn) {
    NetworkManager network;
    auto* first = new Pipe;
    auto* second = new Pipe;
    first->setName("before");
    network.addNode(first, "a");
    network.addNode(second, "a");
    EXPECT_EQ(first->name(), "a");
    EXPECT_EQ(second->name(), "a1");
    EXPECT_EQ(network.getNode("a"), first);
    EXPECT_EQ(network.getNode("a1"), second);
    EXPECT_EQ(network.getNode("before"), nullptr);
}

TEST(NetworkNames, AreNotTakenByANullNode) {
    NetworkManager network;
    network.addNode(nullptr, "a");
    EXPECT_EQ(takeLog(), Messages{"Error null pointer "});
    EXPECT_TRUE(network.getNodeNames().empty());
    EXPECT_EQ(network.getNode("a"), nullptr);
    EXPECT_EQ(network.createNode(pipeType, "a")->name(), "a");
}

TEST(NetworkNames, AreNotTakenByAnUnknownType) {
    NetworkManager network;
    EXPECT_EQ(network.createNode("NoSuchType", "a"), nullptr);
    EXPECT_EQ(network.createNode("", "a"), nullptr);
    EXPECT_TRUE(network.getNodeNames().empty());
    EXPECT_EQ(network.createNode(pipeType, "a")->name(), "a");
    network.reset();
    network.cleanNetwork();
}

TEST(NetworkNames, AcceptTypesWithASmallFirstLetter) {
    NetworkManager network;
    Node* node = network.createNode("probeNumber1", "a");
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->typeStr(), pipeType);
}

TEST(NetworkNames, ChangeWithRename) {
    NetworkManager network;
    Node* node = network.createNode(pipeType, "a");
    EXPECT_TRUE(network.renameNode("a", "b-C_9"));
    EXPECT_EQ(node->name(), "b-C_9");
    EXPECT_EQ(network.getNode("b-C_9"), node);
    EXPECT_EQ(network.getNode("a"), nullptr);
    EXPECT_EQ(network.getNodeNames(), Names{"b-C_9"});
}

TEST(NetworkNames, GetANumberWhenRenamedToTheSame) {
    NetworkManager network;
    Node* node = network.createNode(pipeType, "a");
    EXPECT_TRUE(network.renameNode("a", "a"));
    EXPECT_EQ(node->name(), "a1");
    EXPECT_EQ(network.getNodeNames(), Names{"a1"});
    EXPECT_TRUE(network.renameNode("a1", "a"));
    EXPECT_EQ(node->name(), "a");
}

TEST(NetworkNames, GetANumberWhenRenamedToATakenName) {
    NetworkManager network;
    network.createNode(pipeType, "a");
    network.createNode(pipeType, "b");
    EXPECT_TRUE(network.renameNode("a", "b"));
    EXPECT_EQ(network.getNodeNames(), (Names{"b", "b1"}));
}

TEST(NetworkNames, RefuseToChangeIntoWhatThePatternDoesNotAllow) {
    NetworkManager network;
    Node* node = network.createNode(pipeType, "a");
    for (const std::string& name :
         {std::string(), std::string(" "), std::string("a b"), std::string("b "), std::string(" b"), std::string("b\n"),
          std::string("\nb"), std::string("b\r"), std::string("b\0", 2), std::string("b\0c", 3), std::string("a.b"),
          std::string("a\\b"), std::string("b$"), std::string("^b"), std::string("[b]"), std::string("a/b"),
          std::string("a+b"), std::string("\xc3\xa9"), std::string("b\xff")}) {
        EXPECT_FALSE(network.renameNode("a", name)) << name;
        EXPECT_EQ(node->name(), "a");
        EXPECT_EQ(network.getNodeNames(), Names{"a"});
    }
}

TEST(NetworkNames, AllowLettersDigitsHyphensAndUnderscoresAlone) {
    for (int byte = 0; byte < 256; ++byte) {
        const char character = static_cast<char>(byte);
        const bool allowed = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                             (character >= '0' && character <= '9') || character == '-' || character == '_';
        for (const std::string& name : {std::string(1, character), std::string("x") + character,
                                        character + std::string("x"), std::string("x") + character + "x"}) {
            NetworkManager network;
            network.createNode(pipeType, "start");
            EXPECT_EQ(network.renameNode("start", name), allowed) << "byte " << byte;
            EXPECT_EQ(network.getNode(name) != nullptr, allowed) << "byte " << byte;
        }
    }
}

TEST(NetworkNames, OfUnknownNodesCannotChange) {
    NetworkManager network;
    network.createNode(pipeType, "a");
    EXPECT_FALSE(network.renameNode("b", "c"));
    EXPECT_FALSE(network.renameNode("", "c"));
    EXPECT_FALSE(network.renameNode("A", "c"));
    EXPECT_EQ(network.getNodeNames(), Names{"a"});
}

TEST(NetworkNames, MayHaveAnyLengthAndAnyBytes) {
    const std::string longName(1U << 20U, 'n');
    const std::string bytes("\0 \n\xff/", 5);
    NetworkManager network;
    for (const std::string& name : {longName, bytes, std::string()}) {
        Node* first = network.createNode(pipeType, name);
        Node* second = network.createNode(pipeType, name);
        ASSERT_NE(first, nullptr);
        EXPECT_EQ(first->name(), name);
        EXPECT_EQ(second->name(), name + "1");
        EXPECT_EQ(network.getNode(name), first);
        EXPECT_TRUE(network.connectAttr(name, "out", name + "1", "in1"));
        EXPECT_FALSE(network.connectAttr(name + "1", "out", name, "in1"));
        EXPECT_EQ(takeLog(), Messages{"Cycle detected! the connection is not allowed! "});
        network.computeNode(name + "1");
        EXPECT_FALSE(second->isDirty());
        network.setAllNodeDirty();
        network.computeNode(name + "1", nullptr, parallel);
        EXPECT_FALSE(first->isDirty());
        network.cacheNodeNetwork(name + "1");
        network.setAllNodeDirty();
        network.computeNode(name + "1", nullptr, !parallel, useCache);
        EXPECT_FALSE(second->isDirty());
        network.clearNodeNetworkCache(name + "1");
    }
    NetworkManager copy = network.clone();
    EXPECT_EQ(copy.getNodeNames(), network.getNodeNames());

    EXPECT_TRUE(network.renameNode(bytes, std::string(longName).append(longName)));
    EXPECT_NE(network.getNode(longName + longName), nullptr);
    EXPECT_TRUE(network.renameNode(longName, longName));
    EXPECT_NE(network.getNode(longName + "2"), nullptr);
    EXPECT_FALSE(network.renameNode(longName + "2", longName + " "));
    EXPECT_TRUE(network.disconnectAttr(longName + "2", "out", longName + "1", "in1"));
    network.deleteNode(longName + "1");
    EXPECT_EQ(network.getNode(longName + "1"), nullptr);
    tests::takeComputed();
}

}  // namespace
}  // namespace TessilGraph
