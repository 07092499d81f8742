#include <TessilGraph/graph/NetworkManager.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/support/HowToCompute.h>
#include <tests/support/ProbeNetwork.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace TessilGraph {
namespace {

using tests::parallel;
using tests::Pipe;
using tests::serial;
using tests::Source;
using tests::Sum;
using tests::Sum3;
using tests::takeComputed;
using tests::useCache;

using Names = std::vector<std::string>;

Names sorted(Names names) {
    std::sort(names.begin(), names.end());
    return names;
}

class Evaluation : public tests::ProbeNetwork {
protected:
    void clean() {
        for (Node* node : network.getAllNodes()) {
            node->setDirty(false);
        }
    }

    std::string dirty() {
        std::string names;
        for (Node* node : network.getAllNodes()) {
            names += node->isDirty() ? node->name() : "";
        }
        return names;
    }

    Names computed(const std::string& name, bool inParallel, bool withCache = false) {
        network.computeNode(name, nullptr, inParallel, withCache);
        return takeComputed();
    }

    /// a to b to c, all dirty.
    void chain() {
        a = add<Pipe>("a");
        b = add<Pipe>("b");
        c = add<Pipe>("c");
        connect("a", "b");
        connect("b", "c");
    }

    Pipe* a = nullptr;
    Pipe* b = nullptr;
    Pipe* c = nullptr;
};

TEST_F(Evaluation, TakesThreeOfItsArgumentsByDefault) {
    chain();
    network.computeNode("c");
    EXPECT_EQ(takeComputed(), (Names{"a", "b", "c"}));
}

TEST_F(Evaluation, ComputesAChainFromItsSource) {
    chain();
    for (const bool way : {serial, parallel}) {
        network.setAllNodeDirty();
        a->in()->set(10.0);
        EXPECT_EQ(computed("c", way), (Names{"a", "b", "c"}));
        EXPECT_EQ(dirty(), "");
        EXPECT_EQ(c->out()->get(), 13.0);
    }
}

TEST_F(Evaluation, StopsAtTheNamedNode) {
    chain();
    for (const bool way : {serial, parallel}) {
        network.setAllNodeDirty();
        EXPECT_EQ(computed("b", way), (Names{"a", "b"}));
        EXPECT_EQ(dirty(), "c");
    }
}

TEST_F(Evaluation, IgnoresAnUnknownName) {
    chain();
    for (const bool way : {serial, parallel}) {
        EXPECT_EQ(computed("x", way), Names{});
        EXPECT_EQ(computed("", way), Names{});
        EXPECT_EQ(computed("A", way, useCache), Names{});
    }
    EXPECT_EQ(dirty(), "abc");
}

TEST_F(Evaluation, ComputesNothingForACleanNodeEvenBelowDirtyOnes) {
    chain();
    c->setDirty(false);
    for (const bool way : {serial, parallel}) {
        EXPECT_EQ(computed("c", way), Names{});
        EXPECT_EQ(dirty(), "ab");
        clean();
        a->setDirtyFlag();
        b->setDirtyFlag();
    }
}

TEST_F(Evaluation, LeavesTheRestOfTheNetworkAlone) {
    chain();
    add<Pipe>("d");
    add<Pipe>("e");
    connect("b", "d");
    for (const bool way : {serial, parallel}) {
        network.setAllNodeDirty();
        EXPECT_EQ(computed("c", way), (Names{"a", "b", "c"}));
        EXPECT_EQ(dirty(), "de");
    }
}

TEST_F(Evaluation, ComputesASecondTimeOnlyWhatChanged) {
    chain();
    computed("c", serial);
    EXPECT_EQ(computed("c", serial), Names{});
    b->in()->set(0.0);
    EXPECT_EQ(computed("c", serial), (Names{"b", "c"}));
    c->in()->set(0.0);
    EXPECT_EQ(computed("c", serial), Names{"c"});
    a->in()->set(5.0);
    EXPECT_EQ(computed("c", serial), (Names{"a", "b", "c"}));
    EXPECT_EQ(c->out()->get(), 8.0);
}

TEST_F(Evaluation, DoesNotLookBehindACleanNodeInTheSerialWalk) {
    chain();
    b->setDirty(false);
    EXPECT_EQ(computed("c", serial), Names{"c"});
    EXPECT_EQ(dirty(), "a");
}

TEST_F(Evaluation, ComputesACleanNodeButNothingBehindItInTheLevelWalk) {
    chain();
    b->setDirty(false);
    EXPECT_EQ(computed("c", parallel), (Names{"b", "c"}));
    EXPECT_EQ(dirty(), "a");
}

TEST_F(Evaluation, ComputesTheSourcesOfTheLastInputFirst) {
    add<Source>("a");
    add<Source>("b");
    add<Source>("c");
    add<Sum3>("d");
    connect("a", "d", "in1");
    connect("b", "d", "in2");
    connect("c", "d", "in3");
    EXPECT_EQ(computed("d", serial), (Names{"c", "b", "a", "d"}));
}

TEST_F(Evaluation, GoesDepthFirst) {
    // a1 to a, b1 to b, a and b to d.
    add<Source>("a1");
    add<Source>("b1");
    add<Pipe>("a");
    add<Pipe>("b");
    add<Sum>("d");
    connect("a1", "a");
    connect("b1", "b");
    connect("a", "d", "in1");
    connect("b", "d", "in2");
    EXPECT_EQ(computed("d", serial), (Names{"b1", "b", "a1", "a", "d"}));
}

TEST_F(Evaluation, ComputesTheMiddleOfADiamondOnce) {
    add<Source>("a");
    add<Pipe>("b");
    add<Pipe>("c");
    add<Sum>("d");
    connect("a", "b");
    connect("a", "c");
    connect("b", "d", "in1");
    connect("c", "d", "in2");
    EXPECT_EQ(computed("d", serial), (Names{"a", "c", "b", "d"}));
    network.setAllNodeDirty();
    const Names levels = computed("d", parallel);
    ASSERT_EQ(levels.size(), 4U);
    EXPECT_EQ(levels[0], "a");
    EXPECT_EQ(sorted({levels[1], levels[2]}), (Names{"b", "c"}));
    EXPECT_EQ(levels[3], "d");
}

TEST_F(Evaluation, ComputesANodeOnceThatTwoOthersPushed) {
    // x feeds d and y, y feeds d: x is pushed by d and again by y.
    add<Source>("x");
    add<Pipe>("y");
    auto* d = add<Sum>("d");
    connect("x", "d", "in1");
    connect("x", "y");
    connect("y", "d", "in2");
    EXPECT_EQ(computed("d", serial), (Names{"x", "y", "d"}));
    EXPECT_EQ(d->out()->get(), 4.0);
    network.cacheNodeNetwork("d");
    network.setAllNodeDirty();
    EXPECT_EQ(computed("d", serial, useCache), (Names{"x", "y", "d"}));
}

TEST_F(Evaluation, PushesASourceOnceThatFeedsTwoInputsOfANode) {
    add<Source>("a");
    add<Source>("b");
    add<Sum3>("d");
    connect("a", "d", "in1");
    connect("b", "d", "in2");
    connect("a", "d", "in3");
    EXPECT_EQ(computed("d", serial), (Names{"b", "a", "d"}));
}

TEST_F(Evaluation, TellsNodesApartByNameInTheSerialWalk) {
    // Two nodes that a host gave one name behind the manager's back count as one.
    Node* first = add<Source>("a");
    Node* second = add<Source>("b");
    add<Sum>("d");
    connect("a", "d", "in1");
    connect("b", "d", "in2");
    second->setName("a");
    EXPECT_EQ(computed("d", serial), (Names{"a", "d"}));
    EXPECT_FALSE(first->isDirty());
    EXPECT_TRUE(second->isDirty());
    network.cacheNodeNetwork("d");
    network.setAllNodeDirty();
    EXPECT_EQ(computed("d", serial, useCache), (Names{"a", "d"}));
    EXPECT_TRUE(second->isDirty());
    network.setAllNodeDirty();
    EXPECT_EQ(computed("d", parallel), (Names{"a", "a", "d"}));
    second->setName("b");
}

TEST_F(Evaluation, TakesNamesThatDifferOnlyBehindAZeroByteForDifferent) {
    const std::string one("n\0a", 3);
    const std::string two("n\0b", 3);
    add<Source>(one);
    add<Source>(two);
    add<Sum>("d");
    connect(one, "d", "in1");
    connect(two, "d", "in2");
    EXPECT_EQ(computed("d", serial), (Names{two, one, "d"}));
}

TEST_F(Evaluation, MarksANodeCleanWhateverItsComputeReturned) {
    chain();
    b->result = false;
    for (const bool way : {serial, parallel}) {
        network.setAllNodeDirty();
        EXPECT_EQ(computed("c", way), (Names{"a", "b", "c"}));
        EXPECT_EQ(dirty(), "");
    }
    network.cacheNodeNetwork("c");
    network.setAllNodeDirty();
    EXPECT_EQ(computed("c", serial, useCache), (Names{"a", "b", "c"}));
    EXPECT_EQ(dirty(), "");
}

TEST_F(Evaluation, MarksANodeCleanAfterItsComputeAndNotBefore) {
    chain();
    for (const bool way : {serial, parallel}) {
        network.setAllNodeDirty();
        std::string during;
        b->onCompute = [&] { during = dirty(); };
        computed("c", way);
        EXPECT_EQ(during, "bc");
    }
}

TEST_F(Evaluation, ClearsTheProfileTimeOfWhatItRunsButNotInTheLevelWalk) {
    chain();
    for (Pipe* node : {a, b, c}) {
        node->setProfileTime(7);
    }
    computed("c", parallel);
    EXPECT_EQ(a->profileTime(), 7U);
    EXPECT_EQ(c->profileTime(), 7U);
    network.setAllNodeDirty();
    a->setDirty(false);
    std::uint64_t during = 1;
    b->onCompute = [&] { during = b->profileTime(); };
    computed("c", serial);
    EXPECT_EQ(during, 0U);
    EXPECT_EQ(a->profileTime(), 7U);
    EXPECT_EQ(b->profileTime(), 0U);
    EXPECT_EQ(c->profileTime(), 0U);
}

TEST_F(Evaluation, ClearsTheProfileTimeOfACleanNodeInAStoredOrder) {
    chain();
    network.cacheNodeNetwork("c");
    clean();
    a->setProfileTime(7);
    c->setProfileTime(7);
    EXPECT_EQ(computed("c", serial, useCache), Names{});
    EXPECT_EQ(a->profileTime(), 0U);
    EXPECT_EQ(c->profileTime(), 0U);
}

TEST_F(Evaluation, WithoutAStoredOrderIsTheSameWithTheCacheAsWithout) {
    chain();
    add<Pipe>("d");
    network.cacheNodeNetwork("d");
    EXPECT_EQ(computed("c", serial, useCache), (Names{"a", "b", "c"}));
    EXPECT_EQ(computed("c", serial, useCache), Names{});
    network.setAllNodeDirty();
    EXPECT_EQ(computed("c", parallel, useCache), (Names{"a", "b", "c"}));
}

TEST_F(Evaluation, ReplaysTheDirtyNodesOfAStoredOrderWhateverTheNamedNodeIs) {
    chain();
    network.cacheNodeNetwork("c");
    EXPECT_EQ(takeComputed(), Names{});
    EXPECT_EQ(dirty(), "abc");
    for (const bool way : {serial, parallel}) {
        network.setAllNodeDirty();
        c->setDirty(false);
        EXPECT_EQ(computed("c", way, useCache), (Names{"a", "b"}));
        EXPECT_EQ(dirty(), "");
        a->setDirtyFlag();
        c->setDirtyFlag();
        EXPECT_EQ(computed("c", way, useCache), (Names{"a", "c"}));
        EXPECT_EQ(computed("c", way, useCache), Names{});
    }
}

TEST_F(Evaluation, LooksAtDirtyFlagsOfAStoredOrderWhenTheirTurnComes) {
    chain();
    network.cacheNodeNetwork("c");
    clean();
    a->setDirtyFlag();
    a->onCompute = [this] { c->setDirtyFlag(); };
    EXPECT_EQ(computed("c", serial, useCache), (Names{"a", "c"}));
}

TEST_F(Evaluation, UsesAStoredOrderOnlyWhenAsked) {
    chain();
    network.cacheNodeNetwork("c");
    ASSERT_TRUE(network.disconnectAttr("a", "out", "b", "in1"));
    EXPECT_EQ(computed("c", serial), (Names{"b", "c"}));
    network.setAllNodeDirty();
    EXPECT_EQ(computed("c", serial, useCache), (Names{"a", "b", "c"}));
}

TEST_F(Evaluation, ComputesADirtyNodeWithoutInputsTwiceInTheLevelWalk) {
    auto* source = add<Source>("a");
    EXPECT_EQ(computed("a", parallel), (Names{"a", "a"}));
    EXPECT_FALSE(source->isDirty());
    source->setDirty(true);
    EXPECT_EQ(computed("a", serial), Names{"a"});
}

TEST_F(Evaluation, ComputesADirtyNodeWithUnconnectedInputsOnceInTheLevelWalk) {
    add<Pipe>("a");
    EXPECT_EQ(computed("a", parallel), Names{"a"});
}

TEST_F(Evaluation, ComputesACleanSourceAgainInTheLevelWalkOnly) {
    chain();
    network.computeNode("a");
    takeComputed();
    EXPECT_EQ(computed("b", serial), Names{"b"});
    b->setDirtyFlag();
    EXPECT_EQ(computed("b", parallel), (Names{"a", "b"}));
}

TEST_F(Evaluation, ComputesANodeOncePerLevelThatItStandsIn) {
    // p to q to r to d, and q to d: q stands in two levels, and p, whose input is fed, in two more.
    add<Source>("o");
    add<Pipe>("p");
    add<Pipe>("q");
    add<Pipe>("r");
    add<Sum>("d");
    connect("o", "p");
    connect("p", "q");
    connect("q", "r");
    connect("r", "d", "in1");
    connect("q", "d", "in2");
    // levels: {d} {r, q} {q, p} {p} and the leaves {o}, last to first
    const Names names = computed("d", parallel);
    ASSERT_EQ(names.size(), 7U);
    EXPECT_EQ(names[0], "o");
    EXPECT_EQ(names[1], "p");
    EXPECT_EQ((Names{names[2], names[3]}), (Names{"p", "q"}));
    EXPECT_EQ((Names{names[4], names[5]}), (Names{"q", "r"}));
    EXPECT_EQ(names[6], "d");
}

TEST_F(Evaluation, ComputesUnfedSourcesOnceBeforeAllLevels) {
    // The source x feeds d, c and b: it is a leaf each time, and leaves are run once, first.
    add<Source>("x");
    add<Pipe>("b");
    add<Sum>("c");
    add<Sum>("d");
    connect("x", "b");
    connect("b", "c", "in1");
    connect("x", "c", "in2");
    connect("c", "d", "in1");
    connect("x", "d", "in2");
    EXPECT_EQ(computed("d", parallel), (Names{"x", "b", "c", "d"}));
}

TEST_F(Evaluation, CountsASourceWithEmptyInputsAmongTheLeaves) {
    chain();
    add<Sum>("d");
    connect("c", "d", "in1");
    connect("a", "d", "in2");
    EXPECT_EQ(computed("d", parallel), (Names{"a", "b", "c", "d"}));
}

TEST_F(Evaluation, ComputesTheCleanNodesOfALevelWithoutGoingBehindThem) {
    // e to a to d, f to b to d; b is clean: it is computed again, f is not.
    add<Source>("e");
    add<Source>("f");
    add<Pipe>("a");
    auto* clean = add<Pipe>("b");
    add<Sum>("d");
    connect("e", "a");
    connect("f", "b");
    connect("a", "d", "in1");
    connect("b", "d", "in2");
    clean->setDirty(false);
    const Names names = computed("d", parallel);
    ASSERT_EQ(names.size(), 4U);
    EXPECT_EQ(names[0], "e");
    EXPECT_EQ(sorted({names[1], names[2]}), (Names{"a", "b"}));
    EXPECT_EQ(names[3], "d");
    EXPECT_EQ(dirty(), "f");
}

TEST_F(Evaluation, DirtiesEveryNodeWithoutPropagation) {
    chain();
    clean();
    network.setAllNodeDirty();
    EXPECT_EQ(dirty(), "abc");
    EXPECT_EQ(takeComputed(), Names{});
}

TEST_F(Evaluation, ReachesNodesThatAreNotInTheNetwork) {
    chain();
    Source outside;
    outside.setName("outside");
    ASSERT_TRUE(outside.out()->connectTo(a->in()));
    for (const bool way : {serial, parallel}) {
        outside.setDirtyFlag();
        network.setAllNodeDirty();
        EXPECT_EQ(computed("c", way), (Names{"outside", "a", "b", "c"}));
        EXPECT_FALSE(outside.isDirty());
    }
    a->in()->disconnectFrom(outside.out());
}

TEST_F(Evaluation, PassesOverASourceWithoutANode) {
    class OutPort : public PortTemplate<double> {
    public:
        OutPort() : PortTemplate<double>("loose") { setAsInput(false); }
    };
    chain();
    OutPort loose;
    loose.set(20.0);
    ASSERT_TRUE(loose.connectTo(a->in()));
    for (const bool way : {serial, parallel}) {
        network.setAllNodeDirty();
        EXPECT_EQ(computed("c", way), (Names{"a", "b", "c"}));
        EXPECT_EQ(c->out()->get(), 23.0);
    }
    network.cacheNodeNetwork("c");
    network.setAllNodeDirty();
    EXPECT_EQ(computed("c", serial, useCache), (Names{"a", "b", "c"}));
    NetworkManager copy(network);
    EXPECT_EQ(copy.getNode("a")->getInputPort("in1")->numConnections(), 0U);
    EXPECT_EQ(copy.getNode("b")->getInputPort("in1")->numConnections(), 1U);
    network.deleteNode("a");
    EXPECT_EQ(loose.numConnections(), 0U);
}

TEST_F(Evaluation, ReadsTheFirstEntryOfAnInputThatWasGivenTwo) {
    auto* first = add<Source>("a");
    auto* second = add<Source>("b");
    auto* sink = add<Pipe>("d");
    connect("a", "d");
    sink->in()->getConnections().push_back(second->out());
    EXPECT_EQ(computed("d", serial), (Names{"a", "d"}));
    EXPECT_TRUE(second->isDirty());
    first->setDirtyFlag();
    sink->setDirtyFlag();
    EXPECT_EQ(computed("d", parallel), (Names{"a", "d"}));
    sink->in()->getConnections().pop_back();
}

TEST_F(Evaluation, SeesWiringThatChangedBetweenTwoCalls) {
    chain();
    auto* e = add<Source>("e");
    EXPECT_EQ(computed("c", serial), (Names{"a", "b", "c"}));
    network.setAllNodeDirty();
    ASSERT_TRUE(network.disconnectAttr("a", "out", "b", "in1"));
    connect("e", "b");
    EXPECT_EQ(computed("c", serial), (Names{"e", "b", "c"}));
    network.setAllNodeDirty();
    b->in()->getConnections()[0] = a->out();
    EXPECT_EQ(computed("c", serial), (Names{"a", "b", "c"}));
    network.setAllNodeDirty();
    EXPECT_EQ(computed("c", parallel), (Names{"a", "b", "c"}));
    b->in()->getConnections().clear();
    e->out()->reset();
    network.setAllNodeDirty();
    EXPECT_EQ(computed("c", serial), (Names{"b", "c"}));
}

TEST_F(Evaluation, SeesPortsThatWereAddedAndRemovedBetweenTwoCalls) {
    chain();
    add<Source>("e");
    EXPECT_EQ(computed("c", serial), (Names{"a", "b", "c"}));
    c->addInputPort(new PortTemplate<double>("extra"));
    connect("e", "c", "extra");
    network.setAllNodeDirty();
    EXPECT_EQ(computed("c", serial), (Names{"e", "a", "b", "c"}));
    Port* extra = c->getInputPort("extra");
    c->removeInputPort("extra");
    network.setAllNodeDirty();
    EXPECT_EQ(computed("c", serial), (Names{"a", "b", "c"}));
    EXPECT_TRUE(extra->disconnectFrom(extra->input()));
    delete extra;
}

TEST_F(Evaluation, LetsAnExceptionThroughInTheSerialWalk) {
    chain();
    b->onCompute = [] { throw std::runtime_error("b failed"); };
    EXPECT_THROW(network.computeNode("c"), std::runtime_error);
    EXPECT_EQ(takeComputed(), (Names{"a", "b"}));
    EXPECT_EQ(dirty(), "bc");
    b->onCompute = nullptr;
    EXPECT_EQ(computed("c", serial), (Names{"b", "c"}));
    EXPECT_EQ(c->out()->get(), 3.0);
}

TEST_F(Evaluation, LetsAnExceptionThroughFromAStoredOrder) {
    chain();
    network.cacheNodeNetwork("c");
    b->onCompute = [] { throw std::string("b failed"); };
    EXPECT_THROW(network.computeNode("c", nullptr, serial, useCache), std::string);
    EXPECT_EQ(takeComputed(), (Names{"a", "b"}));
    EXPECT_EQ(dirty(), "bc");
    b->onCompute = nullptr;
    EXPECT_EQ(computed("c", serial, useCache), (Names{"b", "c"}));
}

TEST_F(Evaluation, LetsAnExceptionThroughInTheLevelWalk) {
    chain();
    b->onCompute = [] { throw 42; };
    EXPECT_THROW(network.computeNode("c", nullptr, parallel), int);
    EXPECT_EQ(takeComputed(), (Names{"a", "b"}));
    EXPECT_EQ(dirty(), "bc");
    b->onCompute = nullptr;
    EXPECT_EQ(computed("c", serial), (Names{"b", "c"}));
}

TEST_F(Evaluation, GivesTheSameResultEveryWay) {
    add<Source>("s");
    add<Pipe>("p");
    add<Sum>("q");
    auto* d = add<Sum3>("d");
    connect("s", "p");
    connect("s", "q", "in1");
    connect("p", "q", "in2");
    connect("q", "d", "in1");
    connect("p", "d", "in2");
    connect("s", "d", "in3");
    network.cacheNodeNetwork("d");
    for (const bool withCache : {false, true}) {
        for (const bool way : {serial, parallel}) {
            for (Node* node : network.getAllNodes()) {
                static_cast<PortTemplate<double>*>(node->getOutputPort("out"))->set(-1000.0);
            }
            network.setAllNodeDirty();
            computed("d", way, withCache);
            EXPECT_EQ(d->out()->get(), 8.0);
            EXPECT_EQ(dirty(), "");
        }
    }
}

}  // namespace
}  // namespace TessilGraph
