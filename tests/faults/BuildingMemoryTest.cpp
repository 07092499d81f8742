#include "FaultsNetwork.h"

#include <tests/nodes/CatalogueRows.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using namespace tests;
using TessilGraph::Node;
using TessilGraph::Port;
using TessilGraph::PortTemplate;

namespace {

const std::string longName = "a_name_that_is_longer_than_what_a_string_holds_itself";

/// A host's node with so many ports that most find no room beside it.
class Crowded : public TessilGraph::NodeShape<Crowded> {
public:
    Crowded() {
        for (int i = 0; i < 40; ++i) {
            TessilGraph::addInput<double>(*this, ("in" + std::to_string(i)).c_str());
        }
    }
};

}  // namespace

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<Crowded>{"FaultsCrowded", 9505};

namespace {

const bool crowdedIsRegistered = (TessilGraph::registerNodes<Crowded>(), true);

/// A few linked nodes, one of them numbered.
struct Few : FaultsNetwork {
    Few() {
        add("FaultsJoint", "a");
        add("AddDouble", "b");
        add("AddDouble", "b");
        add("FaultsJoint", longName);
        link("a", "b");
        link("a", "b1");
        link("b", longName);
        link("b1", longName, "in2");
        network.computeNode(longName);
    }
};

TEST(BuildingShortOfMemory, MakesANodeOrNone) {
    everyAllocationFails<Few>([](Few& few) { few.add("AddDouble", "c"); });
    everyAllocationFails<Few>([](Few& few) { few.add("FaultsJoint", longName + longName); });
    everyAllocationFails<Few>([](Few& few) { few.add("FaultsCrowded", "c"); });
}

TEST(BuildingShortOfMemory, NumbersANodeOrMakesNone) {
    everyAllocationFails<Few>([](Few& few) { few.add("AddDouble", "b"); });
    everyAllocationFails<Few>([](Few& few) { few.add("AddDouble", longName); });
}

struct Empty : FaultsNetwork {};

TEST(BuildingShortOfMemory, MakesANodeOfEveryTypeOrNone) {
    for (const CatalogueRow& row : catalogueRows()) {
        SCOPED_TRACE(row.typeStr);
        everyAllocationFails<Empty>([&row](Empty& empty) { empty.add(row.typeStr, row.typeStr); });
        everyAllocationFails<Empty>([&row](Empty&) {
            const std::unique_ptr<Node> node(TessilGraph::NodeFactory::instance().createNode(row.typeStr));
            const std::unique_ptr<Node> clone(node->clone());
        });
    }
}

TEST(BuildingShortOfMemory, MakesNoNodeOfAnUnknownType) {
    everyAllocationFails<Few>([](Few& few) { few.network.createNode(longName, "c"); });
}

TEST(BuildingShortOfMemory, FillsANetworkOrLeavesWhatIsThere) {
    // Indices and lists of the network grow on the way.
    struct Growing : FaultsNetwork {
        std::size_t made = 0;
    };
    everyAllocationFails<Growing>(
        [](Growing& growing) {
            for (; growing.made < 40; ++growing.made) {
                growing.add("AddDouble", "n" + std::to_string(growing.made % 3));
            }
        },
        Promise::Usable);
}

/// A node that is not in a network yet.
struct Spare : Few {
    std::unique_ptr<Node> spare{TessilGraph::NodeFactory::instance().createNode("FaultsJoint")};

    void hand(const std::string& name) {
        network.addNode(spare.get(), name);
        static_cast<void>(spare.release());
    }

    std::string picture() override { return (spare != nullptr ? pictureOf(*spare) : "none") + Few::picture(); }
};

TEST(BuildingShortOfMemory, TakesANodeInOrLeavesItToTheCaller) {
    everyAllocationFails<Spare>([](Spare& world) { world.hand("c"); });
    everyAllocationFails<Spare>([](Spare& world) { world.hand("b"); });
    everyAllocationFails<Spare>([](Spare& world) { world.hand(longName); });
}

/// A node whose lists the host has been given to edit.
struct OpenSpare : Spare {
    OpenSpare() {
        for (auto port = spare->inputPortBegin(); port != spare->inputPortEnd(); ++port) {
            (*port)->getConnections();
        }
        spare->getOutputPort("out")->getConnections();
    }
};

TEST(BuildingShortOfMemory, TakesANodeInWhoseListsAreOpenOrLeavesIt) {
    everyAllocationFails<OpenSpare>([](OpenSpare& world) { world.hand("c"); });
}

/// A node that stands in another network, too.
struct Shared : FaultsNetwork {
    Shared() { other.add("FaultsJoint", "shared"); }

