#include <TessilGraph/TessilGraph.h>

#include <tests/support/ProbeNode.h>
#include "RandomNetworks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace tests;
using TessilGraph::CancelToken;
using TessilGraph::NetworkManager;
using TessilGraph::Node;
using TessilGraph::PortTemplate;
using TessilGraph::PreparedEvaluation;
using TessilGraph::RunOptions;
using TessilGraph::RunStatus;

namespace {

void spin(int microseconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(microseconds);
    while (std::chrono::steady_clock::now() < end) {
    }
}

/// Twenty rows of five probes each, all of which feed a tree of sums: node r_c stands in row r.
class ParallelRun : public testing::TestWithParam<bool> {
protected:
    static constexpr int rows = 20;
    static constexpr int columns = 5;

    ParallelRun() {
        takeComputed();
        for (int column = 0; column < columns; ++column) {
            for (int row = 0; row < rows; ++row) {
                add<Pipe>(nameOf(row, column));
                if (column != 0) {
                    link(nameOf(row, column - 1), nameOf(row, column), "in1");
                }
            }
        }
        std::string last = nameOf(0, columns - 1);
        for (int row = 1; row < rows; ++row) {
            const std::string name = "tree" + std::to_string(row);
            add<Sum>(name);
            link(last, name, "in1");
            link(nameOf(row, columns - 1), name, "in2");
            last = name;
        }
        sink_ = last;
        options_.parallel = GetParam();
    }

    template <class Probe>
    void add(const std::string& name) {
        probes_.push_back(dynamic_cast<ProbeNode*>(network_.createNode(Probe::staticTypeStr(), name)));
        probes_.back()->onCompute = [] { spin(20); };
    }

    void link(const std::string& source, const std::string& target, const std::string& input) {
        ASSERT_TRUE(network_.connectAttr(source, "out", target, input));
    }

    static std::string nameOf(int row, int column) { return "r" + std::to_string(row) + "_" + std::to_string(column); }

    double sinkValue() {
        return dynamic_cast<PortTemplate<double>&>(*network_.getNode(sink_)->getOutputPort("out")).get();
    }

    int computes() const {
        int sum = 0;
        for (const ProbeNode* probe : probes_) {
            sum += probe->computes;
        }
        return sum;
    }

    static constexpr double right = rows * columns + rows - 1;

