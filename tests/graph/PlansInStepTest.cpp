#include <TessilGraph/TessilGraph.h>

#include <tests/nodes/CatalogueRows.h>
#include <tests/nodes/RandomValues.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/Seeds.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

/// What host nodes did, in order.
std::vector<std::string>& record() {
    static std::vector<std::string> names;
    return names;
}

/// A host's node, which may do something to its network while it is computed.
class Meddler : public TessilGraph::NodeShape<Meddler> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        record().push_back(name());
        if (onCompute) {
            onCompute();
        }
        out_->set(in1_->get() * 0.5 + in2_->get());
        return true;
    }

    std::function<void()> onCompute;

private:
    TessilGraph::PortTemplate<double>* in1_ = TessilGraph::addInput<double>(*this, "in1");
    TessilGraph::PortTemplate<double>* in2_ = TessilGraph::addInput<double>(*this, "in2");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

}  // namespace

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<Meddler>{"Meddler", 9401, statefulNode};

namespace TessilGraph {
namespace {

using tests::inputsOf;
using tests::Numbers;
using tests::outputsOf;
using tests::takeLog;

constexpr std::size_t size = 150;

/// A network and what a test holds of it.
struct Side {
    NetworkManager network;
    std::vector<Port*> removed;                               ///< Ports that stand in no node.
    std::vector<std::pair<Port*, std::vector<Port*>*>> lent;  ///< Lists that were asked for at some time.
    std::array<double, 4> outside{1.5, -2.5, 3.5, -0.0};

    ~Side() {
        network.cleanNetwork();
        for (Port* port : removed) {
            delete port;
        }
    }
};

enum class Nodes {
    Plain,     ///< Double and vector arithmetic.
    All,       ///< Some of all types, and host nodes.
    Meddling,  ///< The same, and the host nodes do something to their network.
};

/// Two networks to which the same things are done, by the same numbers. One keeps what it keeps from
/// evaluation to evaluation; the other one never can, since its wiring changes before each.
class InStep {
public:
    InStep(std::uint32_t seed, Nodes nodes) : numbers_(seed), nodes_(nodes) {
        initTessilGraph();
        static const bool known = (registerNodes<Meddler>(), true);
        static_cast<void>(known);
        for (std::size_t count = 0; count < size; ++count) {
            addNode();
            linkToOneBefore();
        }
        for (std::size_t count = 0; count < 3 * size; ++count) {
            connect();
        }
        // All of it leads to one node, so that plans are long.
        target_ = names_.back();
        for (const std::string& name : {target_, names_[size / 2]}) {
            both([&](Side& side, Numbers&) { side.network.cacheNodeNetwork(name); });
        }
        for (Side* side : {&subject_, &reference_}) {
            for (const char* name : {"spare one", "spare two"}) {
                side->network.addNode(new Meddler, name);
            }
        }
    }

    void change(std::uint32_t operations) {
        for (std::uint32_t count = 0; count < operations; ++count) {
            changeOnce();
        }
    }

    void changeValues(std::uint32_t operations) {
        for (std::uint32_t count = 0; count < operations; ++count) {
            numbers_.below(3) == 0 ? mark() : setValue();
        }
    }

    /// Lets a host's node do something the next times that it is computed.
    void meddle() {
        if (nodes_ != Nodes::Meddling) {
            return;
        }
        const std::uint32_t how = numbers_.below(8);
        const std::string other = anyName();
        withNode([how, other](Side& side, Node& node, Numbers&) {
            auto* meddler = dynamic_cast<Meddler*>(&node);
            if (meddler == nullptr) {
                return;
            }
            const auto toOther = [&side, other](const std::function<void(Node&)>& apply) {
                return [&side, other, apply] {
                    if (Node* found = side.network.getNode(other)) {
                        apply(*found);
                    }
                };
            };
            switch (how) {
                case 0:
                    meddler->onCompute = [] { throw std::runtime_error("not now"); };
                    break;
                case 1:
                    meddler->onCompute = toOther([](Node& found) { found.setProfileTime(3); });
                    break;
                case 2:
                    meddler->onCompute = toOther([](Node& found) { found.setDirty(true); });
                    break;
                case 3:
                    meddler->onCompute = toOther([](Node& found) { found.setDirty(false); });
                    break;
                case 4:
                    meddler->onCompute = toOther([](Node& found) {
                        for (Port* input : inputsOf(found)) {
                            if (auto* typed = dynamic_cast<PortTemplate<double>*>(input)) {
                                typed->set(typed->get() + 1.0);
                            }
                        }
                    });
                    break;
                case 5:
                    meddler->onCompute = toOther([&side](Node& found) {
                        for (Port* port : outputsOf(found)) {
                            if (auto* typed = dynamic_cast<PortTemplate<double>*>(port)) {
                                typed->setLink(&side.outside[1]);
                            }
                        }
                    });
                    break;
                default:
                    meddler->onCompute = nullptr;
            }
        });
    }

