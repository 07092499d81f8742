#include <tests/nodes/BuiltInNetworks.h>
#include <tests/support/CollectedLog.h>
#include "RandomNetworks.h"

#include <TessilGraph/TessilGraph.h>

#include <TessilUtils/Logger.h>
#include <TessilUtils/ParallelFor.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

using namespace tests;
using TessilGraph::Frames;
using TessilGraph::NetworkManager;
using TessilGraph::PortTemplate;
using TessilUtils::parallel_for;
using TessilUtils::ParallelForRange;

namespace {

constexpr std::size_t threadCount = 6;
constexpr std::uint32_t rounds = 2;

using Answers = std::vector<std::string>;

/// What each thread answers, all of them being at work at once.
Answers onManyThreads(const std::function<std::string(std::size_t thread)>& work) {
    Answers answers(threadCount, "none");
    std::atomic<std::size_t> arrived{0};
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            ++arrived;
            while (arrived < threadCount) {
                std::this_thread::yield();
            }
            answers[thread] = work(thread);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return answers;
}

/// Builds a network in every way, evaluates it and lets it go.
std::string differenceOf(std::size_t seed) {
    return EveryWay(static_cast<std::uint32_t>(seed + 1), nodesPerNetwork, "SlowSum").difference(rounds);
}

/// How many frames of a row of sums come out right.
std::string rightFramesOfARow() {
    NetworkManager network;
    constexpr int length = 10;
    std::string last;
    for (int count = 0; count < length; ++count) {
        const std::string name = network.createNode("SlowSum", "sum")->name();
        dynamic_cast<PortTemplate<double>&>(*network.getNode(name)->getInputPort("in2")).set(1.0);
        if (!last.empty()) {
            EXPECT_TRUE(network.connectAttr(last, "out", name, "in1"));
        }
        last = name;
    }
    std::vector<double> values;
    for (int frame = 0; frame < 40; ++frame) {
        values.push_back(frame);
    }
    Frames frames(network, values.size());
    EXPECT_TRUE(frames.drive("sum", "in1", values));
    EXPECT_TRUE(frames.collect<double>(last, "out"));
    TessilGraph::RunOptions options;
    options.parallel = true;
    frames.run(nullptr, options);
    const std::vector<double> sums = frames.column<double>(last, "out");
    std::size_t right = 0;
    for (std::size_t frame = 0; frame < values.size(); ++frame) {
        right += sums[frame] == values[frame] + length ? 1 : 0;
    }
    return std::to_string(right);
}

}  // namespace

TEST(ManyNetworks, AreBuiltEvaluatedAndDestroyedOnManyThreadsAtOnce) {
    EXPECT_EQ(onManyThreads([](std::size_t thread) { return differenceOf(thread); }), Answers(threadCount));
}

TEST(ManyNetworks, AreBuiltEvaluatedAndDestroyedInsideALoop) {
    Answers answers(2 * threadCount, "none");
    parallel_for(ParallelForRange(0, 2 * threadCount), [&answers](const ParallelForRange& range) {
        for (unsigned int seed = range.begin(); seed < range.end(); ++seed) {
            answers[seed] = differenceOf(seed);
        }
    });
    EXPECT_EQ(answers, Answers(2 * threadCount));
}

TEST(ManyNetworks, MayBeCopiesOfOneThatManyThreadsCopyAtOnce) {
    NetworkManager original;
    const std::vector<std::string> names = buildNodes(original, 5, nodesPerNetwork).names;
    original.cacheNodeNetwork(names.back());
    TessilGraph::PreparedEvaluation keepsValuesElsewhere(original, names.back());
    keepsValuesElsewhere.run();
    const auto evaluated = [&names](NetworkManager& copy) {
        for (const std::string& name : names) {
            copy.computeNode(name, nullptr, true, true);
        }
        std::string all;
        for (const std::string& state : stateOf(copy)) {
            all += state;
        }
        return all;
    };
    NetworkManager first(original);
    const std::string expected = evaluated(first);
    const NetworkManager& shared = original;
    EXPECT_EQ(onManyThreads([&](std::size_t) {
                  NetworkManager copy(shared);
                  NetworkManager second = shared.clone();
                  second = shared;
                  return evaluated(second) == expected ? evaluated(copy) : "differs";
              }),
              Answers(threadCount, expected));
}

TEST(ManyNetworks, GoThroughTheirFramesOnManyThreadsAtOnce) {
    EXPECT_EQ(onManyThreads([](std::size_t) { return rightFramesOfARow(); }), Answers(threadCount, "40"));
}

/// The sink has no lock of its own, and lets others run while it is at it.
TEST(ManyNetworks, MayAllRefuseAtOnce) {
    constexpr std::size_t refusals = 30;
    Messages told;
    const TessilUtils::Logger::Sink before =
        TessilUtils::Logger::setSink([&told](TessilUtils::LogLevel, const std::string& message) {
            std::this_thread::yield();
            told.push_back(message);
        });
    onManyThreads([](std::size_t) {
        NetworkManager network;
        network.createNode("AddDouble", "first");
        network.createNode("AddDouble", "second");
        EXPECT_TRUE(network.connectAttr("first", "out", "second", "in1"));
        for (std::size_t count = 0; count < refusals; ++count) {
            EXPECT_FALSE(network.connectAttr("second", "out", "first", "in1"));
        }
        return std::string();
    });
    TessilUtils::Logger::setSink(before);
    EXPECT_EQ(told, Messages(threadCount * refusals, "Cycle detected! the connection is not allowed! "));
}
