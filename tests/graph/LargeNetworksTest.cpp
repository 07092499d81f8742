#include <TessilGraph/graph/NetworkManager.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/HowToCompute.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TESSIL_TESTS_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TESSIL_TESTS_SANITIZED
#endif
#endif

namespace TessilGraph {
namespace {

using tests::parallel;
using tests::serial;
using tests::useCache;

// Sizes at which a way that is quadratic, exponential or recursive does not come to an end. Under
// a sanitizer, whose frames are larger and whose steps are slower, a tenth will do.
#ifdef TESSIL_TESTS_SANITIZED
constexpr std::size_t scale = 10;
#else
constexpr std::size_t scale = 1;
#endif

std::atomic<std::uint64_t> computes{0};
std::atomic<std::int64_t> alive{0};

/// out = 1 + the larger input.
class Lean : public Node {
public:
    Lean() {
        addInputPort(in1);
        addInputPort(in2);
        addOutputPort(out);
        ++alive;
    }
    ~Lean() override { --alive; }

    static Node* creator() { return new Lean; }
    std::string typeStr() const override { return "Lean"; }
    unsigned int typeId() const override { return 9700; }

    Node* clone() override {
        auto* copy = new Lean;
        copy->setName(name());
        return copy;
    }

    bool compute(const ComputeData*) override {
        ++computes;
        out->set(1.0 + std::max(in1->get(), in2->get()));
        return true;
    }

