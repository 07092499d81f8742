#include "WaysOfEvaluating.h"

#include <TessilUtils/Logger.h>

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using namespace tests;
using TessilGraph::Node;
using TessilGraph::PreparedEvaluation;
using TessilGraph::RunStatus;

namespace {

class MeddlingNodes : public testing::TestWithParam<Way> {
protected:
    ~MeddlingNodes() override { deed = nullptr; }

    /// A node of the second column does something each time that it is computed. Evaluations end, with nothing dirty
    /// that they should have computed, and when it has stopped they come to what others come to.
    void meddle(const std::function<void(Node&)>& what) {
        for (const std::string& meddler : {doerName(0, 1), doerName(1, 1), std::string("last")}) {
            SCOPED_TRACE(meddler);
            Doers doers;
            doers_ = &doers;
            double value = 0.0;
            for (int round = 0; round < 4; ++round) {
                doers.change(value += 1.0);
                deed = [&](Node& node) {
                    if (node.name() == meddler) {
                        what(node);
                    }
                };
                GetParam().evaluate(doers);
                deed = nullptr;
                EXPECT_FALSE(doers.network.getNode("last")->isDirty());
            }
            expectRight(doers, value + 1.0);
        }
    }

    /// By what it makes of a new value, compared with a copy that is evaluated serially.
    void expectRight(Doers& doers, double value) {
        doers.change(value);
        doers.network.setAllNodeDirty();
        GetParam().evaluate(doers);
        for (const std::string& name : doers.network.getNodeNames()) {
            doers.network.computeNode(name);
        }
        TessilGraph::NetworkManager copy(doers.network);
        for (const std::string& name : copy.getNodeNames()) {
            copy.computeNode(name);
        }
        for (const std::string& name : copy.getNodeNames()) {
            const auto valueOf = [&name](TessilGraph::NetworkManager& network) {
                return dynamic_cast<TessilGraph::PortTemplate<double>&>(*network.getNode(name)->getOutputPort("out"))
                    .get();
            };
            EXPECT_EQ(valueOf(doers.network), valueOf(copy)) << name;
        }
    }

