#include <TessilGraph/TessilGraph.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/HowToCompute.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using namespace tests;
using TessilGraph::CancelToken;
using TessilGraph::NetworkManager;
using TessilGraph::Node;
using TessilGraph::PortTemplate;
using TessilGraph::PreparedEvaluation;
using TessilGraph::RunOptions;
using TessilGraph::RunResult;
using TessilGraph::RunStatus;

namespace {

using Names = std::vector<std::string>;
using Told = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

/// What is done, and what there is to do.
RunOptions tellingTo(Told& told) {
    RunOptions options;
    options.progress = [&told](std::uint64_t done, std::uint64_t total) { told.emplace_back(done, total); };
    return options;
}

class Prepared : public testing::Test {
protected:
    Prepared() {
        TessilGraph::initTessilGraph();
        takeComputed();
    }

    template <class Probe>
    Probe& probe(const std::string& name) {
        return dynamic_cast<Probe&>(*network->createNode(Probe::staticTypeStr(), name));
    }

    void link(const std::string& source, const std::string& target, const std::string& input) {
        ASSERT_TRUE(network->connectAttr(source, "out", target, input));
    }

    PortTemplate<double>& input(const std::string& node, const std::string& port) {
        return dynamic_cast<PortTemplate<double>&>(*network->getNode(node)->getInputPort(port));
    }

    double output(const std::string& node) {
        return dynamic_cast<PortTemplate<double>&>(*network->getNode(node)->getOutputPort("out")).get();
    }

    /// a feeds b and c, which feed d.
    void makeDiamond() {
        probe<Pipe>("a");
        probe<Pipe>("b");
        probe<Pipe>("c");
        probe<Sum>("d");
        link("a", "b", "in1");
        link("a", "c", "in1");
        link("b", "d", "in1");
        link("c", "d", "in2");
    }

    /// sum[0] feeds sum[1] and so on.
    void makeSums(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            network->createNode("AddDouble", "sum" + std::to_string(i));
            input("sum" + std::to_string(i), "in2").set(1.0);
            if (i != 0) {
                link("sum" + std::to_string(i - 1), "sum" + std::to_string(i), "in1");
            }
        }
    }

    std::unique_ptr<NetworkManager> network = std::make_unique<NetworkManager>();
};

void expectResult(const RunResult& result, RunStatus status, std::uint64_t computed) {
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.computed, computed);
}

}  // namespace

TEST_F(Prepared, ComputesEachDirtyNodeOnceAfterItsSources) {
    makeDiamond();
    PreparedEvaluation evaluation(*network, "d");
    expectResult(evaluation.run(), RunStatus::Done, 4);
    const Names order = takeComputed();
    EXPECT_TRUE(order == (Names{"a", "b", "c", "d"}) || order == (Names{"a", "c", "b", "d"}));
    EXPECT_EQ(output("d"), 5.0);
    EXPECT_FALSE(network->getNode("d")->isDirty());
}

TEST_F(Prepared, ComputesNothingWhenNothingIsDirty) {
    makeDiamond();
    PreparedEvaluation evaluation(*network, "d");
    evaluation.run();
    takeComputed();
    expectResult(evaluation.run(), RunStatus::Done, 0);
    EXPECT_EQ(takeComputed(), Names{});
}

TEST_F(Prepared, ComputesOnlyWhatAChangeReaches) {
    makeDiamond();
    PreparedEvaluation evaluation(*network, "d");
    evaluation.run();
    takeComputed();
    network->getNode("c")->setDirty(true);
    expectResult(evaluation.run(), RunStatus::Done, 2);
    EXPECT_EQ(takeComputed(), (Names{"c", "d"}));
}

TEST_F(Prepared, LeavesDirtyNodesElsewhereAlone) {
    makeDiamond();
    PreparedEvaluation evaluation(*network, "b");
    expectResult(evaluation.run(), RunStatus::Done, 2);
    EXPECT_EQ(takeComputed(), (Names{"a", "b"}));
    EXPECT_TRUE(network->getNode("c")->isDirty());
    EXPECT_TRUE(network->getNode("d")->isDirty());
}

TEST_F(Prepared, FindsDirtyNodesBehindCleanOnes) {
    makeDiamond();
    PreparedEvaluation evaluation(*network, "d");
    evaluation.run();
    takeComputed();
    network->getNode("a")->setDirtyFlag();
    evaluation.run();
    EXPECT_EQ(takeComputed(), Names{"a"});
}

TEST_F(Prepared, EvaluatesSeveralTargetsAndComputesNothingTwice) {
    makeDiamond();
    PreparedEvaluation evaluation(*network, Names{"b", "c", "b"});
    expectResult(evaluation.run(), RunStatus::Done, 3);
    EXPECT_EQ(evaluation.targets(), (Names{"b", "c", "b"}));
}

TEST_F(Prepared, HandsTheDataToEveryNode) {
    class Data : public TessilGraph::ComputeData {};
    makeDiamond();
    const Data data;
    PreparedEvaluation(*network, "d").run(&data);
    EXPECT_EQ(dynamic_cast<Pipe&>(*network->getNode("a")).seenData, &data);
    EXPECT_EQ(dynamic_cast<Sum&>(*network->getNode("d")).seenData, &data);
}

