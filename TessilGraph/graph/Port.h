#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/graph/NodeMemory.h>
#include <TessilGraph/graph/PortList.h>
#include <TessilGraph/graph/PortName.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace TessilGraph {

class Node;

namespace internal {
struct Access;
}  // namespace internal

/// The connection point of a node: a name, an owner, a direction and the ports it is wired to.
///
/// A link has two ends: each of two linked ports stands in the other's list. Links are made from
/// one output to one input; an output feeds any number of inputs, an input has at most one source.
/// Values live in `PortTemplate`.
///
/// A port belongs to the node that accepted it (`Node::addInputPort`, `Node::addOutputPort`), until
/// then to whoever made it. Destroying a port does not unlink it: whoever destroys wired ports
/// disconnects them first, or resets every node that still refers to them, and does so before the first of the nodes
/// dies. Destructors of nodes come too late for that.
///
/// Threads: the ports of one network are wired and set from one thread at a time. While nobody does,
/// and nothing is evaluated, any number may read them. A port that its node gave back may be destroyed
/// on any thread.
class TESSILGRAPH_API Port {
public:
    /// A port without owner and links, an input until a node takes it as an output.
    explicit Port(const std::string& name);

    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;

    /// The name of the port's type. Ports can be linked when these names are equal and their values, if both have one,
    /// are of one type. A class that gives the name of one of the library's port types derives from that
    /// `PortTemplate`: its peers read its value as such a port.
    virtual std::string typeStr() const;

    virtual ~Port();

    /// Takes over the value of `other`, a port of the same type. This base has no value.
    virtual void copyValue(Port* other);

    /// Empties this port's list of links; the peers go on listing this port.
    virtual void reset();

    std::string name() const { return name_.str(); }

    /// The owner; null until a node has accepted the port.
    Node* node() const { return node_; }

    /// Names the owner, unchecked. Nodes call it for the ports that they accept.
    void setNode(Node* node);

    bool isInput() const { return input_; }
    bool isOutput() const { return !input_; }

    /// The output that feeds this input; null for an output and while there is no link.
    Port* input() const { return input_ ? connections_.front() : nullptr; }

    std::uint64_t numConnections() const { return connections_.size(); }

    /// The ports at the other ends, in the order in which the links were made.
    const std::vector<Port*>& getConnections() const { return connections_.asVector(); }

    /// The same list, open to editing.
    ///
    /// Edits take effect at once. Whoever edits keeps both ends of a link in step; where the ends
    /// disagree, or links run in a circle, every operation still ends. The list is looked through
    /// before the next link in the same network, so edit it before that or ask for it again; and
    /// where the node stands in no network, make the next link on the thread that edited.
    /// Readers use the const overload, which costs nothing later.
    std::vector<Port*>& getConnections();

    std::vector<Port*>::iterator begin() { return getConnections().begin(); }
    std::vector<Port*>::iterator end() { return getConnections().end(); }
    std::vector<Port*>::const_iterator begin() const { return getConnections().begin(); }
    std::vector<Port*>::const_iterator end() const { return getConnections().end(); }
    std::vector<Port*>::const_iterator cbegin() const { return getConnections().begin(); }
    std::vector<Port*>::const_iterator cend() const { return getConnections().end(); }

    /// Links this port and `other`. It copies no value and marks nothing dirty.
    ///
    /// False, with the reason logged and nothing changed, when `other` is null, when both are
    /// inputs, when both have the same owner, when their types differ, when they are linked already,
    /// when the input has a source already, and when the link would close a cycle. Where memory runs out,
    /// `std::bad_alloc` reaches the caller and nothing is changed either.
    bool connectTo(Port* other);

    /// Removes the link between this port and `other`. False, with the reason logged, when this
    /// port does not list `other`.
    bool disconnectFrom(Port* other);