    ~Shared() override {
        // It belongs to the other network.
        network.reset();
    }

    std::string picture() override { return FaultsNetwork::picture() + other.picture(); }

    FaultsNetwork other;
};

TEST(BuildingShortOfMemory, TakesInANodeOfAnotherNetworkOrLeavesBothAsTheyAre) {
    everyAllocationFails<Shared>(
        [](Shared& world) { world.network.addNode(world.other.network.getNode("shared"), longName); });
}

TEST(BuildingShortOfMemory, RenamesANodeOrNot) {
    everyAllocationFails<Few>([](Few& few) { few.network.renameNode("a", "z"); });
    everyAllocationFails<Few>([](Few& few) { few.network.renameNode("a", longName + "2"); });
    everyAllocationFails<Few>([](Few& few) { few.network.renameNode("a", "b"); });
    everyAllocationFails<Few>([](Few& few) { few.network.renameNode(longName, "a"); });
}

struct Numbered : Few {
    Numbered() {
        for (int i = 0; i < 8; ++i) {
            add("AddDouble", "b");
        }
    }

    /// A number that became free is given again.
    std::string later() override {
        std::string names;
        for (int i = 0; i < 4; ++i) {
            names += add("AddDouble", "b").name() + " ";
        }
        return names + Few::later();
    }
};

TEST(BuildingShortOfMemory, GivesANumberBackWhenANodeIsRenamedOrDeleted) {
    everyAllocationFails<Numbered>([](Numbered& world) { world.network.renameNode("b3", "z"); });
    everyAllocationFails<Numbered>([](Numbered& world) { world.network.deleteNode("b3"); });
    everyAllocationFails<Numbered>(
        [](Numbered& world) {
            for (const char* name : {"b6", "b2", "b4"}) {
                world.network.deleteNode(name);
            }
        },
        Promise::Usable);
}

/// Nodes wait in the cache.
struct Waiting : Few {
    Waiting() {
        network.reset();
        add("AddDouble", "c");
    }

    std::string picture() override { return std::to_string(Joint::alive) + " joints " + Few::picture(); }
};

TEST(BuildingShortOfMemory, HandsAWaitingNodeOutOrLetsItWait) {
    everyAllocationFails<Waiting>([](Waiting& world) { world.add("FaultsJoint", longName); });
    everyAllocationFails<Waiting>([](Waiting& world) { world.add("AddDouble", "b"); });
}

TEST(BuildingShortOfMemory, RenamesANodeToTheNameOfAWaitingOneOrNot) {
    everyAllocationFails<Waiting>([](Waiting& world) { world.network.renameNode("c", longName); });
}

TEST(BuildingShortOfMemory, DeletesANodeOrNot) {
    everyAllocationFails<Few>([](Few& few) { few.network.deleteNode("a"); });
    everyAllocationFails<Few>([](Few& few) { few.network.deleteNode("b1"); });
    everyAllocationFails<Few>([](Few& few) { few.network.deleteNode(longName); });
}

/// A node whose lists a host edits.
struct FewEdited : Few {
    FewEdited() {
        for (const char* name : {"a", "b"}) {
            output(name).getConnections();
            network.getNode(name)->inputPortBegin();
        }
        input("b1").getConnections();
    }
};

TEST(BuildingShortOfMemory, DeletesANodeWhoseListsAreOpenOrNot) {
    everyAllocationFails<FewEdited>([](FewEdited& world) { world.network.deleteNode("a"); });
    everyAllocationFails<FewEdited>([](FewEdited& world) { world.network.deleteNode("b"); });
}

/// Orders are stored that hold the nodes.
struct Stored : Few {
    Stored() {
        network.cacheNodeNetwork(longName);
        network.cacheNodeNetwork("b");
        computeByThem();
    }

