#include "AllocationCount.h"
#include "CatalogueRows.h"
#include "NodeTesting.h"

#include <TessilGraph/graph/NetworkManager.h>

#include <tests/support/HowToCompute.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <string>

using namespace tests;
using TessilGraph::Node;
using TessilGraph::NodeFactory;

namespace {

/// How often a compute of a node with sample inputs allocates.
std::size_t allocationsOf(Node& node, std::size_t computesBefore) {
    int seed = 0;
    for (auto port = node.inputPortBegin(); port != node.inputPortEnd(); ++port) {
        setSample(**port, ++seed);
    }
    for (std::size_t compute = 0; compute < computesBefore; ++compute) {
        node.compute(nullptr);
    }
    const std::size_t before = allocationCount();
    node.compute(nullptr);
    return allocationCount() - before;
}

/// How often computing the levels upstream of a node allocates once that was done a few times. Loops may
/// still have to learn something now and then, so the least of several times counts.
std::size_t allocationsOfLevels(TessilGraph::NetworkManager& network, const std::string& name) {
    std::size_t least = ~std::size_t{0};
    for (int round = 0; round < 10; ++round) {
        network.setAllNodeDirty();
        const std::size_t before = allocationCount();
        network.computeNode(name, nullptr, parallel);
        if (round >= 5) {
            least = std::min(least, allocationCount() - before);
        }
    }
    return least;
}

std::string nameAt(int layer, int row) {
    return std::to_string(layer) + "-" + std::to_string(row);
}

}  // namespace

TEST(Allocation, IsCounted) {
    // The string grows beyond what it can hold in itself.
    const std::unique_ptr<Node> node(NodeFactory::instance().createNode("AddString"));
    EXPECT_GT(allocationsOf(*node, 0), 0u);
}

TEST(Allocation, IsCountedWhereMoreThanTheUsualAlignmentIsAsked) {
    constexpr std::align_val_t alignment{64};
    const std::size_t before = allocationCount();
    ::operator delete(::operator new(24, alignment), alignment);
    EXPECT_EQ(allocationCount() - before, 1u);
    ::operator delete[](::operator new[](24, alignment), alignment);
    EXPECT_EQ(allocationCount() - before, 2u);
}

TEST(Allocation, HappensInNoComputeThatWritesNoString) {
    for (const CatalogueRow& row : catalogueRows()) {
        if (row.outputs.find("StringPort") != std::string::npos) {
            continue;
        }
        // Curves and meshes prepare themselves for the first question.
        const bool asksGeometry = row.inputs.find("RefPort") != std::string::npos;
        const std::unique_ptr<Node> node(NodeFactory::instance().createNode(row.typeStr));
        EXPECT_EQ(allocationsOf(*node, asksGeometry ? 1 : 0), 0u) << row.typeStr;
    }
}

TEST(Allocation, HappensNotWhenAStringIsOnlyPassedOnAgain) {
    const std::unique_ptr<Node> node(NodeFactory::instance().createNode("IfString"));
    EXPECT_EQ(allocationsOf(*node, 1), 0u);
}

TEST(Allocation, HappensNotWhenTheLevelsOfAnUnchangedNetworkAreComputedAgain) {
    constexpr int layers = 20;
    constexpr int rows = 60;
    TessilGraph::NetworkManager network;
    for (int layer = 0; layer < layers; ++layer) {
        for (int row = 0; row < rows; ++row) {
            network.createNode("MultiplyMatrix", nameAt(layer, row));
            if (layer != 0) {
                network.connectAttr(nameAt(layer - 1, row), "out", nameAt(layer, row), "in1");
                network.connectAttr(nameAt(layer - 1, (row * 7 + layer) % rows), "out", nameAt(layer, row), "in2");
            }
        }
    }
    EXPECT_EQ(allocationsOfLevels(network, nameAt(layers - 1, 0)), 0u);
}

namespace {

/// Nodes that keep state, each of which reads two of the layer before and one of that before it. Returns the
/// name of one at the end.
std::string makeNodesThatReadTheirLevel(TessilGraph::NetworkManager& network) {
    constexpr int layers = 10;
    constexpr int rows = 4;
    for (int layer = 0; layer < layers; ++layer) {
        for (int row = 0; row < rows; ++row) {
            network.createNode("TimeNode", nameAt(layer, row));
            const auto read = [&](int from, const char* port) {
                if (from >= 0) {
                    EXPECT_TRUE(network.connectAttr(nameAt(from, (row + layer - from) % rows), "frame",
                                                    nameAt(layer, row), port));
                }
            };
            read(layer - 1, "inputFrame");
            read(layer - 1, "offset");
            read(layer - 2, "frameRate");
        }
    }
    return nameAt(layers - 1, 0);
}

}  // namespace

TEST(Allocation, HappensNotWhenNodesOfOneLevelReadEachOther) {
    TessilGraph::NetworkManager network;
    const std::string last = makeNodesThatReadTheirLevel(network);
    EXPECT_EQ(allocationsOfLevels(network, last), 0u);
}

TEST(Allocation, HappensNotHoweverOftenLevelsAreComputed) {
    // What grows by a little each time allocates now and then only.
    TessilGraph::NetworkManager network;
    const std::string last = makeNodesThatReadTheirLevel(network);
    std::size_t before = 0;
    for (int round = 0; round < 1500; ++round) {
        if (round == 100) {
            before = allocationCount();
        }
        network.setAllNodeDirty();
        network.computeNode(last, nullptr, parallel);
    }
    EXPECT_EQ(allocationCount() - before, 0u);
}
