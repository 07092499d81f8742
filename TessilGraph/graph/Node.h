#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/graph/ComputeData.h>
#include <TessilGraph/graph/NodeMemory.h>
#include <TessilGraph/graph/Port.h>
#include <TessilGraph/graph/PortList.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

namespace TessilGraph {

namespace internal {
struct NetworkState;
}

/// A step of a network: ports, a name, a dirty flag, and a function from inputs to outputs.
///
/// A dirty node is to be computed before its outputs count; a new node is dirty. While a node is
/// dirty, so is everything downstream of it. Node classes add typed ports in their constructor and
/// override `compute`; `NodeShape.h` has the parts that they share.
///
/// A node owns the ports that it accepted and deletes them, without unlinking them first.
///
/// Where memory runs out, `std::bad_alloc` reaches the caller, and node and port are as they were before the call: a
/// port that was to be added is still the caller's. Marking and resetting ask for none.
///
/// Threads: one at a time for a network. When a network is evaluated in parallel, `compute` of
/// different nodes is called from several threads, and never of one node at the same time. It may mark
/// nodes then, and changes nothing else of the network but its outputs. While nobody changes or evaluates
/// the network, any number of threads may call the const functions.
class TESSILGRAPH_API Node {
public:
    Node();
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    /// The name of the node's type. The base has a definition, "Node", that overriders may call.
    virtual std::string typeStr() const = 0;

    /// The number of the node's type. Two types may share one.
    virtual unsigned int typeId() const = 0;

    /// The destructor of a derived class follows no links: it marks and evaluates nothing, and takes no link away.
    /// Where a whole network goes, the nodes at their other ends may have gone before. Nor does it make nodes in its
    /// network, which may be the last thing that this one does.
    virtual ~Node();

    /// A new node of the same type, owned by the caller: same name, same values and links to
    /// outside storage at the inputs that are not connected, no connections, dirty.
    ///
    /// An override may change the network that is being copied: the copy holds what was there before and still is,
    /// wired as it is then. It deletes neither the node itself nor the whole network.
    virtual Node* clone() = 0;

    /// Reads the inputs, writes the outputs, returns whether that made sense; evaluation ignores
    /// the answer. What it throws reaches whoever asked for the evaluation. The base does nothing.
    ///
    /// Besides, it may set its own inputs, mark nodes and read what feeds it; however it marked itself, it is
    /// clean afterwards. While no node is computed beside it, so in every evaluation but the level walk and those
    /// that are asked to run in parallel, it may also make, link, rename and delete other nodes of its network: one
    /// that goes before its turn is left out. And it may evaluate others, but none that it feeds. It never deletes
    /// itself, nor the whole network.
    ///
    /// A mark on a node that it does not feed may count for this evaluation or for the next, and what this evaluation
    /// computes later is clean although that node is dirty: a host that wants it to count marks that node again
    /// when the evaluation has ended.
    virtual bool compute(const ComputeData* data);

    /// Resets all ports, inputs first: links, values, links to outside storage. Only this node's
    /// side of a link goes; the name, the dirty flag and the profile time stay.
    ///
    /// While `NetworkManager::reset` calls it, the network is empty. An override may make, link and delete nodes there,
    /// but neither adds nor deletes those that are reset with it, nor destroys the manager.
    virtual void reset();

    /// For hosts that sort their node types into groups; 0 for all built-in ones.
    virtual short baseNodeType() const;

    std::string name() const { return name_; }

    /// Gives the node a name, unchecked. A node that stands in a network is renamed through
    /// `NetworkManager::renameNode`, which keeps the network's book in step.
    void setName(const std::string& name);

    /// Accepts a port as the last input and owns it from then on. Null, and a port whose name an
    /// input already has, are refused with the reason logged; such a port stays the caller's. A port that its owner
    /// lists, be that another node or this one as an output, moves here with its links.
    void addInputPort(Port* port);

    /// The same for outputs. An input and an output may share a name.
    void addOutputPort(Port* port);

    /// The first input of that name; null when there is none, which is not logged.
    Port* getInputPort(const std::string& name);

    /// The first output of that name; null when there is none, which is not logged.
    Port* getOutputPort(const std::string& name);

    std::vector<std::string> getInputPortNames() const;
    std::vector<std::string> getOutputPortNames() const;

    /// Gives the first input of that name back to the caller, who owns it from then on: get it by
    /// `getInputPort` before, disconnect it, and delete it or hand it to another node. Its links stay as
    /// they were. It goes on naming this node as its owner, and marks it when it is set, until
    /// another one takes it in or this node dies; then it has no owner. An unknown name does nothing.
    ///
    /// A class may go on using a port that it made itself in its `compute`, and all built-in ones do: such a port has
    /// to live as long as the node, and none of its name can take its place.
    void removeInputPort(const std::string& name);

    /// The same for outputs.
    void removeOutputPort(const std::string& name);

