#include "WaysOfEvaluating.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace tests;
using TessilGraph::CancelToken;
using TessilGraph::Frames;
using TessilGraph::Node;
using TessilGraph::PreparedEvaluation;
using TessilGraph::RunOptions;
using TessilGraph::RunResult;
using TessilGraph::RunStatus;

namespace {

struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// One that the last node reads twice, at different distances.
void addShortcut(Doers& doers) {
    doers.link(doerName(1, 0), "last", "own");
}

/// What the doers come to when nothing goes wrong, serially.
std::vector<double> rightValues(double value, bool hasShortcut = false) {
    Doers doers;
    if (hasShortcut) {
        addShortcut(doers);
    }
    doers.change(value);
    for (const std::string& name : doers.names) {
        doers.network.computeNode(name);
    }
    return doers.values();
}

class ThrowingNodes : public testing::TestWithParam<Way> {
protected:
    ~ThrowingNodes() override { deed = nullptr; }

    void throwFrom(const std::set<std::string>& throwers) {
        deed = [throwers](Node& node) {
            if (throwers.count(node.name()) != 0) {
                throw Refusal(node.name());
            }
        };
    }

    /// Evaluates with these throwing, and then without.
    void expectToBeCompletedAfter(const std::set<std::string>& throwers, double value) {
        SCOPED_TRACE(*throwers.begin());
        doers_.change(value);
        throwFrom(throwers);
        std::string first;
        try {
            GetParam().evaluate(doers_);
        } catch (const Refusal& refusal) {
            first = refusal.what();
        }
        deed = nullptr;
        EXPECT_EQ(throwers.count(first), 1U) << first;
        EXPECT_TRUE(doers_.network.getNode(first)->isDirty());
        expectDirtinessReachesDownstream(doers_);
        GetParam().evaluate(doers_);
        EXPECT_FALSE(doers_.isAnyDirty());
        EXPECT_EQ(doers_.values(), rightValues(value));
    }

