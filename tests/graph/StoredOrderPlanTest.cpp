#include <TessilGraph/TessilGraph.h>

#include <tests/graph/LongChain.h>
#include <tests/support/HowToCompute.h>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace TessilGraph {
namespace {

using tests::Pipe;
using tests::takeComputed;
using tests::useCache;

using AddDouble = AddNode<double, double, double, double>;

/// A stored order that is evaluated again and again.
class StoredOrderPlan : public tests::LongChain {
protected:
    void warm() { warmUp(useCache); }
    Names run() { return computed(useCache); }

    /// What is computed of a network in which some nodes only are dirty.
    Names rest() {
        network.computeNode(nameOf(length - 1), nullptr, false, useCache);
        return takeComputed();
    }
};

TEST_F(StoredOrderPlan, StaysAsItIsWhateverBecomesOfTheWiring) {
    warm();
    EXPECT_TRUE(network.disconnectAttr(nameOf(29), "out", nameOf(30), "in1"));
    EXPECT_EQ(run(), namesFrom(0));
    EXPECT_EQ(nodes.back()->out()->get(), 50.0);
    EXPECT_TRUE(network.connectAttr(nameOf(20), "out", nameOf(30), "in1"));
    EXPECT_EQ(run(), namesFrom(0));
    EXPECT_EQ(nodes.back()->out()->get(), 71.0);
}

TEST_F(StoredOrderPlan, ComputesDirtyNodesOnly) {
    warm();
    nodes[10]->setDirtyFlag();
    nodes[70]->setDirty(true);
    Names expected{nameOf(10)};
    for (const std::string& name : namesFrom(70)) {
        expected.push_back(name);
    }
    EXPECT_EQ(rest(), expected);
    EXPECT_EQ(rest(), Names());
}

TEST_F(StoredOrderPlan, SeesNodesThatWereMarkedWhileItRan) {
    warm();
    nodes[40]->onCompute = [this] {
        nodes[39]->setDirtyFlag();
        nodes[41]->setDirty(false);
    };
    EXPECT_EQ(run(), namesWithout(41, 42));
    EXPECT_TRUE(nodes[39]->isDirty());
    EXPECT_EQ(rest(), Names{nameOf(39)});
    EXPECT_EQ(rest(), Names());
}

TEST_F(StoredOrderPlan, LeavesOutNodesThatAnotherOneDeletes) {
    warm();
    nodes[40]->onCompute = [this] {
        network.deleteNode(nameOf(50));
        network.deleteNode(nameOf(10));
    };
    EXPECT_EQ(run(), namesWithout(50, 51));
    nodes[40]->onCompute = nullptr;
    Names expected = namesWithout(10, 11);
    expected.erase(expected.begin() + 49);
    for (int time = 0; time < 3; ++time) {
        EXPECT_EQ(run(), expected);
    }
}

TEST_F(StoredOrderPlan, RunsToItsEndWhenItIsDroppedOrStoredMeanwhile) {
    warm();
    nodes[40]->onCompute = [this] {
        network.clearNodeNetworkCaches();
        nodes[30]->in()->disconnectFrom(nodes[29]->out());
        network.cacheNodeNetwork(nameOf(length - 1));
        network.deleteNode(nameOf(60));
    };
    EXPECT_EQ(run(), namesWithout(60, 61));
    nodes[40]->onCompute = nullptr;
    Names expected = namesFrom(30);
    expected.erase(expected.begin() + 30);
    EXPECT_EQ(run(), expected);
}

TEST_F(StoredOrderPlan, IsRunFromWithinACompute) {
    warm();
    bool inside = false;
    nodes[40]->onCompute = [&] {
        if (!std::exchange(inside, true)) {
            network.computeNode(nameOf(length - 1), nullptr, false, useCache);
        }
    };
    Names expected = namesFrom(0, 41);
    for (const std::string& name : namesFrom(40)) {
        expected.push_back(name);
    }
    for (int time = 0; time < 3; ++time) {
        inside = false;
        EXPECT_EQ(run(), expected);
    }
}

TEST_F(StoredOrderPlan, LeavesNodesDirtyThatWereNotReachedWhenOneThrew) {
    warm();
    nodes[40]->onCompute = [] { throw std::runtime_error("not now"); };
    EXPECT_THROW(run(), std::runtime_error);
    EXPECT_EQ(takeComputed(), namesFrom(0, 41));
    nodes[40]->onCompute = nullptr;
    EXPECT_EQ(rest(), namesFrom(40));
    EXPECT_EQ(rest(), Names());
}

TEST_F(StoredOrderPlan, SetsTheProfileTimesOfCleanNodesToZero) {
    warm();
    nodes[10]->setProfileTime(7);
    nodes[79]->setProfileTime(7);
    EXPECT_EQ(rest(), Names());
    EXPECT_EQ(nodes[10]->profileTime(), 0U);
    EXPECT_EQ(nodes[79]->profileTime(), 0U);
}

TEST_F(StoredOrderPlan, ResetsTheProfileTimesOfNodesThatComeAfterTheOneThatSetsThem) {
    warm();
    nodes[40]->onCompute = [this] {
        nodes[39]->setProfileTime(1);
        nodes[40]->setProfileTime(2);
        nodes[41]->setProfileTime(3);
    };
    for (int time = 0; time < 3; ++time) {
        EXPECT_EQ(run(), namesFrom(0));
        EXPECT_EQ(nodes[39]->profileTime(), 1U);
        EXPECT_EQ(nodes[40]->profileTime(), 2U);
        EXPECT_EQ(nodes[41]->profileTime(), 0U);
    }
}

TEST_F(StoredOrderPlan, KnowsTheProfileTimesThatNodesBringAlong) {
    network.cacheNodeNetwork(nameOf(length - 1));
    nodes[10]->setName("elsewhere");
    nodes[10]->setProfileTime(7);
    for (int time = 0; time < 3; ++time) {
        run();
        EXPECT_EQ(nodes[10]->profileTime(), 0U);
        nodes[10]->setProfileTime(7);
    }
}

TEST_F(StoredOrderPlan, ComputesNodesOfOtherNetworksToo) {
    NetworkManager other;
    auto* foreign = new Pipe;
    other.addNode(foreign, "foreign");
    EXPECT_TRUE(foreign->out()->connectTo(nodes[0]->in()));
    network.cacheNodeNetwork(nameOf(length - 1));
    for (int time = 0; time < 4; ++time) {
        foreign->setDirty(true);
        foreign->setProfileTime(3);
        EXPECT_EQ(run().front(), "foreign");
        EXPECT_EQ(foreign->profileTime(), 0U);
    }
    EXPECT_TRUE(foreign->out()->disconnectFrom(nodes[0]->in()));
}

/// The same with built-in nodes, whose values the manager need not ask the nodes for.
class PlanOfBuiltInNodes : public testing::Test {
protected:
    static constexpr std::size_t length = 80;

