#include <TessilGraph/nodes/NodeShape.h>

#include <TessilGraph/graph/NetworkManager.h>
#include <TessilGraph/nodes/MathNodes.h>
#include <TessilGraph/nodes/ShapeCompute.h>
#include <TessilGraph/nodes/UtilsNodes.h>

#include "NodeTesting.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

using namespace tests;
using namespace TessilGraph;

// Node types of a host, made of the same parts as the built-in ones.

namespace host {

class Average : public BinaryNode<Average, double, double, double> {
public:
    static double evaluate(double in1, double in2) { return (in1 + in2) / 2; }
};

class Characters : public UnaryNode<Characters, std::string, Long> {
public:
    static Long evaluate(const std::string& in) { return static_cast<Long>(in.size()); }
};

class Counter : public NodeShape<Counter> {
public:
    PortTemplate<Long>* stepPort() const { return step_; }
    PortTemplate<Long>* countPort() const { return count_; }

    bool compute(const ComputeData*) override {
        total_ += step_->get();
        count_->set(total_);
        return true;
    }

    void reset() override {
        Node::reset();
        total_ = 0;
    }

private:
    PortTemplate<Long>* step_ = addInput<Long>(*this, "step");
    PortTemplate<Long>* count_ = addOutput<Long>(*this, "count");
    Long total_ = 0;
};

}  // namespace host

template <>
inline constexpr TypeInfo TessilGraph::typeInfo<host::Average>{"HostAverage", 1001};
template <>
inline constexpr TypeInfo TessilGraph::typeInfo<host::Characters>{"HostCharacters", 1002};
template <>
inline constexpr TypeInfo TessilGraph::typeInfo<host::Counter>{"HostCounter", 1003};

namespace {

/// The host's types, registered for as long as this lives.
class HostTypes {
public:
    HostTypes() { registerNodes<host::Average, host::Characters, host::Counter>(); }
    ~HostTypes() {
        for (const char* typeStr : {"HostAverage", "HostCharacters", "HostCounter"}) {
            NodeFactory::instance().deregisterNode(typeStr);
        }
    }
};

}  // namespace

TEST(NodeShape, ServesTheNodeTypesOfAHost) {
    const HostTypes types;
    checkShape<host::Average>("HostAverage", 1001);
    checkShape<host::Characters>("HostCharacters", 1002);
    checkShape<host::Counter>("HostCounter", 1003);
}

TEST(NodeShape, LetsHostNodesWorkBesideBuiltInOnes) {
    const HostTypes types;
    NetworkManager network;
    auto* text = dynamic_cast<AddNode<std::string, std::string, std::string, std::string>*>(
        network.createNode("AddString", "text"));
    auto* characters = dynamic_cast<host::Characters*>(network.createNode("HostCharacters", "characters"));
    auto* counter = dynamic_cast<host::Counter*>(network.createNode("HostCounter", "counter"));
    ASSERT_TRUE(text != nullptr && characters != nullptr && counter != nullptr);
    ASSERT_TRUE(network.connectAttr("text", "out", "characters", "in"));
    ASSERT_TRUE(network.connectAttr("characters", "out", "counter", "step"));
    text->input1Port()->set("four");
    text->input2Port()->set("teen");
    network.computeNode("counter");
    EXPECT_EQ(counter->countPort()->get(), 8);
    text->input2Port()->set("");
    network.computeNode("counter");
    EXPECT_EQ(counter->countPort()->get(), 12);
}

TEST(NodeShape, RegistersInTheOrderGiven) {
    const HostTypes types;
    registerNodes<host::Counter, host::Average>();
    EXPECT_EQ(takeLog(), alreadyRegistered({"HostCounter", "HostAverage"}));
}

TEST(NodeShape, AddsNothingToANodeButItsPorts) {
    EXPECT_EQ((sizeof(AddNode<double, double, double, double>)), sizeof(Node) + 3 * sizeof(void*));
    EXPECT_EQ((sizeof(AbsNode<double, double, double>)), sizeof(Node) + 2 * sizeof(void*));
    EXPECT_TRUE((std::is_convertible_v<PowNode<double, double, double, double>*, Node*>));
}

TEST(NodeShape, RefusesASecondPortOfTheSameName) {
    BufferDouble node;
    EXPECT_EQ(addInput<double>(node, "in"), nullptr);
    EXPECT_EQ(takeLog(), Messages{"Port  in already exists "});
    EXPECT_EQ(addOutput<Long>(node, "out"), nullptr);
    EXPECT_EQ(takeLog(), Messages{"Port  out already exists "});
    EXPECT_EQ(node.numInputPorts(), 1u);
    EXPECT_EQ(node.numOutputPorts(), 1u);
}

TEST(NodeShape, GivesTheNodeThePortsItMakes) {
    BufferDouble node;
    PortTemplate<std::string>* input = addInput<std::string>(node, "note");
    PortTemplate<Long>* output = addOutput<Long>(node, "in");
    ASSERT_TRUE(input != nullptr && output != nullptr);
    EXPECT_EQ(node.getInputPort("note"), input);
    EXPECT_TRUE(input->isInput());
    EXPECT_EQ(node.getOutputPort("in"), output);
    EXPECT_TRUE(output->isOutput());
}

TEST(NodeShape, ClonesLinksToOutsideStorage) {
    double linked = 4.0;
    BufferDouble node;
    node.inputPort()->setLink(&linked);
    const std::unique_ptr<Node> copy(node.clone());
    linked = 5.0;
    copy->compute(nullptr);
    EXPECT_EQ(dynamic_cast<BufferDouble&>(*copy).outputPort()->get(), 5.0);
}

TEST(NodeShape, ClonesANodeThatGainedAndLostPorts) {
    BufferDouble node;
    addInput<Long>(node, "extra")->set(3);
    const std::unique_ptr<Port> removed(node.getInputPort("in"));
    node.removeInputPort("in");
    addInput<std::string>(node, "in")->set("another type");

    const std::unique_ptr<Node> copy(node.clone());
    EXPECT_EQ(copy->getInputPortNames(), std::vector<std::string>{"in"});
    EXPECT_EQ(dynamic_cast<BufferDouble&>(*copy).inputPort()->get(), 0.0);
}

TEST(NodeShape, CopiesWhatIsNotConnected) {
    BufferDouble source;
    BufferDouble original;
    original.setName("original");
    original.inputPort()->set(2.5);
    auto* copy = new BufferDouble;
    const std::unique_ptr<Node> owner(copy);
    EXPECT_EQ(copyUnconnected(original, copy), copy);
    EXPECT_EQ(copy->name(), "original");
    EXPECT_EQ(copy->inputPort()->get(), 2.5);

    ASSERT_TRUE(source.outputPort()->connectTo(original.inputPort()));
    copy->inputPort()->set(7.0);
    copyUnconnected(original, copy);
    EXPECT_EQ(copy->inputPort()->get(), 7.0);
}
