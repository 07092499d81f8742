#include <TessilGraph/graph/NodeMemory.h>

#include <TessilGraph/nodes/NodeShape.h>
#include <TessilGraph/nodes/ShapeCompute.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TESSIL_TESTS_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TESSIL_TESTS_SANITIZED
#endif
#endif

namespace {

/// What host node classes share: an input and an output.
template <class N>
class HostNode : public TessilGraph::NodeShape<N> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        out->set(in->get() + 1.0);
        return true;
    }

    TessilGraph::PortTemplate<double>* in = TessilGraph::addInput<double>(*this, "in");
    TessilGraph::PortTemplate<double>* out = TessilGraph::addOutput<double>(*this, "out");
};

class PlainNode : public HostNode<PlainNode> {};

struct Listener {
    virtual ~Listener() = default;
    std::string heard = "nothing";
};

/// The node is not where its object starts.
class ListeningNode : public Listener, public HostNode<ListeningNode> {};

class alignas(64) WideNode : public HostNode<WideNode> {
public:
    double values[8] = {};
};

class alignas(64) WidePort : public TessilGraph::PortTemplate<double> {
public:
    using TessilGraph::PortTemplate<double>::PortTemplate;
};

/// Wants no more than every piece of memory has, and is told so to nobody.
class alignas(16) PrecisePort : public TessilGraph::PortTemplate<double> {
public:
    using TessilGraph::PortTemplate<double>::PortTemplate;
};

struct LongDoubles {
    long double first = 1.0L;
    long double second = 2.0L;
};

class PreciseNode : public HostNode<PreciseNode> {
public:
    LongDoubles values;
};

/// Has a node inside that is constructed before itself.
struct InnerFirst {
    PlainNode inner;
};
class OuterNode : public InnerFirst, public HostNode<OuterNode> {};

class ThrowingNode : public HostNode<ThrowingNode> {
public:
    ThrowingNode() { throw std::runtime_error("no such node"); }
};

struct ThrowingBase {
    explicit ThrowingBase(bool fails) {
        if (fails) {
            throw std::runtime_error("not even a node yet");
        }
    }
};
/// Fails before the node's own construction begins.
class EarlyThrowingNode : public ThrowingBase, public HostNode<EarlyThrowingNode> {
public:
    explicit EarlyThrowingNode(bool fails = false) : ThrowingBase(fails) {}
};

}  // namespace

// clang-format off
template <> inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<PlainNode>{"PlainNode", 9301};
template <> inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<ListeningNode>{"ListeningNode", 9302};
template <> inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<WideNode>{"WideNode", 9303};
template <> inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<PreciseNode>{"PreciseNode", 9304};
template <> inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<OuterNode>{"OuterNode", 9305};
template <> inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<ThrowingNode>{"ThrowingNode", 9306};
template <> inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<EarlyThrowingNode>{"EarlyThrowingNode", 9307};
// clang-format on

