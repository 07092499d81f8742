#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/nodes/NodeShape.h>

namespace TessilGraph {

/// Passes an integer through, unchanged: a named place where a value enters or fans out.
///
/// Threads: as `NodeShape`.
class TESSILGRAPH_API BufferLong : public NodeShape<BufferLong> {
public:
    PortTemplate<Long>* inputPort() const { return in_; }
    PortTemplate<Long>* outputPort() const { return out_; }

    bool compute(const ComputeData* data) override;

private:
    PortTemplate<Long>* in_ = addInput<Long>(*this, "in");
    PortTemplate<Long>* out_ = addOutput<Long>(*this, "out");
};

/// Passes a double through, bit for bit: a named place where a value enters or fans out.
///
/// Threads: as `NodeShape`.
class TESSILGRAPH_API BufferDouble : public NodeShape<BufferDouble> {
public:
    PortTemplate<double>* inputPort() const { return in_; }
    PortTemplate<double>* outputPort() const { return out_; }

    bool compute(const ComputeData* data) override;

private:
    PortTemplate<double>* in_ = addInput<double>(*this, "in");
    PortTemplate<double>* out_ = addOutput<double>(*this, "out");
};

/// Turns a frame number into a local frame and its time in seconds.
///
/// The first compute scales "inputFrame" by "frameRate" and "animFrameRate" and adds "offset". From
/// then on "frame" advances by the change of "inputFrame" times both rates, so that an animated rate
/// bends its curve and never makes it jump; "offset" is read again only after a reset. "seconds" is
/// "frame" divided by "fps" (frames per second), which is not tested for zero.
///
/// Threads: keeps state between computes, so that one instance serves one network and never two threads
/// at once; evaluation sees to that.
class TESSILGRAPH_API TimeNode : public NodeShape<TimeNode> {
public:
    TimeNode();

    PortTemplate<double>* inputFramePort() const { return inputFrame_; }
    PortTemplate<double>* fpsPort() const { return fps_; }
    PortTemplate<double>* frameRatePort() const { return frameRate_; }
    PortTemplate<double>* animFrameRatePort() const { return animFrameRate_; }
    PortTemplate<double>* outFramePort() const { return frame_; }
    PortTemplate<double>* outSecondsPort() const { return seconds_; }
    PortTemplate<double>* offsetPort() const { return offset_; }

    bool compute(const ComputeData* data) override;

    /// Also puts the inputs back to their defaults and forgets the frames seen so far.
    void reset() override;

private:
    struct History {
        bool first = true;
        double previousInputFrame = 0.0;
        double previousFrame = 0.0;
    };

    void restoreDefaults();

    PortTemplate<double>* inputFrame_ = nullptr;
    PortTemplate<double>* fps_ = nullptr;
    PortTemplate<double>* frameRate_ = nullptr;
    PortTemplate<double>* animFrameRate_ = nullptr;
    PortTemplate<double>* outFrameRate_ = nullptr;
    PortTemplate<double>* frame_ = nullptr;
    PortTemplate<double>* seconds_ = nullptr;
    PortTemplate<double>* offset_ = nullptr;
    History history_;
};

// clang-format off
template <> inline constexpr TypeInfo typeInfo<BufferLong>{"BufferLong", 79, pureNode};
template <> inline constexpr TypeInfo typeInfo<BufferDouble>{"BufferDouble", 80, pureNode};
template <> inline constexpr TypeInfo typeInfo<TimeNode>{"TimeNode", 81, statefulNode};
// clang-format on

/// Registers the buffers and the time node.
///
/// Threads: as `NodeFactory::registerNode`.
TESSILGRAPH_API void registerUtilsNodes();

}  // namespace TessilGraph
