#include <TessilGraph/TessilGraph.h>

#include "NodeTesting.h"

#include <tests/support/HowToCompute.h>
#include <tests/support/Levels.h>
#include <tests/support/ProbeNode.h>
#include <tests/support/Seeds.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

using namespace tests;
using namespace TessilGraph;

// The level walk over built-in nodes, and over these mixed with nodes of a host.

namespace {

using AddDouble = AddNode<double, double, double, double>;
using MaxDouble = MaxNode<double, double, double, double>;
using Doubles = PortTemplate<double>;

/// Its output tells how often it was computed.
class Counting : public Node {
public:
    Counting() {
        addInputPort(in_);
        addOutputPort(out_);
    }
    std::string typeStr() const override { return "Counting"; }
    unsigned int typeId() const override { return 9500; }
    Node* clone() override { return nullptr; }
    bool compute(const ComputeData*) override {
        out_->set(in_->get() + 1000.0 * ++computes_);
        return true;
    }

private:
    Doubles* in_ = new Doubles("in1");
    Doubles* out_ = new Doubles("out");
    int computes_ = 0;
};

/// Counts its computes, which nobody may rely on.
class Passing : public Node {
public:
    Passing() {
        addInputPort(in1);
        addInputPort(in2);
        addOutputPort(out);
    }
    std::string typeStr() const override { return "Passing"; }
    unsigned int typeId() const override { return 9501; }
    Node* clone() override { return nullptr; }
    bool compute(const ComputeData*) override {
        ++computes;
        if (onCompute) {
            onCompute();
        }
        out->set(in1->get() + in2->get() + 1.0);
        return true;
    }

    Doubles* in1 = new Doubles("in1");
    Doubles* in2 = new Doubles("in2");
    Doubles* out = new Doubles("out");
    std::function<void()> onCompute;
    std::atomic<int> computes{0};
};

class Lonely : public Passing {};

const bool traitsAreDeclared = [] {
    declareNodeTraits(typeid(Passing), pureNode);
    declareNodeTraits(typeid(Lonely), aloneNode);
    return true;
}();

Doubles* outputOf(Node& node) {
    for (auto port = node.outputPortCBegin(); port != node.outputPortCEnd(); ++port) {
        if (auto* output = dynamic_cast<Doubles*>(*port)) {
            return output;
        }
    }
    return nullptr;
}

std::uint64_t bits(double value) {
    std::uint64_t result = 0;
    std::memcpy(&result, &value, sizeof(result));
    return result;
}

/// The state of all nodes: their outputs bit by bit, and whether they are dirty.
std::vector<std::uint64_t> stateOf(const std::vector<Node*>& nodes) {
    std::vector<std::uint64_t> state;
    for (Node* node : nodes) {
        state.push_back(bits(outputOf(*node)->get()));
        state.push_back(node->isDirty() ? 1 : 0);
    }
    return state;
}

/// Whether `reader` reads an output of `source`, directly or through a row of inputs.
bool reads(Node& reader, const Node& source) {
    for (auto port = reader.inputPortBegin(); port != reader.inputPortEnd(); ++port) {
        const Port* end = *port;
        while (end->input() != nullptr) {
            end = end->input();
        }
        if (end != *port && end->node() == &source) {
            return true;
        }
    }
    return false;
}

/// Computes the levels as they are, one node after the other.
void computeLevels(Node& named) {
    for (const std::set<Node*>& level : expectedLevels(&named)) {
        std::vector<Node*> waiting(level.begin(), level.end());
        while (!waiting.empty()) {
            const auto next = std::find_if(waiting.begin(), waiting.end(), [&waiting](Node* node) {
                return std::none_of(waiting.begin(), waiting.end(),
                                    [node](Node* other) { return other != node && reads(*node, *other); });
            });
            ASSERT_NE(next, waiting.end());
            (*next)->compute(nullptr);
            (*next)->setDirty(false);
            waiting.erase(next);
        }
    }
}

void spin(std::chrono::microseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end) {
    }
}

