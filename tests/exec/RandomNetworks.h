#pragma once

#include <TessilGraph/TessilGraph.h>

#include <tests/nodes/CatalogueRows.h>
#include <tests/nodes/RandomValues.h>
#include <tests/support/Seeds.h>

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tests {

/// A host's node: takes so long that running it beside others pays.
class SlowSum : public TessilGraph::NodeShape<SlowSum> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(20);
        while (std::chrono::steady_clock::now() < end) {
        }
        out_->set(in1_->get() + in2_->get());
        return true;
    }

private:
    TessilGraph::PortTemplate<double>* in1_ = TessilGraph::addInput<double>(*this, "in1");
    TessilGraph::PortTemplate<double>* in2_ = TessilGraph::addInput<double>(*this, "in2");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

/// The same, never beside others.
class LonelySum : public TessilGraph::NodeShape<LonelySum> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        out_->set(in1_->get() * 0.5 + in2_->get());
        return true;
    }

private:
    TessilGraph::PortTemplate<double>* in1_ = TessilGraph::addInput<double>(*this, "in1");
    TessilGraph::PortTemplate<double>* in2_ = TessilGraph::addInput<double>(*this, "in2");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

/// Counts how often it was computed.
class Counter : public TessilGraph::NodeShape<Counter> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        out_->set(out_->get() + 1.0 + in_->get() * 0.0);
        return true;
    }

private:
    TessilGraph::PortTemplate<double>* in_ = TessilGraph::addInput<double>(*this, "in");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

}  // namespace tests

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::SlowSum>{"SlowSum", 9201};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::LonelySum>{"LonelySum", 9202, aloneNode};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::Counter>{"Counter", 9203, statefulNode};

namespace tests {

inline const bool hostTypesAreRegistered = (TessilGraph::registerNodes<SlowSum, LonelySum, Counter>(), true);

/// Two networks to which the same things are done, by the same numbers: one is evaluated by what was
/// prepared, the other by an order that is stored anew each time.
class RandomNetworks {
public:
    using NetworkManager = TessilGraph::NetworkManager;
    using Node = TessilGraph::Node;
    using Port = TessilGraph::Port;

    RandomNetworks(std::uint32_t seed, std::size_t size) : numbers_(seed), firstType_(seed * size) {
        for (std::size_t index = 0; index < size; ++index) {
            addNode();
        }
        for (std::size_t count = 0; count < size; ++count) {
            connect();
        }
        for (int count = 0; count < 3; ++count) {
            evaluations_.emplace_back(subject_, std::vector<std::string>{anyName(), anyName()});
        }
    }

    void change(std::uint32_t operations) {
        for (std::uint32_t count = 0; count < operations; ++count) {
            changeOnce();
        }
    }

    /// Links, nodes and names stay as they are.
    void changeValues(std::uint32_t operations) {
        for (std::uint32_t count = 0; count < operations; ++count) {
            setValue();
        }
    }

    void evaluate(const TessilGraph::RunOptions& options) {
        TessilGraph::PreparedEvaluation& evaluation =
            evaluations_[numbers_.below(static_cast<std::uint32_t>(evaluations_.size()))];
        evaluation.run(nullptr, options);
        for (const std::string& target : evaluation.targets()) {
            reference_.cacheNodeNetwork(target);
            reference_.computeNode(target, nullptr, false, true);
            reference_.clearNodeNetworkCache(target);
        }
    }

    void replaceAnEvaluation() {
        const std::uint32_t place = numbers_.below(static_cast<std::uint32_t>(evaluations_.size()));
        evaluations_[place] = TessilGraph::PreparedEvaluation(subject_, std::vector<std::string>{anyName(), anyName()});
    }

    void compare() {
        const std::vector<std::string> expected = stateOf(reference_);
        ASSERT_EQ(stateOf(subject_), expected);
    }

private:
    std::string anyName() { return names_[numbers_.below(static_cast<std::uint32_t>(names_.size()))]; }

    void both(const std::function<void(NetworkManager&, Numbers&)>& apply) {
        Numbers again = numbers_;
        apply(subject_, numbers_);
        apply(reference_, again);
    }

    void addNode() {
        static const std::array<const char*, 5> hostTypes{"SlowSum", "SlowSum", "SlowSum", "LonelySum", "Counter"};
        const std::vector<CatalogueRow>& rows = catalogueRows();
        const bool ofHost = numbers_.below(3) == 0;
        const std::string type = ofHost ? hostTypes[numbers_.below(hostTypes.size())]
                                        : rows[(firstType_ + names_.size()) * 37 % rows.size()].typeStr;
        std::string name;
        both([&](NetworkManager& network, Numbers& numbers) {
            Node* node = network.createNode(type, "node");
            name = node->name();
            for (Port* port : inputsOf(*node)) {
                randomise(*port, numbers);
            }
        });
        names_.push_back(name);
    }

