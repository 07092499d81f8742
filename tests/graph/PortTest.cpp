#include <TessilGraph/graph/Port.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <numeric>
#include <random>
#include <set>
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
using tests::TextPipe;

const std::string cycleMessage = "Cycle detected! the connection is not allowed! ";
const std::string connectedMessage = "Node are already connected ";
const std::string directionMessage = "Only input to output port connection are allowed! ";
const std::string missingMessage = "Connection doesn't exist ";
const std::string nullMessage = "Error null pointer ";
const std::string sameNodeMessage = "Connect port on the same node is not allowed! ";

std::string occupiedMessage(const std::string& mine, const std::string& others) {
    return "Attribute already connected to another attribute  " + mine + "   " + others + " ";
}

std::string typeMessage(const std::string& mine, const std::string& others) {
    return "Impossible connect a  " + mine + "  attribute to a  " + others + "  port ";
}

/// A port whose direction a test may choose.
class LoosePort : public PortTemplate<double> {
public:
    using PortTemplate<double>::PortTemplate;
    using Port::setAsInput;
};

using Ports = std::vector<Port*>;

TEST(Port, StartsAsAnUnconnectedInputWithoutANode) {
    Port port("weight");
    EXPECT_EQ(port.name(), "weight");
    EXPECT_EQ(port.node(), nullptr);
    EXPECT_TRUE(port.isInput());
    EXPECT_FALSE(port.isOutput());
    EXPECT_EQ(port.input(), nullptr);
    EXPECT_EQ(port.numConnections(), 0U);
    EXPECT_TRUE(port.getConnections().empty());
}

TEST(Port, HasTheTypesThatHostsBuildOn) {
    static_assert(std::is_polymorphic_v<Port>);
    static_assert(std::has_virtual_destructor_v<Port>);
    static_assert(std::is_same_v<decltype(std::declval<Port&>().name()), std::string>);
    static_assert(std::is_same_v<decltype(std::declval<Port&>().getConnections()), Ports&>);
    static_assert(std::is_same_v<decltype(std::declval<const Port&>().getConnections()), const Ports&>);
    static_assert(std::is_same_v<decltype(std::declval<Port&>().begin()), Ports::iterator>);
    static_assert(std::is_same_v<decltype(std::declval<Port&>().end()), Ports::iterator>);
    static_assert(std::is_same_v<decltype(std::declval<const Port&>().cbegin()), Ports::const_iterator>);
    static_assert(std::is_same_v<decltype(std::declval<const Port&>().cend()), Ports::const_iterator>);
    static_assert(std::is_same_v<decltype(std::declval<const Port&>().numConnections()), std::uint64_t>);
    EXPECT_EQ(Port("any").typeStr(), "Port");
}

TEST(Port, TurnsIntoAnOutputAndBack) {
    LoosePort port("p");
    port.setAsInput(false);
    EXPECT_FALSE(port.isInput());
    EXPECT_TRUE(port.isOutput());
    port.setAsInput(true);
    EXPECT_TRUE(port.isInput());
    EXPECT_FALSE(port.isOutput());
}

TEST(Port, TakesAnyOwnerWithoutChecks) {
    Pipe node;
    Port port("p");
    port.setNode(&node);
    EXPECT_EQ(port.node(), &node);
    EXPECT_EQ(node.numInputPorts(), 1U);
    port.setNode(nullptr);
    EXPECT_EQ(port.node(), nullptr);
}

TEST(Port, CopiesNoValueOfItsOwn) {
    Pipe a;
    Pipe b;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    Port port("p");
    port.copyValue(b.in());
    EXPECT_EQ(port.name(), "p");
    EXPECT_EQ(port.node(), nullptr);
    EXPECT_EQ(port.numConnections(), 0U);
}

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

