#include <TessilGraph/graph/NodeFactory.h>

#include <TessilUtils/Logger.h>

#include <cctype>

using TessilUtils::Logger;

namespace TessilGraph {

NodeFactory& NodeFactory::instance() {
    // Never destroyed: static objects of the host may make nodes while the process ends.
    static auto* factory = new NodeFactory;
    return *factory;
}

void NodeFactory::registerNode(const std::string& name, Creator creator) {
    if (creator == nullptr) {
        Logger::error() << "Error null pointer";
        return;
    }
    if (!creators_.add(name, creator)) {
        Logger::error() << "Node " << name << " already registered";
    }
}

void NodeFactory::deregisterNode(const std::string& name) {
    if (!creators_.erase(name)) {
        Logger::error() << "Node " << name << " is not registered";
    }
}

Node* NodeFactory::createNode(const std::string& name) {
    const Creator creator = findCreator(name);
    return creator != nullptr ? creator() : nullptr;
}

bool NodeFactory::isRegistered(const std::string& name) {
    return findCreator(name) != nullptr;
}

std::vector<std::string> NodeFactory::getRegisteredNodes() {
    std::vector<std::string> names;
    for (const auto* entry : creators_.sorted()) {
        names.push_back(entry->name);
    }
    return names;
}

NodeFactory::Creator NodeFactory::findCreator(const std::string& name) const {
    if (name.empty()) {
        return nullptr;
    }
    const Creator* found = creators_.find(name);
    if (found == nullptr) {
        std::string capitalised = name;
        capitalised.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(capitalised.front())));
        found = creators_.find(capitalised);
    }
    return found != nullptr ? *found : nullptr;
}

}  // namespace TessilGraph