    PortTemplate<double>* const in1 = new PortTemplate<double>("in1");
    PortTemplate<double>* const in2 = new PortTemplate<double>("in2");
    PortTemplate<double>* const out = new PortTemplate<double>("out");
};

const bool isRegistered = (NodeFactory::instance().registerNode("Lean", Lean::creator), true);

std::uint64_t takeComputes() {
    return computes.exchange(0);
}

Lean* lean(NetworkManager& network, const std::string& name) {
    return static_cast<Lean*>(network.getNode(name));
}

std::string numbered(const char* name, std::size_t number) {
    return name + std::to_string(number);
}

/// `layers` pairs of nodes, each of them fed by both nodes of the pair before.
std::vector<Lean*> buildLadder(NetworkManager& network, std::size_t layers) {
    std::vector<Lean*> nodes;
    for (std::size_t layer = 0; layer < layers; ++layer) {
        for (const char* side : {"l", "r"}) {
            auto* node = static_cast<Lean*>(network.createNode("Lean", numbered(side, layer)));
            nodes.push_back(node);
            if (layer > 0) {
                EXPECT_TRUE(nodes[2 * layer - 2]->out->connectTo(node->in1));
                EXPECT_TRUE(nodes[2 * layer - 1]->out->connectTo(node->in2));
            }
        }
    }
    return nodes;
}

std::vector<Lean*> buildChain(NetworkManager& network, std::size_t length) {
    std::vector<Lean*> nodes;
    for (std::size_t index = 0; index < length; ++index) {
        nodes.push_back(static_cast<Lean*>(network.createNode("Lean", numbered("n", index))));
        if (index > 0) {
            EXPECT_TRUE(nodes[index - 1]->out->connectTo(nodes[index]->in1));
        }
    }
    return nodes;
}

std::size_t countDirty(const std::vector<Lean*>& nodes) {
    return static_cast<std::size_t>(
        std::count_if(nodes.begin(), nodes.end(), [](const Lean* node) { return node->isDirty(); }));
}

class LargeNetworks : public testing::Test {
protected:
    LargeNetworks() { takeComputes(); }
    ~LargeNetworks() override { EXPECT_EQ(alive, 0); }
};

TEST_F(LargeNetworks, OfDiamondsAreWiredMarkedEvaluatedStoredAndCopied) {
    const std::size_t layers = 10000 / scale;
    const double result = static_cast<double>(layers);
    const std::string end = numbered("l", layers - 1);
    NetworkManager network;
    const std::vector<Lean*> nodes = buildLadder(network, layers);

    network.computeNode(end);
    EXPECT_EQ(takeComputes(), 2 * layers - 1);
    EXPECT_EQ(lean(network, end)->out->get(), result);
    EXPECT_EQ(countDirty(nodes), 1U);
    network.computeNode(numbered("r", layers - 1));
    EXPECT_EQ(takeComputes(), 1U);
    EXPECT_EQ(countDirty(nodes), 0U);

    nodes[0]->in1->set(1.0);
    EXPECT_EQ(countDirty(nodes), 2 * layers - 1);
    network.computeNode(end, nullptr, parallel);
    EXPECT_EQ(takeComputes(), 2 * layers - 1);
    EXPECT_EQ(lean(network, end)->out->get(), result + 1.0);

    network.cacheNodeNetwork(end);
    network.setAllNodeDirty();
    nodes[0]->in1->set(2.0);
    network.computeNode(end, nullptr, serial, useCache);
    EXPECT_EQ(takeComputes(), 2 * layers - 1);
    EXPECT_EQ(lean(network, end)->out->get(), result + 2.0);

    NetworkManager copy(network);
    copy.computeNode(end, nullptr, parallel, useCache);
    EXPECT_EQ(takeComputes(), 2 * layers - 1);
    EXPECT_EQ(lean(copy, end)->out->get(), result);

    EXPECT_FALSE(nodes.back()->out->connectTo(nodes[1]->in1));
    EXPECT_EQ(tests::takeLog(), tests::Messages{"Cycle detected! the connection is not allowed! "});
}

TEST_F(LargeNetworks, OfDiamondsGiveTheSameInTheLevelWalkWithSkippedLayers) {
    // Beside its pair each layer also reaches two layers on: every node stands in many levels, and
    // next to its sources. The counts grow with the square, so there are fewer layers.
    const std::size_t length = 300;
    NetworkManager network;
    std::vector<Lean*> nodes = buildChain(network, length);
    for (std::size_t index = 2; index < length; ++index) {
        ASSERT_TRUE(nodes[index - 2]->out->connectTo(nodes[index]->in2));
    }
    network.computeNode(nodes.back()->name(), nullptr, parallel);
    EXPECT_EQ(nodes.back()->out->get(), static_cast<double>(length));
    // The node at distance d from the end stands in the levels from d / 2 (rounded up) to d; the
    // first one, a leaf, is computed once.
    std::uint64_t expected = 1;
    for (std::size_t distance = 0; distance + 1 < length; ++distance) {
        expected += distance - (distance + 1) / 2 + 1;
    }
    EXPECT_EQ(takeComputes(), expected);
}

TEST_F(LargeNetworks, OfAMillionNodesInARowNeedNoDeepStack) {
    const std::size_t length = 1000000 / scale;
    const double result = static_cast<double>(length);
    const std::string end = numbered("n", length - 1);
    {
        NetworkManager network;
        const std::vector<Lean*> nodes = buildChain(network, length);
        network.computeNode(end);
        EXPECT_EQ(takeComputes(), length);
        EXPECT_EQ(nodes.back()->out->get(), result);

        nodes.front()->in1->set(1.0);
        EXPECT_EQ(countDirty(nodes), length);
        network.computeNode(end, nullptr, parallel);
        EXPECT_EQ(takeComputes(), length);
        EXPECT_EQ(nodes.back()->out->get(), result + 1.0);

        network.cacheNodeNetwork(end);
        network.setAllNodeDirty();
        network.computeNode(end, nullptr, serial, useCache);
        EXPECT_EQ(takeComputes(), length);

        NetworkManager copy = network.clone();
        EXPECT_EQ(alive, static_cast<std::int64_t>(2 * length));
        copy.computeNode(end, nullptr, serial, useCache);
        EXPECT_EQ(takeComputes(), length);
        EXPECT_EQ(lean(copy, end)->out->get(), result);

        EXPECT_FALSE(nodes.back()->out->connectTo(nodes.front()->in2));
        EXPECT_EQ(tests::takeLog(), tests::Messages{"Cycle detected! the connection is not allowed! "});
        network.reset();
        EXPECT_EQ(alive, static_cast<std::int64_t>(2 * length));
        network.clearNodeCache();
        EXPECT_EQ(alive, static_cast<std::int64_t>(length));
    }
    EXPECT_EQ(alive, 0);
}

TEST_F(LargeNetworks, CostNoMoreWhateverTheOrderOfWiring) {
    const std::size_t layers = 30000 / scale;
    for (const bool shuffledCreation : {false, true}) {
        for (const char* order : {"front to back", "back to front", "random"}) {
            SCOPED_TRACE(testing::Message() << order << (shuffledCreation ? ", created in random order" : ""));
            std::mt19937 random(7);
            std::vector<std::unique_ptr<Lean>> nodes(2 * layers);
            std::vector<std::size_t> creation(nodes.size());
            std::iota(creation.begin(), creation.end(), std::size_t{0});
            if (shuffledCreation) {
                std::shuffle(creation.begin(), creation.end(), random);
            }
            for (const std::size_t index : creation) {
                nodes[index] = std::make_unique<Lean>();
            }
            std::vector<std::pair<Port*, Port*>> links;
            for (std::size_t index = 2; index < nodes.size(); ++index) {
                const std::size_t before = index / 2 * 2 - 2;
                links.emplace_back(nodes[before]->out, nodes[index]->in1);
                links.emplace_back(nodes[before + 1]->out, nodes[index]->in2);
            }
            if (order[0] == 'b') {
                std::reverse(links.begin(), links.end());
            } else if (order[0] == 'r') {
                std::shuffle(links.begin(), links.end(), random);
            }
            std::size_t made = 0;
            for (const auto& [out, in] : links) {
                made += out->connectTo(in) ? 1U : 0U;
            }
            EXPECT_EQ(made, links.size());
            for (const std::size_t from : {std::size_t{2}, layers, 2 * layers - 1}) {
                EXPECT_FALSE(nodes[from]->out->connectTo(nodes[0]->in1));
                EXPECT_FALSE(nodes[0]->in2->connectTo(nodes[from]->out));
            }
            EXPECT_EQ(tests::takeLog(), tests::Messages(6, "Cycle detected! the connection is not allowed! "));
        }
    }
}

TEST_F(LargeNetworks, InARowAreWiredBackToFront) {
    const std::size_t length = 200000 / scale;
    for (const bool shuffled : {false, true}) {
        std::vector<std::unique_ptr<Lean>> nodes(length);
        for (std::unique_ptr<Lean>& node : nodes) {
            node = std::make_unique<Lean>();
        }
        if (shuffled) {
            std::shuffle(nodes.begin(), nodes.end(), std::mt19937(3));
        }
        for (std::size_t index = length - 1; index > 0; --index) {
            ASSERT_TRUE(nodes[index - 1]->out->connectTo(nodes[index]->in1));
        }
        for (const std::unique_ptr<Lean>& node : nodes) {
            node->setDirty(false);
        }
        nodes.front()->setDirty(true);
        EXPECT_TRUE(nodes.back()->isDirty());
    }
}

TEST_F(LargeNetworks, OfOneNameGetTheLowestFreeNumber) {
    const std::size_t size = 100000 / scale;
    NetworkManager network;
    for (std::size_t index = 0; index < size; ++index) {
        const Node* node = network.createNode("Lean", "n");
        if (index == size - 1) {
            EXPECT_EQ(network.getNode(numbered("n", size - 1)), node);
        }
    }
    EXPECT_EQ(network.getNodeNames().size(), size);
    // What is given up, from the highest on, is given out again from the lowest on.
    for (std::size_t pair = size / 2; pair > 0; --pair) {
        network.deleteNode(numbered("n", 2 * pair - 1));
    }
    for (std::size_t index = 1; index < size; index += 2) {
        ASSERT_EQ(network.createNode("Lean", "n")->name(), numbered("n", index));
    }
    ASSERT_EQ(network.createNode("Lean", "n")->name(), numbered("n", size));

    network.reset();
    for (std::size_t index = 0; index < size; ++index) {
        network.createNode("Lean", "n");
    }
    EXPECT_NE(network.getNode(numbered("n", size - 1)), nullptr);
    EXPECT_EQ(network.getNode(numbered("n", size)), nullptr);

    NetworkManager copy(network);
    for (std::size_t index = 0; index < size; ++index) {
        copy.addNode(new Lean, "n");
    }
    EXPECT_NE(copy.getNode(numbered("n", 2 * size - 1)), nullptr);
}

TEST_F(LargeNetworks, AreRenamedToOneName) {
    const std::size_t size = 100000 / scale;
    NetworkManager network;
    for (std::size_t index = 0; index < size; ++index) {
        network.createNode("Lean", numbered("before", index));
    }
    for (std::size_t index = 0; index < size; ++index) {
        ASSERT_TRUE(network.renameNode(numbered("before", index), "n"));
    }
    EXPECT_NE(network.getNode(numbered("n", size - 1)), nullptr);
    EXPECT_EQ(network.getNodeNames().size(), size);
    // The same name over and over: n gives n100000, n again, and so on.
    for (std::size_t index = 0; index < size; ++index) {
        ASSERT_TRUE(network.renameNode(index % 2 == 0 ? "n" : numbered("n", size), "n"));
    }
    EXPECT_EQ(network.getNodeNames().size(), size);
}

TEST_F(LargeNetworks, InAFanAreWiredMarkedEvaluatedCopiedAndTakenApart) {
    const std::size_t size = 100000 / scale;
    NetworkManager network;
    auto* source = static_cast<Lean*>(network.createNode("Lean", "source"));
    std::vector<Lean*> sinks;
    for (std::size_t index = 0; index < size; ++index) {
        sinks.push_back(static_cast<Lean*>(network.createNode("Lean", numbered("n", index))));
        ASSERT_TRUE(index % 2 == 0 ? source->out->connectTo(sinks.back()->in1)
                                   : sinks.back()->in1->connectTo(source->out));
    }
    for (Lean* sink : sinks) {
        sink->setDirty(false);
    }
    source->setDirty(false);
    source->in1->set(1.0);
    EXPECT_EQ(countDirty(sinks), size);
    takeComputes();
    for (std::size_t index = 0; index < size; ++index) {
        network.computeNode(numbered("n", index), nullptr, index % 2 == 0);
    }
    // In the level walk, every other call, the source is computed again.
    EXPECT_EQ(takeComputes(), size + (size + 1) / 2);
    EXPECT_EQ(countDirty(sinks), 0U);

    NetworkManager copy(network);
    EXPECT_EQ(lean(copy, "source")->out->numConnections(), size);
    copy.deleteNode("source");
    EXPECT_EQ(lean(copy, "n0")->in1->numConnections(), 0U);
    for (std::size_t index = 0; index < size; ++index) {
        network.deleteNode(numbered("n", index % 2 == 0 ? index / 2 : size - 1 - index / 2));
    }
    EXPECT_EQ(source->out->numConnections(), 0U);
}

TEST_F(LargeNetworks, InAFanLoseTheirConsumersInAnyOrder) {
    const std::size_t size = 300000 / scale;
    for (int deleted = 0; deleted < 2; ++deleted) {
        NetworkManager network;
        Port* const hub = static_cast<Lean*>(network.createNode("Lean", "source"))->out;
        std::vector<std::string> names;
        for (std::size_t index = 0; index < size; ++index) {
            names.push_back(numbered("n", index));
            ASSERT_TRUE(hub->connectTo(static_cast<Lean*>(network.createNode("Lean", names.back()))->in1));
        }
        std::shuffle(names.begin(), names.end(), std::mt19937(1));
        for (const std::string& name : names) {
            if (deleted == 1) {
                network.deleteNode(name);
            } else {
                ASSERT_TRUE(network.disconnectAttr("source", "out", name, "in1"));
            }
        }
        EXPECT_EQ(hub->numConnections(), 0U);
    }
}

TEST_F(LargeNetworks, InAFanWithOneEndAreEvaluatedEveryWay) {
    // One source, `size` nodes beside one another, and a chain of nodes that gathers them.
    const std::size_t size = 2000 / scale;
    NetworkManager network;
    network.createNode("Lean", "source");
    std::string last;
    for (std::size_t index = 0; index < size; ++index) {
        const std::string wide = numbered("w", index);
        const std::string gather = numbered("g", index);
        network.createNode("Lean", wide);
        network.createNode("Lean", gather);
        ASSERT_TRUE(network.connectAttr("source", "out", wide, "in1"));
        ASSERT_TRUE(network.connectAttr(wide, "out", gather, "in1"));
        if (!last.empty()) {
            ASSERT_TRUE(network.connectAttr(last, "out", gather, "in2"));
        }
        last = gather;
    }
    network.computeNode(last);
    EXPECT_EQ(takeComputes(), 2 * size + 1);
    const double result = lean(network, last)->out->get();
    EXPECT_EQ(result, static_cast<double>(size) + 2.0);
    network.setAllNodeDirty();
    network.computeNode(last, nullptr, parallel);
    EXPECT_EQ(takeComputes(), 2 * size + 1);
    EXPECT_EQ(lean(network, last)->out->get(), result);
}

TEST_F(LargeNetworks, OfDiamondsAreDeletedNodeByNode) {
    const std::size_t layers = 10000 / scale;
    NetworkManager network;
    buildLadder(network, layers);
    for (std::size_t layer = 0; layer < layers; ++layer) {
        network.deleteNode(numbered("l", layer));
        network.deleteNode(numbered("r", layers - 1 - layer));
    }
    EXPECT_EQ(alive, 0);
}

/// Deletes a chain that it feeds when it is computed.
class Eraser : public Lean {
public:
    static Node* creator() { return new Eraser; }