    void computeByThem() {
        network.setAllNodeDirty();
        for (const std::string& name : {longName, std::string("b")}) {
            network.computeNode(name, nullptr, false, true);
        }
    }

    std::string later() override {
        computeByThem();
        return picture() + Few::later();
    }
};

TEST(BuildingShortOfMemory, DeletesANodeOfAStoredOrderOrNot) {
    everyAllocationFails<Stored>([](Stored& world) { world.network.deleteNode("a"); });
}

/// Many nodes that a network takes out again.
struct Many : FaultsNetwork {
    Many() {
        for (int i = 0; i < 100; ++i) {
            add("AddDouble", "n" + std::to_string(i));
        }
        network.getNode("n99")->setName("other");
    }
};

TEST(BuildingShortOfMemory, DeletesNearlyAllNodes) {
    everyAllocationFails<Many>(
        [](Many& many) {
            for (int i = 0; i < 98; ++i) {
                many.network.deleteNode("n" + std::to_string(i));
            }
        },
        Promise::Usable);
}

/// A node stands in the network twice.
struct Twice : Few {
    Twice() {
        network.addNode(network.getNode("a"), "another");
        network.addNode(network.getNode("a"), longName + "3");
    }
};

TEST(BuildingShortOfMemory, DeletesANodeThatStandsUnderSeveralNamesOrNot) {
    everyAllocationFails<Twice>([](Twice& world) { world.network.deleteNode("another"); });
    everyAllocationFails<Twice>([](Twice& world) { world.network.renameNode("another", "z"); });
}

TEST(BuildingShortOfMemory, NamesANodeAnewOrNot) {
    everyAllocationFails<Few>([](Few& few) { few.network.getNode("a")->setName(longName + "4"); });
}

TEST(BuildingShortOfMemory, ResetsANetworkOrNot) {
    everyAllocationFails<Few>([](Few& few) { few.network.reset(); });
    everyAllocationFails<FewEdited>([](FewEdited& world) { world.network.reset(); });
    everyAllocationFails<Stored>([](Stored& world) { world.network.reset(); });
    everyAllocationFails<Waiting>([](Waiting& world) { world.network.reset(); });
    // Nodes are handed out again after a reset that failed at first.
    everyAllocationFails<Many>(
        [](Many& many) {
            many.network.reset();
            many.add("AddDouble", "n7");
        },
        Promise::Usable);
}

TEST(BuildingShortOfMemory, LetsNoNodeWaitAfterAResetThatFailed) {
    everyAllocationFails<Few>([](Few& few) {
        try {
            few.network.reset();
        } catch (...) {
            MemoryShortage::end();
            few.network.clearNodeCache();
            throw;
        }
    });
}

TEST(BuildingShortOfMemory, ClearsTheNodeCache) {
    everyAllocationFails<Waiting>([](Waiting& world) { world.network.clearNodeCache(); });
}

TEST(BuildingShortOfMemory, CleansANetworkWithoutAnyMemory) {
    everyAllocationFails<Few>([](Few& few) { few.network.cleanNetwork(); });
    everyAllocationFails<Twice>([](Twice& world) { world.network.cleanNetwork(); });
    everyAllocationFails<FewEdited>([](FewEdited& world) { world.network.cleanNetwork(); });
    everyAllocationFails<Waiting>([](Waiting& world) { world.network.cleanNetwork(); });
    everyAllocationFails<Many>([](Many& many) { many.network.cleanNetwork(); });
}

TEST(BuildingShortOfMemory, ListsNamesAndNodes) {
    everyAllocationFails<Few>([](Few& few) {
        few.network.getNodeNames();
        few.network.getAllNodes();
        few.network.getNode("a")->getInputPortNames();
        few.network.getNodeByType(9501);
        TessilGraph::NodeFactory::instance().getRegisteredNodes();
    });
}

/// A port that nobody has yet.
struct SparePort : Few {
    std::unique_ptr<Port> port = std::make_unique<PortTemplate<std::string>>("spare");
    Node& node = *network.getNode("a");