TEST_F(Prepared, FollowsValues) {
    makeSums(200);
    PreparedEvaluation evaluation(*network, "sum199");
    expectResult(evaluation.run(), RunStatus::Done, 200);
    EXPECT_EQ(output("sum199"), 200.0);
    input("sum0", "in1").set(1000.0);
    expectResult(evaluation.run(), RunStatus::Done, 200);
    EXPECT_EQ(output("sum199"), 1200.0);
    input("sum150", "in2").set(2.0);
    expectResult(evaluation.run(), RunStatus::Done, 50);
    EXPECT_EQ(output("sum199"), 1201.0);
}

TEST_F(Prepared, FollowsNewLinks) {
    makeSums(3);
    network->createNode("AddDouble", "extra");
    PreparedEvaluation evaluation(*network, "sum2");
    evaluation.run();
    input("extra", "in1").set(10.0);
    network->disconnectAttr("sum0", "out", "sum1", "in1");
    link("extra", "sum1", "in1");
    network->getNode("sum1")->setDirty(true);
    evaluation.run();
    EXPECT_EQ(output("sum2"), 12.0);
}

TEST_F(Prepared, FollowsNodesThatComeAndGo) {
    makeSums(4);
    PreparedEvaluation evaluation(*network, "sum3");
    evaluation.run();
    network->deleteNode("sum1");
    network->getNode("sum2")->setDirty(true);
    expectResult(evaluation.run(), RunStatus::Done, 2);
    // The input keeps the value that it had before the link was made.
    EXPECT_EQ(output("sum3"), 2.0);
    network->createNode("AddDouble", "fresh");
    link("fresh", "sum2", "in1");
    expectResult(evaluation.run(), RunStatus::Done, 1);
}

TEST_F(Prepared, FollowsRenamedNodes) {
    makeSums(3);
    PreparedEvaluation evaluation(*network, "sum2");
    evaluation.run();
    network->renameNode("sum0", "other");
    input("other", "in1").set(5.0);
    evaluation.run();
    EXPECT_EQ(output("sum2"), 8.0);
}

TEST_F(Prepared, SaysWhenATargetIsGoneAndEvaluatesTheOthers) {
    makeSums(3);
    PreparedEvaluation evaluation(*network, Names{"sum2", "sum1"});
    evaluation.run();
    network->deleteNode("sum2");
    expectResult(evaluation.run(), RunStatus::TargetGone, 0);
    network->getNode("sum0")->setDirty(true);
    expectResult(evaluation.run(), RunStatus::TargetGone, 2);
    network->createNode("AddDouble", "sum2");
    expectResult(evaluation.run(), RunStatus::Done, 1);
}

TEST_F(Prepared, SaysWhenTheNetworkIsGone) {
    makeSums(3);
    PreparedEvaluation evaluation(*network, "sum2");
    PreparedEvaluation neverRun(*network, "sum2");
    evaluation.run();
    network.reset();
    expectResult(evaluation.run(), RunStatus::NetworkGone, 0);
    expectResult(neverRun.run(), RunStatus::NetworkGone, 0);
}

TEST_F(Prepared, KeepsValuesInSightOfThePorts) {
    makeSums(3);
    input("sum0", "in1").set(7.0);
    {
        PreparedEvaluation evaluation(*network, "sum2");
        evaluation.run();
        EXPECT_EQ(input("sum0", "in1").get(), 7.0);
        EXPECT_EQ(input("sum1", "in1").get(), 8.0);
        EXPECT_EQ(output("sum1"), 9.0);
        input("sum0", "in1").getRef() = 8.0;
        network->getNode("sum0")->setDirty(true);
        evaluation.run();
        EXPECT_EQ(output("sum2"), 11.0);
    }
    EXPECT_EQ(input("sum0", "in1").get(), 8.0);
    EXPECT_EQ(output("sum2"), 11.0);
    EXPECT_FALSE(network->getNode("sum2")->isDirty());
    network->getNode("sum1")->setDirty(true);
    network->computeNode("sum2");
    EXPECT_EQ(output("sum2"), 11.0);
}

TEST_F(Prepared, KeepsValuesWhenNodesGo) {
    makeSums(3);
    input("sum0", "in1").set(7.0);
    PreparedEvaluation evaluation(*network, "sum2");
    evaluation.run();
    network->deleteNode("sum1");
    EXPECT_EQ(input("sum0", "in1").get(), 7.0);
    EXPECT_EQ(output("sum0"), 8.0);
    EXPECT_EQ(output("sum2"), 10.0);
}

TEST_F(Prepared, SharesWhatIsPrepared) {
    makeSums(4);
    PreparedEvaluation whole(*network, "sum3");
    PreparedEvaluation half(*network, "sum1");
    whole.run();
    input("sum0", "in1").set(1.0);
    expectResult(half.run(), RunStatus::Done, 2);
    expectResult(whole.run(), RunStatus::Done, 2);
    EXPECT_EQ(output("sum3"), 5.0);
    network->renameNode("sum0", "renamed");
    network->getNode("renamed")->setDirty(true);
    expectResult(whole.run(), RunStatus::Done, 4);
    expectResult(half.run(), RunStatus::Done, 0);
}

