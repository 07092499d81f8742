#include <TessilGraph/TessilGraph.h>

#include <tests/support/CollectedLog.h>
#include "RandomNetworks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tests {

/// Shows the last input that was a multiple of ten, cut to an integer; leaves the output as it is for others.
class LastTen : public TessilGraph::NodeShape<LastTen> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        const double value = in_->get();
        if (static_cast<int>(value) % 10 == 0) {
            out_->set(value);
        }
        return true;
    }

private:
    TessilGraph::PortTemplate<double>* in_ = TessilGraph::addInput<double>(*this, "in");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

/// Passes a number on.
template <class N>
class Pass : public TessilGraph::NodeShape<N> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        out_->set(in_->get());
        return true;
    }

protected:
    TessilGraph::PortTemplate<double>* in_ = TessilGraph::addInput<double>(*this, "in");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

/// Cancels at numbers from 100 on.
class Canceller : public Pass<Canceller> {
public:
    static inline TessilGraph::CancelToken* token = nullptr;

    bool compute(const TessilGraph::ComputeData* data) override {
        if (in_->get() >= 100.0) {
            token->cancel();
        }
        return Pass::compute(data);
    }
};

/// Cannot bear numbers from 100 on.
class Fragile : public Pass<Fragile> {
public:
    bool compute(const TessilGraph::ComputeData* data) override {
        if (in_->get() >= 100.0) {
            throw std::runtime_error("100");
        }
        return Pass::compute(data);
    }
};

/// Has no copies.
class Unique : public Pass<Unique> {
public:
    TessilGraph::Node* clone() override { return nullptr; }
};

/// Counts what its copies compute. Has an input that it does not read and a port without a value, too.
class Counted : public Pass<Counted> {
public:
    static inline std::atomic<int> computedByCopies = 0;
    static inline bool awaitsCopies = false;

    Counted() {
        addInputPort(new TessilGraph::Port("signal"));
        TessilGraph::addInput<double>(*this, "also");
    }

    bool compute(const TessilGraph::ComputeData* data) override {
        if (isCopy_) {
            ++computedByCopies;
        } else if (++frames_ > 2 && awaitsCopies) {
            // A machine that is busy lets the other threads wait until there is nothing left.
            const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
            while (computedByCopies == 0 && std::chrono::steady_clock::now() < end) {
                std::this_thread::yield();
            }
        }
        return Pass::compute(data);
    }

    TessilGraph::Node* clone() override {
        auto* copy = new Counted;
        copy->isCopy_ = true;
        return TessilGraph::copyUnconnected(*this, copy);
    }

private:
    bool isCopy_ = false;
    int frames_ = 0;
};

/// Cannot be copied.
class Sealed : public Pass<Sealed> {
public:
    TessilGraph::Node* clone() override { throw std::runtime_error("sealed"); }
};

/// Its clones have the ports that its class has, and no others.
class SumOfAll : public TessilGraph::NodeShape<SumOfAll> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        double sum = 0.0;
        for (auto port = inputPortCBegin(); port != inputPortCEnd(); ++port) {
            sum += dynamic_cast<TessilGraph::PortTemplate<double>&>(**port).get();
        }
        for (auto port = outputPortCBegin(); port != outputPortCEnd(); ++port) {
            dynamic_cast<TessilGraph::PortTemplate<double>&>(**port).set(sum);
        }
        return true;
    }

private:
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

/// Its clones are of the class that it derives from.
class Doubles : public TessilGraph::BufferDouble {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        outputPort()->set(2.0 * inputPort()->get());
        return true;
    }
};

/// Has an output of the same name as its input.
class Namesakes : public TessilGraph::NodeShape<Namesakes> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        out_->set(10.0 * in_->get());
        return true;
    }

private:
    TessilGraph::PortTemplate<double>* in_ = TessilGraph::addInput<double>(*this, "value");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "value");
};

/// Its clones begin anew.
class Forgetful : public Pass<Forgetful> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        out_->set(in_->get() + more_->get());
        return true;
    }

    TessilGraph::Node* clone() override {
        auto* copy = new Forgetful;
        copy->setName(name());
        return copy;
    }

private:
    TessilGraph::PortTemplate<double>* more_ = TessilGraph::addInput<double>(*this, "more");
};

