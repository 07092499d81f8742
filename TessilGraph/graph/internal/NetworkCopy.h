#pragma once

#include <TessilGraph/graph/NodeSet.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace TessilGraph {
class Node;
class Port;
}  // namespace TessilGraph

namespace TessilGraph::internal {

/// The steps of copying a network: clone its nodes, enter the clones, translate orders, wire the clones. It
/// changes nothing of the source. Where a host's `clone` does, what was there before and is still there is copied.
class NetworkCopy {
public:
    /// Clones the nodes in name order.
    explicit NetworkCopy(const NodeSet& source);
    NetworkCopy(const NetworkCopy&) = delete;
    NetworkCopy& operator=(const NetworkCopy&) = delete;

    /// Deletes the clones that nobody has taken over.
    ~NetworkCopy();

    /// Enters all clones in a set and hands them over with that. False, with nothing done, unless the set is
    /// empty and there is one new node for each name: then they are to be entered one by one.
    bool enterAll(NodeSet& target);

    /// Calls `takeOver(clone, name)` with each clone and the name of its original, in name order.
    /// The clone belongs to the callee when the call returns.
    template <class TakeOver>
    void handOver(TakeOver takeOver) {
        for (Named& copy : named_) {
            if (copy.clone != nullptr && source_.find(copy.name) != nullptr) {
                takeOver(*copy.clone, copy.name);
                copy.clone = nullptr;
            }
        }
        for (; isSteady_ && handedOver_ < names_.size(); ++handedOver_) {
            const NodeSet::Position position = names_[handedOver_];
            if (Node* clone = clones_[position]) {
                takeOver(*clone, nameOf(source_.nodeAt(position)));
            }
        }
    }

    /// The nodes of `target` that have the names of these, without those that have no copy.
    std::vector<Node*> translate(const std::vector<Node*>& order, const NodeSet& target) const;

    /// Wires the nodes of `target` as their originals are, by names of nodes and ports.
    void connect(const NodeSet& target) const;

private:
    /// For a source that changed while it was cloned.
    struct Named {
        std::string name;
        Node* clone;
        bool isDue;  ///< To be cloned yet.
    };

    static const std::string& nameOf(const Node& node);

    void cloneNodes();
    void cloneByName(std::size_t done);
    void nameThoseThatAreLeft(std::size_t done);
    bool areNewNodes() const;
    void connectInOrder(const std::vector<NodeSet::Position>& names, const NodeSet& target) const;
    static void prefetchOriginal(const NodeSet& source, const std::vector<NodeSet::Position>& names,
                                 std::size_t before);
    void deleteClones() noexcept;
    std::vector<std::uint64_t> labels() const;
    Node* copyOf(const Node& original, const NodeSet& target) const;
    static Node* findCopy(const Node& original, const NodeSet& target);

    const NodeSet& source_;
    const std::vector<NodeSet::Position> names_;  ///< Of the source, in name order.
    const std::vector<Node*> originals_;          ///< By position in the source.
    std::vector<Node*> clones_;                   ///< By position in the source; null where there is none.
    std::size_t handedOver_ = 0;                  ///< How many of the names are done.
    bool areUnlinked_ = true;                     ///< All clones are there and nothing is linked to them.
    bool isSteady_ = true;                        ///< The source is what it was, so that positions count.
    bool areFoundByEntry_ = false;                ///< Each original stands once, where its clone does in `clones_`.
    std::vector<Named> named_;                    ///< In name order; used where they don't.
};

}  // namespace TessilGraph::internal