/// What random networks are made of.
struct Mixture {
    unsigned int others = 0;  ///< How many of a hundred nodes are not pure.
    bool anyFlag = false;     ///< Nodes are dirty and clean in any pattern.
    bool linkInputs = false;  ///< Inputs feed inputs.
    bool slow = false;        ///< Pure nodes take their time, so that several threads are worth it.
    bool planned = false;     ///< Large enough for a plan of walks, which there is, with few changes at a time.
};

/// A random network, the same one for the same seed.
class RandomNetwork {
public:
    RandomNetwork(unsigned int seed, const Mixture& mixture) : mixture_(mixture), random_(seed) {
        const std::size_t size = (mixture.planned ? 100 : 4) + random_() % (mixture.slow ? 100 : 40);
        for (std::size_t index = 0; index < size; ++index) {
            Node* node = makeNode();
            network_.addNode(node, "n" + std::to_string(index));
            for (auto port = node->inputPortCBegin(); port != node->inputPortCEnd(); ++port) {
                auto* input = dynamic_cast<Doubles*>(*port);
                if (input == nullptr) {
                    continue;
                }
                input->set(static_cast<double>(random_() % 100) * 0.1);
                if (nodes_.empty() || random_() % 5 == 0) {
                    continue;
                }
                const std::size_t reach = std::min<std::size_t>(nodes_.size(), 10);
                Node* from = nodes_[nodes_.size() - 1 - random_() % reach];
                Port* source = outputOf(*from);
                if (mixture.linkInputs && random_() % 8 == 0 && from->numInputPorts() != 0) {
                    source = *from->inputPortCBegin();
                }
                if (source->isOutput()) {
                    EXPECT_TRUE(source->connectTo(input));
                } else {
                    input->getConnections().push_back(source);
                }
            }
            nodes_.push_back(node);
        }
        if (mixture.planned) {
            walkOften();
        } else {
            lendPorts();
        }
    }

    /// The same changes for the same seed.
    void change() {
        if (mixture_.planned) {
            changeLittle();
            return;
        }
        for (Node* node : nodes_) {
            if (random_() % 6 == 0 && node->numInputPorts() != 0) {
                static_cast<Doubles*>(*node->inputPortCBegin())->set(static_cast<double>(random_() % 100));
            }
        }
        for (Node* node : nodes_) {
            if (mixture_.anyFlag && random_() % 4 == 0) {
                node->setDirty(false);
            } else if (mixture_.anyFlag && random_() % 3 == 0) {
                node->setDirtyFlag();
            }
        }
    }

    /// The same near the end, at nodes that few others read.
    void changeLittle() {
        constexpr std::size_t reach = 15;
        for (unsigned long i = random_() % 3; i < 4; ++i) {
            Node& node = *nodes_[nodes_.size() - 1 - random_() % reach];
            if (i % 2 == 0 && node.numInputPorts() != 0) {
                static_cast<Doubles*>(*node.inputPortCBegin())->set(static_cast<double>(random_() % 100));
            }
            node.setDirty(random_() % 3 == 0);
        }
    }

    /// Anybody may edit the lists of ports from here on, which allows of no plan.
    void lendPorts() {
        for (Node* node : nodes_) {
            node->inputPortBegin();
            node->outputPortBegin();
        }
    }

    /// Walks serially until that is planned.
    void walkOften() {
        for (int i = 0; i < 12; ++i) {
            network_.setAllNodeDirty();
            network_.computeNode(nodes_[nodes_.size() - 1 - static_cast<std::size_t>(i) % 2]->name());
        }
    }

