#include "FaultsNetwork.h"

#include <tests/support/HowToCompute.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

using namespace tests;
using TessilGraph::Frames;
using TessilGraph::NetworkManager;
using TessilGraph::PreparedEvaluation;
using TessilGraph::RunOptions;
using TessilGraph::RunStatus;

namespace {

void beBusy(std::chrono::microseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end) {
    }
}

/// A host's node that takes so long that other threads help.
class Slow : public TessilGraph::NodeShape<Slow> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        beBusy(std::chrono::microseconds(12));
        out_->set(in1_->get() * 0.5 + 1.0);
        return true;
    }

private:
    TessilGraph::PortTemplate<double>* in1_ = TessilGraph::addInput<double>(*this, "in1");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

/// A host's node that deletes others when it is computed.
class Deleter : public TessilGraph::NodeShape<Deleter> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        for (const char* victim : victims) {
            network->deleteNode(victim);
        }
        out_->set(in1_->get() + 1.0);
        return true;
    }

    NetworkManager* network = nullptr;
    std::vector<const char*> victims;

private:
    TessilGraph::PortTemplate<double>* in1_ = TessilGraph::addInput<double>(*this, "in1");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

/// A host's node that takes even longer, and that a level walk computes when it likes.
class Pure : public TessilGraph::NodeShape<Pure> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        beBusy(std::chrono::microseconds(40));
        out_->set(in1_->get() * 0.5 + in2_->get() + 1.0);
        return true;
    }

private:
    TessilGraph::PortTemplate<double>* in1_ = TessilGraph::addInput<double>(*this, "in1");
    TessilGraph::PortTemplate<double>* in2_ = TessilGraph::addInput<double>(*this, "in2");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

}  // namespace

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<Slow>{"FaultsSlow", 9502};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<Deleter>{"FaultsDeleter", 9503};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<Pure>{"FaultsPure", 9506, TessilGraph::pureNode};

namespace {

const bool areRegistered = (TessilGraph::registerNodes<Slow, Deleter, Pure>(), true);

/// Layers of nodes of one type, each fed by two of the layer before; a last one that all of these lead to, and an
/// order stored for that.
struct Layers : FaultsNetwork {
    Layers(const std::string& type, int layers, int width) {
        add("BufferDouble", "source");
        for (int layer = 0; layer < layers; ++layer) {
            for (int i = 0; i < width; ++i) {
                const std::string node = name(layer, i);
                add(i == 3 && layer % 4 == 1 ? "FaultsJoint" : type, node);
                const std::string from = layer == 0 ? "source" : name(layer - 1, i);
                link(from, node, layer == 0 || network.getNode(node)->getInputPort("in1") ? "in1" : "in");
                if (layer > 0 && network.getNode(node)->getInputPort("in2") != nullptr) {
                    link(name(layer - 1, (i + 1) % width), node, "in2");
                }
            }
        }
        add("AddDouble", "last");
        link(name(layers - 1, 0), "last");
        link(name(layers - 1, 1), "last", "in2");
        network.cacheNodeNetwork("last");
    }

    static std::string name(int layer, int place) { return "n" + std::to_string(layer) + "_" + std::to_string(place); }

    void change(double value) {
        auto& port = dynamic_cast<TessilGraph::PortTemplate<double>&>(input("source", "in"));
        port.set(value);
    }

    template <class Evaluate>
    void evaluateOften(const Evaluate& evaluate) {
        for (double value = 1.0; value < 5.0; value += 1.0) {
            change(value);
            evaluate();
        }
    }

    std::string picture() override { return FaultsNetwork::picture(); }

