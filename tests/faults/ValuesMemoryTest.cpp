#include "FaultsNetwork.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace tests;
using TessilGraph::PortTemplate;
using TessilUtils::Curve;
using TessilUtils::Image;
using TessilUtils::Mesh;

namespace {

const std::string longText = "a text that is longer than what a string holds itself";

using Texts = std::vector<std::string>;

std::string textOf(const std::string& value) {
    return value;
}
std::string textOf(double value) {
    return std::to_string(value);
}
std::string textOf(bool value) {
    return value ? "true" : "false";
}
std::string textOf(const Curve& value) {
    return std::to_string(value.cvs().size()) + "cvs";
}
std::string textOf(const Mesh& value) {
    return std::to_string(value.points().size()) + "points";
}
std::string textOf(const Image& value) {
    return std::to_string(value.width()) + "columns";
}
std::string textOf(const Imath::M44d& value) {
    return std::to_string(value[0][0]);
}
template <class T>
std::string textOf(const std::vector<T>& values) {
    std::string text = std::to_string(values.size());
    for (const auto& value : values) {
        text += textOf(value) + ", ";
    }
    return text;
}

Curve curve(std::size_t cvs) {
    return Curve(std::vector<Imath::V3f>(cvs, Imath::V3f(1.0f)));
}

Mesh mesh() {
    return Mesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2});
}

/// What is in a port before something else is set.
template <class T>
T first();
template <class T>
T second();

template <>
std::string first() {
    return "short";
}
template <>
std::string second() {
    return longText;
}
template <>
Texts first() {
    return {longText, "b", longText};
}
template <>
Texts second() {
    return {longText + "1", longText + longText, "c"};
}
template <>
std::vector<double> first() {
    return {1.0};
}
template <>
std::vector<double> second() {
    return std::vector<double>(40, 2.0);
}
template <>
std::vector<bool> first() {
    return {true};
}
template <>
std::vector<bool> second() {
    return std::vector<bool>(400, true);
}
template <>
std::vector<Imath::M44d> first() {
    return {};
}
template <>
std::vector<Imath::M44d> second() {
    return std::vector<Imath::M44d>(3, Imath::M44d(2.0));
}
template <>
Curve first() {
    return curve(3);
}
template <>
Curve second() {
    return curve(5);
}
template <>
Mesh first() {
    return Mesh();
}
template <>
Mesh second() {
    return mesh();
}
template <>
Image first() {
    return Image(1, 1, 1);
}
template <>
Image second() {
    return Image(2, 1, 1);
}
template <>
std::vector<Curve> first() {
    return {curve(3), curve(2), curve(1)};
}
template <>
std::vector<Curve> second() {
    return {curve(4), curve(5), curve(6)};
}
template <>
std::vector<Mesh> first() {
    return {mesh(), Mesh(), mesh()};
}
template <>
std::vector<Mesh> second() {
    return {Mesh(), mesh(), mesh()};
}

/// A node with an input of that type, which is clean and feeds another one.
template <class T>
struct Valued : FaultsNetwork {
    Valued() {
        add("FaultsJoint", "a");
        add("FaultsJoint", "b");
        link("a", "b");
        port = new PortTemplate<T>("value");
        network.getNode("a")->addInputPort(port);
        port->set(first<T>());
        network.computeNode("b");
    }

    std::string picture() override { return textOf(port->get()) + FaultsNetwork::picture(); }

    PortTemplate<T>* port;
    const T next = second<T>();
};

template <class T>
void expectSetsAllOrNothing() {
    everyAllocationFails<Valued<T>>([](Valued<T>& world) { world.port->set(world.next); });
    const auto copies = [](Valued<T>& world) {
        PortTemplate<T> other("other");
        other.set(world.next);
        world.port->copyValue(&other);
    };
    everyAllocationFails<Valued<T>>(copies);
}

TEST(ValuesShortOfMemory, AreSetOrStayAsTheyAre) {
    expectSetsAllOrNothing<std::string>();
    expectSetsAllOrNothing<Texts>();
    expectSetsAllOrNothing<std::vector<double>>();
    expectSetsAllOrNothing<std::vector<bool>>();
    expectSetsAllOrNothing<std::vector<Imath::M44d>>();
}

TEST(ValuesShortOfMemory, ThatHoldGeometryAreSetOrStayAsTheyAre) {
    expectSetsAllOrNothing<Curve>();
    expectSetsAllOrNothing<Mesh>();
    expectSetsAllOrNothing<Image>();
    expectSetsAllOrNothing<std::vector<Curve>>();
    expectSetsAllOrNothing<std::vector<Mesh>>();
}

/// One node feeds so many that marking them all needs memory; what these feed in turn is at stake.
template <int width>
struct Fan : FaultsNetwork {
    Fan() {
        add("AddDouble", "source");
        for (int i = 0; i < width; ++i) {
            const std::string number = std::to_string(i);
            add("AddDouble", "n" + number);
            link("source", "n" + number);
            add("AddDouble", "behind" + number);
            link("n" + number, "behind" + number);
            add("AddDouble", "last" + number);
            link("behind" + number, "last" + number);
        }
        clean();
    }

    void clean() {
        for (TessilGraph::Node* node : network.getAllNodes()) {
            node->setDirty(false);
        }
    }

    std::string later() override { return {}; }
};

TEST(ValuesShortOfMemory, MarkEverythingDownstreamWithoutAnyMemory) {
    everyAllocationFails<Fan<150>>([](Fan<150>& fan) { fan.set("source", 2.0); });
    everyAllocationFails<Fan<600>>([](Fan<600>& fan) { fan.network.getNode("source")->setDirty(true); });
}

/// Marked so often that the network keeps who feeds whom.
struct MarkedOften : Fan<150> {
    MarkedOften() {
        for (int times = 0; times < 10; ++times) {
            network.getNode("source")->setDirty(true);
            clean();
        }
    }
};

TEST(ValuesShortOfMemory, MarkEverythingDownstreamWithoutAnyMemoryWhenThatIsKnown) {
    everyAllocationFails<MarkedOften>([](MarkedOften& fan) { fan.set("source", 2.0); });
}

TEST(ValuesShortOfMemory, MarkOnWhereRememberingWhoFeedsWhomFails) {
    everyAllocationFails<Fan<150>>(
        [](Fan<150>& fan) {
            for (int times = 0; times < 8; ++times) {
                fan.clean();
                fan.network.getNode("source")->setDirty(true);
            }
        },
        Promise::Usable);
}

}  // namespace