    // Nodes and ports live in memory of their own kind; see NodeMemory.
    static void* operator new(std::size_t size) { return internal::NodeMemory::allocate(size, nullptr); }
    static void* operator new(std::size_t size, const std::nothrow_t&) noexcept;
    static void* operator new(std::size_t size, std::align_val_t alignment) { return ::operator new(size, alignment); }
    static void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t& nothrow) noexcept {
        return ::operator new(size, alignment, nothrow);
    }
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    /// Near the node that the port is made for, unless its class may need more alignment than there is.
    static void* operator new(std::size_t size, const Node& node) {
        return internal::NodeMemory::allocate(size, size % alignof(std::max_align_t) != 0 ? &node : nullptr);
    }
    static void* operator new(std::size_t size, internal::Beside place) {
        return internal::NodeMemory::allocate(size, &place.node);
    }
    static void* operator new(std::size_t size, std::align_val_t alignment, const Node&) {
        return ::operator new(size, alignment);
    }
    static void operator delete(void* memory) noexcept { internal::NodeMemory::release(memory); }
    static void operator delete(void* memory, const std::nothrow_t&) noexcept { operator delete(memory); }
    static void operator delete(void* memory, std::align_val_t alignment) noexcept {
        ::operator delete(memory, alignment);
    }
    static void operator delete(void* memory, std::align_val_t alignment, const std::nothrow_t&) noexcept {
        operator delete(memory, alignment);
    }
    static void operator delete(void*, void*) noexcept {}
    static void operator delete(void* memory, const Node&) noexcept { operator delete(memory); }
    static void operator delete(void* memory, internal::Beside) noexcept { operator delete(memory); }
    static void operator delete(void* memory, std::align_val_t alignment, const Node&) noexcept {
        operator delete(memory, alignment);
    }

protected:
    /// For ports with a value: how those who know only the port handle it.
    Port(PortName name, std::uint8_t valueType) : name_(std::move(name)), valueType_(valueType) {}

    void setAsInput(bool input);

    /// Tells the network that somebody may be reading this port at an address that no longer counts.
    void noteNewStorage();

private:
    friend class Node;
    friend struct internal::Access;

    /// What the owner that a port names knows of it.
    enum class Bond : std::uint8_t {
        Held,   ///< It has the port in a list, unless somebody took it out by hand. Also while there is no owner.
        Loose,  ///< Walks along the owner's ports may miss the port.
        Noted   ///< The same, and the port stands in the register of internal/LoosePorts.h while it has an owner.
    };

    bool isLoose() const { return bond_ != Bond::Held; }
    void leaveOwner();
    void leaveList();
    void noteWiring();
    bool hasTypeOf(const Port& other) const;
    bool isLinkedWith(const Port& other) const;
    bool linkAtOnce(Port& in);
    bool mayLink(const Port& other) const;
    void noteLinkTo(const Port& other);
    void addPeer(Port& peer);
    void detachFromPeers() noexcept;

    PortName name_;
    Node* node_ = nullptr;
    PortList connections_;

    // What the cycle test knows of this port beyond its list; see internal/CycleCheck.h.
    std::uint32_t epoch_ =
        0;  ///< Output: since when nobody emptied its list. Input: the same of its source, when linked.
    std::uint32_t lost_ = 0;  ///< Input: tells the output that it listed when it was reset.

    std::uint8_t valueType_ = 0;  ///< A number of internal::ValueType; 0 for a port without a value.
    bool input_ = true;
    bool watched_ = false;    ///< Stands in the register of lists that are looked through before the next link.
    bool lostMany_ = false;   ///< Outputs that this input does not list may list it, any number of them.
    bool displaced_ = false;  ///< `setNode` took the port away from an owner that may still hold it.
    Bond bond_ = Bond::Held;

protected:
    bool bound_ = false;    ///< Readers see storage outside.
    bool adopted_ = false;  ///< The own value stands where a prepared network put it.
};

}  // namespace TessilGraph
