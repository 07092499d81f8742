#include <TessilGraph/exec/Frames.h>

#include <TessilGraph/exec/internal/RunControl.h>
#include <TessilGraph/exec/internal/Tasks.h>
#include <TessilGraph/graph/PortTemplate.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/EvaluationOrder.h>
#include <TessilGraph/graph/internal/OpenLists.h>
#include <TessilGraph/graph/internal/TraitsByte.h>

#include <TessilUtils/Logger.h>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <utility>

namespace TessilGraph {

using internal::Access;
using TessilUtils::Logger;

namespace {

using Clock = std::chrono::steady_clock;

// In nanoseconds.
constexpr double copyCostPerNode = 2000.0;  ///< To copy a node, prepare it and compute it for the first time.
constexpr double leastWork = 1e6;           ///< Below this, copies are not worth it.
constexpr std::size_t batchesPerThread = 8;

double nanosecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double, std::nano>(Clock::now() - begin).count();
}

/// An output of that name, else an input, else null.
Port* findPort(NetworkManager& network, const std::string& nodeName, const std::string& portName) {
    Node* node = network.getNode(nodeName);
    if (node == nullptr) {
        return nullptr;
    }
    Port* output = node->getOutputPort(portName);
    return output != nullptr ? output : node->getInputPort(portName);
}

Port* findInput(NetworkManager& network, const std::string& nodeName, const std::string& portName) {
    Node* node = network.getNode(nodeName);
    return node != nullptr ? node->getInputPort(portName) : nullptr;
}

template <class T>
bool isOfType(const Port& port) {
    return port.typeStr() == PortTemplate<T>::staticTypeStr();
}

/// Values for one input.
struct Drive {
    std::string node;
    std::string input;
    std::function<void(Port& port, std::size_t frame)> set;
};

/// Values of one port.
class Column {
public:
    Column(std::string nodeName, std::string portName) : node(std::move(nodeName)), port(std::move(portName)) {}
    Column(const Column&) = delete;
    Column& operator=(const Column&) = delete;
    virtual ~Column() = default;

    /// Different frames may be stored from different threads at the same time.
    virtual void store(Port& port, std::size_t frame) = 0;

    const std::string node;
    const std::string port;
};

template <class T>
class TypedColumn : public Column {
public:
    TypedColumn(const std::string& nodeName, const std::string& portName, std::size_t count)
        : Column(nodeName, portName), count_(count), values_(new T[count]) {
        std::fill_n(values_.get(), count, defaultPortValue<T>());
    }

    void store(Port& stored, std::size_t frame) override {
        values_[frame] = static_cast<PortTemplate<T>&>(stored).getRef();
    }

    std::vector<T> values() const { return std::vector<T>(values_.get(), values_.get() + count_); }

private:
    std::size_t count_;
    std::unique_ptr<T[]> values_;  ///< No vector: those of bools put several values in a byte.
};

/// One network with what is driven and read there.
class Stage {
public:
    Stage(NetworkManager& network, const std::vector<Drive>& drives,
          const std::vector<std::unique_ptr<Column>>& columns)
        : network_(network), drives_(drives), columns_(columns), evaluation_(network, targetsOf(columns)) {}

    /// Ports are looked up each time, since nodes may change the network.
    RunStatus evaluate(std::size_t frame, const ComputeData* data, const RunOptions& options) {
        for (const Drive& drive : drives_) {
            if (Port* input = findInput(network_, drive.node, drive.input)) {
                drive.set(*input, frame);
            }
        }
        const RunStatus status = evaluation_.run(data, options).status;
        if (status == RunStatus::Done) {
            for (const auto& column : columns_) {
                if (Port* port = findPort(network_, column->node, column->port)) {
                    column->store(*port, frame);
                }
            }
        }
        return status;
    }

    static std::vector<std::string> targetsOf(const std::vector<std::unique_ptr<Column>>& columns) {
        std::vector<std::string> targets;
        for (const auto& column : columns) {
            if (std::find(targets.begin(), targets.end(), column->node) == targets.end()) {
                targets.push_back(column->node);
            }
        }
        return targets;
    }

private:
    NetworkManager& network_;
    const std::vector<Drive>& drives_;
    const std::vector<std::unique_ptr<Column>>& columns_;
    PreparedEvaluation evaluation_;
};

/// A network of which each thread has one.
struct Copy {
    explicit Copy(const NetworkManager& source) : network(source) {}

    NetworkManager network;
    std::unique_ptr<Stage> stage;
};

}  // namespace

class Frames::Impl {
public:
    Impl(NetworkManager& network, std::size_t count) : network_(network), count_(count) {}