    /// Everything, or what became dirty, by a walk or a stored order.
    void evaluate() { evaluate(numbers_.below(3) != 0); }

    void evaluate(bool everything) {
        const bool useCache = numbers_.below(2) == 0;
        const std::string name = numbers_.below(4) == 0 ? names_[size / 2] : target_;
        disturb(reference_.network);
        std::array<std::vector<std::string>, 2> done;
        std::array<bool, 2> threw{};
        std::size_t place = 0;
        for (Side* side : {&subject_, &reference_}) {
            if (everything) {
                side->network.setAllNodeDirty();
            }
            record().clear();
            try {
                side->network.computeNode(name, nullptr, false, useCache);
            } catch (const std::runtime_error&) {
                threw[place] = true;
            }
            done[place++] = record();
        }
        takeLog();
        ASSERT_EQ(done[0], done[1]);
        ASSERT_EQ(threw[0], threw[1]);
        const std::vector<std::string> state = stateOf(subject_.network);
        const std::vector<std::string> expected = stateOf(reference_.network);
        ASSERT_EQ(state.size(), expected.size());
        for (std::size_t node = 0; node < state.size(); ++node) {
            ASSERT_EQ(state[node], expected[node]);
        }
    }

private:
    std::string anyName() { return names_[numbers_.below(static_cast<std::uint32_t>(names_.size()))]; }

    void both(const std::function<void(Side&, Numbers&)>& apply) {
        Numbers again = numbers_;
        apply(subject_, numbers_);
        apply(reference_, again);
        takeLog();
    }

    void withNode(const std::function<void(Side&, Node&, Numbers&)>& apply) {
        const std::string name = anyName();
        both([&](Side& side, Numbers& numbers) {
            if (Node* node = side.network.getNode(name)) {
                apply(side, *node, numbers);
            }
        });
    }

    static void disturb(NetworkManager& network) {
        network.connectAttr("spare one", "out", "spare two", "in1");
        network.disconnectAttr("spare one", "out", "spare two", "in1");
    }

    std::string anyType() {
        static const std::array<const char*, 4> frequent{"AddDouble", "MultiplyDouble", "AddVector", "Meddler"};
        const std::vector<tests::CatalogueRow>& rows = tests::catalogueRows();
        if (names_.size() + 1 == size) {
            return frequent[0];
        }
        if (nodes_ == Nodes::Plain) {
            return frequent[numbers_.below(3)];
        }
        const std::uint32_t which = numbers_.below(12);
        return which < 8 ? frequent[which % 4] : rows[numbers_.below(static_cast<std::uint32_t>(rows.size()))].typeStr;
    }

    void addNode() {
        const std::string type = anyType();
        std::string name;
        both([&](Side& side, Numbers& numbers) {
            Node* node = side.network.createNode(type, "node");
            ASSERT_NE(node, nullptr);
            name = node->name();
            for (Port* port : inputsOf(*node)) {
                tests::randomise(*port, numbers);
            }
        });
        names_.push_back(name);
    }

    static Port* anyPort(const Node& node, Numbers& numbers) {
        std::vector<Port*> ports = inputsOf(node);
        const std::vector<Port*> outputs = outputsOf(node);
        ports.insert(ports.end(), outputs.begin(), outputs.end());
        return tests::anyOf(ports, numbers);
    }

    /// Most nodes hang on to another, so that much leads to the last one.
    void linkToOneBefore() {
        const std::size_t last = names_.size() - 1;
        for (std::size_t back = 1; back <= std::min<std::size_t>(last, 20); ++back) {
            if (connect(last - back, last)) {
                return;
            }
        }
    }

