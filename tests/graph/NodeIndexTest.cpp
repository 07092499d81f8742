#include <TessilGraph/graph/NetworkManager.h>

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>
#include <tests/support/Seeds.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace TessilGraph {
namespace {

using tests::Pipe;
using tests::pipeType;
using tests::takeDestroyed;

using Names = std::vector<std::string>;

/// What nodes are found by: their names in a network, however they and their nodes' own names change.
class NodeIndex : public testing::Test {
protected:
    NodeIndex() { takeDestroyed(); }

    NetworkManager network;
};

TEST_F(NodeIndex, KeepsTheNameOfANodeThatTheHostRenames) {
    Node* a = network.createNode(pipeType, "a");
    Node* b = network.createNode(pipeType, "b");
    a->setName("own");
    EXPECT_EQ(network.getNode("a"), a);
    EXPECT_EQ(network.getNode("own"), nullptr);
    EXPECT_EQ(network.getNodeNames(), (Names{"a", "b"}));
    EXPECT_EQ(a->name(), "own");
    a->setName("other");
    b->setName("a");
    EXPECT_EQ(network.getNode("a"), a);
    EXPECT_EQ(network.getNode("b"), b);
    EXPECT_EQ(network.createNode(pipeType, "a")->name(), "a1");
    EXPECT_EQ(network.getAllNodes(), (std::vector<Node*>{a, network.getNode("a1"), b}));
    EXPECT_TRUE(network.connectAttr("a", "out", "b", "in1"));
    EXPECT_FALSE(network.connectAttr("other", "out", "a1", "in1"));
}

TEST_F(NodeIndex, FreesANameThatOnlyTheNodeItselfBears) {
    Node* a = network.createNode(pipeType, "a");
    a->setName("own");
    Node* own = network.createNode(pipeType, "own");
    EXPECT_EQ(own->name(), "own");
    EXPECT_EQ(network.getNode("own"), own);
    EXPECT_EQ(network.getNode("a"), a);
}

TEST_F(NodeIndex, RenamesANodeThatTheHostRenamedByItsNameInTheNetwork) {
    Node* a = network.createNode(pipeType, "a");
    a->setName("own");
    EXPECT_FALSE(network.renameNode("own", "z"));
    EXPECT_TRUE(network.renameNode("a", "z"));
    EXPECT_EQ(a->name(), "z");
    EXPECT_EQ(network.getNode("z"), a);
    EXPECT_EQ(network.getNode("a"), nullptr);
    EXPECT_EQ(network.getNodeNames(), Names{"z"});
    EXPECT_EQ(network.createNode(pipeType, "a")->name(), "a");
}

TEST_F(NodeIndex, DeletesANodeThatTheHostRenamedByItsNameInTheNetwork) {
    network.createNode(pipeType, "a")->setName("own");
    network.deleteNode("own");
    EXPECT_EQ(takeDestroyed(), Names{});
    network.deleteNode("a");
    EXPECT_EQ(takeDestroyed(), Names{"own"});
    EXPECT_EQ(network.getNodeNames(), Names{});
    EXPECT_EQ(network.createNode(pipeType, "a")->name(), "a");
}

TEST_F(NodeIndex, ListsNodesByTheirNamesInTheNetwork) {
    network.createNode(pipeType, "a")->setName("z");
    network.createNode(pipeType, "b")->setName("y");
    network.createNode(pipeType, "c")->setName("");
    EXPECT_EQ(network.getNodeNames(), (Names{"a", "b", "c"}));
    EXPECT_EQ(network.getNodeByType(Pipe::staticTypeId()), network.getNode("a"));
    network.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), (Names{"z", "y", ""}));
}

TEST_F(NodeIndex, ResetsANodeThatTheHostRenamedUnderItsNameInTheNetwork) {
    Node* a = network.createNode(pipeType, "a");
    a->setName("own");
    network.reset();
    EXPECT_EQ(a->name(), "own");
    EXPECT_EQ(network.createNode(pipeType, "a"), a);
    EXPECT_EQ(a->name(), "a");
    EXPECT_EQ(network.getNode("own"), nullptr);
}

