#include <TessilGraph/exec/internal/ReadyChunks.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

using TessilGraph::internal::ReadyChunks;
using Chunks = std::vector<ReadyChunks::Chunk>;

TEST(ReadyChunksTest, AreTakenFromBothEnds) {
    ReadyChunks ready(10);
    const Chunks first{2, 3, 5, 7};
    ready.reset(first);
    EXPECT_TRUE(ready.any());
    EXPECT_EQ(ready.take(true), 2u);
    EXPECT_EQ(ready.take(false), 7u);
    EXPECT_EQ(ready.take(false), 5u);
    EXPECT_EQ(ready.take(true), 3u);
    EXPECT_FALSE(ready.any());
    EXPECT_EQ(ready.take(true), ReadyChunks::none);
    EXPECT_EQ(ready.take(false), ReadyChunks::none);
}

TEST(ReadyChunksTest, ThatAreAddedComeFirstTheLatestBeforeTheOthers) {
    ReadyChunks ready(10);
    const Chunks first{0};
    ready.reset(first);
    ready.add(4);
    ready.add(6);
    EXPECT_EQ(ready.take(true), 6u);
    ready.add(6);
    EXPECT_EQ(ready.take(false), 6u);
    EXPECT_EQ(ready.take(false), 4u);
    EXPECT_EQ(ready.take(false), 0u);
    EXPECT_FALSE(ready.any());
    ready.reset(first);
    EXPECT_EQ(ready.take(true), 0u);
}

TEST(ReadyChunksTest, AreTakenOnceByOneOfSeveralThreads) {
    // Every chunk below half is ready from the beginning and makes another one ready.
    constexpr ReadyChunks::Chunk count = 20000;
    ReadyChunks ready(count);
    Chunks first;
    for (ReadyChunks::Chunk chunk = 0; chunk < count / 2; ++chunk) {
        first.push_back(chunk);
    }
    std::vector<std::atomic<int>> taken(count);
    std::atomic<std::size_t> left{count};
    ready.reset(first);
    std::vector<std::thread> threads;
    for (int number = 0; number < 3; ++number) {
        threads.emplace_back([&, fromFront = number == 0] {
            while (left.load() != 0) {
                const ReadyChunks::Chunk chunk = ready.take(fromFront);
                if (chunk == ReadyChunks::none) {
                    std::this_thread::yield();
                    continue;
                }
                ++taken[chunk];
                if (chunk < count / 2) {
                    ready.add(count / 2 + chunk);
                }
                --left;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const std::atomic<int>& times : taken) {
        ASSERT_EQ(times.load(), 1);
    }
    EXPECT_FALSE(ready.any());
}