TEST(Port, ShowsItsConnectionsThroughItsIterators) {
    Pipe a;
    Pipe b;
    Pipe c;
    ASSERT_TRUE(a.out()->connectTo(c.in()));
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    EXPECT_EQ(Ports(a.out()->begin(), a.out()->end()), (Ports{c.in(), b.in()}));
    EXPECT_EQ(Ports(a.out()->cbegin(), a.out()->cend()), (Ports{c.in(), b.in()}));
    const Port& constPort = *a.out();
    EXPECT_EQ(constPort.getConnections(), (Ports{c.in(), b.in()}));
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

TEST(Port, DisconnectsFromEitherSideAndKeepsTheOrderOfTheRest) {
    for (const bool fromOutput : {true, false}) {
        Pipe source;
        Pipe a;
        Pipe b;
        Pipe c;
        for (Pipe* sink : {&a, &b, &c}) {
            ASSERT_TRUE(source.out()->connectTo(sink->in()));
        }
        EXPECT_TRUE(fromOutput ? source.out()->disconnectFrom(b.in()) : b.in()->disconnectFrom(source.out()));
        EXPECT_EQ(source.out()->getConnections(), (Ports{a.in(), c.in()}));
        EXPECT_EQ(b.in()->numConnections(), 0U);
        EXPECT_EQ(b.in()->input(), nullptr);
        EXPECT_EQ(a.in()->getConnections(), Ports{source.out()});
        EXPECT_TRUE(source.out()->connectTo(b.in()));
        EXPECT_EQ(source.out()->getConnections(), (Ports{a.in(), c.in(), b.in()}));
    }
}

TEST(Port, SaysThatAConnectionDoesNotExist) {
    Pipe a;
    Pipe b;
    Pipe c;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    EXPECT_FALSE(a.out()->disconnectFrom(c.in()));
    EXPECT_FALSE(c.in()->disconnectFrom(a.out()));
    EXPECT_FALSE(a.in()->disconnectFrom(a.in()));
    EXPECT_TRUE(a.out()->disconnectFrom(b.in()));
    EXPECT_FALSE(a.out()->disconnectFrom(b.in()));
    EXPECT_FALSE(b.in()->disconnectFrom(a.out()));
    EXPECT_EQ(takeLog(), Messages(5, missingMessage));
}

TEST(Port, LetsItsOwnListAloneDecideWhetherALinkExists) {
    Pipe a;
    Pipe b;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    a.out()->reset();
    EXPECT_FALSE(a.out()->disconnectFrom(b.in()));
    EXPECT_EQ(takeLog(), Messages{missingMessage});
    EXPECT_EQ(b.in()->getConnections(), Ports{a.out()});
    EXPECT_TRUE(b.in()->disconnectFrom(a.out()));
    EXPECT_EQ(b.in()->numConnections(), 0U);
}

TEST(Port, RemovesTheFirstEntryOnlyWhenAListNamesAPortTwice) {
    Pipe a;
    Pipe b;
    Pipe c;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    ASSERT_TRUE(a.out()->connectTo(c.in()));
    a.out()->getConnections().push_back(b.in());
    EXPECT_TRUE(a.out()->disconnectFrom(b.in()));
    EXPECT_EQ(a.out()->getConnections(), (Ports{c.in(), b.in()}));
    EXPECT_EQ(b.in()->numConnections(), 0U);
}

TEST(Port, EmptiesOnlyItsOwnListOnReset) {
    Pipe a;
    Pipe b;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    b.in()->reset();
    EXPECT_EQ(b.in()->numConnections(), 0U);
    EXPECT_EQ(a.out()->getConnections(), Ports{b.in()});

    Port base("base");
    base.getConnections().push_back(a.out());
    base.Port::reset();
    EXPECT_EQ(base.numConnections(), 0U);
}

TEST(Port, ReadsThroughAListThatWasEditedByHand) {
    Pipe a;
    Pipe b;
    Pipe c;
    a.out()->set(1.0);
    b.out()->set(2.0);
    c.in()->set(3.0);
    EXPECT_EQ(c.in()->get(), 3.0);
    c.in()->getConnections().push_back(a.out());
    EXPECT_EQ(c.in()->get(), 1.0);
    EXPECT_EQ(c.in()->input(), a.out());
    std::vector<Port*>& kept = c.in()->getConnections();
    kept.insert(kept.begin(), b.out());
    EXPECT_EQ(c.in()->get(), 2.0);
    EXPECT_EQ(c.in()->input(), b.out());
    kept.clear();
    EXPECT_EQ(c.in()->get(), 3.0);
}

TEST(Port, SeesEntriesThatWereReplacedThroughItsIterators) {
    Pipe a;
    Pipe b;
    Pipe c;
    a.out()->set(1.0);
    b.out()->set(2.0);
    ASSERT_TRUE(a.out()->connectTo(c.in()));
    EXPECT_EQ(c.in()->get(), 1.0);
    *c.in()->begin() = b.out();
    EXPECT_EQ(c.in()->get(), 2.0);
    EXPECT_EQ(c.in()->input(), b.out());
    EXPECT_EQ(c.in()->getConnections(), Ports{b.out()});
}

TEST(Port, LooksForCyclesAlongTheListsOfOutputsOnly) {
    Pipe a;
    Pipe b;
    // Only the output's side says that a feeds b.
    a.out()->getConnections().push_back(b.in());
    EXPECT_FALSE(b.out()->connectTo(a.in()));
    EXPECT_EQ(takeLog(), Messages{cycleMessage});

    Pipe c;
    Pipe d;
    // Only the input's side says that c feeds d.
    d.in()->getConnections().push_back(c.out());
    EXPECT_TRUE(d.out()->connectTo(c.in()));
    d.in()->getConnections().clear();
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

TEST(Port, LooksForCyclesThroughPortsThatMovedWithTheirLinks) {
    Pipe first;
    Pipe x;
    Pipe last;
    auto* out = new PortTemplate<double>("moving");
    first.addOutputPort(out);
    ASSERT_TRUE(out->connectTo(x.in()));
    first.removeOutputPort("moving");
    last.addOutputPort(out);
    EXPECT_FALSE(x.out()->connectTo(last.in()));
    EXPECT_EQ(takeLog(), Messages{cycleMessage});

    Pipe early;
    Pipe source;
    Pipe late;
    auto* in = new PortTemplate<double>("moving");
    late.addInputPort(in);
    ASSERT_TRUE(source.out()->connectTo(in));
    late.removeInputPort("moving");
    early.addInputPort(in);
    EXPECT_FALSE(early.out()->connectTo(source.in()));
    EXPECT_EQ(takeLog(), Messages{cycleMessage});
}

/// Whether the lists of outputs lead from one node to another.
bool leads(const Node& from, const Node& to) {
    std::set<const Node*> seen = {&from};
    std::vector<const Node*> open = {&from};
    while (!open.empty()) {
        const Node& node = *open.back();
        open.pop_back();
        for (auto output = node.outputPortCBegin(); output != node.outputPortCEnd(); ++output) {
            for (const Port* peer : std::as_const(**output).getConnections()) {
                if (peer->node() != nullptr && seen.insert(peer->node()).second) {
                    open.push_back(peer->node());
                }
            }
        }
    }
    return seen.count(&to) != 0;
}

/// Nodes made in every order, since age must not count.
template <class Test>
void forEachOrderOfMaking(std::size_t count, Test test) {
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t{0});
    do {
        std::vector<std::unique_ptr<Sum>> nodes(count);
        for (const std::size_t index : order) {
            nodes[index] = std::make_unique<Sum>();
        }
        test(nodes);
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(Port, LooksForCyclesThroughInputsThatTheirNodeDoesNotHold) {
    for (const char* way :
         {"removed, then linked", "linked, then removed", "named, then linked", "linked, then named"}) {
        SCOPED_TRACE(way);
        forEachOrderOfMaking(4, [way = std::string(way)](const std::vector<std::unique_ptr<Sum>>& nodes) {
            Sum& d = *nodes[0];
            Sum& e = *nodes[1];
            Sum& x = *nodes[2];
            Sum& y = *nodes[3];
            ASSERT_TRUE(d.out()->connectTo(e.in(0)));
            auto outside = std::make_unique<PortTemplate<double>>("outside");
            if (way == "removed, then linked") {
                y.addInputPort(outside.get());
                y.removeInputPort("outside");
                ASSERT_TRUE(x.out()->connectTo(outside.get()));
            } else if (way == "linked, then removed") {
                y.addInputPort(outside.get());
                ASSERT_TRUE(x.out()->connectTo(outside.get()));
                y.removeInputPort("outside");
            } else if (way == "named, then linked") {
                outside->setNode(&y);
                ASSERT_TRUE(x.out()->connectTo(outside.get()));
            } else {
                ASSERT_TRUE(x.out()->connectTo(outside.get()));
                outside->setNode(&y);
            }
            EXPECT_EQ(outside->node(), &y);
            EXPECT_TRUE(y.out()->connectTo(d.in(0)));
            EXPECT_FALSE(y.out()->connectTo(x.in(0)));
            EXPECT_FALSE(x.in(1)->connectTo(y.out()));
            EXPECT_FALSE(e.out()->connectTo(x.in(0)));
            EXPECT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage, cycleMessage}));
            EXPECT_TRUE(x.out()->disconnectFrom(outside.get()));
            EXPECT_TRUE(y.out()->connectTo(x.in(0)));
        });
    }
}

