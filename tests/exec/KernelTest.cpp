#include <TessilGraph/TessilGraph.h>

#include "../nodes/CatalogueRows.h"
#include "../nodes/RandomValues.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

using namespace tests;
using TessilGraph::NetworkManager;
using TessilGraph::Node;
using TessilGraph::PreparedEvaluation;

namespace {

void randomiseInputs(Node& node, Numbers numbers) {
    for (auto port = node.inputPortBegin(); port != node.inputPortEnd(); ++port) {
        visitPort(**port, [&](auto& typed) {
            auto value = typed.get();
            if constexpr (std::is_same_v<decltype(value), double>) {
                value = randomDouble(numbers);
            } else {
                randomise(value, numbers);
            }
            typed.set(value);
        });
    }
}

std::string outputsOf(Node& node) {
    std::string text;
    for (auto port = node.outputPortBegin(); port != node.outputPortEnd(); ++port) {
        text += " " + (*port)->name() + " " + describe(**port);
    }
    return text;
}

}  // namespace

TEST(Kernels, GiveTheBitsOfCompute) {
    for (const CatalogueRow& row : catalogueRows()) {
        SCOPED_TRACE(row.typeStr);
        NetworkManager network;
        Node* node = network.createNode(row.typeStr, "node");
        const std::unique_ptr<Node> alike(node->clone());
        PreparedEvaluation evaluation(network, "node");
        for (std::uint32_t seed = 1; seed <= 1000; ++seed) {
            randomiseInputs(*node, Numbers(seed));
            randomiseInputs(*alike, Numbers(seed));
            alike->compute(nullptr);
            ASSERT_EQ(evaluation.run().computed, 1u);
            if (outputsOf(*node) != outputsOf(*alike)) {
                ADD_FAILURE() << "seed " << seed << ":" << outputsOf(*node) << " and not" << outputsOf(*alike);
                break;
            }
        }
    }
}