    Doers* doers_ = nullptr;
};

TEST_P(MeddlingNodes, MaySetTheirOwnInputs) {
    double own = 0.0;
    meddle([&own](Node& node) {
        dynamic_cast<TessilGraph::PortTemplate<double>&>(*node.getInputPort("own")).set(own += 0.25);
    });
}

TEST_P(MeddlingNodes, MayMarkThemselves) {
    meddle([](Node& node) { node.setDirty(true); });
    meddle([](Node& node) { node.setDirtyFlag(); });
    meddle([](Node& node) {
        node.setDirty(false);
        node.setDirty(true);
    });
}

TEST_P(MeddlingNodes, MayMarkWhatTheyFeed) {
    meddle([](Node& node) {
        for (TessilGraph::Port* peer :
             static_cast<const TessilGraph::Port&>(*node.getOutputPort("out")).getConnections()) {
            peer->node()->setDirty(true);
            peer->node()->setDirtyFlag();
        }
    });
}

TEST_P(MeddlingNodes, MayMarkWhatFeedsThem) {
    meddle([this](Node& node) {
        for (const char* input : {"in1", "in2"}) {
            if (const TessilGraph::Port* source = node.getInputPort(input)->input()) {
                source->node()->setDirty(true);
            }
        }
        if (!GetParam().beside) {
            doers_->network.setAllNodeDirty();
        }
    });
}

TEST_P(MeddlingNodes, MayReadWhatTheyReadAnywayByTheNodesThemselves) {
    double sum = 0.0;
    meddle([&sum](Node& node) {
        for (const char* input : {"in1", "in2"}) {
            const TessilGraph::Port* source = node.getInputPort(input)->input();
            sum += source != nullptr ? dynamic_cast<const TessilGraph::PortTemplate<double>*>(source)->get() : 0.0;
        }
    });
    EXPECT_GT(sum, 0.0);
}

/// Who feeds what, as seen without opening any list.
std::string linksOf(TessilGraph::NetworkManager& network) {
    std::string text;
    const auto note = [&text](const TessilGraph::Port& port) {
        text += " " + port.name();
        for (const TessilGraph::Port* peer : port.getConnections()) {
            text += " - " + peer->node()->name() + "." + peer->name();
        }
    };
    for (const std::string& name : network.getNodeNames()) {
        const Node& node = *network.getNode(name);
        text += "\n" + node.name() + ":";
        for (auto port = node.inputPortCBegin(); port != node.inputPortCEnd(); ++port) {
            note(**port);
        }
        for (auto port = node.outputPortCBegin(); port != node.outputPortCEnd(); ++port) {
            note(**port);
        }
    }
    return text;
}

/// What a node finds in the others while it is computed.
struct Seen {
    std::set<std::string> computed;        ///< Before it.
    std::map<std::string, double> values;  ///< Of the outputs.
};

double outputOf(Doers& doers, const std::string& name) {
    return dynamic_cast<TessilGraph::PortTemplate<double>&>(*doers.network.getNode(name)->getOutputPort("out")).get();
}

void expectSeen(Doers& doers, const Node& reader, Seen& seen) {
    for (const std::string& name : doers.names) {
        EXPECT_EQ(outputOf(doers, name), seen.values[name]) << name;
        if (name != reader.name()) {
            EXPECT_EQ(doers.network.getNode(name)->isDirty(), seen.computed.count(name) == 0) << name;
        }
        for (const char* input : {"in1", "in2"}) {
            const TessilGraph::PortTemplate<double>& port = doers.port(name, input);
            if (port.input() != nullptr) {
                EXPECT_EQ(port.get(), seen.values[port.input()->node()->name()]) << name << "." << input;
            }
        }
    }
}

/// Those that were computed are clean and have their new values, those still to come are dirty and have their old ones.
TEST_P(MeddlingNodes, MayReadAllOthersWhereNoneIsComputedBesideThem) {
    if (GetParam().beside) {
        GTEST_SKIP() << "nodes are computed side by side";
    }
    std::vector<std::string> readers = Doers().names;
    readers.emplace_back("all");
    for (const std::string& reader : readers) {
        SCOPED_TRACE(reader);
        Doers doers;
        const std::string links = linksOf(doers.network);
        Seen seen;
        for (double value = 1.0; value < 6.0; value += 1.0) {
            doers.change(value);
            seen.computed.clear();
            deed = [&](Node& node) {
                const std::string name = node.name();
                if (reader == name || reader == "all") {
                    EXPECT_EQ(linksOf(doers.network), links);
                    expectSeen(doers, node, seen);
                }
                seen.computed.insert(name);
                seen.values[name] = doers.port(name, "in1").get() * 0.5 + doers.port(name, "in2").get() + 1.0;
            };
            GetParam().evaluate(doers);
            deed = nullptr;
            EXPECT_EQ(seen.computed.size(), doers.names.size());
            for (const std::string& name : doers.names) {
                EXPECT_EQ(outputOf(doers, name), seen.values[name]) << name;
            }
        }
        expectRight(doers, 7.0);
    }
}

/// Lists that hosts may edit, of any node: the evaluation that is under way, and later ones, have to look at them.
TEST_P(MeddlingNodes, MayOpenAnyListWhereNoneIsComputedBesideThem) {
    if (GetParam().beside) {
        GTEST_SKIP() << "nodes are computed side by side";
    }
    for (const int each : {1, 3}) {
        int times = 0;
        meddle([&](Node&) {
            if (++times % each != 0) {
                return;
            }
            TessilGraph::NetworkManager& network = doers_->network;
            const std::string links = linksOf(network);
            for (Node* other : network.getAllNodes()) {
                for (auto port = other->inputPortBegin(); port != other->inputPortEnd(); ++port) {
                    EXPECT_EQ((*port)->getConnections().size(), (*port)->numConnections());
                }
                for (auto port = other->outputPortBegin(); port != other->outputPortEnd(); ++port) {
                    EXPECT_EQ((*port)->getConnections().size(), (*port)->numConnections());
                }
            }
            EXPECT_EQ(linksOf(network), links);
        });
        EXPECT_GE(times, 12);
    }
}

TEST_P(MeddlingNodes, MayMakeLinkRenameAndDeleteOthersWhereNoneIsComputedBesideThem) {
    if (GetParam().beside) {
        GTEST_SKIP() << "nodes are computed side by side";
    }
    int made = 0;
    meddle([this, &made](Node& node) {
        TessilGraph::NetworkManager& network = doers_->network;
        const std::string name = "made" + std::to_string(++made);
        network.createNode("FaultsDoer", name);
        network.connectAttr(name, "out", node.name(), "own");
        network.createNode("AddDouble", name);
        network.connectAttr(node.name(), "out", name + "1", "in1");
        network.renameNode(name + "1", "another");
        network.disconnectAttr(name, "out", node.name(), "own");
        network.deleteNode("another");
        network.clearNodeCache();
    });
}

/// Nodes that the walk has yet to come to, or has been to.
TEST_P(MeddlingNodes, MayDeleteOthersThatAreToBeComputed) {
    if (GetParam().beside) {
        GTEST_SKIP() << "nodes are computed side by side";
    }
    for (const std::string& victim :
         {doerName(2, 0), doerName(2, 1), doerName(3, 1), std::string("last"), doerName(0, 0)}) {
        SCOPED_TRACE(victim);
        for (int warm = 0; warm < 4; ++warm) {
            Doers doers;
            for (int times = 0; times < warm; ++times) {
                doers.change(times);
                GetParam().evaluate(doers);
            }
            doers.change(9.0);
            deed = [&](Node& node) {
                if (node.name() == doerName(1, 1)) {
                    doers.network.deleteNode(victim);
                    doers.network.cacheNodeNetwork(doerName(0, 2));
                    doers.network.computeNode(doerName(0, 2), nullptr, false, true);
                }
            };
            GetParam().evaluate(doers);
            deed = nullptr;
            EXPECT_EQ(doers.network.getNode(victim), nullptr);
            expectDirtinessReachesDownstream(doers);
            doers.network.clearNodeNetworkCaches();
            doers.network.setAllNodeDirty();
            for (const std::string& name : doers.network.getNodeNames()) {
                doers.network.computeNode(name);
            }
            EXPECT_FALSE(doers.isAnyDirty());
        }
    }
}

TEST_P(MeddlingNodes, MayEvaluateOthersWhereNoneIsComputedBesideThem) {
    if (GetParam().beside) {
        GTEST_SKIP() << "nodes are computed side by side";
    }
    meddle([this](Node& node) {
        TessilGraph::NetworkManager& network = doers_->network;
        const auto outer = std::exchange(deed, nullptr);
        network.computeNode(doerName(0, 2));
        network.computeNode(doerName(0, 2), nullptr, true);
        network.cacheNodeNetwork(doerName(0, 2));
        network.computeNode(doerName(0, 2), nullptr, false, true);
        const RunStatus status = PreparedEvaluation(network, doerName(0, 2)).run().status;
        EXPECT_EQ(status, GetParam().prepared ? RunStatus::Busy : RunStatus::Done);
        static_cast<void>(node);
        deed = outer;
    });
}

INSTANTIATE_TEST_SUITE_P(Ways, MeddlingNodes, testing::ValuesIn(waysOfEvaluating()), wayName);

/// A sink that throws whatever it is told.
class ThrowingSink : public testing::Test {
protected:
    ThrowingSink()
        : previous_(TessilUtils::Logger::setSink([this](TessilUtils::LogLevel, const std::string&) {
              ++told_;
              throw std::runtime_error("no room in the log");
          })) {
        testing::internal::CaptureStderr();
    }
    ~ThrowingSink() override {
        TessilUtils::Logger::setSink(std::move(previous_));
        testing::internal::GetCapturedStderr();
    }