    NetworkManager network_;
    std::vector<ProbeNode*> probes_;
    std::string sink_;
    RunOptions options_;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(OnOneAndSeveralThreads, ParallelRun, testing::Bool());

TEST_P(ParallelRun, ComputesEachNodeOnce) {
    PreparedEvaluation evaluation(network_, sink_);
    for (int round = 1; round <= 5; ++round) {
        EXPECT_EQ(evaluation.run(nullptr, options_).computed, probes_.size());
        EXPECT_EQ(sinkValue(), right);
        for (const ProbeNode* probe : probes_) {
            EXPECT_EQ(probe->computes, round) << probe->name();
            EXPECT_FALSE(probe->isDirty());
        }
        network_.setAllNodeDirty();
    }
}

TEST_P(ParallelRun, KeepsNodesThatWantToBeAloneAlone) {
    std::atomic<int> inside{0};
    std::atomic<bool> broken{false};
    for (ProbeNode* probe : probes_) {
        probe->onCompute = [&] {
            ++inside;
            spin(20);
            --inside;
        };
    }
    TessilGraph::declareNodeTraits(typeid(Sum3), TessilGraph::aloneNode);
    for (int row = 0; row < rows; ++row) {
        add<Sum3>("alone" + std::to_string(row));
        probes_.back()->onCompute = [&] {
            broken = broken || ++inside != 1;
            spin(20);
            broken = broken || inside != 1;
            --inside;
        };
        link(nameOf(row, 2), "alone" + std::to_string(row), "in1");
    }
    std::vector<std::string> targets{sink_};
    for (int row = 0; row < rows; ++row) {
        targets.push_back("alone" + std::to_string(row));
    }
    PreparedEvaluation evaluation(network_, targets);
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(evaluation.run(nullptr, options_).computed, probes_.size());
        network_.setAllNodeDirty();
    }
    EXPECT_FALSE(broken);
}

TEST_P(ParallelRun, LetsTheFirstExceptionThroughAndCompletesAfterwards) {
    for (const std::size_t thrower : {std::size_t{0}, std::size_t{7}, std::size_t{55}, probes_.size() - 1}) {
        network_.setAllNodeDirty();
        for (ProbeNode* probe : probes_) {
            probe->computes = 0;
        }
        PreparedEvaluation evaluation(network_, sink_);
        const auto before = probes_[thrower]->onCompute;
        probes_[thrower]->onCompute = [] { throw std::runtime_error("no"); };
        EXPECT_THROW(evaluation.run(nullptr, options_), std::runtime_error);
        EXPECT_TRUE(probes_[thrower]->isDirty());
        EXPECT_TRUE(network_.getNode(sink_)->isDirty());
        probes_[thrower]->onCompute = before;
        EXPECT_EQ(evaluation.run(nullptr, options_).status, RunStatus::Done);
        EXPECT_EQ(sinkValue(), right);
        EXPECT_EQ(computes(), static_cast<int>(probes_.size()) + 1);
    }
}

TEST_P(ParallelRun, LetsAnExceptionThroughThatComesWhenTheCallerHasNothingLeftToDo) {
    std::atomic<bool> threw{false};
    // The caller begins by itself, since all wait for one node.
    add<Pipe>("first");
    for (int row = 0; row < rows; ++row) {
        link("first", nameOf(row, 0), "in1");
        auto* end = dynamic_cast<ProbeNode*>(network_.getNode(nameOf(row, columns - 1)));
        end->onCompute = [&threw, caller = std::this_thread::get_id()] {
            if (std::this_thread::get_id() != caller) {
                spin(20000);
                threw = true;
                throw std::runtime_error("late");
            }
            spin(20);
        };
    }
    std::vector<std::string> targets;
    for (int row = 0; row < rows; ++row) {
        targets.push_back(nameOf(row, columns - 1));
    }
    PreparedEvaluation evaluation(network_, targets);
    for (int round = 0; round < 5; ++round) {
        network_.setAllNodeDirty();
        threw = false;
        bool caught = false;
        try {
            evaluation.run(nullptr, options_);
        } catch (const std::runtime_error&) {
            caught = true;
        }
        EXPECT_EQ(caught, threw);
    }
}

/// The last one apart, after which nothing is left.
TEST_P(ParallelRun, CanBeCancelledAtAnyNode) {
    PreparedEvaluation evaluation(network_, sink_);
    CancelToken token;
    options_.cancel = &token;
    for (std::size_t canceller = 0; canceller + 1 < probes_.size(); ++canceller) {
        network_.setAllNodeDirty();
        for (ProbeNode* probe : probes_) {
            probe->computes = 0;
        }
        const auto before = probes_[canceller]->onCompute;
        probes_[canceller]->onCompute = [&] { token.cancel(); };
        const auto first = evaluation.run(nullptr, options_);
        EXPECT_EQ(first.status, RunStatus::Cancelled);
        std::size_t dirty = 0;
        for (const ProbeNode* probe : probes_) {
            EXPECT_EQ(probe->isDirty(), probe->computes == 0) << probe->name();
            dirty += probe->isDirty() ? 1 : 0;
        }
        EXPECT_NE(dirty, 0u);
        EXPECT_EQ(first.computed + dirty, probes_.size());
        token.reset();
        probes_[canceller]->onCompute = before;
        const auto second = evaluation.run(nullptr, options_);
        EXPECT_EQ(second.status, RunStatus::Done);
        EXPECT_EQ(second.computed, dirty);
        EXPECT_EQ(sinkValue(), right);
    }
}

TEST_P(ParallelRun, CanBeCancelledFromAnotherThread) {
    PreparedEvaluation evaluation(network_, sink_);
    CancelToken token;
    options_.cancel = &token;
    for (int round = 0; round < 20; ++round) {
        network_.setAllNodeDirty();
        std::thread other([&] {
            spin(50 * round);
            token.cancel();
        });
        evaluation.run(nullptr, options_);
        other.join();
        token.reset();
        evaluation.run(nullptr, options_);
        EXPECT_EQ(sinkValue(), right);
    }
}

TEST_P(ParallelRun, TellsItsProgressOnTheCallersThread) {
    PreparedEvaluation evaluation(network_, sink_);
    std::uint64_t last = 0;
    int calls = 0;
    options_.progress = [&, caller = std::this_thread::get_id()](std::uint64_t done, std::uint64_t total) {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        EXPECT_EQ(total, probes_.size());
        EXPECT_LE(last, done);
        EXPECT_LE(done, total);
        last = done;
        ++calls;
    };
    evaluation.run(nullptr, options_);
    EXPECT_GE(calls, 1);
}

TEST_P(ParallelRun, SaysThatAllIsDoneWhoeverDidTheLastOfIt) {
    // Whoever is slowest comes last.
    for (ProbeNode* probe : probes_) {
        probe->onCompute = [caller = std::this_thread::get_id()] {
            spin(std::this_thread::get_id() == caller ? 5 : 200);
        };
    }
    PreparedEvaluation evaluation(network_, sink_);
    for (int round = 0; round < 10; ++round) {
        std::uint64_t last = 0;
        options_.progress = [&last](std::uint64_t done, std::uint64_t) { last = done; };
        network_.setAllNodeDirty();
        evaluation.run(nullptr, options_);
        EXPECT_EQ(last, probes_.size());
    }
}

TEST_P(ParallelRun, EndsWhenTheProgressThrows) {
    PreparedEvaluation evaluation(network_, sink_);
    options_.progress = [](std::uint64_t, std::uint64_t) { throw std::runtime_error("enough"); };
    EXPECT_THROW(evaluation.run(nullptr, options_), std::runtime_error);
    options_.progress = nullptr;
    evaluation.run(nullptr, options_);
    EXPECT_EQ(sinkValue(), right);
    EXPECT_EQ(computes(), static_cast<int>(probes_.size()));
}

TEST_P(ParallelRun, GoesOnWithAllThatWaitedForOneNode) {
    add<Pipe>("first");
    for (int row = 0; row < rows; ++row) {
        link("first", nameOf(row, 0), "in1");
        for (int column = 0; column < columns; ++column) {
            // What comes later takes longer.
            probes_[static_cast<std::size_t>(column * rows + row)]->onCompute = [row] { spin(20 + 2 * row); };
        }
    }
    PreparedEvaluation evaluation(network_, sink_);
    for (int round = 1; round <= 5; ++round) {
        EXPECT_EQ(evaluation.run(nullptr, options_).computed, probes_.size());
        EXPECT_EQ(sinkValue(), right + rows);
        network_.setAllNodeDirty();
    }
}

TEST_P(ParallelRun, CutsOffWhatSawNoChange) {
    options_.cutOff = true;
    PreparedEvaluation evaluation(network_, sink_);
    evaluation.run(nullptr, options_);
    for (ProbeNode* probe : probes_) {
        probe->computes = 0;
    }
    // The same values again: only the nodes themselves are computed.
    const auto inputOf = [this](int row) -> PortTemplate<double>& {
        return dynamic_cast<PortTemplate<double>&>(*network_.getNode(nameOf(row, 0))->getInputPort("in1"));
    };
    auto& input = inputOf(3);
    input.set(0.0);
    inputOf(1).set(0.0);
    inputOf(2).set(0.0);
    EXPECT_EQ(evaluation.run(nullptr, options_).computed, 3u);
    EXPECT_EQ(computes(), 3);
    EXPECT_FALSE(network_.getNode(sink_)->isDirty());
    // Another value goes all the way.
    input.set(1.0);
    evaluation.run(nullptr, options_);
    EXPECT_EQ(sinkValue(), right + 1.0);
    // One that others took notice of than this one counts as changed.
    input.set(2.0);
    network_.computeNode(nameOf(3, 0));
    evaluation.run(nullptr, options_);
    EXPECT_EQ(sinkValue(), right + 2.0);
}

/// Rows of additions, each of which takes a nanosecond or two, with a tree above their ends.
class ManyTinyNodes : public testing::TestWithParam<bool> {
protected:
    static constexpr std::size_t rows = 64;
    static constexpr std::size_t columns = 601;  // Rows and groups of slots don't end together.