    /// Gives an input another source, with or without the manager's knowledge.
    void rewire() {
        const std::size_t reader = 1 + random_() % (nodes_.size() - 1);
        const std::size_t from = random_() % reader;
        const bool byHand = random_() % 3 == 0;
        Node& node = *nodes_[reader];
        if (node.numInputPorts() == 0) {
            return;
        }
        Port* input = *node.inputPortCBegin();
        Port* output = outputOf(*nodes_[from]);
        if (byHand) {
            std::vector<Port*>& sources = lent(*input);
            if (!sources.empty()) {
                std::vector<Port*>& readers = lent(*sources.front());
                readers.erase(std::find(readers.begin(), readers.end(), input));
            }
            sources.assign(1, output);
            lent(*output).push_back(input);
            return;
        }
        if (input->input() != nullptr) {
            input->disconnectFrom(input->input());
        }
        EXPECT_TRUE(output->connectTo(input));
    }

    /// Takes a node out of the middle.
    void drop() {
        if (nodes_.size() > 4) {
            const auto dropped = nodes_.begin() + static_cast<std::ptrdiff_t>(random_() % (nodes_.size() - 1));
            network_.deleteNode((*dropped)->name());
            nodes_.erase(dropped);
        }
    }

    Node& last() { return *nodes_.back(); }
    Node& pickTarget() { return *nodes_[nodes_.size() - 1 - random_() % std::min<std::size_t>(nodes_.size(), 4)]; }
    NetworkManager& network() { return network_; }
    const std::vector<Node*>& nodes() const { return nodes_; }

private:
    Node* makeNode() {
        const bool pure = random_() % 100 >= mixture_.others;
        const auto kind = random_() % 3;
        if (!pure) {
            return kind == 0 ? static_cast<Node*>(new TimeNode)
                             : (kind == 1 ? static_cast<Node*>(new Counting) : new tests::Source);
        }
        if (mixture_.slow) {
            auto* node = new Passing;
            node->onCompute = [time = std::chrono::microseconds(1 + random_() % 20)] { spin(time); };
            return node;
        }
        return kind == 0 ? static_cast<Node*>(new MaxDouble)
                         : (kind == 1 ? static_cast<Node*>(new BufferDouble) : new AddDouble);
    }

    /// The list of a port, asked for once only.
    std::vector<Port*>& lent(Port& port) {
        const auto known = lent_.find(&port);
        return known != lent_.end() ? *known->second : *lent_.emplace(&port, &port.getConnections()).first->second;
    }

    Mixture mixture_;
    std::mt19937 random_;
    std::map<Port*, std::vector<Port*>*> lent_;  ///< Lists that were lent once, and may be edited any time.
    NetworkManager network_;
    std::vector<Node*> nodes_;
};

/// Walks a network and its twin, in the one by the manager, in the other level by level, and compares.
void compareWithLevels(const Mixture& mixture) {
    for (const std::uint32_t seed : tests::seeds(mixture.slow ? 40 : 150)) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << mixture.others << " % not pure");
        RandomNetwork walked(seed, mixture);
        RandomNetwork expected(seed, mixture);
        for (int round = 0; round < 6; ++round) {
            walked.change();
            expected.change();
            Node& named = walked.pickTarget();
            Node& twin = expected.pickTarget();
            if (round % 2 == 0) {
                named.setDirtyFlag();
                twin.setDirtyFlag();
            }
            if (twin.isDirty()) {
                computeLevels(twin);
            }
            walked.network().computeNode(named.name(), nullptr, parallel);
            ASSERT_EQ(stateOf(walked.nodes()), stateOf(expected.nodes())) << "round " << round;
        }
    }
    takeComputed();
    takeDestroyed();
}

TEST(LevelWalk, LeavesBuiltInNodesAsItsLevelsWould) {
    compareWithLevels({});
}

TEST(LevelWalk, LeavesBuiltInNodesAsItsLevelsWouldWhateverIsDirty) {
    compareWithLevels({0, true});
}

TEST(LevelWalk, LeavesFewBuiltInNodesAsItsLevelsWould) {
    Mixture mixture;
    mixture.planned = true;
    compareWithLevels(mixture);
    mixture.others = 3;
    compareWithLevels(mixture);
}

