#include <TessilGraph/TessilGraph.h>

#include <tests/nodes/CatalogueRows.h>
#include <tests/nodes/RandomValues.h>
#include <tests/support/Seeds.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

using namespace tests;
using TessilGraph::NetworkManager;
using TessilGraph::Node;
using TessilGraph::Port;
using TessilGraph::PreparedEvaluation;

namespace {

void randomiseInputs(Node& node, Numbers numbers) {
    for (Port* port : inputsOf(node)) {
        randomise(*port, numbers);
    }
}

}  // namespace

TEST(Kernels, GiveTheBitsOfCompute) {
    for (const CatalogueRow& row : catalogueRows()) {
        SCOPED_TRACE(row.typeStr);
        NetworkManager network;
        Node* node = network.createNode(row.typeStr, "node");
        const std::unique_ptr<Node> alike(node->clone());
        PreparedEvaluation evaluation(network, "node");
        for (const std::uint32_t seed : seeds(1000)) {
            randomiseInputs(*node, Numbers(seed));
            randomiseInputs(*alike, Numbers(seed));
            alike->compute(nullptr);
            ASSERT_EQ(evaluation.run().computed, 1u);
            const std::string given = describe(outputsOf(*node));
            const std::string expected = describe(outputsOf(*alike));
            if (given != expected) {
                ADD_FAILURE() << "seed " << seed << ":" << given << " and not" << expected;
                break;
            }
        }
    }
}
