#include <TessilGraph/graph/NodeSet.h>

#include <TessilGraph/graph/internal/Access.h>

namespace TessilGraph {

using internal::Access;

Node* NodeSet::find(const std::string& name) const {
    Node* const* node = nodes_.find(name);
    return node != nullptr ? *node : nullptr;
}

std::string NodeSet::uniqueName(const std::string& name) {
    if (!nodes_.contains(name)) {
        return name;
    }
    std::uint64_t& suffix = nextSuffix_.emplace(name, 1).first->second;
    for (;; ++suffix) {
        std::string candidate = name + std::to_string(suffix);
        if (!nodes_.contains(candidate)) {
            return candidate;
        }
    }
}

void NodeSet::enter(Node& node, const std::string& name) {
    remove(name);
    nodes_.set(name, &node);
    node.setName(name);
    Access::home(node) = this;
    ++Access::holders(node);
}

void NodeSet::remove(const std::string& name) {
    Node* node = find(name);
    if (node == nullptr) {
        return;
    }
    Access::home(*node) = nullptr;
    --Access::holders(*node);
    nodes_.erase(name);
    forgetSuffixesAbove(name);
}

void NodeSet::clear() {
    for (const auto& [name, node] : nodes_) {
        Access::home(*node) = nullptr;
        --Access::holders(*node);
    }
    nodes_.clear();
    nextSuffix_.clear();
}

void NodeSet::forgetSuffixesAbove(const std::string& freedName) {
    // Every way to read the name as another one with a suffix; nobody counts beyond 18 digits.
    constexpr std::size_t mostDigits = 18;
    std::uint64_t suffix = 0;
    std::uint64_t place = 1;
    for (std::size_t digits = 1; digits <= mostDigits && digits <= freedName.size() && !nextSuffix_.empty(); ++digits) {
        const char digit = freedName[freedName.size() - digits];
        if (digit < '0' || digit > '9') {
            return;
        }
        suffix += static_cast<std::uint64_t>(digit - '0') * place;
        place *= 10;
        if (digit == '0') {
            continue;  // Suffixes have no leading zeros.
        }
        const auto next = nextSuffix_.find(freedName.substr(0, freedName.size() - digits));
        if (next != nextSuffix_.end() && next->second > suffix) {
            next->second = suffix;
        }
    }
}

}  // namespace TessilGraph
