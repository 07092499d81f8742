#pragma once

#include <TessilGraph/TessilGraph.h>

#include "CatalogueRows.h"
#include "MatrixTesting.h"
#include "NodeTesting.h"
#include "RandomValues.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tests {

// Networks of nodes of all types of the catalogue, the same ones for the same seed.

/// How many of them hold every type, at that size.
inline constexpr std::uint32_t networkCount = 40;
inline constexpr std::size_t nodesPerNetwork = 70;

inline bool isTime(const TessilGraph::Node& node) {
    return node.typeStr() == "TimeNode";
}

/// A time node that is computed again at the same frame stays where it is, as long as its frames are finite;
/// the level walk relies on that.
inline void randomiseInput(TessilGraph::Port& port, Numbers& numbers) {
    auto* number = dynamic_cast<TessilGraph::PortTemplate<double>*>(&port);
    if (number != nullptr && isTime(*port.node())) {
        number->set(numbers.between(-3.0, 3.0));
    } else {
        randomise(port, numbers);
    }
}

struct BuiltNodes {
    std::vector<std::string> names;  ///< Every node after those that feed it.
    std::size_t connections = 0;
};

/// Gives a network `size` nodes whose types begin at some type of the catalogue, in shuffled order. Where
/// `hostType` is given, every fourth node is one of these.
inline BuiltNodes buildNodes(TessilGraph::NetworkManager& network, std::uint32_t seed, std::size_t size,
                             const std::string& hostType = {}) {
    using TessilGraph::Port;
    Numbers numbers(seed);
    BuiltNodes built;
    std::vector<std::pair<std::string, Port*>> outputs;
    const std::vector<CatalogueRow>& rows = catalogueRows();
    const std::size_t firstType = seed * size;
    for (std::size_t index = 0; index < size; ++index) {
        // The step has no factor in common with the number of types: one after another, all come up.
        const std::string& type =
            !hostType.empty() && index % 4 == 3 ? hostType : rows[(firstType + index) * 37 % rows.size()].typeStr;
        TessilGraph::Node* node = network.createNode(type, "node");
        built.names.push_back(node->name());
        for (Port* port : inputsOf(*node)) {
            randomiseInput(*port, numbers);
            std::vector<std::pair<std::string, Port*>> fitting;
            std::copy_if(outputs.begin(), outputs.end(), std::back_inserter(fitting),
                         [&](const auto& output) { return output.second->typeStr() == port->typeStr(); });
            if (!fitting.empty() && numbers.below(4) != 0 && !isTime(*node)) {
                const auto& [source, output] = fitting[numbers.below(static_cast<std::uint32_t>(fitting.size()))];
                EXPECT_TRUE(network.connectAttr(source, output->name(), node->name(), port->name()));
                ++built.connections;
            }
        }
        for (Port* port : outputsOf(*node)) {
            outputs.emplace_back(node->name(), port);
        }
    }
    return built;
}

/// Name, dirty flag and outputs of every node.
inline std::vector<std::string> stateOf(TessilGraph::NetworkManager& network) {
    std::vector<std::string> state;
    for (TessilGraph::Node* node : network.getAllNodes()) {
        state.push_back(node->name() + " " + node->typeStr() + (node->isDirty() ? " dirty" : " clean") +
                        describe(outputsOf(*node)));
    }
    return state;
}

/// One network several times over, each evaluated in a way of its own.
class EveryWay {
public:
    EveryWay(std::uint32_t seed, std::size_t size, const std::string& hostType = {})
        : seed_(seed), size_(size), hostType_(hostType), built_(buildNodes(serial_, seed, size, hostType)) {
        chooseTargets();
        addBuilt("by stored orders").useCache = true;
        for (const std::string& target : targets_) {
            ways_.back().network.cacheNodeNetwork(target);
        }
        addBuilt("level by level").parallel = true;
        ways_.emplace_back("cloned", serial_);
        addAssigned("copied, level by level").parallel = true;
        prepare(addBuilt("prepared"));
        prepare(ways_.emplace_back("cloned and prepared, in parallel", serial_)).options.parallel = true;
        prepare(addAssigned("copied and prepared, cut off")).options.cutOff = true;
        TessilGraph::RunOptions& both = prepare(addBuilt("prepared, cut off in parallel")).options;
        both.parallel = true;
        both.cutOff = true;
    }

