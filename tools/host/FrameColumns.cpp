#include <tools/host/FrameColumns.h>

#include <tools/host/PortValues.h>
#include <tools/host/TypedPorts.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace TessilHost {

using TessilGraph::Frames;
using TessilGraph::Port;

namespace {

template <class T>
class TypedFrameColumn : public FrameColumn {
public:
    explicit TypedFrameColumn(PortAddress address) : address_(std::move(address)), port_(address_.port) {}

    Port& port() override { return port_; }
    void choose(std::size_t frame) override { port_.set(values_[frame]); }
    void take(const Frames& frames) override { values_ = frames.column<T>(address_.node, address_.port); }

private:
    PortAddress address_;
    PortTemplate<T> port_;
    std::vector<T> values_;
};

template <class T>
std::vector<T> numbersOf(const FrameRange& range) {
    std::vector<T> numbers;
    numbers.reserve(range.count());
    for (std::uint64_t i = 0; i < range.count(); ++i) {
        numbers.push_back(static_cast<T>(range.frame(i)));
    }
    return numbers;
}

}  // namespace

std::unique_ptr<FrameColumn> collect(Frames& frames, const PortAddress& address, const Port& port) {
    std::unique_ptr<FrameColumn> column;
    visitTyped(port, [&](const auto& typed) {
        using T = ValueOf<decltype(typed)>;
        frames.collect<T>(address.node, address.port);
        column = std::make_unique<TypedFrameColumn<T>>(address);
    });
    return column;
}

void drive(Frames& frames, const PortAddress& address, const Port& port, const FrameRange& range) {
    if (isIntegerPort(port)) {
        frames.drive(address.node, address.port, numbersOf<Long>(range));
    } else {
        frames.drive(address.node, address.port, numbersOf<double>(range));
    }
}

}  // namespace TessilHost