    bool compute(const ComputeData* data) override {
        for (std::size_t index = 0; index < count; ++index) {
            network->deleteNode(numbered("n", index));
        }
        return Lean::compute(data);
    }

    NetworkManager* network = nullptr;
    std::size_t count = 0;
};

TEST_F(LargeNetworks, LoseMostOfTheirNodesWhileTheyAreComputed) {
    NodeFactory::instance().registerNode("Eraser", Eraser::creator);
    for (const bool byStoredOrder : {false, true}) {
        NetworkManager network;
        auto* first = static_cast<Eraser*>(network.createNode("Eraser", "first"));
        first->network = &network;
        first->count = 300000 / scale;
        const std::vector<Lean*> chain = buildChain(network, first->count);
        auto* last = static_cast<Lean*>(network.createNode("Lean", "last"));
        ASSERT_TRUE(first->out->connectTo(chain.front()->in1));
        ASSERT_TRUE(chain.back()->out->connectTo(last->in1));
        ASSERT_TRUE(first->out->connectTo(last->in2));
        network.cacheNodeNetwork("last");
        network.computeNode("last", nullptr, serial, byStoredOrder);
        EXPECT_EQ(takeComputes(), 2);
        EXPECT_EQ(last->out->get(), 2.0);
        EXPECT_EQ(network.getNodeNames().size(), 2);
    }
}

TEST_F(LargeNetworks, KeepManyStoredOrders) {
    const std::size_t length = 1000;
    NetworkManager network;
    const std::vector<Lean*> nodes = buildChain(network, length);
    for (Lean* node : nodes) {
        network.cacheNodeNetwork(node->name());
    }
    const NetworkManager copy(network);
    network.setAllNodeDirty();
    for (std::size_t index = 0; index < length; ++index) {
        network.computeNode(numbered("n", index), nullptr, serial, useCache);
    }
    EXPECT_EQ(takeComputes(), length);
}

TEST_F(LargeNetworks, OfOneNameFindTheNextNumberHoweverOftenOneIsGivenBack) {
    const std::size_t size = 100000 / scale;
    const std::size_t rounds = 10000 / scale;
    NetworkManager network;
    for (std::size_t index = 0; index < size; ++index) {
        network.createNode("Lean", "a");
    }
    for (std::size_t round = 0; round < rounds; ++round) {
        network.deleteNode("a1");
        ASSERT_EQ(network.createNode("Lean", "a")->name(), "a1");
        ASSERT_EQ(network.createNode("Lean", "a")->name(), numbered("a", size + round));
    }
    EXPECT_EQ(network.getNodeNames().size(), size + rounds);
}

TEST_F(LargeNetworks, InARowTakeNewNodesAtTheirHead) {
    const std::size_t length = 100000 / scale;
    const std::size_t inserted = 5000 / scale;
    NetworkManager network;
    auto* first = static_cast<Lean*>(network.createNode("Lean", "first"));
    const std::vector<Lean*> tail = buildChain(network, length);
    Lean* previous = first;
    ASSERT_TRUE(previous->out->connectTo(tail[0]->in1));
    for (std::size_t index = 0; index < inserted; ++index) {
        ASSERT_TRUE(previous->out->disconnectFrom(tail[0]->in1));
        auto* fresh = static_cast<Lean*>(network.createNode("Lean", numbered("fresh", index)));
        ASSERT_TRUE(fresh->out->connectTo(tail[0]->in1));
        ASSERT_TRUE(previous->out->connectTo(fresh->in1));
        previous = fresh;
    }
    EXPECT_FALSE(tail.back()->out->connectTo(first->in2));
    EXPECT_FALSE(tail.front()->out->connectTo(previous->in2));
    EXPECT_FALSE(previous->out->connectTo(first->in2));
    EXPECT_EQ(tests::takeLog(), tests::Messages(3, "Cycle detected! the connection is not allowed! "));
    network.computeNode(tail.back()->name());
    EXPECT_EQ(tail.back()->out->get(), static_cast<double>(1 + inserted + length));
}

TEST_F(LargeNetworks, AroundAHubTakeNewSourcesBehindItsConsumers) {
    const std::size_t size = 50000 / scale;
    const std::size_t added = 10000 / scale;  // A node compares the name of each new input with all others.
    NetworkManager network;
    auto* hub = static_cast<Lean*>(network.createNode("Lean", "hub"));
    std::vector<Lean*> consumers;
    for (std::size_t index = 0; index < size; ++index) {
        consumers.push_back(static_cast<Lean*>(network.createNode("Lean", numbered("c", index))));
        ASSERT_TRUE(hub->out->connectTo(consumers.back()->in1));
    }
    std::vector<Lean*> sources;
    for (std::size_t index = 0; index < added; ++index) {
        sources.push_back(static_cast<Lean*>(network.createNode("Lean", numbered("s", index))));
        auto* input = new PortTemplate<double>(numbered("more", index));
        hub->addInputPort(input);
        ASSERT_TRUE(index % 2 == 0 ? sources.back()->out->connectTo(input) : input->connectTo(sources.back()->out));
    }
    for (const std::size_t index : {std::size_t{0}, added / 2, added - 1}) {
        EXPECT_FALSE(consumers[index]->out->connectTo(sources[added - 1 - index]->in1));
        EXPECT_FALSE(hub->out->connectTo(sources[index]->in2));
    }
    EXPECT_EQ(tests::takeLog(), tests::Messages(6, "Cycle detected! the connection is not allowed! "));
    network.computeNode(numbered("c", 0));
    EXPECT_EQ(takeComputes(), added + 2);
}

}  // namespace
}  // namespace TessilGraph
