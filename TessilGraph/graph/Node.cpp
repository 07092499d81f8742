#include <TessilGraph/graph/Node.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/CycleCheck.h>
#include <TessilGraph/graph/internal/LentLists.h>

#include <TessilUtils/Logger.h>

#include <algorithm>

using TessilUtils::Logger;

namespace TessilGraph {

namespace {

std::vector<Port*>::const_iterator findPort(const std::vector<Port*>& ports, const std::string& name) {
    return std::find_if(ports.begin(), ports.end(),
                        [&name](const Port* port) { return port != nullptr && internal::Access::name(*port) == name; });
}

Port* getPort(const std::vector<Port*>& ports, const std::string& name) {
    const auto found = findPort(ports, name);
    return found != ports.end() ? *found : nullptr;
}

std::vector<std::string> portNames(const std::vector<Port*>& ports) {
    std::vector<std::string> names;
    names.reserve(ports.size());
    for (const Port* port : ports) {
        if (port != nullptr) {
            names.push_back(internal::Access::name(*port));
        }
    }
    return names;
}

}  // namespace

Node::Node() : label_(internal::newLabel()) {}

std::string Node::typeStr() const {
    return "Node";
}

Node::~Node() {
    for (Port* port : inputs_) {
        delete port;
    }
    for (Port* port : outputs_) {
        delete port;
    }
}

bool Node::compute(const ComputeData*) {
    return true;
}

void Node::reset() {
    for (Port* port : inputs_) {
        if (port != nullptr) {
            port->reset();
        }
    }
    for (Port* port : outputs_) {
        if (port != nullptr) {
            port->reset();
        }
    }
}

short Node::baseNodeType() const {
    return 0;
}

void Node::setName(const std::string& name) {
    name_ = name;
    if (home_ != nullptr) {
        home_ = nullptr;
        internal::LentLists::nodeMoves(*this);
    }
}

void Node::addInputPort(Port* port) {
    addPort(inputs_, port, true);
}

void Node::addOutputPort(Port* port) {
    addPort(outputs_, port, false);
}

Port* Node::getInputPort(const std::string& name) {
    return getPort(inputs_, name);
}

Port* Node::getOutputPort(const std::string& name) {
    return getPort(outputs_, name);
}

std::vector<std::string> Node::getInputPortNames() const {
    return portNames(inputs_);
}

std::vector<std::string> Node::getOutputPortNames() const {
    return portNames(outputs_);
}

void Node::removeInputPort(const std::string& name) {
    const auto found = findPort(inputs_, name);
    if (found == inputs_.end()) {
        return;
    }
    inputsElsewhere_ = true;
    (*found)->removed_ = true;
    inputs_.erase(found);
}

void Node::removeOutputPort(const std::string& name) {
    const auto found = findPort(outputs_, name);
    if (found == outputs_.end()) {
        return;
    }
    (*found)->removed_ = true;
    outputs_.erase(found);
}

void Node::setDirty(bool dirty) {
    if (isDirty() == dirty) {
        return;
    }
    if (!dirty) {
        dirty_.store(false, std::memory_order_relaxed);
        return;
    }
    std::vector<Node*> marked;
    setDirtyFlag();
    marked.push_back(this);
    while (!marked.empty()) {
        const Node* node = marked.back();
        marked.pop_back();
        for (const Port* output : node->outputs_) {
            if (output == nullptr) {
                continue;
            }
            for (const Port* peer : output->connections_) {
                Node* downstream = peer != nullptr ? peer->node() : nullptr;
                if (downstream != nullptr && !downstream->isDirty()) {
                    downstream->setDirtyFlag();
                    marked.push_back(downstream);
                }
            }
        }
    }
}

void Node::addPort(std::vector<Port*>& ports, Port* port, bool asInput) {
    if (port == nullptr) {
        Logger::error() << "Error null pointer";
        return;
    }
    if (getPort(ports, port->name_) != nullptr) {
        Logger::error() << "Port " << port->name_ << "already exists";
        return;
    }
    ports.push_back(port);
    port->setAsInput(asInput);
    // A port that comes with links, or that others may still list, takes these to another node.
    const bool comesLinked = !port->connections_.empty();
    const bool mayBeListed = port->lost_ != nullptr || port->lostMany_;
    const bool isWatched = port->watched_;
    port->node_ = this;
    port->removed_ = false;
    port->displaced_ = mayBeListed;
    if (comesLinked || mayBeListed || isWatched) {
        internal::LentLists::watch(*port);
    }
}

}  // namespace TessilGraph
