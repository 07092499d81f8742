#include <TessilUtils/TaskGroup.h>

#include <TessilUtils/ParallelFor.h>

#include "WaitingThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cfenv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using TessilUtils::parallel_for;
using TessilUtils::ParallelForRange;
using TessilUtils::TaskGroup;

namespace {

using Counts = std::vector<std::atomic<int>>;

void countArgument(void* counts, std::uintptr_t index) {
    ++(*static_cast<Counts*>(counts))[index];
}

void expectAllOnes(const Counts& counts) {
    for (std::size_t index = 0; index < counts.size(); ++index) {
        ASSERT_EQ(counts[index], 1) << index;
    }
}

TEST(TaskGroup, RunsEveryTaskOnce) {
    Counts counts(1000);
    TaskGroup group;
    for (std::uintptr_t index = 0; index < counts.size(); ++index) {
        group.run(countArgument, &counts, index);
    }
    group.wait();
    expectAllOnes(counts);
}

TEST(TaskGroup, RunsWhateverCanBeCalled) {
    std::atomic<int> sum{0};
    TaskGroup group;
    for (int summand : {1, 2, 3}) {
        group.run([&sum, summand] { sum += summand; });
    }
    group.wait();
    EXPECT_EQ(sum, 6);
}

TEST(TaskGroup, DoesNothingForNoTask) {
    TaskGroup group;
    group.run(nullptr, nullptr);
    group.run(std::function<void()>());
    EXPECT_NO_THROW(group.wait());
    EXPECT_NO_THROW(group.wait());
}

TEST(TaskGroup, IsAsNewAfterAWait) {
    TaskGroup group;
    for (int round = 0; round < 100; ++round) {
        Counts counts(20);
        for (std::uintptr_t index = 0; index < counts.size(); ++index) {
            group.run(countArgument, &counts, index);
        }
        group.wait();
        expectAllOnes(counts);
    }
}

TEST(TaskGroup, WaitsWhenItIsDestroyed) {
    Counts counts(100);
    {
        TaskGroup group;
        for (std::uintptr_t index = 0; index < counts.size(); ++index) {
            group.run(countArgument, &counts, index);
        }
        group.run([] { throw std::runtime_error("nobody asked"); });
    }
    expectAllOnes(counts);
}

/// A tree of tasks: each starts two until `left` is used up.
struct Tree {
    TaskGroup& group;
    Counts& counts;

    static void grow(void* context, std::uintptr_t index) {
        const Tree& tree = *static_cast<Tree*>(context);
        ++tree.counts[index];
        for (const std::uintptr_t child : {2 * index + 1, 2 * index + 2}) {
            if (child < tree.counts.size()) {
                tree.group.run(grow, context, child);
            }
        }
    }
};

TEST(TaskGroup, WaitsForTheTasksThatTasksStart) {
    TaskGroup group;
    for (const std::size_t size : std::vector<std::size_t>{1, 2, 10, 5000}) {
        Counts counts(size);
        Tree tree{group, counts};
        group.run(Tree::grow, &tree, 0);
        group.wait();
        expectAllOnes(counts);
    }
}

TEST(TaskGroup, LetsOneTaskStartTenThousand) {
    Counts counts(10000);
    TaskGroup group;
    group.run([&] {
        for (std::uintptr_t index = 0; index < counts.size(); ++index) {
            group.run(countArgument, &counts, index);
        }
    });
    group.wait();
    expectAllOnes(counts);
}

/// A row of tasks in which each starts the next one.
struct Row {
    TaskGroup& group;
    std::uintptr_t length;
    std::uintptr_t sum;  // Not atomic: the tasks come one after another.

    static void step(void* context, std::uintptr_t index) {
        Row& row = *static_cast<Row*>(context);
        row.sum += index;
        if (index + 1 < row.length) {
            row.group.run(step, context, index + 1);
        }
    }
};

TEST(TaskGroup, RunsALongRowOfTasksThatStartTheNext) {
    TaskGroup group;
    Row row{group, 100000, 0};
    group.run(Row::step, &row, 0);
    group.wait();
    EXPECT_EQ(row.sum, row.length * (row.length - 1) / 2);
}

TEST(TaskGroup, ShowsTasksAndWaitersWhatWasWrittenBefore) {
    for (int round = 0; round < 200; ++round) {
        std::vector<std::string> inputs(16, std::string(40, 'x'));
        std::vector<std::string> results(16);
        TaskGroup group;
        for (std::size_t index = 0; index < inputs.size(); ++index) {
            group.run([&group, &inputs, &results, index] {
                results[index] = inputs[index] + "y";
                group.run([&results, index] { results[index] += "z"; });
            });
        }
        group.wait();
        EXPECT_EQ(results, std::vector<std::string>(16, std::string(40, 'x') + "yz"));
    }
}

TEST(TaskGroup, HandsTheFirstExceptionToTheWaiterAfterAllTasks) {
    for (int round = 0; round < 50; ++round) {
        Counts counts(200);
        TaskGroup group;
        for (std::uintptr_t index = 0; index < counts.size(); ++index) {
            group.run([&counts, index] {
                ++counts[index];
                if (index == 70) {
                    throw std::runtime_error("task 70");
                }
            });
        }
        try {
            group.wait();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "task 70");
        }
        expectAllOnes(counts);
        EXPECT_NO_THROW(group.wait());
    }
}

