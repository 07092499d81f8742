#include <tests/graph/LongChain.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace TessilGraph {
namespace {

using tests::Pipe;
using tests::takeComputed;

/// Walks that find a part of the network dirty, again and again.
class WalkPlan : public tests::LongChain {
protected:
    /// What is computed when one node is marked and another one is evaluated.
    Names changed(std::size_t marked, std::size_t evaluated = length - 1) {
        nodes[marked]->setDirty(true);
        return evaluate(evaluated);
    }

    Names evaluate(std::size_t evaluated = length - 1) {
        takeComputed();
        network.computeNode(nameOf(evaluated));
        return takeComputed();
    }

    /// Until the manager has planned whatever it plans.
    void warm() {
        evaluate();
        for (int time = 0; time < 20; ++time) {
            EXPECT_EQ(changed(40), namesFrom(40));
        }
    }
};

TEST_F(WalkPlan, ComputesWhatLeadsToTheTarget) {
    warm();
    EXPECT_EQ(changed(70), namesFrom(70));
    EXPECT_EQ(changed(10, 20), namesFrom(10, 21));
    EXPECT_TRUE(nodes[21]->isDirty());
    EXPECT_EQ(evaluate(), namesFrom(21));
    EXPECT_EQ(evaluate(), Names());
}

TEST_F(WalkPlan, PassesOverCleanNodesAndWhatTheyHide) {
    warm();
    nodes[10]->setDirty(true);
    nodes[40]->setDirty(false);
    EXPECT_EQ(evaluate(), namesFrom(41));
    EXPECT_TRUE(nodes[39]->isDirty());
    EXPECT_EQ(changed(40), namesFrom(10));
}

TEST_F(WalkPlan, FollowsAListOfLinksThatIsEditedLongAfterItWasLent) {
    std::vector<Port*>& links = nodes[50]->in()->getConnections();
    warm();
    links.clear();
    nodes[40]->setDirty(true);
    EXPECT_EQ(evaluate(), namesFrom(50));
    links.assign(1, nodes[49]->out());
    nodes[50]->setDirty(true);
    EXPECT_EQ(evaluate(), namesFrom(40));
}

TEST_F(WalkPlan, MarksWhatListsOfLinksLeadToThatAreEditedLongAfterTheyWereLent) {
    std::vector<Port*>& links = nodes[50]->out()->getConnections();
    warm();
    links.clear();
    nodes[40]->setDirty(true);
    EXPECT_TRUE(nodes[50]->isDirty());
    EXPECT_FALSE(nodes[51]->isDirty());
    links.assign(1, nodes[51]->in());
    nodes[50]->setDirty(false);
    nodes[50]->setDirty(true);
    EXPECT_TRUE(nodes[51]->isDirty());
}

TEST_F(WalkPlan, MarksWhatAListOfOutputsLeadsToThatIsEditedLongAfterItWasLent) {
    const auto place = nodes[50]->outputPortBegin();
    Port* const out = *place;
    warm();
    *place = nullptr;
    nodes[40]->setDirty(true);
    EXPECT_TRUE(nodes[50]->isDirty());
    EXPECT_FALSE(nodes[51]->isDirty());
    *place = out;
    nodes[50]->setDirty(false);
    nodes[50]->setDirty(true);
    EXPECT_TRUE(nodes[51]->isDirty());
}

TEST_F(WalkPlan, MarksAndComputesNodesOfOtherNetworks) {
    NetworkManager other;
    auto* between = new Pipe;
    auto* beside = new Pipe;
    other.addNode(between, "between");
    other.addNode(beside, "beside");
    ASSERT_TRUE(network.disconnectAttr(nameOf(49), "out", nameOf(50), "in1"));
    ASSERT_TRUE(nodes[49]->out()->connectTo(between->in()));
    ASSERT_TRUE(between->out()->connectTo(nodes[50]->in()));
    ASSERT_TRUE(nodes[60]->out()->connectTo(beside->in()));
    evaluate();
    for (int time = 0; time < 20; ++time) {
        beside->setDirty(false);
        nodes[40]->setDirty(true);
        EXPECT_TRUE(between->isDirty());
        EXPECT_TRUE(beside->isDirty());
        evaluate();
        EXPECT_FALSE(between->isDirty());
        EXPECT_TRUE(beside->isDirty());
        EXPECT_EQ(nodes.back()->out()->get(), length + 1.0);
    }
    other.cleanNetwork();
}

TEST_F(WalkPlan, PassesOverPortsWithoutANode) {
    PortTemplate<double> sink("sink");
    ASSERT_TRUE(nodes[50]->out()->connectTo(&sink));
    warm();
    EXPECT_EQ(changed(50), namesFrom(50));
    EXPECT_EQ(sink.get(), 51.0);
    ASSERT_TRUE(sink.disconnectFrom(nodes[50]->out()));
}

TEST_F(WalkPlan, MarksAnyNumberOfConsumers) {
    constexpr std::size_t count = 300;
    std::vector<Pipe*> near;
    std::vector<Pipe*> far;
    for (std::size_t consumer = 0; consumer < count; ++consumer) {
        for (std::vector<Pipe*>* row : {&near, &far}) {
            row->push_back(new Pipe);
            network.addNode(row->back(), "consumer");
        }
        ASSERT_TRUE(near.back()->out()->connectTo(far.back()->in()));
        ASSERT_TRUE(nodes[50]->out()->connectTo(near.back()->in()));
    }
    const auto expectAllMarked = [&] {
        for (std::size_t consumer = 0; consumer < count; ++consumer) {
            ASSERT_TRUE(near[consumer]->isDirty()) << consumer;
            ASSERT_TRUE(far[consumer]->isDirty()) << consumer;
            network.computeNode(far[consumer]->name());
        }
    };
    expectAllMarked();
    for (int time = 0; time < 5; ++time) {
        nodes[40]->setDirty(true);
        expectAllMarked();
    }
}

TEST_F(WalkPlan, SeesThatTheWiringChanges) {
    warm();
    EXPECT_TRUE(network.disconnectAttr(nameOf(49), "out", nameOf(50), "in1"));
    nodes[50]->setDirty(true);
    EXPECT_EQ(changed(40), namesFrom(50));
    EXPECT_TRUE(network.connectAttr(nameOf(49), "out", nameOf(50), "in1"));
    EXPECT_EQ(changed(50), namesFrom(40));
    network.deleteNode(nameOf(45));
    EXPECT_EQ(changed(46), namesFrom(46));
}

TEST_F(WalkPlan, LeavesNodesDirtyThatWereNotReachedWhenOneThrew) {
    warm();
    nodes[50]->onCompute = [] { throw std::runtime_error("not now"); };
    EXPECT_THROW(changed(40), std::runtime_error);
    EXPECT_EQ(takeComputed(), namesFrom(40, 51));
    for (std::size_t place = 0; place < length; ++place) {
        EXPECT_EQ(nodes[place]->isDirty(), place >= 50) << place;
    }
    nodes[50]->onCompute = nullptr;
    EXPECT_EQ(evaluate(), namesFrom(50));
}

TEST_F(WalkPlan, SetsTheProfileTimesOfTheNodesThatItComputesToZero) {
    warm();
    nodes[10]->setProfileTime(7);
    nodes[70]->setProfileTime(7);
    EXPECT_EQ(changed(40), namesFrom(40));
    EXPECT_EQ(nodes[10]->profileTime(), 7U);
    EXPECT_EQ(nodes[70]->profileTime(), 0U);
    for (int time = 0; time < 20; ++time) {
        EXPECT_EQ(changed(5), namesFrom(5));
    }
    EXPECT_EQ(nodes[10]->profileTime(), 0U);
}

TEST_F(WalkPlan, ComputesNodesThatWereToBeComputedAndNoOthers) {
    warm();
    nodes[50]->onCompute = [this] {
        nodes[20]->setDirtyFlag();
        nodes[60]->setDirty(false);
    };
    Names expected = namesFrom(40, 60);
    for (const std::string& name : namesFrom(61)) {
        expected.push_back(name);
    }
    EXPECT_EQ(changed(40), expected);
    EXPECT_TRUE(nodes[20]->isDirty());
}

TEST_F(WalkPlan, GoesOnAsItBeganWhenANodeChangesTheWiring) {
    warm();
    nodes[50]->onCompute = [this] {
        network.disconnectAttr(nameOf(60), "out", nameOf(61), "in1");
        network.deleteNode(nameOf(70));
    };
    Names expected = namesFrom(40, 70);
    for (const std::string& name : namesFrom(71)) {
        expected.push_back(name);
    }
    EXPECT_EQ(changed(40), expected);
    EXPECT_EQ(nodes[60]->out()->numConnections(), 0U);
}

TEST_F(WalkPlan, GivesWayToWalksFromWithinACompute) {
    warm();
    bool inside = false;
    nodes[50]->onCompute = [&] {
        if (!std::exchange(inside, true)) {
            network.computeNode(nameOf(70));
        }
    };
    Names expected = namesFrom(40, 51);
    for (const std::string& name : namesFrom(50)) {
        expected.push_back(name);
    }
    EXPECT_EQ(changed(40), expected);
}

TEST_F(WalkPlan, VisitsASourceOfSeveralInputsWhereItStandsFirst) {
    // The walk begins with the last input, and the first one to name a source counts.
    auto* reader = new tests::Probe<double, 3>;
    network.addNode(reader, "reader");
    const char* const sources[] = {"a", "b"};
    std::vector<Pipe*> pipes;
    for (const char* name : sources) {
        pipes.push_back(new Pipe);
        network.addNode(pipes.back(), name);
        EXPECT_TRUE(nodes.back()->out()->connectTo(pipes.back()->in()));
    }
    EXPECT_TRUE(pipes[0]->out()->connectTo(reader->getInputPort("in1")));
    EXPECT_TRUE(pipes[1]->out()->connectTo(reader->getInputPort("in2")));
    EXPECT_TRUE(pipes[0]->out()->connectTo(reader->getInputPort("in3")));
    Names expected = namesFrom(40);
    for (const char* name : {"b", "a", "reader"}) {
        expected.push_back(name);
    }
    network.computeNode("reader");
    for (int time = 0; time < 20; ++time) {
        nodes[40]->setDirty(true);
        takeComputed();
        network.computeNode("reader");
        EXPECT_EQ(takeComputed(), expected);
    }
}

}  // namespace
}  // namespace TessilGraph
