#include <TessilGraph/graph/NetworkManager.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/HowToCompute.h>
#include <tests/support/Levels.h>
#include <tests/support/ProbeNetwork.h>
#include <tests/support/ProbeNode.h>
#include <tests/support/Seeds.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace TessilGraph {
namespace {

using tests::expectedLevels;
using tests::Messages;
using tests::parallel;
using tests::Pipe;
using tests::ProbeNode;
using tests::serial;
using tests::Source;
using tests::Sum;
using tests::Sum3;
using tests::takeComputed;
using tests::takeLog;
using tests::TextPipe;
using tests::TextSource;
using tests::TextSum;

using Names = std::vector<std::string>;

const std::string cycleMessage = "Cycle detected! the connection is not allowed! ";

class ParallelEvaluation : public tests::ProbeNetwork {
protected:
    std::map<std::string, int> counts(const std::string& name) {
        network.computeNode(name, nullptr, parallel);
        std::map<std::string, int> counted;
        for (const std::string& computed : takeComputed()) {
            ++counted[computed];
        }
        return counted;
    }
};

using Counts = std::map<std::string, int>;

TEST_F(ParallelEvaluation, ComputesEveryNodeOfAWideLevelOnce) {
    const int width = 200;
    add<Source>("root");
    Names names;
    for (int index = 0; index < width; ++index) {
        const std::string name = "w" + std::to_string(index);
        add<Pipe>(name);
        connect("root", name);
        names.push_back(name);
    }
    auto* all = new Pipe;
    network.addNode(all, "all");
    for (int index = 1; index < width; ++index) {
        all->addInputPort(new PortTemplate<double>("in" + std::to_string(index + 1)));
    }
    for (int index = 0; index < width; ++index) {
        connect("w" + std::to_string(index), "all", "in" + std::to_string(index + 1));
    }
    for (int round = 0; round < 20; ++round) {
        network.setAllNodeDirty();
        network.computeNode("all", nullptr, parallel);
        Names computed = takeComputed();
        ASSERT_EQ(computed.size(), 2U + width);
        EXPECT_EQ(computed.front(), "root");
        EXPECT_EQ(computed.back(), "all");
        std::sort(computed.begin() + 1, computed.end() - 1);
        Names expected = names;
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(Names(computed.begin() + 1, computed.end() - 1), expected);
        for (Node* node : network.getAllNodes()) {
            EXPECT_FALSE(node->isDirty());
        }
    }
}

TEST_F(ParallelEvaluation, RunsNeighboursOfALevelOneAfterAnotherSourcesFirst) {
    // s to a to b to d, and a to d: the levels are {d} {b, a} {a} and the leaves {s}. In the level
    // {b, a} the node a is computed again while b reads it.
    add<TextSource>("s");
    auto* a = add<TextPipe>("a");
    auto* b = add<TextPipe>("b");
    auto* d = add<TextSum>("d");
    connect("s", "a");
    connect("a", "b");
    connect("b", "d", "in1");
    connect("a", "d", "in2");
    for (int round = 0; round < 300; ++round) {
        a->out()->set(std::string(100, 'x'));
        b->out()->set(std::string(100, 'y'));
        network.setAllNodeDirty();
        network.computeNode("d", nullptr, parallel);
        ASSERT_EQ(takeComputed(), (Names{"s", "a", "a", "b", "d"}));
        ASSERT_EQ(d->out()->get(), "(((()))(()))");
    }
}

TEST_F(ParallelEvaluation, RunsNeighboursInOrderWhereverTheyLieInMemory) {
    // The same wiring over nodes whose addresses stand in every order.
    const Names names = {"s", "a", "b", "d"};
    std::vector<std::size_t> order = {0, 1, 2, 3};
    do {
        network.cleanNetwork();
        std::vector<Sum*> nodes;
        for (int index = 0; index < 4; ++index) {
            nodes.push_back(new Sum);
        }
        std::sort(nodes.begin(), nodes.end());
        for (std::size_t index = 0; index < 4; ++index) {
            network.addNode(nodes[order[index]], names[index]);
        }
        connect("s", "a");
        connect("a", "b");
        connect("b", "d", "in1");
        connect("a", "d", "in2");
        takeComputed();
        network.computeNode("d", nullptr, parallel);
        EXPECT_EQ(takeComputed(), (Names{"s", "a", "a", "b", "d"}));
        EXPECT_EQ(nodes[order[3]]->out()->get(), 6.0);
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(ParallelEvaluation, RunsAChainOfNeighboursInOneLevelInOrder) {
    // n0 to n1 to ... to n5, every one of them also feeds the end: all stand in one level, and again
    // in the next ones.
    const int length = 6;
    add<TextSource>("n");
    auto* end = new TextPipe;
    network.addNode(end, "end");
    for (int index = 0; index < length; ++index) {
        const std::string name = "n" + std::to_string(index);
        add<TextPipe>(name);
        connect(index == 0 ? "n" : "n" + std::to_string(index - 1), name);
        if (index > 0) {
            end->addInputPort(new PortTemplate<std::string>("in" + std::to_string(index + 1)));
        }
        connect(name, "end", "in" + std::to_string(index + 1));
    }
    for (int round = 0; round < 100; ++round) {
        network.setAllNodeDirty();
        network.computeNode("end", nullptr, parallel);
        Names expected = {"n"};
        for (int level = 0; level < length; ++level) {
            for (int index = 0; index <= level; ++index) {
                expected.push_back("n" + std::to_string(index));
            }
        }
        expected.push_back("end");
        ASSERT_EQ(takeComputed(), expected);
    }
}

TEST_F(ParallelEvaluation, RunsACleanNodeBesideItsDirtySourceInOrder) {
    // s to a to b to d and a to d. b is clean: it is not followed, but stands beside a in a level.
    add<TextSource>("s");
    auto* a = add<TextPipe>("a");
    auto* b = add<TextPipe>("b");
    auto* d = add<TextSum>("d");
    connect("s", "a");
    connect("a", "b");
    connect("b", "d", "in1");
    connect("a", "d", "in2");
    for (int round = 0; round < 300; ++round) {
        a->out()->set("stale");
        b->out()->set("stale");
        network.setAllNodeDirty();
        b->setDirty(false);
        network.computeNode("d", nullptr, parallel);
        ASSERT_EQ(takeComputed(), (Names{"s", "a", "b", "d"}));
        ASSERT_EQ(d->out()->get(), "(((()))(()))");
    }
}

TEST_F(ParallelEvaluation, CountsComputesAsTheLevelsSay) {
    add<Source>("s");
    add<Pipe>("a");
    add<Pipe>("b");
    add<Sum>("c");
    add<Sum3>("d");
    connect("s", "a");
    connect("a", "b");
    connect("a", "c", "in1");
    connect("b", "c", "in2");
    connect("c", "d", "in1");
    connect("b", "d", "in2");
    connect("s", "d", "in3");
    // levels: {d} {c, b} {a, b} {a} and the leaves {s}
    EXPECT_EQ(counts("d"), (Counts{{"s", 1}, {"a", 2}, {"b", 2}, {"c", 1}, {"d", 1}}));
    // Everything is clean but d: its sources are computed once more, nothing behind them.
    network.getNode("d")->setDirtyFlag();
    EXPECT_EQ(counts("d"), (Counts{{"s", 1}, {"b", 1}, {"c", 1}, {"d", 1}}));
    network.getNode("d")->setDirtyFlag();
    network.getNode("c")->setDirtyFlag();
    // levels: {d} {c, b} {a, b} and the leaves {s}
    EXPECT_EQ(counts("d"), (Counts{{"s", 1}, {"a", 1}, {"b", 2}, {"c", 1}, {"d", 1}}));
}

TEST_F(ParallelEvaluation, KeepsToItsLevelsAndResultsOnRandomNetworks) {
    for (const unsigned int seed : tests::seeds(60)) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        NetworkManager numbers;
        std::vector<ProbeNode*> nodes;
        const std::size_t size = 5 + random() % 40;
        for (std::size_t index = 0; index < size; ++index) {
            ProbeNode* node = nullptr;
            switch (random() % 4) {
                case 0:
                    node = new Source;
                    break;
                case 1:
                    node = new Pipe;
                    break;
                case 2:
                    node = new Sum;
                    break;
                default:
                    node = new Sum3;
                    break;
            }
            numbers.addNode(node, "n" + std::to_string(index));
            for (auto port = node->inputPortBegin(); port != node->inputPortEnd(); ++port) {
                if (!nodes.empty() && random() % 5 != 0) {
                    const std::size_t reach = std::min<std::size_t>(nodes.size(), 8);
                    ProbeNode* from = nodes[nodes.size() - 1 - random() % reach];
                    ASSERT_TRUE((*port)->connectTo(from->getOutputPort("out")));
                }
            }
            nodes.push_back(node);
        }
        for (int round = 0; round < 5; ++round) {
            for (ProbeNode* node : nodes) {
                if (random() % 3 == 0) {
                    node->setDirty(false);
                } else if (random() % 2 == 0) {
                    node->setDirtyFlag();
                }
            }
            if (round == 0) {
                numbers.setAllNodeDirty();
            }
            ProbeNode* named = nodes[nodes.size() - 1 - random() % std::min<std::size_t>(size, 4)];
            named->setDirtyFlag();
            const std::vector<std::set<Node*>> levels = expectedLevels(named);
            takeComputed();
            numbers.computeNode(named->name(), nullptr, parallel);
            const Names computed = takeComputed();
            std::size_t at = 0;
            for (const std::set<Node*>& level : levels) {
                Names expected;
                for (Node* node : level) {
                    expected.push_back(node->name());
                    EXPECT_FALSE(node->isDirty());
                }
                ASSERT_LE(at + expected.size(), computed.size());
                const auto begin = computed.begin() + static_cast<std::ptrdiff_t>(at);
                const auto end = begin + static_cast<std::ptrdiff_t>(expected.size());
                Names ran(begin, end);
                for (Node* node : level) {
                    const auto mine = std::find(ran.begin(), ran.end(), node->name());
                    for (auto port = node->inputPortBegin(); port != node->inputPortEnd(); ++port) {
                        Port* source = (*port)->input();
                        if (source != nullptr && level.count(source->node()) > 0) {
                            EXPECT_LT(std::find(ran.begin(), ran.end(), source->node()->name()), mine);
                        }
                    }
                }
                std::sort(expected.begin(), expected.end());
                std::sort(ran.begin(), ran.end());
                ASSERT_EQ(ran, expected);
                at += expected.size();
            }
            EXPECT_EQ(at, computed.size());
        }
        // When all is dirty, both ways give the same numbers.
        std::map<std::string, double> results;
        for (const bool way : {serial, parallel}) {
            numbers.setAllNodeDirty();
            numbers.computeNode(nodes.back()->name(), nullptr, way);
            for (ProbeNode* node : nodes) {
                const double value = static_cast<PortTemplate<double>*>(node->getOutputPort("out"))->get();
                if (!node->isDirty()) {
                    EXPECT_EQ(results.emplace(node->name(), value).first->second, value);
                }
            }
        }
        takeComputed();
    }
}

TEST_F(ParallelEvaluation, LetsTheExceptionOfOneNodeThrough) {
    const std::size_t width = 40;
    add<Source>("root");
    auto* all = new Pipe;
    network.addNode(all, "all");
    std::vector<Pipe*> wide;
    for (std::size_t index = 0; index < width; ++index) {
        const std::string number = std::to_string(index + 1);
        wide.push_back(add<Pipe>("w" + number));
        connect("root", "w" + number);
        if (index > 0) {
            all->addInputPort(new PortTemplate<double>("in" + number));
        }
        connect("w" + number, "all", "in" + number);
    }
    for (std::size_t failing = 0; failing < width; failing += 7) {
        network.setAllNodeDirty();
        wide[failing]->onCompute = [failing] { throw std::runtime_error(std::to_string(failing)); };
        try {
            network.computeNode("all", nullptr, parallel);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), std::to_string(failing));
        }
        EXPECT_TRUE(wide[failing]->isDirty());
        EXPECT_TRUE(all->isDirty());
        EXPECT_FALSE(network.getNode("root")->isDirty());
        const Names computed = takeComputed();
        EXPECT_EQ(computed.front(), "root");
        EXPECT_EQ(std::count(computed.begin(), computed.end(), "all"), 0);
        for (Pipe* node : wide) {
            const bool ran = std::count(computed.begin(), computed.end(), node->name()) == 1;
            EXPECT_EQ(node->isDirty(), !ran || node == wide[failing]) << node->name();
        }
        wide[failing]->onCompute = nullptr;
        network.computeNode("all", nullptr, serial);
        EXPECT_FALSE(all->isDirty());
        EXPECT_EQ(all->out()->get(), 3.0);  // It adds up its first input only.
        takeComputed();
    }
}

