#include "FaultsNetwork.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

using namespace tests;
using TessilGraph::Port;

namespace {

/// a feeds b; further nodes stand by themselves.
struct Loose : FaultsNetwork {
    Loose() {
        for (int i = 0; i < 6; ++i) {
            add("AddDouble", std::string(1, static_cast<char>('a' + i)));
        }
        link("a", "b");
    }
};

/// The next link finds no room in the list of a, nor beside it.
struct Feeding : Loose {
    Feeding() { link("a", "c"); }
};

TEST(WiringShortOfMemory, LinksOrLeavesBothEndsAsTheyAre) {
    everyAllocationFails<Loose>([](Loose& world) { world.link("c", "d"); });
    everyAllocationFails<Loose>([](Loose& world) { world.link("a", "c"); });
    everyAllocationFails<Loose>([](Loose& world) { world.link("b", "c"); });
    everyAllocationFails<Feeding>([](Feeding& world) { world.link("a", "d"); });
}

TEST(WiringShortOfMemory, MakesManyLinksOfOneOutputOrSomeOfThem) {
    everyAllocationFails<Loose>(
        [](Loose& world) {
            for (const char* name : {"c", "d", "e", "f"}) {
                for (const char* input : {"in1", "in2"}) {
                    if (world.input(name, input).numConnections() == 0) {
                        world.link("a", name, input);
                    }
                }
            }
        },
        Promise::Usable);
}

TEST(WiringShortOfMemory, RefusesLinks) {
    everyAllocationFails<Loose>([](Loose& world) {
        world.link("b", "a");
        world.link("a", "b");
        world.link("c", "b");
        world.input("a").connectTo(&world.input("b"));
        world.network.connectAttr("a", "out", "nobody", "a port of a name that is longer than a string holds itself");
    });
}

/// Two wide stretches of nodes, the later one of which is to feed the earlier one.
struct Searched : FaultsNetwork {
    Searched() {
        add("AddDouble", "first");
        for (int i = 0; i < 150; ++i) {
            const std::string number = std::to_string(i);
            add("AddDouble", "low" + number);
            link("first", "low" + number);
        }
        add("AddDouble", "last");
        for (int i = 0; i < 150; ++i) {
            const std::string number = std::to_string(i);
            add("AddDouble", "high" + number);
            if (i > 0) {
                link("high" + std::to_string(i - 1), "high" + number);
            }
        }
        link("high149", "last");
    }
};

TEST(WiringShortOfMemory, LooksForCyclesOrLinksNothing) {
    everyAllocationFails<Searched>([](Searched& world) { world.link("last", "first"); });
    everyAllocationFails<Searched>([](Searched& world) { world.link("low7", "high0"); });
    everyAllocationFails<Searched>([](Searched& world) { world.link("last", "high0"); });
}

/// Hosts edit lists.
struct LooseEdited : Loose {
    LooseEdited() {
        for (const char* name : {"a", "c"}) {
            output(name).getConnections();
            input(name).getConnections();
            network.getNode(name)->outputPortBegin();
        }
    }
};

TEST(WiringShortOfMemory, LinksPortsWhoseListsAreOpenOrLeavesThem) {
    everyAllocationFails<LooseEdited>([](LooseEdited& world) { world.link("a", "c"); });
    everyAllocationFails<LooseEdited>([](LooseEdited& world) { world.link("d", "c"); });
}

/// A link was added by hand that labels do not know of.
struct LinkedByHand : Searched {
    LinkedByHand() {
        output("last").getConnections().push_back(&input("first"));
        input("first").getConnections().push_back(&output("last"));
    }
};

/// The input does not know of it.
struct ListedByHand : Searched {
    ListedByHand() { output("last").getConnections().push_back(&input("first")); }
};

TEST(WiringShortOfMemory, LooksThroughListsThatWereEdited) {
    everyAllocationFails<LinkedByHand>([](LinkedByHand& world) { world.link("low7", "low8", "in2"); });
    everyAllocationFails<LinkedByHand>([](LinkedByHand& world) { world.link("low7", "high3", "in2"); });
    everyAllocationFails<ListedByHand>([](ListedByHand& world) { world.link("low7", "high3", "in2"); });
}

TEST(WiringShortOfMemory, LinksTwoOutputsOrNone) {
    everyAllocationFails<Loose>([](Loose& world) { world.output("d").connectTo(&world.output("c")); });
}

TEST(WiringShortOfMemory, LendsAListOrDoesNot) {
    everyAllocationFails<Loose>([](Loose& world) {
        world.output("a").getConnections();
        static_cast<const Port&>(world.input("b")).getConnections();
        world.network.getNode("a")->inputPortBegin();
        world.network.getNode("a")->outputPortCBegin();
    });
}

/// A chain that was marked and evaluated so often that the library keeps how.
struct Marked : FaultsNetwork {
    Marked() {
        add("AddDouble", "n0");
        for (int i = 1; i < 80; ++i) {
            add("AddDouble", "n" + std::to_string(i));
            link("n" + std::to_string(i - 1), "n" + std::to_string(i));
        }
        for (double value = 1.0; value < 20.0; value += 1.0) {
            set("n0", value);
            network.computeNode("n79");
        }
    }

    ~Marked() override {
        MemoryShortage::end();
        if (out != nullptr) {
            *network.getNode("n7")->outputPortBegin() = out;
        }
    }

    std::string picture() override { return out != nullptr ? "taken out" : "whole"; }

    /// What a mark reaches.
    std::string later() override {
        set("n0", -1.0);
        std::string dirty;
        for (const TessilGraph::Node* node : network.getAllNodes()) {
            dirty += node->isDirty() ? node->name() + " " : "";
        }
        return dirty;
    }

    Port* out = nullptr;
};

TEST(WiringShortOfMemory, SeesWhatIsDoneToAListOfPortsThatWasNotLentAtFirst) {
    everyAllocationFails<Marked>([](Marked& world) {
        Port*& entry = *world.network.getNode("n7")->outputPortBegin();
        world.out = std::exchange(entry, nullptr);
    });
}

/// An output feeds so many inputs that its list is kept in another way once some are taken out.
struct Wide : FaultsNetwork {
    Wide() {
        add("AddDouble", "source");
        for (int i = 0; i < 180; ++i) {
            add("AddDouble", "n" + std::to_string(i));
            link("source", "n" + std::to_string(i));
            inputs.push_back(&input("n" + std::to_string(i)));
        }
    }

    std::vector<Port*> inputs;
};

TEST(WiringShortOfMemory, UnlinksWithoutAnyMemory) {
    everyAllocationFails<Loose>([](Loose& world) { world.network.disconnectAttr("a", "out", "b", "in1"); });
    everyAllocationFails<Wide>([](Wide& wide) {
        Port& output = wide.output("source");
        for (int i = 0; i < 180; ++i) {
            wide.inputs[static_cast<std::size_t>(i * 77 % 180)]->disconnectFrom(&output);
        }
    });
    everyAllocationFails<Wide>([](Wide& wide) { wide.network.deleteNode("source"); });
    everyAllocationFails<Wide>([](Wide& wide) { wide.network.deleteNode("n90"); });
}

TEST(WiringShortOfMemory, ResetsPortsAndNodes) {
    everyAllocationFails<LooseEdited>([](LooseEdited& world) {
        world.output("a").reset();
        world.network.getNode("b")->reset();
    });
}

}  // namespace
