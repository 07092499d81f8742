#include <TessilGraph/TessilGraph.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

namespace TessilGraph {
namespace {

/// A host's network of static duration. It is there before anything of the library is, and so it goes
/// last, at work to the end.
class LastHost {
public:
    NetworkManager network;

    ~LastHost() {
        if (network.getAllNodes().empty()) {
            return;
        }
        auto& sum = static_cast<AddNode<double, double, double, double>&>(*network.createNode("AddDouble", "late"));
        sum.input1Port()->set(2.0);
        sum.outputPort()->connectTo(network.getNode("early")->getInputPort("in1"));
        const bool withCache = true;
        network.computeNode("early");
        network.cacheNodeNetwork("early");
        for (int run = 1; run <= 3; ++run) {
            sum.input1Port()->set(run);
            network.computeNode("early", nullptr, false, withCache);
        }
        PreparedEvaluation prepared(network, "early");
        sum.input2Port()->set(4.0);
        prepared.run();
        const Port& out = *network.getNode("early")->getOutputPort("out");
        std::cerr << "came out as " << static_cast<const PortTemplate<double>&>(out).get() << ", "
                  << NodeFactory::instance().getRegisteredNodes().size() << " types" << std::endl;
    }
};

LastHost lastHost;

TEST(ProcessEnd, FindsTheLibraryAtTheServiceOfStaticNetworks) {
    const auto endWithANetwork = [] {
        initTessilGraph();
        lastHost.network.createNode("AddDouble", "early");
        std::exit(0);
    };
    EXPECT_EXIT(endWithANetwork(), testing::ExitedWithCode(0), "came out as 7, 98 types");
}

}  // namespace
}  // namespace TessilGraph