TEST_F(ParallelEvaluation, LetsOneOfSeveralExceptionsThrough) {
    const std::size_t width = 40;
    add<Source>("root");
    auto* all = new Pipe;
    network.addNode(all, "all");
    std::vector<Pipe*> wide;
    for (std::size_t index = 0; index < width; ++index) {
        const std::string number = std::to_string(index + 1);
        wide.push_back(add<Pipe>("w" + number));
        connect("root", "w" + number);
        if (index > 0) {
            all->addInputPort(new PortTemplate<double>("in" + number));
        }
        connect("w" + number, "all", "in" + number);
    }
    for (int round = 0; round < 50; ++round) {
        network.setAllNodeDirty();
        for (Pipe* node : wide) {
            node->onCompute = [node] { throw std::runtime_error(node->name()); };
        }
        try {
            network.computeNode("all", nullptr, parallel);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_NE(network.getNode(error.what()), nullptr);
        }
        for (Pipe* node : wide) {
            EXPECT_TRUE(node->isDirty());
            node->onCompute = nullptr;
        }
        EXPECT_TRUE(all->isDirty());
        network.computeNode("all", nullptr, parallel);
        EXPECT_FALSE(all->isDirty());
    }
    takeComputed();
}

TEST_F(ParallelEvaluation, GoesNoFurtherThanTheNeighbourThatThrows) {
    // a and b stand in one level, and a feeds b.
    add<Source>("s");
    auto* a = add<Pipe>("a");
    auto* b = add<Pipe>("b");
    auto* d = add<Sum>("d");
    connect("s", "a");
    connect("a", "b");
    connect("b", "d", "in1");
    connect("a", "d", "in2");
    int calls = 0;
    a->onCompute = [&calls] {
        if (++calls == 2) {
            throw std::runtime_error("second time");
        }
    };
    EXPECT_THROW(network.computeNode("d", nullptr, parallel), std::runtime_error);
    EXPECT_EQ(takeComputed(), (Names{"s", "a", "a"}));
    EXPECT_TRUE(b->isDirty());
    EXPECT_TRUE(d->isDirty());
    network.computeNode("d", nullptr, parallel);
    EXPECT_FALSE(d->isDirty());
    EXPECT_EQ(d->out()->get(), 6.0);
}

