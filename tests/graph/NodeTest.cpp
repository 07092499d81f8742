#include <TessilGraph/graph/Node.h>

#include <TessilGraph/graph/PortTemplate.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace TessilGraph {
namespace {

using tests::Messages;
using tests::Pipe;
using tests::Sum;
using tests::Sum3;
using tests::takeLog;

using Names = std::vector<std::string>;
using Ports = std::vector<Port*>;

/// A node without ports that overrides no more than it must.
class BareNode : public Node {
public:
    std::string typeStr() const override { return "Bare"; }
    unsigned int typeId() const override { return 9800; }
    Node* clone() override { return nullptr; }
    std::string baseTypeStr() const { return Node::typeStr(); }
};

/// A port that reports its death.
class MortalPort : public PortTemplate<double> {
public:
    MortalPort(const std::string& name, Names* deaths) : PortTemplate<double>(name), deaths_(deaths) {}
    ~MortalPort() override { deaths_->push_back(name()); }

private:
    Names* deaths_;
};

std::string existsMessage(const std::string& name) {
    return "Port  " + name + " already exists ";
}

TEST(Node, StartsDirtyAndEmpty) {
    BareNode node;
    EXPECT_TRUE(node.isDirty());
    EXPECT_EQ(node.name(), "");
    EXPECT_EQ(node.profileTime(), 0U);
    EXPECT_EQ(node.numInputPorts(), 0U);
    EXPECT_EQ(node.numOutputPorts(), 0U);
    EXPECT_TRUE(node.getInputPortNames().empty());
    EXPECT_TRUE(node.getOutputPortNames().empty());
}

TEST(Node, HasTheTypesThatHostsBuildOn) {
    static_assert(std::is_abstract_v<Node>);
    static_assert(std::has_virtual_destructor_v<Node>);
    static_assert(std::is_same_v<decltype(std::declval<Node&>().name()), std::string>);
    static_assert(std::is_same_v<decltype(std::declval<const Node&>().typeId()), unsigned int>);
    static_assert(std::is_same_v<decltype(std::declval<const Node&>().baseNodeType()), short>);
    static_assert(std::is_same_v<decltype(std::declval<const Node&>().profileTime()), std::uint64_t>);
    static_assert(std::is_same_v<decltype(std::declval<const Node&>().numInputPorts()), std::uint64_t>);
    static_assert(std::is_same_v<decltype(std::declval<const Node&>().numOutputPorts()), std::uint64_t>);
    static_assert(std::is_same_v<decltype(std::declval<Node&>().inputPortBegin()), Ports::iterator>);
    static_assert(std::is_same_v<decltype(std::declval<Node&>().outputPortEnd()), Ports::iterator>);
    static_assert(std::is_same_v<decltype(std::declval<const Node&>().inputPortCBegin()), Ports::const_iterator>);
    static_assert(std::is_same_v<decltype(std::declval<const Node&>().outputPortCEnd()), Ports::const_iterator>);
    static_assert(std::is_same_v<decltype(std::declval<Node&>().compute(nullptr)), bool>);
}

TEST(Node, HasADefaultForWhatATypeNeedNotSay) {
    BareNode node;
    EXPECT_EQ(node.baseTypeStr(), "Node");
    EXPECT_EQ(node.baseNodeType(), 0);
    EXPECT_TRUE(node.compute(nullptr));
    EXPECT_TRUE(node.isDirty());
}

TEST(Node, TakesAnyName) {
    BareNode node;
    const std::string bytes("a b\0\n\xff", 6);
    node.setName(bytes);
    EXPECT_EQ(node.name(), bytes);
    node.setName("");
    EXPECT_EQ(node.name(), "");
    const std::string longName(1U << 20U, 'n');
    node.setName(longName);
    EXPECT_EQ(node.name(), longName);
}

TEST(Node, KeepsAProfileTimeOfSixtyFourBits) {
    BareNode node;
    node.setProfileTime(std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(node.profileTime(), std::numeric_limits<std::uint64_t>::max());
}

TEST(Node, OwnsThePortsThatItAccepts) {
    Names deaths;
    {
        BareNode node;
        node.addOutputPort(new MortalPort("out1", &deaths));
        node.addInputPort(new MortalPort("in1", &deaths));
        node.addInputPort(new MortalPort("in2", &deaths));
        node.addOutputPort(new MortalPort("out2", &deaths));
        EXPECT_TRUE(deaths.empty());
    }
    EXPECT_EQ(deaths, (Names{"in1", "in2", "out1", "out2"}));
}

TEST(Node, GivesPortsTheirDirectionAndOwner) {
    BareNode node;
    auto* in = new PortTemplate<double>("in");
    auto* out = new PortTemplate<double>("out");
    node.addInputPort(in);
    node.addOutputPort(out);
    EXPECT_EQ(in->node(), &node);
    EXPECT_EQ(out->node(), &node);
    EXPECT_TRUE(in->isInput());
    EXPECT_TRUE(out->isOutput());
    EXPECT_TRUE(node.isDirty());
}

TEST(Node, TurnsAnOutputThatMovesToTheInputsIntoAnInput) {
    BareNode node;
    auto* port = new PortTemplate<double>("p");
    node.addOutputPort(port);
    node.removeOutputPort("p");
    EXPECT_TRUE(port->isOutput());
    node.addInputPort(port);
    EXPECT_TRUE(port->isInput());
    EXPECT_EQ(node.getInputPort("p"), port);
    EXPECT_EQ(node.getOutputPort("p"), nullptr);
}

TEST(Node, ListsPortsInTheOrderInWhichTheyWereAdded) {
    BareNode node;
    Ports ins;
    Ports outs;
    for (const char* name : {"z", "a", "M", "", "b"}) {
        ins.push_back(new PortTemplate<double>(name));
        node.addInputPort(ins.back());
        outs.push_back(new PortTemplate<std::string>(name));
        node.addOutputPort(outs.back());
    }
    EXPECT_EQ(node.getInputPortNames(), (Names{"z", "a", "M", "", "b"}));
    EXPECT_EQ(node.getOutputPortNames(), (Names{"z", "a", "M", "", "b"}));
    EXPECT_EQ(Ports(node.inputPortBegin(), node.inputPortEnd()), ins);
    EXPECT_EQ(Ports(node.inputPortCBegin(), node.inputPortCEnd()), ins);
    EXPECT_EQ(Ports(node.outputPortBegin(), node.outputPortEnd()), outs);
    EXPECT_EQ(Ports(node.outputPortCBegin(), node.outputPortCEnd()), outs);
    EXPECT_EQ(node.numInputPorts(), 5U);
    EXPECT_EQ(node.numOutputPorts(), 5U);
}

TEST(Node, FindsPortsByTheirExactNameAndDirection) {
    Sum node;
    EXPECT_EQ(node.getInputPort("in2"), node.in(1));
    EXPECT_EQ(node.getOutputPort("out"), node.out());
    EXPECT_EQ(node.getInputPort("out"), nullptr);
    EXPECT_EQ(node.getOutputPort("in1"), nullptr);
    EXPECT_EQ(node.getInputPort("In1"), nullptr);
    EXPECT_EQ(node.getInputPort("in"), nullptr);
    EXPECT_EQ(node.getInputPort("in11"), nullptr);
    EXPECT_EQ(node.getInputPort(""), nullptr);
    EXPECT_EQ(node.getInputPort(std::string("in1\0", 4)), nullptr);
}

TEST(Node, RefusesASecondInputOfOneNameAndLeavesItToTheCaller) {
    Names deaths;
    {
        BareNode node;
        node.addInputPort(new MortalPort("value", &deaths));
        auto second = std::make_unique<MortalPort>("value", &deaths);
        node.addInputPort(second.get());
        EXPECT_EQ(takeLog(), Messages{existsMessage("value")});
        EXPECT_EQ(node.numInputPorts(), 1U);
        EXPECT_NE(node.getInputPort("value"), second.get());
        EXPECT_EQ(second->node(), nullptr);
        node.addOutputPort(second.release());
        EXPECT_EQ(node.numOutputPorts(), 1U);
    }
    EXPECT_EQ(deaths, (Names{"value", "value"}));
}

TEST(Node, RefusesASecondOutputOfOneNameAndLeavesItToTheCaller) {
    BareNode node;
    node.addOutputPort(new PortTemplate<double>("value"));
    PortTemplate<double> second("value");
    node.addOutputPort(&second);
    EXPECT_EQ(takeLog(), Messages{existsMessage("value")});
    EXPECT_EQ(node.numOutputPorts(), 1U);
    EXPECT_EQ(second.node(), nullptr);
    EXPECT_TRUE(second.isInput());
}

TEST(Node, LetsAnInputAndAnOutputShareAName) {
    BareNode node;
    node.addInputPort(new PortTemplate<double>("value"));
    node.addOutputPort(new PortTemplate<double>("value"));
    EXPECT_TRUE(node.getInputPort("value")->isInput());
    EXPECT_TRUE(node.getOutputPort("value")->isOutput());
}

TEST(Node, RefusesNullPorts) {
    Sum node;
    node.addInputPort(nullptr);
    EXPECT_EQ(takeLog(), Messages{"Error null pointer "});
    node.addOutputPort(nullptr);
    EXPECT_EQ(takeLog(), Messages{"Error null pointer "});
    EXPECT_EQ(node.numInputPorts(), 2U);
    EXPECT_EQ(node.numOutputPorts(), 1U);
}

TEST(Node, GivesARemovedPortBackAsItIs) {
    Names deaths;
    Pipe source;
    auto* port = new MortalPort("extra", &deaths);
    {
        Sum node;
        node.addInputPort(port);
        port->set(3.0);
        ASSERT_TRUE(source.out()->connectTo(port));
        node.removeInputPort("extra");
        EXPECT_EQ(node.getInputPort("extra"), nullptr);
        EXPECT_EQ(node.numInputPorts(), 2U);
        EXPECT_EQ(node.getInputPortNames(), (Names{"in1", "in2"}));
        EXPECT_EQ(port->node(), &node);
        EXPECT_EQ(port->input(), source.out());
        EXPECT_EQ(source.out()->getConnections(), Ports{port});
    }
    EXPECT_TRUE(deaths.empty());
    ASSERT_TRUE(port->disconnectFrom(source.out()));
    EXPECT_EQ(port->get(), 3.0);
    delete port;
    EXPECT_EQ(deaths, Names{"extra"});
}

TEST(Node, KeepsTheOrderOfThePortsThatRemain) {
    Sum3 node;
    const std::unique_ptr<Port> removed(node.getInputPort("in2"));
    node.removeInputPort("in2");
    EXPECT_EQ(node.getInputPortNames(), (Names{"in1", "in3"}));
    node.addInputPort(new PortTemplate<double>("in2"));
    EXPECT_EQ(node.getInputPortNames(), (Names{"in1", "in3", "in2"}));
}

TEST(Node, RemovesInputsAndOutputsSeparately) {
    BareNode node;
    auto* in = new PortTemplate<double>("value");
    node.addInputPort(in);
    const std::unique_ptr<Port> out = std::make_unique<PortTemplate<double>>("value");
    node.addOutputPort(out.get());
    node.removeOutputPort("value");
    EXPECT_EQ(node.numOutputPorts(), 0U);
    EXPECT_EQ(node.getOutputPort("value"), nullptr);
    EXPECT_EQ(node.getInputPort("value"), in);
}

TEST(Node, IgnoresTheRemovalOfAnUnknownPort) {
    Sum node;
    node.removeInputPort("out");
    node.removeOutputPort("in1");
    node.removeInputPort("");
    EXPECT_EQ(node.numInputPorts(), 2U);
    EXPECT_EQ(node.numOutputPorts(), 1U);
}

TEST(Node, DisconnectsNothingWhenItDies) {
    Pipe source;
    auto sink = std::make_unique<Pipe>();
    ASSERT_TRUE(source.out()->connectTo(sink->in()));
    sink.reset();
    EXPECT_EQ(source.out()->numConnections(), 1U);
    source.out()->reset();
    EXPECT_EQ(source.out()->numConnections(), 0U);
}

/// a to b and c, b to d in1, c to d in2; all clean.
struct Diamond {
    Diamond() {
        EXPECT_TRUE(a.out()->connectTo(b.in()));
        EXPECT_TRUE(a.out()->connectTo(c.in()));
        EXPECT_TRUE(b.out()->connectTo(d.in(0)));
        EXPECT_TRUE(c.out()->connectTo(d.in(1)));
        clean();
    }

    void clean() {
        a.setDirty(false);
        b.setDirty(false);
        c.setDirty(false);
        d.setDirty(false);
    }

    std::string dirty() const {
        std::string names;
        names += a.isDirty() ? "a" : "";
        names += b.isDirty() ? "b" : "";
        names += c.isDirty() ? "c" : "";
        names += d.isDirty() ? "d" : "";
        return names;
    }

    Pipe a;
    Pipe b;
    Pipe c;
    Sum d;
};

TEST(Node, MarksEverythingDownstream) {
    Diamond diamond;
    EXPECT_EQ(diamond.dirty(), "");
    diamond.a.setDirty(true);
    EXPECT_EQ(diamond.dirty(), "abcd");
    diamond.clean();
    diamond.b.setDirty(true);
    EXPECT_EQ(diamond.dirty(), "bd");
    diamond.clean();
    diamond.d.setDirty(true);
    EXPECT_EQ(diamond.dirty(), "d");
}

TEST(Node, ClearsOnlyItself) {
    Diamond diamond;
    diamond.a.setDirty(true);
    diamond.a.setDirty(false);
    EXPECT_EQ(diamond.dirty(), "bcd");
    diamond.d.setDirty(false);
    EXPECT_EQ(diamond.dirty(), "bc");
}

TEST(Node, TouchesNothingDownstreamWhenItIsDirtyAlready) {
    Diamond diamond;
    diamond.a.setDirtyFlag();
    EXPECT_EQ(diamond.dirty(), "a");
    diamond.a.setDirty(true);
    EXPECT_EQ(diamond.dirty(), "a");
}

TEST(Node, StopsWhereItMeetsADirtyNode) {
    Pipe a;
    Pipe b;
    Pipe c;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    ASSERT_TRUE(b.out()->connectTo(c.in()));
    a.setDirty(false);
    c.setDirty(false);
    a.setDirty(true);
    EXPECT_TRUE(b.isDirty());
    EXPECT_FALSE(c.isDirty());
}

TEST(Node, MarksTheCleanNodesBesideADirtyOne) {
    Pipe source;
    std::vector<std::unique_ptr<Pipe>> sinks;
    for (int index = 0; index < 4; ++index) {
        sinks.push_back(std::make_unique<Pipe>());
        ASSERT_TRUE(source.out()->connectTo(sinks.back()->in()));
        sinks.back()->setDirty(index == 1);
    }
    source.setDirty(false);
    source.setDirty(true);
    for (const std::unique_ptr<Pipe>& sink : sinks) {
        EXPECT_TRUE(sink->isDirty());
    }
}

TEST(Node, SetsItsFlagWithoutTouchingItsNeighbours) {
    Diamond diamond;
    diamond.b.setDirtyFlag();
    EXPECT_EQ(diamond.dirty(), "b");
    diamond.b.setDirtyFlag();
    EXPECT_EQ(diamond.dirty(), "b");
}

TEST(Node, MarksThroughEveryOutputAndEveryLink) {
    Pipe source;
    auto* second = new PortTemplate<double>("second");
    source.addOutputPort(second);
    std::vector<std::unique_ptr<Pipe>> sinks;
    for (int index = 0; index < 6; ++index) {
        sinks.push_back(std::make_unique<Pipe>());
        Port* out = index % 2 == 0 ? second : source.out();
        ASSERT_TRUE(out->connectTo(sinks.back()->in()));
        sinks.back()->setDirty(false);
    }
    source.setDirty(false);
    source.setDirty(true);
    for (const std::unique_ptr<Pipe>& sink : sinks) {
        EXPECT_TRUE(sink->isDirty());
    }
}

TEST(Node, PassesOverPortsWithoutANodeWhenItMarks) {
    Pipe a;
    Pipe b;
    PortTemplate<double> loose("loose");
    ASSERT_TRUE(a.out()->connectTo(&loose));
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    a.setDirty(false);
    b.setDirty(false);
    a.setDirty(true);
    EXPECT_TRUE(a.isDirty());
    EXPECT_TRUE(b.isDirty());
}

TEST(Node, MarksAlongTheListsOfOutputsOnly) {
    Pipe a;
    Pipe b;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    a.out()->reset();
    a.setDirty(false);
    b.setDirty(false);
    a.setDirty(true);
    EXPECT_FALSE(b.isDirty());
}

TEST(Node, RestoresItsPortsOnResetAndKeepsTheRest) {
    Pipe source;
    Pipe node;
    Pipe sink;
    ASSERT_TRUE(source.out()->connectTo(node.in()));
    ASSERT_TRUE(node.out()->connectTo(sink.in()));
    double outside = 1.0;
    node.in()->set(2.0);
    node.in()->setLink(&outside);
    node.out()->set(3.0);
    node.setName("kept");
    node.setProfileTime(77);
    for (const bool dirty : {true, false}) {
        node.setDirty(dirty);
        node.reset();
        EXPECT_EQ(node.isDirty(), dirty);
        EXPECT_EQ(node.name(), "kept");
        EXPECT_EQ(node.profileTime(), 77U);
        EXPECT_EQ(node.in()->numConnections(), 0U);
        EXPECT_EQ(node.out()->numConnections(), 0U);
        EXPECT_EQ(node.in()->get(), 0.0);
        EXPECT_EQ(node.out()->get(), 0.0);
    }
    EXPECT_EQ(source.out()->getConnections(), Ports{node.in()});
    EXPECT_EQ(sink.in()->getConnections(), Ports{node.out()});
}

TEST(Node, ResetsInputsBeforeOutputsThroughThePortsOwnReset) {
    class TellingPort : public PortTemplate<double> {
    public:
        TellingPort(const std::string& name, Names* resets) : PortTemplate<double>(name), resets_(resets) {}
        void reset() override {
            resets_->push_back(name());
            PortTemplate<double>::reset();
        }

    private:
        Names* resets_;
    };
    Names resets;
    BareNode node;
    node.addOutputPort(new TellingPort("out1", &resets));
    node.addInputPort(new TellingPort("in1", &resets));
    node.addOutputPort(new TellingPort("out2", &resets));
    node.addInputPort(new TellingPort("in2", &resets));
    node.reset();
    EXPECT_EQ(resets, (Names{"in1", "in2", "out1", "out2"}));
}

TEST(Node, IsDestroyedThroughItsBase) {
    tests::takeDestroyed();
    std::unique_ptr<Node> node = std::make_unique<Pipe>();
    node->setName("gone");
    node.reset();
    EXPECT_EQ(tests::takeDestroyed(), Names{"gone"});
}

TEST(Node, TakesPortNamesOfAnyLengthAndAnyBytes) {
    BareNode node;
    const std::string bytes("\0\n\xff \"", 5);
    const std::string longName(1U << 20U, 'p');
    for (const std::string& name : {bytes, longName, std::string()}) {
        node.addInputPort(new PortTemplate<double>(name));
        ASSERT_NE(node.getInputPort(name), nullptr);
        PortTemplate<double> again(name);
        node.addInputPort(&again);
        EXPECT_EQ(takeLog(), Messages{existsMessage(name)});
    }
    EXPECT_EQ(node.getInputPortNames(), (Names{bytes, longName, ""}));
}

}  // namespace
}  // namespace TessilGraph
