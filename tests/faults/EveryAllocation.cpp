#include "EveryAllocation.h"

#include <TessilUtils/Logger.h>

#include <gtest/gtest.h>

#include <chrono>
#include <new>
#include <thread>
#include <utility>

namespace tests {

namespace {

class SilentLog {
public:
    SilentLog() : previous_(TessilUtils::Logger::setSink([](TessilUtils::LogLevel, const std::string&) {})) {}
    ~SilentLog() { TessilUtils::Logger::setSink(std::move(previous_)); }
    SilentLog(const SilentLog&) = delete;
    SilentLog& operator=(const SilentLog&) = delete;

private:
    TessilUtils::Logger::Sink previous_;
};

/// Other threads may give something back a moment after the call that they worked for.
bool isBackAt(long pieces) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (piecesInUse() != pieces && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    return piecesInUse() == pieces;
}

class Trial {
public:
    Trial(const MakeWorld& make, const Operate& operate, Promise promise)
        : make_(make), operate_(operate), promise_(promise) {
        // The first time fills what the process keeps for good.
        look();
        look();
    }

    void run() {
        each("it fails", [this](std::size_t first) { return failsAndIsRepeated(Shortage::Once, first); });
        each("it and all others fail",
             [this](std::size_t first) { return failsAndIsRepeated(Shortage::Lasting, first); });
        each("it and all others fail to the end of the world",
             [this](std::size_t first) { return endsInShortage(first); });
    }

private:
    void look() {
        before_ = make_()->picture();
        const std::unique_ptr<World> world = make_();
        operate_(*world);
        after_ = world->picture();
        later_ = world->later();
    }

    /// `attempt(first)` says whether the shortage was felt.
    template <class Attempt>
    static void each(const std::string& what, const Attempt& attempt) {
        constexpr std::size_t most = 20000;
        bool felt = true;
        for (std::size_t first = 1; felt && !testing::Test::HasFailure(); ++first) {
            SCOPED_TRACE("allocation " + std::to_string(first) + ": " + what);
            ASSERT_LT(first, most);
            const long before = piecesInUse();
            felt = attempt(first);
            if (!isBackAt(before)) {
                // A thread that came up meanwhile keeps something for good; what leaks does so each time.
                const long again = piecesInUse();
                attempt(first);
                EXPECT_TRUE(isBackAt(again)) << piecesInUse() - again << " pieces of memory are left behind";
            }
        }
    }

    bool failsAndIsRepeated(Shortage kind, std::size_t first) {
        const std::unique_ptr<World> world = make_();
        bool threw = false;
        try {
            const MemoryShortage shortage(first, kind);
            operate_(*world);
        } catch (const std::bad_alloc&) {
            threw = true;
        }
        const bool felt = MemoryShortage::wasFelt();
        EXPECT_TRUE(felt || !threw);
        if (threw) {
            // Not each time: who looks at lists changes the form that they are kept in.
            const bool isLookedAt = (first % 2 == 0) == (kind == Shortage::Once);
            if (promise_ == Promise::AllOrNothing && isLookedAt) {
                EXPECT_EQ(world->picture(), before_);
            }
            operate_(*world);
        }
        EXPECT_EQ(world->picture(), after_);
        EXPECT_EQ(world->later(), later_);
        return felt;
    }

    bool endsInShortage(std::size_t first) {
        std::unique_ptr<World> world = make_();
        bool felt = false;
        const MemoryShortage shortage(first, Shortage::Lasting);
        try {
            operate_(*world);
            felt = MemoryShortage::wasFelt();
        } catch (const std::bad_alloc&) {
            felt = true;
        }
        world.reset();
        return felt;
    }

    const MakeWorld& make_;
    const Operate& operate_;
    const Promise promise_;
    std::string before_;
    std::string after_;
    std::string later_;
};

}  // namespace

void everyAllocationFailsIn(const MakeWorld& make, const Operate& operate, Promise promise) {
    const SilentLog silent;
    Trial(make, operate, promise).run();
}

}  // namespace tests
