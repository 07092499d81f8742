#include <TessilGraph/graph/ComputeData.h>

#include <TessilGraph/graph/NetworkManager.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/HowToCompute.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

namespace TessilGraph {
namespace {

using tests::parallel;
using tests::Pipe;
using tests::useCache;

/// What a host might pass along: it says when it dies.
class FrameData : public ComputeData {
public:
    explicit FrameData(int* deaths) : deaths_(deaths) {}
    FrameData(const FrameData&) = default;
    FrameData& operator=(const FrameData&) = default;
    ~FrameData() override { ++*deaths_; }

    double frame = 0.0;

private:
    int* deaths_;
};

/// The word behind the virtual table pointer.
std::uint64_t dataWord(const ComputeData& data) {
    std::uint64_t word = 0;
    std::memcpy(&word, reinterpret_cast<const char*>(&data) + sizeof(void*), sizeof word);
    return word;
}

TEST(ComputeData, IsASmallPolymorphicValue) {
    static_assert(std::is_polymorphic_v<ComputeData>);
    static_assert(std::has_virtual_destructor_v<ComputeData>);
    static_assert(std::is_default_constructible_v<ComputeData>);
    static_assert(std::is_copy_constructible_v<ComputeData>);
    static_assert(
        std::is_same_v<decltype(std::declval<ComputeData&>() = std::declval<const ComputeData&>()), ComputeData&>);
    EXPECT_EQ(sizeof(ComputeData), sizeof(void*) + sizeof(std::uint64_t));
}

TEST(ComputeData, StartsAtZeroAndIsCopied) {
    const ComputeData fresh;
    EXPECT_EQ(dataWord(fresh), 0U);
    const ComputeData copy(fresh);
    EXPECT_EQ(dataWord(copy), 0U);
    ComputeData assigned;
    EXPECT_EQ(&(assigned = fresh), &assigned);
    EXPECT_EQ(dataWord(assigned), 0U);
}

TEST(ComputeData, IsDestroyedThroughItsBase) {
    int deaths = 0;
    std::unique_ptr<ComputeData> data = std::make_unique<FrameData>(&deaths);
    data.reset();
    EXPECT_EQ(deaths, 1);
}

TEST(ComputeData, ReachesEveryComputeUnchanged) {
    int deaths = 0;
    {
        FrameData data(&deaths);
        NetworkManager network;
        auto* a = new Pipe;
        auto* b = new Pipe;
        network.addNode(a, "a");
        network.addNode(b, "b");
        ASSERT_TRUE(network.connectAttr("a", "out", "b", "in1"));

        network.computeNode("b", &data);
        EXPECT_EQ(a->seenData, &data);
        EXPECT_EQ(b->seenData, &data);

        network.setAllNodeDirty();
        network.computeNode("b", nullptr);
        EXPECT_EQ(a->seenData, nullptr);
        EXPECT_EQ(b->seenData, nullptr);

        network.setAllNodeDirty();
        network.computeNode("b", &data, parallel);
        EXPECT_EQ(a->seenData, &data);
        EXPECT_EQ(b->seenData, &data);

        network.setAllNodeDirty();
        network.computeNode("b");
        EXPECT_EQ(a->seenData, nullptr);

        network.cacheNodeNetwork("b");
        network.setAllNodeDirty();
        network.computeNode("b", &data, !parallel, useCache);
        EXPECT_EQ(a->seenData, &data);
        EXPECT_EQ(b->seenData, &data);
        EXPECT_EQ(deaths, 0);
    }
    EXPECT_EQ(deaths, 1);
}

}  // namespace
}  // namespace TessilGraph
