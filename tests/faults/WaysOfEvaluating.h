#pragma once

#include <TessilGraph/TessilGraph.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace tests {

/// What the nodes of a test do while they are computed.
inline std::function<void(TessilGraph::Node&)> deed;

/// A host's node: takes long enough for other threads to help, does the deed, and adds up its inputs.
class Doer : public TessilGraph::NodeShape<Doer> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(15);
        while (std::chrono::steady_clock::now() < end) {
        }
        if (deed) {
            deed(*this);
        }
        out_->set(in1_->get() * 0.5 + in2_->get() + own_->get() + 1.0);
        return true;
    }

private:
    TessilGraph::PortTemplate<double>* in1_ = TessilGraph::addInput<double>(*this, "in1");
    TessilGraph::PortTemplate<double>* in2_ = TessilGraph::addInput<double>(*this, "in2");
    TessilGraph::PortTemplate<double>* own_ = TessilGraph::addInput<double>(*this, "own");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

}  // namespace tests

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::Doer>{"FaultsDoer", 9503};

namespace tests {

inline const bool doersAreRegistered = (TessilGraph::initTessilGraph(), TessilGraph::registerNodes<Doer>(), true);

constexpr std::size_t rows = 3;
constexpr std::size_t columns = 4;

inline std::string doerName(std::size_t column, std::size_t row) {
    return "n" + std::to_string(column) + std::to_string(row);
}

/// Columns of doers, each fed by two of the column before; a last one that reads two of the last column.
class Doers {
public:
    Doers() {
        for (std::size_t column = 0; column < columns; ++column) {
            for (std::size_t row = 0; row < rows; ++row) {
                add(doerName(column, row));
                if (column > 0) {
                    link(doerName(column - 1, row), doerName(column, row), "in1");
                    link(doerName(column - 1, (row + 1) % rows), doerName(column, row), "in2");
                }
            }
        }
        add("last");
        link(doerName(columns - 1, 0), "last", "in1");
        link(doerName(columns - 1, 1), "last", "in2");
        network.cacheNodeNetwork("last");
    }

    void add(const std::string& name) {
        network.createNode("FaultsDoer", name);
        names.push_back(name);
    }
    void link(const std::string& from, const std::string& to, const std::string& input) {
        network.connectAttr(from, "out", to, input);
    }

    TessilGraph::PortTemplate<double>& port(const std::string& node, const std::string& input) {
        return dynamic_cast<TessilGraph::PortTemplate<double>&>(*network.getNode(node)->getInputPort(input));
    }

    /// Marks everything.
    void change(double value) {
        for (std::size_t row = 0; row < rows; ++row) {
            port(doerName(0, row), "in1").set(value + static_cast<double>(row));
        }
    }

    /// The values of all nodes that are there.
    std::vector<double> values() {
        std::vector<double> found;
        for (TessilGraph::Node* node : network.getAllNodes()) {
            found.push_back(dynamic_cast<TessilGraph::PortTemplate<double>&>(*node->getOutputPort("out")).get());
        }
        return found;
    }

    std::size_t countDirty() {
        std::size_t count = 0;
        for (const TessilGraph::Node* node : network.getAllNodes()) {
            count += node->isDirty() ? 1 : 0;
        }
        return count;
    }

    bool isAnyDirty() { return countDirty() != 0; }

    static inline int last = 0;
    const int number = ++last;
    TessilGraph::NetworkManager network;
    std::vector<std::string> names;
};

/// Everything that a dirty node feeds is dirty.
inline void expectDirtinessReachesDownstream(Doers& doers) {
    for (TessilGraph::Node* node : doers.network.getAllNodes()) {
        for (auto output = node->outputPortCBegin(); node->isDirty() && output != node->outputPortCEnd(); ++output) {
            for (const TessilGraph::Port* peer : static_cast<const TessilGraph::Port&>(**output).getConnections()) {
                EXPECT_TRUE(peer->node()->isDirty()) << node->name() << " feeds " << peer->node()->name();
            }
        }
    }
}

/// A way to bring "last" up to date.
struct Way {
    std::string name;
    bool beside;    ///< Nodes may be computed side by side.
    bool prepared;  ///< By a prepared evaluation.
    std::function<void(Doers&)> evaluate;
};

inline void PrintTo(const Way& way, std::ostream* out) {
    *out << way.name;
}

/// For the names of tests.
inline std::string wayName(const testing::TestParamInfo<Way>& info) {
    std::string name = info.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

/// Something that a prepared order cannot be relied on for: an input that may have outlived its owner.
inline void makeOdd(TessilGraph::NetworkManager& network) {
    TessilGraph::Node* const node = network.getNode(doerName(1, 2));
    TessilGraph::Port* const input = node->getInputPort("own");
    input->setNode(nullptr);
    input->setNode(node);
}

/// An evaluation that is prepared once for all runs on the same doers.
inline std::function<void(Doers&)> preparedWay(bool parallel, bool cutOff, bool odd = false) {
    struct Kept {
        int number = 0;
        std::vector<TessilGraph::PreparedEvaluation> evaluation;
    };
    return [parallel, cutOff, odd, kept = std::make_shared<Kept>()](Doers& doers) {
        if (kept->number != doers.number) {
            kept->number = doers.number;
            kept->evaluation.clear();
            if (odd) {
                makeOdd(doers.network);
            }
            kept->evaluation.emplace_back(doers.network, std::vector<std::string>{"last", doerName(columns - 1, 2)});
        }
        TessilGraph::RunOptions options;
        options.parallel = parallel;
        options.cutOff = cutOff;
        kept->evaluation.front().run(nullptr, options);
    };
}

inline std::vector<Way> waysOfEvaluating() {
    const auto compute = [](bool parallel, bool useCache) {
        return [parallel, useCache](Doers& doers) {
            doers.network.computeNode("last", nullptr, parallel, useCache);
            doers.network.computeNode(doerName(columns - 1, 2), nullptr, parallel);
        };
    };
    return {{"serial walk", false, false, compute(false, false)},
            {"stored order", false, false, compute(false, true)},
            {"level walk", true, false, compute(true, false)},
            {"prepared run", false, true, preparedWay(false, false)},
            {"prepared run that cuts off", false, true, preparedWay(false, true)},
            {"prepared run that walks afresh", false, true, preparedWay(false, false, true)},
            {"prepared run on several threads", true, true, preparedWay(true, false)},
            {"prepared run on several threads that cuts off", true, true, preparedWay(true, true)}};
}

}  // namespace tests