TEST_F(NodeIndex, GivesTheNameBackThatTheNodeHadBefore) {
    Node* a = network.createNode(pipeType, "a");
    a->setName("own");
    a->setName("a");
    EXPECT_EQ(network.getNode("a"), a);
    a->setName("a");
    EXPECT_EQ(network.getNodeNames(), Names{"a"});
    EXPECT_TRUE(network.renameNode("a", "b"));
    EXPECT_EQ(network.getNodeNames(), Names{"b"});
}

TEST_F(NodeIndex, HasEveryNameUnderWhichANodeWasEntered) {
    auto* node = new Pipe;
    network.addNode(node, "a");
    network.addNode(node, "b");
    network.addNode(node, "c");
    EXPECT_EQ(network.getNodeNames(), (Names{"a", "b", "c"}));
    EXPECT_EQ(node->name(), "c");
    for (const char* name : {"a", "b", "c"}) {
        EXPECT_EQ(network.getNode(name), node);
    }
    EXPECT_TRUE(network.renameNode("b", "d"));
    EXPECT_EQ(node->name(), "d");
    EXPECT_EQ(network.getNodeNames(), (Names{"a", "c", "d"}));
    EXPECT_EQ(network.getNode("c"), node);
    node->setName("own");
    EXPECT_EQ(network.getNodeNames(), (Names{"a", "c", "d"}));
    network.deleteNode("c");
    EXPECT_EQ(network.getNodeNames(), Names{});
    EXPECT_EQ(takeDestroyed(), Names{"own"});
}

TEST_F(NodeIndex, FindsNodesOfSeveralManagersByTheirNamesThere) {
    auto* node = new Pipe;
    {
        NetworkManager other;
        other.addNode(node, "a");
        network.addNode(node, "b");
        EXPECT_EQ(other.getNode("a"), node);
        EXPECT_EQ(network.getNode("b"), node);
        EXPECT_EQ(other.getNodeNames(), Names{"a"});
        other.reset();  // Lets go of it.
        EXPECT_EQ(node->name(), "b");
        EXPECT_EQ(other.getNodeNames(), Names{});
    }
    EXPECT_EQ(network.getNode("b"), node);
    network.cleanNetwork();
    EXPECT_EQ(takeDestroyed(), Names{"b"});
}

TEST_F(NodeIndex, TellsNamesOfAnyBytesAndLengthsApart) {
    Names names = {"", std::string(1, '\0'), std::string(2, '\0'), std::string(8, '\0'), std::string(9, '\0'), "n"};
    for (std::size_t size = 2; size <= 40; ++size) {
        // Names that differ in one byte only, wherever it stands, and in their length.
        const std::string plain(size, 'n');
        names.push_back(plain);
        for (std::size_t place = 0; place < size; ++place) {
            for (const char byte : {'\0', 'm', '\xff'}) {
                names.push_back(plain);
                names.back()[place] = byte;
            }
        }
    }
    const std::string megabyte(1 << 20, 'x');
    names.push_back(megabyte);
    names.push_back(megabyte + "x");
    names.push_back(megabyte);
    names.back().back() = 'y';
    std::vector<Node*> nodes;
    for (const std::string& name : names) {
        nodes.push_back(network.createNode(pipeType, name));
        ASSERT_EQ(nodes.back()->name(), name);
    }
    for (std::size_t index = 0; index < names.size(); ++index) {
        EXPECT_EQ(network.getNode(names[index]), nodes[index]);
    }
    Names sorted = names;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(network.getNodeNames(), sorted);
    EXPECT_EQ(network.createNode(pipeType, megabyte)->name(), megabyte + "1");
    for (std::size_t index = 0; index < names.size(); index += 2) {
        network.deleteNode(names[index]);
    }
    for (std::size_t index = 0; index < names.size(); ++index) {
        EXPECT_EQ(network.getNode(names[index]), index % 2 == 0 ? nullptr : nodes[index]);
    }
}

