#include <TessilGraph/TessilGraph.h>

#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>

namespace TessilGraph {
namespace {

using tests::ProbeNode;
using tests::Source;

using Number = PortTemplate<double>;

/// Adds up whatever stands in its list of inputs.
class Collector : public ProbeNode {
public:
    Collector() {
        addInputPort(new Number("in1"));
        addInputPort(new Number("in2"));
        addOutputPort(out);
    }

    std::string typeStr() const override { return "Collector"; }
    unsigned int typeId() const override { return 9501; }
    Node* clone() override { return new Collector; }

    Number* in(const std::string& name) { return static_cast<Number*>(getInputPort(name)); }

    std::unique_ptr<Port> remove(const std::string& name) {
        std::unique_ptr<Port> port(getInputPort(name));
        removeInputPort(name);
        return port;
    }

    /// As a host does that has nothing but the list.
    std::unique_ptr<Number> takeOutByHand(const std::string& name) {
        Number* port = in(name);
        *std::find(inputPortBegin(), inputPortEnd(), port) = nullptr;
        return std::unique_ptr<Number>(port);
    }

    Number* const out = new Number("out");

protected:
    void evaluate() override {
        double sum = 0;
        for (auto port = inputPortCBegin(); port != inputPortCEnd(); ++port) {
            sum += *port != nullptr ? static_cast<const Number*>(*port)->get() : 0.0;
        }
        out->set(sum);
    }
};

/// A collector in a network, and a prepared evaluation of it.
class PortLifetime : public testing::Test {
protected:
    PortLifetime() {
        network.addNode(source, "source");
        network.addNode(collector, "collector");
        source->out()->set(5.0);
        source->setDirty(false);
    }

    double prepared() {
        evaluation.run();
        return collector->out->get();
    }

