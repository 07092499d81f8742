#include <tests/graph/LongChain.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace TessilGraph {
namespace {

using tests::Pipe;
using tests::takeComputed;

/// Walks from one node, again and again, which find everything dirty.
using KeptWalk = tests::LongChain;

TEST_F(KeptWalk, FollowsAListOfLinksThatIsEditedLongAfterItWasLent) {
    std::vector<Port*>& links = nodes[40]->in()->getConnections();
    warmUp();
    links.clear();
    EXPECT_EQ(computed(), namesFrom(40));
    links.assign(1, nodes[20]->out());
    EXPECT_EQ(computed(), namesWithout(21, 40));
    links.assign(1, nodes[39]->out());
    EXPECT_EQ(computed(), namesFrom(0));
}

TEST_F(KeptWalk, FollowsAListOfInputsThatIsEditedLongAfterItWasLent) {
    const auto input = nodes[40]->inputPortBegin();
    Port* const port = *input;
    warmUp();
    *input = nullptr;
    EXPECT_EQ(computed(), namesFrom(40));
    *input = port;
    EXPECT_EQ(computed(), namesFrom(0));
}

TEST_F(KeptWalk, SeesThatARemovedSourceGetsAnotherOwner) {
    const std::unique_ptr<Port> output(nodes[39]->out());
    nodes[39]->removeOutputPort("out");
    warmUp();
    output->setNode(nullptr);
    EXPECT_EQ(computed(), namesFrom(40));
    output->setNode(nodes[20]);
    EXPECT_EQ(computed(), namesWithout(21, 40));
    EXPECT_TRUE(nodes[40]->in()->disconnectFrom(output.get()));
}

TEST_F(KeptWalk, SeesTheResetOfAnInputWhoseOwnerWasNamedAnew) {
    nodes[40]->in()->setNode(nullptr);
    nodes[40]->in()->setNode(nodes[40]);
    warmUp();
    nodes[40]->in()->reset();
    EXPECT_EQ(computed(), namesFrom(40));
}

TEST_F(KeptWalk, PassesOverCleanNodesAndWhatTheyHide) {
    warmUp();
    network.setAllNodeDirty();
    nodes[40]->setDirty(false);
    takeComputed();
    network.computeNode(nameOf(length - 1));
    EXPECT_EQ(takeComputed(), namesFrom(41));
    EXPECT_TRUE(nodes[39]->isDirty());
    EXPECT_EQ(computed(), namesFrom(0));
}

TEST_F(KeptWalk, SeesThatAnInputIsReset) {
    warmUp();
    nodes[40]->in()->reset();
    EXPECT_EQ(computed(), namesFrom(40));
}

TEST_F(KeptWalk, SeesThatALinkIsTakenAwayAndMadeAgain) {
    warmUp();
    EXPECT_TRUE(network.disconnectAttr(nameOf(29), "out", nameOf(30), "in1"));
    EXPECT_EQ(computed(), namesFrom(30));
    EXPECT_TRUE(network.connectAttr(nameOf(20), "out", nameOf(30), "in1"));
    EXPECT_EQ(computed(), namesWithout(21, 30));
}

TEST_F(KeptWalk, SeesThatAnInputIsRemovedAndAddedAgain) {
    warmUp();
    Port* const input = nodes[40]->in();
    nodes[40]->removeInputPort("in1");
    EXPECT_EQ(computed(), namesFrom(40));
    nodes[40]->addInputPort(input);
    EXPECT_EQ(computed(), namesFrom(0));
}

TEST_F(KeptWalk, SeesThatANodeIsDeletedAndAnotherOneStandsInItsPlace) {
    warmUp();
    network.deleteNode(nameOf(40));
    EXPECT_EQ(computed(), namesFrom(41));
    network.addNode(new Pipe, nameOf(40));
    EXPECT_EQ(computed(), namesFrom(41));
    EXPECT_TRUE(network.connectAttr(nameOf(40), "out", nameOf(41), "in1"));
    EXPECT_EQ(computed(), namesFrom(40));
}

TEST_F(KeptWalk, StandsWhenANodeGetsAnotherName) {
    warmUp();
    EXPECT_TRUE(network.renameNode(nameOf(40), "other"));
    const Names names = computed();
    ASSERT_EQ(names.size(), length);
    EXPECT_EQ(names[40], "other");
}

TEST_F(KeptWalk, LeavesNodesDirtyThatWereNotReachedWhenOneThrew) {
    warmUp();
    nodes[40]->onCompute = [] { throw std::runtime_error("not now"); };
    EXPECT_THROW(computed(), std::runtime_error);
    EXPECT_EQ(takeComputed(), namesFrom(0, 41));
    for (std::size_t place = 0; place < length; ++place) {
        EXPECT_EQ(nodes[place]->isDirty(), place >= 40) << place;
    }
    nodes[40]->onCompute = nullptr;
    network.computeNode(nameOf(length - 1));
    EXPECT_EQ(takeComputed(), namesFrom(40));
}

TEST_F(KeptWalk, SetsTheProfileTimesOfAllItsNodesToZero) {
    warmUp();
    nodes[70]->setProfileTime(7);
    nodes[10]->setProfileTime(7);
    EXPECT_EQ(computed(), namesFrom(0));
    EXPECT_EQ(nodes[10]->profileTime(), 0U);
    EXPECT_EQ(nodes[70]->profileTime(), 0U);
}

TEST_F(KeptWalk, KeepsTheProfileTimesThatANodeSetsAndResetsThoseOfLaterOnes) {
    warmUp();
    nodes[40]->onCompute = [this] {
        nodes[39]->setProfileTime(1);
        nodes[40]->setProfileTime(2);
        nodes[41]->setProfileTime(3);
    };
    for (int time = 0; time < 3; ++time) {
        EXPECT_EQ(computed(), namesFrom(0));
        EXPECT_EQ(nodes[39]->profileTime(), 1U);
        EXPECT_EQ(nodes[40]->profileTime(), 2U);
        EXPECT_EQ(nodes[41]->profileTime(), 0U);
    }
}

TEST_F(KeptWalk, GivesWayToWalksFromWithinACompute) {
    warmUp();
    bool inside = false;
    nodes[40]->onCompute = [&] {
        if (!std::exchange(inside, true)) {
            network.computeNode(nameOf(70));
        }
    };
    for (int time = 0; time < 3; ++time) {
        inside = false;
        Names expected = namesFrom(0, 41);
        for (const std::string& name : namesFrom(40)) {
            expected.push_back(name);
        }
        EXPECT_EQ(computed(), expected);
    }
}

}  // namespace
}  // namespace TessilGraph
