#pragma once

#include <benchmarks/Workloads.h>

#include <TessilGraph/TessilGraph.h>

#include <Imath/ImathVec.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/// "n" and the number, for every node.
std::vector<std::string> makeNames(std::size_t count, const char* prefix = "n");

/// Creates the nodes of a workload under their names and links them by name in the order of `links`.
/// Ends the program if a link is refused.
void buildByNames(TessilGraph::NetworkManager& manager, const Workload& workload, const std::vector<Link>& links,
                  const std::vector<std::string>& names);

/// A workload made of the library's nodes, through its public interface.
class EngineNetwork {
public:
    explicit EngineNetwork(const Workload& workload);

    void setConstants();
    void touch(std::uint32_t node, const Imath::V3d& value);
    void mark(std::uint32_t node) { nodes_[node]->setDirty(true); }
    void setAll(bool dirty);
    void clean(std::uint32_t node) { nodes_[node]->setDirty(false); }

    /// Takes a link away and makes it again.
    void rewire();

    std::size_t countDirty() const;

    void evaluate() { manager_.computeNode(names_[workload_.sink]); }
    void evaluateLevels();
    void store() { manager_.cacheNodeNetwork(names_[workload_.sink]); }
    void replay();

    void runPrepared();
    void runPreparedParallel();

    /// Ends the prepared evaluation, if there is one.
    void forgetPrepared() { prepared_.reset(); }

    Imath::V3d sinkValue() const;
    bool isSinkDirty() const { return nodes_[workload_.sink]->isDirty(); }

    TessilGraph::NetworkManager& manager() { return manager_; }
    const std::vector<std::string>& names() const { return names_; }

private:
    void set(std::uint32_t node, std::uint32_t input, const Imath::V3d& value);

    const Workload& workload_;
    std::vector<std::string> names_;
    TessilGraph::NetworkManager manager_;
    std::vector<TessilGraph::Node*> nodes_;
    std::vector<TessilGraph::Port*> touched_;  ///< The input of each node that `touch` sets, found once.
    TessilGraph::Port* sink_ = nullptr;
    std::optional<TessilGraph::PreparedEvaluation> prepared_;  ///< From its first run on.
};

}  // namespace bench