TEST(Port, LooksForNoCyclesThroughOutputsThatTheirNodeDoesNotHold) {
    for (const char* way :
         {"removed, then linked", "linked, then removed", "named, then linked", "linked, then named"}) {
        SCOPED_TRACE(way);
        forEachOrderOfMaking(4, [way = std::string(way)](const std::vector<std::unique_ptr<Sum>>& nodes) {
            Sum& d = *nodes[0];
            Sum& e = *nodes[1];
            Sum& x = *nodes[2];
            Sum& y = *nodes[3];
            ASSERT_TRUE(d.out()->connectTo(e.in(0)));
            auto outside = std::make_unique<LoosePort>("outside");
            outside->setAsInput(false);
            if (way == "removed, then linked") {
                x.addOutputPort(outside.get());
                x.removeOutputPort("outside");
                ASSERT_TRUE(outside->connectTo(y.in(0)));
            } else if (way == "linked, then removed") {
                x.addOutputPort(outside.get());
                ASSERT_TRUE(outside->connectTo(y.in(0)));
                x.removeOutputPort("outside");
            } else if (way == "named, then linked") {
                outside->setNode(&x);
                ASSERT_TRUE(outside->connectTo(y.in(0)));
            } else {
                ASSERT_TRUE(outside->connectTo(y.in(0)));
                outside->setNode(&x);
            }
            EXPECT_EQ(outside->node(), &x);
            EXPECT_TRUE(y.out()->connectTo(d.in(0)));
            EXPECT_TRUE(e.out()->connectTo(x.in(0)));
            EXPECT_TRUE(x.in(1)->connectTo(y.out()));
            // What the nodes hold themselves still counts.
            EXPECT_FALSE(x.out()->connectTo(d.in(1)));
            EXPECT_EQ(takeLog(), Messages{cycleMessage});
        });
    }
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

TEST(Port, LooksForCyclesThroughOutputsThatTheirNodeTookBack) {
    forEachOrderOfMaking(4, [](const std::vector<std::unique_ptr<Sum>>& nodes) {
        Sum& d = *nodes[0];
        Sum& e = *nodes[1];
        Sum& x = *nodes[2];
        Sum& y = *nodes[3];
        ASSERT_TRUE(d.out()->connectTo(e.in(0)));
        auto* back = new PortTemplate<double>("back");
        x.addOutputPort(back);
        x.removeOutputPort("back");
        x.addOutputPort(back);
        ASSERT_TRUE(back->connectTo(y.in(0)));
        EXPECT_TRUE(y.out()->connectTo(d.in(0)));
        EXPECT_FALSE(y.out()->connectTo(x.in(0)));
        EXPECT_FALSE(e.out()->connectTo(x.in(0)));
        EXPECT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage}));
    });
}