TEST_F(Prepared, GoesOnBesideComputeNode) {
    makeSums(4);
    PreparedEvaluation evaluation(*network, "sum3");
    evaluation.run();
    input("sum0", "in1").set(1.0);
    network->computeNode("sum1");
    expectResult(evaluation.run(), RunStatus::Done, 2);
    network->computeNode("sum3");
    EXPECT_EQ(output("sum3"), 5.0);
}

TEST_F(Prepared, MayBeginAndEndBetweenOtherEvaluations) {
    makeSums(100);
    network->cacheNodeNetwork("sum99");
    double first = 0.0;
    for (const bool inParallel : {false, true}) {
        for (const bool cached : {false, true}) {
            const auto expectCurrent = [&] {
                // Often enough for whatever is planned.
                for (int time = 0; time < 20; ++time) {
                    first += 1.0;
                    input("sum0", "in1").set(first);
                    network->computeNode("sum99", nullptr, inParallel, cached);
                    ASSERT_EQ(output("sum99"), 100.0 + first) << inParallel << cached;
                }
            };
            expectCurrent();
            {
                PreparedEvaluation evaluation(*network, "sum99");
                evaluation.run();
                expectCurrent();
            }
            expectCurrent();
        }
    }
}

TEST_F(Prepared, ReadsStorageOutside) {
    makeSums(3);
    double outside = 100.0;
    PreparedEvaluation evaluation(*network, "sum2");
    evaluation.run();
    input("sum0", "in1").setLink(&outside);
    network->getNode("sum0")->setDirty(true);
    evaluation.run();
    EXPECT_EQ(output("sum2"), 103.0);
    outside = 200.0;
    network->getNode("sum0")->setDirty(true);
    evaluation.run();
    EXPECT_EQ(output("sum2"), 203.0);
    input("sum0", "in1").setLink(nullptr);
    network->getNode("sum0")->setDirty(true);
    evaluation.run();
    EXPECT_EQ(output("sum2"), 3.0);
}

TEST_F(Prepared, LetsAnExceptionThroughAndCompletesAfterwards) {
    makeDiamond();
    auto& b = dynamic_cast<Pipe&>(*network->getNode("b"));
    b.onCompute = [] { throw std::runtime_error("b"); };
    PreparedEvaluation evaluation(*network, "d");
    EXPECT_THROW(evaluation.run(), std::runtime_error);
    EXPECT_TRUE(network->getNode("b")->isDirty());
    EXPECT_TRUE(network->getNode("d")->isDirty());
    EXPECT_FALSE(network->getNode("a")->isDirty());
    b.onCompute = nullptr;
    takeComputed();
    evaluation.run();
    EXPECT_EQ(output("d"), 5.0);
    const Names names = takeComputed();
    EXPECT_EQ(names.front(), "b");
    EXPECT_EQ(names.back(), "d");
}

TEST_F(Prepared, RefusesToRunWithinARun) {
    makeDiamond();
    PreparedEvaluation evaluation(*network, "d");
    PreparedEvaluation other(*network, "c");
    RunResult inner, otherInner;
    dynamic_cast<Pipe&>(*network->getNode("b")).onCompute = [&] {
        inner = evaluation.run();
        otherInner = other.run();
    };
    expectResult(evaluation.run(), RunStatus::Done, 4);
    expectResult(inner, RunStatus::Busy, 0);
    expectResult(otherInner, RunStatus::Busy, 0);
    expectResult(evaluation.run(), RunStatus::Done, 0);
}

TEST_F(Prepared, SurvivesNodesThatDeleteOthers) {
    makeDiamond();
    probe<Pipe>("e");
    link("d", "e", "in1");
    dynamic_cast<Pipe&>(*network->getNode("b")).onCompute = [&] {
        network->deleteNode("c");
        network->deleteNode("d");
    };
    PreparedEvaluation evaluation(*network, "e");
    EXPECT_EQ(evaluation.run().status, RunStatus::Done);
    EXPECT_FALSE(network->getNode("e")->isDirty());
    EXPECT_EQ(output("e"), 1.0);
}

TEST_F(Prepared, SurvivesNodesThatDeleteTheTarget) {
    makeDiamond();
    dynamic_cast<Pipe&>(*network->getNode("b")).onCompute = [&] { network->deleteNode("d"); };
    PreparedEvaluation evaluation(*network, "d");
    EXPECT_EQ(evaluation.run().status, RunStatus::TargetGone);
}

/// An input that may have outlived its owner allows of no prepared order.
TEST_F(Prepared, SaysWhenTheTargetGoesWhereItWalksAfresh) {
    makeDiamond();
    Sum& odd = probe<Sum>("odd");
    odd.getInputPort("in2")->setNode(nullptr);
    odd.getInputPort("in2")->setNode(&odd);
    link("odd", "a", "in1");
    dynamic_cast<Pipe&>(*network->getNode("b")).onCompute = [&] { network->deleteNode("d"); };
    PreparedEvaluation evaluation(*network, "d");
    EXPECT_EQ(evaluation.run().status, RunStatus::TargetGone);
}

