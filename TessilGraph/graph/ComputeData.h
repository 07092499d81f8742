#pragma once

#include <TessilGraph/Export.h>

#include <cstdint>

namespace TessilGraph {

/// The evaluation context that a host hands to `NetworkManager::computeNode` or `PreparedEvaluation::run`.
///
/// The library passes the pointer on to `Node::compute` of every node that it evaluates and never
/// looks inside; no built-in node reads it, so null is fine. Hosts derive from it to bring their
/// own nodes what they need.
///
/// Threads: when nodes are computed in parallel, several read it at once.
class TESSILGRAPH_API ComputeData {
public:
    ComputeData() = default;
    ComputeData(const ComputeData&) = default;
    ComputeData& operator=(const ComputeData&) = default;
    virtual ~ComputeData();

private:
    [[maybe_unused]] std::uint64_t data_ = 0;
};

}  // namespace TessilGraph
