#include <TessilGraph/graph/PortList.h>

#include <TessilGraph/graph/Port.h>

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

}  // namespace
}  // namespace TessilGraph
