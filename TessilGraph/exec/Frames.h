#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/exec/PreparedEvaluation.h>
#include <TessilGraph/graph/ComputeData.h>
#include <TessilGraph/graph/NetworkManager.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace TessilGraph {

/// Evaluates a network frame by frame: values for one or more inputs over a range of frames, the values
/// of chosen ports as columns.
///
/// The figures are those of a host that sets the inputs, evaluates and reads, one frame after the other;
/// afterwards the network stands at the last frame. Where that pays, frames are computed on several
/// threads, each with a copy of the network (`NetworkManager::clone`). Networks go through the frames in
/// order, and by themselves, when something upstream of the columns keeps state or outputs, wants to be
/// computed alone, comes from another network or is wired by hand, or when a node has no clone that is of
/// its class and has its ports, links and values. Copies assume that clean nodes show what they compute
/// from their inputs: a class that computes from anything else, a member that the host sets for one,
/// takes that along in `clone`, or is declared to keep state (`NodeTraits`).
///
/// Nodes are known by their names: one that is gone or renamed meanwhile is driven no more.
///
/// Threads: as the network manager, which is not owned and must be there while `drive`, `collect` or
/// `run` is called.
class TESSILGRAPH_API Frames {
public:
    /// For frames number 0 up to `count`.
    Frames(NetworkManager& network, std::size_t count);
    ~Frames();
    Frames(const Frames&) = delete;
    Frames& operator=(const Frames&) = delete;

    std::size_t count() const;

    /// Sets that input in each frame to its value. False, with the reason logged, when there is no such
    /// input of that type, when it is connected, or when there is not a value for each frame.
    template <class T>
    bool drive(const std::string& node, const std::string& input, std::vector<T> values);

    /// Notes the value of that port, an output or else an input, in each frame. False, with the reason
    /// logged, when there is no such port of that type.
    template <class T>
    bool collect(const std::string& node, const std::string& port);

    /// Goes through the frames. Stops early when it is cancelled or a node throws; the columns hold what
    /// was computed until then, and default values. `Busy`, and nothing is done, when a prepared evaluation
    /// of the network is under way. `TargetGone` when a node that is read is gone at the last frame: the columns of
    /// the others are filled all the same.
    ///
    /// @param options cutting off, cancelling and progress as for `PreparedEvaluation::run`, progress
    /// counted in frames. `parallel` allows several threads.
    RunStatus run(const ComputeData* data = nullptr, const RunOptions& options = {});

    /// The values of a port that was to be collected, one per frame. Empty for other ports and types.
    template <class T>
    std::vector<T> column(const std::string& node, const std::string& port) const;

private:
    class Impl;

    std::unique_ptr<Impl> impl_;
};

}  // namespace TessilGraph