namespace TessilGraph {
namespace {

using internal::NodeMemory;

template <class N>
bool isAligned(const N* address, std::size_t alignment = alignof(N)) {
    // Compilers take it that an address is as its type wants it, and need not look.
    const volatile auto number = reinterpret_cast<std::uintptr_t>(address);
    return number % alignment == 0;
}

template <class N>
void expectWorks(N& node) {
    node.in->set(2.0);
    EXPECT_TRUE(node.compute(nullptr));
    EXPECT_EQ(node.out->get(), 3.0);
}

template <class N>
class NodesOfEveryMake : public testing::Test {};

using Makes = testing::Types<PlainNode, ListeningNode, WideNode, PreciseNode, OuterNode>;
TYPED_TEST_SUITE(NodesOfEveryMake, Makes, );

TYPED_TEST(NodesOfEveryMake, LiveOnTheHeap) {
    std::vector<std::unique_ptr<Node>> nodes;
    for (int count = 0; count < 50; ++count) {
        auto* node = new TypeParam;
        nodes.emplace_back(node);
        EXPECT_TRUE(isAligned(node));
        expectWorks(*node);
    }
    for (std::size_t place = 0; place < nodes.size(); place += 2) {
        nodes[place].reset(nodes[place]->clone());
    }
    nodes.erase(nodes.begin() + 10, nodes.begin() + 30);
}

TYPED_TEST(NodesOfEveryMake, LiveWithoutExceptions) {
    const std::unique_ptr<TypeParam> node(new (std::nothrow) TypeParam);
    ASSERT_NE(node, nullptr);
    expectWorks(*node);
}

TYPED_TEST(NodesOfEveryMake, LiveInAPlaceOfTheHost) {
    alignas(TypeParam) unsigned char place[sizeof(TypeParam)];
    auto* node = new (place) TypeParam;
    expectWorks(*node);
    node->~TypeParam();
    node = ::new (static_cast<void*>(place)) TypeParam;
    expectWorks(*node);
    node->~TypeParam();
}

TYPED_TEST(NodesOfEveryMake, LiveOnTheStackInArraysAndInSharedPointers) {
    TypeParam local;
    expectWorks(local);
    const std::unique_ptr<TypeParam[]> many(new TypeParam[3]);
    expectWorks(many[2]);
    const auto shared = std::make_shared<TypeParam>();
    EXPECT_TRUE(isAligned(shared.get()));
    expectWorks(*shared);
}

TYPED_TEST(NodesOfEveryMake, DieOnAnotherThread) {
    std::vector<std::unique_ptr<Node>> nodes;
    for (int count = 0; count < 20; ++count) {
        nodes.emplace_back(new TypeParam);
    }
    std::thread([gone = std::move(nodes)]() mutable { gone.clear(); }).join();
}

TYPED_TEST(NodesOfEveryMake, AreOutlivedByTheirPorts) {
    for (int count = 0; count < 3; ++count) {
        std::unique_ptr<TypeParam> node(new TypeParam);
        const std::unique_ptr<Port> output(node->out);
        node->removeOutputPort("out");
        node.reset();
        EXPECT_EQ(output->name(), "out");
        static_cast<PortTemplate<double>*>(output.get())->set(4.0);
        EXPECT_EQ(static_cast<PortTemplate<double>*>(output.get())->get(), 4.0);
    }
}

TYPED_TEST(NodesOfEveryMake, TakeMorePortsThanTheirClassHas) {
    for (int count = 0; count < 3; ++count) {
        const std::unique_ptr<TypeParam> node(new TypeParam);
        for (int port = 0; port < 100; ++port) {
            node->addInputPort(new PortTemplate<double>("of its own " + std::to_string(port)));
            ASSERT_NE(addInput<std::string>(*node, ("near the node " + std::to_string(port)).c_str()), nullptr);
        }
        EXPECT_EQ(node->numInputPorts(), 201U);
        const std::unique_ptr<Port> removed(node->getInputPort("near the node 50"));
        node->removeInputPort("near the node 50");
        EXPECT_EQ(node->getInputPort("near the node 51")->node(), node.get());
        expectWorks(*node);
    }
}

TEST(NodeMemory, KeepsPortsNearTheirNodeOnceTheClassIsKnown) {
    const std::unique_ptr<PlainNode> first(new PlainNode);
    const std::unique_ptr<PlainNode> node(new PlainNode);
    const auto start = reinterpret_cast<std::uintptr_t>(node.get());
    EXPECT_LT(reinterpret_cast<std::uintptr_t>(node->in) - start, 1024U);
    EXPECT_LT(reinterpret_cast<std::uintptr_t>(node->out) - start, 1024U);
}

TEST(NodeMemory, HoldsPortsThatAskForMoreAlignment) {
    PlainNode node;
    auto* near = new (node) WidePort("near");
    node.addInputPort(near);
    EXPECT_TRUE(isAligned(near));
    const std::unique_ptr<WidePort> port(new WidePort("by itself"));
    EXPECT_TRUE(isAligned(port.get()));
    const std::unique_ptr<WidePort> safe(new (std::nothrow) WidePort("without exceptions"));
    EXPECT_TRUE(isAligned(safe.get()));
}

TEST(NodeMemory, HoldsPortsThatAreMadeWithoutExceptions) {
    const std::unique_ptr<PortTemplate<double>> port(new (std::nothrow) PortTemplate<double>("port"));
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->name(), "port");
    const std::unique_ptr<PlainNode> node(new PlainNode);
    EXPECT_TRUE(node->out->connectTo(port.get()));
    EXPECT_TRUE(node->out->disconnectFrom(port.get()));
}

TEST(NodeMemory, AlignsPortsThatAreMadeForANodeAsTheirClassWants) {
    for (int count = 0; count < 3; ++count) {
        const std::unique_ptr<PlainNode> node(new PlainNode);
        for (int port = 0; port < 10; ++port) {
            auto* precise = new (*node) PrecisePort("precise " + std::to_string(port));
            EXPECT_TRUE(isAligned(precise));
            node->addInputPort(precise);
        }
        const std::unique_ptr<PrecisePort> alone(new PrecisePort("by itself"));
        EXPECT_TRUE(isAligned(alone.get()));
        EXPECT_EQ(node->numInputPorts(), 11U);
    }
}

TEST(NodeMemory, SurvivesConstructorsThatThrow) {
    for (int count = 0; count < 5; ++count) {
        EXPECT_THROW(new ThrowingNode, std::runtime_error);
        EXPECT_THROW(new EarlyThrowingNode(true), std::runtime_error);
        const std::unique_ptr<EarlyThrowingNode> node(new EarlyThrowingNode(false));
        expectWorks(*node);
    }
}

TEST(NodeMemory, ForgetsWhereANodeWasToStandWhenItsConstructionFailed) {
    void* const piece = [] {
        static internal::PortRoom room{256};
        void* const made = NodeMemory::allocateNode(sizeof(PlainNode), room);
        NodeMemory::release(made);
        return made;
    }();
    // Whoever stands there next must not take room from a block that is gone.
    EXPECT_EQ(NodeMemory::claim(piece), nullptr);
}

TEST(NodeMemory, RefusesToMakeWhatThereIsNoRoomFor) {
#ifdef TESSIL_TESTS_SANITIZED
    GTEST_SKIP() << "sanitizers end the process where there is no memory";
#endif
    EXPECT_EQ(NodeMemory::tryAllocate(std::size_t{1} << 62), nullptr);
}

TEST(NodeMemory, GivesPiecesThatMayHoldAnything) {
    for (const std::size_t size : {std::size_t{1}, std::size_t{16}, std::size_t{100}, std::size_t{100000}}) {
        void* const piece = NodeMemory::allocate(size, nullptr);
        EXPECT_TRUE(isAligned(static_cast<char*>(piece), alignof(std::max_align_t)));
        NodeMemory::release(piece);
    }
    NodeMemory::release(nullptr);
}

TEST(NodeMemory, HasNoRoomForMoreBytesThanThereAre) {
    for (const std::size_t missing : {std::size_t{0}, std::size_t{3}, std::size_t{100}}) {
        const volatile std::size_t size = std::numeric_limits<std::size_t>::max() - missing;
        EXPECT_THROW(Port::operator delete(Port::operator new(size)), std::bad_alloc);
        EXPECT_THROW(Node::operator delete(Node::operator new(size)), std::bad_alloc);
        EXPECT_EQ(Port::operator new(size, std::nothrow), nullptr);
    }
}

}  // namespace
}  // namespace TessilGraph