TEST_F(Prepared, ComputesANodeThatStandsWhereAComputedOneStood) {
    for (const char* name : {"a", "t"}) {
        network->createNode("AddDouble", name);
    }
    probe<Sum>("x");
    Sum& meddler = probe<Sum>("meddler");
    link("x", "a", "in1");
    link("a", "meddler", "in1");
    link("meddler", "t", "in1");
    meddler.getInputPort("in2")->setNode(nullptr);
    meddler.getInputPort("in2")->setNode(&meddler);
    bool isSamePlace = false;
    std::string name;
    meddler.onCompute = [&] {
        const Node* old = network->getNode("x");
        if (old == nullptr) {
            return;
        }
        network->deleteNode("x");
        Node* made = &probe<Sum>("y");
        for (int tries = 0; tries < 100 && made != old; ++tries) {
            made = &probe<Sum>("y");
        }
        isSamePlace = made == old;
        name = made->name();
        input(name, "in1").set(10.0);
        network->connectAttr(name, "out", "t", "in2");
    };
    EXPECT_EQ(PreparedEvaluation(*network, "t").run().status, RunStatus::Done);
    if (!isSamePlace) {
        GTEST_SKIP() << "memory is not given out again so soon";
    }
    EXPECT_GE(output(name), 10.0);
    EXPECT_EQ(output("t"), output(name) + output("meddler"));
}

TEST_F(Prepared, ComputesNodesThatAreMarkedOnTheWay) {
    makeDiamond();
    PreparedEvaluation evaluation(*network, "d");
    evaluation.run();
    takeComputed();
    dynamic_cast<Pipe&>(*network->getNode("a")).onCompute = [&] { network->getNode("c")->setDirty(true); };
    network->getNode("a")->setDirtyFlag();
    expectResult(evaluation.run(), RunStatus::Done, 3);
    dynamic_cast<Pipe&>(*network->getNode("a")).onCompute = nullptr;
    dynamic_cast<Sum&>(*network->getNode("d")).onCompute = [&] { network->getNode("a")->setDirtyFlag(); };
    network->getNode("d")->setDirty(true);
    expectResult(evaluation.run(), RunStatus::Done, 1);
    expectResult(evaluation.run(), RunStatus::Done, 1);
}

TEST_F(Prepared, CrossesIntoOtherNetworks) {
    NetworkManager other;
    Node* source = other.createNode("AddDouble", "source");
    makeSums(3);
    auto& in = input("sum0", "in1");
    ASSERT_TRUE(source->getOutputPort("out")->connectTo(&in));
    auto& sourceIn = dynamic_cast<PortTemplate<double>&>(*source->getInputPort("in1"));
    PreparedEvaluation evaluation(*network, "sum2");
    sourceIn.set(10.0);
    expectResult(evaluation.run(), RunStatus::Done, 4);
    EXPECT_EQ(output("sum2"), 13.0);
    sourceIn.set(20.0);
    expectResult(evaluation.run(), RunStatus::Done, 4);
    EXPECT_EQ(output("sum2"), 23.0);
    in.disconnectFrom(source->getOutputPort("out"));
}

TEST_F(Prepared, FindsDirtyNodesOfOtherNetworksBehindCleanOnes) {
    NetworkManager other;
    Node* source = other.createNode("AddDouble", "source");
    makeSums(3);
    auto& in = input("sum0", "in1");
    ASSERT_TRUE(source->getOutputPort("out")->connectTo(&in));
    PreparedEvaluation evaluation(*network, "sum2");
    evaluation.run();
    // This network hears nothing of it.
    source->setDirtyFlag();
    expectResult(evaluation.run(), RunStatus::Done, 1);
    EXPECT_FALSE(source->isDirty());
    in.disconnectFrom(source->getOutputPort("out"));
}

TEST_F(Prepared, FollowsListsThatAreEditedByHand) {
    makeSums(2);
    network->createNode("AddDouble", "later");
    link("sum1", "later", "in1");
    PreparedEvaluation evaluation(*network, "later");
    auto& peers = input("later", "in1").getConnections();
    auto& sum1Peers = network->getNode("sum1")->getOutputPort("out")->getConnections();
    auto& sum0Peers = network->getNode("sum0")->getOutputPort("out")->getConnections();
    evaluation.run();
    EXPECT_EQ(output("later"), 2.0);
    peers = {network->getNode("sum0")->getOutputPort("out")};
    sum1Peers.clear();
    sum0Peers.push_back(&input("later", "in1"));
    network->getNode("later")->setDirty(true);
    evaluation.run();
    EXPECT_EQ(output("later"), 1.0);
}

/// Each time that it is looked for, the log says so.
TEST_F(Prepared, LooksForTheWayThroughACircleOnce) {
    makeSums(5);
    auto& first = input("sum0", "in2");
    auto& last = *network->getNode("sum4")->getOutputPort("out");
    first.getConnections().push_back(&last);
    last.getConnections().push_back(&first);
    PreparedEvaluation evaluation(*network, Names{"sum4", "sum2"});
    expectResult(evaluation.run(), RunStatus::Done, 5);
    EXPECT_EQ(takeLog().size(), 1U);
}