TEST(Port, LooksForCyclesThroughOutputsOfTheNodeThatHoldsThem) {
    for (const bool linkedFirst : {true, false}) {
        SCOPED_TRACE(linkedFirst);
        forEachOrderOfMaking(4, [linkedFirst](const std::vector<std::unique_ptr<Sum>>& nodes) {
            Sum& holding = *nodes[0];
            Sum& named = *nodes[1];
            Sum& fed = *nodes[2];
            Sum& below = *nodes[3];
            if (linkedFirst) {
                ASSERT_TRUE(holding.out()->connectTo(fed.in(0)));
            }
            holding.out()->setNode(&named);
            if (!linkedFirst) {
                ASSERT_TRUE(holding.out()->connectTo(fed.in(0)));
            }
            EXPECT_TRUE(fed.out()->connectTo(below.in(0)));
            EXPECT_FALSE(fed.out()->connectTo(holding.in(0)));
            EXPECT_FALSE(below.out()->connectTo(holding.in(0)));
            EXPECT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage}));
            EXPECT_TRUE(below.out()->connectTo(named.in(0)));
        });
    }
}

TEST(Port, LooksForNoCyclesThroughOutputsThatOnlyNameTheirNode) {
    // Much lies downstream of the named node, so that a search comes upon it from the other side first.
    Sum named;
    Sum fed;
    std::vector<std::unique_ptr<Sum>> consumers(50);
    for (std::unique_ptr<Sum>& consumer : consumers) {
        consumer = std::make_unique<Sum>();
        ASSERT_TRUE(named.out()->connectTo(consumer->in(0)));
    }
    LoosePort outside("outside");
    outside.setAsInput(false);
    outside.setNode(&named);
    ASSERT_TRUE(outside.connectTo(fed.in(0)));
    EXPECT_TRUE(fed.out()->connectTo(named.in(0)));
    outside.disconnectFrom(fed.in(0));
}