    void hand(bool asInput) {
        const auto before = node.numInputPorts() + node.numOutputPorts();
        asInput ? node.addInputPort(port.get()) : node.addOutputPort(port.get());
        if (node.numInputPorts() + node.numOutputPorts() != before) {
            static_cast<void>(port.release());
        }
    }

    std::string picture() override { return (port != nullptr ? pictureOf(*port) : "none") + Few::picture(); }
};

/// The host edits the lists of ports.
struct SparePortForOpenLists : SparePort {
    SparePortForOpenLists() {
        node.inputPortBegin();
        node.outputPortBegin();
    }
};

/// It was removed from another node.
struct RemovedPort : SparePort {
    RemovedPort() {
        port.reset(network.getNode("b1")->getInputPort("in1"));
        network.getNode("b1")->removeInputPort("in1");
        port->setNode(network.getNode("b"));
        port->reset();
        port->setNode(nullptr);
    }
};

/// It was removed from another node together with its link.
struct LinkedPort : SparePort {
    LinkedPort() {
        port = std::make_unique<PortTemplate<double>>("linked");
        network.getNode("b1")->addInputPort(port.get());
        output("b").connectTo(port.get());
        network.getNode("b1")->removeInputPort("linked");
    }
};

TEST(BuildingShortOfMemory, TakesAPortInOrLeavesItToTheCaller) {
    for (const bool asInput : {true, false}) {
        const auto hand = [asInput](SparePort& world) { world.hand(asInput); };
        everyAllocationFails<SparePort>(hand);
        everyAllocationFails<SparePortForOpenLists>(hand);
        everyAllocationFails<RemovedPort>(hand);
        everyAllocationFails<LinkedPort>(hand);
    }
}

TEST(BuildingShortOfMemory, MakesAPortOfEveryTypeOrNone) {
    everyAllocationFails<Empty>([](Empty&) {
        const PortTemplate<std::vector<std::string>> texts(longName);
        const PortTemplate<TessilUtils::Curve> curve(longName);
        const PortTemplate<TessilUtils::Mesh> mesh("a mesh");
        const PortTemplate<TessilUtils::Image> image("an image");
        const auto onHeap = std::make_unique<PortTemplate<std::vector<bool>>>(longName);
    });
}

TEST(BuildingShortOfMemory, NamesAnotherOwnerOrNot) {
    everyAllocationFails<Few>([](Few& few) { few.input("b1").setNode(few.network.getNode("a")); });
    everyAllocationFails<FewEdited>([](FewEdited& world) { world.output("a").setNode(nullptr); });
}

/// The node has it.
struct TakenPort : SparePortForOpenLists {
    TakenPort() { hand(true); }
};

TEST(BuildingShortOfMemory, RemovesAPort) {
    everyAllocationFails<TakenPort>([](TakenPort& world) {
        if (Port* port = world.node.getInputPort("spare")) {
            world.node.removeInputPort("spare");
            delete port;
        }
    });
}

/// A type that no factory knows yet.
struct Types : FaultsNetwork {
    ~Types() override {
        MemoryShortage::end();
        if (factory.isRegistered(longName)) {
            factory.deregisterNode(longName);
        }
    }

    std::string picture() override {
        std::string names;
        for (const std::string& name : factory.getRegisteredNodes()) {
            names += name + " ";
        }
        return names;
    }

    TessilGraph::NodeFactory& factory = TessilGraph::NodeFactory::instance();
};

TEST(BuildingShortOfMemory, RegistersATypeOrNot) {
    everyAllocationFails<Types>([](Types& types) { types.factory.registerNode(longName, Joint::creator); });
    everyAllocationFails<Types>(
        [](Types& types) {
            types.factory.registerNode(longName, Joint::creator);
            types.factory.deregisterNode(longName);
            types.factory.isRegistered("a type that is not there, under a long name");
        },
        Promise::Usable);
}

}  // namespace
