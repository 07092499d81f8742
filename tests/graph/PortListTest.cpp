#include <TessilGraph/graph/PortList.h>

#include <TessilGraph/graph/Port.h>

#include <tests/support/Seeds.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace TessilGraph {
namespace {

using Ports = std::vector<Port*>;

Ports rangeOf(const PortList& list) {
    const PortRange range = list.range();
    return Ports(range.begin(), range.end());
}

Ports visited(const PortList& list) {
    Ports ports;
    list.forEach([&ports](Port* port) { ports.push_back(port); });
    return ports;
}

class PortListTest : public testing::Test {
protected:
    PortListTest() {
        for (int count = 0; count < 40; ++count) {
            owned_.push_back(std::make_unique<Port>("port" + std::to_string(count)));
            ports.push_back(owned_.back().get());
        }
    }

    Ports ports;

private:
    std::vector<std::unique_ptr<Port>> owned_;
};

void expectHolds(const PortList& list, const Ports& expected) {
    EXPECT_EQ(rangeOf(list), expected);
    EXPECT_EQ(visited(list), expected);
    EXPECT_EQ(list.size(), expected.size());
    EXPECT_EQ(list.empty(), expected.empty());
    EXPECT_EQ(list.front(), expected.empty() ? nullptr : expected.front());
}

TEST_F(PortListTest, DoesWhatAVectorDoesHoweverItIsSeen) {
    // Nobody sees the first list as a vector; hosts read the second one and edit the third.
    for (int seen = 0; seen < 3; ++seen) {
        std::mt19937 engine(static_cast<unsigned>(seen));
        const auto below = [&engine](std::size_t end) { return static_cast<std::size_t>(engine()) % end; };
        for (int round = 0; round < 200; ++round) {
            PortList list;
            Ports told;
            const std::size_t when = below(20);
            for (std::size_t step = 0; step < 40; ++step) {
                if (seen == 1 && step >= when) {
                    ASSERT_EQ(list.asVector(), told);
                }
                if (seen == 2 && step >= when) {
                    Ports& open = list.open();
                    ASSERT_EQ(open, told);
                    open.push_back(ports[below(5)]);
                    told = open;
                }
                Port* const port = ports[below(ports.size())];
                switch (below(8)) {
                    case 0:
                        list.clear();
                        told.clear();
                        break;
                    case 1:
                    case 2: {
                        const auto found = std::find(told.begin(), told.end(), port);
                        EXPECT_EQ(list.remove(port), found != told.end());
                        EXPECT_EQ(list.contains(port), std::count(told.begin(), told.end(), port) > 1);
                        if (found != told.end()) {
                            told.erase(found);
                        }
                        break;
                    }
                    case 3:
                        if (!told.empty()) {
                            list.removeLast();
                            told.pop_back();
                        }
                        break;
                    default:
                        list.add(port);
                        told.push_back(port);
                }
                ASSERT_NO_FATAL_FAILURE(expectHolds(list, told));
            }
            EXPECT_EQ(list.isOpen(), seen == 2);
        }
    }
}

TEST_F(PortListTest, FollowsEditsOfAVectorThatWasLentLongAgo) {
    PortList list;
    list.add(ports[0]);
    Ports& open = list.open();
    list.add(ports[1]);
    open.insert(open.begin(), ports[2]);
    expectHolds(list, {ports[2], ports[0], ports[1]});
    open.clear();
    expectHolds(list, {});
    open.assign(2, nullptr);
    EXPECT_EQ(list.size(), 2U);
    EXPECT_EQ(&list.asVector(), &open);
}

TEST_F(PortListTest, HoldsNull) {
    PortList list;
    list.add(nullptr);
    expectHolds(list, {nullptr});
    list.add(ports[0]);
    expectHolds(list, {nullptr, ports[0]});
    EXPECT_TRUE(list.remove(nullptr));
    expectHolds(list, {ports[0]});
    EXPECT_FALSE(list.remove(nullptr));
}

TEST_F(PortListTest, IsOpenOnlyForThoseWhoAskedToEditIt) {
    PortList list;
    list.add(ports[0]);
    EXPECT_EQ(list.asVector(), Ports{ports[0]});
    EXPECT_FALSE(list.isOpen());
    list.open();
    EXPECT_TRUE(list.isOpen());
}

/// Many peers, which go in some order while some others come.
class LongPortListTest : public testing::Test {
protected:
    LongPortListTest() {
        for (std::size_t count = 0; count < 4000; ++count) {
            owned_.push_back(std::make_unique<Port>("peer"));
        }
    }

