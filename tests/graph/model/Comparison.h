#pragma once

#include <tests/graph/model/Sides.h>

#include <sstream>
#include <string>
#include <vector>

namespace twins {

/// Compares what can be seen of model and library.
class Comparison {
public:
    explicit Comparison(const Sides& both) : both_(both) {}

    /// After a step, with what each of them answered and whether a node threw. Where the library ran short of
    /// memory, messages may be cut, and nodes that nobody met were made and destroyed.
    void compare(const std::string& expected, const std::string& actual, bool threw, bool wasShort);

    /// After a step that was called off for want of memory; it would have led to `told`.
    void compareCalledOff(const model::World& told);

    /// All that can be seen of nodes, ports and managers.
    void compareEverything();

    /// Which types the factory knows.
    void compareFactory();

    /// Notes a difference of another kind.
    void note(const std::string& difference) { differs() << difference << '\n'; }

    bool isAlike() const { return isAlike_; }
    std::string differences() const { return differences_.str(); }

private:
    /// Where something is compared. It becomes text only when something differs there.
    struct Place {
        const char* kind;  ///< "node", "port" or "manager", or else what is compared.
        model::Id id = model::none;
        const char* part = "";
    };

    std::string text(const Place& place) const;

    template <class T, class F>
    void same(const Place& place, const T& told, const F& found);

    void samePorts(const Place& place, const std::vector<model::Id>& told,
                   const std::vector<TessilGraph::Port*>& found);
    void compareMessages(const std::vector<std::string>& told);
    void compareDestroyed(bool wasShort);
    void compareRun(const model::World& world, bool isWhole);
    void compareNode(model::Id id);
    void compareNames(model::Id node, const std::vector<model::Id>& told, const std::vector<std::string>& names,
                      TessilGraph::Port* (TessilGraph::Node::*find)(const std::string&));
    void comparePort(model::Id id);
    void compareManager(model::Id index);

    /// The list of which these are the ends.
    const std::vector<TessilGraph::Port*>& portsOf(std::vector<TessilGraph::Port*>::const_iterator begin,
                                                   std::vector<TessilGraph::Port*>::const_iterator end);

    std::ostream& differs() {
        isAlike_ = false;
        return differences_;
    }

    const Sides& both_;
    bool isAlike_ = true;
    std::ostringstream differences_;
    std::vector<TessilGraph::Port*> list_;
};

}  // namespace twins
