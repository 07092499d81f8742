#include <benchmarks/EngineNetwork.h>
#include <benchmarks/Lines.h>
#include <benchmarks/Measure.h>
#include <benchmarks/Workloads.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace bench {

using TessilGraph::NetworkManager;

namespace {

/// Renames all nodes of a network, forth and back in turn.
class Renaming {
public:
    explicit Renaming(const Workload& workload) {
        names_[0] = makeNames(workload.size());
        names_[1] = makeNames(workload.size(), "x");
        buildByNames(manager_, workload, workload.links, names_[0]);
    }

    void run() {
        const std::vector<std::string>& from = names_[back_ ? 1 : 0];
        const std::vector<std::string>& to = names_[back_ ? 0 : 1];
        for (std::size_t i = 0; i < from.size(); ++i) {
            manager_.renameNode(from[i], to[i]);
        }
        back_ = !back_;
    }

    bool isRight() {
        const std::vector<std::string>& names = names_[back_ ? 1 : 0];
        return manager_.getNodeNames().size() == names.size() && manager_.getNode(names.back()) != nullptr;
    }

private:
    NetworkManager manager_;
    std::vector<std::string> names_[2];
    bool back_ = false;
};

/// Creates nodes without links under the names.
Side creationSide(std::vector<std::string> names, const std::string& last) {
    auto manager = std::make_shared<std::unique_ptr<NetworkManager>>();
    return {[manager] { *manager = std::make_unique<NetworkManager>(); },
            [manager, names = std::move(names)] {
                for (const std::string& name : names) {
                    (*manager)->createNode("AddDouble", name);
                }
            },
            [manager, last] { return (*manager)->getNode(last) != nullptr; }};
}

}  // namespace

void addRenameLine(const std::string& size) {
    addLine("rename/chain/" + size, roundsFor(size, manyRounds), [=] {
        const Workload workload = makeWorkload("chain", size);
        auto renaming = std::make_shared<Renaming>(workload);
        Case compared;
        compared.units = static_cast<double>(workload.size());
        compared.unit = "ns/call";
        compared.subject = {nullptr, [renaming] { renaming->run(); }, [renaming] { return renaming->isRight(); }};
        return compared;
    });
}

void addOneNameLine(std::size_t count, const std::string& size) {
    addLine("one_name/nodes/" + size, roundsFor(size, fewRounds), [=] {
        const std::string last = "node" + std::to_string(count - 1);
        Case compared;
        compared.units = static_cast<double>(count);
        compared.subject = creationSide(std::vector<std::string>(count, "node"), last);
        compared.rivals.push_back({"distinct", creationSide(makeNames(count, "node"), last)});
        return compared;
    });
}

}  // namespace bench
