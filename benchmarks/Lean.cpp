#include <benchmarks/Lean.h>

#include <benchmarks/Mathematics.h>

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace bench {

using Imath::M44d;
using Imath::V3d;

namespace {

/// An input: its own value and the address that is read.
template <class T>
struct In {
    T own{};
    const T* value = &own;
};

void assign(double& to, const V3d& value) {
    to = value.x;
}
void assign(std::int32_t& to, const V3d& value) {
    to = static_cast<std::int32_t>(value.x);
}
void assign(bool& to, const V3d& value) {
    to = value.x != 0.0;
}
void assign(V3d& to, const V3d& value) {
    to = value;
}
void assign(M44d&, const V3d&) {}

template <class... Inputs>
class LeanShape : public LeanNode {
public:
    LeanShape() {
        sourceCount = sizeof...(Inputs);
        sources = sources_;
    }

    void setInput(std::uint32_t place, const V3d& value) override {
        forInput(place, [&](auto& input) { assign(input.own, value); });
    }

    void readFrom(std::uint32_t place, const void* value) override {
        forInput(place, [&](auto& input) { input.value = static_cast<decltype(input.value)>(value); });
    }

protected:
    template <std::size_t place>
    const auto& in() const {
        return *std::get<place>(inputs_).value;
    }

private:
    template <class Function>
    void forInput(std::uint32_t place, Function function) {
        std::uint32_t here = 0;
        std::apply([&](auto&... input) { ((here++ == place ? function(input) : void()), ...); }, inputs_);
    }

    LeanNode* sources_[sizeof...(Inputs)] = {};
    std::tuple<In<Inputs>...> inputs_;
};

/// A node with one output, `out` = function of the inputs.
template <class Out, class... Inputs>
class OneOutput : public LeanShape<Inputs...> {
public:
    const void* output(std::uint32_t) override { return &out; }

protected:
    Out out{};
};

class Add final : public OneOutput<double, double, double> {
    void compute() override { out = in<0>() + in<1>(); }
};
class Min final : public OneOutput<double, double, double> {
    void compute() override { out = smaller(in<0>(), in<1>()); }
};
class Slow final : public OneOutput<double, double, double> {
    void compute() override { out = slowSum(in<0>(), in<1>()); }
};
class SetRotation final : public OneOutput<M44d, M44d, V3d> {
    void compute() override { out = rotation(in<1>()); }
};
class SetTranslation final : public OneOutput<M44d, M44d, V3d> {
    void compute() override { out = translation(in<1>()); }
};
class Multiply final : public OneOutput<M44d, M44d, M44d> {
    void compute() override { out = product(in<0>(), in<1>()); }
};
class Compare final : public OneOutput<bool, double, double, std::int32_t> {
    void compute() override { out = in<2>() == 3 ? in<0>() > in<1>() : in<0>() == in<1>(); }
};
class If final : public OneOutput<double, bool, double, double> {
    void compute() override { out = in<0>() ? in<1>() : in<2>(); }
};
class Blend final : public OneOutput<V3d, V3d, V3d, double> {
    void compute() override { out = blend(in<0>(), in<1>(), in<2>()); }
};
class AddVector final : public OneOutput<V3d, V3d, V3d> {
    void compute() override { out = in<0>() + in<1>(); }
};
class Extract final : public LeanShape<M44d> {
    void compute() override { out_ = decompose(in<0>()); }
    const void* output(std::uint32_t place) override {
        const V3d* const outputs[] = {&out_.scale, &out_.shear, &out_.rotate, &out_.translate};
        return outputs[place];
    }
    Parts out_;
};
class Split final : public LeanShape<V3d> {
    void compute() override { out_ = in<0>(); }
    const void* output(std::uint32_t place) override { return &out_[static_cast<int>(place)]; }
    V3d out_{0.0};
};

LeanNode* makeNode(Kind kind) {
    switch (kind) {
        case Kind::addDouble:
            return new Add;
        case Kind::minDouble:
            return new Min;
        case Kind::setRotation:
            return new SetRotation;
        case Kind::setTranslation:
            return new SetTranslation;
        case Kind::multiplyMatrix:
            return new Multiply;
        case Kind::extractSHRT:
            return new Extract;
        case Kind::vectorToDouble:
            return new Split;
        case Kind::compareDouble:
            return new Compare;
        case Kind::ifDouble:
            return new If;
        case Kind::blendVectors:
            return new Blend;
        case Kind::addVector:
            return new AddVector;
        case Kind::slowAdd:
            return new Slow;
    }
    std::abort();
}

void addConsumer(LeanNode& node, LeanNode* consumer) {
    if (node.consumerCount == node.consumerRoom) {
        node.consumerRoom = node.consumerRoom == 0 ? 2 : 2 * node.consumerRoom;
        // NOLINTNEXTLINE(bugprone-sizeof-expression): it is pointers that need room.
        void* larger = std::realloc(node.consumers, node.consumerRoom * sizeof(LeanNode*));
        node.consumers = static_cast<LeanNode**>(larger);
    }
    node.consumers[node.consumerCount++] = consumer;
}

}  // namespace

LeanNode::~LeanNode() {
    std::free(consumers);
}

LeanNetwork::LeanNetwork(const Workload& workload) : workload_(workload) {
    nodes_.reserve(workload.size());
    for (const Kind kind : workload.kinds) {
        nodes_.push_back(makeNode(kind));
        nodes_.back()->callSite = static_cast<std::uint8_t>(static_cast<unsigned>(kind) % 4);
    }
    for (const Link& link : workload.links) {
        LeanNode& source = *nodes_[link.source];
        LeanNode& target = *nodes_[link.target];
        target.readFrom(link.input, source.output(link.output));
        target.sources[link.input] = &source;
        addConsumer(source, &target);
    }
    sink_ = nodes_[workload.sink];
}

void LeanNetwork::setConstants() {
    for (const Constant& constant : workload_.constants) {
        nodes_[constant.node]->setInput(constant.input, constant.value);
    }
}

LeanNetwork::~LeanNetwork() {
    for (LeanNode* node : nodes_) {
        delete node;
    }
}

void LeanNetwork::touch(std::uint32_t node, const V3d& value) {
    nodes_[node]->setInput(Workload::touchedInput, value);
    mark(node);
}

void LeanNetwork::mark(std::uint32_t node) {
    if (nodes_[node]->dirty) {
        return;
    }
    nodes_[node]->dirty = true;
    pending_.push_back(nodes_[node]);
    while (!pending_.empty()) {
        const LeanNode& here = *pending_.back();
        pending_.pop_back();
        for (std::uint32_t i = 0; i < here.consumerCount; ++i) {
            LeanNode* consumer = here.consumers[i];
            if (!consumer->dirty) {
                consumer->dirty = true;
                pending_.push_back(consumer);
            }
        }
    }
}

void LeanNetwork::setAll(bool dirty) {
    for (LeanNode* node : nodes_) {
        node->dirty = dirty;
    }
}

std::size_t LeanNetwork::countDirty() const {
    return static_cast<std::size_t>(
        std::count_if(nodes_.begin(), nodes_.end(), [](const LeanNode* node) { return node->dirty; }));
}

void LeanNetwork::evaluate() {
    if (!sink_->dirty) {
        return;
    }
    walk(order_, true);
    for (LeanNode* node : order_) {
        computeSplit(*node);
    }
}

void LeanNetwork::store() {
    walk(stored_, false);
}

void LeanNetwork::replay() {
    for (LeanNode* node : stored_) {
        if (node->dirty) {
            computeSplit(*node);
        }
    }
}

V3d LeanNetwork::sinkValue() const {
    const void* value = sink_->output(0);
    return workload_.isRig() ? *static_cast<const V3d*>(value) : V3d(*static_cast<const double*>(value), 0.0, 0.0);
}

void LeanNetwork::walk(std::vector<LeanNode*>& order, bool onlyDirty) {
    const std::uint32_t walk = ++walks_;
    order.clear();
    sink_->mark = walk;
    path_.emplace_back(sink_, 0);
    while (!path_.empty()) {
        auto& [node, next] = path_.back();
        if (next == node->sourceCount) {
            order.push_back(node);
            path_.pop_back();
            continue;
        }
        LeanNode* source = node->sources[next++];
        if (source != nullptr && source->mark != walk && (source->dirty || !onlyDirty)) {
            source->mark = walk;
            path_.emplace_back(source, 0);
        }
    }
}

}  // namespace bench
