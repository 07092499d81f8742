#include <TessilUtils/Mesh.h>
#include <TessilUtils/ParallelFor.h>
#include <TessilUtils/TaskGroup.h>

#include "WaitingThread.h"

#include <tbb/global_control.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <numeric>
#include <set>
#include <thread>
#include <vector>

using TessilUtils::parallel_for;
using TessilUtils::ParallelForRange;
using TessilUtils::TaskGroup;

// A host that uses oneTBB itself.

namespace {

/// Runs tasks that start tasks, and returns the threads that took part.
std::set<std::thread::id> threadsOfATaskGroup(int tasks) {
    std::mutex mutex;
    std::set<std::thread::id> seen;
    const auto note = [&] {
        const std::lock_guard<std::mutex> guard(mutex);
        seen.insert(std::this_thread::get_id());
    };
    std::atomic<int> ran{0};
    TaskGroup group;
    for (int task = 0; task < tasks; ++task) {
        group.run([&] {
            note();
            group.run([&] {
                note();
                ++ran;
            });
        });
    }
    group.wait();
    EXPECT_EQ(ran, tasks);
    return seen;
}

TEST(HostArena, LimitsTheThreadsOfATaskGroup) {
    for (const int limit : {1, 2}) {
        tbb::task_arena arena(limit);
        arena.execute([limit] {
            EXPECT_EQ(TaskGroup::concurrency(), static_cast<unsigned int>(limit));
            EXPECT_LE(threadsOfATaskGroup(300).size(), static_cast<std::size_t>(limit));
        });
    }
}

TEST(HostArena, LimitsTheThreadsOfALoop) {
    tbb::task_arena arena(1);
    arena.execute([] {
        const std::thread::id caller = std::this_thread::get_id();
        parallel_for(ParallelForRange(0, 300),
                     [caller](const ParallelForRange&) { EXPECT_EQ(std::this_thread::get_id(), caller); });
    });
}

TEST(HostArena, IsHeededWhenTheWholeProcessIsLimited) {
    const tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
    EXPECT_EQ(TaskGroup::concurrency(), 1u);
    EXPECT_EQ(threadsOfATaskGroup(300).size(), 1u);
}

TEST(HostArena, DoesNotCallATaskGroupOffWithItsOwnTasks) {
    std::atomic<int> ran{0};
    tbb::task_group hosts;
    hosts.run_and_wait([&] {
        hosts.cancel();
        TaskGroup group;
        for (int task = 0; task < 100; ++task) {
            group.run([&ran] { ++ran; });
        }
        group.wait();
    });
    EXPECT_EQ(ran, 100);
}

TEST(HostArena, DoesNotCallALoopOffWithItsOwnTasks) {
    std::atomic<unsigned int> ran{0};
    tbb::task_group hosts;
    hosts.run_and_wait([&] {
        hosts.cancel();
        parallel_for({0, 100}, [&ran](const ParallelForRange& part) { ran += part.end() - part.begin(); });
    });
    EXPECT_EQ(ran, 100U);
}

/// What a mesh prepares for its first ray stays with it for good.
TEST(HostArena, DoesNotCallTheFirstRayAtAMeshOffWithItsOwnTasks) {
    for (const unsigned int count : {1U, 100U, 20000U}) {
        std::vector<Imath::V3f> points;
        std::vector<unsigned int> triangles(3 * count);
        std::iota(triangles.begin(), triangles.end(), 0U);
        for (unsigned int triangle = 0; triangle < count; ++triangle) {
            const auto depth = static_cast<float>(triangle);
            points.insert(points.end(), {{0.0f, 0.0f, depth}, {1.0f, 0.0f, depth}, {0.0f, 1.0f, depth}});
        }
        const TessilUtils::Mesh mesh(points, triangles);
        const auto isHit = [&mesh] {
            float t = 0.0f;
            float u = 0.0f;
            float v = 0.0f;
            unsigned int face = 0;
            return mesh.intersect({0.2f, 0.2f, -3.0f}, {0.0f, 0.0f, 1.0f}, t, face, u, v, false) && face == 0;
        };
        tbb::task_group hosts;
        hosts.run_and_wait([&] {
            hosts.cancel();
            EXPECT_TRUE(isHit());
        });
        EXPECT_TRUE(isHit());
    }
}

TEST(HostArena, KeepsAWaitingThreadFromItsOwnTasks) {
    for (int round = 0; round < 10; ++round) {
        tbb::task_group hosts;
        EXPECT_TRUE(tests::leavesOtherWorkAlone([&hosts](const std::function<void()>& task) { hosts.run(task); }));
        hosts.wait();
    }
}

}  // namespace
