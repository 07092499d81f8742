#include <TessilGraph/graph/Port.h>

#include <TessilGraph/graph/NetworkManager.h>
#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/graph/LoosePort.h>
#include <tests/graph/PortMessages.h>
#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>
#include <tests/support/Seeds.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace TessilGraph {
namespace {

using tests::cycleMessage;
using tests::LoosePort;
using tests::Messages;
using tests::Pipe;
using tests::Sum;
using tests::Sum3;
using tests::sumType;
using tests::takeLog;

using Ports = std::vector<Port*>;

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

TEST(Port, LooksForCyclesAlongListsThatAnotherThreadHasEdited) {
    Pipe last;
    Pipe first;
    Pipe middle;
    ASSERT_TRUE(first.out()->connectTo(middle.in()));
    std::thread([&] { middle.out()->getConnections().push_back(last.in()); }).join();
    EXPECT_FALSE(last.out()->connectTo(first.in()));
    EXPECT_EQ(takeLog(), Messages{cycleMessage});
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

/// Makes much stand downstream of a node, so that searches come to their end on the other side first.
std::vector<std::unique_ptr<Sum>> feedMany(Sum& node) {
    std::vector<std::unique_ptr<Sum>> consumers(50);
    for (std::unique_ptr<Sum>& consumer : consumers) {
        consumer = std::make_unique<Sum>();
        EXPECT_TRUE(node.out()->connectTo(consumer->in(0)));
    }
    return consumers;
}

TEST(Port, LooksForNoCyclesThroughOutputsThatOnlyNameTheirNode) {
    Sum named;
    Sum fed;
    const std::vector<std::unique_ptr<Sum>> consumers = feedMany(named);
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
    for (const unsigned int seed : tests::seeds(400)) {
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

TEST(Port, LooksForCyclesThroughListsThatWereEditedInAnotherNetwork) {
    enum class Link { Made, MadeBeforeTheyStandThere, EditedByHand };
    for (const Link link : {Link::Made, Link::MadeBeforeTheyStandThere, Link::EditedByHand}) {
        forEachOrderOfMaking(3, [link](std::vector<std::unique_ptr<Sum>>& nodes) {
            Sum* first = nodes[0].release();
            Sum* middle = nodes[1].release();
            Sum* last = nodes[2].release();
            if (link == Link::MadeBeforeTheyStandThere) {
                EXPECT_TRUE(first->out()->connectTo(middle->in(0)));
            }
            NetworkManager there;
            NetworkManager here;
            there.addNode(middle, "middle");
            here.addNode(first, "first");
            here.addNode(last, "last");
            if (link == Link::Made) {
                EXPECT_TRUE(first->out()->connectTo(middle->in(0)));
            } else if (link == Link::EditedByHand) {
                first->out()->getConnections().push_back(middle->in(0));
            }
            middle->out()->getConnections().push_back(last->in(0));
            EXPECT_FALSE(last->out()->connectTo(first->in(0)));
            EXPECT_EQ(takeLog(), Messages{cycleMessage});
        });
    }
}

TEST(Port, LooksForCyclesThroughANodeThatWasLinkedWhileItWaited) {
    static Sum* first = nullptr;
    NodeFactory::instance().deregisterNode(sumType);
    NodeFactory::instance().registerNode(sumType, []() -> Node* { return first; });
    forEachOrderOfMaking(3, [](std::vector<std::unique_ptr<Sum>>& nodes) {
        first = nodes[0].release();
        Sum* middle = nodes[1].release();
        Sum* last = nodes[2].release();
        NetworkManager there;
        NetworkManager here;
        there.addNode(middle, "middle");
        EXPECT_EQ(here.createNode(sumType, "first"), first);
        here.reset();
        EXPECT_TRUE(first->out()->connectTo(middle->in(0)));
        EXPECT_EQ(here.createNode(sumType, "first"), first);
        here.addNode(last, "last");
        middle->out()->getConnections().push_back(last->in(0));
        EXPECT_FALSE(last->out()->connectTo(first->in(0)));
        EXPECT_EQ(takeLog(), Messages{cycleMessage});
    });
    NodeFactory::instance().deregisterNode(sumType);
    NodeFactory::instance().registerNode(sumType, Sum::creator);
}

TEST(Port, LooksForCyclesThroughAPortThatANodeOfAnotherNetworkTakesWithItsLink) {
    forEachOrderOfMaking(3, [](std::vector<std::unique_ptr<Sum>>& nodes) {
        Sum* first = nodes[0].release();
        Sum* middle = nodes[1].release();
        Sum* last = nodes[2].release();
        auto* moving = new PortTemplate<double>("moving");
        middle->addInputPort(moving);
        EXPECT_TRUE(first->out()->connectTo(moving));
        middle->removeInputPort("moving");
        NetworkManager there;
        NetworkManager here;
        there.addNode(middle, "middle");
        here.addNode(first, "first");
        here.addNode(last, "last");
        middle->addInputPort(moving);
        middle->out()->getConnections().push_back(last->in(0));
        EXPECT_FALSE(last->out()->connectTo(first->in(0)));
        EXPECT_EQ(takeLog(), Messages{cycleMessage});
    });
}

TEST(Port, LooksForCyclesPastAnOutputThatIsNull) {
    // Beside a circle that was made by hand, every search goes along all outputs.
    Pipe ring;
    ring.out()->getConnections().push_back(ring.in());
    Pipe first;
    Pipe middle;
    Pipe last;
    auto* more = new PortTemplate<double>("more");
    middle.addOutputPort(more);
    ASSERT_TRUE(first.out()->connectTo(middle.in()));
    ASSERT_TRUE(more->connectTo(last.in()));
    Port* left = std::exchange(*middle.outputPortBegin(), nullptr);
    EXPECT_FALSE(last.out()->connectTo(first.in()));
    EXPECT_EQ(takeLog(), Messages{cycleMessage});
    *middle.outputPortBegin() = left;
    ring.out()->getConnections().clear();
}

TEST(Port, LooksForCyclesThroughANodeThatCameWithoutOneOfItsPorts) {
    forEachOrderOfMaking(3, [](std::vector<std::unique_ptr<Sum>>& nodes) {
        Sum* first = nodes[0].release();
        Sum* middle = nodes[1].release();
        Sum* last = nodes[2].release();
        auto* more = new PortTemplate<double>("more");
        first->addOutputPort(more);
        EXPECT_TRUE(more->connectTo(middle->in(0)));
        NetworkManager there;
        NetworkManager here;
        there.addNode(middle, "middle");
        Port* left = std::exchange(*first->outputPortBegin(), nullptr);
        here.addNode(first, "first");
        *first->outputPortBegin() = left;
        here.addNode(last, "last");
        middle->out()->getConnections().push_back(last->in(0));
        EXPECT_FALSE(last->out()->connectTo(first->in(0)));
        EXPECT_EQ(takeLog(), Messages{cycleMessage});
    });
}

}  // namespace
}  // namespace TessilGraph