TEST_F(Prepared, TellsNodesOfOtherNetworksApartThatBearTheSameNames) {
    makeSums(1);
    // More than a few of them feed one node, too.
    std::vector<std::unique_ptr<NetworkManager>> others;
    auto& reader = *new tests::Probe<double, 12>;
    network->addNode(&reader, "reader");
    link("sum0", "reader", "in1");
    for (std::size_t i = 1; i < 12; ++i) {
        others.push_back(std::make_unique<NetworkManager>());
        Node* source = others.back()->createNode("AddDouble", "sum0");
        dynamic_cast<PortTemplate<double>&>(*source->getInputPort("in1")).set(static_cast<double>(i));
        ASSERT_TRUE(source->getOutputPort("out")->connectTo(reader.in(i)));
    }
    Told told;
    PreparedEvaluation evaluation(*network, Names{"sum0", "reader"});
    expectResult(evaluation.run(nullptr, tellingTo(told)), RunStatus::Done, 13);
    // One more than the sources' sum, the first of which shows its default values.
    EXPECT_EQ(output("reader"), 1.0 + output("sum0") + 66.0);
    ASSERT_EQ(told.size(), 13U);
    for (std::size_t i = 0; i < told.size(); ++i) {
        EXPECT_EQ(told[i], Told::value_type(i + 1, 13));
    }
    for (std::size_t i = 1; i < 12; ++i) {
        ASSERT_TRUE(reader.in(i)->disconnectFrom(others[i - 1]->getNode("sum0")->getOutputPort("out")));
    }
}

TEST_F(Prepared, CountsANodeThatIsMetOnSeveralWaysOnceInItsProgress) {
    makeSums(1);
    TessilGraph::BufferDouble source;  // In no network.
    network->createNode("AddDouble", "reader");
    ASSERT_TRUE(source.outputPort()->connectTo(&input("sum0", "in1")));
    ASSERT_TRUE(source.outputPort()->connectTo(&input("reader", "in1")));
    link("sum0", "reader", "in2");
    probe<Pipe>("last");
    link("reader", "last", "in1");
    Told told;
    PreparedEvaluation evaluation(*network, Names{"reader", "last"});
    expectResult(evaluation.run(nullptr, tellingTo(told)), RunStatus::Done, 4);
    EXPECT_EQ(told, (Told{{1, 4}, {2, 4}, {3, 4}, {4, 4}}));
    ASSERT_TRUE(source.outputPort()->disconnectFrom(&input("sum0", "in1")));
    ASSERT_TRUE(source.outputPort()->disconnectFrom(&input("reader", "in1")));
}

TEST_F(Prepared, FindsATargetThatGetsItsNameFromANodeBesideOnesOfOtherNetworks) {
    TessilGraph::BufferDouble source;  // In no network.
    auto& first = probe<Pipe>("first");
    probe<Pipe>("other");
    ASSERT_TRUE(source.outputPort()->connectTo(first.in()));
    first.onCompute = [this] { network->renameNode("other", "late"); };
    PreparedEvaluation evaluation(*network, Names{"first", "late"});
    expectResult(evaluation.run(), RunStatus::Done, 3);
    EXPECT_FALSE(network->getNode("late")->isDirty());
    ASSERT_TRUE(source.outputPort()->disconnectFrom(first.in()));
}

TEST_F(Prepared, FollowsListsOfLinksThatWereLentLongAgo) {
    makeSums(2);
    network->createNode("AddDouble", "later");
    auto& peers = input("later", "in1").getConnections();
    auto& sum1Peers = network->getNode("sum1")->getOutputPort("out")->getConnections();
    // A link has the lists looked through; from here on nobody expects edits of them.
    network->createNode("AddDouble", "extra");
    link("sum0", "extra", "in1");
    PreparedEvaluation evaluation(*network, "later");
    evaluation.run();
    EXPECT_EQ(output("later"), 0.0);
    peers.push_back(network->getNode("sum1")->getOutputPort("out"));
    sum1Peers.push_back(&input("later", "in1"));
    network->getNode("later")->setDirty(true);
    expectResult(evaluation.run(), RunStatus::Done, 3);
    EXPECT_EQ(output("later"), 2.0);
}

TEST_F(Prepared, FollowsListsOfPortsThatWereLentLongAgo) {
    makeDiamond();
    Node& d = *network->getNode("d");
    const auto first = d.inputPortBegin();
    TessilGraph::Port* in1 = *first;
    TessilGraph::Port* in2 = *(first + 1);
    *first = in2;
    PreparedEvaluation evaluation(*network, "d");
    expectResult(evaluation.run(), RunStatus::Done, 3);
    EXPECT_TRUE(network->getNode("b")->isDirty());
    *first = in1;
    d.setDirty(true);
    expectResult(evaluation.run(), RunStatus::Done, 2);
    EXPECT_FALSE(network->getNode("b")->isDirty());
    EXPECT_EQ(output("d"), 5.0);
}