    /// The values of the last node however it is evaluated.
    std::string later() override {
        std::string text;
        const auto note = [&](double value) {
            change(value);
            network.computeNode("last");
            text += std::to_string(get("last")) + (network.getNode("last")->isDirty() ? "* " : " ");
        };
        for (double value = 10.0; value < 14.0; value += 1.0) {
            note(value);
        }
        PreparedEvaluation evaluation(network, "last");
        change(20.0);
        evaluation.run();
        return text + std::to_string(get("last"));
    }
};

struct TinyNodes : Layers {
    TinyNodes() : Layers("AddDouble", 9, 9) {}
};

/// So many that the way through them is kept.
struct KeptNodes : Layers {
    KeptNodes() : Layers("AddDouble", 10, 9) {}
};

struct SlowNodes : Layers {
    SlowNodes() : Layers("FaultsSlow", 4, 4) {}
};

/// Narrower than where other types stand.
struct PureNodes : Layers {
    PureNodes() : Layers("FaultsPure", 3, 2) {}
};

TEST(EvaluationShortOfMemory, IsCompletedBySerialWalks) {
    everyAllocationFails<KeptNodes>(
        [](KeptNodes& world) { world.evaluateOften([&world] { world.network.computeNode("last"); }); },
        Promise::Usable);
}

TEST(EvaluationShortOfMemory, IsCompletedByStoredOrders) {
    everyAllocationFails<TinyNodes>(
        [](TinyNodes& world) {
            world.evaluateOften([&world] { world.network.computeNode("last", nullptr, serial, useCache); });
        },
        Promise::Usable);
}

/// Shows what is stored by what a copy computes for the sake of a node that is clean.
struct StoringNodes : TinyNodes {
    std::string picture() override {
        NetworkManager copy(network);
        copy.getNode("n4_4")->setDirty(false);
        copy.computeNode("n4_4", nullptr, serial, useCache);
        return pictureOf(copy) + TinyNodes::picture();
    }
};

TEST(EvaluationShortOfMemory, StoresAnOrderOrNot) {
    everyAllocationFails<StoringNodes>([](StoringNodes& world) { world.network.cacheNodeNetwork("n4_4"); });
}

/// The first of a row deletes the two in the middle before it is their turn.
struct DeletedWhileComputing : FaultsNetwork {
    DeletedWhileComputing() {
        auto& first = static_cast<Deleter&>(add("FaultsDeleter", "first"));
        first.network = &network;
        first.victims = {"second", "third"};
        for (const char* name : {"second", "third", "last"}) {
            add("FaultsJoint", name);
        }
        link("first", "second");
        link("second", "third");
        link("third", "last");
        link("first", "last", "in2");
        network.cacheNodeNetwork("last");
    }
};

TEST(EvaluationShortOfMemory, LeavesOutWhatIsDeletedMeanwhile) {
    for (const bool byStoredOrder : {false, true}) {
        everyAllocationFails<DeletedWhileComputing>(
            [byStoredOrder](DeletedWhileComputing& world) {
                world.network.computeNode("last", nullptr, serial, byStoredOrder);
            },
            Promise::Usable);
    }
}

TEST(EvaluationShortOfMemory, IsCompletedByLevelWalks) {
    everyAllocationFails<TinyNodes>(
        [](TinyNodes& world) {
            world.evaluateOften([&world] { world.network.computeNode("last", nullptr, parallel); });
        },
        Promise::Usable);
    everyAllocationFails<SlowNodes>(
        [](SlowNodes& world) {
            world.evaluateOften([&world] { world.network.computeNode("last", nullptr, parallel); });
        },
        Promise::Usable);
    everyAllocationFails<PureNodes>(
        [](PureNodes& world) {
            world.evaluateOften([&world] { world.network.computeNode("last", nullptr, parallel); });
        },
        Promise::Usable);
}

/// An evaluation is prepared that outlives what fails.
template <class Nodes>
struct Prepared : Nodes {
    void run(const RunOptions& options) {
        this->evaluateOften([&] { evaluation.run(nullptr, options); });
    }

    PreparedEvaluation evaluation{this->network, std::vector<std::string>{"last", "n1_3"}};
};

template <class Nodes>
void expectPreparedRunsComplete() {
    for (const bool isParallel : {false, true}) {
        for (const bool cutsOff : {false, true}) {
            RunOptions options;
            options.parallel = isParallel;
            options.cutOff = cutsOff;
            everyAllocationFails<Prepared<Nodes>>([&options](Prepared<Nodes>& world) { world.run(options); },
                                                  Promise::Usable);
        }
    }
}

TEST(EvaluationShortOfMemory, IsCompletedByPreparedRuns) {
    expectPreparedRunsComplete<TinyNodes>();
}

TEST(EvaluationShortOfMemory, IsCompletedByPreparedRunsOnSeveralThreads) {
    expectPreparedRunsComplete<SlowNodes>();
}

/// The evaluation itself is made while memory is short, too.
template <class Nodes>
struct Preparing : Nodes {
    void run(const RunOptions& options) {
        if (!evaluation) {
            evaluation.emplace(this->network, std::vector<std::string>{"last", "n1_3"});
        }
        this->evaluateOften([&] { evaluation->run(nullptr, options); });
    }