TEST(Port, LooksForCyclesThroughInputsElsewhereHoweverManyNodesAreSqueezedIn) {
    std::vector<std::unique_ptr<Sum>> squeezed(60);
    for (std::unique_ptr<Sum>& node : squeezed) {
        node = std::make_unique<Sum>();
    }
    Sum source;
    Sum middle;
    Sum last;
    PortTemplate<double> elsewhere("elsewhere");
    middle.addInputPort(&elsewhere);
    middle.removeInputPort("elsewhere");
    ASSERT_TRUE(source.out()->connectTo(&elsewhere));
    ASSERT_TRUE(middle.out()->connectTo(last.in(0)));
    Port* next = last.in(1);
    for (const std::unique_ptr<Sum>& node : squeezed) {
        ASSERT_TRUE(node->out()->connectTo(next));
        ASSERT_TRUE(middle.out()->connectTo(node->in(0)));
        ASSERT_FALSE(middle.out()->connectTo(source.in(0)));
        ASSERT_FALSE(node->out()->connectTo(source.in(0)));
        ASSERT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage}));
        next = node->in(1);
    }
    source.out()->disconnectFrom(&elsewhere);
}

/// Makes much stand downstream of a node, so that searches come to their end on the other side first.
std::vector<std::unique_ptr<Sum>> feedMany(Sum& node) {
    std::vector<std::unique_ptr<Sum>> consumers(50);
    for (std::unique_ptr<Sum>& consumer : consumers) {
        consumer = std::make_unique<Sum>();
        EXPECT_TRUE(node.out()->connectTo(consumer->in(0)));
    }
    return consumers;
}