    void connect() {
        const std::string first = anyName(), second = anyName();
        const bool anyOrder = numbers_.below(4) == 0;
        both([&](NetworkManager& network, Numbers& numbers) {
            Node* source = network.getNode(first);
            Node* target = network.getNode(second);
            if (source == nullptr || target == nullptr) {
                return;
            }
            // Mostly along the order of creation.
            if (!anyOrder && std::stoul("0" + second.substr(second.find_last_not_of("0123456789") + 1)) <
                                 std::stoul("0" + first.substr(first.find_last_not_of("0123456789") + 1))) {
                std::swap(source, target);
            }
            if (connectAny(*source, *target, numbers)) {
                target->setDirty(true);
            }
        });
        takeLog();
    }

    void disconnect() {
        const std::string name = anyName();
        both([&](NetworkManager& network, Numbers&) {
            if (Node* node = network.getNode(name)) {
                for (Port* input : inputsOf(*node)) {
                    if (Port* source = input->input()) {
                        input->disconnectFrom(source);
                        node->setDirty(true);
                        return;
                    }
                }
            }
        });
    }

    void setValue() {
        const std::string name = anyName();
        both([&](NetworkManager& network, Numbers& numbers) {
            Node* node = network.getNode(name);
            if (node == nullptr) {
                return;
            }
            if (Port* port = anyInput(*node, numbers)) {
                randomise(*port, numbers);
            }
        });
    }

    void bind() {
        static double outside[4] = {1.5, -2.5, 3.5, -0.0};
        const std::string name = anyName();
        const std::uint32_t which = numbers_.below(6);
        both([&](NetworkManager& network, Numbers& numbers) {
            Node* node = network.getNode(name);
            if (node == nullptr) {
                return;
            }
            Port* port = anyOf(numbers.below(2) == 0 ? inputsOf(*node) : outputsOf(*node), numbers);
            if (auto* typed = dynamic_cast<TessilGraph::PortTemplate<double>*>(port)) {
                typed->setLink(which < 4 ? &outside[which] : nullptr);
                node->setDirty(true);
            }
        });
    }

    void remove() {
        const std::string name = anyName();
        both([&](NetworkManager& network, Numbers&) {
            Node* node = network.getNode(name);
            if (node == nullptr) {
                return;
            }
            for (const Port* output : outputsOf(*node)) {
                for (Port* peer : output->getConnections()) {
                    peer->node()->setDirty(true);
                }
            }
            network.deleteNode(name);
        });
    }

    void rename() {
        const std::string name = anyName();
        for (std::string& known : names_) {
            if (known == name) {
                std::string fresh;
                both([&](NetworkManager& network, Numbers&) {
                    if (Node* node = network.getNode(name)) {
                        network.renameNode(name, "other");
                        fresh = node->name();
                    }
                });
                if (!fresh.empty()) {
                    known = fresh;
                }
                return;
            }
        }
    }

    void mark() {
        const std::string name = anyName();
        const std::uint32_t how = numbers_.below(4);
        both([&](NetworkManager& network, Numbers&) {
            Node* node = network.getNode(name);
            if (node == nullptr) {
                return;
            }
            if (how == 0) {
                node->setDirtyFlag();
            } else if (how == 1) {
                network.computeNode(name);
            } else if (how == 2 && !node->isDirty()) {
                node->setDirty(false);
            } else {
                node->setDirty(true);
            }
        });
    }

    void lend() {
        const std::string name = anyName();
        both([&](NetworkManager& network, Numbers&) {
            if (Node* node = network.getNode(name)) {
                for (Port* input : inputsOf(*node)) {
                    static_cast<void>(input->getConnections());
                }
            }
        });
    }

    void changeOnce() {
        switch (numbers_.below(16)) {
            case 0:
                return addNode();
            case 1:
                return remove();
            case 2:
                return rename();
            case 3:
                return bind();
            case 4:
                return disconnect();
            case 5:
            case 6:
                return connect();
            case 7:
            case 8:
                return mark();
            case 9:
                return lend();
            default:
                return setValue();
        }
    }

    static std::vector<std::string> stateOf(NetworkManager& network) {
        std::vector<std::string> state;
        for (Node* node : network.getAllNodes()) {
            state.push_back(node->name() + " " + node->typeStr() + (node->isDirty() ? " dirty" : " clean") +
                            describe(outputsOf(*node)) + describe(inputsOf(*node)));
        }
        return state;
    }

    Numbers numbers_;
    std::size_t firstType_;
    NetworkManager subject_;
    NetworkManager reference_;
    std::vector<std::string> names_;
    std::vector<TessilGraph::PreparedEvaluation> evaluations_;
};

/// Does random things to random networks, evaluates and compares.
inline void checkRandomNetworks(std::uint32_t usualSeeds, const TessilGraph::RunOptions& options) {
    for (const std::uint32_t seed : seeds(usualSeeds)) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        RandomNetworks networks(seed, 70);
        for (std::uint32_t round = 0; round < 14; ++round) {
            SCOPED_TRACE("round " + std::to_string(round));
            // The wiring stays for a few rounds at a time.
            if (round % 4 == 3) {
                networks.change(6);
            } else {
                networks.changeValues(5);
            }
            if (round % 5 == 4) {
                networks.replaceAnEvaluation();
            }
            networks.evaluate(options);
            ASSERT_NO_FATAL_FAILURE(networks.compare());
        }
    }
}

}  // namespace tests