/// So many that the network gets a plan.
std::vector<AddDouble*> makeSums(NetworkManager& network) {
    std::vector<AddDouble*> nodes;
    for (int i = 0; i < 100; ++i) {
        nodes.push_back(new AddDouble);
        network.addNode(nodes.back(), "n" + std::to_string(i));
    }
    return nodes;
}

TEST(LevelWalk, ComputesACleanNodeBeforeItsSourceThatStandsNearer) {
    NetworkManager network;
    const std::vector<AddDouble*> nodes = makeSums(network);
    AddDouble &first = *nodes[0], &source = *nodes[1], &clean = *nodes[2], &reader = *nodes[3], &target = *nodes[4];
    EXPECT_TRUE(first.outputPort()->connectTo(source.input1Port()));
    EXPECT_TRUE(source.outputPort()->connectTo(clean.input1Port()));
    EXPECT_TRUE(clean.outputPort()->connectTo(reader.input1Port()));
    EXPECT_TRUE(source.outputPort()->connectTo(target.input2Port()));
    EXPECT_TRUE(reader.outputPort()->connectTo(target.input1Port()));
    for (int i = 0; i < 300; ++i) {
        network.setAllNodeDirty();
        network.computeNode(i % 2 == 0 ? target.name() : reader.name());
    }

    source.input2Port()->set(10.0);
    clean.setDirty(false);
    network.computeNode(target.name(), nullptr, parallel);
    EXPECT_EQ(clean.outputPort()->get(), 0.0);
    EXPECT_EQ(target.outputPort()->get(), 10.0);

    // Now it comes late enough.
    source.input2Port()->set(20.0);
    clean.setDirty(false);
    reader.setDirty(false);
    network.computeNode(target.name(), nullptr, parallel);
    EXPECT_EQ(target.outputPort()->get(), 20.0);
    clean.setDirtyFlag();
    network.computeNode(clean.name(), nullptr, parallel);
    EXPECT_EQ(clean.outputPort()->get(), 20.0);
}

/// A source feeds a clean node, and a dirty one that stands beside it or is the target; both of these feed the target.
void expectThatACleanNodeComesAfterItsSource(bool isFed, bool isBeside) {
    NetworkManager network;
    const std::vector<AddDouble*> nodes = makeSums(network);
    AddDouble &first = *nodes[0], &source = *nodes[1], &clean = *nodes[2], &reader = *nodes[3], &target = *nodes[4];
    if (isFed) {
        EXPECT_TRUE(first.outputPort()->connectTo(source.input1Port()));
    }
    EXPECT_TRUE(source.outputPort()->connectTo(isBeside ? reader.input1Port() : target.input1Port()));
    if (isBeside) {
        EXPECT_TRUE(reader.outputPort()->connectTo(target.input1Port()));
    }
    EXPECT_TRUE(source.outputPort()->connectTo(clean.input1Port()));
    EXPECT_TRUE(clean.outputPort()->connectTo(target.input2Port()));
    for (int i = 0; i < 300; ++i) {
        network.setAllNodeDirty();
        network.computeNode(target.name());
    }

    source.input2Port()->set(10.0);
    clean.setDirty(false);
    network.computeNode(target.name(), nullptr, parallel);
    EXPECT_EQ(clean.outputPort()->get(), 10.0);
    EXPECT_EQ(target.outputPort()->get(), 20.0);
}

TEST(LevelWalk, ComputesACleanNodeAfterItsSourceThatStandsFarther) {
    expectThatACleanNodeComesAfterItsSource(true, true);
    expectThatACleanNodeComesAfterItsSource(false, true);
}

TEST(LevelWalk, ComputesACleanNodeAfterItsSourceThatNothingFeeds) {
    expectThatACleanNodeComesAfterItsSource(false, false);
}