TEST(Port, LooksForCyclesThroughTwoLinkedOutputsWhicheverIsOlder) {
    forEachOrderOfMaking(3, [](const std::vector<std::unique_ptr<Sum>>& nodes) {
        Sum& first = *nodes[0];
        Sum& second = *nodes[1];
        Sum& below = *nodes[2];
        const std::vector<std::unique_ptr<Sum>> consumers = feedMany(below);
        ASSERT_TRUE(first.out()->connectTo(second.out()));
        EXPECT_TRUE(second.out()->connectTo(below.in(0)));
        EXPECT_FALSE(below.out()->connectTo(first.in(0)));
        EXPECT_FALSE(below.out()->connectTo(second.in(0)));
        EXPECT_FALSE(first.in(0)->connectTo(second.out()));
        EXPECT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage, cycleMessage}));
    });
}

TEST(Port, LooksForCyclesThroughAnInputThatWasResetAndMovedAnywhere) {
    for (const bool many : {false, true}) {
        SCOPED_TRACE(many);
        forEachOrderOfMaking(4, [many](const std::vector<std::unique_ptr<Sum>>& nodes) {
            Sum& source = *nodes[0];
            Sum& fed = *nodes[1];
            Sum& below = *nodes[2];
            Sum& other = *nodes[3];
            const std::vector<std::unique_ptr<Sum>> consumers = feedMany(below);
            auto* in = new PortTemplate<double>("moving");
            other.addInputPort(in);
            ASSERT_TRUE(source.out()->connectTo(in));
            in->reset();
            if (many) {
                Sum another;
                ASSERT_TRUE(another.out()->connectTo(in));
                in->reset();
                another.out()->reset();
            }
            other.removeInputPort("moving");
            fed.addInputPort(in);
            EXPECT_TRUE(fed.out()->connectTo(below.in(0)));
            EXPECT_FALSE(fed.out()->connectTo(source.in(0)));
            EXPECT_FALSE(below.out()->connectTo(source.in(0)));
            EXPECT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage}));
        });
    }
}

TEST(Port, LooksForCyclesThroughAnInputThatWasReset) {
    for (const bool twice : {false, true}) {
        SCOPED_TRACE(twice);
        forEachOrderOfMaking(4, [twice](const std::vector<std::unique_ptr<Sum>>& nodes) {
            Sum& source = *nodes[0];
            Sum& fed = *nodes[1];
            Sum& below = *nodes[2];
            Sum& other = *nodes[3];
            const std::vector<std::unique_ptr<Sum>> consumers = feedMany(below);
            ASSERT_TRUE(source.out()->connectTo(fed.in(0)));
            fed.in(0)->reset();
            if (twice) {
                ASSERT_TRUE(other.out()->connectTo(fed.in(0)));
            }
            EXPECT_TRUE(fed.out()->connectTo(below.in(0)));
            EXPECT_FALSE(fed.out()->connectTo(source.in(0)));
            EXPECT_FALSE(below.out()->connectTo(source.in(0)));
            EXPECT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage}));
        });
    }
}

