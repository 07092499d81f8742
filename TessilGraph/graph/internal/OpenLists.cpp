#include <TessilGraph/graph/internal/OpenLists.h>

#include <TessilGraph/graph/internal/Access.h>

#include <algorithm>

namespace TessilGraph::internal {

bool OpenLists::note(const Node& node) {
    noteList(Access::inputList(node));
    for (const Port* input : Access::inputs(node)) {
        if (input == nullptr) {
            continue;
        }
        if (input->node() != &node || Access::isLoose(*input)) {
            return false;
        }
        noteList(Access::connectionList(*input));
        const Port* source = Access::firstConnection(*input);
        if (source != nullptr && (source->node() == nullptr || Access::isLoose(*source))) {
            return false;
        }
    }
    return true;
}

bool OpenLists::areUnchanged() const {
    return std::all_of(seen_.begin(), seen_.end(), [](const Seen& seen) {
        const PortRange now = seen.list->range();
        return std::equal(now.begin(), now.end(), seen.ports.begin(), seen.ports.end());
    });
}

void OpenLists::noteList(const PortList& list) {
    if (list.isOpen()) {
        const PortRange now = list.range();
        seen_.push_back({&list, std::vector<Port*>(now.begin(), now.end())});
    }
}

}  // namespace TessilGraph::internal
