#include <TessilGraph/graph/internal/Kernel.h>

#include <TessilGraph/graph/Node.h>

#include <mutex>
#include <shared_mutex>
#include <typeindex>
#include <unordered_map>

namespace TessilGraph::internal {

namespace {

struct Table {
    std::shared_mutex mutex;
    std::unordered_map<std::type_index, Kernel> kernels;
};

/// Never destroyed: networks of static duration may be evaluated while the process ends.
Table& table() {
    static auto* instance = new Table;
    return *instance;
}

}  // namespace

void addKernel(const std::type_info& nodeClass, const Kernel& kernel) {
    const std::unique_lock<std::shared_mutex> lock(table().mutex);
    table().kernels.emplace(nodeClass, kernel);
}

const Kernel* findKernel(const Node& node) {
    const std::shared_lock<std::shared_mutex> lock(table().mutex);
    const auto found = table().kernels.find(typeid(node));
    return found != table().kernels.end() ? &found->second : nullptr;
}

}  // namespace TessilGraph::internal
