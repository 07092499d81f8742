#pragma once

#include <tools/host/FrameRange.h>
#include <tools/host/PortAddress.h>

#include <TessilGraph/exec/Frames.h>
#include <TessilGraph/graph/Port.h>

#include <cstddef>
#include <memory>

namespace TessilHost {

/// What a port shows over a range of frames.
class FrameColumn {
public:
    virtual ~FrameColumn() = default;

    /// A port that shows what the column holds for the frame that was chosen last.
    virtual TessilGraph::Port& port() = 0;
    virtual void choose(std::size_t frame) = 0;

    /// Takes the values over, when the frames have run.
    virtual void take(const TessilGraph::Frames& frames) = 0;
};

/// Asks `frames` to collect `port`, which stands at `address`.
std::unique_ptr<FrameColumn> collect(TessilGraph::Frames& frames, const PortAddress& address,
                                     const TessilGraph::Port& port);

/// Asks `frames` to set `port`, an integer or number port that stands at `address`, to the numbers of the
/// frames, which fit it.
void drive(TessilGraph::Frames& frames, const PortAddress& address, const TessilGraph::Port& port,
           const FrameRange& range);

}  // namespace TessilHost
