#pragma once

#include <tests/graph/model/Model.h>
#include <tests/graph/model/Pair.h>
#include <tests/graph/model/Sides.h>

#include <cstddef>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace twins {

/// What model and library each do, and how it reads. What the two answer is compared.
struct Step {
    std::string kind;
    std::string text;  ///< Kind and all.
    std::function<std::string(model::World&)> inModel;
    std::function<std::string()> inLibrary;

    /// What becomes of a world in which the step was called off for want of memory, `told` being what it would have
    /// led to otherwise. Empty where all is as before.
    std::function<void(model::World& before, const model::World& told)> calledOff;
    bool needsNoMemory = false;
};

/// Chooses steps by words.
class Steps {
public:
    Steps(Sides& both, std::string prefix) : both_(both), prefix_(std::move(prefix)) {}

    Step choose(const Words& words);

private:
    /// The next of the step's numbers; those that are missing are 0.
    std::size_t below(std::size_t end) { return used_ < words_->size() ? (*words_)[used_++] % end : 0; }
    bool chance(std::size_t percent) { return below(100) < percent; }

    template <class T>
    const T& any(const std::vector<T>& items) {
        return items[below(items.size())];
    }

    template <class Items>
    typename Items::const_iterator anyPlace(const Items& items) {
        const std::size_t steps = below(items.size());
        return std::next(items.begin(), static_cast<std::ptrdiff_t>(steps));
    }

    std::vector<model::Id> aliveNodes() const;
    std::vector<model::Id> alivePorts() const;

    /// Mostly a node of the network.
    std::string anyName(model::Id manager);
    std::string newName();
    model::Value anyValue();
    std::string prefixed(const std::string& text) const { return text.empty() ? text : prefix_ + text; }

    // Wiring
    Step linkByNames(model::Id manager);
    Step linkInARow(model::Id manager);
    Step linkPorts(model::Id port, const std::vector<model::Id>& ports);
    Step handEdit(model::Id port, const std::vector<model::Id>& ports);

    // Values
    Step setPort(model::Id port);
    Step onStorage(std::size_t kind, model::Id port, const std::vector<model::Id>& ports);
    Step bindPort(model::Id port);
    Step writeThrough(model::Id port);

    // Nodes and their ports
    Step onNode(model::Id node);
    Step onPortLists(model::Id node);
    Step onRemovedPort(model::Id node, bool input);
    Step addPort(model::Id node, bool input);
    Step makePortOn(model::Id node);
    Step handInNothing(model::Id node, model::Id port);
    Step removePort(model::Id node, bool input);
    Step lendPortList(model::Id node);
    Step setNode(model::Id port, model::Id node);

    // Managers
    Step createNode(model::Id manager);
    Step computeByName(model::Id manager);
    Step computeOften(model::Id manager, model::Id node);
    Step onManager(model::Id manager, model::Id node);
    Step deleteNode(model::Id manager, const std::string& name);
    Step renameNode(model::Id manager, const std::string& name);
    Step onOrders(bool stores, model::Id manager, const std::string& name);
    Step addNode(model::Id manager, model::Id node);
    Step deleteByHost(model::Id node);
    Step onWholeNetwork(std::size_t kind, model::Id manager);
    Step copyNetwork(model::Id manager);

    // What a host does itself, past the manager, and the factory
    Step byHand(model::Id manager, model::Id node, model::Id port);
    Step onFactory();
    static Step listTypes();
    Step changeFactory(bool adds, std::size_t type, const std::string& name);

    Sides& both_;
    const std::string prefix_;  ///< Of all names and texts that are chosen.
    const Words* words_ = nullptr;
    std::size_t used_ = 0;
};

}  // namespace twins
