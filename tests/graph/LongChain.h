#pragma once

#include <TessilGraph/graph/NetworkManager.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace tests {

/// A chain of probes, long enough that a manager keeps something from one evaluation to the next.
class LongChain : public testing::Test {
protected:
    using Names = std::vector<std::string>;

    static constexpr std::size_t length = 80;

    LongChain() {
        for (std::size_t place = 0; place < length; ++place) {
            nodes.push_back(new Pipe);
            network.addNode(nodes.back(), nameOf(place));
            if (place != 0) {
                EXPECT_TRUE(nodes[place - 1]->out()->connectTo(nodes[place]->in()));
            }
        }
    }

    static std::string nameOf(std::size_t place) { return "n" + std::to_string(100 + place); }

    static Names namesFrom(std::size_t first, std::size_t end = length) {
        Names names;
        for (; first < end; ++first) {
            names.push_back(nameOf(first));
        }
        return names;
    }

    static Names namesWithout(std::size_t first, std::size_t end) {
        Names names = namesFrom(0, first);
        for (const std::string& name : namesFrom(end)) {
            names.push_back(name);
        }
        return names;
    }

    /// What is computed when the last node is evaluated and everything was marked before.
    Names computed(bool useCache = false) {
        network.setAllNodeDirty();
        takeComputed();
        network.computeNode(nameOf(length - 1), nullptr, false, useCache);
        return takeComputed();
    }

    /// Evaluates until the manager has kept whatever it keeps.
    void warmUp(bool useCache = false) {
        if (useCache) {
            network.cacheNodeNetwork(nameOf(length - 1));
        }
        for (int time = 0; time < 4; ++time) {
            computed(useCache);
        }
    }

    TessilGraph::NetworkManager network;
    std::vector<Pipe*> nodes;
};

}  // namespace tests
