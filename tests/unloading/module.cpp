// A module of a host, with the libraries behind it: evaluates a network on several threads.

#include <TessilGraph/graph/NetworkManager.h>
#include <TessilGraph/graph/initTessilGraph.h>

#include <TessilUtils/ParallelFor.h>

extern "C" __attribute__((visibility("default"))) void work() {
    TessilGraph::initTessilGraph();
    TessilGraph::NetworkManager network;
    network.createNode("AddDouble", "sum");
    const bool parallel = true;
    network.computeNode("sum", nullptr, parallel);
    TessilUtils::parallel_for({0, 1000}, [](const TessilUtils::ParallelForRange&) {});
}