    ManyTinyNodes() {
        TessilGraph::initTessilGraph();
        std::vector<Node*> ends;
        for (std::size_t row = 0; row < rows; ++row) {
            for (std::size_t column = 0; column < columns; ++column) {
                Node* node = add(column != 0 ? nodes_.back() : nullptr, nullptr);
                input(*node, "in2").set(0.25 * static_cast<double>(row) + 0.001 * static_cast<double>(column));
            }
            ends.push_back(nodes_.back());
        }
        for (; ends.size() > 1; ends.resize(ends.size() / 2)) {
            for (std::size_t pair = 0; pair < ends.size() / 2; ++pair) {
                ends[pair] = add(ends[2 * pair], ends[2 * pair + 1]);
            }
        }
        options_.parallel = GetParam();
    }

    Node* add(Node* source1, Node* source2) {
        Node* node = network_.createNode("AddDouble", "n" + std::to_string(nodes_.size()));
        nodes_.push_back(node);
        sums_.push_back({&input(*node, "in1"), &input(*node, "in2"),
                         &dynamic_cast<PortTemplate<double>&>(*node->getOutputPort("out"))});
        for (const auto& [source, port] : {std::pair(source1, "in1"), std::pair(source2, "in2")}) {
            if (source != nullptr && !source->getOutputPort("out")->connectTo(node->getInputPort(port))) {
                ADD_FAILURE() << "no link to " << node->name();
            }
        }
        return node;
    }