    std::size_t connections() const { return built_.connections; }

    void addTypesTo(std::set<std::string>& types) {
        for (const TessilGraph::Node* node : serial_.getAllNodes()) {
            types.insert(node->typeStr());
        }
    }

    /// Evaluates all of them, again after each change of some inputs. Says which one was first to differ from what
    /// plain serial evaluation leaves; nothing when none was.
    std::string difference(std::uint32_t rounds) {
        for (std::uint32_t round = 0; round < rounds; ++round) {
            for (const std::string& target : targets_) {
                serial_.computeNode(target);
            }
            const std::vector<std::string> expected = stateOf(serial_);
            for (Way& way : ways_) {
                for (std::size_t place = 0; place < targets_.size(); ++place) {
                    way.compute(place, targets_[place]);
                }
                const std::string other = firstDifference(stateOf(way.network), expected);
                if (!other.empty()) {
                    return way.name + ", round " + std::to_string(round) + ": " + other;
                }
            }
            const Numbers changes(seed_ * 100 + round);
            changeInputs(serial_, changes);
            for (Way& way : ways_) {
                changeInputs(way.network, changes);
            }
        }
        return {};
    }

private:
    struct Way {
        explicit Way(std::string wayName) : name(std::move(wayName)) {}
        Way(std::string wayName, const TessilGraph::NetworkManager& original)
            : name(std::move(wayName)), network(original.clone()) {}

        void compute(std::size_t place, const std::string& target) {
            if (prepared.empty()) {
                network.computeNode(target, nullptr, parallel, useCache);
            } else {
                prepared[place].run(nullptr, options);
            }
        }

        std::string name;
        TessilGraph::NetworkManager network;
        bool parallel = false;
        bool useCache = false;
        std::vector<TessilGraph::PreparedEvaluation> prepared;  ///< One for each target, or none.
        TessilGraph::RunOptions options;
    };

    /// The last nodes and some others.
    void chooseTargets() {
        Numbers numbers(seed_ + 1000);
        for (int count = 0; count < 5; ++count) {
            targets_.push_back(anyName(numbers));
        }
        targets_.insert(targets_.end(), built_.names.rbegin(), built_.names.rbegin() + 12);
    }

    Way& addBuilt(const std::string& name) {
        Way& way = ways_.emplace_back(name);
        buildNodes(way.network, seed_, size_, hostType_);
        return way;
    }

    Way& addAssigned(const std::string& name) {
        Way& way = ways_.emplace_back(name);
        way.network = serial_;
        return way;
    }

    Way& prepare(Way& way) {
        for (const std::string& target : targets_) {
            way.prepared.emplace_back(way.network, target);
        }
        return way;
    }

    const std::string& anyName(Numbers& numbers) const {
        return built_.names[numbers.below(static_cast<std::uint32_t>(built_.names.size()))];
    }

    /// The same inputs get the same values for the same state of `numbers`.
    void changeInputs(TessilGraph::NetworkManager& network, Numbers numbers) const {
        for (int count = 0; count < 8; ++count) {
            if (TessilGraph::Port* port = anyInput(*network.getNode(anyName(numbers)), numbers)) {
                randomiseInput(*port, numbers);
            }
        }
    }

    static std::string firstDifference(const std::vector<std::string>& state,
                                       const std::vector<std::string>& expected) {
        if (state.size() != expected.size()) {
            return std::to_string(state.size()) + " nodes, not " + std::to_string(expected.size());
        }
        const auto [own, other] = std::mismatch(state.begin(), state.end(), expected.begin());
        return own == state.end() ? std::string() : *own + ", not " + *other;
    }

    std::uint32_t seed_;
    std::size_t size_;
    std::string hostType_;
    TessilGraph::NetworkManager serial_;
    BuiltNodes built_;
    std::vector<std::string> targets_;
    std::deque<Way> ways_;
};

}  // namespace tests