TEST_F(ParallelEvaluation, MayRunInSeveralNetworksAtOnce) {
    const auto evaluate = [] {
        NetworkManager own;
        for (int index = 0; index < 60; ++index) {
            own.createNode("ProbeNumber2", "n" + std::to_string(index));
            if (index > 0) {
                own.connectAttr("n" + std::to_string(index - 1), "out", "n" + std::to_string(index), "in1");
            }
            if (index > 1) {
                own.connectAttr("n" + std::to_string(index - 2), "out", "n" + std::to_string(index), "in2");
            }
        }
        double last = 0.0;
        for (int round = 0; round < 5; ++round) {
            own.setAllNodeDirty();
            own.computeNode("n20", nullptr, round % 2 == 0);
            last = static_cast<PortTemplate<double>*>(own.getNode("n20")->getOutputPort("out"))->get();
        }
        return last;
    };
    std::mutex mutex;
    std::vector<double> results;
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&] {
            const double result = evaluate();
            const std::lock_guard<std::mutex> guard(mutex);
            results.push_back(result);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(results, std::vector<double>(4, 28656.0));
    takeComputed();
}

TEST_F(ParallelEvaluation, EndsWhereNamesakesFromOutsideFeedOneAnother) {
    for (const bool handFirst : {true, false}) {
        for (const char* name : {"", "T"}) {
            SCOPED_TRACE(testing::Message() << handFirst << '"' << name << '"');
            std::vector<std::unique_ptr<Pipe>> strangers;
            for (int index = 0; index < 3; ++index) {
                strangers.push_back(std::make_unique<Pipe>());
                strangers.back()->setName(name);
            }
            const auto linkInACircle = [&] {
                for (const auto& [from, to] : {std::pair<int, int>(1, 2), std::pair<int, int>(2, 1)}) {
                    Port* out = strangers[static_cast<std::size_t>(from)]->out();
                    Port* in = strangers[static_cast<std::size_t>(to)]->in();
                    out->getConnections().push_back(in);
                    in->getConnections().push_back(out);
                }
            };
            auto* target = add<Sum>("T");
            if (handFirst) {
                linkInACircle();
            }
            ASSERT_TRUE(strangers[0]->out()->connectTo(target->in(0)));
            ASSERT_TRUE(strangers[1]->out()->connectTo(target->in(1)));
            if (!handFirst) {
                linkInACircle();
            }
            network.computeNode("T", nullptr, parallel);
            EXPECT_EQ(takeLog(), Messages{"Cycle detected! each of its nodes is computed at most once "});
            EXPECT_FALSE(target->isDirty());
            EXPECT_EQ(target->computes, 1);
            for (const std::unique_ptr<Pipe>& stranger : strangers) {
                EXPECT_LE(stranger->computes, 1);
            }
            takeComputed();
            network.deleteNode("T");
            EXPECT_EQ(strangers[1]->out()->numConnections(), 1U);
        }
    }
}

