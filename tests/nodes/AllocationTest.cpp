#include "AllocationCount.h"
#include "CatalogueRows.h"
#include "NodeTesting.h"

#include <gtest/gtest.h>

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