TEST(Port, LooksForCyclesThroughTheNearestNeighboursOfManyNodesThatMoved) {
    // A row that is made before `top` and then fed by it.
    std::vector<std::unique_ptr<Sum>> below(40);
    for (std::unique_ptr<Sum>& node : below) {
        node = std::make_unique<Sum>();
    }
    Sum top;
    Sum near;
    Sum far;
    PortTemplate<double> elsewhere("elsewhere");
    top.addInputPort(&elsewhere);
    top.removeInputPort("elsewhere");
    for (std::size_t index = 1; index < below.size(); ++index) {
        ASSERT_TRUE(below[index - 1]->out()->connectTo(below[index]->in(0)));
    }
    ASSERT_TRUE(below.back()->out()->connectTo(near.in(0)));
    ASSERT_TRUE(below.back()->out()->connectTo(far.in(0)));
    ASSERT_TRUE(top.out()->connectTo(below.front()->in(0)));
    EXPECT_FALSE(near.out()->connectTo(below.back()->in(1)));
    EXPECT_EQ(takeLog(), Messages{cycleMessage});

    // A row that is made after `bottom` and then feeds it.
    Sum distant;
    Sum close;
    Sum bottom;
    const std::vector<std::unique_ptr<Sum>> consumers = feedMany(bottom);
    std::vector<std::unique_ptr<Sum>> above(20);
    for (std::unique_ptr<Sum>& node : above) {
        node = std::make_unique<Sum>();
    }
    ASSERT_TRUE(close.out()->connectTo(above.front()->in(0)));
    ASSERT_TRUE(distant.out()->connectTo(above.front()->in(1)));
    for (std::size_t index = 1; index < above.size(); ++index) {
        ASSERT_TRUE(above[index - 1]->out()->connectTo(above[index]->in(0)));
    }
    ASSERT_TRUE(above.back()->out()->connectTo(bottom.in(0)));
    EXPECT_FALSE(above.front()->out()->connectTo(close.in(0)));
    EXPECT_EQ(takeLog(), Messages{cycleMessage});
}

TEST(Port, LooksForCyclesToTheEndThoughMuchLiesBesideThem) {
    for (const bool throughInputElsewhere : {false, true}) {
        SCOPED_TRACE(throughInputElsewhere);
        Sum first;
        const std::vector<std::unique_ptr<Sum>> consumers = feedMany(first);
        Sum middle;
        Sum last;
        ASSERT_TRUE(first.out()->connectTo(middle.in(0)));
        PortTemplate<double> elsewhere("elsewhere");
        if (throughInputElsewhere) {
            last.addInputPort(&elsewhere);
            last.removeInputPort("elsewhere");
            ASSERT_TRUE(middle.out()->connectTo(&elsewhere));
        } else {
            ASSERT_TRUE(middle.out()->connectTo(last.in(0)));
        }
        EXPECT_FALSE(last.out()->connectTo(first.in(0)));
        EXPECT_FALSE(first.in(1)->connectTo(last.out()));
        EXPECT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage}));
        if (throughInputElsewhere) {
            EXPECT_TRUE(middle.out()->disconnectFrom(&elsewhere));
        }
    }
}

TEST(Port, LooksForCyclesThroughTheSourcesOfAnInputThatListIt) {
    for (const bool listingFirst : {true, false}) {
        for (const bool linkedFirst : {true, false}) {
            SCOPED_TRACE(testing::Message() << listingFirst << linkedFirst);
            forEachOrderOfMaking(4, [=](const std::vector<std::unique_ptr<Sum>>& nodes) {
                Sum& listing = *nodes[0];
                Sum& silent = *nodes[1];
                Sum& fed = *nodes[2];
                Sum& below = *nodes[3];
                if (linkedFirst) {
                    ASSERT_TRUE(listing.out()->connectTo(fed.in(0)));
                } else {
                    listing.out()->getConnections().push_back(fed.in(0));
                    fed.in(0)->getConnections().push_back(listing.out());
                }
                Ports& sources = fed.in(0)->getConnections();
                sources.insert(listingFirst ? sources.end() : sources.begin(), silent.out());
                EXPECT_TRUE(fed.out()->connectTo(below.in(0)));
                EXPECT_FALSE(below.out()->connectTo(listing.in(0)));
                EXPECT_FALSE(listing.in(1)->connectTo(fed.out()));
                EXPECT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage}));
                EXPECT_TRUE(below.out()->connectTo(silent.in(0)));
                EXPECT_TRUE(silent.in(1)->connectTo(fed.out()));
                EXPECT_FALSE(silent.out()->connectTo(listing.in(0)));
                EXPECT_EQ(takeLog(), Messages{cycleMessage});
            });
        }
    }
}