    template <class T>
    bool drive(const std::string& node, const std::string& input, std::vector<T> values) {
        const Port* port = findInput(network_, node, input);
        if (port == nullptr || !isOfType<T>(*port) || port->numConnections() != 0 || values.size() != count_) {
            Logger::error() << "Impossible to drive " << node << "." << input << " over " << count_ << " frames";
            return false;
        }
        drives_.push_back({node, input, [values = std::move(values)](Port& driven, std::size_t frame) {
                               static_cast<PortTemplate<T>&>(driven).set(values[frame]);
                           }});
        return true;
    }

    template <class T>
    bool collect(const std::string& node, const std::string& port) {
        const Port* found = findPort(network_, node, port);
        if (found == nullptr || !isOfType<T>(*found)) {
            Logger::error() << "Impossible to collect " << node << "." << port;
            return false;
        }
        columns_.push_back(std::make_unique<TypedColumn<T>>(node, port, count_));
        return true;
    }

    template <class T>
    std::vector<T> column(const std::string& node, const std::string& port) const {
        for (const auto& column : columns_) {
            const auto* typed = dynamic_cast<const TypedColumn<T>*>(column.get());
            if (typed != nullptr && column->node == node && column->port == port) {
                return typed->values();
            }
        }
        return {};
    }

    std::size_t count() const { return count_; }

    RunStatus run(const ComputeData* data, const RunOptions& options) {
        internal::RunControl control(options);
        control.setTotal(count_);
        // Of the nodes' progress nobody wants to know.
        RunOptions ofFrames = options;
        ofFrames.progress = nullptr;
        Stage stage(network_, drives_, columns_);

        // Two frames, the second of which shows what a frame takes when all is prepared.
        std::size_t next = 0;
        double cost = 0.0;
        while (next < count_) {
            const bool tellsNothing = next < 2;
            if (!tellsNothing && next == 2 && options.parallel && pay(cost)) {
                const RunStatus status = runCopies(stage, next, data, ofFrames, control);
                if (status != RunStatus::Done) {
                    return status;
                }
                next = count_ - 1;
            }
            const Clock::time_point begin = Clock::now();
            const RunStatus status = stage.evaluate(next, data, ofFrames);
            if (status != RunStatus::Done) {
                return status;
            }
            cost = nanosecondsSince(begin);
            ++next;
            if (!control.goesOn(1) && next < count_) {
                return RunStatus::Cancelled;
            }
        }
        return RunStatus::Done;
    }

private:
    bool pay(double costOfFrame) const {
        const auto threads = static_cast<double>(internal::TaskGroup::concurrency());
        const double work = costOfFrame * static_cast<double>(count_ - 2);
        const double saved = work * (1.0 - 1.0 / threads);
        const auto nodes = static_cast<double>(Access::nodes(network_).size());
        return threads > 1.0 && work >= leastWork && saved >= 2.0 * copyCostPerNode * nodes && mayBeCopied();
    }

    /// Whether a copy gives the same figures, whatever frames it computed before.
    bool mayBeCopied() const {
        const NodeSet& nodes = Access::nodes(network_);
        for (const std::string& target : Stage::targetsOf(columns_)) {
            Node* node = nodes.find(target);
            if (node == nullptr) {
                return false;
            }
            const auto order = internal::acyclicOrder(*node, nodes);
            if (!order || !std::all_of(order->begin(), order->end(), [&nodes](Node* upstream) {
                    const NodeTraits traits = internal::TraitsByte::of(*upstream).traits();
                    return !traits.keepsState && !traits.keepsOutputs && !traits.alone &&
                           Access::home(*upstream) == nodes.state().get() && isCleanlyWired(*upstream);
                })) {
                return false;
            }
        }
        return true;
    }

    /// Links that copies have too.
    static bool isCleanlyWired(const Node& node) {
        if (!internal::OpenLists().note(node)) {
            return false;
        }
        for (const Port* input : Access::inputs(node)) {
            const Port* source = input != nullptr ? input->input() : nullptr;
            if (source != nullptr && (!source->isOutput() || Access::watched(const_cast<Port&>(*input)))) {
                return false;
            }
        }
        for (const Port* output : Access::outputs(node)) {
            if (output != nullptr && Access::isBound(*output)) {
                return false;
            }
        }
        return true;
    }

