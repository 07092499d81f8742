#pragma once

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/PortTemplate.h>
#include <TessilGraph/graph/initTessilGraph.h>

#include <tests/support/CollectedLog.h>
#include "PortValues.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>

namespace tests {

inline constexpr TessilGraph::Long lowest = std::numeric_limits<TessilGraph::Long>::min();
inline constexpr TessilGraph::Long highest = std::numeric_limits<TessilGraph::Long>::max();

inline const bool libraryIsStarted = (TessilGraph::initTessilGraph(), true);

/// A node of class `N`, made by the factory.
template <class N>
std::unique_ptr<N> make() {
    std::unique_ptr<TessilGraph::Node> made(TessilGraph::NodeFactory::instance().createNode(N::staticTypeStr()));
    auto* typed = dynamic_cast<N*>(made.get());
    if (typed == nullptr) {
        throw std::logic_error("the factory makes no " + N::staticTypeStr());
    }
    made.release();
    return std::unique_ptr<N>(typed);
}

/// What is logged when these types are registered though they are already.
inline Messages alreadyRegistered(std::initializer_list<const char*> typeStrs) {
    Messages messages;
    for (const char* typeStr : typeStrs) {
        messages.push_back(std::string("Node  ") + typeStr + "  already registered ");
    }
    return messages;
}

/// A node with one output like a given port, to feed that port.
class Feeder : public TessilGraph::Node {
public:
    explicit Feeder(TessilGraph::Port& like) { addOutputPort(makeLike(like, "out").release()); }

    std::string typeStr() const override { return "Feeder"; }
    unsigned int typeId() const override { return 9999; }
    TessilGraph::Node* clone() override { return nullptr; }

    TessilGraph::Port& out() { return **outputPortBegin(); }
};

/// Every promise that all node classes make alike.
template <class N>
void checkShape(const std::string& typeStr, unsigned int typeId) {
    SCOPED_TRACE(typeStr);
    using TessilGraph::Node;
    using TessilGraph::Port;

    const std::unique_ptr<Node> made(TessilGraph::NodeFactory::instance().createNode(typeStr));
    ASSERT_NE(dynamic_cast<N*>(made.get()), nullptr);
    const Node& node = *made;
    EXPECT_TRUE(typeid(node) == typeid(N));
    EXPECT_EQ(made->typeStr(), typeStr);
    EXPECT_EQ(N::staticTypeStr(), typeStr);
    EXPECT_EQ(made->typeId(), typeId);
    EXPECT_EQ(N::staticTypeId(), typeId);
    EXPECT_EQ(made->baseNodeType(), 0);
    EXPECT_EQ(made->name(), "");
    EXPECT_TRUE(made->isDirty());
    const std::unique_ptr<Node> created(N::creator());
    EXPECT_NE(dynamic_cast<N*>(created.get()), nullptr);

    // With each input in turn connected, and with none.
    const std::size_t inputs = made->numInputPorts();
    for (std::size_t connected = 0; connected <= inputs; ++connected) {
        const std::unique_ptr<Node> original(N::creator());
        const std::unique_ptr<Node> fresh(N::creator());
        original->setName("original");
        int seed = 0;
        for (auto port = original->inputPortBegin(); port != original->inputPortEnd(); ++port) {
            setSample(**port, ++seed);
        }
        for (auto port = original->outputPortBegin(); port != original->outputPortEnd(); ++port) {
            setSample(**port, ++seed);
        }
        std::unique_ptr<Feeder> feeder;
        if (connected < inputs) {
            Port& input = *original->inputPortBegin()[static_cast<std::ptrdiff_t>(connected)];
            feeder = std::make_unique<Feeder>(input);
            setSample(feeder->out(), 100);
            ASSERT_TRUE(feeder->out().connectTo(&input));
        }
        original->setDirty(false);

        const std::unique_ptr<Node> copy(original->clone());
        ASSERT_NE(dynamic_cast<N*>(copy.get()), nullptr);
        EXPECT_EQ(copy->name(), "original");
        EXPECT_TRUE(copy->isDirty());
        EXPECT_FALSE(original->isDirty());
        EXPECT_EQ(copy->getInputPortNames(), original->getInputPortNames());
        EXPECT_EQ(copy->getOutputPortNames(), original->getOutputPortNames());
        for (std::size_t index = 0; index < inputs; ++index) {
            const auto place = static_cast<std::ptrdiff_t>(index);
            Port& input = *copy->inputPortBegin()[place];
            EXPECT_EQ(input.numConnections(), 0u) << input.name();
            Port& expected = index == connected ? *fresh->inputPortBegin()[place] : *original->inputPortBegin()[place];
            EXPECT_EQ(describe(input), describe(expected)) << input.name();
        }
        for (std::size_t index = 0; index < copy->numOutputPorts(); ++index) {
            const auto place = static_cast<std::ptrdiff_t>(index);
            Port& output = *copy->outputPortBegin()[place];
            EXPECT_EQ(describe(output), describe(*fresh->outputPortBegin()[place])) << output.name();
        }

        // Back to the defaults, on this side of the link only.
        original->reset();
        EXPECT_EQ(original->name(), "original");
        for (std::size_t index = 0; index < inputs; ++index) {
            const auto place = static_cast<std::ptrdiff_t>(index);
            Port& input = *original->inputPortBegin()[place];
            EXPECT_EQ(input.numConnections(), 0u) << input.name();
            EXPECT_EQ(describe(input), describe(*fresh->inputPortBegin()[place])) << input.name();
        }
        for (std::size_t index = 0; index < original->numOutputPorts(); ++index) {
            const auto place = static_cast<std::ptrdiff_t>(index);
            Port& output = *original->outputPortBegin()[place];
            EXPECT_EQ(describe(output), describe(*fresh->outputPortBegin()[place])) << output.name();
        }
    }
}

/// That the accessor's port is the one that the node finds by name.
inline void expectInput(TessilGraph::Node& node, const char* name, TessilGraph::Port* port) {
    ASSERT_NE(port, nullptr) << name;
    EXPECT_EQ(node.getInputPort(name), port) << name;
    EXPECT_TRUE(port->isInput()) << name;
}
inline void expectOutput(TessilGraph::Node& node, const char* name, TessilGraph::Port* port) {
    ASSERT_NE(port, nullptr) << name;
    EXPECT_EQ(node.getOutputPort(name), port) << name;
    EXPECT_TRUE(port->isOutput()) << name;
}

/// The same, and one input and an output.
template <class N>
void checkUnary(const char* typeStr, unsigned int typeId) {
    checkShape<N>(typeStr, typeId);
    const auto node = make<N>();
    expectInput(*node, "in", node->inputPort());
    expectOutput(*node, "out", node->outputPort());
}

/// The same, and two inputs and an output.
template <class N>
void checkBinary(const char* typeStr, unsigned int typeId) {
    checkShape<N>(typeStr, typeId);
    const auto node = make<N>();
    expectInput(*node, "in1", node->input1Port());
    expectInput(*node, "in2", node->input2Port());
    expectOutput(*node, "out", node->outputPort());
}

}  // namespace tests