TEST(TaskGroup, HandsOneOfManyExceptionsToTheWaiter) {
    TaskGroup group;
    for (int thrown = 0; thrown < 100; ++thrown) {
        group.run([&group, thrown] {
            group.run([thrown] { throw thrown; });
            throw thrown;
        });
    }
    EXPECT_THROW(group.wait(), int);
    group.run([] {});
    EXPECT_NO_THROW(group.wait());
}

TEST(TaskGroup, CanBeNested) {
    Counts counts(30 * 40);
    TaskGroup outer;
    for (std::uintptr_t row = 0; row < 30; ++row) {
        outer.run([&counts, row] {
            TaskGroup inner;
            for (std::uintptr_t column = 0; column < 40; ++column) {
                inner.run(countArgument, &counts, row * 40 + column);
            }
            inner.wait();
        });
    }
    outer.wait();
    expectAllOnes(counts);
}

TEST(TaskGroup, KeepsAWaitingThreadToItsOwnTasks) {
    for (int round = 0; round < 10; ++round) {
        TaskGroup outer;
        outer.run([&outer] {
            EXPECT_TRUE(
                tests::leavesOtherWorkAlone([&outer](std::function<void()> task) { outer.run(std::move(task)); }));
        });
        outer.wait();
    }
}

TEST(TaskGroup, TakesTasksFromInsideLoops) {
    Counts counts(64 * 8);
    TaskGroup group;
    group.run([&] {
        parallel_for(ParallelForRange(0, 64), [&](const ParallelForRange& part) {
            for (unsigned int row = part.begin(); row < part.end(); ++row) {
                for (std::uintptr_t column = 0; column < 8; ++column) {
                    group.run(countArgument, &counts, row * 8 + column);
                }
            }
        });
    });
    group.wait();
    expectAllOnes(counts);
}

TEST(TaskGroup, WorksInsideLoops) {
    Counts counts(50 * 20);
    parallel_for(ParallelForRange(0, 50), [&](const ParallelForRange& part) {
        for (unsigned int row = part.begin(); row < part.end(); ++row) {
            TaskGroup group;
            for (std::uintptr_t column = 0; column < 20; ++column) {
                group.run(countArgument, &counts, row * 20 + column);
            }
            group.wait();
        }
    });
    expectAllOnes(counts);
}

TEST(TaskGroup, ServesManyHostThreadsAtOnce) {
    std::atomic<unsigned int> sum{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                TaskGroup group;
                for (int task = 0; task < 50; ++task) {
                    group.run([&] { ++sum; });
                }
                group.wait();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(sum, 8u * 20u * 50u);
}

TEST(TaskGroup, ComputesWithTheRoundingOfTheThreadThatMadeIt) {
    // The threads at work have been started with the usual one.
    parallel_for(ParallelForRange(0, 100), [](const ParallelForRange&) {});
    const int usual = std::fegetround();
    ASSERT_EQ(std::fesetround(FE_UPWARD), 0);
    std::atomic<int> others{0};
    {
        TaskGroup group;
        for (int task = 0; task < 500; ++task) {
            group.run([&] {
                others += std::fegetround() == FE_UPWARD ? 0 : 1;
                std::this_thread::sleep_for(std::chrono::microseconds(10));
            });
        }
        group.wait();
    }
    std::fesetround(usual);
    EXPECT_EQ(others, 0);
}

TEST(TaskGroup, SaysHowManyThreadsMayTakePart) {
    const unsigned int limit = TaskGroup::concurrency();
    EXPECT_GE(limit, 1u);
    std::mutex mutex;
    std::set<std::thread::id> seen;
    TaskGroup group;
    for (int task = 0; task < 500; ++task) {
        group.run([&] {
            EXPECT_EQ(TaskGroup::concurrency(), limit);
            const std::lock_guard<std::mutex> guard(mutex);
            seen.insert(std::this_thread::get_id());
        });
    }
    group.wait();
    EXPECT_LE(seen.size(), limit);
}

}  // namespace
