#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/graph/HashedName.h>
#include <TessilGraph/graph/NameIndex.h>
#include <TessilGraph/graph/NameTable.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace TessilGraph {

class Node;

namespace internal {
struct NetworkState;
}

/// The nodes of one network by name. It owns none of them.
///
/// The name of an entry is the one that its node bears. Only where the two differ, since the host
/// gave the node another name by itself or entered it a second time, the set keeps a string.
///
/// Threads: const functions may run side by side.
class TESSILGRAPH_API NodeSet {
public:
    /// Where an entry stands, in the order in which they came. Valid until an entry is removed.
    using Position = NameIndex::Position;

    static constexpr Position none = NameIndex::none;

    NodeSet();
    ~NodeSet();
    NodeSet(const NodeSet&) = delete;
    NodeSet& operator=(const NodeSet&) = delete;

    /// What the nodes and ports of this network tell about changes. Shared by those who watch them.
    const std::shared_ptr<internal::NetworkState>& state() const { return state_; }

    std::size_t size() const { return size_; }

    /// `none` when no node has that name.
    Position positionOf(const HashedName& name) const;

    /// Null when no node has that name.
    Node* find(const HashedName& name) const;

    /// Both nodes at once, which takes hardly longer than one where the network is larger than the cache.
    std::pair<Node*, Node*> findBoth(const HashedName& one, const HashedName& other) const;

    Node& nodeAt(Position position) const { return *entries_[position]; }

    /// The name of an entry. Valid until that entry is renamed or removed, or its node is.
    const std::string& nameAt(Position position) const;

    /// Whether the entry was made so: a bit for the network manager, which stays with the entry.
    bool isMade(Position position) const { return made_[position]; }

    /// All positions are below it.
    Position endPosition() const { return static_cast<Position>(entries_.size()); }

    /// Null where an entry was removed.
    Node* nodeIfAt(Position position) const { return entries_[position]; }

    /// Null where an entry was removed.
    const std::vector<Node*>& nodesByPosition() const { return entries_; }

    /// Every node stands under the name that it bears, and so but once.
    bool isPlain() const { return keptNames_.empty(); }

    /// A name that no node has: the one that was asked for if it is free, otherwise that followed by
    /// the least of 1, 2, 3, ... that makes it free. Where the count starts is remembered for every
    /// name that was asked for, so that many nodes may be asked for under one name.
    ///
    /// It may refer to the text that it was asked for with.
    class FreeName {
    public:
        FreeName(NodeSet& nodes, const HashedName& asked);
        FreeName(const FreeName&) = delete;
        FreeName& operator=(const FreeName&) = delete;

        const HashedName& name() const { return name_; }
        operator const HashedName&() const { return name_; }

    private:
        friend class NodeSet;

        std::string numbered_;
        HashedName name_;
        std::uint64_t wiring_;  ///< Of the network while the name was free.
    };

    /// Makes room for so many nodes altogether.
    void reserve(std::size_t nodes);

    /// Gives the node the name and enters it. Returns the node that had that name until now; null
    /// when there was none. Where there is no memory, nothing changes.
    Node* enter(Node& node, const HashedName& name);

    /// The same under a free name. False, with nothing changed, when the network is not what it was when the name was
    /// asked for.
    bool enter(Node& node, const FreeName& name, bool made);

    /// Enters a copy of each node of another set, under the name of the original and at its position, where
    /// they stand in `copies`, too; `sorted` lists these. The other set is plain and this one empty; the copies
    /// stand in no network, and where memory runs out they go on like that.
    void enterCopies(const NodeSet& originals, const std::vector<Node*>& copies, std::vector<Position> sorted);

    /// Gives an entry and its node a new name, which is free. Where there is no memory, nothing changes.
    void rename(Position position, const HashedName& newName);

    /// Takes an entry out; the node keeps its name. `name` is that of the entry, and may refer to it.
    void remove(Position position, const HashedName& name) noexcept;

    /// Takes all entries out.
    void clear() noexcept;

    /// Takes all entries out and returns their nodes in name order, each one once; in another order where there is
    /// no memory to sort them.
    std::vector<Node*> takeAll() noexcept;

    /// To be told before a node that stands here under the name that it bears gets another one, other
    /// than by `rename`. The entry keeps its name.
    void keepName(Node& node);

    /// In name order.
    const std::vector<Position>& sorted();
    std::vector<Position> sorted() const;

private:
    /// The suffixes of one name: all below `next` are taken, but for some of those that were given
    /// back since.
    struct Suffixes {
        std::uint64_t next = 1;
        std::set<std::uint64_t> givenBack;
    };

    /// Stands in the index as well as in the list of entries, so that a name leads straight to its node.
    struct Entered {
        Node* node = nullptr;
    };
    using Index = NameIndexWith<Entered>;

    const Index::Slot& slotOf(const HashedName& name) const;
    bool isNamed(const Index::Slot& slot, std::string_view name) const;
    const std::string& nameOf(const Node& node, Position position) const;
    bool bearsNameOf(const Node& node, Position position) const;
    bool bearsItsName(Position position) const { return bearsNameOf(nodeAt(position), position); }
    static void takeName(Node& node, const HashedName& name);
    void append(Node& node, const HashedName& name, bool made);
    void settle(Node& node, Position position);
    void leave(Position position) noexcept;
    void giveBack(std::string_view freedName) noexcept;
    void giveBackSuffix(std::string_view freedName) noexcept;
    void closeGaps() noexcept;
    std::vector<Node*> listedOnce();
    std::vector<Position> listed() const;

    std::shared_ptr<internal::NetworkState> state_;
    std::vector<Node*> entries_;  ///< Null where one was removed.
    std::vector<bool> made_;      ///< A bit for each entry.
    Index index_;
    std::size_t size_ = 0;
    std::unordered_map<Position, std::string> keptNames_;  ///< Of entries whose nodes don't bear them.
    std::vector<Position> sorted_;                         ///< The last listing; empty when names changed since.
    NameTable<Suffixes> suffixes_;                         ///< Of names that were asked for while taken.
};

}  // namespace TessilGraph
