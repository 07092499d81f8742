#include "WaysOfEvaluating.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <utility>

using namespace tests;
using TessilGraph::NetworkManager;
using TessilGraph::Node;
using TessilGraph::PreparedEvaluation;

namespace {

/// Two networks of doers, linked from node to node.
class SeveralNetworks : public testing::Test {
protected:
    ~SeveralNetworks() override { deed = nullptr; }

    static Node& add(NetworkManager& network, const std::string& name) {
        return *network.createNode("FaultsDoer", name);
    }
    static void link(Node& source, Node& target, const std::string& input) {
        ASSERT_TRUE(source.getOutputPort("out")->connectTo(target.getInputPort(input)));
    }

    NetworkManager first;
    NetworkManager second;
};

/// a and b of the second network feed t of the first one; a deletes b, which would be next.
void expectThatNodesMayDeleteOthers(const std::function<void(NetworkManager& network)>& evaluate) {
    NetworkManager network;
    NetworkManager other;
    Node* target = network.createNode("FaultsDoer", "t");
    for (const auto& [name, port] : {std::pair("b", "in1"), std::pair("a", "in2")}) {
        ASSERT_TRUE(other.createNode("FaultsDoer", name)->getOutputPort("out")->connectTo(target->getInputPort(port)));
    }
    deed = [&](const Node& node) {
        if (node.name() == "a") {
            other.deleteNode("b");
        }
        if (node.name() == "b") {
            other.deleteNode("a");
        }
    };
    evaluate(network);
    deed = nullptr;
    EXPECT_EQ(other.getNodeNames().size(), 1U);
    EXPECT_FALSE(target->isDirty());
    EXPECT_EQ(target->getInputPort("in1")->numConnections() + target->getInputPort("in2")->numConnections(), 1U);
}

TEST_F(SeveralNetworks, NodesOfWhichDeleteOthersAreWalked) {
    expectThatNodesMayDeleteOthers([](NetworkManager& network) { network.computeNode("t"); });
}

TEST_F(SeveralNetworks, NodesOfWhichDeleteOthersAreComputedByAStoredOrder) {
    expectThatNodesMayDeleteOthers([](NetworkManager& network) {
        network.cacheNodeNetwork("t");
        network.computeNode("t", nullptr, false, true);
        network.clearNodeNetworkCache("t");
    });
}

TEST_F(SeveralNetworks, NodesOfWhichDeleteOthersAreComputedByAPreparedRun) {
    expectThatNodesMayDeleteOthers([](NetworkManager& network) { PreparedEvaluation(network, "t").run(); });
}

/// The wiring of the network itself stays then: the node that goes feeds another one of its own.
TEST_F(SeveralNetworks, NodesOfWhichDeleteOthersFarUpAreComputedByAPreparedRun) {
    Node& target = add(first, "t");
    Node& reader = add(second, "x");
    link(add(second, "b"), reader, "in1");
    link(add(second, "a"), reader, "in2");
    link(reader, target, "in1");
    deed = [this](const Node& node) {
        if (node.name() == "a") {
            second.deleteNode("b");
        }
        if (node.name() == "b") {
            second.deleteNode("a");
        }
    };
    EXPECT_EQ(PreparedEvaluation(first, "t").run().computed, 3U);
    EXPECT_EQ(second.getNodeNames().size(), 2U);
    EXPECT_FALSE(target.isDirty());
}

/// In a walk by levels nodes of a level run side by side, whichever network they are of.
TEST_F(SeveralNetworks, NodesOfWhichMarkThemselvesAreComputedInLevels) {
    constexpr int many = 16;
    constexpr std::chrono::microseconds longEnough(200);  // For other threads to help.
    constexpr std::chrono::milliseconds tooLong(5);       // For a machine that has better things to do.
    Node& target = add(first, "t");
    Node* last = &target;
    for (int reader = 0; reader < many; ++reader) {
        Node& next = add(first, "r" + std::to_string(reader));
        link(next, *last, "in2");
        link(add(second, "a" + std::to_string(reader)), next, "in1");
        last = &next;
    }
    for (int idle = 0; idle < 80; ++idle) {
        add(second, "idle" + std::to_string(idle));
    }
    // Nothing else is to bring the threads in step.
    std::atomic<int> atWork{0};
    std::atomic<bool> sideBySide{false};
    deed = [&](Node& node) {
        if (node.name()[0] != 'a') {
            return;
        }
        if (atWork.fetch_add(1, std::memory_order_relaxed) != 0) {
            sideBySide.store(true, std::memory_order_relaxed);
        }
        const auto begin = std::chrono::steady_clock::now();
        const auto goesOn = [&] {
            const auto passed = std::chrono::steady_clock::now() - begin;
            return passed < longEnough || (passed < tooLong && !sideBySide.load(std::memory_order_relaxed));
        };
        do {
            for (int time = 0; time < 100; ++time) {
                node.setDirty(false);
                node.setDirty(true);
            }
        } while (goesOn());
        atWork.fetch_sub(1, std::memory_order_relaxed);
    };
    for (int round = 0; round < 20; ++round) {
        sideBySide = false;
        // Other wiring, so that a plan for marking is due again.
        EXPECT_TRUE(round % 2 == 0 ? second.connectAttr("idle0", "out", "idle1", "in1")
                                   : second.disconnectAttr("idle0", "out", "idle1", "in1"));
        first.setAllNodeDirty();
        second.setAllNodeDirty();
        first.computeNode("t", nullptr, true);
        EXPECT_FALSE(target.isDirty());
        for (int reader = 0; reader < many; ++reader) {
            EXPECT_FALSE(second.getNode("a" + std::to_string(reader))->isDirty());
        }
    }
    deed = nullptr;
}

}  // namespace