TEST_F(Prepared, FollowsInputsThatAHostPutsInPlaceOfOthers) {
    makeDiamond();
    Node& b = *network->getNode("b");
    const auto place = b.inputPortBegin();
    TessilGraph::Port* in1 = *place;
    TessilGraph::Port* out = network->getNode("a")->getOutputPort("out");
    ASSERT_TRUE(in1->disconnectFrom(out));
    PortTemplate<double> foreign("foreign");
    foreign.setNode(&b);
    *place = &foreign;
    PreparedEvaluation evaluation(*network, "b");
    expectResult(evaluation.run(), RunStatus::Done, 1);
    // The network hears of this neither from the input nor from the output.
    foreign.getConnections().push_back(out);
    b.setDirtyFlag();
    expectResult(evaluation.run(), RunStatus::Done, 2);
    foreign.reset();
    network->getNode("a")->setDirtyFlag();
    b.setDirtyFlag();
    expectResult(evaluation.run(), RunStatus::Done, 1);
    *place = in1;
}

TEST_F(Prepared, FollowsAnInputThatIsTakenOutAndLinkedElsewhere) {
    makeSums(3);
    PreparedEvaluation evaluation(*network, "sum2");
    evaluation.run();
    auto& in1 = input("sum1", "in1");
    network->getNode("sum1")->removeInputPort("in1");
    ASSERT_TRUE(in1.disconnectFrom(network->getNode("sum0")->getOutputPort("out")));
    network->createNode("AddDouble", "extra");
    input("extra", "in1").set(10.0);
    network->computeNode("extra");
    ASSERT_TRUE(in1.connectTo(network->getNode("extra")->getOutputPort("out")));
    network->getNode("sum1")->setDirty(true);
    expectResult(evaluation.run(), RunStatus::Done, 2);
    EXPECT_EQ(output("sum2"), 12.0);
    in1.reset();
    network->getNode("sum1")->setDirty(true);
    evaluation.run();
    EXPECT_EQ(output("sum2"), 2.0);
    network->getNode("sum1")->addInputPort(&in1);
}

TEST_F(Prepared, FollowsAnOutputThatIsTakenOutAndLinkedElsewhere) {
    makeSums(3);
    PreparedEvaluation evaluation(*network, "sum2");
    evaluation.run();
    auto* out = dynamic_cast<PortTemplate<double>*>(network->getNode("sum0")->getOutputPort("out"));
    network->getNode("sum0")->removeOutputPort("out");
    out->set(5.0);
    network->getNode("sum1")->setDirty(true);
    evaluation.run();
    EXPECT_EQ(output("sum2"), 7.0);
    ASSERT_TRUE(input("sum1", "in1").disconnectFrom(out));
    ASSERT_TRUE(input("sum2", "in1").disconnectFrom(network->getNode("sum1")->getOutputPort("out")));
    ASSERT_TRUE(out->connectTo(&input("sum2", "in1")));
    network->getNode("sum2")->setDirty(true);
    evaluation.run();
    EXPECT_EQ(output("sum2"), 6.0);
    out->set(6.0);
    network->getNode("sum2")->setDirty(true);
    evaluation.run();
    EXPECT_EQ(output("sum2"), 7.0);
    network->getNode("sum0")->addOutputPort(out);
}

TEST_F(Prepared, CountsWhatItCutsOffAsDone) {
    makeSums(2);
    probe<Pipe>("pipe");
    link("sum1", "pipe", "in1");
    Told told;
    RunOptions options = tellingTo(told);
    options.cutOff = true;
    PreparedEvaluation evaluation(*network, "pipe");
    evaluation.run(nullptr, options);
    told.clear();
    input("sum0", "in1").set(0.0);
    expectResult(evaluation.run(nullptr, options), RunStatus::Done, 1);
    ASSERT_FALSE(told.empty());
    EXPECT_EQ(told.back(), Told::value_type(3, 3));
    for (std::size_t i = 1; i < told.size(); ++i) {
        EXPECT_GT(told[i].first, told[i - 1].first);
    }
}

TEST_F(Prepared, TellsEachNumberOnceWhereItCutsOff) {
    makeDiamond();
    Told told;
    RunOptions options = tellingTo(told);
    options.cutOff = true;
    PreparedEvaluation evaluation(*network, "d");
    expectResult(evaluation.run(nullptr, options), RunStatus::Done, 4);
    EXPECT_EQ(told, (Told{{1, 4}, {2, 4}, {3, 4}, {4, 4}}));
}

TEST_F(Prepared, CutsOffNoNodeThatReadsStorageOutside) {
    double outside = 1.0;
    makeSums(3);
    input("sum1", "in2").setLink(&outside);
    RunOptions options;
    options.cutOff = true;
    PreparedEvaluation evaluation(*network, "sum2");
    evaluation.run(nullptr, options);
    outside = 50.0;
    // The source of sum1 comes out as it was.
    network->getNode("sum0")->setDirty(true);
    evaluation.run(nullptr, options);
    EXPECT_EQ(output("sum2"), 52.0);
}

