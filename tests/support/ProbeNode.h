#pragma once

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace tests {

/// What the probe nodes of this process did. Safe from several threads.
class ProbeRecord {
public:
    static ProbeRecord& instance() {
        static ProbeRecord record;
        return record;
    }

    void addComputed(const std::string& name) { add(computed_, name); }
    void addDestroyed(const std::string& name) { add(destroyed_, name); }

    /// The names of the nodes that were computed since the last call, in that order.
    std::vector<std::string> takeComputed() { return take(computed_); }

    /// The names of the nodes that were destroyed since the last call, in that order.
    std::vector<std::string> takeDestroyed() { return take(destroyed_); }

private:
    void add(std::vector<std::string>& names, const std::string& name) {
        const std::lock_guard<std::mutex> guard(mutex_);
        names.push_back(name);
    }

    std::vector<std::string> take(std::vector<std::string>& names) {
        const std::lock_guard<std::mutex> guard(mutex_);
        return std::exchange(names, {});
    }

    std::mutex mutex_;
    std::vector<std::string> computed_;
    std::vector<std::string> destroyed_;
};

inline std::vector<std::string> takeComputed() {
    return ProbeRecord::instance().takeComputed();
}
inline std::vector<std::string> takeDestroyed() {
    return ProbeRecord::instance().takeDestroyed();
}

/// A node that reports when it is computed and when it dies.
class ProbeNode : public TessilGraph::Node {
public:
    ~ProbeNode() override { ProbeRecord::instance().addDestroyed(name()); }

    bool compute(const TessilGraph::ComputeData* data) override {
        ++computes;
        seenData = data;
        ProbeRecord::instance().addComputed(name());
        if (onCompute) {
            onCompute();
        }
        evaluate();
        return result;
    }

    /// Runs inside `compute`, before the outputs are written; may throw.
    std::function<void()> onCompute;
    /// What `compute` returns.
    bool result = true;
    /// How often `compute` ran on this object.
    int computes = 0;
    /// The context of the last `compute`.
    const TessilGraph::ComputeData* seenData = nullptr;

protected:
    virtual void evaluate() = 0;
};

/// A probe with the inputs "in1", "in2", ... and the output "out". Numbers: out = 1 + all inputs.
/// Strings: out = the inputs one after another, in brackets.
template <class T, std::size_t Inputs>
class Probe : public ProbeNode {
public:
    using Port = TessilGraph::PortTemplate<T>;

    Probe() {
        for (std::size_t index = 0; index < Inputs; ++index) {
            ins_.push_back(new Port("in" + std::to_string(index + 1)));
            addInputPort(ins_.back());
        }
        addOutputPort(out_);
    }

    static TessilGraph::Node* creator() { return new Probe; }
    static std::string staticTypeStr() {
        return (std::is_same_v<T, std::string> ? "ProbeText" : "ProbeNumber") + std::to_string(Inputs);
    }
    static unsigned int staticTypeId() {
        return static_cast<unsigned int>((std::is_same_v<T, std::string> ? 9100 : 9000) + Inputs);
    }

    std::string typeStr() const override { return staticTypeStr(); }
    unsigned int typeId() const override { return staticTypeId(); }

    TessilGraph::Node* clone() override {
        auto* copy = new Probe;
        copy->setName(name());
        for (Port* port : ins_) {
            if (port->numConnections() == 0) {
                copy->getInputPort(port->name())->copyValue(port);
            }
        }
        return copy;
    }

    /// Input number `index`, counted from 0.
    Port* in(std::size_t index = 0) const { return ins_.at(index); }
    Port* out() const { return out_; }

protected:
    void evaluate() override {
        if constexpr (std::is_same_v<T, std::string>) {
            std::string text = "(";
            for (const Port* port : ins_) {
                text += port->get();
            }
            out_->set(text + ")");
        } else {
            T sum = 1;
            for (const Port* port : ins_) {
                sum += port->get();
            }
            out_->set(sum);
        }
    }

private:
    std::vector<Port*> ins_;
    Port* out_ = new Port("out");
};

using Source = Probe<double, 0>;
using Pipe = Probe<double, 1>;
using Sum = Probe<double, 2>;
using Sum3 = Probe<double, 3>;
using TextSource = Probe<std::string, 0>;
using TextPipe = Probe<std::string, 1>;
using TextSum = Probe<std::string, 2>;

// For who makes them by type.
inline const std::string sourceType = Source::staticTypeStr();
inline const std::string pipeType = Pipe::staticTypeStr();
inline const std::string sumType = Sum::staticTypeStr();

template <class... Types>
bool registerProbes() {
    (TessilGraph::NodeFactory::instance().registerNode(Types::staticTypeStr(), Types::creator), ...);
    return true;
}

inline const bool probesAreRegistered = registerProbes<Source, Pipe, Sum, Sum3, TextSource, TextPipe, TextSum>();

}  // namespace tests