/// Goes through frames of its own network while it is computed.
class Impatient : public Pass<Impatient> {
public:
    bool compute(const TessilGraph::ComputeData* data) override {
        if (frames != nullptr) {
            statuses.push_back(frames->run(nullptr));
        }
        return Pass::compute(data);
    }

    TessilGraph::Frames* frames = nullptr;
    std::vector<TessilGraph::RunStatus> statuses;
};

}  // namespace tests

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::LastTen>{"LastTen", 9204, outputKeepingNode};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::Counted>{"Counted", 9245};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::Sealed>{"Sealed", 9241};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::SumOfAll>{"SumOfAll", 9242};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::Forgetful>{"Forgetful", 9243};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::Impatient>{"Impatient", 9244};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::Canceller>{"Canceller", 9247};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::Namesakes>{"Namesakes", 9246};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::Fragile>{"Fragile", 9205, pureNode};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::Unique>{"Unique", 9206, pureNode};

using namespace tests;
using TessilGraph::CancelToken;
using TessilGraph::Frames;
using TessilGraph::Long;
using TessilGraph::NetworkManager;
using TessilGraph::PortTemplate;
using TessilGraph::RunOptions;
using TessilGraph::RunStatus;

namespace {

const bool typesAreRegistered = (TessilGraph::registerNodes<LastTen, Fragile, Unique>(), true);

constexpr std::size_t frameCount = 200;

template <class T>
PortTemplate<T>& input(NetworkManager& network, const std::string& node, const std::string& port) {
    return dynamic_cast<PortTemplate<T>&>(*network.getNode(node)->getInputPort(port));
}
template <class T>
PortTemplate<T>& output(NetworkManager& network, const std::string& node, const std::string& port) {
    return dynamic_cast<PortTemplate<T>&>(*network.getNode(node)->getOutputPort(port));
}

/// first = in1 + in2, slow nodes in a row behind it, compare says whether the last is above 100.
class FramesOf : public testing::TestWithParam<bool> {
protected:
    FramesOf() {
        TessilGraph::initTessilGraph();
        network_.createNode("AddDouble", "first");
        std::string last = "first";
        for (int i = 0; i < 4; ++i) {
            const std::string name = "slow" + std::to_string(i);
            network_.createNode("SlowSum", name);
            input<double>(network_, name, "in2").set(1.0);
            network_.connectAttr(last, "out", name, "in1");
            last = name;
        }
        network_.createNode("CompareDouble", "compare");
        network_.connectAttr(last, "out", "compare", "in1");
        input<double>(network_, "compare", "in2").set(100.0);
        input<Long>(network_, "compare", "operation").set(3);
        for (std::size_t frame = 0; frame < frameCount; ++frame) {
            in1_.push_back(static_cast<double>(frame));
            in2_.push_back(0.5 * static_cast<double>(frame * frame % 7));
        }
        options_.parallel = GetParam();
    }

    void expectFigures(const Frames& frames) {
        const std::vector<double> slow = frames.column<double>("slow3", "out");
        const std::vector<bool> compare = frames.column<bool>("compare", "out");
        const std::vector<double> read = frames.column<double>("slow0", "in1");
        ASSERT_EQ(slow.size(), frameCount);
        ASSERT_EQ(compare.size(), frameCount);
        ASSERT_EQ(read.size(), frameCount);
        for (std::size_t frame = 0; frame < frameCount; ++frame) {
            EXPECT_EQ(slow[frame], in1_[frame] + in2_[frame] + 4.0) << frame;
            EXPECT_EQ(compare[frame], in1_[frame] + in2_[frame] + 4.0 > 100.0) << frame;
            EXPECT_EQ(read[frame], in1_[frame] + in2_[frame]) << frame;
        }
    }

    void prepare(Frames& frames) {
        ASSERT_TRUE(frames.drive("first", "in1", in1_));
        ASSERT_TRUE(frames.drive("first", "in2", in2_));
        ASSERT_TRUE(frames.collect<double>("slow3", "out"));
        ASSERT_TRUE(frames.collect<bool>("compare", "out"));
        ASSERT_TRUE(frames.collect<double>("slow0", "in1"));
    }

    /// Frames of the network with a node at its end that passes on what "slow3" shows.
    void expectPassedOn(const std::string& last) {
        ASSERT_TRUE(network_.connectAttr("slow3", "out", last, "in"));
        Frames frames(network_, frameCount);
        prepare(frames);
        ASSERT_TRUE(frames.collect<double>(last, "out"));
        EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
        expectFigures(frames);
        EXPECT_EQ(frames.column<double>(last, "out"), frames.column<double>("slow3", "out"));
    }

