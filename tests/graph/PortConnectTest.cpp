#include <TessilGraph/graph/Port.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/graph/LoosePort.h>
#include <tests/graph/PortMessages.h>
#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace TessilGraph {
namespace {

using tests::connectedMessage;
using tests::cycleMessage;
using tests::directionMessage;
using tests::LoosePort;
using tests::Messages;
using tests::nullMessage;
using tests::occupiedMessage;
using tests::Pipe;
using tests::sameNodeMessage;
using tests::Sum;
using tests::takeLog;
using tests::TextPipe;
using tests::typeMessage;

using Ports = std::vector<Port*>;

TEST(Port, ConnectsFromTheOutputAsWellAsFromTheInput) {
    for (const bool fromOutput : {true, false}) {
        Pipe a;
        Pipe b;
        EXPECT_TRUE(fromOutput ? a.out()->connectTo(b.in()) : b.in()->connectTo(a.out()));
        EXPECT_EQ(a.out()->getConnections(), Ports{b.in()});
        EXPECT_EQ(b.in()->getConnections(), Ports{a.out()});
        EXPECT_EQ(b.in()->input(), a.out());
        EXPECT_EQ(a.out()->input(), nullptr);
        EXPECT_EQ(a.out()->numConnections(), 1U);
        EXPECT_EQ(b.in()->numConnections(), 1U);
    }
}

TEST(Port, ConnectsAnewWhenBothEndsWereReset) {
    Pipe a;
    Pipe b;
    Pipe c;
    for (int time = 0; time < 3; ++time) {
        ASSERT_TRUE(a.out()->connectTo(b.in()));
        EXPECT_FALSE(a.out()->connectTo(b.in()));
        EXPECT_EQ(takeLog(), Messages{connectedMessage});
        b.in()->reset();
        a.out()->reset();
        EXPECT_EQ(a.out()->numConnections(), 0U);
    }
    // Another source in between.
    ASSERT_TRUE(c.out()->connectTo(b.in()));
    b.in()->reset();
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    EXPECT_EQ(b.in()->input(), a.out());
    EXPECT_EQ(a.out()->getConnections(), Ports{b.in()});
    b.in()->reset();
    EXPECT_FALSE(c.out()->connectTo(b.in()));
    EXPECT_EQ(takeLog(), Messages{connectedMessage});
    c.out()->reset();
    EXPECT_TRUE(c.out()->connectTo(b.in()));
}

TEST(Port, MayBecomeAnOutputWhileAnOutputStillListsIt) {
    Pipe a;
    Pipe b;
    LoosePort port("port");
    port.setAsInput(true);
    ASSERT_TRUE(a.out()->connectTo(&port));
    port.reset();
    port.setAsInput(false);
    EXPECT_TRUE(port.connectTo(b.in()));
    b.setDirty(false);
    a.setDirty(true);
    EXPECT_FALSE(b.isDirty());
    EXPECT_EQ(b.in()->input(), &port);
    a.out()->reset();
    EXPECT_TRUE(port.disconnectFrom(b.in()));
}

TEST(Port, MarksNothingDirtyAndCopiesNoValueWhenConnected) {
    Pipe a;
    Pipe b;
    a.out()->set(7.0);
    b.in()->set(3.0);
    a.setDirty(false);
    b.setDirty(false);
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    EXPECT_FALSE(a.isDirty());
    EXPECT_FALSE(b.isDirty());
    ASSERT_TRUE(a.out()->disconnectFrom(b.in()));
    EXPECT_FALSE(a.isDirty());
    EXPECT_FALSE(b.isDirty());
    EXPECT_EQ(b.in()->get(), 3.0);
}

TEST(Port, RefusesTwoInputsBeforeItLooksAtTheirTypes) {
    Pipe number;
    TextPipe text;
    EXPECT_FALSE(number.in()->connectTo(text.in()));
    EXPECT_EQ(takeLog(), Messages{directionMessage});
    EXPECT_EQ(number.in()->numConnections(), 0U);
    EXPECT_EQ(text.in()->numConnections(), 0U);
}

TEST(Port, RefusesTwoInputsBeforeItLooksAtTheirNodes) {
    Sum node;
    EXPECT_FALSE(node.in(0)->connectTo(node.in(1)));
    EXPECT_FALSE(node.in(0)->connectTo(node.in(0)));
    EXPECT_EQ(takeLog(), (Messages{directionMessage, directionMessage}));
}

TEST(Port, RefusesItsOwnNodeBeforeItLooksAtTypes) {
    Pipe node;
    auto* text = new PortTemplate<std::string>("text");
    node.addOutputPort(text);
    EXPECT_FALSE(text->connectTo(node.in()));
    EXPECT_FALSE(node.in()->connectTo(text));
    EXPECT_FALSE(node.out()->connectTo(node.in()));
    EXPECT_FALSE(node.out()->connectTo(text));
    EXPECT_FALSE(node.out()->connectTo(node.out()));
    EXPECT_EQ(takeLog(), Messages(5, sameNodeMessage));
    EXPECT_EQ(node.in()->numConnections(), 0U);
    EXPECT_EQ(text->numConnections(), 0U);
}

TEST(Port, TakesTwoPortsWithoutNodesForPortsOfOneNode) {
    LoosePort in("in");
    LoosePort out("out");
    out.setAsInput(false);
    EXPECT_FALSE(out.connectTo(&in));
    EXPECT_FALSE(in.connectTo(&out));
    EXPECT_EQ(takeLog(), (Messages{sameNodeMessage, sameNodeMessage}));
}

TEST(Port, RefusesOtherTypesAndNamesItsOwnFirst) {
    Pipe number;
    Pipe other;
    auto* whole = new PortTemplate<Long>("whole");
    other.addInputPort(whole);
    EXPECT_FALSE(number.out()->connectTo(whole));
    EXPECT_EQ(takeLog(), Messages{"Impossible connect a  DoublePort  attribute to a  LongPort  port "});
    EXPECT_FALSE(whole->connectTo(number.out()));
    EXPECT_EQ(takeLog(), Messages{typeMessage("LongPort", "DoublePort")});
    EXPECT_EQ(number.out()->numConnections(), 0U);
    EXPECT_EQ(whole->numConnections(), 0U);
}

TEST(Port, AsksForTypesBeforeItLooksForALink) {
    Pipe number;
    Pipe feeding;
    TextPipe text;
    ASSERT_TRUE(feeding.out()->connectTo(number.in()));
    EXPECT_FALSE(text.out()->connectTo(number.in()));
    EXPECT_EQ(takeLog(), Messages{typeMessage("StringPort", "DoublePort")});
}

/// Two host classes, one name.
TEST(Port, RefusesOneOfTheSameTypeNameWhoseValueIsOfAnotherType) {
    class Number : public PortTemplate<double> {
    public:
        using PortTemplate<double>::PortTemplate;
        std::string typeStr() const override { return "Mine"; }
    };
    class Text : public PortTemplate<std::string> {
    public:
        using PortTemplate<std::string>::PortTemplate;
        std::string typeStr() const override { return "Mine"; }
    };
    Pipe a;
    Pipe b;
    auto* number = new Number("number");
    auto* text = new Text("text");
    a.addOutputPort(number);
    b.addInputPort(text);
    EXPECT_FALSE(number->connectTo(text));
    EXPECT_FALSE(text->connectTo(number));
    EXPECT_EQ(takeLog(), (Messages{typeMessage("Mine", "Mine"), typeMessage("Mine", "Mine")}));
    EXPECT_EQ(text->get(), "");
}

TEST(Port, AcceptsOneOfTheSameTypeNameWithoutAValue) {
    class Watcher : public Port {
    public:
        using Port::Port;
        std::string typeStr() const override { return "DoublePort"; }
    };
    Pipe a;
    Pipe b;
    auto* first = new Watcher("first");
    auto* second = new Watcher("second");
    b.addInputPort(first);
    b.addInputPort(second);
    EXPECT_TRUE(a.out()->connectTo(first));
    EXPECT_TRUE(second->connectTo(a.out()));
    EXPECT_EQ(a.out()->getConnections(), (Ports{first, second}));
}

TEST(Port, ComparesTypeStringsExactly) {
    class Shouting : public PortTemplate<double> {
    public:
        using PortTemplate<double>::PortTemplate;
        std::string typeStr() const override { return "DOUBLEPORT"; }
    };
    Pipe number;
    Pipe other;
    auto* shouting = new Shouting("loud");
    other.addInputPort(shouting);
    EXPECT_FALSE(number.out()->connectTo(shouting));
    EXPECT_EQ(takeLog(), Messages{typeMessage("DoublePort", "DOUBLEPORT")});
}

TEST(Port, RefusesTheSameLinkTwiceFromEitherSide) {
    Pipe a;
    Pipe b;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    EXPECT_FALSE(a.out()->connectTo(b.in()));
    EXPECT_FALSE(b.in()->connectTo(a.out()));
    EXPECT_EQ(takeLog(), (Messages{connectedMessage, connectedMessage}));
    EXPECT_EQ(a.out()->getConnections(), Ports{b.in()});
    EXPECT_EQ(b.in()->getConnections(), Ports{a.out()});
}

TEST(Port, RefusesALinkThatOnlyOneSideStillLists) {
    Pipe a;
    Pipe b;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    a.out()->reset();
    EXPECT_FALSE(a.out()->connectTo(b.in()));
    EXPECT_FALSE(b.in()->connectTo(a.out()));
    EXPECT_EQ(takeLog(), (Messages{connectedMessage, connectedMessage}));

    Pipe c;
    Pipe d;
    ASSERT_TRUE(c.out()->connectTo(d.in()));
    d.in()->reset();
    EXPECT_FALSE(c.out()->connectTo(d.in()));
    EXPECT_FALSE(d.in()->connectTo(c.out()));
    EXPECT_EQ(takeLog(), (Messages{connectedMessage, connectedMessage}));
    EXPECT_EQ(d.in()->numConnections(), 0U);
}

TEST(Port, RefusesASecondSourceOnAnInput) {
    Pipe a;
    Pipe b;
    Sum c;
    ASSERT_TRUE(a.out()->connectTo(c.in(1)));
    EXPECT_FALSE(b.out()->connectTo(c.in(1)));
    EXPECT_EQ(takeLog(), Messages{"Attribute already connected to another attribute  out   in2 "});
    EXPECT_FALSE(c.in(1)->connectTo(b.out()));
    EXPECT_EQ(takeLog(), Messages{occupiedMessage("in2", "out")});
    EXPECT_EQ(c.in(1)->getConnections(), Ports{a.out()});
    EXPECT_EQ(b.out()->numConnections(), 0U);
}

TEST(Port, SeesTheOccupiedInputBeforeTheCycle) {
    Pipe a;
    Pipe b;
    Pipe other;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    ASSERT_TRUE(other.out()->connectTo(a.in()));
    EXPECT_FALSE(b.out()->connectTo(a.in()));
    EXPECT_EQ(takeLog(), Messages{occupiedMessage("out", "in1")});
}

TEST(Port, FeedsAnyNumberOfInputsInTheOrderOfTheirLinks) {
    Pipe source;
    std::vector<std::unique_ptr<Pipe>> sinks;
    Ports expected;
    for (int index = 0; index < 50; ++index) {
        sinks.push_back(std::make_unique<Pipe>());
        Port* in = sinks.back()->in();
        EXPECT_TRUE(index % 2 == 0 ? source.out()->connectTo(in) : in->connectTo(source.out()));
        expected.push_back(in);
    }
    EXPECT_EQ(source.out()->getConnections(), expected);
}

TEST(Port, RefusesALinkThatClosesACycle) {
    Pipe a;
    Pipe b;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    EXPECT_FALSE(b.out()->connectTo(a.in()));
    EXPECT_FALSE(a.in()->connectTo(b.out()));
    EXPECT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage}));
    EXPECT_EQ(a.out()->getConnections(), Ports{b.in()});
    EXPECT_EQ(b.in()->getConnections(), Ports{a.out()});
    EXPECT_EQ(a.in()->numConnections(), 0U);
    EXPECT_EQ(b.out()->numConnections(), 0U);
}

