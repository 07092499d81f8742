#include <TessilGraph/graph/Port.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/graph/PortMessages.h>
#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <vector>

namespace TessilGraph {
namespace {

using tests::Messages;
using tests::missingMessage;
using tests::Pipe;
using tests::takeLog;

using Ports = std::vector<Port*>;

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

}  // namespace
}  // namespace TessilGraph