    /// What "slow3" shows in each frame when a host has written one more link into the lists of both its ends; only
    /// into that of the reader where the other end is an input, which would otherwise read what reads it.
    std::vector<double> runLinkedByHand(PortTemplate<double>& source, const std::string& target) {
        auto& in = input<double>(network_, target, "in2");
        auto& sources = in.getConnections();
        auto& readers = source.getConnections();
        sources.push_back(&source);
        if (source.isOutput()) {
            readers.push_back(&in);
        }
        Frames frames(network_, frameCount);
        EXPECT_TRUE(frames.drive("first", "in1", in1_));
        EXPECT_TRUE(frames.collect<double>("slow3", "out"));
        EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
        return frames.column<double>("slow3", "out");
    }

    NetworkManager network_;
    std::vector<double> in1_;
    std::vector<double> in2_;
    RunOptions options_;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(OnOneAndSeveralThreads, FramesOf, testing::Bool());

TEST_P(FramesOf, SeveralInputsFillColumns) {
    Frames frames(network_, frameCount);
    prepare(frames);
    EXPECT_EQ(frames.count(), frameCount);
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
    expectFigures(frames);
}

TEST_P(FramesOf, LeaveTheNetworkAtTheLastFrame) {
    Frames frames(network_, frameCount);
    prepare(frames);
    frames.run(nullptr, options_);
    EXPECT_EQ(input<double>(network_, "first", "in1").get(), in1_.back());
    EXPECT_EQ(output<double>(network_, "slow3", "out").get(), in1_.back() + in2_.back() + 4.0);
    EXPECT_FALSE(network_.getNode("compare")->isDirty());
}

TEST_P(FramesOf, CanBeRunAgain) {
    Frames frames(network_, frameCount);
    prepare(frames);
    frames.run(nullptr, options_);
    input<double>(network_, "compare", "in2").set(1000.0);
    frames.run(nullptr, options_);
    const std::vector<bool> compare = frames.column<bool>("compare", "out");
    EXPECT_EQ(std::count(compare.begin(), compare.end(), true), 0);
}

TEST_P(FramesOf, NetworksWithStateGoThroughTheirFramesInOrder) {
    network_.createNode("Counter", "counter");
    network_.connectAttr("slow3", "out", "counter", "in");
    Frames frames(network_, frameCount);
    prepare(frames);
    ASSERT_TRUE(frames.collect<double>("counter", "out"));
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
    expectFigures(frames);
    const std::vector<double> counts = frames.column<double>("counter", "out");
    for (std::size_t frame = 0; frame < frameCount; ++frame) {
        EXPECT_EQ(counts[frame], static_cast<double>(frame + 1));
    }
}

TEST_P(FramesOf, NetworksThatKeepOutputsGoThroughTheirFramesInOrder) {
    network_.createNode("LastTen", "last");
    network_.connectAttr("slow3", "out", "last", "in");
    Frames frames(network_, frameCount);
    prepare(frames);
    ASSERT_TRUE(frames.collect<double>("last", "out"));
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
    expectFigures(frames);
    const std::vector<double> slow = frames.column<double>("slow3", "out");
    const std::vector<double> last = frames.column<double>("last", "out");
    double expected = 0.0;
    for (std::size_t frame = 0; frame < frameCount; ++frame) {
        expected = static_cast<int>(slow[frame]) % 10 == 0 ? slow[frame] : expected;
        EXPECT_EQ(last[frame], expected) << frame;
    }
}

TEST_P(FramesOf, NodesThatHaveNoCopiesAreComputedAllTheSame) {
    network_.createNode("Unique", "unique");
    expectPassedOn("unique");
}

/// As long as nothing stands in the way: 200 frames of 80 us each.
TEST_P(FramesOf, AreSharedOutAmongCopies) {
    network_.addNode(new tests::Counted, "counted");
    ASSERT_TRUE(network_.connectAttr("first", "out", "counted", "also"));
    const bool areThereCopies = GetParam() && std::thread::hardware_concurrency() > 1;
    tests::Counted::computedByCopies = 0;
    tests::Counted::awaitsCopies = areThereCopies;
    expectPassedOn("counted");
    EXPECT_EQ(tests::Counted::computedByCopies > 0, areThereCopies);
}

TEST_P(FramesOf, NodesThatThrowWhenTheyAreCopiedAreComputedAllTheSame) {
    network_.addNode(new tests::Sealed, "sealed");
    expectPassedOn("sealed");
}

/// What `name` shows in each frame, added to "slow3", which is 4 more than the input.
class FramesOfCopies : public FramesOf {
protected:
    void expectColumn(const std::string& name, const std::string& port, double factor, double more) {
        Frames frames(network_, frameCount);
        ASSERT_TRUE(frames.drive("first", "in1", in1_));
        ASSERT_TRUE(frames.collect<double>(name, port));
        ASSERT_EQ(frames.run(nullptr, options_), RunStatus::Done);
        const std::vector<double> column = frames.column<double>(name, port);
        for (std::size_t frame = 0; frame < frameCount; ++frame) {
            ASSERT_EQ(column[frame], factor * (in1_[frame] + 4.0) + more) << frame;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(OnOneAndSeveralThreads, FramesOfCopies, testing::Bool());

TEST_P(FramesOfCopies, ThatLackAnInputAreNotUsed) {
    auto* sum = new tests::SumOfAll;
    network_.addNode(sum, "sum");
    sum->addInputPort(new PortTemplate<double>("a"));
    ASSERT_TRUE(network_.connectAttr("slow3", "out", "sum", "a"));
    expectColumn("sum", "out", 1.0, 0.0);
}

TEST_P(FramesOfCopies, ThatLackAnOutputAreNotUsed) {
    network_.createNode("AddDouble", "add");
    ASSERT_TRUE(network_.connectAttr("slow3", "out", "add", "in1"));
    network_.getNode("add")->addOutputPort(new PortTemplate<double>("other"));
    Frames frames(network_, frameCount);
    ASSERT_TRUE(frames.drive("first", "in1", in1_));
    ASSERT_TRUE(frames.collect<double>("add", "other"));
    output<double>(network_, "add", "other").set(7.0);
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
    EXPECT_EQ(frames.column<double>("add", "other"), std::vector<double>(frameCount, 7.0));
}

TEST_P(FramesOfCopies, OfAnotherClassAreNotUsed) {
    network_.addNode(new tests::Doubles, "doubles");
    ASSERT_TRUE(network_.connectAttr("slow3", "out", "doubles", "in"));
    expectColumn("doubles", "out", 2.0, 0.0);
}

TEST_P(FramesOfCopies, ThatForgetAValueAreNotUsed) {
    network_.addNode(new tests::Forgetful, "forgetful");
    ASSERT_TRUE(network_.connectAttr("slow3", "out", "forgetful", "in"));
    input<double>(network_, "forgetful", "more").set(3.0);
    expectColumn("forgetful", "out", 1.0, 3.0);
}

TEST_P(FramesOf, AreBusyWithinTheirOwnRunAndLeaveTheInputsAlone) {
    auto* impatient = new tests::Impatient;
    network_.addNode(impatient, "impatient");
    network_.connectAttr("slow3", "out", "impatient", "in");
    Frames frames(network_, 3);
    ASSERT_TRUE(frames.drive("first", "in1", std::vector<double>{1.0, 2.0, 3.0}));
    ASSERT_TRUE(frames.collect<double>("impatient", "out"));
    impatient->frames = &frames;
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
    EXPECT_EQ(frames.column<double>("impatient", "out"), (std::vector<double>{5.0, 6.0, 7.0}));
    EXPECT_EQ(impatient->statuses, std::vector<RunStatus>(3, RunStatus::Busy));
}

TEST_P(FramesOf, HoldDefaultValuesWhereARunDidNotCome) {
    Frames frames(network_, 5);
    ASSERT_TRUE(frames.drive("first", "in1", std::vector<double>{1.0, 2.0, 3.0, 4.0, 5.0}));
    // Room that held something else.
    std::vector<double>(5, 3.0).swap(in1_);
    in1_ = {};
    ASSERT_TRUE(frames.collect<double>("slow3", "out"));
    EXPECT_EQ(frames.column<double>("slow3", "out"), std::vector<double>(5, 0.0));
    ASSERT_EQ(frames.run(nullptr, options_), RunStatus::Done);
    CancelToken token;
    options_.cancel = &token;
    options_.progress = [&token](std::uint64_t done, std::uint64_t) {
        if (done == 2) {
            token.cancel();
        }
    };
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Cancelled);
    EXPECT_EQ(frames.column<double>("slow3", "out"), (std::vector<double>{5.0, 6.0, 0.0, 0.0, 0.0}));
}

TEST_P(FramesOf, NetworksThatReadStorageOutsideShowWhatStandsThere) {
    double outside = 1000.0;
    output<double>(network_, "slow1", "out").setLink(&outside);
    Frames frames(network_, frameCount);
    ASSERT_TRUE(frames.drive("first", "in1", in1_));
    ASSERT_TRUE(frames.collect<double>("slow3", "out"));
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
    EXPECT_EQ(frames.column<double>("slow3", "out"), std::vector<double>(frameCount, 1002.0));
}

TEST_P(FramesOf, InputsThatNameAnotherNodeMarkThatOneInEveryFrame) {
    network_.createNode("AddDouble", "reader");
    network_.createNode("AddDouble", "extra");
    input<double>(network_, "reader", "in1").set(5.0);
    input<double>(network_, "reader", "in2").setNode(network_.getNode("extra"));
    Frames frames(network_, frameCount);
    ASSERT_TRUE(frames.drive("first", "in1", in1_));
    ASSERT_TRUE(frames.drive("reader", "in2", in1_));
    ASSERT_TRUE(frames.collect<double>("slow3", "out"));
    ASSERT_TRUE(frames.collect<double>("reader", "out"));
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
    // The node that reads the input is never marked again, and shows what it computed first.
    EXPECT_EQ(frames.column<double>("reader", "out"), std::vector<double>(frameCount, in1_.front() + 5.0));
    EXPECT_EQ(frames.column<double>("slow3", "out").back(), in1_.back() + 4.0);
}

TEST_P(FramesOf, NetworksThatAreWiredByHandFollowTheirLinks) {
    network_.createNode("AddDouble", "extra");
    input<double>(network_, "extra", "in1").set(7.0);
    const std::vector<double> slow = runLinkedByHand(output<double>(network_, "extra", "out"), "slow2");
    ASSERT_EQ(slow.size(), frameCount);
    for (std::size_t frame = 0; frame < frameCount; ++frame) {
        EXPECT_EQ(slow[frame], in1_[frame] + 10.0) << frame;
    }
}

TEST_P(FramesOf, NetworksThatAreWiredFromInputToInputByHandFollowTheirLinks) {
    network_.addNode(new tests::Namesakes, "namesakes");
    input<double>(network_, "namesakes", "value").set(7.0);
    const std::vector<double> slow = runLinkedByHand(input<double>(network_, "namesakes", "value"), "slow2");
    ASSERT_EQ(slow.size(), frameCount);
    for (std::size_t frame = 0; frame < frameCount; ++frame) {
        EXPECT_EQ(slow[frame], in1_[frame] + 10.0) << frame;
    }
}

TEST_P(FramesOf, NetworksThatRunInACircleByHandGoThroughTheirFramesInOrder) {
    const std::vector<double> slow = runLinkedByHand(output<double>(network_, "slow3", "out"), "slow0");
    ASSERT_EQ(slow.size(), frameCount);
    takeLog();
    double before = 0.0;
    for (std::size_t frame = 0; frame < frameCount; ++frame) {
        // The first in the circle reads what the last showed in the frame before.
        before += in1_[frame] + 3.0;
        ASSERT_EQ(slow[frame], before) << frame;
    }
}

TEST_P(FramesOf, LetAnExceptionThrough) {
    network_.createNode("Fragile", "fragile");
    network_.connectAttr("first", "out", "fragile", "in");
    Frames frames(network_, frameCount);
    prepare(frames);
    ASSERT_TRUE(frames.collect<double>("fragile", "out"));
    EXPECT_THROW(frames.run(nullptr, options_), std::runtime_error);
    network_.disconnectAttr("first", "out", "fragile", "in");
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
    expectFigures(frames);
}

TEST_P(FramesOf, FillTheOtherColumnsWhenATargetGoesMeanwhile) {
    Frames frames(network_, frameCount);
    prepare(frames);
    options_.progress = [this](std::uint64_t done, std::uint64_t) {
        if (done == 2) {
            network_.deleteNode("compare");
        }
    };
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::TargetGone);
    const std::vector<double> slow = frames.column<double>("slow3", "out");
    for (std::size_t frame = 0; frame < frameCount; ++frame) {
        EXPECT_EQ(slow[frame], in1_[frame] + in2_[frame] + 4.0) << frame;
    }
    EXPECT_EQ(input<double>(network_, "first", "in1").get(), in1_.back());
    // As they do when it was gone before.
    input<double>(network_, "first", "in1").set(0.0);
    options_.progress = nullptr;
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::TargetGone);
    EXPECT_EQ(frames.column<double>("slow3", "out"), slow);
    EXPECT_EQ(frames.column<bool>("compare", "out"), std::vector<bool>(frameCount, false));
}

TEST_P(FramesOf, LeavePortsAloneThatAreOfAnotherTypeByNow) {
    Frames frames(network_, frameCount);
    prepare(frames);
    for (const auto& [name, type] : {std::pair("first", "AddVector"), std::pair("compare", "AddString")}) {
        network_.deleteNode(name);
        network_.createNode(type, name);
    }
    input<Imath::V3d>(network_, "first", "in1").set(Imath::V3d(1e300, -2.0, 3.0));
    input<std::string>(network_, "compare", "in1").set("a text that is too long for a string to hold itself");
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
    EXPECT_EQ(frames.column<bool>("compare", "out"), std::vector<bool>(frameCount));
    EXPECT_EQ(frames.column<double>("slow3", "out"), std::vector<double>(frameCount, 4.0));
    EXPECT_EQ(input<Imath::V3d>(network_, "first", "in1").get(), Imath::V3d(1e300, -2.0, 3.0));
}

TEST_P(FramesOf, CanBeCancelled) {
    Frames frames(network_, frameCount);
    prepare(frames);
    CancelToken token;
    options_.cancel = &token;
    options_.progress = [&](std::uint64_t done, std::uint64_t) {
        if (done >= 3) {
            token.cancel();
        }
    };
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Cancelled);
    token.reset();
    options_.progress = nullptr;
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
    expectFigures(frames);
}

TEST_P(FramesOf, CanBeCancelledByANode) {
    CancelToken token;
    tests::Canceller::token = &token;
    network_.addNode(new tests::Canceller, "canceller");
    ASSERT_TRUE(network_.disconnectAttr("first", "out", "slow0", "in1"));
    ASSERT_TRUE(network_.connectAttr("first", "out", "canceller", "in"));
    ASSERT_TRUE(network_.connectAttr("canceller", "out", "slow0", "in1"));
    Frames frames(network_, frameCount);
    prepare(frames);
    options_.cancel = &token;
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Cancelled);
    EXPECT_EQ(frames.column<double>("slow3", "out").front(), 4.0);
    EXPECT_EQ(frames.column<double>("slow3", "out").back(), 0.0);
    tests::Canceller::token = nullptr;
}

