#include <TessilGraph/graph/NetworkManager.h>

#include "CatalogueRows.h"
#include "MatrixTesting.h"
#include "NodeTesting.h"
#include "RandomValues.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

using namespace tests;
using TessilGraph::NetworkManager;
using TessilGraph::Node;
using TessilGraph::Port;

namespace {

bool isTime(Node& node) {
    return node.typeStr() == "TimeNode";
}

/// A time node that is computed again at the same frame stays where it is, as long as its frames are finite;
/// the level walk relies on that.
void randomiseInput(Port& port, Numbers& numbers) {
    auto* number = dynamic_cast<TessilGraph::PortTemplate<double>*>(&port);
    if (number != nullptr && isTime(*port.node())) {
        number->set(numbers.between(-3.0, 3.0));
    } else {
        randomise(port, numbers);
    }
}

/// A network of `size` nodes whose types begin at `firstType` of the catalogue, in shuffled order.
struct Built {
    NetworkManager network;
    std::vector<std::string> names;  // every node after those that feed it
    std::size_t connections = 0;
};

Built build(std::uint32_t seed, std::size_t size) {
    Numbers numbers(seed);
    Built built;
    std::vector<std::pair<std::string, Port*>> outputs;
    const std::vector<CatalogueRow>& rows = catalogueRows();
    const std::size_t firstType = seed * size;
    for (std::size_t index = 0; index < size; ++index) {
        // The step has no factor in common with the number of types: one after another, all come up.
        const CatalogueRow& row = rows[(firstType + index) * 37 % rows.size()];
        Node* node = built.network.createNode(row.typeStr, "node");
        built.names.push_back(node->name());
        for (auto port = node->inputPortBegin(); port != node->inputPortEnd(); ++port) {
            randomiseInput(**port, numbers);
            std::vector<std::pair<std::string, Port*>> fitting;
            std::copy_if(outputs.begin(), outputs.end(), std::back_inserter(fitting),
                         [&](const auto& output) { return output.second->typeStr() == (*port)->typeStr(); });
            if (!fitting.empty() && numbers.below(4) != 0 && !isTime(*node)) {
                const auto& [source, output] = fitting[numbers.below(static_cast<std::uint32_t>(fitting.size()))];
                EXPECT_TRUE(built.network.connectAttr(source, output->name(), node->name(), (*port)->name()));
                ++built.connections;
            }
        }
        for (auto port = node->outputPortBegin(); port != node->outputPortEnd(); ++port) {
            outputs.emplace_back(node->name(), *port);
        }
    }
    return built;
}

/// The nodes that are asked for: the last ones and some others.
std::vector<std::string> targetsOf(const Built& built, Numbers& numbers) {
    std::vector<std::string> targets;
    for (int count = 0; count < 5; ++count) {
        targets.push_back(built.names[numbers.below(static_cast<std::uint32_t>(built.names.size()))]);
    }
    targets.insert(targets.end(), built.names.rbegin(), built.names.rbegin() + 12);
    return targets;
}

/// Changes some inputs, the same ones to the same values for the same state of `numbers`.
void change(NetworkManager& network, const std::vector<std::string>& names, Numbers numbers) {
    for (int count = 0; count < 8; ++count) {
        Node* node = network.getNode(names[numbers.below(static_cast<std::uint32_t>(names.size()))]);
        if (Port* port = anyInput(*node, numbers)) {
            randomiseInput(*port, numbers);
        }
    }
}

/// Name, dirty flag and outputs of every node.
std::vector<std::string> stateOf(NetworkManager& network) {
    std::vector<std::string> state;
    for (Node* node : network.getAllNodes()) {
        state.push_back(node->name() + " " + node->typeStr() + (node->isDirty() ? " dirty" : " clean") +
                        describe(outputsOf(*node)));
    }
    return state;
}

constexpr std::uint32_t networks = 40;
constexpr std::size_t nodesPerNetwork = 70;
constexpr int rounds = 4;

}  // namespace

TEST(BuiltInNetworks, GiveTheSameBitsHoweverTheyAreEvaluated) {
    for (std::uint32_t seed = 1; seed <= networks; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Built serial = build(seed, nodesPerNetwork);
        Built stored = build(seed, nodesPerNetwork);
        Built level = build(seed, nodesPerNetwork);
        NetworkManager clone = serial.network.clone();
        ASSERT_GT(serial.connections, nodesPerNetwork / 2);

        Numbers numbers(seed + 1000);
        const std::vector<std::string> targets = targetsOf(serial, numbers);
        for (const std::string& target : targets) {
            stored.network.cacheNodeNetwork(target);
        }
        for (int round = 0; round < rounds; ++round) {
            for (const std::string& target : targets) {
                const bool parallel = true, useCache = true;
                serial.network.computeNode(target, nullptr, !parallel, !useCache);
                stored.network.computeNode(target, nullptr, !parallel, useCache);
                level.network.computeNode(target, nullptr, parallel, !useCache);
                clone.computeNode(target, nullptr, !parallel, !useCache);
            }
            const std::vector<std::string> expected = stateOf(serial.network);
            ASSERT_EQ(stateOf(stored.network), expected) << "stored order, round " << round;
            ASSERT_EQ(stateOf(level.network), expected) << "level by level, round " << round;
            ASSERT_EQ(stateOf(clone), expected) << "clone, round " << round;

            const Numbers changes(seed * 100 + static_cast<std::uint32_t>(round));
            for (NetworkManager* network : {&serial.network, &stored.network, &level.network, &clone}) {
                change(*network, serial.names, changes);
            }
        }
    }
}

TEST(BuiltInNetworks, ClonedAfterAnEvaluationAreEvaluatedAfresh) {
    for (std::uint32_t seed = 1; seed <= networks; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Built original = build(seed, nodesPerNetwork);
        for (const std::string& name : original.names) {
            original.network.computeNode(name);
        }
        const std::vector<std::string> expected = stateOf(original.network);
        NetworkManager clone = original.network.clone();
        for (const std::string& name : original.names) {
            EXPECT_TRUE(clone.getNode(name)->isDirty());
            clone.computeNode(name);
        }
        EXPECT_EQ(stateOf(clone), expected);
    }
}

TEST(BuiltInNetworks, HoldEveryTypeAndMoveWithTheirInputs) {
    std::set<std::string> types;
    std::size_t changed = 0;
    for (std::uint32_t seed = 1; seed <= networks; ++seed) {
        Built built = build(seed, nodesPerNetwork);
        for (Node* node : built.network.getAllNodes()) {
            types.insert(node->typeStr());
            const std::string before = describe(outputsOf(*node));
            built.network.computeNode(node->name());
            changed += describe(outputsOf(*node)) != before ? 1 : 0;
        }
    }
    EXPECT_EQ(types.size(), catalogueRows().size());
    EXPECT_GT(changed, networks * nodesPerNetwork / 2);
}
