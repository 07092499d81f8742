#include <tests/nodes/BuiltInNetworks.h>
#include "RandomNetworks.h"

#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>

// A host that uses oneTBB itself.

namespace tests {

/// Notes the threads that compute, and lets others have the processor meanwhile.
class WatchedSum : public TessilGraph::NodeShape<WatchedSum> {
public:
    static std::set<std::thread::id> takeThreads() {
        const std::lock_guard<std::mutex> guard(mutex());
        return std::exchange(threads(), {});
    }

    bool compute(const TessilGraph::ComputeData*) override {
        {
            const std::lock_guard<std::mutex> guard(mutex());
            threads().insert(std::this_thread::get_id());
        }
        std::this_thread::sleep_for(std::chrono::microseconds(20));
        out_->set(in1_->get() * 0.1 + in2_->get());
        return true;
    }

private:
    static std::mutex& mutex() {
        static std::mutex mutex;
        return mutex;
    }
    static std::set<std::thread::id>& threads() {
        static std::set<std::thread::id> threads;
        return threads;
    }

    TessilGraph::PortTemplate<double>* in1_ = TessilGraph::addInput<double>(*this, "in1");
    TessilGraph::PortTemplate<double>* in2_ = TessilGraph::addInput<double>(*this, "in2");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

}  // namespace tests

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::WatchedSum>{"WatchedSum", 9205};

using namespace tests;

namespace {

const bool watchedSumIsRegistered = (TessilGraph::registerNodes<WatchedSum>(), true);

/// More threads than there are processors.
class Arena : public testing::Test {
protected:
    static constexpr int mostThreads = 16;

    Arena() { WatchedSum::takeThreads(); }

    tbb::global_control allowed{tbb::global_control::max_allowed_parallelism, mostThreads};
};

void checkEveryWay(std::uint32_t seed, std::set<std::string>* types = nullptr) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    EveryWay networks(seed, nodesPerNetwork, "WatchedSum");
    EXPECT_EQ(networks.difference(3), "");
    if (types != nullptr) {
        networks.addTypesTo(*types);
    }
}

}  // namespace

TEST(RandomNetworks, GiveTheSameBitsOnAnyNumberOfThreads) {
    const tbb::global_control threads(tbb::global_control::max_allowed_parallelism, 4);
    for (int count = 1; count <= 4; ++count) {
        SCOPED_TRACE(std::to_string(count) + " threads");
        tbb::task_arena arena(count);
        TessilGraph::RunOptions options;
        options.parallel = true;
        options.cutOff = count % 2 == 0;
        arena.execute([&] { checkRandomNetworks(12, options); });
    }
}

TEST_F(Arena, GivesBuiltInNetworksTheSameBitsWhateverItsSize) {
    std::size_t most = 0;
    for (const int count : {1, 2, 4, mostThreads}) {
        SCOPED_TRACE(std::to_string(count) + " threads");
        tbb::task_arena arena(count);
        std::set<std::string> types;
        arena.execute([&types] {
            for (std::uint32_t seed = 1; seed <= 6; ++seed) {
                checkEveryWay(seed, &types);
            }
        });
        EXPECT_EQ(types.size(), 98u + 1u);
        const std::size_t seen = WatchedSum::takeThreads().size();
        EXPECT_LE(seen, static_cast<std::size_t>(count));
        most = std::max(most, seen);
    }
    EXPECT_GT(most, 2u);
}

TEST_F(Arena, RunsNetworksInALoopOfTheHost) {
    tbb::task_arena arena(4);
    arena.execute([] { tbb::parallel_for(1u, 13u, [](std::uint32_t seed) { checkEveryWay(seed); }); });
    EXPECT_LE(WatchedSum::takeThreads().size(), 4u);
}

TEST_F(Arena, RunsNetworksOnTheOneThreadThatTheProcessIsAllowed) {
    const tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
    for (std::uint32_t seed = 1; seed <= 2; ++seed) {
        checkEveryWay(seed);
    }
    EXPECT_EQ(WatchedSum::takeThreads(), std::set<std::thread::id>{std::this_thread::get_id()});
}