TEST_F(ParallelEvaluation, LeavesEverythingDirtyDownstreamOfANodeThatThrowsTheSecondTime) {
    // s to a to b to c to d, and a to d: a stands beside c in the level before d, and in the first one.
    // e and f, which nobody asked for, hang on a and on b.
    add<Source>("s");
    auto* a = add<Pipe>("a");
    auto* b = add<Pipe>("b");
    auto* c = add<Pipe>("c");
    auto* d = add<Sum>("d");
    auto* e = add<Pipe>("e");
    auto* f = add<Pipe>("f");
    connect("s", "a");
    connect("a", "b");
    connect("b", "c");
    connect("c", "d", "in1");
    connect("a", "d", "in2");
    connect("a", "e");
    connect("b", "f");
    for (int round = 0; round < 50; ++round) {
        network.computeNode("e");
        network.computeNode("f");
        network.setAllNodeDirty();
        e->setDirty(false);
        f->setDirty(false);
        takeComputed();
        int calls = 0;
        a->onCompute = [&calls] {
            if (++calls == 2) {
                throw std::runtime_error("second time");
            }
        };
        EXPECT_THROW(network.computeNode("d", nullptr, parallel), std::runtime_error);
        const Names computed = takeComputed();
        EXPECT_EQ(Names(computed.begin(), computed.begin() + 3), (Names{"s", "a", "b"}));
        EXPECT_EQ(std::count(computed.begin(), computed.end(), "a"), 2);
        EXPECT_EQ(std::count(computed.begin(), computed.end(), "d"), 0);
        EXPECT_FALSE(network.getNode("s")->isDirty());
        for (Node* node : std::vector<Node*>{a, b, c, d, e, f}) {
            EXPECT_TRUE(node->isDirty()) << node->name();
        }
        a->onCompute = nullptr;
        network.computeNode("d", nullptr, parallel);
        EXPECT_FALSE(d->isDirty());
        EXPECT_EQ(d->out()->get(), 7.0);
    }
    takeComputed();
}

