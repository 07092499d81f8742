#pragma once

#include <TessilGraph/graph/NameTable.h>
#include <TessilGraph/graph/NetworkManager.h>
#include <TessilGraph/graph/internal/NetworkState.h>

#include <utility>

namespace TessilGraph::internal {

/// The node cache of a manager while its nodes are reset, out of reach of what these do to the manager meanwhile: its
/// entries stay where they are, and only a node that dies all the same leaves its own.
struct ResetUnderWay {
    ResetUnderWay(NetworkState& state, NameTable<NodeCacheEntry>& nodeCache)
        : network(state), cache(std::exchange(nodeCache, {})) {
        network.resetUnderWay = this;
    }
    ~ResetUnderWay() { network.resetUnderWay = outer; }
    ResetUnderWay(const ResetUnderWay&) = delete;
    ResetUnderWay& operator=(const ResetUnderWay&) = delete;

    NetworkState& network;
    NameTable<NodeCacheEntry> cache;
    ResetUnderWay* const outer = network.resetUnderWay;  ///< Null for the first of those within one another.
};

}  // namespace TessilGraph::internal
