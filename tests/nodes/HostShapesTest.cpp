#include <TessilGraph/TessilGraph.h>
#include <TessilGraph/nodes/MatrixShapeCompute.h>
#include <TessilGraph/nodes/ShapeCompute.h>

#include "NodeTesting.h"

#include <Imath/ImathMatrix.h>
#include <Imath/ImathVec.h>

#include <gtest/gtest.h>

#include <string>

using namespace tests;
using namespace TessilGraph;
using Imath::M44d;
using Imath::V3d;

// Node types of a host, made of the same parts as the built-in ones. This is a program of its own, and
// the only one that sees the compute of the shapes: in any other it could not be told that a built-in
// node computes what the library was compiled to.

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

namespace {

class TraceNode : public MatrixNode<TraceNode, double> {
public:
    static double evaluate(const M44d& matrix) { return matrix[0][0] + matrix[1][1] + matrix[2][2] + matrix[3][3]; }
};

class ElementNode : public MatrixScalarNode<ElementNode, M44d, double, double> {
public:
    static double evaluate(const M44d& matrix, const double& index) {
        return matrix[static_cast<int>(index) / 4][static_cast<int>(index) % 4];
    }
};

class OffsetNode : public MatrixVectorNode<OffsetNode, M44d, V3d, V3d> {
public:
    static V3d evaluate(const M44d& matrix, const V3d& vector) {
        return {matrix[3][0] - vector.x, matrix[3][1] - vector.y, matrix[3][2] - vector.z};
    }
};

}  // namespace

namespace TessilGraph {
template <>
inline constexpr TypeInfo typeInfo<TraceNode>{"TraceOfHost", 5001};
template <>
inline constexpr TypeInfo typeInfo<ElementNode>{"ElementOfHost", 5002};
template <>
inline constexpr TypeInfo typeInfo<OffsetNode>{"OffsetOfHost", 5003};
}  // namespace TessilGraph

TEST(MatrixShapes, ServeTheNodesOfAHost) {
    registerNodes<TraceNode, ElementNode, OffsetNode>();
    M44d matrix;
    matrix[3][0] = 7;

    const auto trace = make<TraceNode>();
    trace->matrixPort()->set(matrix);
    EXPECT_TRUE(trace->compute(nullptr));
    EXPECT_EQ(trace->outputPort()->get(), 4.0);

    const auto element = make<ElementNode>();
    element->matrixPort()->set(matrix);
    element->doublePort()->set(12);
    EXPECT_TRUE(element->compute(nullptr));
    EXPECT_EQ(element->outputPort()->get(), 7.0);

    const auto offset = make<OffsetNode>();
    offset->matrixPort()->set(matrix);
    offset->vectorPort()->set(V3d(1, 2, 3));
    EXPECT_TRUE(offset->compute(nullptr));
    EXPECT_EQ(offset->outputPort()->get(), V3d(6, -2, -3));
}
