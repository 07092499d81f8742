#include <TessilGraph/graph/NodeSet.h>

#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/LentLists.h>
#include <TessilGraph/graph/internal/PreparedNodes.h>

namespace TessilGraph {

using internal::Access;

NodeSet::NodeSet() : state_(std::make_shared<internal::NetworkState>()) {
    state_->nodes = this;
}

NodeSet::~NodeSet() {
    clear();
    state_->nodes = nullptr;
}

Node* NodeSet::find(const std::string& name) const {
    Node* const* node = nodes_.find(name);
    return node != nullptr ? *node : nullptr;
}

std::string NodeSet::uniqueName(const std::string& name) {
    if (!nodes_.contains(name)) {
        return name;
    }
    Suffixes& suffixes = suffixes_[name];
    while (!suffixes.givenBack.empty()) {
        std::string candidate = name + std::to_string(*suffixes.givenBack.begin());
        if (!nodes_.contains(candidate)) {
            return candidate;
        }
        suffixes.givenBack.erase(suffixes.givenBack.begin());
    }
    for (;; ++suffixes.next) {
        std::string candidate = name + std::to_string(suffixes.next);
        if (!nodes_.contains(candidate)) {
            return candidate;
        }
    }
}

void NodeSet::enter(Node& node, const std::string& name) {
    remove(name);
    if (Access::slot(node) != 0) {
        Access::home(node)->prepared->dissolve();
    }
    nodes_.set(name, &node);
    node.setName(name);
    Access::home(node) = state_.get();
    state_->noteWiring();
    ++Access::holders(node);
    internal::LentLists::nodeMoves(node);
}

void NodeSet::rename(const std::string& oldName, const std::string& newName) {
    Node* node = find(oldName);
    if (node != nullptr) {
        // The new entry first, so that the node is not lost if there is no memory for it.
        enter(*node, newName);
        nodes_.erase(oldName);
        --Access::holders(*node);
        giveBack(oldName);
    }
}

void NodeSet::remove(const std::string& name) {
    Node* node = find(name);
    if (node == nullptr) {
        return;
    }
    nodes_.erase(name);
    leave(*node);
    giveBack(name);
}

void NodeSet::clear() {
    for (const auto& [name, node] : nodes_) {
        leave(*node);
    }
    nodes_.clear();
    suffixes_.clear();
}

void NodeSet::leave(Node& node) {
    --Access::holders(node);
    if (Access::slot(node) != 0) {
        Access::home(node)->prepared->dissolve();
    }
    state_->noteWiring();
    Access::home(node) = nullptr;
    internal::LentLists::nodeMoves(node);
}

void NodeSet::giveBack(const std::string& freedName) {
    // Every way to read the name as another one with a suffix; nobody counts beyond 18 digits.
    constexpr std::size_t mostDigits = 18;
    std::uint64_t suffix = 0;
    std::uint64_t place = 1;
    for (std::size_t digits = 1; digits <= mostDigits && digits <= freedName.size() && !suffixes_.empty(); ++digits) {
        const char digit = freedName[freedName.size() - digits];
        if (digit < '0' || digit > '9') {
            return;
        }
        suffix += static_cast<std::uint64_t>(digit - '0') * place;
        place *= 10;
        if (digit == '0') {
            continue;  // Suffixes have no leading zeros.
        }
        const auto taken = suffixes_.find(freedName.substr(0, freedName.size() - digits));
        if (taken != suffixes_.end() && suffix < taken->second.next) {
            taken->second.givenBack.insert(suffix);
        }
    }
}

}  // namespace TessilGraph
