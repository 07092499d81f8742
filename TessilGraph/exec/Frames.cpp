#include <TessilGraph/exec/Frames.h>

#include <TessilGraph/exec/internal/CopyCheck.h>
#include <TessilGraph/exec/internal/RunControl.h>
#include <TessilGraph/exec/internal/Tasks.h>
#include <TessilGraph/graph/PortTemplate.h>
#include <TessilGraph/graph/internal/Access.h>

#include <TessilUtils/Logger.h>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <tuple>
#include <typeindex>
#include <unordered_set>
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

/// Null where there is no port, or one of another type.
template <class T>
PortTemplate<T>* ofType(Port* port) {
    return dynamic_cast<PortTemplate<T>*>(port);
}

/// Values for one input.
struct Drive {
    std::string node;
    std::string input;
    std::function<void(Port* port, std::size_t frame)> set;
};

/// Values of one port.
class Column {
public:
    Column(std::string nodeName, std::string portName) : node(std::move(nodeName)), port(std::move(portName)) {}
    Column(const Column&) = delete;
    Column& operator=(const Column&) = delete;
    virtual ~Column() = default;

    /// Nothing where the port is gone or of another type by now. Different frames may be stored from different threads
    /// at the same time.
    virtual void store(Port* port, std::size_t frame) = 0;

    /// Default values in all frames.
    virtual void clear() = 0;

    const std::string node;
    const std::string port;
};

template <class T>
class TypedColumn : public Column {
public:
    TypedColumn(const std::string& nodeName, const std::string& portName, std::size_t count)
        : Column(nodeName, portName), count_(count), values_(new T[count]) {
        TypedColumn::clear();
    }

    void store(Port* stored, std::size_t frame) override {
        if (auto* typed = ofType<T>(stored)) {
            values_[frame] = typed->getRef();
        }
    }

    void clear() override { std::fill_n(values_.get(), count_, defaultPortValue<T>()); }

    std::vector<T> values() const { return std::vector<T>(values_.get(), values_.get() + count_); }

private:
    std::size_t count_;
    std::unique_ptr<T[]> values_;  ///< No vector: those of bools put several values in a byte.
};

/// Whether a frame was computed, as far as its targets are there.
bool isComputed(RunStatus status) {
    return status == RunStatus::Done || status == RunStatus::TargetGone;
}

/// One network with what is driven and read there.
class Stage {
public:
    Stage(NetworkManager& network, const std::vector<Drive>& drives,
          const std::vector<std::unique_ptr<Column>>& columns)
        : network_(network), drives_(drives), columns_(columns), evaluation_(network, targetsOf(columns)) {}

    /// Ports are looked up each time, since hosts and nodes may change the network.
    RunStatus evaluate(std::size_t frame, const ComputeData* data, const RunOptions& options) {
        for (const Drive& drive : drives_) {
            drive.set(findInput(network_, drive.node, drive.input), frame);
        }
        const RunStatus status = evaluation_.run(data, options).status;
        if (isComputed(status)) {
            for (const auto& column : columns_) {
                column->store(findPort(network_, column->node, column->port), frame);
            }
        }
        return status;
    }