/// A node that nothing feeds stands nearer than a clean one that reads it, while another clean one stands before what
/// it reads. Inputs are looked through in their order or the other way round.
void expectThatWhatNothingFeedsComesFirst(bool isMirrored) {
    NetworkManager network;
    const std::vector<AddDouble*> nodes = makeSums(network);
    AddDouble &near = *nodes[0], &clean = *nodes[1], &far = *nodes[2], &late = *nodes[3], &target = *nodes[4];
    AddDouble &left = *nodes[5], &both = *nodes[6], &right = *nodes[7], &below = *nodes[8], &deep = *nodes[9];
    const auto link = [isMirrored](AddDouble& reader, AddDouble& first, AddDouble& second) {
        EXPECT_TRUE(first.outputPort()->connectTo(isMirrored ? reader.input2Port() : reader.input1Port()));
        EXPECT_TRUE(second.outputPort()->connectTo(isMirrored ? reader.input1Port() : reader.input2Port()));
    };
    link(target, left, right);
    link(left, near, both);
    link(both, clean, late);
    EXPECT_TRUE(near.outputPort()->connectTo(clean.input1Port()));
    EXPECT_TRUE(below.outputPort()->connectTo(right.input1Port()));
    EXPECT_TRUE(deep.outputPort()->connectTo(below.input1Port()));
    EXPECT_TRUE(far.outputPort()->connectTo(deep.input1Port()));
    EXPECT_TRUE(far.outputPort()->connectTo(late.input1Port()));
    for (int i = 0; i < 300; ++i) {
        network.setAllNodeDirty();
        network.computeNode(target.name());
    }

    near.input2Port()->set(10.0);
    far.input2Port()->set(1.0);
    clean.setDirty(false);
    late.setDirty(false);
    network.computeNode(target.name(), nullptr, parallel);
    EXPECT_EQ(clean.outputPort()->get(), 10.0);
    EXPECT_EQ(late.outputPort()->get(), 1.0);
    EXPECT_EQ(target.outputPort()->get(), 22.0);
}

TEST(LevelWalk, ComputesWhatNothingFeedsBeforeAllOthers) {
    expectThatWhatNothingFeedsComesFirst(false);
    expectThatWhatNothingFeedsComesFirst(true);
}

TEST(LevelWalk, LeavesBuiltInNodesAsItsLevelsWouldWhereInputsFeedInputs) {
    compareWithLevels({0, true, true});
}

TEST(LevelWalk, LeavesBuiltInNodesBesideOthersAsItsLevelsWould) {
    for (const unsigned int others : {3u, 10u, 40u}) {
        compareWithLevels({others, false});
        compareWithLevels({others, true});
    }
}

TEST(LevelWalk, LeavesSlowNodesAsItsLevelsWould) {
    for (const unsigned int others : {0u, 5u}) {
        compareWithLevels({others, false, false, true});
        compareWithLevels({others, true, false, true});
    }
}

TEST(LevelWalk, NoticesWhenTheWiringHasChanged) {
    for (const unsigned int others : {0u, 10u}) {
        for (const std::uint32_t seed : tests::seeds(100)) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << others << " % not pure");
            RandomNetwork walked(seed, {others});
            RandomNetwork expected(seed, {others});
            for (int round = 0; round < 20; ++round) {
                for (RandomNetwork* network : {&walked, &expected}) {
                    if (round % 3 == 2) {
                        network->rewire();
                    } else if (round % 7 == 6) {
                        network->drop();
                    }
                    network->network().setAllNodeDirty();
                }
                computeLevels(expected.last());
                walked.network().computeNode(walked.last().name(), nullptr, parallel);
                ASSERT_EQ(stateOf(walked.nodes()), stateOf(expected.nodes())) << "round " << round;
            }
        }
    }
    takeComputed();
    takeDestroyed();
}

/// source to a to b to end, and a to end; the source and the end are of classes of their own.
template <class First, class Middle, class Last>
struct Diamond {
    Diamond() {
        network.addNode(first, "first");
        network.addNode(a, "a");
        network.addNode(b, "b");
        network.addNode(last, "last");
        EXPECT_TRUE(network.connectAttr("first", "out", "a", "in1"));
        EXPECT_TRUE(network.connectAttr("a", "out", "b", "in1"));
        EXPECT_TRUE(network.connectAttr("b", "out", "last", "in1"));
        EXPECT_TRUE(network.connectAttr("a", "out", "last", "in2"));
    }