TEST(Port, RefusesALinkThatClosesALongCycleHoweverItWasWired) {
    for (const bool backToFront : {false, true}) {
        std::vector<std::unique_ptr<Sum>> nodes;
        for (int index = 0; index < 40; ++index) {
            nodes.push_back(std::make_unique<Sum>());
        }
        for (std::size_t step = 0; step + 1 < nodes.size(); ++step) {
            const std::size_t index = backToFront ? nodes.size() - 2 - step : step;
            ASSERT_TRUE(nodes[index]->out()->connectTo(nodes[index + 1]->in(0)));
        }
        for (std::size_t from = 1; from < nodes.size(); ++from) {
            for (const std::size_t to : {std::size_t{0}, from / 2, from - 1}) {
                EXPECT_FALSE(nodes[from]->out()->connectTo(nodes[to]->in(1)));
                EXPECT_EQ(takeLog(), Messages{cycleMessage});
            }
        }
        EXPECT_TRUE(nodes.front()->out()->connectTo(nodes.back()->in(1)));
    }
}

TEST(Port, AcceptsWhatWasACycleOnceTheLinkIsGone) {
    Pipe a;
    Pipe b;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    ASSERT_TRUE(b.in()->disconnectFrom(a.out()));
    EXPECT_TRUE(b.out()->connectTo(a.in()));
    EXPECT_FALSE(a.out()->connectTo(b.in()));
    EXPECT_EQ(takeLog(), Messages{cycleMessage});
}

