#include <TessilGraph/nodes/NodeShape.h>

#include <TessilGraph/nodes/MathNodes.h>
#include <TessilGraph/nodes/UtilsNodes.h>

#include "NodeTesting.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

using namespace tests;
using namespace TessilGraph;

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

TEST(NodeShape, CopiesNothingFromNullEntries) {
    BufferDouble original;
    original.setName("original");
    original.inputPort()->set(2.5);
    addInput<Long>(original, "extra");
    // Whatever a host did to the list of a node, a copy of the rest is still to be had.
    const std::unique_ptr<Port> taken(original.inputPortBegin()[1]);
    original.inputPortBegin()[1] = nullptr;

    const std::unique_ptr<Node> copy(original.clone());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->name(), "original");
    EXPECT_EQ(dynamic_cast<BufferDouble&>(*copy).inputPort()->get(), 2.5);
}

TEST(NodeShape, CopiesIntoNullAsNull) {
    BufferDouble original;
    EXPECT_EQ(copyUnconnected(original, nullptr), nullptr);
}

TEST(NodeShape, CopiesOnlyInputsThatTheCopyHasWithTheSameType) {
    BufferDouble original;
    original.inputPort()->set(2.5);
    addInput<Long>(original, "lacking")->set(3);
    addInput<Long>(original, "other")->set(4);
    addInput<Long>(original, "last")->set(5);
    BufferDouble copy;
    PortTemplate<double>* other = addInput<double>(copy, "other");
    PortTemplate<Long>* last = addInput<Long>(copy, "last");
    other->set(0.5);

    EXPECT_EQ(copyUnconnected(original, &copy), &copy);
    EXPECT_EQ(copy.inputPort()->get(), 2.5);
    EXPECT_EQ(copy.numInputPorts(), 3u);
    EXPECT_EQ(other->get(), 0.5);
    EXPECT_EQ(last->get(), 5);
}