    void compute() {
        network.setAllNodeDirty();
        network.computeNode("last", nullptr, parallel);
    }

    NetworkManager network;
    First* first = new First;
    Passing* a = new Passing;
    Middle* b = new Middle;
    Last* last = new Last;
};

TEST(LevelWalk, ComputesAPureNodeOnce) {
    Diamond<Passing, Passing, Passing> network;
    network.compute();
    EXPECT_EQ(network.a->computes, 1);
    EXPECT_EQ(network.last->out->get(), 6.0);
}

TEST(LevelWalk, ComputesAPureNodeOnceBetweenAHostsSourceAndEnd) {
    Diamond<tests::Source, Passing, tests::Sum> network;
    network.compute();
    EXPECT_EQ(takeComputed(), (std::vector<std::string>{"first", "last"}));
    EXPECT_EQ(network.a->computes, 1);
    EXPECT_EQ(network.last->out()->get(), 6.0);
}

TEST(LevelWalk, RepeatsAPureNodeBesideOneThatMayHaveChangedWhatItReads) {
    // b changes what a reads without a link; a is computed again after it.
    Diamond<Passing, tests::Pipe, Passing> network;
    double outside = 0.0;
    network.a->in2->setLink(&outside);
    network.b->onCompute = [&outside] { outside = 5.0; };
    network.compute();
    EXPECT_EQ(network.a->computes, 2);
    takeComputed();
}

TEST(LevelWalk, ComputesHostNodesOncePerLevel) {
    Diamond<tests::Source, tests::Pipe, tests::Sum> network;
    network.compute();
    EXPECT_EQ(network.a->computes, 2);
    EXPECT_EQ(takeComputed(), (std::vector<std::string>{"first", "b", "last"}));
}

TEST(LevelWalk, LetsTheExceptionOfAPureNodeThrough) {
    Diamond<Passing, Passing, Passing> network;
    network.b->onCompute = [] { throw std::runtime_error("b"); };
    EXPECT_THROW(network.compute(), std::runtime_error);
    EXPECT_FALSE(network.first->isDirty());
    EXPECT_TRUE(network.b->isDirty());
    EXPECT_TRUE(network.last->isDirty());
    EXPECT_EQ(network.last->computes, 0);
    network.b->onCompute = nullptr;
    network.network.computeNode("last", nullptr, parallel);
    EXPECT_EQ(network.last->out->get(), 6.0);
}

/// A source, `width` nodes that read it, and one after the other the sums of these.
template <class N>
struct Fan {
    explicit Fan(std::size_t width) {
        auto* root = new Passing;
        network.addNode(root, "root");
        Doubles* before = root->out;
        for (std::size_t index = 0; index < width; ++index) {
            nodes.push_back(new N);
            network.addNode(nodes.back(), "w" + std::to_string(index));
            EXPECT_TRUE(root->out->connectTo(nodes.back()->in1));
            auto* sum = new AddDouble;
            network.addNode(sum, index + 1 == width ? "end" : "sum" + std::to_string(index));
            EXPECT_TRUE(before->connectTo(sum->input1Port()));
            EXPECT_TRUE(nodes.back()->out->connectTo(sum->input2Port()));
            before = sum->outputPort();
        }
        end = before;
    }

    double compute() {
        network.setAllNodeDirty();
        network.computeNode("end", nullptr, parallel);
        return end->get();
    }

    NetworkManager network;
    std::vector<N*> nodes;
    Doubles* end = nullptr;
};

/// Takes the time that a thread sleeps, so that even one core serves several threads.
void sleepAWhile() {
    std::this_thread::sleep_for(std::chrono::microseconds(300));
}

