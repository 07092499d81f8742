#include <TessilGraph/graph/NodeFactory.h>

#include <TessilGraph/graph/Node.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace TessilGraph {
namespace {

using tests::Messages;
using tests::Pipe;
using tests::Sum;
using tests::takeLog;

using Names = std::vector<std::string>;

int refusedCalls = 0;

Node* makeNothing() {
    return nullptr;
}

Node* countCall() {
    ++refusedCalls;
    return nullptr;
}

std::string takenMessage(const std::string& name) {
    return "Node  " + name + "  already registered ";
}
std::string unknownMessage(const std::string& name) {
    return "Node  " + name + "  is not registered ";
}

/// Registers a type for the length of a test.
class Registered {
public:
    Registered(const std::string& name, NodeFactory::Creator creator) : name_(name) {
        NodeFactory::instance().registerNode(name, creator);
    }
    ~Registered() { NodeFactory::instance().deregisterNode(name_); }
    Registered(const Registered&) = delete;
    Registered& operator=(const Registered&) = delete;

private:
    std::string name_;
};

std::string madeType(const std::string& name) {
    const std::unique_ptr<Node> node(NodeFactory::instance().createNode(name));
    return node == nullptr ? "null" : node->typeStr();
}

TEST(NodeFactory, IsOneForTheProcess) {
    static_assert(std::is_same_v<NodeFactory::Creator, Node* (*)()>);
    static_assert(!std::is_default_constructible_v<NodeFactory>);
    static_assert(!std::is_destructible_v<NodeFactory>);
    EXPECT_EQ(&NodeFactory::instance(), &NodeFactory::instance());
}

TEST(NodeFactory, MakesANewNodeForEveryCall) {
    const Registered type("FactoryPipe", Pipe::creator);
    const std::unique_ptr<Node> first(NodeFactory::instance().createNode("FactoryPipe"));
    const std::unique_ptr<Node> second(NodeFactory::instance().createNode("FactoryPipe"));
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_NE(dynamic_cast<Pipe*>(first.get()), nullptr);
    EXPECT_EQ(first->name(), "");
    EXPECT_TRUE(NodeFactory::instance().isRegistered("FactoryPipe"));
}

TEST(NodeFactory, KeepsTheFirstCreatorOfAName) {
    const Registered type("AddTwice", Pipe::creator);
    refusedCalls = 0;
    NodeFactory::instance().registerNode("AddTwice", countCall);
    EXPECT_EQ(takeLog(), Messages{"Node  AddTwice  already registered "});
    EXPECT_EQ(madeType("AddTwice"), "ProbeNumber1");
    EXPECT_EQ(refusedCalls, 0);
}

TEST(NodeFactory, TriesANameAgainWithItsFirstLetterInUpperCase) {
    const Registered type("TryLong", Pipe::creator);
    EXPECT_EQ(madeType("tryLong"), "ProbeNumber1");
    EXPECT_TRUE(NodeFactory::instance().isRegistered("tryLong"));
    for (const char* name : {"TRYLONG", "trylong", "Trylong", "ryLong", " TryLong", "TryLong "}) {
        EXPECT_EQ(madeType(name), "null") << name;
        EXPECT_FALSE(NodeFactory::instance().isRegistered(name)) << name;
    }
}

TEST(NodeFactory, PrefersTheExactName) {
    const Registered upper("TwoWays", Pipe::creator);
    const Registered lower("twoWays", Sum::creator);
    EXPECT_EQ(madeType("TwoWays"), "ProbeNumber1");
    EXPECT_EQ(madeType("twoWays"), "ProbeNumber2");
}

TEST(NodeFactory, FindsALowerCaseTypeOnlyByItsExactName) {
    const Registered type("onlyLower", Pipe::creator);
    EXPECT_EQ(madeType("onlyLower"), "ProbeNumber1");
    EXPECT_EQ(madeType("OnlyLower"), "null");
    EXPECT_FALSE(NodeFactory::instance().isRegistered("OnlyLower"));
    NodeFactory::instance().registerNode("OnlyLower", Sum::creator);
    EXPECT_EQ(madeType("OnlyLower"), "ProbeNumber2");
    NodeFactory::instance().deregisterNode("OnlyLower");
}

TEST(NodeFactory, DeregistersByTheExactNameOnly) {
    NodeFactory::instance().registerNode("GoLong", Pipe::creator);
    NodeFactory::instance().deregisterNode("goLong");
    EXPECT_EQ(takeLog(), Messages{"Node  goLong  is not registered "});
    EXPECT_TRUE(NodeFactory::instance().isRegistered("GoLong"));
    const std::unique_ptr<Node> survivor(NodeFactory::instance().createNode("GoLong"));
    NodeFactory::instance().deregisterNode("GoLong");
    EXPECT_FALSE(NodeFactory::instance().isRegistered("GoLong"));
    EXPECT_EQ(madeType("GoLong"), "null");
    EXPECT_EQ(survivor->typeStr(), "ProbeNumber1");
    NodeFactory::instance().deregisterNode("GoLong");
    EXPECT_EQ(takeLog(), Messages{unknownMessage("GoLong")});
}

TEST(NodeFactory, TakesANameAgainAfterItWasDeregistered) {
    NodeFactory::instance().registerNode("Again", Pipe::creator);
    NodeFactory::instance().deregisterNode("Again");
    const Registered type("Again", Sum::creator);
    EXPECT_EQ(madeType("Again"), "ProbeNumber2");
}

TEST(NodeFactory, KnowsNothingByTheEmptyName) {
    refusedCalls = 0;
    const Registered type("", countCall);
    EXPECT_EQ(NodeFactory::instance().createNode(""), nullptr);
    EXPECT_FALSE(NodeFactory::instance().isRegistered(""));
    EXPECT_EQ(refusedCalls, 0);
    const Names names = NodeFactory::instance().getRegisteredNodes();
    ASSERT_FALSE(names.empty());
    EXPECT_EQ(names.front(), "");
}

TEST(NodeFactory, SaysNothingAboutAnUnknownType) {
    EXPECT_EQ(NodeFactory::instance().createNode("NoSuchType"), nullptr);
    EXPECT_FALSE(NodeFactory::instance().isRegistered("NoSuchType"));
}

TEST(NodeFactory, ListsNamesInAscendingByteOrder) {
    const Names before = NodeFactory::instance().getRegisteredNodes();
    const Registered b("b", Pipe::creator);
    const Registered upper("A", Pipe::creator);
    const Registered a("a", Pipe::creator);
    const Registered high("\xff", Pipe::creator);
    const Registered longer("ab", Pipe::creator);
    const Names names = NodeFactory::instance().getRegisteredNodes();
    EXPECT_EQ(names.size(), before.size() + 5);
    Names added;
    std::set_difference(names.begin(), names.end(), before.begin(), before.end(), std::back_inserter(added));
    EXPECT_EQ(added, (Names{"A", "a", "ab", "b", "\xff"}));
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
}

TEST(NodeFactory, RefusesANullCreator) {
    NodeFactory::instance().registerNode("Nothing", nullptr);
    EXPECT_EQ(takeLog(), Messages{"Error null pointer "});
    EXPECT_FALSE(NodeFactory::instance().isRegistered("Nothing"));
    EXPECT_EQ(NodeFactory::instance().createNode("Nothing"), nullptr);
}

TEST(NodeFactory, PassesOnTheNullOfACreator) {
    const Registered type("Barren", makeNothing);
    EXPECT_EQ(NodeFactory::instance().createNode("Barren"), nullptr);
    EXPECT_TRUE(NodeFactory::instance().isRegistered("Barren"));
}

TEST(NodeFactory, TakesNamesOfAnyLengthAndAnyBytes) {
    const std::string longName = "n" + std::string(1U << 20U, 'x');
    const std::string zero("Z\0z", 3);
    const std::string high = "\xe9t\xe9";
    const std::string blank = " \n\t";
    for (const std::string& name : {longName, zero, high, blank}) {
        NodeFactory::instance().registerNode(name, Pipe::creator);
        EXPECT_EQ(madeType(name), "ProbeNumber1");
        EXPECT_TRUE(NodeFactory::instance().isRegistered(name));
        NodeFactory::instance().registerNode(name, Pipe::creator);
        EXPECT_EQ(takeLog(), Messages{takenMessage(name)});
        NodeFactory::instance().deregisterNode(name);
        NodeFactory::instance().deregisterNode(name);
        EXPECT_EQ(takeLog(), Messages{unknownMessage(name)});
    }
    EXPECT_EQ(madeType("Z"), "null");
    for (int byte = 0; byte < 256; ++byte) {
        const std::string name(1, static_cast<char>(byte));
        EXPECT_EQ(NodeFactory::instance().createNode(name), nullptr);
        EXPECT_EQ(NodeFactory::instance().createNode(name + "x"), nullptr);
    }
}

}  // namespace
}  // namespace TessilGraph
