#include <TessilGraph/nodes/UtilsNodes.h>

#include <TessilGraph/nodes/internal/Kernels.h>

namespace TessilGraph {

namespace {

template <class T>
T pass(T in) {
    return in;
}

}  // namespace

template <>
inline constexpr auto internal::ownKernel<BufferLong> =
    internal::makeKernel<BufferLong, pass<Long>, &BufferLong::inputPort, &BufferLong::outputPort>();
template <>
inline constexpr auto internal::ownKernel<BufferDouble> =
    internal::makeKernel<BufferDouble, pass<double>, &BufferDouble::inputPort, &BufferDouble::outputPort>();

bool BufferLong::compute(const ComputeData*) {
    out_->set(in_->get());
    return true;
}

bool BufferDouble::compute(const ComputeData*) {
    out_->set(in_->get());
    return true;
}

TimeNode::TimeNode() {
    inputFrame_ = addInput<double>(*this, "inputFrame");
    fps_ = addInput<double>(*this, "fps");
    frameRate_ = addInput<double>(*this, "frameRate");
    animFrameRate_ = addInput<double>(*this, "animFrameRate");
    offset_ = addInput<double>(*this, "offset");
    frame_ = addOutput<double>(*this, "frame");
    seconds_ = addOutput<double>(*this, "seconds");
    outFrameRate_ = addOutput<double>(*this, "outFrameRate");
    restoreDefaults();
}

bool TimeNode::compute(const ComputeData*) {
    const double inputFrame = inputFrame_->get();
    const double frameRate = frameRate_->get();
    const double animFrameRate = animFrameRate_->get();

    double frame = 0.0;
    if (history_.first) {
        history_.first = false;
        frame = frameRate * animFrameRate * inputFrame + offset_->get();
    } else {
        frame = (inputFrame - history_.previousInputFrame) * (frameRate * animFrameRate) + history_.previousFrame;
    }
    history_.previousInputFrame = inputFrame;
    history_.previousFrame = frame;

    frame_->set(frame);
    seconds_->set(frame / fps_->get());
    outFrameRate_->set(frameRate);
    return true;
}

void TimeNode::reset() {
    Node::reset();
    restoreDefaults();
}

void TimeNode::restoreDefaults() {
    inputFrame_->set(0.0);
    frameRate_->set(1.0);
    animFrameRate_->set(1.0);
    outFrameRate_->set(1.0);
    fps_->set(30.0);
    offset_->set(0.0);
    history_ = {};
}

void registerUtilsNodes() {
    internal::registerBuiltIn<BufferLong, BufferDouble, TimeNode>();
}

}  // namespace TessilGraph