    int told_ = 0;

private:
    TessilUtils::Logger::Sink previous_;
};

TEST_F(ThrowingSink, EndsWithTheMessageAndChangesNoAnswer) {
    Doers doers;
    TessilGraph::NetworkManager& network = doers.network;
    Node& node = *network.getNode("n10");
    EXPECT_FALSE(network.connectAttr("n10", "out", "n00", "in1"));
    EXPECT_FALSE(network.connectAttr("n00", "out", "n10", "in1"));
    EXPECT_FALSE(network.disconnectAttr("last", "out", "n00", "in1"));
    EXPECT_FALSE(node.getInputPort("in1")->connectTo(nullptr));
    network.addNode(nullptr, "nobody");
    node.addInputPort(nullptr);
    TessilGraph::PortTemplate<double> twin("in1");
    node.addInputPort(&twin);
    TessilGraph::NodeFactory::instance().registerNode("FaultsDoer", Doer::creator);
    TessilGraph::NodeFactory::instance().deregisterNode("nobody");
    EXPECT_EQ(told_, 9);
    EXPECT_EQ(node.numInputPorts(), 3U);
    EXPECT_EQ(twin.node(), nullptr);
    EXPECT_EQ(network.getNodeNames().size(), doers.names.size());
}

/// A link that only one side lists is told of while the node is deleted.
TEST_F(ThrowingSink, StopsNoDeletionHalfWay) {
    Doers doers;
    doers.network.getNode("n10")->getInputPort("in1")->reset();
    doers.network.deleteNode("n00");
    EXPECT_EQ(told_, 1);
    EXPECT_EQ(doers.network.getNode("n00"), nullptr);
    doers.network.computeNode("last");
    EXPECT_FALSE(doers.network.getNode("last")->isDirty());
}

/// A circle is told of before its nodes are computed.
TEST_F(ThrowingSink, StopsNoEvaluation) {
    for (const bool parallel : {false, true}) {
        Doers doers;
        TessilGraph::Port& out = *doers.network.getNode("n10")->getOutputPort("out");
        TessilGraph::Port& in = *doers.network.getNode("n00")->getInputPort("own");
        out.getConnections().push_back(&in);
        in.getConnections().push_back(&out);
        told_ = 0;
        doers.network.computeNode("last", nullptr, parallel);
        EXPECT_GE(told_, 1);
        EXPECT_FALSE(doers.network.getNode("last")->isDirty());
    }
}

}  // namespace