    Doers doers_;
};

TEST_P(ThrowingNodes, LeaveTheRestDirtyAndTheNetworkUsableWhicheverOfThemThrows) {
    double value = 0.0;
    // The first times learn what nodes take and keep what serves again; later ones use it.
    for (int round = 0; round < 3; ++round) {
        for (const std::string& name : doers_.names) {
            expectToBeCompletedAfter({name}, value += 1.0);
        }
    }
}

TEST_P(ThrowingNodes, MayBeSeveralAtOnce) {
    double value = 0.0;
    for (int round = 0; round < 5; ++round) {
        for (std::size_t column = 0; column < columns; ++column) {
            std::set<std::string> throwers;
            for (std::size_t row = 0; row < rows; ++row) {
                throwers.insert(doerName(column, row));
            }
            expectToBeCompletedAfter(throwers, value += 1.0);
        }
        expectToBeCompletedAfter({doers_.names.begin(), doers_.names.end()}, value += 1.0);
    }
}

TEST_P(ThrowingNodes, MayThrowAgainAndAgain) {
    for (const std::string& name : doers_.names) {
        doers_.change(1.0);
        doers_.network.setAllNodeDirty();
        throwFrom({name});
        EXPECT_THROW(GetParam().evaluate(doers_), Refusal);
        EXPECT_THROW(GetParam().evaluate(doers_), Refusal);
    }
    deed = nullptr;
    GetParam().evaluate(doers_);
    EXPECT_EQ(doers_.values(), rightValues(1.0));
}

TEST_P(ThrowingNodes, AreDirtyAfterwardsThoughTheyMarkedThemselvesClean) {
    double value = 0.0;
    for (int round = 0; round < 3; ++round) {
        for (const std::string& name : doers_.names) {
            SCOPED_TRACE(name);
            doers_.change(value += 1.0);
            deed = [&name](Node& node) {
                if (node.name() == name) {
                    node.setDirty(false);
                    throw Refusal(name);
                }
            };
            EXPECT_THROW(GetParam().evaluate(doers_), Refusal);
            deed = nullptr;
            EXPECT_TRUE(doers_.network.getNode(name)->isDirty());
            GetParam().evaluate(doers_);
            EXPECT_EQ(doers_.values(), rightValues(value));
        }
    }
}

/// One node at a time throws, once: the next one that is computed throws nothing any more.
TEST_P(ThrowingNodes, MayThrowAtAnyPointAndOnlyThere) {
    addShortcut(doers_);
    double value = 0.0;
    for (int round = 0; round < 3; ++round) {
        bool threw = true;
        for (int at = 1; threw; ++at) {
            SCOPED_TRACE(at);
            doers_.change(value += 1.0);
            std::atomic<int> computes{0};
            deed = [&computes, at](Node& node) {
                if (++computes == at) {
                    throw Refusal(node.name());
                }
            };
            std::string thrower;
            try {
                GetParam().evaluate(doers_);
            } catch (const Refusal& refusal) {
                thrower = refusal.what();
            }
            deed = nullptr;
            threw = !thrower.empty();
            EXPECT_EQ(threw, computes >= at);
            EXPECT_TRUE(!threw || doers_.network.getNode(thrower)->isDirty());
            expectDirtinessReachesDownstream(doers_);
            GetParam().evaluate(doers_);
            EXPECT_FALSE(doers_.isAnyDirty());
            EXPECT_EQ(doers_.values(), rightValues(value, true));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Ways, ThrowingNodes, testing::ValuesIn(waysOfEvaluating()), wayName);

class ThrowingFrames : public testing::TestWithParam<bool> {
protected:
    static constexpr std::size_t count = 80;

    ThrowingFrames() {
        for (std::size_t frame = 0; frame < count; ++frame) {
            numbers_.push_back(static_cast<double>(frame));
        }
        options_.parallel = GetParam();
        evaluate(right_);
        expected_ = columns_;
    }
    ~ThrowingFrames() override { deed = nullptr; }

    void evaluate(Doers& doers) {
        Frames frames(doers.network, count);
        for (std::size_t row = 0; row < rows; ++row) {
            ASSERT_TRUE(frames.drive(doerName(0, row), "in1", numbers_));
        }
        const std::vector<std::string> names = {"last", doerName(columns - 1, 2)};
        for (const std::string& name : names) {
            ASSERT_TRUE(frames.collect<double>(name, "out"));
        }
        EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
        columns_.clear();
        for (const std::string& name : names) {
            columns_.push_back(frames.column<double>(name, "out"));
        }
    }

    /// Throws whenever one of these is computed, from some computation on; at the same time as another thread does
    /// where there is one.
    void expectToBeCompletedAfter(const std::set<std::string>& throwers, int from) {
        SCOPED_TRACE(*throwers.begin() + " from " + std::to_string(from));
        Doers doers;
        std::atomic<int> computes{0};
        std::atomic<int> refusals{0};
        const std::chrono::milliseconds longestWait(GetParam() && from > 1 ? 50 : 0);
        deed = [&](Node& node) {
            if (++computes >= from && throwers.count(node.name()) != 0) {
                ++refusals;
                const auto end = std::chrono::steady_clock::now() + longestWait;
                while (refusals < 2 && std::chrono::steady_clock::now() < end) {
                    std::this_thread::yield();
                }
                throw Refusal(node.name());
            }
        };
        std::string first;
        try {
            evaluate(doers);
        } catch (const Refusal& refusal) {
            first = refusal.what();
        }
        deed = nullptr;
        EXPECT_EQ(throwers.count(first), 1U) << first;
        expectDirtinessReachesDownstream(doers);
        expectRight(doers);
    }

    void expectRight(Doers& doers) {
        evaluate(doers);
        EXPECT_EQ(columns_, expected_);
        EXPECT_FALSE(doers.isAnyDirty());
        EXPECT_EQ(doers.values(), right_.values());
    }

    std::vector<double> numbers_;
    RunOptions options_;
    Doers right_;
    std::vector<std::vector<double>> columns_;  ///< What was collected last.
    std::vector<std::vector<double>> expected_;
};

/// One node, one time.
TEST_P(ThrowingFrames, LeaveTheNetworkUsable) {
    for (const int throwsAt : {1, 5, 60, 700}) {
        SCOPED_TRACE(throwsAt);
        Doers doers;
        std::atomic<int> computes{0};
        deed = [&](Node& node) {
            if (++computes == throwsAt) {
                throw Refusal(node.name());
            }
        };
        EXPECT_THROW(evaluate(doers), Refusal);
        deed = nullptr;
        expectRight(doers);
    }
}

/// From the first frame on, or from one on beside which copies may compute others.
TEST_P(ThrowingFrames, LeaveTheNetworkUsableWhicheverNodeThrowsInEachFrame) {
    for (const std::string& name : right_.names) {
        for (const int from : {1, 60}) {
            expectToBeCompletedAfter({name}, from);
        }
    }
}

TEST_P(ThrowingFrames, LeaveTheNetworkUsableWhenSeveralNodesThrowInEachFrame) {
    for (std::size_t column = 0; column < columns; ++column) {
        std::set<std::string> throwers;
        for (std::size_t row = 0; row < rows; ++row) {
            throwers.insert(doerName(column, row));
        }
        for (const int from : {1, 60, 61, 62, 700}) {
            expectToBeCompletedAfter(throwers, from);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(OnOneThreadAndSeveral, ThrowingFrames, testing::Bool());

/// How a run is made that somebody cancels.
struct CancelledWay {
    std::string name;
    bool parallel;
    bool cutOff;
    bool odd;  ///< It walks afresh.
};

void PrintTo(const CancelledWay& way, std::ostream* out) {
    *out << way.name;
}

class CancelledRuns : public testing::TestWithParam<CancelledWay> {
protected:
    CancelledRuns() {
        if (GetParam().odd) {
            makeOdd(doers_.network);
        }
    }
    ~CancelledRuns() override { deed = nullptr; }

    static bool isOnOneThread() { return !GetParam().parallel; }

    /// Cancels at some point, and completes, be it `completesOtherwise` as to cutting off. Returns what the cancelled
    /// run did.
    template <class CancelAt>
    RunResult expectToBeCompletedAfter(const CancelAt& cancelAt, double value, bool completesOtherwise = false) {
        doers_.change(value);
        CancelToken token;
        RunOptions options;
        options.parallel = GetParam().parallel;
        options.cutOff = GetParam().cutOff;
        options.cancel = &token;
        cancelAt(token, options);
        const RunResult cancelled = evaluation_.run(nullptr, options);
        deed = nullptr;
        options.progress = nullptr;
        token.reset();
        expectDirtinessReachesDownstream(doers_);
        EXPECT_EQ(cancelled.computed + doers_.countDirty(), doers_.names.size());
        if (doers_.isAnyDirty()) {
            EXPECT_EQ(cancelled.status, RunStatus::Cancelled);
        }
        options.cutOff = options.cutOff != completesOtherwise;
        const RunResult completed = evaluation_.run(nullptr, options);
        EXPECT_EQ(completed.status, RunStatus::Done);
        EXPECT_EQ(cancelled.computed + completed.computed, doers_.names.size());
        EXPECT_FALSE(doers_.isAnyDirty());
        EXPECT_EQ(doers_.values(), rightValues(value));
        return cancelled;
    }

    Doers doers_;
    PreparedEvaluation evaluation_{doers_.network, doers_.names};
};

/// One thread computes nothing more, several nothing that waits for that node.
TEST_P(CancelledRuns, AreCompletedWhicheverNodeCancels) {
    double value = 0.0;
    for (int round = 0; round < 6; ++round) {
        for (const std::string& name : doers_.names) {
            SCOPED_TRACE(name);
            std::atomic<std::uint64_t> computes{0};
            std::atomic<std::uint64_t> until{0};
            const RunResult cancelled = expectToBeCompletedAfter(
                [&](CancelToken& token, RunOptions&) {
                    deed = [&](Node& node) {
                        const std::uint64_t count = ++computes;
                        if (node.name() == name) {
                            until = count;
                            token.cancel();
                        }
                    };
                },
                value += 1.0, round % 2 == 1);
            EXPECT_EQ(cancelled.computed, computes);
            const bool feedsAny = doers_.network.getNode(name)->getOutputPort("out")->numConnections() != 0;
            if (isOnOneThread()) {
                EXPECT_EQ(computes, until);
            }
            if (feedsAny || (isOnOneThread() && until < doers_.names.size())) {
                EXPECT_EQ(cancelled.status, RunStatus::Cancelled);
                EXPECT_LT(cancelled.computed, doers_.names.size());
            }
        }
    }
}

TEST_P(CancelledRuns, AreCompletedWhereverTheyAreCancelledByWhoIsToldOfTheirProgress) {
    double value = 0.0;
    for (int round = 0; round < 6; ++round) {
        for (std::uint64_t at = 1; at <= doers_.names.size(); ++at) {
            SCOPED_TRACE(at);
            const RunResult cancelled = expectToBeCompletedAfter(
                [at](CancelToken& token, RunOptions& options) {
                    options.progress = [&token, at](std::uint64_t done, std::uint64_t) {
                        if (done >= at) {
                            token.cancel();
                        }
                    };
                },
                value += 1.0, round % 2 == 1);
            EXPECT_GE(cancelled.computed, at);
            if (isOnOneThread()) {
                EXPECT_EQ(cancelled.computed, at);
            }
        }
    }
}

TEST_P(CancelledRuns, ComputeNothingWhenTheyWereCancelledBeforehand) {
    for (double value = 1.0; value < 5.0; value += 1.0) {
        const RunResult cancelled =
            expectToBeCompletedAfter([](CancelToken& token, RunOptions&) { token.cancel(); }, value);
        EXPECT_EQ(cancelled.status, RunStatus::Cancelled);
        EXPECT_EQ(cancelled.computed, 0U);
    }
}

INSTANTIATE_TEST_SUITE_P(Ways, CancelledRuns,
                         testing::Values(CancelledWay{"OnOneThread", false, false, false},
                                         CancelledWay{"CuttingOff", false, true, false},
                                         CancelledWay{"WalkingAfresh", false, false, true},
                                         CancelledWay{"OnSeveralThreads", true, false, false},
                                         CancelledWay{"OnSeveralThreadsCuttingOff", true, true, false}),
                         [](const testing::TestParamInfo<CancelledWay>& way) { return way.param.name; });

}  // namespace
