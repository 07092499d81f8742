#include <TessilGraph/graph/Port.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/graph/LoosePort.h>
#include <tests/support/ProbeNode.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace TessilGraph {
namespace {

using tests::LoosePort;
using tests::Pipe;

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

TEST(Port, KeepsItsNameHoweverManyNamesThereAre) {
    constexpr int count = 5000;
    std::vector<std::unique_ptr<Port>> ports;
    for (int number = 0; number < count; ++number) {
        ports.push_back(std::make_unique<Port>("port" + std::to_string(number)));
    }
    for (int number = 0; number < count; ++number) {
        EXPECT_EQ(ports[static_cast<std::size_t>(number)]->name(), "port" + std::to_string(number));
    }
}

TEST(Port, StaysAsItIsWhenItsOwnerIsNamedAgain) {
    Pipe a;
    Pipe b;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    b.in()->setNode(&b);
    EXPECT_EQ(b.in()->node(), &b);
    EXPECT_EQ(b.in()->input(), a.out());
    EXPECT_EQ(b.getInputPort("in1"), b.in());
}

}  // namespace
}  // namespace TessilGraph