    static PortTemplate<double>& input(Node& node, const std::string& port) {
        return dynamic_cast<PortTemplate<double>&>(*node.getInputPort(port));
    }

    void expectRightValues() {
        for (const Sum& sum : sums_) {
            ASSERT_EQ(sum.out->get(), sum.in1->get() + sum.in2->get()) << sum.out->node()->name();
            ASSERT_FALSE(sum.out->node()->isDirty());
        }
    }

    struct Sum {
        PortTemplate<double>* in1;
        PortTemplate<double>* in2;
        PortTemplate<double>* out;
    };

    NetworkManager network_;
    std::vector<Node*> nodes_;
    std::vector<Sum> sums_;  ///< The ports of these nodes.
    RunOptions options_;
};

INSTANTIATE_TEST_SUITE_P(OnOneAndSeveralThreads, ManyTinyNodes, testing::Bool());

TEST_P(ManyTinyNodes, AreAllComputedAfterTheirSources) {
    PreparedEvaluation evaluation(network_, nodes_.back()->name());
    for (int round = 0; round < 10; ++round) {
        for (std::size_t row = 0; row < rows; ++row) {
            input(*nodes_[row * columns], "in1").set(round + static_cast<double>(row));
        }
        EXPECT_EQ(evaluation.run(nullptr, options_).computed, nodes_.size());
        expectRightValues();
        // Few of them, some of them, again.
        std::size_t marked = 0;
        for (std::size_t row = 0; row < rows; row += static_cast<std::size_t>(1 + round % 9)) {
            input(*nodes_[row * columns + columns / 2], "in2").set(0.5 * round);
            ++marked;
        }
        EXPECT_GE(evaluation.run(nullptr, options_).computed, marked * (columns - columns / 2));
        expectRightValues();
        EXPECT_EQ(evaluation.run(nullptr, options_).computed, 0u);
    }
}

TEST_P(ManyTinyNodes, GoOnWhereTheyWereCancelled) {
    PreparedEvaluation evaluation(network_, nodes_.back()->name());
    CancelToken token;
    options_.cancel = &token;
    for (int round = 0; round < 8; ++round) {
        input(*nodes_[0], "in1").set(round);
        network_.setAllNodeDirty();
        std::uint64_t computed = 0;
        options_.progress = [&, round](std::uint64_t done, std::uint64_t) {
            if (done > static_cast<std::uint64_t>(4000 * round)) {
                token.cancel();
            }
        };
        const auto first = evaluation.run(nullptr, options_);
        computed += first.computed;
        // Side by side, others may be through when the caller hears of it.
        if (!options_.parallel) {
            EXPECT_EQ(first.status, RunStatus::Cancelled);
            EXPECT_LT(computed, static_cast<std::uint64_t>(4000 * round) + 1000);
        }
        token.reset();
        options_.progress = nullptr;
        const auto second = evaluation.run(nullptr, options_);
        EXPECT_EQ(second.status, RunStatus::Done);
        EXPECT_EQ(computed + second.computed, nodes_.size());
        expectRightValues();
    }
}
