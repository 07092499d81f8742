#include "FailingMemory.h"

#include <TessilGraph/TessilGraph.h>

#include <TessilUtils/Logger.h>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <new>
#include <string>

using namespace tests;

namespace {

enum Outcome { Failed, HadEnough, TypesAreMissing, Complained };

/// Starts the library in this process, short of memory, and once more if that failed.
Outcome start(std::size_t first, Shortage kind) {
    static bool complained = false;
    TessilUtils::Logger::setSink([](TessilUtils::LogLevel, const std::string&) { complained = true; });
    Outcome outcome = HadEnough;
    try {
        const MemoryShortage shortage(first, kind);
        TessilGraph::initTessilGraph();
    } catch (const std::bad_alloc&) {
        outcome = Failed;
    }
    TessilGraph::initTessilGraph();
    TessilGraph::NetworkManager network;
    const bool works = network.createNode("AddDouble", "a") != nullptr && network.createNode("IfBool", "b") != nullptr;
    network.computeNode("a");
    if (!works || TessilGraph::NodeFactory::instance().getRegisteredNodes().size() != 98) {
        return TypesAreMissing;
    }
    return complained ? Complained : outcome;
}

/// Each time in a process of its own, since a process starts the library once.
TEST(StartShortOfMemory, MayBeRepeatedAndRegistersEveryTypeOnce) {
    for (const Shortage kind : {Shortage::Once, Shortage::Lasting}) {
        int status = 0;
        for (std::size_t first = 1; first < 5000; first += first < 400 ? 1 : 7) {
            const pid_t child = fork();
            if (child == 0) {
                _exit(start(first, kind));
            }
            ASSERT_EQ(waitpid(child, &status, 0), child);
            ASSERT_TRUE(WIFEXITED(status)) << "allocation " << first;
            if (WEXITSTATUS(status) != Failed) {
                break;
            }
        }
        EXPECT_EQ(WEXITSTATUS(status), HadEnough);
    }
}

}  // namespace