TEST_F(ParallelEvaluation, RunsAReaderBehindTheEndOfARowOfInputs) {
    // root to s to p; q reads p's input, which shows s; t adds up q and s. Levels: {t} {q, s} {p} {s}.
    const Names names = {"s", "q", "p"};
    std::vector<std::size_t> order = {0, 1, 2};
    do {
        network.cleanNetwork();
        // Nodes whose addresses stand in every order.
        std::vector<TextPipe*> nodes = {new TextPipe, new TextPipe, new TextPipe};
        std::sort(nodes.begin(), nodes.end());
        for (std::size_t index = 0; index < 3; ++index) {
            network.addNode(nodes[order[index]], names[index]);
        }
        TextPipe* s = nodes[order[0]];
        TextPipe* q = nodes[order[1]];
        TextPipe* p = nodes[order[2]];
        add<TextSource>("root");
        auto* t = add<TextSum>("t");
        connect("root", "s");
        connect("s", "p");
        connect("q", "t", "in1");
        connect("s", "t", "in2");
        q->in()->getConnections().push_back(p->in());
        p->in()->getConnections().push_back(q->in());
        takeComputed();
        network.computeNode("t", nullptr, serial);
        const Names serially = takeComputed();
        EXPECT_EQ(serially.back(), "t");
        ASSERT_EQ(t->out()->get(), "(((()))(()))");
        for (int round = 0; round < 100; ++round) {
            s->out()->set(std::string(100, 'x'));
            q->out()->set(std::string(100, 'y'));
            network.setAllNodeDirty();
            network.computeNode("t", nullptr, parallel);
            ASSERT_EQ(takeComputed(), (Names{"root", "s", "p", "s", "q", "t"}));
            ASSERT_EQ(t->out()->get(), "(((()))(()))");
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

/// Networks that one thread builds on after another one has.
class NetworksOnSeveralThreads : public ParallelEvaluation {
protected:
    /// Runs on a thread of its own, to its end.
    template <class Work>
    static void elsewhere(Work work) {
        std::thread(work).join();
    }
};

TEST_F(NetworksOnSeveralThreads, AreLookedThroughForWhatAnotherThreadEdited) {
    auto* a = add<Pipe>("a");
    auto* b = add<Pipe>("b");
    auto* c = add<Pipe>("c");
    elsewhere([&] { b->out()->getConnections().push_back(a->in()); });
    EXPECT_FALSE(a->out()->connectTo(b->in()));
    EXPECT_FALSE(network.connectAttr("a", "out", "b", "in1"));
    EXPECT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage}));
    elsewhere([&] {
        EXPECT_TRUE(a->out()->connectTo(c->in()));
        EXPECT_FALSE(c->out()->connectTo(b->in()));
    });
    EXPECT_FALSE(c->out()->connectTo(b->in()));
    EXPECT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage}));
    elsewhere([&] { b->out()->getConnections().clear(); });
    EXPECT_TRUE(c->out()->connectTo(b->in()));
    EXPECT_FALSE(b->out()->connectTo(a->in()));
    EXPECT_EQ(takeLog(), Messages{cycleMessage});
}

