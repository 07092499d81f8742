#include <TessilGraph/graph/NodeFactory.h>

#include <TessilUtils/Logger.h>

#include <cctype>

using TessilUtils::Logger;

namespace TessilGraph {

NodeFactory& NodeFactory::instance() {
    static NodeFactory factory;
    return factory;
}

void NodeFactory::registerNode(const std::string& name, Creator creator) {
    if (creator == nullptr) {
        Logger::error() << "Error null pointer";
        return;
    }
    if (!creators_.emplace(name, creator).second) {
        Logger::error() << "Node " << name << " already registered";
    }
}

void NodeFactory::deregisterNode(const std::string& name) {
    if (creators_.erase(name) == 0) {
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
    names.reserve(creators_.size());
    for (const auto& [name, creator] : creators_) {
        names.push_back(name);
    }
    return names;
}

NodeFactory::Creator NodeFactory::findCreator(const std::string& name) const {
    if (name.empty()) {
        return nullptr;
    }
    auto found = creators_.find(name);
    if (found == creators_.end()) {
        std::string capitalised = name;
        capitalised.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(capitalised.front())));
        found = creators_.find(capitalised);
    }
    return found != creators_.end() ? found->second : nullptr;
}

}  // namespace TessilGraph