    NetworkManager network;
    Source* source = new Source;
    Collector* collector = new Collector;
    PreparedEvaluation evaluation{network, "collector"};
};

TEST_F(PortLifetime, OutlastsTheNodeItWasTakenFromByHand) {
    auto node = std::make_unique<Collector>();
    const std::unique_ptr<Port> input = node->takeOutByHand("in1");
    const std::unique_ptr<Port> output(*node->outputPortBegin());
    *node->outputPortBegin() = nullptr;
    node.reset();
    for (Port* port : {input.get(), output.get()}) {
        EXPECT_EQ(port->node(), nullptr);
        port->reset();
        EXPECT_TRUE(port->getConnections().empty());
    }
    EXPECT_TRUE(output->connectTo(collector->in("in1")));
    EXPECT_TRUE(input->connectTo(source->out()));
    EXPECT_TRUE(input->disconnectFrom(source->out()));
    EXPECT_TRUE(collector->in("in1")->disconnectFrom(output.get()));
}

TEST_F(PortLifetime, OutlastsTheNodeThatTheNetworkDeletes) {
    prepared();
    const std::unique_ptr<Number> port = collector->takeOutByHand("in1");
    EXPECT_EQ(prepared(), 0.0);
    network.deleteNode("collector");
    port->reset();
    EXPECT_EQ(port->get(), 0.0);
}

TEST_F(PortLifetime, OutlastsTheNodeItWasTakenFromWithItsListLent) {
    auto node = std::make_unique<Collector>();
    std::unique_ptr<Port> port = node->remove("in1");
    node.reset();
    EXPECT_TRUE(port->getConnections().empty());
    EXPECT_TRUE(port->getConnections().empty());
    collector->remove("in1").reset();
    collector->addInputPort(port.get());
    EXPECT_EQ(port.release()->node(), collector);
    EXPECT_TRUE(network.connectAttr("source", "out", "collector", "in1"));
}

TEST_F(PortLifetime, EndsWithAnotherNodeThanItsOwner) {
    auto owner = std::make_unique<Collector>();
    auto keeper = std::make_unique<Collector>();
    const std::unique_ptr<Port> replaced = keeper->takeOutByHand("in1");
    Port* port = owner->takeOutByHand("in1").release();
    *keeper->inputPortBegin() = port;
    EXPECT_EQ(port->node(), owner.get());
    keeper.reset();
    owner.reset();
    EXPECT_TRUE(replaced->getConnections().empty());
}

TEST_F(PortLifetime, EndsInTheSightOfWhatIsPrepared) {
    collector->in("in1")->getConnections();
    collector->inputPortBegin();
    prepared();
    collector->takeOutByHand("in1").reset();
    collector->setDirty(true);
    EXPECT_EQ(prepared(), 0.0);
    network.computeNode("collector");
    EXPECT_TRUE(network.connectAttr("source", "out", "collector", "in2"));
    collector->setDirty(true);
    EXPECT_EQ(prepared(), 5.0);
}

TEST_F(PortLifetime, GoesOnWithTheNodeThatTookThePortIn) {
    auto first = std::make_unique<Collector>();
    collector->remove("in1").reset();
    Number* port = first->takeOutByHand("in1").release();
    collector->addInputPort(port);
    first.reset();
    EXPECT_EQ(prepared(), 0.0);
    // Only the port itself can tell the collector's network.
    Source outside;
    ASSERT_TRUE(outside.out()->connectTo(port));
    collector->setDirty(true);
    EXPECT_EQ(prepared(), 1.0);
    EXPECT_EQ(outside.computes, 1);
    EXPECT_TRUE(outside.out()->disconnectFrom(port));
}

TEST_F(PortLifetime, LeavesTheNodeThatItCameBackTo) {
    // A port that was somebody else's for a while tells nothing any more, so its node does.
    Number* port = collector->in("in1");
    port->setNode(source);
    port->setNode(collector);
    port->getConnections();
    prepared();
    collector->remove("in1").reset();
    collector->setDirty(true);
    EXPECT_EQ(prepared(), 0.0);
}

TEST_F(PortLifetime, EndsUnseenOnceAnotherNodeWasItsOwner) {
    collector->inputPortBegin();
    for (Node* owner : {static_cast<Node*>(source), static_cast<Node*>(collector)}) {
        collector->in("in1")->setNode(owner);
    }
    prepared();
    collector->takeOutByHand("in1").reset();
    collector->setDirty(true);
    EXPECT_EQ(prepared(), 0.0);
}

TEST_F(PortLifetime, IsForgottenByAListThatNamesItNoLonger) {
    auto node = std::make_unique<Collector>();
    const std::unique_ptr<Number> named = node->takeOutByHand("in1");
    named->setNode(collector);
    node->takeOutByHand("in2").reset();
    node->addInputPort(new Number("in3"));
    auto shorter = std::make_unique<Collector>();
    shorter->addInputPort(node->takeOutByHand("in3").release());
    shorter.reset();
    node->addInputPort(new Number("in3"));
    const std::unique_ptr<Number> late = node->takeOutByHand("in3");
    node->addInputPort(new Number("in4"));
    const std::unique_ptr<Port> removed = node->remove("in4");
    node.reset();
    EXPECT_EQ(named->node(), collector);
    late->reset();
    removed->reset();
}

TEST_F(PortLifetime, GoesOnWithoutTheNodeItWasRemovedFrom) {
    auto node = std::make_unique<Collector>();
    ASSERT_TRUE(source->out()->connectTo(node->in("in2")));
    ASSERT_TRUE(node->out->connectTo(collector->in("in1")));
    const std::unique_ptr<Port> input = node->remove("in2");
    const std::unique_ptr<Number> output(node->out);
    node->removeOutputPort("out");
    EXPECT_EQ(input->node(), node.get());
    EXPECT_EQ(output->node(), node.get());
    node->setDirty(false);
    static_cast<Number*>(input.get())->set(2.0);
    EXPECT_TRUE(node->isDirty());
    node.reset();
    EXPECT_EQ(input->node(), nullptr);
    EXPECT_EQ(output->node(), nullptr);

    // Whoever comes along the links that stayed passes the ports over.
    static_cast<Number*>(input.get())->set(3.0);
    source->setDirty(true);
    output->set(4.0);
    collector->setDirty(true);
    EXPECT_EQ(prepared(), 4.0);
    for (const bool parallel : {false, true}) {
        collector->setDirty(true);
        network.computeNode("collector", nullptr, parallel);
        EXPECT_EQ(collector->out->get(), 4.0);
    }
    NetworkManager copy(network);
    copy.computeNode("collector");

    // They link as ports without an owner do.
    EXPECT_TRUE(input->disconnectFrom(source->out()));
    EXPECT_TRUE(output->disconnectFrom(collector->in("in1")));
    EXPECT_TRUE(source->out()->connectTo(input.get()));
    EXPECT_TRUE(collector->in("in1")->connectTo(output.get()));
    EXPECT_TRUE(input->disconnectFrom(source->out()));
    EXPECT_TRUE(output->disconnectFrom(collector->in("in1")));
}

TEST_F(PortLifetime, GoesOnWithoutTheNodeThatTheNetworkDeletes) {
    const std::unique_ptr<Port> first = collector->remove("in1");
    const std::unique_ptr<Port> second(source->out());
    source->removeOutputPort("out");
    network.deleteNode("collector");
    EXPECT_EQ(first->node(), nullptr);
    EXPECT_EQ(second->node(), source);
    network.cleanNetwork();
    EXPECT_EQ(second->node(), nullptr);
}

TEST_F(PortLifetime, GoesOnWithoutAnOwnerThatWasOnlyNamed) {
    auto first = std::make_unique<Collector>();
    auto second = std::make_unique<Collector>();
    Number port("port"), renamed("renamed");
    port.setNode(first.get());
    renamed.setNode(first.get());
    renamed.setNode(second.get());
    {
        Number shorter("shorter");
        shorter.setNode(first.get());
    }
    first.reset();
    EXPECT_EQ(port.node(), nullptr);
    EXPECT_EQ(renamed.node(), second.get());
    second.reset();
    EXPECT_EQ(renamed.node(), nullptr);
    port.set(1.0);
    renamed.set(1.0);
}

TEST_F(PortLifetime, GoesOnWithTheLastNodeThatTookARemovedPortIn) {
    auto first = std::make_unique<Collector>();
    auto last = std::make_unique<Collector>();
    Port* back = first->remove("in1").release();
    first->addInputPort(back);
    Port* moved = first->remove("in2").release();
    last->remove("in2").reset();
    last->addInputPort(moved);
    const std::unique_ptr<Port> removedTwice = last->remove("in2");
    EXPECT_EQ(removedTwice.get(), moved);
    first.reset();
    EXPECT_EQ(moved->node(), last.get());
    last.reset();
    EXPECT_EQ(moved->node(), nullptr);
}

TEST_F(PortLifetime, EndsUnseenWhereItsNodeLearntOfItTwice) {
    for (Node* owner : {static_cast<Node*>(source), static_cast<Node*>(collector)}) {
        collector->in("in1")->setNode(owner);
    }
    collector->takeOutByHand("in1").reset();
    network.deleteNode("collector");
    EXPECT_EQ(network.getNode("collector"), nullptr);
}

TEST_F(PortLifetime, MayEndOnAnotherThreadThanItsNode) {
    for (int round = 0; round < 50; ++round) {
        auto node = std::make_unique<Collector>();
        std::unique_ptr<Port> port = node->remove("in1");
        std::unique_ptr<Port> output(node->out);
        node->removeOutputPort("out");
        std::thread other([&port] { port.reset(); });
        output.reset();
        node.reset();
        other.join();
    }
}

}  // namespace
}  // namespace TessilGraph