TEST(Port, AcceptsADiamond) {
    Pipe a;
    Pipe b;
    Pipe c;
    Sum d;
    EXPECT_TRUE(a.out()->connectTo(b.in()));
    EXPECT_TRUE(a.out()->connectTo(c.in()));
    EXPECT_TRUE(b.out()->connectTo(d.in(0)));
    EXPECT_TRUE(c.out()->connectTo(d.in(1)));
}

TEST(Port, AcceptsSeveralLinksBetweenTwoNodes) {
    Pipe a;
    Sum b;
    EXPECT_TRUE(a.out()->connectTo(b.in(0)));
    EXPECT_TRUE(a.out()->connectTo(b.in(1)));
    EXPECT_EQ(a.out()->getConnections(), (Ports{b.in(0), b.in(1)}));
}

TEST(Port, LinksTwoOutputsOfDifferentNodes) {
    Pipe a;
    Pipe b;
    EXPECT_TRUE(a.out()->connectTo(b.out()));
    EXPECT_EQ(a.out()->getConnections(), Ports{b.out()});
    EXPECT_EQ(b.out()->getConnections(), Ports{a.out()});
    EXPECT_EQ(a.out()->input(), nullptr);
    EXPECT_EQ(b.out()->input(), nullptr);
    EXPECT_FALSE(b.out()->connectTo(a.out()));
    EXPECT_EQ(takeLog(), Messages{connectedMessage});
    EXPECT_TRUE(a.out()->disconnectFrom(b.out()));
}

