#pragma once

#include <TessilGraph/graph/NetworkManager.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <string>

namespace tests {

/// An empty network and short ways to fill it.
class ProbeNetwork : public testing::Test {
protected:
    ProbeNetwork() { takeComputed(); }

    template <class N>
    N* add(const std::string& name) {
        auto* node = new N;
        network.addNode(node, name);
        return node;
    }

    void connect(const std::string& from, const std::string& to, const std::string& in = "in1") {
        ASSERT_TRUE(network.connectAttr(from, "out", to, in)) << from << " to " << to;
    }

    TessilGraph::NetworkManager network;
};

}  // namespace tests