    std::optional<PreparedEvaluation> evaluation;
};

template <class Nodes>
void expectMadeEvaluationsComplete() {
    for (const bool isParallel : {false, true}) {
        RunOptions options;
        options.parallel = isParallel;
        everyAllocationFails<Preparing<Nodes>>([&options](Preparing<Nodes>& world) { world.run(options); },
                                               Promise::Usable);
    }
}

TEST(EvaluationShortOfMemory, IsPreparedOrLeavesTheNetworkUsable) {
    expectMadeEvaluationsComplete<TinyNodes>();
    expectMadeEvaluationsComplete<SlowNodes>();
    everyAllocationFails<TinyNodes>([](TinyNodes& world) {
        const PreparedEvaluation evaluation(world.network, "a target whose name finds no room in a string itself");
    });
}

/// Links by hand make prepared runs walk afresh.
struct Odd : Prepared<TinyNodes> {
    Odd() {
        input("n2_2").getConnections().push_back(&output("n1_7"));
        output("n1_7").getConnections().push_back(&input("n2_2"));
    }
};

TEST(EvaluationShortOfMemory, IsCompletedByPreparedRunsThatWalkAfresh) {
    everyAllocationFails<Odd>([](Odd& world) { world.run({}); }, Promise::Usable);
}

/// Values for several frames.
template <class Nodes>
struct Framed : Nodes {
    static constexpr std::size_t count = 8;

    void run(bool isParallel) {
        Frames frames(this->network, count);
        std::vector<double> values;
        for (std::size_t frame = 0; frame < count; ++frame) {
            values.push_back(static_cast<double>(frame));
        }
        frames.drive("source", "in", values);
        frames.collect<double>("last", "out");
        RunOptions options;
        options.parallel = isParallel;
        const RunStatus status = frames.run(nullptr, options);
        const std::vector<double> column = frames.template column<double>("last", "out");
        const SparedFromShortage spared;
        collected = status == RunStatus::Done ? std::to_string(column.front()) + " " + std::to_string(column.back())
                                              : "not done";
    }

    std::string picture() override { return collected + Nodes::picture(); }

    std::string collected;
};

TEST(EvaluationShortOfMemory, IsCompletedByFrames) {
    for (const bool isParallel : {false, true}) {
        everyAllocationFails<Framed<TinyNodes>>([isParallel](Framed<TinyNodes>& world) { world.run(isParallel); },
                                                Promise::Usable);
    }
    everyAllocationFails<Framed<PureNodes>>([](Framed<PureNodes>& world) { world.run(true); }, Promise::Usable);
}

/// A network into which another one is copied.
struct Copied : TinyNodes {
    Copied() {
        target.add("AddDouble", "old");
        target.network.cacheNodeNetwork("old");
        network.computeNode("n3_3");
    }

    void assign() {
        try {
            target.network = network;
        } catch (...) {
            const SparedFromShortage spared;
            EXPECT_TRUE(target.network.getNodeNames().empty());
            throw;
        }
    }

    std::string picture() override { return TinyNodes::picture() + target.picture(); }

    FaultsNetwork target;
};

/// What stands here has to be copied node by node.
struct CopiedOneByOne : Copied {
    CopiedOneByOne() {
        network.getNode("n0_0")->setName("another");
        output("n0_1").getConnections();
    }
};

TEST(CopyingShortOfMemory, LeavesTheTargetEmptyAndTheSourceAsItIs) {
    everyAllocationFails<Copied>([](Copied& world) { world.assign(); }, Promise::Usable);
    everyAllocationFails<CopiedOneByOne>([](CopiedOneByOne& world) { world.assign(); }, Promise::Usable);
}

TEST(CopyingShortOfMemory, MakesACopyOrNone) {
    everyAllocationFails<Copied>([](Copied& world) { const NetworkManager copy = world.network.clone(); });
}

}  // namespace