TEST(Port, JudgesLinksBesideInputsWithTwoSourcesAsAWalkAlongOutputs) {
    int refused = 0;
    for (unsigned int seed = 1; seed <= 400; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        std::vector<std::unique_ptr<Sum3>> nodes;
        for (int index = 0; index < 7; ++index) {
            nodes.push_back(std::make_unique<Sum3>());
        }
        // The first input of a node is linked by hand, the others by `connectTo`.
        const auto linkSome = [&](int links) {
            for (int link = 0; link < links; ++link) {
                Sum3& from = *nodes[random() % nodes.size()];
                Sum3& to = *nodes[random() % nodes.size()];
                Port* in = to.in(1 + random() % 2);
                const Ports& fed = std::as_const(*from.out()).getConnections();
                if (&from == &to || std::find(fed.begin(), fed.end(), in) != fed.end()) {
                    continue;
                }
                if (Port* source = in->input()) {
                    ASSERT_TRUE(source->disconnectFrom(in));
                }
                const bool isCycle = leads(to, from);
                refused += isCycle ? 1 : 0;
                ASSERT_EQ(random() % 2 == 0 ? from.out()->connectTo(in) : in->connectTo(from.out()), !isCycle);
                ASSERT_EQ(takeLog(), isCycle ? Messages{cycleMessage} : Messages{});
            }
        };
        linkSome(static_cast<int>(random() % 8));
        for (int edited = 0; edited < 2; ++edited) {
            std::shuffle(nodes.begin(), nodes.end(), random);
            Port* in = nodes[0]->in(0);
            Port* listing = nodes[1]->out();
            Port* silent = nodes[2]->out();
            if (in->numConnections() == 0 && random() % 2 == 0 && !leads(*nodes[0], *nodes[1])) {
                ASSERT_TRUE(listing->connectTo(in));
            } else {
                in->getConnections().push_back(listing);
                listing->getConnections().push_back(in);
            }
            Ports& sources = in->getConnections();
            sources.insert(random() % 2 == 0 ? sources.begin() : sources.end(), silent);
            linkSome(12);
        }
        if (testing::Test::HasFailure()) {
            break;
        }
    }
    EXPECT_GT(refused, 100);
}

TEST(Port, LooksForCyclesThroughALinkedOutputThatANodeTookAsAnInput) {
    forEachOrderOfMaking(4, [](const std::vector<std::unique_ptr<Sum>>& nodes) {
        Sum& source = *nodes[0];
        Sum& fed = *nodes[1];
        Sum& below = *nodes[2];
        Sum& other = *nodes[3];
        std::vector<std::unique_ptr<Sum>> consumers(50);
        for (std::unique_ptr<Sum>& consumer : consumers) {
            consumer = std::make_unique<Sum>();
            ASSERT_TRUE(below.out()->connectTo(consumer->in(0)));
        }
        auto* moving = new PortTemplate<double>("moving");
        other.addInputPort(moving);
        ASSERT_TRUE(source.out()->connectTo(moving));
        other.removeInputPort("moving");
        other.addOutputPort(moving);
        other.removeOutputPort("moving");
        fed.addInputPort(moving);
        EXPECT_TRUE(fed.out()->connectTo(below.in(0)));
        EXPECT_FALSE(fed.out()->connectTo(source.in(0)));
        EXPECT_FALSE(below.out()->connectTo(source.in(0)));
        EXPECT_EQ(takeLog(), (Messages{cycleMessage, cycleMessage}));
    });
}

TEST(Port, KeepsNamesOfAnyLengthAndAnyBytes) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes.push_back(static_cast<char>(byte));
    }
    EXPECT_EQ(Port(bytes).name(), bytes);
    EXPECT_EQ(Port("").name(), "");
    const std::string longName(1U << 20U, 'x');
    EXPECT_EQ(Port(longName).name(), longName);
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
