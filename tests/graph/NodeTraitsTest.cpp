#include <TessilGraph/TessilGraph.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

using namespace TessilGraph;

// Nothing in this program starts the library or registers a built-in type.

namespace {

/// Keeps state and must run alone.
class Recorder : public NodeShape<Recorder> {
public:
    bool compute(const ComputeData*) override { return true; }
};

/// A built-in class, and what a host may add to it.
class Louder : public AddNode<double, double, double, double> {
public:
    bool compute(const ComputeData*) override { return true; }
};

class Silent : public NodeShape<Silent> {
public:
    bool compute(const ComputeData*) override { return true; }
};

/// Outside of the shapes: `Number` tells classes apart.
template <int Number>
class Plain : public tests::Pipe {};

}  // namespace

template <>
inline constexpr TypeInfo TessilGraph::typeInfo<Recorder>{"Recorder", 2001, statefulNode | aloneNode};
template <>
inline constexpr TypeInfo TessilGraph::typeInfo<Silent>{"Silent", 2002};

namespace {

/// For example "state, pure"; empty when nothing was declared.
std::string describe(const NodeTraits& traits) {
    std::string text;
    const auto add = [&text](bool holds, const char* word) {
        text += holds ? (text.empty() ? "" : ", ") + std::string(word) : "";
    };
    add(traits.keepsState, "state");
    add(traits.keepsOutputs, "outputs");
    add(traits.alone, "alone");
    add(traits.pure, "pure");
    return text;
}

template <class N>
std::string traitsOfNew() {
    return describe(traitsOf(N()));
}

TEST(NodeTraits, StandInTheRowOfAClass) {
    EXPECT_EQ(traitsOfNew<Recorder>(), "state, alone");
}

TEST(NodeTraits, AreKnownOfBuiltInClassesThatNobodyRegistered) {
    EXPECT_TRUE(NodeFactory::instance().isRegistered("ProbeNumber1"));
    EXPECT_FALSE(NodeFactory::instance().isRegistered("AddDouble"));
    EXPECT_EQ((traitsOfNew<AddNode<double, double, double, double>>()), "pure");
    EXPECT_EQ(traitsOfNew<ExtractSHRTMatrixNode>(), "pure");
    EXPECT_EQ(traitsOfNew<BufferLong>(), "pure");
    EXPECT_EQ(traitsOfNew<TimeNode>(), "state");
    EXPECT_EQ(traitsOfNew<MeshRayCast>(), "outputs, pure");
    EXPECT_EQ(traitsOfNew<ClosestPointOnCurve>(), "outputs");
}

TEST(NodeTraits, AreNoneWhereNothingIsDeclared) {
    EXPECT_EQ(traitsOfNew<Silent>(), "");
    EXPECT_EQ(traitsOfNew<tests::Sum>(), "");
}

TEST(NodeTraits, AreNotInherited) {
    const AddNode<double, double, double, double> base;
    EXPECT_EQ(describe(traitsOf(base)), "pure");
    EXPECT_EQ(traitsOfNew<Louder>(), "");
    declareNodeTraits(typeid(Plain<1>), pureNode);
    struct Derived : Plain<1> {};
    EXPECT_EQ(traitsOfNew<Plain<1>>(), "pure");
    EXPECT_EQ(traitsOfNew<Derived>(), "");
}

TEST(NodeTraits, CanBeDeclaredOfAnyClass) {
    declareNodeTraits(typeid(Plain<2>), outputKeepingNode | aloneNode);
    EXPECT_EQ(traitsOfNew<Plain<2>>(), "outputs, alone");
    EXPECT_EQ(traitsOfNew<Plain<3>>(), "");
}

TEST(NodeTraits, OfTheLastDeclarationHoldForNodesThatWereNotAskedBefore) {
    declareNodeTraits(typeid(Plain<4>), pureNode);
    const Plain<4> early;
    EXPECT_EQ(describe(traitsOf(early)), "pure");
    declareNodeTraits(typeid(Plain<4>), statefulNode);
    EXPECT_EQ(traitsOfNew<Plain<4>>(), "state");
    EXPECT_EQ(describe(traitsOf(early)), "pure");
}

TEST(NodeTraits, TakeNothingForPureThatKeepsStateOrRunsAlone) {
    declareNodeTraits(typeid(Plain<5>), pureNode | statefulNode);
    EXPECT_EQ(traitsOfNew<Plain<5>>(), "state");
    declareNodeTraits(typeid(Plain<5>), pureNode | aloneNode);
    EXPECT_EQ(traitsOfNew<Plain<5>>(), "alone");
    declareNodeTraits(typeid(Plain<5>), pureNode | outputKeepingNode);
    EXPECT_EQ(traitsOfNew<Plain<5>>(), "outputs, pure");
}

TEST(NodeTraits, AreThoseOfTheClassForAClone) {
    TimeNode node;
    const std::unique_ptr<Node> copy(node.clone());
    EXPECT_EQ(describe(traitsOf(*copy)), "state");
}

TEST(NodeTraits, MayBeDeclaredAndAskedForOnSeveralThreads) {
    for (int round = 0; round < 20; ++round) {
        const Plain<6> shared;
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&shared, &wrong] {
                declareNodeTraits(typeid(Plain<6>), pureNode);
                declareNodeTraits(typeid(Plain<7>), aloneNode);
                wrong += traitsOf(shared).pure ? 0 : 1;
                wrong += traitsOfNew<Plain<7>>() == "alone" ? 0 : 1;
                wrong += traitsOfNew<Recorder>() == "state, alone" ? 0 : 1;
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(wrong, 0);
        tests::takeDestroyed();
    }
}

}  // namespace
