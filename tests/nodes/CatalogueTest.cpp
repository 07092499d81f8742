#include <TessilGraph/TessilGraph.h>

#include "CatalogueRows.h"
#include "NodeTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

using namespace tests;
using TessilGraph::Node;
using TessilGraph::NodeFactory;

namespace {

template <class Iterator>
std::string describePorts(Iterator begin, Iterator end) {
    std::string text;
    for (Iterator port = begin; port != end; ++port) {
        text += (port == begin ? "" : "; ") + (*port)->name() + " " + (*port)->typeStr() + " " + describe(**port);
    }
    return text;
}

std::vector<std::string> typeStrs() {
    std::vector<std::string> names;
    for (const CatalogueRow& row : catalogueRows()) {
        names.push_back(row.typeStr);
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

TEST(Catalogue, HasNinetyEightNodeTypes) {
    EXPECT_EQ(catalogueRows().size(), 98u);
}

TEST(Catalogue, IsPureButForTheNodesThatKeepStateOrCallAHostsClass) {
    std::vector<std::string> others;
    for (const CatalogueRow& row : catalogueRows()) {
        const std::unique_ptr<Node> node(NodeFactory::instance().createNode(row.typeStr));
        if (!TessilGraph::traitsOf(*node).pure) {
            others.push_back(row.typeStr);
        }
    }
    EXPECT_EQ(others, (std::vector<std::string>{"TimeNode", "ClosetPointOnCurve"}));
}

TEST(Catalogue, IsWhatTheFactoryListsInByteOrder) {
    EXPECT_EQ(NodeFactory::instance().getRegisteredNodes(), typeStrs());
}

TEST(Catalogue, NumbersRunFromOneToNinetyEightWithOneSharedAndOneReserved) {
    std::vector<unsigned int> expected;
    for (unsigned int id = 1; id <= 98; ++id) {
        if (id != 91) {
            expected.push_back(id);
        }
    }
    expected.insert(std::find(expected.begin(), expected.end(), 82u), 82u);
    std::vector<unsigned int> numbers;
    for (const CatalogueRow& row : catalogueRows()) {
        numbers.push_back(row.id);
    }
    EXPECT_EQ(numbers, expected);
}

TEST(Catalogue, EveryNodeFromTheFactoryIsAsItsRowSays) {
    for (const CatalogueRow& row : catalogueRows()) {
        SCOPED_TRACE(row.typeStr);
        const std::unique_ptr<Node> node(NodeFactory::instance().createNode(row.typeStr));
        ASSERT_NE(node, nullptr);
        EXPECT_EQ(node->typeStr(), row.typeStr);
        EXPECT_EQ(node->typeId(), row.id);
        EXPECT_EQ(node->baseNodeType(), 0);
        EXPECT_TRUE(node->isDirty());
        EXPECT_EQ(node->name(), "");
        EXPECT_EQ(describePorts(node->inputPortBegin(), node->inputPortEnd()), row.inputs);
        EXPECT_EQ(describePorts(node->outputPortBegin(), node->outputPortEnd()), row.outputs);
    }
}

TEST(Catalogue, EveryNodeKeepsItsRowThroughCloneAndReset) {
    for (const CatalogueRow& row : catalogueRows()) {
        SCOPED_TRACE(row.typeStr);
        const std::unique_ptr<Node> node(NodeFactory::instance().createNode(row.typeStr));
        ASSERT_NE(node, nullptr);
        int seed = 0;
        for (auto port = node->inputPortBegin(); port != node->inputPortEnd(); ++port) {
            setSample(**port, ++seed);
        }
        const std::string samples = describePorts(node->inputPortBegin(), node->inputPortEnd());
        node->compute(nullptr);

        const std::unique_ptr<Node> copy(node->clone());
        EXPECT_EQ(copy->typeStr(), row.typeStr);
        EXPECT_EQ(describePorts(copy->inputPortBegin(), copy->inputPortEnd()), samples);
        EXPECT_EQ(describePorts(copy->outputPortBegin(), copy->outputPortEnd()), row.outputs);

        node->reset();
        EXPECT_EQ(describePorts(node->inputPortBegin(), node->inputPortEnd()), row.inputs);
        EXPECT_EQ(describePorts(node->outputPortBegin(), node->outputPortEnd()), row.outputs);
    }
}

TEST(Catalogue, EveryNodeComputesWithoutAContext) {
    for (const CatalogueRow& row : catalogueRows()) {
        const std::unique_ptr<Node> node(NodeFactory::instance().createNode(row.typeStr));
        const bool needsGeometry = row.typeStr == "ClosetPointOnCurve" || row.typeStr == "MeshRayCast";
        EXPECT_EQ(node->compute(nullptr), !needsGeometry) << row.typeStr;
    }
}

TEST(Catalogue, ComputingNeverMarksANodeDirty) {
    for (const CatalogueRow& row : catalogueRows()) {
        const std::unique_ptr<Node> node(NodeFactory::instance().createNode(row.typeStr));
        node->setDirty(false);
        node->compute(nullptr);
        EXPECT_FALSE(node->isDirty()) << row.typeStr;
    }
}

TEST(Catalogue, AFirstLetterInLowerCaseIsForgiven) {
    for (const CatalogueRow& row : catalogueRows()) {
        std::string lower = row.typeStr;
        lower[0] = static_cast<char>(lower[0] - 'A' + 'a');
        const std::unique_ptr<Node> node(NodeFactory::instance().createNode(lower));
        ASSERT_NE(node, nullptr) << lower;
        EXPECT_EQ(node->typeStr(), row.typeStr);
    }
}

TEST(Catalogue, AFamilyThatWasDeregisteredCanBeRegisteredAgain) {
    NodeFactory& factory = NodeFactory::instance();
    factory.deregisterNode("BlendVectors");
    EXPECT_FALSE(factory.isRegistered("BlendVectors"));
    TessilGraph::registerBlendVectorsNode();
    EXPECT_TRUE(factory.isRegistered("BlendVectors"));
    EXPECT_EQ(factory.getRegisteredNodes(), typeStrs());
}

TEST(Catalogue, RegistersFamilyByFamily) {
    TessilGraph::registerDefaultNodes();
    Messages inOneGo = takeLog();
    EXPECT_EQ(inOneGo.size(), 98u);

    TessilGraph::registerUtilsNodes();
    TessilGraph::registerMathNodes();
    TessilGraph::registerVectorNodes();
    TessilGraph::registerMatrixNodes();
    TessilGraph::registerClosetPointOnCurveNode();
    TessilGraph::registerMeshRayCastNode();
    TessilGraph::registerBlendVectorsNode();
    TessilGraph::registerCompareNodes();
    TessilGraph::registerIfNodes();
    EXPECT_EQ(takeLog(), inOneGo);
}

TEST(Catalogue, StartsOnce) {
    TessilGraph::initTessilGraph();
    EXPECT_EQ(takeLog(), Messages{});
    EXPECT_TRUE(NodeFactory::instance().isRegistered("TimeNode"));
}