TEST(LevelWalk, SharesSlowPureNodesAmongThreadsOnceItKnowsThem) {
    Fan<Passing> fan(32);
    std::mutex mutex;
    std::set<std::thread::id> threads;
    for (Passing* node : fan.nodes) {
        node->onCompute = [&] {
            sleepAWhile();
            const std::lock_guard<std::mutex> guard(mutex);
            threads.insert(std::this_thread::get_id());
        };
    }
    const double expected = 2.0 * 32 + 1.0;
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(fan.compute(), expected);
    }
    if (std::thread::hardware_concurrency() > 1) {
        EXPECT_GT(threads.size(), 1u);
    }
    for (Passing* node : fan.nodes) {
        EXPECT_EQ(node->computes, 3);
    }
}

TEST(LevelWalk, ComputesAHostsSourceBeforeTheSlowPureNodesThatItFeeds) {
    Fan<Passing> fan(32);
    auto* source = new tests::Source;
    fan.network.addNode(source, "source");
    for (Passing* node : fan.nodes) {
        node->onCompute = sleepAWhile;
        EXPECT_TRUE(source->out()->connectTo(node->in2));
    }
    for (int round = 0; round < 4; ++round) {
        EXPECT_EQ(fan.compute(), 3.0 * 32 + 1.0);
        EXPECT_EQ(source->computes, round + 1);
    }
    takeComputed();
}

TEST(LevelWalk, ComputesNodesThatMustRunAloneBesideNoOther) {
    Fan<Lonely> fan(32);
    std::atomic<int> running{0};
    int together = 0;
    for (Lonely* node : fan.nodes) {
        node->onCompute = [&] {
            together += running++;
            sleepAWhile();
            --running;
        };
    }
    for (int round = 0; round < 3; ++round) {
        fan.compute();
    }
    EXPECT_EQ(together, 0);
}

TEST(LevelWalk, SeesStorageThatASourceBindsToAnInput) {
    Diamond<tests::Source, Passing, tests::Sum> network;
    auto* buffer = new BufferDouble;
    network.network.addNode(buffer, "buffer");
    network.b->addInputPort(new Doubles("in3"));
    EXPECT_TRUE(network.network.connectAttr("buffer", "out", "b", "in2"));
    EXPECT_TRUE(network.network.connectAttr("first", "out", "b", "in3"));
    std::vector<double> storage{0.0, 100.0, 200.0, 300.0};
    int round = 0;
    network.first->onCompute = [&] {
        if (round % 4 == 0) {
            buffer->inputPort()->setLink(&storage[static_cast<std::size_t>(round / 4)]);
        }
    };
    for (; round < 16; ++round) {
        network.compute();
        const int bound = round / 4;
        EXPECT_EQ(network.last->out()->get(), 6.0 + 100.0 * bound) << "round " << round;
    }
    takeComputed();
}

TEST(LevelWalk, MayBeEnteredAgainByANode) {
    // Each round the inner network is walked while the outer walk is under way.
    Diamond<tests::Source, Passing, tests::Sum> inner;
    Diamond<tests::Source, Passing, tests::Sum> outer;
    outer.b->onCompute = [&inner] { inner.compute(); };
    outer.first->onCompute = [&inner] { inner.compute(); };
    for (int round = 0; round < 5; ++round) {
        inner.last->out()->set(0.0);
        outer.compute();
        EXPECT_EQ(inner.last->out()->get(), 6.0);
        EXPECT_EQ(outer.last->out()->get(), 6.0);
    }
    takeComputed();
}

TEST(LevelWalk, MayBeEnteredAgainInTheSameNetwork) {
    Diamond<tests::Source, Passing, tests::Sum> network;
    network.network.addNode(new Passing, "beside");
    EXPECT_TRUE(network.network.connectAttr("a", "out", "beside", "in1"));
    network.first->onCompute = [&network] {
        network.first->onCompute = nullptr;
        network.network.computeNode("beside", nullptr, parallel);
    };
    network.compute();
    EXPECT_EQ(network.last->out()->get(), 6.0);
    EXPECT_FALSE(network.network.getNode("beside")->isDirty());
    takeComputed();
}

}  // namespace