TEST_F(Prepared, CutsOffNothingThatOtherEvaluationsTookNoticeOf) {
    makeSums(100);
    RunOptions options;
    options.cutOff = true;
    PreparedEvaluation evaluation(*network, "sum99");
    evaluation.run(nullptr, options);
    network->cacheNodeNetwork("sum60");
    double first = 0.0;
    const auto expectCurrentAfter = [&](const std::string& node, bool inParallel, bool cached) {
        // Often enough for whatever is planned.
        for (int time = 0; time < 40; ++time) {
            first += 1.0;
            input("sum0", "in1").set(first);
            network->computeNode(node, nullptr, inParallel, cached);
            evaluation.run(nullptr, options);
            ASSERT_EQ(output("sum99"), 100.0 + first) << node;
        }
    };
    expectCurrentAfter("sum50", !parallel, !useCache);
    expectCurrentAfter("sum60", !parallel, useCache);
    expectCurrentAfter("sum70", parallel, !useCache);
}

TEST_F(Prepared, TakesNanForTheSameAndZerosOfDifferentSignsForDifferent) {
    makeSums(2);
    probe<Pipe>("after");
    link("sum1", "after", "in1");
    RunOptions options;
    options.cutOff = true;
    PreparedEvaluation evaluation(*network, "after");
    const auto computedAfter = [&](double value, double other) {
        input("sum0", "in1").set(value);
        input("sum0", "in2").set(other);
        input("sum1", "in2").set(-0.0);
        evaluation.run(nullptr, options);
        input("sum0", "in1").set(other);
        input("sum0", "in2").set(value);
        takeComputed();
        evaluation.run(nullptr, options);
        return takeComputed().size();
    };
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(computedAfter(notANumber, 1.0), 0u);
    EXPECT_EQ(computedAfter(2.0, 3.0), 0u);
    input("sum0", "in1").set(0.0);
    input("sum0", "in2").set(0.0);
    evaluation.run(nullptr, options);
    input("sum0", "in1").set(-0.0);
    input("sum0", "in2").set(-0.0);
    takeComputed();
    evaluation.run(nullptr, options);
    EXPECT_EQ(takeComputed().size(), 1u);
}

TEST_F(Prepared, AsksANodeWhosePortsAHostExchanged) {
    makeSums(2);
    PreparedEvaluation evaluation(*network, "sum1");
    evaluation.run();
    Node* sum = network->getNode("sum0");
    // compute goes on using the port that was taken away.
    std::unique_ptr<TessilGraph::Port> taken(sum->getInputPort("in1"));
    sum->removeInputPort("in1");
    sum->addInputPort(new PortTemplate<double>("in1"));
    dynamic_cast<PortTemplate<double>&>(*taken).set(5.0);
    input("sum0", "in1").set(70.0);
    evaluation.run();
    EXPECT_EQ(output("sum1"), 7.0);
}

TEST_F(Prepared, AsksNodesOfAHostThatDeriveFromBuiltInOnes) {
    class Doubled : public TessilGraph::BufferDouble {
    public:
        bool compute(const TessilGraph::ComputeData*) override {
            outputPort()->set(2.0 * inputPort()->get());
            return true;
        }
    };
    auto* doubled = new Doubled;
    network->addNode(doubled, "doubled");
    doubled->inputPort()->set(4.0);
    PreparedEvaluation(*network, "doubled").run();
    EXPECT_EQ(output("doubled"), 8.0);
}

TEST_F(Prepared, CanBeMoved) {
    makeSums(2);
    PreparedEvaluation evaluation(*network, "sum1");
    evaluation.run();
    PreparedEvaluation other = std::move(evaluation);
    input("sum0", "in1").set(1.0);
    expectResult(other.run(), RunStatus::Done, 2);
}

TEST_F(Prepared, HasNoNetworkOnceItWasMovedFrom) {
    PreparedEvaluation evaluation(*network, "sum1");
    const PreparedEvaluation other = std::move(evaluation);
    // NOLINTNEXTLINE(bugprone-use-after-move): that is what this is about.
    expectResult(evaluation.run(), RunStatus::NetworkGone, 0);
    EXPECT_TRUE(evaluation.targets().empty());
}

TEST_F(Prepared, NodesMayWireInTheirCompute) {
    makeDiamond();
    probe<Pipe>("extra");
    dynamic_cast<Pipe&>(*network->getNode("a")).onCompute = [&] {
        network->disconnectAttr("b", "out", "d", "in1");
        network->connectAttr("extra", "out", "d", "in1");
    };
    PreparedEvaluation evaluation(*network, "d");
    EXPECT_EQ(evaluation.run().status, RunStatus::Done);
    EXPECT_FALSE(network->getNode("extra")->isDirty());
    EXPECT_EQ(output("d"), 4.0);
    takeLog();
}

TEST_F(Prepared, TellsWhatIsStillToBeDoneAfterNodesWired) {
    makeDiamond();
    probe<Pipe>("more");
    probe<Pipe>("extra");
    link("more", "extra", "in1");
    dynamic_cast<Pipe&>(*network->getNode("a")).onCompute = [&] { network->connectAttr("extra", "out", "a", "in1"); };
    Told told;
    PreparedEvaluation evaluation(*network, "d");
    expectResult(evaluation.run(nullptr, tellingTo(told)), RunStatus::Done, 6);
    EXPECT_EQ(told, (Told{{1, 4}, {2, 6}, {3, 6}, {4, 6}, {5, 6}, {6, 6}}));
}

