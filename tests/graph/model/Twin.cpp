#include <tests/graph/model/Twin.h>

#include <tests/faults/Shortage.h>

#include <array>
#include <memory>

namespace twins {

using model::Value;
using TessilGraph::ComputeData;
using TessilGraph::Node;
using TessilGraph::NodeFactory;
using TessilGraph::Port;
using tests::SparedFromShortage;

Record record;

Value valueOf(Port* port) {
    Value value;
    if (auto* number = dynamic_cast<Numbers*>(port)) {
        value.number = number->get();
    } else {
        value.text = dynamic_cast<Texts&>(*port).get();
    }
    return value;
}

void setValue(Port* port, const Value& value) {
    if (auto* number = dynamic_cast<Numbers*>(port)) {
        number->set(value.number);
    } else {
        dynamic_cast<Texts&>(*port).set(value.text);
    }
}

Port* makePort(const std::string& name, const std::string& type) {
    if (type == "DoublePort") {
        return new Numbers(name);
    }
    return new Texts(name);
}

Twin::Twin(std::size_t type) : type_(type) {
    for (const model::PortType& port : model::nodeTypes()[type].inputs) {
        add(port, true);
    }
    for (const model::PortType& port : model::nodeTypes()[type].outputs) {
        add(port, false);
    }
}

Twin::~Twin() {
    const SparedFromShortage spared;
    record.destroyed.push_back(id);
}

void Twin::add(const model::PortType& port, bool input) {
    std::unique_ptr<Port> made(makePort(port.name, port.type));
    if (takes(made.get(), input)) {
        static_cast<void>(made.release());
    }
}

std::vector<Port*> Twin::inputs() {
    const SparedFromShortage spared;
    std::vector<Port*> ports;
    for (const std::string& name : getInputPortNames()) {
        ports.push_back(getInputPort(name));
    }
    return ports;
}

std::vector<Port*> Twin::outputs() {
    const SparedFromShortage spared;
    std::vector<Port*> ports;
    for (const std::string& name : getOutputPortNames()) {
        ports.push_back(getOutputPort(name));
    }
    return ports;
}

bool Twin::takes(Port* port, bool input) {
    const auto before = numInputPorts() + numOutputPorts();
    input ? addInputPort(port) : addOutputPort(port);
    return numInputPorts() + numOutputPorts() > before;
}

Node* Twin::clone() {
    auto copy = std::make_unique<Twin>(type_);
    copy->setName(name());
    for (Port* port : inputs()) {
        Port* copied = copy->getInputPort(port->name());
        if (port->numConnections() == 0 && copied != nullptr && copied->typeStr() == port->typeStr()) {
            copied->copyValue(port);
        }
    }
    return copy.release();
}

bool Twin::compute(const ComputeData* data) {
    const SparedFromShortage spared;
    {
        const std::lock_guard<std::mutex> guard(record.mutex);
        record.computed.push_back(id);
        record.hadOtherData = record.hadOtherData || data != record.data;
    }
    if (throws) {
        throw Failure(name());
    }
    ++computes;
    std::vector<Value> values;
    for (Port* port : inputs()) {
        values.push_back(valueOf(port));
    }
    std::size_t index = 0;
    for (Port* port : outputs()) {
        setValue(port, model::outcome(values, computes, index++));
    }
    return computes % 2 == 0;
}

namespace {

template <std::size_t Type>
Node* make() {
    return new Twin(Type);
}

}  // namespace

NodeFactory::Creator Twin::creator(std::size_t type) {
    static const std::array<NodeFactory::Creator, 5> creators = {make<0>, make<1>, make<2>, make<3>, make<4>};
    return creators.at(type);
}

void registerTwins() {
    NodeFactory& factory = NodeFactory::instance();
    for (std::size_t type = 0; type < model::nodeTypes().size(); ++type) {
        factory.registerNode(model::nodeTypes()[type].name, Twin::creator(type));
    }
}

}  // namespace twins
