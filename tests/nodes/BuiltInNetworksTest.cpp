#include <tests/exec/RandomNetworks.h>
#include <tests/support/Seeds.h>
#include "BuiltInNetworks.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

using namespace tests;
using TessilGraph::NetworkManager;
using TessilGraph::Node;

namespace {

constexpr std::uint32_t rounds = 4;

/// For the length of a test, another rounding than the one that threads begin with.
class Rounding {
public:
    explicit Rounding(int mode) { std::fesetround(mode); }
    ~Rounding() { std::fesetround(usual_); }
    Rounding(const Rounding&) = delete;
    Rounding& operator=(const Rounding&) = delete;

private:
    int usual_ = std::fegetround();
};

}  // namespace

TEST(BuiltInNetworks, GiveTheSameBitsHoweverTheyAreEvaluated) {
    for (const std::uint32_t seed : seeds(networkCount)) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        EveryWay networks(seed, nodesPerNetwork);
        ASSERT_GT(networks.connections(), nodesPerNetwork / 2);
        ASSERT_EQ(networks.difference(rounds), "");
    }
}

TEST(BuiltInNetworks, GiveTheSameBitsHoweverTheyAreEvaluatedWithTheRoundingOfTheHost) {
    const Rounding upward(FE_UPWARD);
    for (const std::uint32_t seed : seeds(10)) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        ASSERT_EQ(EveryWay(seed, nodesPerNetwork, "SlowSum").difference(rounds), "");
    }
}

TEST(BuiltInNetworks, ClonedAfterAnEvaluationAreEvaluatedAfresh) {
    for (const std::uint32_t seed : seeds(networkCount)) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        NetworkManager original;
        const std::vector<std::string> names = buildNodes(original, seed, nodesPerNetwork).names;
        for (const std::string& name : names) {
            original.computeNode(name);
        }
        const std::vector<std::string> expected = stateOf(original);
        NetworkManager clone = original.clone();
        for (const std::string& name : names) {
            EXPECT_TRUE(clone.getNode(name)->isDirty());
            clone.computeNode(name);
        }
        EXPECT_EQ(stateOf(clone), expected);
    }
}

TEST(BuiltInNetworks, HoldEveryTypeAndMoveWithTheirInputs) {
    std::set<std::string> types;
    std::size_t changed = 0;
    for (std::uint32_t seed = 1; seed <= networkCount; ++seed) {
        NetworkManager network;
        buildNodes(network, seed, nodesPerNetwork);
        for (Node* node : network.getAllNodes()) {
            types.insert(node->typeStr());
            const std::string before = describe(outputsOf(*node));
            network.computeNode(node->name());
            changed += describe(outputsOf(*node)) != before ? 1 : 0;
        }
    }
    EXPECT_EQ(types.size(), 98u);
    EXPECT_GT(changed, networkCount * nodesPerNetwork / 2);
}
