#pragma once

#include <TessilGraph/graph/NetworkManager.h>

#include <tests/graph/model/Model.h>
#include <tests/graph/model/Twin.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace twins {

/// Asks a manager for a free name as classes derived from it do.
class FreeName : public TessilGraph::NetworkManager {
public:
    static std::string of(TessilGraph::NetworkManager& manager, const std::string& name) {
        return (manager.*&FreeName::getUniqueName)(name);
    }
};

std::string idText(model::Id id);

/// The model's world and what the library has for it, by the model's numbers.
struct Sides {
    Sides();
    ~Sides();
    Sides(const Sides&) = delete;
    Sides& operator=(const Sides&) = delete;

    TessilGraph::Port* at(model::Id port) const { return port == model::none ? nullptr : ports[port]; }
    Twin* twin(model::Id node) const { return nodes[node]; }

    /// The number of a node of the library's. If it has none yet, it is the one that the model expects.
    model::Id meet(TessilGraph::Node* found);

    /// The same for all nodes of a network.
    void meetAll(model::Id manager);

    /// Puts an empty manager in the place of one.
    void replaceManager(model::Id manager);

    /// Computes in `before` what the library computed before its evaluation was called off.
    void computePart(model::World& before, const model::World& told) const;

    std::string portText(model::Id port) const;

    model::World world;
    std::vector<std::unique_ptr<TessilGraph::NetworkManager>> managers;
    std::vector<Twin*> nodes;
    std::vector<TessilGraph::Port*> ports;
    std::vector<std::unique_ptr<TessilGraph::Port>> loose;  ///< Ports that no node ever has.
    std::set<model::Id> removed;                            ///< Ports that a node had, and the host has now.
    std::vector<double> numbers;                            ///< Values outside of the network, and texts.
    std::vector<std::string> texts;
    TessilGraph::ComputeData data;
    model::Id expected = model::none;
    std::vector<std::string> messages;  ///< Of the last step.

private:
    void addLoose(std::unique_ptr<TessilGraph::Port> port, const std::string& type, bool input);
};

}  // namespace twins