    void fill(std::size_t begin, std::size_t end) {
        for (std::size_t place = begin; place < end; ++place) {
            list.add(owned_[place].get());
            told.push_back(owned_[place].get());
        }
    }

    void unlink(std::size_t place) {
        Port* const port = told[place];
        ASSERT_TRUE(list.unlink(port));
        told.erase(told.begin() + static_cast<std::ptrdiff_t>(place));
        EXPECT_FALSE(list.contains(port));
        EXPECT_EQ(list.size(), told.size());
        EXPECT_EQ(list.empty(), told.empty());
        EXPECT_EQ(list.front(), told.empty() ? nullptr : told.front());
    }

    Ports shown() const {
        Ports ports = rangeOf(list);
        EXPECT_EQ(visited(list), ports);
        EXPECT_TRUE(ports.empty() || (ports.front() != nullptr && ports.back() != nullptr));
        EXPECT_LE(ports.size(), 2 * list.size());
        ports.erase(std::remove(ports.begin(), ports.end(), nullptr), ports.end());
        return ports;
    }

    PortList list;
    Ports told;

private:
    std::vector<std::unique_ptr<Port>> owned_;
};

TEST_F(LongPortListTest, KeepsItsOrderWhileItsFirstPeersGo) {
    fill(0, 1000);
    while (!told.empty()) {
        unlink(0);
        ASSERT_EQ(shown(), told);
    }
}

TEST_F(LongPortListTest, KeepsItsOrderWhileItsLastPeersGo) {
    fill(0, 1000);
    while (!told.empty()) {
        unlink(told.size() - 1);
        ASSERT_EQ(shown(), told);
    }
}

TEST_F(LongPortListTest, KeepsItsOrderWhilePeersComeAndGo) {
    for (const unsigned int seed : tests::seeds(20)) {
        std::mt19937 engine(seed);
        list.clear();
        told.clear();
        std::size_t next = 1000;
        fill(0, next);
        for (int step = 0; !told.empty(); ++step) {
            ASSERT_NO_FATAL_FAILURE(unlink(engine() % told.size()));
            if (step % 3 == 0 && next < 2000) {
                fill(next, next + 1);
                ++next;
            }
            if (step % 50 == 0) {
                ASSERT_EQ(shown(), told) << "seed " << seed << ", step " << step;
            }
            if (step % 100 == 0 && !told.empty()) {
                list.removeLast();
                told.pop_back();
            }
        }
    }
}

TEST_F(LongPortListTest, ShowsNoGaps) {
    fill(0, 1000);
    for (std::size_t place = 0; place < 300; ++place) {
        unlink(2 * place + 1);
    }
    EXPECT_EQ(list.asVector(), told);
    unlink(50);
    EXPECT_EQ(list.asVector(), told);
    EXPECT_EQ(rangeOf(list), told);
}

TEST_F(LongPortListTest, RefusesWhomItDoesNotList) {
    fill(0, 2000);
    Ports gone;
    for (std::size_t count = 0; count < 900; ++count) {
        const std::size_t place = (count * 677) % told.size();
        gone.push_back(told[place]);
        unlink(place);
        EXPECT_FALSE(list.unlink(gone[count / 2]));
        EXPECT_FALSE(list.remove(gone.front()));
    }
    EXPECT_EQ(shown(), told);
}

TEST_F(LongPortListTest, StartsAfreshOnceItIsCleared) {
    fill(0, 1000);
    unlink(500);
    list.clear();
    told.clear();
    EXPECT_TRUE(list.empty());
    fill(1000, 1300);
    EXPECT_EQ(rangeOf(list), told);
}

}  // namespace
}  // namespace TessilGraph