TEST_F(NetworksOnSeveralThreads, AreLookedThroughForLinksThatAnotherThreadMadeByHand) {
    for (const bool lateFirst : {true, false}) {
        network.cleanNetwork();
        auto* older = add<Sum>("a");
        auto* newer = add<Sum>("b");
        Sum* first = lateFirst ? newer : older;
        Sum* second = lateFirst ? older : newer;
        auto* middle = add<Sum>("m");
        elsewhere([&] {
            first->out()->getConnections().push_back(middle->in(0));
            middle->in(0)->getConnections().push_back(first->out());
        });
        elsewhere([&] { EXPECT_TRUE(middle->out()->connectTo(second->in(0))); });
        EXPECT_FALSE(second->out()->connectTo(first->in(0)));
        EXPECT_FALSE(middle->out()->connectTo(first->in(1)));
        EXPECT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage}));
        EXPECT_TRUE(first->out()->connectTo(second->in(1)));
    }
}

TEST_F(NetworksOnSeveralThreads, AreWiredRightAfterAnotherThreadPeeked) {
    NetworkManager other;
    const int length = 12;
    for (NetworkManager* manager : {&network, &other}) {
        for (int index = 0; index < length; ++index) {
            manager->addNode(new Sum, "n" + std::to_string(index));
        }
    }
    const auto peek = [](NetworkManager& manager) {
        for (Node* node : manager.getAllNodes()) {
            EXPECT_LE(node->getInputPort("in1")->getConnections().size(), 1U);
            EXPECT_LE(node->getOutputPort("out")->getConnections().size(), 1U);
        }
    };
    elsewhere([&] { peek(network); });
    for (int index = 1; index < length; ++index) {
        // Front to back in one network, back to front in the other.
        const auto number = [index](bool reversed, int offset) {
            return "n" + std::to_string(reversed ? length - index - 1 + offset : index - 1 + offset);
        };
        for (NetworkManager* manager : {&network, &other}) {
            const std::string from = number(manager == &other, 0);
            const std::string to = number(manager == &other, 1);
            ASSERT_TRUE(manager->connectAttr(from, "out", to, "in1"));
            ASSERT_FALSE(manager->connectAttr(to, "out", from, "in2"));
        }
        elsewhere([&, index] { peek(index % 2 == 0 ? network : other); });
    }
    EXPECT_FALSE(network.connectAttr("n11", "out", "n0", "in2"));
    EXPECT_FALSE(other.connectAttr("n11", "out", "n0", "in2"));
    EXPECT_EQ(takeLog(), Messages(2 * length, cycleMessage));
    for (NetworkManager* manager : {&network, &other}) {
        manager->computeNode("n11", nullptr, parallel);
        EXPECT_EQ(static_cast<Sum*>(manager->getNode("n11"))->out()->get(), static_cast<double>(length));
    }
    takeComputed();
}