    static std::vector<std::string> targetsOf(const std::vector<std::unique_ptr<Column>>& columns) {
        std::vector<std::string> targets;
        std::unordered_set<std::string> known;
        for (const auto& column : columns) {
            if (known.insert(column->node).second) {
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
        const Port* port = ofType<T>(findInput(network_, node, input));
        if (port == nullptr || port->numConnections() != 0 || values.size() != count_) {
            Logger::error() << "Impossible to drive " << node << "." << input << " over " << count_ << " frames";
            return false;
        }
        drives_.push_back({node, input, [values = std::move(values)](Port* driven, std::size_t frame) {
                               if (auto* typed = ofType<T>(driven)) {
                                   typed->set(values[frame]);
                               }
                           }});
        return true;
    }

    template <class T>
    bool collect(const std::string& node, const std::string& port) {
        if (ofType<T>(findPort(network_, node, port)) == nullptr) {
            Logger::error() << "Impossible to collect " << node << "." << port;
            return false;
        }
        columns_.push_back(std::make_unique<TypedColumn<T>>(node, port, count_));
        byName_.emplace(std::tuple(node, port, std::type_index(typeid(T))), columns_.back().get());
        return true;
    }

    template <class T>
    std::vector<T> column(const std::string& node, const std::string& port) const {
        const auto found = byName_.find(std::tuple(node, port, std::type_index(typeid(T))));
        return found != byName_.end() ? static_cast<const TypedColumn<T>&>(*found->second).values() : std::vector<T>();
    }

    std::size_t count() const { return count_; }

    RunStatus run(const ComputeData* data, const RunOptions& options) {
        if (Access::nodes(network_).state()->running.load(std::memory_order_relaxed)) {
            return RunStatus::Busy;  // Before an input is set: the evaluation that this comes from goes on.
        }
        for (const auto& column : columns_) {
            column->clear();
        }
        internal::RunControl control(options);
        control.setTotal(count_);
        // Of the nodes' progress nobody wants to know.
        RunOptions ofFrames = options;
        ofFrames.progress = nullptr;
        Stage stage(network_, drives_, columns_);

        // Two frames, the second of which shows what a frame takes when all is prepared.
        std::size_t next = 0;
        double cost = 0.0;
        RunStatus ended = RunStatus::Done;
        while (next < count_) {
            const bool tellsNothing = next < 2;
            if (!tellsNothing && next == 2 && options.parallel && pay(cost)) {
                const RunStatus status = runCopies(stage, next, data, ofFrames, control);
                if (!isComputed(status)) {
                    return status;
                }
                next = count_ - 1;
            }
            const Clock::time_point begin = Clock::now();
            const RunStatus status = stage.evaluate(next, data, ofFrames);
            if (!isComputed(status)) {
                return status;
            }
            ended = status;
            cost = nanosecondsSince(begin);
            ++next;
            if (!control.goesOn(1) && next < count_) {
                return RunStatus::Cancelled;
            }
        }
        return ended;
    }

private:
    bool pay(double costOfFrame) const {
        const auto threads = static_cast<double>(internal::TaskGroup::concurrency());
        const double work = costOfFrame * static_cast<double>(count_ - 2);
        const double saved = work * (1.0 - 1.0 / threads);
        const auto nodes = static_cast<double>(Access::nodes(network_).size());
        return threads > 1.0 && work >= leastWork && saved >= 2.0 * copyCostPerNode * nodes &&
               internal::copiesGiveTheSame(Access::nodes(network_), Stage::targetsOf(columns_));
    }

    /// The frames from `first` to the one before the last, by copies and by the network itself.
    RunStatus runCopies(Stage& stage, std::size_t first, const ComputeData* data, RunOptions options,
                        internal::RunControl& control) {
        options.parallel = false;
        const std::size_t last = count_ - 1;
        const std::size_t threads = std::min<std::size_t>(internal::TaskGroup::concurrency(), last - first + 1);
        const std::size_t batch = std::max<std::size_t>(1, (last - first) / (threads * batchesPerThread));
        const std::vector<std::unique_ptr<Copy>> copies = copy(threads - 1);
        std::atomic<std::size_t> next{first};
        std::atomic<RunStatus> ended{RunStatus::Done};
        const auto work = [&](Stage& mine) {
            try {
                for (std::size_t begin; !control.isStopped() && (begin = next.fetch_add(batch)) < last;) {
                    for (std::size_t frame = begin; frame < std::min(last, begin + batch); ++frame) {
                        const RunStatus status = mine.evaluate(frame, data, options);
                        if (!isComputed(status)) {
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

    /// So many copies of the network, or none where they would not do.
    std::vector<std::unique_ptr<Copy>> copy(std::size_t count) const {
        const std::vector<std::string> targets = Stage::targetsOf(columns_);
        std::vector<std::unique_ptr<Copy>> copies;
        try {
            for (std::size_t i = 0; i < count; ++i) {
                copies.push_back(std::make_unique<Copy>(network_));
                NetworkManager& network = copies.back()->network;
                if (!internal::isTrueCopy(Access::nodes(network_), targets, Access::nodes(network))) {
                    return {};
                }
                copies.back()->stage = std::make_unique<Stage>(network, drives_, columns_);
            }
        } catch (...) {
            // Nodes that cannot be cloned, or that find no memory for it, are computed where they are.
            return {};
        }
        return copies;
    }

    NetworkManager& network_;
    const std::size_t count_;
    std::vector<Drive> drives_;
    std::vector<std::unique_ptr<Column>> columns_;
    std::map<std::tuple<std::string, std::string, std::type_index>, const Column*> byName_;
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
