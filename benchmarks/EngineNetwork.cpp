#include <benchmarks/EngineNetwork.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace bench {

using Imath::V3d;
using TessilGraph::Node;
using TessilGraph::Port;
using TessilGraph::PortTemplate;

namespace {

void assign(Port& port, const V3d& value) {
    if (port.typeStr() == PortTemplate<V3d>::staticTypeStr()) {
        static_cast<PortTemplate<V3d>&>(port).set(value);
    } else if (port.typeStr() == PortTemplate<double>::staticTypeStr()) {
        static_cast<PortTemplate<double>&>(port).set(value.x);
    } else {
        static_cast<PortTemplate<TessilGraph::Long>&>(port).set(static_cast<TessilGraph::Long>(value.x));
    }
}

}  // namespace

std::vector<std::string> makeNames(std::size_t count, const char* prefix) {
    std::vector<std::string> names;
    names.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        names.push_back(prefix + std::to_string(i));
    }
    return names;
}

void buildByNames(TessilGraph::NetworkManager& manager, const Workload& workload, const std::vector<Link>& links,
                  const std::vector<std::string>& names) {
    for (std::size_t node = 0; node < workload.size(); ++node) {
        manager.createNode(namesOf(workload.kinds[node]).type, names[node]);
    }
    for (const Link& link : links) {
        const char* output = namesOf(workload.kinds[link.source]).outputs[link.output];
        const char* input = namesOf(workload.kinds[link.target]).inputs[link.input];
        if (!manager.connectAttr(names[link.source], output, names[link.target], input)) {
            std::fprintf(stderr, "a link of %s was refused\n", workload.name.c_str());
            std::exit(1);
        }
    }
}

EngineNetwork::EngineNetwork(const Workload& workload) : workload_(workload), names_(makeNames(workload.size())) {
    buildByNames(manager_, workload, workload.links, names_);
    for (std::size_t node = 0; node < workload.size(); ++node) {
        nodes_.push_back(manager_.getNode(names_[node]));
        const char* input = namesOf(workload.kinds[node]).inputs[Workload::touchedInput];
        touched_.push_back(input != nullptr ? nodes_.back()->getInputPort(input) : nullptr);
    }
    sink_ = nodes_[workload.sink]->getOutputPort(namesOf(workload.kinds[workload.sink]).outputs[0]);
}

void EngineNetwork::setConstants() {
    for (const Constant& constant : workload_.constants) {
        const char* input = namesOf(workload_.kinds[constant.node]).inputs[constant.input];
        assign(*nodes_[constant.node]->getInputPort(input), constant.value);
    }
}

void EngineNetwork::touch(std::uint32_t node, const V3d& value) {
    // A host knows the types of its ports.
    if (workload_.isRig()) {
        static_cast<PortTemplate<V3d>*>(touched_[node])->set(value);
    } else {
        static_cast<PortTemplate<double>*>(touched_[node])->set(value.x);
    }
}

void EngineNetwork::setAll(bool dirty) {
    for (Node* node : nodes_) {
        if (dirty) {
            node->setDirtyFlag();
        } else {
            node->setDirty(false);
        }
    }
}

void EngineNetwork::rewire() {
    const Link& link = workload_.links.back();
    Port* source = nodes_[link.source]->getOutputPort(namesOf(workload_.kinds[link.source]).outputs[link.output]);
    Port* target = nodes_[link.target]->getInputPort(namesOf(workload_.kinds[link.target]).inputs[link.input]);
    source->disconnectFrom(target);
    source->connectTo(target);
}

std::size_t EngineNetwork::countDirty() const {
    return static_cast<std::size_t>(
        std::count_if(nodes_.begin(), nodes_.end(), [](const Node* node) { return node->isDirty(); }));
}

void EngineNetwork::evaluateLevels() {
    constexpr bool parallel = true;
    manager_.computeNode(names_[workload_.sink], nullptr, parallel);
}

void EngineNetwork::replay() {
    constexpr bool parallel = false;
    constexpr bool useCache = true;
    manager_.computeNode(names_[workload_.sink], nullptr, parallel, useCache);
}

void EngineNetwork::runPrepared() {
    if (!prepared_) {
        prepared_.emplace(manager_, names_[workload_.sink]);
    }
    prepared_->run();
}

void EngineNetwork::runPreparedParallel() {
    if (!prepared_) {
        prepared_.emplace(manager_, names_[workload_.sink]);
    }
    TessilGraph::RunOptions options;
    options.parallel = true;
    prepared_->run(nullptr, options);
}

V3d EngineNetwork::sinkValue() const {
    return workload_.isRig() ? static_cast<PortTemplate<V3d>*>(sink_)->get()
                             : V3d(static_cast<PortTemplate<double>*>(sink_)->get(), 0.0, 0.0);
}

}  // namespace bench
