#include <TessilGraph/graph/NetworkManager.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace TessilGraph {
namespace {

using tests::Pipe;
using tests::ProbeNode;
using tests::Source;
using tests::Sum;
using tests::Sum3;
using tests::takeComputed;
using tests::TextPipe;
using tests::TextSource;
using tests::TextSum;

using Names = std::vector<std::string>;

constexpr bool parallel = true;
constexpr bool serial = false;

class ParallelEvaluation : public testing::Test {
protected:
    ParallelEvaluation() { takeComputed(); }

    template <class N>
    N* add(const std::string& name) {
        auto* node = new N;
        network.addNode(node, name);
        return node;
    }

    void connect(const std::string& from, const std::string& to, const std::string& in = "in1") {
        ASSERT_TRUE(network.connectAttr(from, "out", to, in)) << from << " to " << to;
    }

    std::map<std::string, int> counts(const std::string& name) {
        network.computeNode(name, nullptr, parallel);
        std::map<std::string, int> counted;
        for (const std::string& computed : takeComputed()) {
            ++counted[computed];
        }
        return counted;
    }

    NetworkManager network;
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

/// What the level walk promises, spelled out over the nodes' own lists: the levels, the farthest first.
std::vector<std::set<Node*>> expectedLevels(Node* named) {
    std::vector<std::set<Node*>> levels = {{named}};
    std::set<Node*> level = {named};
    std::set<Node*> leaves;
    while (!level.empty()) {
        std::set<Node*> next;
        for (Node* node : level) {
            if (!node->isDirty()) {
                continue;
            }
            if (node->numInputPorts() == 0) {
                leaves.insert(node);
            }
            for (auto port = node->inputPortBegin(); port != node->inputPortEnd(); ++port) {
                if ((*port)->numConnections() == 0) {
                    continue;
                }
                Node* upstream = (*port)->getConnections().front()->node();
                std::size_t fed = 0;
                for (auto in = upstream->inputPortBegin(); in != upstream->inputPortEnd(); ++in) {
                    fed += (*in)->numConnections();
                }
                (fed > 0 ? next : leaves).insert(upstream);
            }
        }
        levels.push_back(next.empty() ? leaves : next);
        level = next;
    }
    std::reverse(levels.begin(), levels.end());
    return levels;
}

TEST_F(ParallelEvaluation, KeepsToItsLevelsAndResultsOnRandomNetworks) {
    for (unsigned int seed = 1; seed <= 60; ++seed) {
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

}  // namespace
}  // namespace TessilGraph