    /// From the earlier of two nodes to the later one.
    void connect() {
        auto first = numbers_.below(static_cast<std::uint32_t>(names_.size()));
        auto second = numbers_.below(static_cast<std::uint32_t>(names_.size()));
        connect(std::min(first, second), std::max(first, second));
    }

    /// False when no port fits.
    bool connect(std::size_t first, std::size_t second) {
        bool linked = false;
        both([&](Side& side, Numbers& numbers) {
            Node* source = side.network.getNode(names_[first]);
            Node* target = side.network.getNode(names_[second]);
            linked = source != nullptr && target != nullptr && tests::connectAny(*source, *target, numbers);
        });
        return linked;
    }

    void disconnect() {
        withNode([](Side&, Node& node, Numbers&) {
            for (Port* input : inputsOf(node)) {
                if (Port* source = input->input()) {
                    input->disconnectFrom(source);
                    return;
                }
            }
        });
    }

    void setValue() {
        withNode([](Side&, Node& node, Numbers& numbers) {
            if (Port* port = anyPort(node, numbers)) {
                tests::randomise(*port, numbers);
            }
        });
    }

    static void computeAt(Side& side, const std::string& name) {
        try {
            side.network.computeNode(name);
        } catch (const std::runtime_error&) {
            record().push_back("thrown");
        }
    }

    void mark() {
        const std::uint32_t how = numbers_.below(4);
        withNode([how](Side& side, Node& node, Numbers&) {
            switch (how) {
                case 0:
                    return node.setDirtyFlag();
                case 1:
                    return computeAt(side, node.name());
                case 2:
                    return node.setDirty(false);
                default:
                    return node.setDirty(true);
            }
        });
    }

    void bind() {
        const std::uint32_t which = numbers_.below(6);
        withNode([which](Side& side, Node& node, Numbers& numbers) {
            Port* port = anyPort(node, numbers);
            if (auto* typed = dynamic_cast<PortTemplate<double>*>(port)) {
                typed->setLink(which < side.outside.size() ? &side.outside[which] : nullptr);
            }
        });
    }

    void resetPort() {
        withNode([](Side&, Node& node, Numbers& numbers) {
            if (Port* port = anyPort(node, numbers)) {
                // Both ends, since nobody may be left who lists a port that may die.
                const std::vector<Port*> peers = std::as_const(*port).getConnections();
                for (Port* peer : peers) {
                    peer->disconnectFrom(port);
                }
                port->reset();
            }
        });
    }

    void removePort() {
        withNode([](Side& side, Node& node, Numbers& numbers) {
            Port* port = anyPort(node, numbers);
            if (port == nullptr || dynamic_cast<Meddler*>(&node) == nullptr) {
                return;
            }
            port->isInput() ? node.removeInputPort(port->name()) : node.removeOutputPort(port->name());
            const bool comesBack = numbers.below(3) != 0;
            const bool asInput = port->isInput();
            // Nobody may go on listing a port whose node may die before it.
            if (numbers.below(2) == 0 || !comesBack) {
                const std::vector<Port*> peers = std::as_const(*port).getConnections();
                for (Port* peer : peers) {
                    port->disconnectFrom(peer);
                }
            }
            if (comesBack) {
                asInput ? node.addInputPort(port) : node.addOutputPort(port);
            } else {
                side.removed.push_back(port);
            }
        });
    }

    /// Asks for the list of an input, or edits one that was asked for before.
    void editList() {
        const bool asks = numbers_.below(2) == 0;
        if (asks) {
            withNode([](Side& side, Node& node, Numbers& numbers) {
                const std::vector<Port*> inputs = inputsOf(node);
                if (!inputs.empty()) {
                    Port* input = inputs[numbers.below(static_cast<std::uint32_t>(inputs.size()))];
                    side.lent.emplace_back(input, &input->getConnections());
                }
            });
            return;
        }
        both([](Side& side, Numbers& numbers) {
            if (side.lent.empty()) {
                return;
            }
            const auto& [input, list] = side.lent[numbers.below(static_cast<std::uint32_t>(side.lent.size()))];
            if (!list->empty()) {
                Port* source = list->front();
                list->clear();
                std::vector<Port*>& others = source->getConnections();
                others.erase(std::remove(others.begin(), others.end(), input), others.end());
            }
        });
    }