TEST(Port, TakesTheCalledOutputForTheSourceOfTwoLinkedOutputs) {
    Pipe a;
    Pipe b;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    auto* second = new PortTemplate<double>("second");
    b.addOutputPort(second);
    EXPECT_FALSE(second->connectTo(a.out()));
    EXPECT_EQ(takeLog(), Messages{cycleMessage});
    EXPECT_TRUE(a.out()->connectTo(second));
}

TEST(Port, LinksAPortWithoutANode) {
    Pipe a;
    LoosePort sink("sink");
    EXPECT_TRUE(a.out()->connectTo(&sink));
    a.out()->set(4.0);
    EXPECT_EQ(sink.get(), 4.0);

    LoosePort source("source");
    source.setAsInput(false);
    source.set(9.0);
    EXPECT_TRUE(source.connectTo(a.in()));
    EXPECT_EQ(a.in()->get(), 9.0);
    EXPECT_FALSE(sink.connectTo(&source));
    EXPECT_EQ(takeLog(), Messages{sameNodeMessage});
}

TEST(Port, RefusesNull) {
    Pipe a;
    Pipe b;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    EXPECT_FALSE(a.out()->connectTo(nullptr));
    EXPECT_FALSE(a.in()->connectTo(nullptr));
    EXPECT_FALSE(a.out()->disconnectFrom(nullptr));
    EXPECT_FALSE(a.in()->disconnectFrom(nullptr));
    EXPECT_EQ(takeLog(), Messages(4, nullMessage));
    EXPECT_EQ(a.out()->getConnections(), Ports{b.in()});
}