TEST_F(NetworksOnSeveralThreads, AreBuiltSideBySideWithListsOpenToEditing) {
    constexpr int length = 60;
    constexpr std::size_t threadCount = 2;
    std::atomic<std::size_t> ready{0};
    const auto build = [&ready](double& result, int& wrong) {
        ++ready;
        while (ready < threadCount) {
            std::this_thread::yield();
        }
        NetworkManager own;
        std::vector<Sum3*> nodes;
        const auto expect = [&wrong](bool right) { wrong += right ? 0 : 1; };
        for (std::size_t index = 0; index < length; ++index) {
            nodes.push_back(new Sum3);
            own.addNode(nodes.back(), "n" + std::to_string(index));
            Sum3& node = *nodes.back();
            expect(node.in(0)->getConnections().empty() && node.out()->getConnections().empty());
            if (index == 0) {
                continue;
            }
            Sum3& before = *nodes[index - 1];
            expect(before.out()->connectTo(node.in(0)));
            expect(before.out()->getConnections().back() == node.in(0));
            expect(!node.out()->connectTo(before.in(2)));
            if (index % 5 == 0) {
                // A link by hand over two nodes.
                Sum3& far = *nodes[index - 2];
                far.out()->getConnections().push_back(node.in(1));
                node.in(1)->getConnections().push_back(far.out());
                expect(!far.in(2)->connectTo(node.out()));
            }
        }
        expect(!own.connectAttr("n" + std::to_string(length - 1), "out", "n0", "in3"));
        own.computeNode("n20", nullptr, parallel);
        result = nodes[20]->out()->get();
    };
    for (int round = 0; round < 10; ++round) {
        ready = 0;
        std::vector<double> results(threadCount, 0.0);
        std::vector<int> wrong(threadCount, 0);
        std::vector<std::thread> threads;
        for (std::size_t index = 0; index < threadCount; ++index) {
            threads.emplace_back([&, index] { build(results[index], wrong[index]); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(wrong, std::vector<int>(threadCount, 0));
        // Each node adds one to that before it; n5, n10 and so on, at 10, 28, 64 and 136, the one before that too.
        EXPECT_EQ(results, std::vector<double>(threadCount, 136.0));
        const int refused = length - 1 + (length - 1) / 5 + 1;
        EXPECT_EQ(takeLog(), Messages(threadCount * refused, cycleMessage));
    }
    takeComputed();
}

TEST_F(ParallelEvaluation, LetsNodesMeasureThemselvesSideBySide) {
    std::vector<Pipe*> leaves;
    for (int count = 0; count < 40; ++count) {
        auto* node = add<Pipe>("leaf" + std::to_string(count));
        node->onCompute = [node] { node->setProfileTime(5); };
        leaves.push_back(node);
    }
    auto* root = add<tests::Probe<double, 40>>("root");
    for (std::size_t place = 0; place < leaves.size(); ++place) {
        ASSERT_TRUE(leaves[place]->out()->connectTo(root->in(place)));
    }
    network.computeNode("root", nullptr, parallel);
    for (const Pipe* leaf : leaves) {
        EXPECT_EQ(leaf->profileTime(), 5U);
    }
    takeComputed();
}

}  // namespace
}  // namespace TessilGraph