    std::uint64_t numInputPorts() const { return inputs_.size(); }
    std::uint64_t numOutputPorts() const { return outputs_.size(); }

    /// The ports in the order in which they were added.
    std::vector<Port*>::iterator inputPortBegin() { return open(inputs_).begin(); }
    std::vector<Port*>::iterator inputPortEnd() { return open(inputs_).end(); }
    std::vector<Port*>::const_iterator inputPortCBegin() const { return inputs_.asVector().begin(); }
    std::vector<Port*>::const_iterator inputPortCEnd() const { return inputs_.asVector().end(); }
    std::vector<Port*>::iterator outputPortBegin() { return open(outputs_).begin(); }
    std::vector<Port*>::iterator outputPortEnd() { return open(outputs_).end(); }
    std::vector<Port*>::const_iterator outputPortCBegin() const { return outputs_.asVector().begin(); }
    std::vector<Port*>::const_iterator outputPortCEnd() const { return outputs_.asVector().end(); }

    bool isDirty() const { return dirty_->load(std::memory_order_relaxed) != 0; }

    /// Marks this node and everything downstream of it dirty, or just this node clean. A node that
    /// is in the wanted state already ends the matter, whatever stands downstream.
    void setDirty(bool dirty);

    /// Marks just this node dirty.
    void setDirtyFlag();

    /// Set to 0 for every node that an evaluation passes, level walks and prepared evaluations apart.
    std::uint64_t profileTime() const { return profileTime_; }
    void setProfileTime(std::uint64_t time);

    // Nodes and ports live in memory of their own kind; see NodeMemory.
    static void* operator new(std::size_t size) { return internal::NodeMemory::allocate(size, nullptr); }
    static void* operator new(std::size_t size, const std::nothrow_t&) noexcept;
    static void* operator new(std::size_t size, std::align_val_t alignment) { return ::operator new(size, alignment); }
    static void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t& nothrow) noexcept {
        return ::operator new(size, alignment, nothrow);
    }
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* memory) noexcept { internal::NodeMemory::release(memory); }
    static void operator delete(void* memory, const std::nothrow_t&) noexcept { operator delete(memory); }
    static void operator delete(void* memory, std::align_val_t alignment) noexcept {
        ::operator delete(memory, alignment);
    }
    static void operator delete(void* memory, std::align_val_t alignment, const std::nothrow_t&) noexcept {
        operator delete(memory, alignment);
    }
    static void operator delete(void*, void*) noexcept {}

private:
    friend class Port;
    friend struct internal::Access;

    /// Which ports that this node doesn't hold name it as their owner, or may do so.
    enum class Elsewhere : std::uint8_t { Nothing, Outputs, Inputs };  // Where there are inputs, there may be both.

    void addPort(PortList& ports, Port* port, bool asInput);
    bool addNewPort(Port& port, bool asInput);
    void handOver(Port& port, const PortList& receiver);
    static bool isTaken(const PortList& ports, const PortName& name);
    static bool refuse(const PortName& name);
    bool removePort(PortList& ports, const std::string& name);
    void letGo();
    std::vector<Port*>& open(PortList& ports);
    void markDownstream();
    void noteOrigin();
    void leavePrepared();

    internal::NodeMemory::Block* const block_;  ///< Where the node's ports find room; null where there is none.
    std::string name_;
    std::uint64_t label_;           ///< Less than the labels of all nodes that this one feeds.
    std::uint64_t secondMark_ = 0;  ///< For walks that tell two kinds of visit apart.
    std::uint32_t place_ = 0;       ///< For walks that number what they find.
    std::uint32_t holders_ = 0;     ///< In how many entries of a manager's books the node stands.
    std::uint32_t slot_ = 0;        ///< One more than its place among the prepared nodes of its network; 0 for none.
    std::uint32_t entry_ = 0;       ///< Where its entry stands in the node set of `home_`.
    PortList outputs_;
    PortList inputs_;

    // From here on stands what every evaluation reads, followed by what the node classes add.
    internal::NetworkState* home_ = nullptr;  ///< Of the network in which the node stands under its own name.
    std::uint64_t mark_ = 0;                  ///< The last walk that has been here.
    std::uint64_t profileTime_ = 0;
    std::atomic<std::uint8_t>* dirty_ = &ownDirty_;
    std::atomic<std::uint8_t> ownDirty_{1};  ///< The dirty byte while the node stands in no network.

    mutable std::atomic<std::uint8_t> traits_{0};  ///< See internal/TraitsByte.h; 0 until somebody asks.
    bool stored_ = false;                          ///< An evaluation order that a manager stores may hold this node.
    Elsewhere elsewhere_ = Elsewhere::Nothing;
    float cost_ = 0.0f;  ///< What `compute` takes, in nanoseconds; 0 until a level walk has measured it.
};

}  // namespace TessilGraph
