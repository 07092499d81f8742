#include <TessilGraph/TessilGraph.h>

#include <tests/nodes/AllocationCount.h>

#include <gtest/gtest.h>

#include <string>

using namespace tests;
using TessilGraph::NetworkManager;
using TessilGraph::PortTemplate;
using TessilGraph::PreparedEvaluation;

TEST(PreparedAllocation, RunsOfAnUnchangedNetworkAllocateNothing) {
    TessilGraph::initTessilGraph();
    NetworkManager network;
    for (int i = 0; i < 500; ++i) {
        // Some with a kernel, some without.
        network.createNode(i % 5 == 0 ? "TimeNode" : "AddDouble", "n" + std::to_string(i));
        if (i % 5 > 1) {
            ASSERT_TRUE(network.connectAttr("n" + std::to_string(i - 1), "out", "n" + std::to_string(i), "in1"));
        } else if (i % 5 == 1) {
            ASSERT_TRUE(network.connectAttr("n" + std::to_string(i - 1), "frame", "n" + std::to_string(i), "in1"));
        } else if (i != 0) {
            ASSERT_TRUE(network.connectAttr("n" + std::to_string(i - 1), "out", "n" + std::to_string(i), "inputFrame"));
        }
    }
    auto& input = dynamic_cast<PortTemplate<double>&>(*network.getNode("n0")->getInputPort("inputFrame"));
    PreparedEvaluation evaluation(network, "n499");
    evaluation.run();
    input.set(1.0);
    evaluation.run();

    const std::size_t before = allocationCount();
    evaluation.run();
    EXPECT_EQ(allocationCount() - before, 0u);
    input.set(2.0);
    const std::size_t beforeRun = allocationCount();
    EXPECT_EQ(evaluation.run().computed, 500u);
    EXPECT_EQ(allocationCount() - beforeRun, 0u);
}
