#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/exec/CancelToken.h>
#include <TessilGraph/graph/ComputeData.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace TessilGraph {

class NetworkManager;

/// How a prepared evaluation is to run.
///
/// Threads: a run reads it on several threads, and nobody changes it before the run has ended.
struct RunOptions {
    /// Side by side where that pays, judged by the times of earlier runs; small work stays on the
    /// caller's thread. The results are the same bits either way.
    bool parallel = false;

    /// A node is computed only if it was marked itself or one of its sources came out with another value;
    /// otherwise it becomes clean as it is. For networks whose nodes compute the same from the same
    /// inputs, and whose outputs nobody else writes: then the results are the same bits. Whoever links or unlinks a
    /// clean node marks it, since another link by itself is no other value.
    ///
    /// Values are the same when their bits are: NaN is the same as itself, zeros of different signs
    /// differ. Curves, meshes, images and pointers to them always count as changed. Nodes that read
    /// storage outside (`PortTemplate::setLink`) or keep state are always computed.
    bool cutOff = false;

    /// Looked at between two nodes, or every few dozen when they are tiny. May be null. Any thread may cancel.
    const CancelToken* cancel = nullptr;

    /// Told between nodes how many are done and how many there were to do at the beginning, on the thread
    /// that called `run` and on no other; after the wiring changed, how many there are to do in all. Nodes that
    /// become clean as they are count as done. When a run has done all, the last call says so. May throw, which
    /// ends the run as a node that throws does, and may do what a node may; but change nothing in a parallel run.
    std::function<void(std::uint64_t done, std::uint64_t total)> progress;
};

/// How a run ended.
enum class RunStatus {
    Done,         ///< Everything upstream of the targets is up to date.
    Cancelled,    ///< What was not computed is dirty still; the next run completes it.
    TargetGone,   ///< The network has no node of a target's name. The other targets are up to date.
    NetworkGone,  ///< The network manager is gone; nothing was done.
    Busy          ///< Called from within a run on the same network; nothing was done.
};

/// What came of a run.
///
/// Threads: a value; it is the caller's.
struct RunResult {
    RunStatus status = RunStatus::Done;
    std::uint64_t computed = 0;  ///< Nodes that were computed.
};

/// Evaluates one or several nodes of a network over and over.
///
/// A run computes every dirty node upstream of the targets, the targets included, exactly once, each
/// after all that feed it, and marks it clean. Dirty nodes elsewhere stay dirty. What is clean is not
/// visited, so that the cost follows what changed; a clean node does not hide dirty ones upstream of it.
/// The results are the same bits as those of `NetworkManager::computeNode`.
///
/// The first run prepares: it finds out what stands upstream, in which order, and where values are. Later
/// ones notice by themselves when nodes, links or storage outside changed, and prepare anew; that costs
/// time for the whole network. While evaluations of a network are prepared, the values of its ports may
/// stand elsewhere, see `PortTemplate::getRef`. Profile times are left alone.
///
/// What a node throws reaches the caller, the first exception if there are several, when everything that
/// was under way has ended. That node and what was not computed stay dirty; the next run completes them.
/// A node may do anything in its `compute` but delete itself, the network or the evaluation, as long as it is not
/// computed beside others: it may set inputs, mark, wire, delete other nodes. When it changes the wiring, the rest of
/// the run walks through the network afresh. So does every run where links were edited by hand to something that
/// `Port::connectTo` would not make, or lead to nodes of other networks: slower, and neither in parallel nor cut off.
///
/// Threads: as the network manager, all evaluations of one network together. The evaluation may outlive the
/// manager.
class TESSILGRAPH_API PreparedEvaluation {
public:
    /// For the node of that name. The network is not owned; nothing is prepared yet.
    PreparedEvaluation(NetworkManager& network, std::string target);

    /// For several nodes, none of which is computed twice.
    PreparedEvaluation(NetworkManager& network, std::vector<std::string> targets);

    /// Values that stand elsewhere come home when the last evaluation of a network goes.
    ~PreparedEvaluation();

    /// What was moved from has no network any more, and no targets.
    PreparedEvaluation(PreparedEvaluation&&) noexcept;
    PreparedEvaluation& operator=(PreparedEvaluation&&) noexcept;

    /// Brings the targets up to date. Allocates nothing when it runs on one thread and nothing but values
    /// and marks changed since the last run.
    ///
    /// @param data is handed to every `compute` as it is; may be null.
    RunResult run(const ComputeData* data = nullptr, const RunOptions& options = {});

    const std::vector<std::string>& targets() const;

private:
    class Impl;

    std::unique_ptr<Impl> impl_;
};

}  // namespace TessilGraph