    PlanOfBuiltInNodes() {
        initTessilGraph();
        for (std::size_t place = 0; place < length; ++place) {
            nodes.push_back(new AddDouble);
            network.addNode(nodes.back(), "n" + std::to_string(100 + place));
            nodes.back()->input2Port()->set(1.0);
            if (place != 0) {
                EXPECT_TRUE(nodes[place - 1]->outputPort()->connectTo(nodes[place]->input1Port()));
            }
        }
        network.cacheNodeNetwork(last());
    }

    std::string last() const { return "n" + std::to_string(99 + length); }

    double run() {
        network.setAllNodeDirty();
        network.computeNode(last(), nullptr, false, useCache);
        return nodes.back()->outputPort()->get();
    }

    void warm() {
        for (int time = 0; time < 4; ++time) {
            run();
        }
    }

    NetworkManager network;
    std::vector<AddDouble*> nodes;
};

TEST_F(PlanOfBuiltInNodes, SeesValuesThatAreSetBetweenRuns) {
    warm();
    nodes[40]->input2Port()->set(11.0);
    EXPECT_EQ(run(), 90.0);
    nodes[40]->outputPort()->set(0.0);
    EXPECT_EQ(run(), 90.0);
}

TEST_F(PlanOfBuiltInNodes, TakesAnyNumberOfNodes) {
    constexpr std::size_t more = 2500;
    for (std::size_t place = 0; place < more; ++place) {
        nodes.push_back(new AddDouble);
        network.addNode(nodes.back(), "more");
        nodes.back()->input2Port()->set(1.0);
        ASSERT_TRUE(nodes[nodes.size() - 2]->outputPort()->connectTo(nodes.back()->input1Port()));
    }
    const std::string end = nodes.back()->name();
    network.cacheNodeNetwork(end);
    for (int time = 0; time < 6; ++time) {
        nodes[0]->input1Port()->set(time);
        network.setAllNodeDirty();
        network.computeNode(end, nullptr, false, useCache);
        EXPECT_EQ(nodes.back()->outputPort()->get(), static_cast<double>(length + more) + time);
        EXPECT_FALSE(nodes.back()->isDirty());
    }
}

TEST_F(PlanOfBuiltInNodes, ComputesTheDirtyPartOfWhatAWalkFoundWholeBefore) {
    const auto walk = [this] {
        network.computeNode(last());
        return nodes.back()->outputPort()->get();
    };
    const auto walkFrom = [&](std::size_t place, double value) {
        nodes[place]->input2Port()->set(value);
        nodes[place]->setDirty(true);
        return walk();
    };
    for (int time = 0; time < 4; ++time) {
        network.setAllNodeDirty();
        EXPECT_EQ(walk(), 80.0);
    }
    for (int time = 0; time < 40; ++time) {
        EXPECT_EQ(walkFrom(72, 1.0), 80.0);
    }
    EXPECT_EQ(walkFrom(40, 11.0), 90.0);
    EXPECT_FALSE(nodes[60]->isDirty());
    // A clean node hides what feeds it.
    nodes[40]->input2Port()->set(21.0);
    nodes[40]->setDirty(true);
    nodes[60]->setDirty(false);
    EXPECT_EQ(walk(), 90.0);
    EXPECT_TRUE(nodes[59]->isDirty());
    EXPECT_EQ(walkFrom(60, 1.0), 100.0);
    EXPECT_FALSE(nodes[59]->isDirty());
}

TEST_F(PlanOfBuiltInNodes, SeesLinksToStorageOutsideAndTheirEnd) {
    double outside = 11.0;
    warm();
    nodes[40]->input2Port()->setLink(&outside);
    EXPECT_EQ(run(), 90.0);
    EXPECT_EQ(run(), 90.0);
    outside = 21.0;
    EXPECT_EQ(run(), 100.0);
    nodes[40]->input2Port()->setLink(nullptr);
    EXPECT_EQ(run(), 80.0);
    warm();
    nodes[40]->outputPort()->setLink(&outside);
    EXPECT_EQ(run(), 60.0);
    EXPECT_EQ(outside, 21.0);
    nodes[40]->outputPort()->setLink(nullptr);
    EXPECT_EQ(run(), 80.0);
}

TEST_F(PlanOfBuiltInNodes, SeesLinksThatCopiesAndResetsBring) {
    double outside = 11.0;
    PortTemplate<double> bound("bound");
    bound.setLink(&outside);
    warm();
    nodes[40]->input2Port()->copyValue(&bound);
    EXPECT_EQ(run(), 90.0);
    warm();
    nodes[40]->input2Port()->reset();
    EXPECT_EQ(run(), 79.0);
    warm();
    nodes[40]->reset();
    EXPECT_EQ(run(), 39.0);
}

TEST_F(PlanOfBuiltInNodes, SeesLinksOfAPortWhoseOwnerWasNamedAnew) {
    double outside = 11.0;
    PortTemplate<double>* const input = nodes[40]->input2Port();
    input->setNode(nullptr);
    input->setNode(nodes[40]);
    warm();
    input->setLink(&outside);
    EXPECT_EQ(run(), 90.0);
    EXPECT_EQ(run(), 90.0);
    PortTemplate<double>* const output = nodes[40]->outputPort();
    output->setNode(nodes[0]);
    output->setNode(nodes[40]);
    warm();
    output->setLink(&outside);
    EXPECT_EQ(run(), 50.0);
}

TEST_F(PlanOfBuiltInNodes, SeesListsOfLinksThatAreEditedLongAfterTheyWereLent) {
    std::vector<Port*>& links = nodes[40]->input1Port()->getConnections();
    warm();
    links.clear();
    EXPECT_EQ(run(), 40.0);
    links.assign(1, nodes[20]->outputPort());
    EXPECT_EQ(run(), 61.0);
    links.assign(1, nodes[39]->outputPort());
    EXPECT_EQ(run(), 80.0);
}

TEST_F(PlanOfBuiltInNodes, SeesPortsThatWereRemovedAndAddedAgain) {
    double outside = 11.0;
    warm();
    PortTemplate<double>* const input = nodes[40]->input2Port();
    nodes[40]->removeInputPort("in2");
    EXPECT_EQ(run(), 80.0);
    warm();
    input->setLink(&outside);
    EXPECT_EQ(run(), 90.0);
    nodes[40]->addInputPort(input);
    warm();
    input->setLink(nullptr);
    EXPECT_EQ(run(), 80.0);
}

TEST_F(PlanOfBuiltInNodes, SeesARemovedSourceThatIsBoundToStorageOutside) {
    double outside = 11.0;
    const std::unique_ptr<PortTemplate<double>> source(nodes[39]->outputPort());
    nodes[39]->removeOutputPort("out");
    warm();
    source->setLink(&outside);
    EXPECT_EQ(run(), 51.0);
    EXPECT_TRUE(source->disconnectFrom(nodes[40]->input1Port()));
}

TEST_F(PlanOfBuiltInNodes, SurvivesAnOutputThatIsGone) {
    auto* const more = new AddDouble;
    network.addNode(more, "more");
    EXPECT_TRUE(more->outputPort()->connectTo(nodes[0]->input1Port()));
    warm();
    EXPECT_EQ(run(), 80.0);
    more->input2Port()->set(5.0);
    network.cacheNodeNetwork(last());
    warm();
    EXPECT_EQ(run(), 85.0);
    network.deleteNode("more");
    EXPECT_EQ(run(), 80.0);
}

TEST_F(PlanOfBuiltInNodes, StandsWhenManyOtherNodesLeaveTheNetwork) {
    // The places of dirty bytes move up when most of them are free.
    NetworkManager wide;
    std::vector<AddDouble*> kept;
    for (int place = 0; place < 900; ++place) {
        auto* node = new AddDouble;
        wide.addNode(node, "w" + std::to_string(place));
        if (place % 9 == 8) {
            node->input2Port()->set(1.0);
            if (!kept.empty()) {
                EXPECT_TRUE(kept.back()->outputPort()->connectTo(node->input1Port()));
            }
            kept.push_back(node);
        }
    }
    const std::string end = kept.back()->name();
    wide.cacheNodeNetwork(end);
    const auto evaluate = [&] {
        wide.setAllNodeDirty();
        wide.computeNode(end, nullptr, false, useCache);
        return kept.back()->outputPort()->get();
    };
    for (int time = 0; time < 4; ++time) {
        EXPECT_EQ(evaluate(), 100.0);
    }
    for (int place = 0; place < 900; ++place) {
        if (place % 9 != 8) {
            wide.deleteNode("w" + std::to_string(place));
        }
        kept[50]->input2Port()->set(place);
        wide.computeNode(end, nullptr, false, useCache);
        ASSERT_EQ(kept.back()->outputPort()->get(), 99.0 + place);
        ASSERT_FALSE(kept[50]->isDirty());
    }
}

TEST(StoredOrder, ComputesFewDirtyNodesInItsOrderAndNotInThatInWhichTheyCame) {
    constexpr std::size_t length = 80;
    NetworkManager network;
    const auto nameOf = [](std::size_t place) { return "n" + std::to_string(place); };
    std::vector<AddDouble*> nodes(length);
    for (std::size_t place = length; place-- > 0;) {
        nodes[place] = new AddDouble;
        network.addNode(nodes[place], nameOf(place));
    }
    for (std::size_t place = 1; place < length; ++place) {
        EXPECT_TRUE(nodes[place - 1]->outputPort()->connectTo(nodes[place]->input1Port()));
    }
    const std::string last = nameOf(length - 1);
    network.cacheNodeNetwork(last);
    // Others that came and went while they were dirty.
    for (std::size_t place = length; place < length + 30; ++place) {
        network.createNode("AddDouble", nameOf(place));
    }
    for (std::size_t place = length; place < length + 30; ++place) {
        network.deleteNode(nameOf(place));
    }
    for (int time = 1; time < 6; ++time) {
        nodes[length - 3]->input2Port()->set(time);
        network.computeNode(last, nullptr, false, useCache);
        EXPECT_EQ(nodes.back()->outputPort()->get(), time);
    }
}

TEST(StoredOrder, ComputesANodeThatReadsTheStorageOfItsOwnOutput) {
    using MatrixPort = PortTemplate<Imath::M44d>;
    constexpr std::size_t length = 80;
    constexpr std::size_t place = 10;
    NetworkManager planned;
    NetworkManager byHand;
    const auto nameOf = [](std::size_t number) { return "n" + std::to_string(number); };
    for (NetworkManager* network : {&planned, &byHand}) {
        for (std::size_t number = 0; number < length; ++number) {
            network->createNode("AddScalarMatrix", nameOf(number));
            if (number > 0) {
                EXPECT_TRUE(network->connectAttr(nameOf(number - 1), "out", nameOf(number), "matrix"));
            }
        }
        Node* fedBack = network->getNode(nameOf(place));
        auto* out = static_cast<MatrixPort*>(fedBack->getOutputPort("out"));
        out->set(Imath::M44d(7.0));
        static_cast<PortTemplate<double>*>(fedBack->getInputPort("double"))->setLink(&out->getRef()[0][0]);
    }
    const Imath::M44d matrix(0.6, 0.8, 0, 0, -0.8, 0.6, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
    planned.cacheNodeNetwork(nameOf(length - 1));
    for (int time = 0; time < 5; ++time) {
        for (NetworkManager* network : {&planned, &byHand}) {
            static_cast<MatrixPort*>(network->getNode(nameOf(0))->getInputPort("matrix"))->set(matrix);
        }
        planned.computeNode(nameOf(length - 1), nullptr, false, useCache);
        for (std::size_t number = 0; number < length; ++number) {
            byHand.getNode(nameOf(number))->compute(nullptr);
        }
        const auto result = [&](NetworkManager& network) {
            return static_cast<MatrixPort*>(network.getNode(nameOf(length - 1))->getOutputPort("out"))->get();
        };
        ASSERT_EQ(result(planned), result(byHand)) << time;
    }
}

}  // namespace
}  // namespace TessilGraph
