#include <TessilGraph/graph/NodeSet.h>

#include <TessilGraph/graph/NameOrder.h>
#include <TessilGraph/graph/internal/Access.h>
#include <TessilGraph/graph/internal/LentLists.h>
#include <TessilGraph/graph/internal/Prefetch.h>
#include <TessilGraph/graph/internal/PreparedNodes.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>

namespace TessilGraph {

using internal::Access;

namespace {

/// For a node whose name or network is about to change.
void leavePrepared(Node& node) {
    if (Access::slot(node) != 0) {
        Access::home(node)->prepared->dissolve();
    }
}

}  // namespace

NodeSet::FreeName::FreeName(NodeSet& nodes, const HashedName& asked)
    : name_(asked), wiring_(nodes.state_->wiring.load(std::memory_order_relaxed)) {
    const auto isTaken = [&nodes](const HashedName& name) { return nodes.positionOf(name) != none; };
    if (!isTaken(asked)) {
        return;
    }
    const auto isFreeWith = [&](std::uint64_t suffix) {
        numbered_.assign(asked.text());
        numbered_ += std::to_string(suffix);
        name_ = HashedName(numbered_);
        return !isTaken(name_);
    };
    nodes.suffixes_.add(asked, {});
    Suffixes& suffixes = *nodes.suffixes_.find(asked);
    while (!suffixes.givenBack.empty()) {
        if (isFreeWith(*suffixes.givenBack.begin())) {
            return;
        }
        suffixes.givenBack.erase(suffixes.givenBack.begin());
    }
    while (!isFreeWith(suffixes.next)) {
        ++suffixes.next;
    }
}

NodeSet::NodeSet() : state_(std::make_shared<internal::NetworkState>()) {
    state_->nodes = this;
}

NodeSet::~NodeSet() {
    clear();
    state_->nodes = nullptr;
}

const NodeSet::Index::Slot& NodeSet::slotOf(const HashedName& name) const {
    return index_.findSlot(name.hash(), [&](const Index::Slot& slot) { return isNamed(slot, name.text()); });
}

NodeSet::Position NodeSet::positionOf(const HashedName& name) const {
    return slotOf(name).position;
}

Node* NodeSet::find(const HashedName& name) const {
    return slotOf(name).node;
}

std::pair<Node*, Node*> NodeSet::findBoth(const HashedName& one, const HashedName& other) const {
    // Each step fetches for both what the next one reads.
    index_.prefetch(one.hash());
    index_.prefetch(other.hash());
    const Index::Slot& first = index_.guess(one.hash());
    const Index::Slot& second = index_.guess(other.hash());
    if (first.node != nullptr && second.node != nullptr) {
        internal::prefetchWholeNodes(first.node, second.node);
    }
    const auto check = [this](const Index::Slot& guess, const HashedName& name) {
        return guess.node == nullptr || isNamed(guess, name.text()) ? guess.node : find(name);
    };
    return {check(first, one), check(second, other)};
}

const std::string& NodeSet::nameAt(Position position) const {
    return nameOf(nodeAt(position), position);
}

/// The name of the entry at that position, which is the node's.
const std::string& NodeSet::nameOf(const Node& node, Position position) const {
    return bearsNameOf(node, position) ? Access::name(node) : keptNames_.find(position)->second;
}

bool NodeSet::isNamed(const Index::Slot& slot, std::string_view name) const {
    return isSameText(nameOf(*slot.node, slot.position), name);
}

void NodeSet::reserve(std::size_t nodes) {
    entries_.reserve(nodes);
    made_.reserve(nodes);
    index_.reserve(nodes);
}

Node* NodeSet::enter(Node& node, const HashedName& name) {
    const Position position = positionOf(name);
    if (position == none) {
        append(node, name, false);
        return nullptr;
    }
    takeName(node, name);
    Node* replaced = entries_[position] != &node ? entries_[position] : nullptr;
    leave(position);
    entries_[position] = &node;
    index_.replace(name.hash(), position, {&node});
    made_[position] = false;
    ++Access::holders(node);
    settle(node, position);
    return replaced;
}

bool NodeSet::enter(Node& node, const FreeName& name, bool made) {
    if (state_->wiring.load(std::memory_order_relaxed) != name.wiring_) {
        return false;
    }
    append(node, name, made);
    return true;
}

void NodeSet::enterCopies(const NodeSet& originals, const std::vector<Node*>& copies, std::vector<Position> sorted) {
    Index index = originals.index_;
    index.replaceAll([&copies](Position position) { return Entered{copies[position]}; });
    std::vector<Node*> entries = copies;
    std::vector<bool> made(entries.size());
    if (!entries.empty()) {
        state_->reserveDirtyByte(static_cast<Position>(entries.size() - 1));
    }
    for (Position position = 0; position < entries.size(); ++position) {
        if (Node* node = entries[position]) {
            const std::string& name = Access::name(*originals.entries_[position]);
            if (!isSameText(Access::name(*node), name)) {
                Access::name(*node) = name;
            }
        }
    }
    index_ = std::move(index);
    entries_ = std::move(entries);
    made_ = std::move(made);
    sorted_ = std::move(sorted);
    size_ = originals.size_;
    for (Position position = 0; position < endPosition(); ++position) {
        if (Node* node = entries_[position]) {
            ++Access::holders(*node);
            settle(*node, position);
        }
    }
}

void NodeSet::rename(Position position, const HashedName& newName) {
    Node& node = nodeAt(position);
    std::string name(newName.text());
    index_.reserveOne();
    if (bearsItsName(position)) {
        leavePrepared(node);
        name.swap(Access::name(node));
        state_->noteWiring();
    } else {
        if (Access::home(node) != nullptr) {
            Access::home(node)->nodes->keepName(node);
        }
        Access::name(node).swap(name);
        name.swap(keptNames_[position]);
        keptNames_.erase(position);
        settle(node, position);
        internal::LentLists::noteLinks(node);
    }
    index_.erase(HashedName(name).hash(), position);
    index_.insert(newName.hash(), position, {&node});
    sorted_.clear();
    giveBack(name);
}

void NodeSet::remove(Position position, const HashedName& name) noexcept {
    index_.erase(name.hash(), position);
    giveBack(name.text());
    leave(position);
    entries_[position] = nullptr;
    --size_;
    sorted_.clear();
    closeGaps();
}

void NodeSet::clear() noexcept {
    for (Position position = 0; position < endPosition(); ++position) {
        if (entries_[position] != nullptr) {
            leave(position);
        }
    }
    entries_ = std::vector<Node*>();
    made_ = std::vector<bool>();
    index_.clear();
    size_ = 0;
    sorted_ = std::vector<Position>();
    suffixes_.clear();
}

std::vector<Node*> NodeSet::takeAll() noexcept {
    std::vector<Node*> nodes;
    bool areListed = true;
    try {
        nodes = listedOnce();
    } catch (const std::bad_alloc&) {
        areListed = false;
    }
    for (Position position = 0; position < endPosition(); ++position) {
        if (entries_[position] != nullptr) {
            leave(position);
        }
    }
    if (!areListed) {
        nodes = std::move(entries_);
        const std::uint64_t walk = internal::nextStamp();
        const auto isListed = [walk](Node* node) {
            return node == nullptr || std::exchange(Access::mark(*node), walk) == walk;
        };
        nodes.erase(std::remove_if(nodes.begin(), nodes.end(), isListed), nodes.end());
    }
    entries_ = std::vector<Node*>();
    clear();
    return nodes;
}

/// The nodes in name order, each one once.
std::vector<Node*> NodeSet::listedOnce() {
    std::vector<Node*> nodes;
    nodes.reserve(size_);
    if (isPlain() && sorted_.size() != size_) {
        for (Node* node : entries_) {
            if (node != nullptr) {
                nodes.push_back(node);
            }
        }
        sortByName(nodes, [](const Node* node) -> const std::string& { return Access::name(*node); });
    } else {
        const std::uint64_t walk = internal::nextStamp();
        for (const Position position : sorted()) {
            Node& node = nodeAt(position);
            if (Access::mark(node) != walk) {
                Access::mark(node) = walk;
                nodes.push_back(&node);
            }
        }
    }
    return nodes;
}

void NodeSet::keepName(Node& node) {
    keptNames_.emplace(Access::entry(node), Access::name(node));
    leavePrepared(node);
    state_->noteWiring();
    Access::home(node) = nullptr;
    Access::bringDirtyHome(node);
    internal::LentLists::nodeMoves(node);
    internal::LentLists::noteLinks(node);
}

const std::vector<NodeSet::Position>& NodeSet::sorted() {
    if (sorted_.size() != size_) {
        sorted_ = listed();
    }
    return sorted_;
}

std::vector<NodeSet::Position> NodeSet::sorted() const {
    return sorted_.size() == size_ ? sorted_ : listed();
}

/// Where there is no memory, nothing changes.
void NodeSet::takeName(Node& node, const HashedName& name) {
    const bool isNew = !isSameText(Access::name(node), name.text());
    if (Access::home(node) == nullptr) {
        if (isNew) {
            Access::name(node).assign(name.text());
        }
        return;
    }
    std::string taken(isNew ? name.text() : std::string_view());
    Access::home(node)->nodes->keepName(node);
    if (isNew) {
        Access::name(node).swap(taken);
    }
}

/// A new entry, under a name that no node has.
void NodeSet::append(Node& node, const HashedName& name, bool made) {
    const Position position = endPosition();
    index_.reserveOne();
    state_->reserveDirtyByte(position);
    if (made_.size() == position) {  // Where memory ran out after this, it is there already.
        made_.push_back(made);
    }
    made_[position] = made;
    entries_.push_back(&node);
    try {
        takeName(node, name);
    } catch (...) {
        entries_.pop_back();
        throw;
    }
    index_.insert(name.hash(), position, {&node});
    ++size_;
    sorted_.clear();
    ++Access::holders(node);
    settle(node, position);
}

/// Whether the name of the node's entry at that position is the one that it bears.
bool NodeSet::bearsNameOf(const Node& node, Position position) const {
    return Access::home(node) == state_.get() && Access::entry(node) == position;
}

/// Makes the entry the one whose name the node bears.
void NodeSet::settle(Node& node, Position position) {
    Access::home(node) = state_.get();
    Access::entry(node) = position;
    Access::bringDirtyHome(node);
    if (node.profileTime() != 0) {
        state_->noteProfileTime();
    }
    state_->noteWiring();
    internal::LentLists::nodeMoves(node);
}

/// Leaves it to the caller what becomes of the entry.
void NodeSet::leave(Position position) noexcept {
    Node& node = nodeAt(position);
    --Access::holders(node);
    state_->noteWiring();
    if (bearsItsName(position)) {
        leavePrepared(node);
        Access::home(node) = nullptr;
        Access::bringDirtyHome(node);
        internal::LentLists::nodeMoves(node);
    } else {
        keptNames_.erase(position);
    }
}

void NodeSet::giveBack(std::string_view freedName) noexcept {
    if (!suffixes_.isEmpty()) {
        giveBackSuffix(freedName);
    }
}

void NodeSet::giveBackSuffix(std::string_view freedName) noexcept {
    // Every way to read the name as another one with a suffix; nobody counts beyond 18 digits.
    constexpr std::size_t mostDigits = 18;
    std::uint64_t suffix = 0;
    std::uint64_t place = 1;
    for (std::size_t digits = 1; digits <= mostDigits && digits <= freedName.size(); ++digits) {
        const char digit = freedName[freedName.size() - digits];
        if (digit < '0' || digit > '9') {
            return;
        }
        suffix += static_cast<std::uint64_t>(digit - '0') * place;
        place *= 10;
        if (digit == '0') {
            continue;  // Suffixes have no leading zeros.
        }
        Suffixes* taken = suffixes_.find(freedName.substr(0, freedName.size() - digits));
        if (taken != nullptr && suffix < taken->next) {
            try {
                taken->givenBack.insert(suffix);
            } catch (const std::bad_alloc&) {
                // All that is free from there on is found by counting anew.
                taken->givenBack.erase(taken->givenBack.lower_bound(suffix), taken->givenBack.end());
                taken->next = suffix;
            }
        }
    }
}

/// Moves the entries up once most of the places are empty, which is seldom enough to cost little. Another time where
/// there is no memory.
void NodeSet::closeGaps() noexcept {
    constexpr std::size_t fewPlaces = 32;
    while (!entries_.empty() && entries_.back() == nullptr) {
        entries_.pop_back();
        made_.pop_back();
    }
    if (entries_.size() <= fewPlaces || entries_.size() <= 4 * size_) {
        return;
    }
    std::vector<Position> moved;
    try {
        moved.assign(entries_.size(), none);
    } catch (const std::bad_alloc&) {
        return;
    }
    Position to = 0;
    for (Position from = 0; from < endPosition(); ++from) {
        if (entries_[from] == nullptr) {
            continue;
        }
        if (bearsItsName(from)) {
            Access::entry(*entries_[from]) = to;
            if (Access::slot(*entries_[from]) == 0) {
                Access::bringDirtyHome(*entries_[from]);
            }
        } else {
            auto keptName = keptNames_.extract(from);
            keptName.key() = to;
            keptNames_.insert(std::move(keptName));
        }
        entries_[to] = entries_[from];
        made_[to] = made_[from];
        moved[from] = to++;
    }
    entries_.resize(to);
    made_.resize(to);
    state_->storage += 1;
    index_.moveAll(moved);
}

std::vector<NodeSet::Position> NodeSet::listed() const {
    std::vector<Position> positions;
    positions.reserve(size_);
    for (Position position = 0; position < endPosition(); ++position) {
        if (entries_[position] != nullptr) {
            positions.push_back(position);
        }
    }
    sortByName(positions, [this](Position position) -> const std::string& { return nameAt(position); });
    return positions;
}

}  // namespace TessilGraph