TEST_P(FramesOf, TellTheirProgressOnTheCallersThread) {
    Frames frames(network_, frameCount);
    prepare(frames);
    std::uint64_t last = 0;
    options_.progress = [&, caller = std::this_thread::get_id()](std::uint64_t done, std::uint64_t total) {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        EXPECT_EQ(total, frameCount);
        EXPECT_LE(last, done);
        last = done;
    };
    frames.run(nullptr, options_);
    EXPECT_EQ(last, frameCount);
}

TEST_P(FramesOf, RefuseWhatIsNotThere) {
    Frames frames(network_, frameCount);
    EXPECT_FALSE(frames.drive("nobody", "in1", in1_));
    EXPECT_FALSE(frames.drive("first", "out", in1_));
    EXPECT_FALSE(frames.drive("first", "in1", std::vector<Long>(frameCount)));
    EXPECT_FALSE(frames.drive("first", "in1", std::vector<double>(frameCount - 1)));
    EXPECT_FALSE(frames.drive("slow0", "in1", in1_));
    EXPECT_FALSE(frames.collect<double>("compare", "out"));
    EXPECT_FALSE(frames.collect<double>("nobody", "out"));
    EXPECT_EQ(takeLog().size(), 7u);
    EXPECT_TRUE(frames.column<double>("first", "out").empty());
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
}

TEST_P(FramesOf, NoFramesAreNoWork) {
    Frames frames(network_, 0);
    EXPECT_TRUE(frames.collect<double>("slow3", "out"));
    EXPECT_EQ(frames.run(nullptr, options_), RunStatus::Done);
    EXPECT_TRUE(network_.getNode("slow3")->isDirty());
    EXPECT_TRUE(frames.column<double>("slow3", "out").empty());
}
