#include <TessilGraph/nodes/UtilsNodes.h>

#include "MatrixTesting.h"
#include "NodeTesting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>

using namespace tests;
using namespace TessilGraph;

namespace {

double frameAt(TimeNode& node, double inputFrame) {
    node.inputFramePort()->set(inputFrame);
    EXPECT_TRUE(node.compute(nullptr));
    return node.outFramePort()->get();
}

double outFrameRate(TimeNode& node) {
    return dynamic_cast<PortTemplate<double>&>(*node.getOutputPort("outFrameRate")).get();
}

double fromBits(std::uint64_t bits) {
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace

TEST(UtilsNodes, HaveTheCommonShape) {
    checkShape<BufferLong>("BufferLong", 79);
    checkShape<BufferDouble>("BufferDouble", 80);
    checkShape<TimeNode>("TimeNode", 81);
}

TEST(UtilsNodes, AreRegisteredInAFixedOrder) {
    registerUtilsNodes();
    EXPECT_EQ(takeLog(), alreadyRegistered({"BufferLong", "BufferDouble", "TimeNode"}));
}

TEST(BufferLong, PassesItsInputOn) {
    const auto node = make<BufferLong>();
    expectInput(*node, "in", node->inputPort());
    expectOutput(*node, "out", node->outputPort());
    EXPECT_TRUE(node->compute(nullptr));
    EXPECT_EQ(node->outputPort()->get(), 0);
    for (const Long value : {-5, std::numeric_limits<Long>::min(), std::numeric_limits<Long>::max()}) {
        node->inputPort()->set(value);
        EXPECT_TRUE(node->compute(nullptr));
        EXPECT_EQ(node->outputPort()->get(), value);
    }
}

TEST(BufferDouble, PassesEveryBitOn) {
    const auto node = make<BufferDouble>();
    expectInput(*node, "in", node->inputPort());
    expectOutput(*node, "out", node->outputPort());
    for (const std::uint64_t bits :
         {std::uint64_t{0x8000000000000000}, std::uint64_t{0x7ff0000000000000}, std::uint64_t{0xfff0000000000000},
          std::uint64_t{0x7ff8000000000000}, std::uint64_t{0xfff80000deadbeef}, std::uint64_t{0x0000000000000001},
          std::uint64_t{0x3fb999999999999a}}) {
        node->inputPort()->set(fromBits(bits));
        EXPECT_TRUE(node->compute(nullptr));
        EXPECT_EQ(bitsOf(node->outputPort()->get()), bits);
    }
}

TEST(BufferDouble, FollowsItsSource) {
    const auto source = make<BufferDouble>();
    const auto node = make<BufferDouble>();
    ASSERT_TRUE(source->outputPort()->connectTo(node->inputPort()));
    source->inputPort()->set(2.5);
    source->compute(nullptr);
    node->compute(nullptr);
    EXPECT_EQ(node->outputPort()->get(), 2.5);
}

TEST(TimeNode, HasAnAccessorForEachPortButThePassedRate) {
    const auto node = make<TimeNode>();
    expectInput(*node, "inputFrame", node->inputFramePort());
    expectInput(*node, "fps", node->fpsPort());
    expectInput(*node, "frameRate", node->frameRatePort());
    expectInput(*node, "animFrameRate", node->animFrameRatePort());
    expectInput(*node, "offset", node->offsetPort());
    expectOutput(*node, "frame", node->outFramePort());
    expectOutput(*node, "seconds", node->outSecondsPort());
}

TEST(TimeNode, StartsFromTheInputFrame) {
    const auto node = make<TimeNode>();
    EXPECT_EQ(frameAt(*node, 10), 10.0);
    EXPECT_EQ(node->outSecondsPort()->get(), 10.0 / 30.0);
    EXPECT_EQ(outFrameRate(*node), 1.0);
}

TEST(TimeNode, BendsInsteadOfJumpingWhenTheRateChanges) {
    const auto node = make<TimeNode>();
    frameAt(*node, 10);
    node->frameRatePort()->set(2.0);
    EXPECT_EQ(frameAt(*node, 10), 10.0);
    EXPECT_EQ(frameAt(*node, 12), 14.0);
    EXPECT_EQ(outFrameRate(*node), 2.0);
    node->animFrameRatePort()->set(0.25);
    EXPECT_EQ(frameAt(*node, 12), 14.0);
    EXPECT_EQ(frameAt(*node, 16), 16.0);
    EXPECT_EQ(outFrameRate(*node), 2.0);
}

TEST(TimeNode, ScalesTheFirstFrameByBothRatesAndAddsTheOffset) {
    const auto node = make<TimeNode>();
    node->frameRatePort()->set(2.0);
    node->animFrameRatePort()->set(3.0);
    node->offsetPort()->set(0.5);
    EXPECT_EQ(frameAt(*node, 4), 24.5);
}

TEST(TimeNode, MultipliesTheRatesFirst) {
    // 0.1 * 3 * 0.7 differs from 0.1 * (3 * 0.7) in the last digit.
    const double frameRate = 0.1, animFrameRate = 3.0, inputFrame = 0.7;
    ASSERT_NE(frameRate * animFrameRate * inputFrame, frameRate * (animFrameRate * inputFrame));
    const auto node = make<TimeNode>();
    node->frameRatePort()->set(frameRate);
    node->animFrameRatePort()->set(animFrameRate);
    EXPECT_EQ(frameAt(*node, inputFrame), frameRate * animFrameRate * inputFrame);
    const auto later = make<TimeNode>();
    later->compute(nullptr);
    later->frameRatePort()->set(frameRate);
    later->animFrameRatePort()->set(animFrameRate);
    EXPECT_EQ(frameAt(*later, inputFrame), inputFrame * (frameRate * animFrameRate));
}

TEST(TimeNode, ReadsTheOffsetOnceUntilAReset) {
    const auto node = make<TimeNode>();
    node->offsetPort()->set(5.0);
    EXPECT_EQ(frameAt(*node, 0), 5.0);
    node->offsetPort()->set(7.0);
    EXPECT_EQ(frameAt(*node, 0), 5.0);
    node->reset();
    EXPECT_EQ(node->offsetPort()->get(), 0.0);
    node->offsetPort()->set(7.0);
    EXPECT_EQ(frameAt(*node, 0), 7.0);
}

TEST(TimeNode, IntegratesBackwards) {
    const auto node = make<TimeNode>();
    EXPECT_EQ(frameAt(*node, 10), 10.0);
    EXPECT_EQ(frameAt(*node, 8), 8.0);
}

TEST(TimeNode, DoesNotTestTheFramesPerSecond) {
    const auto node = make<TimeNode>();
    node->fpsPort()->set(0.0);
    frameAt(*node, 0);
    EXPECT_TRUE(std::isnan(node->outSecondsPort()->get()));
    frameAt(*node, 1);
    EXPECT_EQ(node->outSecondsPort()->get(), infinity);
    frameAt(*node, -1);
    EXPECT_EQ(node->outSecondsPort()->get(), -infinity);
}

TEST(TimeNode, RestoresItsDefaultsOnReset) {
    const auto node = make<TimeNode>();
    node->fpsPort()->set(24.0);
    node->frameRatePort()->set(2.0);
    node->animFrameRatePort()->set(3.0);
    frameAt(*node, 10);
    node->reset();
    EXPECT_EQ(node->inputFramePort()->get(), 0.0);
    EXPECT_EQ(node->fpsPort()->get(), 30.0);
    EXPECT_EQ(node->frameRatePort()->get(), 1.0);
    EXPECT_EQ(node->animFrameRatePort()->get(), 1.0);
    EXPECT_EQ(node->offsetPort()->get(), 0.0);
    EXPECT_EQ(node->outFramePort()->get(), 0.0);
    EXPECT_EQ(node->outSecondsPort()->get(), 0.0);
    EXPECT_EQ(outFrameRate(*node), 1.0);
    EXPECT_EQ(frameAt(*node, 10), 10.0);
}

TEST(TimeNode, IsDirtyAfterAReset) {
    const auto node = make<TimeNode>();
    frameAt(*node, 10);
    node->setDirty(false);
    node->reset();
    EXPECT_TRUE(node->isDirty());
}

TEST(TimeNode, ForgetsItsLinksOnReset) {
    const auto source = make<BufferDouble>();
    const auto node = make<TimeNode>();
    ASSERT_TRUE(source->outputPort()->connectTo(node->inputFramePort()));
    double linked = 60.0;
    node->fpsPort()->setLink(&linked);
    node->reset();
    EXPECT_EQ(node->inputFramePort()->numConnections(), 0u);
    EXPECT_EQ(node->fpsPort()->get(), 30.0);
    source->outputPort()->reset();
}

TEST(TimeNode, ClonesItsInputsButNotItsHistory) {
    const auto node = make<TimeNode>();
    frameAt(*node, 10);
    node->frameRatePort()->set(2.0);
    frameAt(*node, 20);
    node->offsetPort()->set(1.0);

    const std::unique_ptr<Node> copy(node->clone());
    auto& typed = dynamic_cast<TimeNode&>(*copy);
    EXPECT_EQ(typed.outFramePort()->get(), 0.0);
    EXPECT_EQ(frameAt(typed, 20), 41.0);
    EXPECT_EQ(frameAt(*node, 20), 30.0);
}

TEST(TimeNode, CarriesNaNOn) {
    const auto node = make<TimeNode>();
    frameAt(*node, notANumber);
    EXPECT_TRUE(std::isnan(node->outFramePort()->get()));
    EXPECT_TRUE(std::isnan(frameAt(*node, 1)));
    node->reset();
    EXPECT_EQ(frameAt(*node, 1), 1.0);
}
