#include "WaysOfEvaluating.h"

#include <TessilUtils/Logger.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using namespace tests;
using TessilGraph::NetworkManager;
using TessilGraph::Port;
using TessilGraph::PreparedEvaluation;

namespace {

/// a, b and c in a row, and by hand from b back to a, which is said whenever their order is found.
class MeddlingSinks : public testing::Test {
protected:
    MeddlingSinks() {
        for (const char* name : {"a", "b", "c"}) {
            network.createNode("FaultsDoer", name);
        }
        EXPECT_TRUE(network.connectAttr("a", "out", "b", "in1"));
        EXPECT_TRUE(network.connectAttr("b", "out", "c", "in1"));
        Port* output = network.getNode("b")->getOutputPort("out");
        Port* input = network.getNode("a")->getInputPort("in1");
        output->getConnections().push_back(input);
        input->getConnections().push_back(output);
        previous_ = TessilUtils::Logger::setSink([this](TessilUtils::LogLevel, const std::string&) {
            if (!std::exchange(wasTold, true)) {
                network.deleteNode("a");
            }
        });
    }
    ~MeddlingSinks() override { TessilUtils::Logger::setSink(std::move(previous_)); }

    void expectTheRestIsComputed() {
        EXPECT_TRUE(wasTold);
        EXPECT_EQ(network.getNodeNames(), (std::vector<std::string>{"b", "c"}));
        EXPECT_FALSE(network.getNode("b")->isDirty());
        EXPECT_FALSE(network.getNode("c")->isDirty());
    }

    NetworkManager network;
    bool wasTold = false;

private:
    TessilUtils::Logger::Sink previous_;
};

TEST_F(MeddlingSinks, MayDeleteWhatIsAboutToBeComputed) {
    network.computeNode("c");
    expectTheRestIsComputed();
}

TEST_F(MeddlingSinks, MayDeleteWhatALevelWalkWasAskedFor) {
    network.computeNode("c", nullptr, true);
    expectTheRestIsComputed();
}

TEST_F(MeddlingSinks, MayDeleteWhatIsBeingStored) {
    network.cacheNodeNetwork("c");
    network.computeNode("c", nullptr, false, true);
    expectTheRestIsComputed();
}

TEST_F(MeddlingSinks, MayDeleteWhatAPreparedRunIsAboutToCompute) {
    PreparedEvaluation(network, "c").run();
    expectTheRestIsComputed();
}

}  // namespace
