#pragma once

#include <tests/graph/model/Model.h>
#include <tests/graph/model/Pair.h>
#include <tests/graph/model/Sides.h>

#include <cstddef>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

namespace twins {

/// What model and library each do, and how it reads. What the two answer is compared; the model answers "skip"
/// where there is no such step.
struct Step {
    std::string text;
    std::function<std::string(model::World&)> inModel;
    std::function<std::string()> inLibrary;
};

/// Chooses steps by words.
class Steps {
public:
    explicit Steps(Sides& both) : both_(both) {}

    Step choose(const Words& words);

    /// What kind of step was chosen last.
    const std::string& kind() const { return kind_; }

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

    Step createNode(model::Id manager);
    Step linkByNames(model::Id manager);
    Step linkPorts(model::Id port, const std::vector<model::Id>& ports);
    Step computeByName(model::Id manager);
    Step setPort(model::Id port);
    Step handEdit(model::Id port, const std::vector<model::Id>& ports);
    Step onStorage(std::size_t kind, model::Id port, const std::vector<model::Id>& ports);
    Step onNode(model::Id node);
    Step onPortLists(model::Id node);
    Step onManager(model::Id manager, model::Id node);
    Step byHand(model::Id manager, model::Id node, model::Id port);
    Step onFactory();

    const std::string& counted(const std::string& kind) {
        kind_ = kind;
        return kind_;
    }

    Sides& both_;
    const Words* words_ = nullptr;
    std::size_t used_ = 0;
    std::string kind_;
};

}  // namespace twins