TEST_F(NodeIndex, ListsInByteOrderHoweverAlikeTheNamesAre) {
    std::mt19937 random(7);
    for (const std::string& prefix : {std::string(), std::string("a"), std::string("shared by all of them "),
                                      std::string(3, '\0'), std::string("\xff\xfe")}) {
        for (const std::size_t count : {2U, 3U, 63U, 64U, 65U, 66U, 1000U}) {
            network.cleanNetwork();
            Names names;
            while (names.size() < count) {
                std::string name = prefix;
                for (std::size_t left = random() % 12; left > 0; --left) {
                    name += "\0a\x7f\x80\xff"[random() % 5];
                }
                names.push_back(network.createNode(pipeType, name)->name());
            }
            std::sort(names.begin(), names.end());
            ASSERT_EQ(network.getNodeNames(), names);
            Names listed;
            for (const Node* node : network.getAllNodes()) {
                listed.push_back(node->name());
            }
            ASSERT_EQ(listed, names);
            takeDestroyed();
            network.cleanNetwork();
            ASSERT_EQ(takeDestroyed(), names);
        }
    }
}

TEST_F(NodeIndex, ListsAnewAfterEveryChangeOfNames) {
    network.createNode(pipeType, "b");
    EXPECT_EQ(network.getNodeNames(), Names{"b"});
    network.createNode(pipeType, "a");
    EXPECT_EQ(network.getNodeNames(), (Names{"a", "b"}));
    network.renameNode("a", "c");
    EXPECT_EQ(network.getNodeNames(), (Names{"b", "c"}));
    network.deleteNode("b");
    network.createNode(pipeType, "d");
    EXPECT_EQ(network.getNodeNames(), (Names{"c", "d"}));
    network.reset();
    EXPECT_EQ(network.getNodeNames(), Names{});
    network.createNode(pipeType, "c");
    EXPECT_EQ(network.getNodeNames(), Names{"c"});
}

/// A network beside the map that it should agree with, by the names that nodes have there.
class IndexAndMap {
public:
    explicit IndexAndMap(unsigned int seed) : random_(seed) {}

    void step() {
        const std::size_t kind = below(100);
        if (kind < growth_) {
            enter();
        } else if (kind < 80) {
            remove();
        } else if (kind < 88) {
            rename();
        } else if (kind < 92 && !map_.empty()) {
            anyEntry()->second->setName(anyName());
        } else if (kind < 93) {
            growth_ = growth_ == 60 ? 20 : 60;
        } else {
            const std::string name = anyName();
            const auto found = map_.find(name);
            ASSERT_EQ(network_.getNode(name), found != map_.end() ? found->second : nullptr) << name;
        }
    }

    void compareAll() {
        Names names;
        std::vector<Node*> nodes;
        for (const auto& [name, node] : map_) {
            names.push_back(name);
            nodes.push_back(node);
            ASSERT_EQ(network_.getNode(name), node) << name;
        }
        ASSERT_EQ(network_.getNodeNames(), names);
        ASSERT_EQ(network_.getAllNodes(), nodes);
    }

private:
    std::size_t below(std::size_t end) { return random_() % end; }

    std::string anyName() { return "n" + std::to_string(below(3000)); }

    std::map<std::string, Node*>::iterator anyEntry() {
        return std::next(map_.begin(), static_cast<std::ptrdiff_t>(below(std::min<std::size_t>(map_.size(), 200))));
    }

    std::string uniqueName(const std::string& asked) const {
        std::string name = asked;
        for (int number = 1; map_.count(name) > 0; ++number) {
            name = asked + std::to_string(number);
        }
        return name;
    }

    void enter() {
        const std::string asked = anyName();
        const std::string expected = uniqueName(asked);
        Node* node = nullptr;
        if (below(2) == 0) {
            node = network_.createNode(pipeType, asked);
        } else {
            node = new Pipe;
            network_.addNode(node, asked);
        }
        ASSERT_EQ(node->name(), expected);
        map_.emplace(expected, node);
    }

    void remove() {
        const std::string name = map_.empty() || below(10) == 0 ? anyName() : anyEntry()->first;
        network_.deleteNode(name);
        map_.erase(name);
    }

    void rename() {
        if (map_.empty()) {
            return;
        }
        const auto entry = anyEntry();
        Node* node = entry->second;
        const std::string asked = anyName();
        const std::string expected = uniqueName(asked);
        ASSERT_TRUE(network_.renameNode(entry->first, asked));
        ASSERT_EQ(node->name(), expected);
        map_.erase(entry);
        map_.emplace(expected, node);
    }