TEST(Port, AsksEachPortForItsTypeStringEvenWhenBothAreOfOneClass) {
    class Tagged : public PortTemplate<double> {
    public:
        Tagged(const std::string& name, const std::string& tag) : PortTemplate<double>(name), tag_(tag) {}
        std::string typeStr() const override { return tag_; }

    private:
        std::string tag_;
    };
    Pipe a;
    Pipe b;
    auto* metres = new Tagged("length", "Metres");
    auto* feet = new Tagged("length", "Feet");
    auto* moreFeet = new Tagged("more", "Feet");
    a.addOutputPort(feet);
    b.addInputPort(metres);
    b.addInputPort(moreFeet);
    EXPECT_FALSE(feet->connectTo(metres));
    EXPECT_EQ(takeLog(), Messages{typeMessage("Feet", "Metres")});
    EXPECT_TRUE(feet->connectTo(moreFeet));
}

TEST(Port, RefusesALinkThatAnyOfSeveralOutputsStillLists) {
    Pipe first;
    Pipe second;
    Pipe fed;
    for (Pipe* source : {&first, &second}) {
        ASSERT_TRUE(source->out()->connectTo(fed.in()));
        fed.in()->reset();
    }
    for (Pipe* source : {&first, &second}) {
        EXPECT_FALSE(source->out()->connectTo(fed.in()));
        EXPECT_FALSE(fed.in()->connectTo(source->out()));
        EXPECT_EQ(takeLog(), (Messages{connectedMessage, connectedMessage}));
    }
}

TEST(Port, RefusesALinkThatAListNamedTwiceAndStillHolds) {
    Pipe a;
    Pipe b;
    Pipe c;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    a.out()->getConnections().push_back(b.in());
    ASSERT_TRUE(b.out()->connectTo(c.in()));
    ASSERT_TRUE(a.out()->disconnectFrom(b.in()));
    EXPECT_FALSE(a.out()->connectTo(b.in()));
    EXPECT_FALSE(b.in()->connectTo(a.out()));
    EXPECT_EQ(takeLog(), (Messages{connectedMessage, connectedMessage}));
}

TEST(Port, IsNotLinkedAgainToAnOutputThatListsItFromBeforeAReset) {
    Pipe a, b, c;
    b.out()->reset();
    ASSERT_TRUE(a.out()->connectTo(c.in()));
    c.in()->reset();
    ASSERT_TRUE(b.out()->connectTo(c.in()));
    ASSERT_TRUE(b.out()->disconnectFrom(c.in()));
    EXPECT_FALSE(a.out()->connectTo(c.in()));
    EXPECT_EQ(takeLog(), Messages{connectedMessage});
    EXPECT_EQ(a.out()->getConnections(), Ports{c.in()});
}

TEST(Port, IsNotLinkedAgainToAnOutputThatListsItFromBeforeItWasLinkedByHand) {
    Pipe a, b, c, d;
    ASSERT_TRUE(a.out()->connectTo(c.in()));
    c.in()->reset();
    b.out()->getConnections().push_back(c.in());
    c.in()->getConnections().push_back(b.out());
    ASSERT_TRUE(b.out()->connectTo(d.in()));
    ASSERT_TRUE(b.out()->disconnectFrom(c.in()));
    EXPECT_FALSE(a.out()->connectTo(c.in()));
    EXPECT_EQ(takeLog(), Messages{connectedMessage});
    EXPECT_EQ(a.out()->getConnections(), Ports{c.in()});
}

}  // namespace
}  // namespace TessilGraph