    void remove() {
        const std::string name = anyName();
        if (name == target_) {
            return;
        }
        both([&](Side& side, Numbers&) {
            side.lent.clear();
            side.network.deleteNode(name);
        });
    }

    void rename() {
        const std::size_t place = numbers_.below(static_cast<std::uint32_t>(names_.size()));
        const std::string old = names_[place];
        if (old == target_) {
            return;
        }
        const bool byItself = numbers_.below(5) == 0;
        both([&](Side& side, Numbers&) {
            Node* node = side.network.getNode(old);
            if (node != nullptr && byItself) {
                node->setName("of its own");
            } else if (node != nullptr && side.network.renameNode(old, "other")) {
                names_[place] = node->name();
            }
        });
    }

    void setProfileTime() {
        withNode([](Side&, Node& node, Numbers&) { node.setProfileTime(17); });
    }

    void storeAnew() {
        const std::uint32_t how = numbers_.below(3);
        both([&](Side& side, Numbers&) {
            if (how == 0) {
                side.network.clearNodeNetworkCache(target_);
            } else {
                side.network.cacheNodeNetwork(target_);
            }
        });
    }

    void changeOnce() {
        switch (numbers_.below(20)) {
            case 0:
                return remove();
            case 1:
                return rename();
            case 2:
            case 3:
                return bind();
            case 4:
                return disconnect();
            case 5:
            case 6:
            case 7:
                return connect();
            case 8:
                return resetPort();
            case 9:
                return removePort();
            case 10:
            case 11:
                return editList();
            case 12:
                return setProfileTime();
            case 13:
                return storeAnew();
            case 14:
            case 15:
                return meddle();
            case 16:
                return mark();
            default:
                return setValue();
        }
    }

    static std::vector<std::string> stateOf(NetworkManager& network) {
        std::vector<std::string> state;
        for (const Node* node : network.getAllNodes()) {
            state.push_back(node->name() + " " + node->typeStr() + (node->isDirty() ? " dirty " : " clean ") +
                            std::to_string(node->profileTime()) + tests::describe(inputsOf(*node)) +
                            tests::describe(outputsOf(*node)));
        }
        return state;
    }

    Numbers numbers_;
    Nodes nodes_;
    Side subject_;
    Side reference_;
    std::vector<std::string> names_;
    std::string target_;
};

void checkSeeds(std::uint32_t first, Nodes nodes) {
    for (const std::uint32_t seed : tests::seeds(TESSIL_SEEDS, first)) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        InStep networks(seed, nodes);
        for (std::uint32_t round = 0; round < 40; ++round) {
            SCOPED_TRACE("round " + std::to_string(round));
            // The wiring stays for a few rounds at a time, so that something is kept.
            if (round % 6 == 5) {
                networks.change(1 + round / 6);
            } else {
                networks.changeValues(3);
            }
            ASSERT_NO_FATAL_FAILURE(networks.evaluate());
        }
    }
}

/// Some nodes at a time, for so long that all of it is planned.
void checkParts(std::uint32_t first, Nodes nodes) {
    for (const std::uint32_t seed : tests::seeds(TESSIL_SEEDS / 3, first)) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        InStep networks(seed, nodes);
        for (std::uint32_t round = 0; round < 160; ++round) {
            SCOPED_TRACE("round " + std::to_string(round));
            if (round % 80 == 79) {
                networks.change(2);
            } else {
                networks.changeValues(1 + round % 9);
                networks.meddle();
            }
            ASSERT_NO_FATAL_FAILURE(networks.evaluate(round % 80 < 16));
        }
    }
}

TEST(PlansInStep, GiveWhatNetworksGiveThatKeepNothing) {
    checkSeeds(1, Nodes::All);
}

TEST(PlansInStep, GiveTheSameWhenNodesMeddleWithTheirNetwork) {
    checkSeeds(1001, Nodes::Meddling);
}

TEST(PlansInStep, GiveTheSameOfPartsOfANetwork) {
    checkParts(2001, Nodes::All);
}

TEST(PlansInStep, GiveTheSameOfPartsOfPlainNodes) {
    checkParts(4001, Nodes::Plain);
}

TEST(PlansInStep, GiveTheSameOfPartsWhoseNodesMeddleWithTheirNetwork) {
    checkParts(3001, Nodes::Meddling);
}

}  // namespace
}  // namespace TessilGraph
