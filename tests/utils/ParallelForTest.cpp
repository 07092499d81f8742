#include <TessilUtils/ParallelFor.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cfenv>
#include <chrono>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using TessilUtils::parallel_for;
using TessilUtils::ParallelForRange;

namespace {

TEST(ParallelFor, GivesEveryIndexToTheTaskExactlyOnce) {
    for (const unsigned int length : {1u, 2u, 3u, 7u, 64u, 1000u, 100003u}) {
        const unsigned int begin = 5;
        std::vector<std::atomic<int>> counts(length);
        parallel_for(ParallelForRange(begin, begin + length), [&](const ParallelForRange& part) {
            EXPECT_LT(part.begin(), part.end());
            for (unsigned int i = part.begin(); i < part.end(); ++i) {
                ++counts[i - begin];
            }
        });
        EXPECT_TRUE(std::all_of(counts.begin(), counts.end(), [](int count) { return count == 1; })) << length;
    }
}

TEST(ParallelFor, ReachesTheLargestIndex) {
    constexpr unsigned int largest = std::numeric_limits<unsigned int>::max();
    std::atomic<unsigned long long> covered{0};
    parallel_for(ParallelForRange(0, largest),
                 [&](const ParallelForRange& part) { covered += part.end() - part.begin(); });
    EXPECT_EQ(covered, largest);
}

TEST(ParallelFor, ReturnsWhenAllIsDoneAndVisible) {
    for (int round = 0; round < 200; ++round) {
        std::vector<std::string> results(64);
        parallel_for(ParallelForRange(0, 64), [&](const ParallelForRange& part) {
            for (unsigned int i = part.begin(); i < part.end(); ++i) {
                results[i] = std::string(40, static_cast<char>('a' + i % 26));
            }
        });
        for (unsigned int i = 0; i < 64; ++i) {
            ASSERT_EQ(results[i], std::string(40, static_cast<char>('a' + i % 26)));
        }
    }
}

TEST(ParallelFor, DoesNothingForEmptyAndReversedRangesAndEmptyTasks) {
    int calls = 0;
    const auto count = [&](const ParallelForRange&) { ++calls; };
    parallel_for(ParallelForRange(0, 0), count);
    parallel_for(ParallelForRange(7, 7), count);
    parallel_for(ParallelForRange(9, 3), count);
    EXPECT_EQ(calls, 0);
    EXPECT_NO_THROW(parallel_for(ParallelForRange(0, 10), nullptr));
    EXPECT_NO_THROW(parallel_for(ParallelForRange(0, 10), {}));
}

TEST(ParallelFor, HandsAnExceptionToTheCaller) {
    for (int round = 0; round < 50; ++round) {
        std::atomic<int> running{0};
        std::string caught;
        try {
            parallel_for(ParallelForRange(0, 1000), [&](const ParallelForRange& part) {
                ++running;
                for (unsigned int i = part.begin(); i < part.end(); ++i) {
                    if (i == 500) {
                        --running;
                        throw std::runtime_error("index 500");
                    }
                }
                --running;
            });
        } catch (const std::runtime_error& error) {
            caught = error.what();
        }
        EXPECT_EQ(caught, "index 500");
        EXPECT_EQ(running, 0) << "all parts have ended";
    }
}

TEST(ParallelFor, WorksAfterAnException) {
    EXPECT_THROW(parallel_for(ParallelForRange(0, 10), [](const ParallelForRange&) { throw 1; }), int);
    std::atomic<unsigned int> sum{0};
    parallel_for(ParallelForRange(0, 10), [&](const ParallelForRange& part) { sum += part.end() - part.begin(); });
    EXPECT_EQ(sum, 10u);
}

TEST(ParallelFor, ComputesWithTheRoundingOfTheCaller) {
    // The threads at work, and this one in their midst, have begun with the usual one.
    parallel_for(ParallelForRange(0, 100), [](const ParallelForRange&) {});
    const int usual = std::fegetround();
    ASSERT_EQ(std::fesetround(FE_UPWARD), 0);
    std::atomic<int> others{0};
    const auto check = [&others](const ParallelForRange&) {
        others += std::fegetround() == FE_UPWARD ? 0 : 1;
        std::this_thread::sleep_for(std::chrono::microseconds(10));
    };
    parallel_for(ParallelForRange(0, 300), check);
    parallel_for(ParallelForRange(0, 4), [&check](const ParallelForRange& outer) {
        check(outer);
        parallel_for(ParallelForRange(0, 30), check);
    });
    const int after = std::fegetround();
    std::fesetround(usual);
    EXPECT_EQ(others, 0);
    EXPECT_EQ(after, FE_UPWARD);
}

TEST(ParallelFor, CanBeNested) {
    std::vector<std::atomic<int>> counts(50 * 40);
    parallel_for(ParallelForRange(0, 50), [&](const ParallelForRange& outer) {
        for (unsigned int i = outer.begin(); i < outer.end(); ++i) {
            parallel_for(ParallelForRange(0, 40), [&](const ParallelForRange& inner) {
                for (unsigned int j = inner.begin(); j < inner.end(); ++j) {
                    ++counts[i * 40 + j];
                }
            });
        }
    });
    EXPECT_TRUE(std::all_of(counts.begin(), counts.end(), [](int count) { return count == 1; }));
}

TEST(ParallelFor, ServesManyHostThreadsAtOnce) {
    std::atomic<unsigned int> sum{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                parallel_for(ParallelForRange(0, 100),
                             [&](const ParallelForRange& part) { sum += part.end() - part.begin(); });
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(sum, 8u * 20u * 100u);
}

}  // namespace