    /// The frames from `first` to the one before the last, by copies and by the network itself.
    RunStatus runCopies(Stage& stage, std::size_t first, const ComputeData* data, RunOptions options,
                        internal::RunControl& control) {
        options.parallel = false;
        const std::size_t last = count_ - 1;
        const std::size_t threads = std::min<std::size_t>(internal::TaskGroup::concurrency(), last - first + 1);
        const std::size_t batch = std::max<std::size_t>(1, (last - first) / (threads * batchesPerThread));
        std::vector<std::unique_ptr<Copy>> copies;
        for (std::size_t i = 1; i < threads; ++i) {
            copies.push_back(std::make_unique<Copy>(network_));
            if (Access::nodes(copies.back()->network).size() != Access::nodes(network_).size()) {
                copies.clear();
                break;
            }
            copies.back()->stage = std::make_unique<Stage>(copies.back()->network, drives_, columns_);
        }

        std::atomic<std::size_t> next{first};
        std::atomic<RunStatus> ended{RunStatus::Done};
        const auto work = [&](Stage& mine) {
            try {
                for (std::size_t begin; !control.isStopped() && (begin = next.fetch_add(batch)) < last;) {
                    for (std::size_t frame = begin; frame < std::min(last, begin + batch); ++frame) {
                        const RunStatus status = mine.evaluate(frame, data, options);
                        if (status != RunStatus::Done) {
                            ended = status;
                            control.stop();
                            return;
                        }
                        if (!control.goesOn(1)) {
                            return;
                        }
                    }
                }
            } catch (...) {
                control.stop();
                throw;
            }
        };
        internal::TaskGroup tasks;
        for (const auto& copy : copies) {
            tasks.run([&work, &copy] { work(*copy->stage); });
        }
        tasks.run([&work, &stage] { work(stage); });
        tasks.wait();
        return control.isCancelled() ? RunStatus::Cancelled : ended.load();
    }

    NetworkManager& network_;
    const std::size_t count_;
    std::vector<Drive> drives_;
    std::vector<std::unique_ptr<Column>> columns_;
};

Frames::Frames(NetworkManager& network, std::size_t count) : impl_(std::make_unique<Impl>(network, count)) {}

Frames::~Frames() = default;

std::size_t Frames::count() const {
    return impl_->count();
}

template <class T>
bool Frames::drive(const std::string& node, const std::string& input, std::vector<T> values) {
    return impl_->drive(node, input, std::move(values));
}

template <class T>
bool Frames::collect(const std::string& node, const std::string& port) {
    return impl_->collect<T>(node, port);
}

RunStatus Frames::run(const ComputeData* data, const RunOptions& options) {
    return impl_->run(data, options);
}

template <class T>
std::vector<T> Frames::column(const std::string& node, const std::string& port) const {
    return impl_->column<T>(node, port);
}

#define TESSILGRAPH_FRAMES_OF(...)                                                                                 \
    template TESSILGRAPH_API bool Frames::drive(const std::string&, const std::string&, std::vector<__VA_ARGS__>); \
    template TESSILGRAPH_API bool Frames::collect<__VA_ARGS__>(const std::string&, const std::string&);            \
    template TESSILGRAPH_API std::vector<__VA_ARGS__> Frames::column(const std::string&, const std::string&) const;

TESSILGRAPH_FRAMES_OF(bool)
TESSILGRAPH_FRAMES_OF(Long)
TESSILGRAPH_FRAMES_OF(double)
TESSILGRAPH_FRAMES_OF(std::string)
TESSILGRAPH_FRAMES_OF(Imath::M44d)
TESSILGRAPH_FRAMES_OF(Imath::V3d)
TESSILGRAPH_FRAMES_OF(Imath::Quatd)
TESSILGRAPH_FRAMES_OF(TessilUtils::Curve)
TESSILGRAPH_FRAMES_OF(TessilUtils::Mesh)
TESSILGRAPH_FRAMES_OF(TessilUtils::Image)
TESSILGRAPH_FRAMES_OF(TessilUtils::Curve*)
TESSILGRAPH_FRAMES_OF(TessilUtils::Mesh*)
TESSILGRAPH_FRAMES_OF(std::vector<bool>)
TESSILGRAPH_FRAMES_OF(std::vector<Long>)
TESSILGRAPH_FRAMES_OF(std::vector<double>)
TESSILGRAPH_FRAMES_OF(std::vector<std::string>)
TESSILGRAPH_FRAMES_OF(std::vector<Imath::M44d>)
TESSILGRAPH_FRAMES_OF(std::vector<Imath::V3d>)
TESSILGRAPH_FRAMES_OF(std::vector<Imath::Quatd>)
TESSILGRAPH_FRAMES_OF(std::vector<TessilUtils::Curve>)
TESSILGRAPH_FRAMES_OF(std::vector<TessilUtils::Mesh>)

}  // namespace TessilGraph