    std::mt19937 random_;
    std::size_t growth_ = 60;
    NetworkManager network_;
    std::map<std::string, Node*> map_;
};

TEST_F(NodeIndex, AgreesWithAMapThroughRandomChanges) {
    for (const unsigned int seed : tests::seeds(10)) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        IndexAndMap pair(seed);
        for (int step = 0; step < 6000; ++step) {
            ASSERT_NO_FATAL_FAILURE(pair.step());
            if (step % 200 == 0) {
                ASSERT_NO_FATAL_FAILURE(pair.compareAll());
            }
        }
        pair.compareAll();
    }
    takeDestroyed();
}

TEST_F(NodeIndex, EmptiesFromEitherEndAndFromTheMiddle) {
    constexpr int count = 500;
    for (int stride : {1, -1, 7, 249}) {
        for (int index = 0; index < count; ++index) {
            network.createNode(pipeType, std::to_string(index));
        }
        network.getNode("3")->setName("renamed by the host");
        std::vector<bool> isThere(count, true);
        for (int gone = 0; gone < count; ++gone) {
            const int index = ((gone * stride) % count + count) % count;
            network.deleteNode(std::to_string(index));
            isThere[static_cast<std::size_t>(index)] = false;
            if (gone % 50 == 0) {
                for (int other = 0; other < count; ++other) {
                    ASSERT_EQ(network.getNode(std::to_string(other)) != nullptr,
                              isThere[static_cast<std::size_t>(other)]);
                }
                Node* added = network.createNode(pipeType, "new");
                ASSERT_EQ(network.getNode("new"), added);
                network.deleteNode("new");
            }
        }
        EXPECT_EQ(network.getNodeNames(), Names{});
    }
    takeDestroyed();
}

TEST_F(NodeIndex, KnowsWhichNodesWereMadeByTypeThroughDeletionsAndRenames) {
    std::vector<Node*> made(400);
    std::vector<std::unique_ptr<Node>> added;
    for (std::size_t index = 0; index < made.size(); ++index) {
        made[index] = network.createNode(pipeType, "made" + std::to_string(index));
        added.push_back(std::make_unique<Pipe>());
        network.addNode(added.back().get(), "added" + std::to_string(index));
    }
    for (std::size_t index = 0; index < made.size(); ++index) {
        const std::string number = std::to_string(index);
        if (index % 8 != 0) {
            network.deleteNode("made" + number);
            network.deleteNode("added" + number);
            added[index].release();
        } else if (index % 16 == 0) {
            ASSERT_TRUE(network.renameNode("made" + number, "m" + number));
            ASSERT_TRUE(network.renameNode("added" + number, "a" + number));
        } else {
            made[index]->setName("own");
        }
    }
    network.reset();
    for (std::size_t index = 0; index < made.size(); index += 8) {
        const std::string number = std::to_string(index);
        const bool renamed = index % 16 == 0;
        EXPECT_EQ(network.createNode(pipeType, (renamed ? "m" : "made") + number), made[index]);
        EXPECT_NE(network.createNode(pipeType, (renamed ? "a" : "added") + number), added[index].get());
    }
    network.cleanNetwork();
    takeDestroyed();
}

/// Makes another node of the same name before it hands out its own.
class Nested : public Pipe {
public:
    static inline NetworkManager* into = nullptr;

    static Node* creator() {
        if (NetworkManager* network = std::exchange(into, nullptr)) {
            for (int made = 0; made < 100; ++made) {
                network->createNode(pipeType, "inner");
            }
        }
        return new Nested;
    }
};

TEST_F(NodeIndex, AllowsToMakeNodesWhileOneIsMade) {
    NodeFactory::instance().registerNode("Nested", Nested::creator);
    Nested::into = &network;
    Node* outer = network.createNode("Nested", "outer");
    EXPECT_EQ(network.getNode("outer"), outer);
    EXPECT_EQ(network.getNodeNames().size(), 101U);
    NodeFactory::instance().deregisterNode("Nested");
}

}  // namespace
}  // namespace TessilGraph
