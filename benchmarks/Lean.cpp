#include <benchmarks/Lean.h>

#include <Imath/ImathMatrixAlgo.h>

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace bench {

using Imath::M44d;
using Imath::V3d;

namespace {

// --- The mathematics, shared by the nodes and the loops -------------------------------------------

struct Parts {
    V3d scale{0.0};
    V3d shear{0.0};
    V3d rotate{0.0};
    V3d translate{0.0};
};

double smaller(double in1, double in2) {
    return in2 < in1 ? in2 : in1;
}

M44d rotation(const V3d& angles) {
    M44d out;
    out.setEulerAngles(angles);
    return out;
}

M44d translation(const V3d& vector) {
    M44d out;
    out.setTranslation(vector);
    return out;
}

M44d product(const M44d& in1, const M44d& in2) {
    M44d out(Imath::UNINITIALIZED);
    M44d::multiply(in1, in2, out);
    return out;
}

Parts decompose(const M44d& matrix) {
    Parts parts;
    Imath::extractSHRT(matrix, parts.scale, parts.shear, parts.rotate, parts.translate, false);
    return parts;
}

V3d blend(const V3d& in1, const V3d& in2, double parameter) {
    return parameter * in2 + (1.0 - parameter) * in1;
}

// --- Nodes ----------------------------------------------------------------------------------------

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
    }
    std::abort();
}

void addConsumer(LeanNode& node, LeanNode* consumer) {
    if (node.consumerCount == node.consumerRoom) {
        node.consumerRoom = node.consumerRoom == 0 ? 2 : 2 * node.consumerRoom;
        void* larger = std::realloc(node.consumers, node.consumerRoom * sizeof(LeanNode*));
        node.consumers = static_cast<LeanNode**>(larger);
    }
    node.consumers[node.consumerCount++] = consumer;
}

/// Computes from one of four places, so that the processor foresees each kind's target apart. The
/// empty statements keep the compiler from making one place of them.
inline void computeSplit(LeanNode& node) {
    switch (node.callSite) {
        case 0:
            node.compute();
            asm volatile("# site 0");
            break;
        case 1:
            node.compute();
            asm volatile("# site 1");
            break;
        case 2:
            node.compute();
            asm volatile("# site 2");
            break;
        default:
            node.compute();
            asm volatile("# site 3");
            break;
    }
    node.dirty = false;
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

// --- Loops ----------------------------------------------------------------------------------------

namespace {

/// The number of the joint, over all characters, to which one of its ten nodes belongs.
std::uint32_t jointOf(std::uint32_t node) {
    return node / 879 * 80 + node % 879 / 10;
}

}  // namespace

FlatLoop::FlatLoop(const Workload& workload) : workload_(workload) {
    const auto size = static_cast<std::uint32_t>(workload.size());
    if (workload.isRig()) {
        for (const std::uint32_t joint : workload.all) {
            angles_.push_back(workload.touchValue(joint, 0));
        }
        // The fourth node of a joint reads that of its parent, and 879 nodes make a character of 80.
        parents_.assign(angles_.size(), ~std::uint32_t{0});
        for (const Link& link : workload.links) {
            const bool isWorld = workload.kinds[link.target] == Kind::multiplyMatrix && link.target % 879 % 10 == 3;
            if (isWorld && link.input == 1) {
                parents_[jointOf(link.target)] = jointOf(link.source);
            }
        }
        worlds_.resize(angles_.size());
        return;
    }
    values_.assign(std::size_t{3} * size, 0.0);
    for (std::uint32_t node = 0; node < size; ++node) {
        entries_.push_back({size + 2 * node, size + 2 * node + 1});
        if (stretches_.empty() || stretches_.back().kind != workload.kinds[node]) {
            stretches_.push_back({workload.kinds[node], 0});
        }
        stretches_.back().end = node + 1;
    }
    for (const Link& link : workload.links) {
        (link.input == 0 ? entries_[link.target].in1 : entries_[link.target].in2) = link.source;
    }
    for (const Constant& constant : workload.constants) {
        values_[size + 2 * constant.node + constant.input] = constant.value.x;
    }
}

void FlatLoop::touch(std::uint32_t node, const V3d& value) {
    if (workload_.isRig()) {
        angles_[jointOf(node)] = value;
    } else {
        values_[workload_.size() + 2 * node + Workload::touchedInput] = value.x;
    }
}

void FlatLoop::run() {
    if (workload_.isRig()) {
        runRig();
    } else {
        runDoubles();
    }
}

void FlatLoop::runDoubles() {
    double* const values = values_.data();
    std::uint32_t node = 0;
    for (const Stretch& stretch : stretches_) {
        if (stretch.kind == Kind::addDouble) {
            for (; node < stretch.end; ++node) {
                values[node] = values[entries_[node].in1] + values[entries_[node].in2];
            }
        } else {
            for (; node < stretch.end; ++node) {
                values[node] = smaller(values[entries_[node].in1], values[entries_[node].in2]);
            }
        }
    }
    sink_ = V3d(values[workload_.sink], 0.0, 0.0);
}

void FlatLoop::runRig() {
    const M44d identity;
    const auto reduce = [this](std::size_t from) {
        while (results_.size() - from > 1) {
            std::size_t to = from;
            for (std::size_t i = from; i < results_.size(); i += 2) {
                results_[to++] = i + 1 < results_.size() ? results_[i] + results_[i + 1] : results_[i];
            }
            results_.resize(to);
        }
    };
    results_.clear();
    for (std::size_t joint = 0; joint < angles_.size(); ++joint) {
        const M44d local = product(rotation(angles_[joint]), translation(V3d(1.0, 0.5, 0.25)));
        const bool isRoot = parents_[joint] == ~std::uint32_t{0};
        worlds_[joint] = product(local, isRoot ? identity : worlds_[parents_[joint]]);
        const Parts parts = decompose(worlds_[joint]);
        const V3d& at = parts.translate;
        const double parameter = at.y > 0.0 ? at.x + at.z : at.y;
        results_.push_back(blend(parts.translate, parts.rotate, parameter));
        if (joint % 80 == 79) {
            reduce(joint / 80);
        }
    }
    reduce(0);
    sink_ = results_.front();
}

}  // namespace bench