TEST_F(Prepared, SurvivesProgressThatChangesTheNetwork) {
    makeDiamond();
    RunOptions options;
    options.progress = [this](std::uint64_t, std::uint64_t) {
        network->deleteNode("b");
        network->deleteNode("c");
    };
    PreparedEvaluation evaluation(*network, "d");
    EXPECT_EQ(evaluation.run(nullptr, options).status, RunStatus::Done);
    EXPECT_EQ(network->getNodeNames(), (Names{"a", "d"}));
    EXPECT_FALSE(network->getNode("d")->isDirty());
    EXPECT_EQ(output("d"), 1.0);
}

/// The same with nodes that are computed by dozens, without being asked.
TEST_F(Prepared, SurvivesProgressThatChangesANetworkOfTinyNodes) {
    makeSums(300);
    PreparedEvaluation evaluation(*network, "sum299");
    evaluation.run();
    network->setAllNodeDirty();
    RunOptions options;
    options.progress = [this](std::uint64_t, std::uint64_t) { network->deleteNode("sum200"); };
    EXPECT_EQ(evaluation.run(nullptr, options).status, RunStatus::Done);
    EXPECT_FALSE(network->getNode("sum299")->isDirty());
    EXPECT_EQ(output("sum299"), 99.0);
}

TEST_F(Prepared, CanBeCancelledAfterNodesWired) {
    makeDiamond();
    CancelToken token;
    RunOptions options;
    options.cancel = &token;
    dynamic_cast<Pipe&>(*network->getNode("a")).onCompute = [&] { network->disconnectAttr("b", "out", "d", "in1"); };
    dynamic_cast<Pipe&>(*network->getNode("c")).onCompute = [&] { token.cancel(); };
    PreparedEvaluation evaluation(*network, "d");
    EXPECT_EQ(evaluation.run(nullptr, options).status, RunStatus::Cancelled);
    EXPECT_FALSE(network->getNode("c")->isDirty());
    EXPECT_TRUE(network->getNode("d")->isDirty());
    token.reset();
    expectResult(evaluation.run(nullptr, options), RunStatus::Done, 1);
    EXPECT_EQ(output("d"), 3.0);
}

TEST_F(Prepared, SurvivesOutputsThatANodePutsAwayWhereItCutsOff) {
    makeDiamond();
    RunOptions options;
    options.cutOff = true;
    Node& node = *network->getNode("a");
    TessilGraph::Port* output = *node.outputPortBegin();
    dynamic_cast<Pipe&>(node).onCompute = [&node] { *node.outputPortBegin() = nullptr; };
    PreparedEvaluation evaluation(*network, "d");
    EXPECT_EQ(evaluation.run(nullptr, options).status, RunStatus::Done);
    *node.outputPortBegin() = output;
    EXPECT_FALSE(network->getNode("d")->isDirty());
}

TEST_F(Prepared, CutsOffNothingBehindPortsWhoseValueItCannotCompare) {
    makeDiamond();
    Node& a = *network->getNode("a");
    RunOptions options;
    options.cutOff = true;
    PreparedEvaluation evaluation(*network, "b");
    for (TessilGraph::Port* port : {new TessilGraph::Port("bare"),
                                    static_cast<TessilGraph::Port*>(new PortTemplate<TessilUtils::Curve>("curve"))}) {
        a.addOutputPort(port);
        evaluation.run(nullptr, options);
        takeComputed();
        a.setDirty(true);
        evaluation.run(nullptr, options);
        EXPECT_EQ(takeComputed(), (Names{"a", "b"})) << port->name();
        a.removeOutputPort(port->name());
        delete port;
    }
}

TEST_F(Prepared, CutsOffBehindArraysThatHoldTheSameElements) {
    makeDiamond();
    auto* list = new PortTemplate<std::vector<double>>("list");
    auto& a = dynamic_cast<Pipe&>(*network->getNode("a"));
    a.addOutputPort(list);
    RunOptions options;
    options.cutOff = true;
    PreparedEvaluation evaluation(*network, "b");
    const auto computedWith = [&](const std::vector<double>& values) {
        a.onCompute = [&] { list->set(values); };
        a.setDirty(true);
        takeComputed();
        evaluation.run(nullptr, options);
        return takeComputed();
    };
    const Names both = {"a", "b"};
    EXPECT_EQ(computedWith({1.0, 2.0}), both);
    EXPECT_EQ(computedWith({1.0, 2.0}), Names{"a"});
    EXPECT_EQ(computedWith({1.0, 3.0}), both);
    EXPECT_EQ(computedWith({0.0, 3.0}), both);
    EXPECT_EQ(computedWith({0.0, 3.0, 4.0}), both);
    EXPECT_EQ(computedWith({}), both);
    EXPECT_EQ(computedWith({}), Names{"a"});
}

TEST_F(Prepared, SurvivesATargetThatIsNeverThere) {
    PreparedEvaluation evaluation(*network, "nobody");
    expectResult(evaluation.run(), RunStatus::TargetGone, 0);
    PreparedEvaluation none(*network, Names{});
    expectResult(none.run(), RunStatus::Done, 0);
}
