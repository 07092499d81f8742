#pragma once

#include <benchmarks/Workloads.h>

#include <Imath/ImathVec.h>

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace bench {

/// A node as lean as one that can be wired, marked and computed through one interface gets: one
/// block on the heap, ports inside it, inputs that are read through one pointer.
class LeanNode {
public:
    LeanNode() = default;
    LeanNode(const LeanNode&) = delete;
    LeanNode& operator=(const LeanNode&) = delete;
    virtual ~LeanNode();

    virtual void compute() = 0;

    /// The address of an output's value, of an input's own value.
    virtual const void* output(std::uint32_t place) = 0;
    virtual void setInput(std::uint32_t place, const Imath::V3d& value) = 0;
    virtual void readFrom(std::uint32_t place, const void* value) = 0;

    std::uint32_t mark = 0;  ///< The last walk that has been here.
    bool dirty = true;
    std::uint8_t callSite = 0;       ///< Below 4.
    std::uint16_t sourceCount = 0;   ///< Inputs of this kind; those not connected have no source.
    LeanNode** sources = nullptr;    ///< Inside the node.
    LeanNode** consumers = nullptr;  ///< From malloc.
    std::uint32_t consumerCount = 0;
    std::uint32_t consumerRoom = 0;
};

/// Computes from one of four places, so that the processor foresees each kind's target apart. The
/// empty statements keep the compiler from making one place of them.
inline void computeSplit(LeanNode& node) {
    switch (node.callSite) {
        case 0:
            node.compute();
            asm volatile("# site 0");
            break;
        case 1:
            node.compute();
            asm volatile("# site 1");
            break;
        case 2:
            node.compute();
            asm volatile("# site 2");
            break;
        default:
            node.compute();
            asm volatile("# site 3");
            break;
    }
    node.dirty = false;
}

/// A workload made of lean nodes: the mark that the library's engine is measured against.
class LeanNetwork {
public:
    /// Creates the nodes in order and links them in the order of the workload's links.
    explicit LeanNetwork(const Workload& workload);

    ~LeanNetwork();
    LeanNetwork(const LeanNetwork&) = delete;
    LeanNetwork& operator=(const LeanNetwork&) = delete;

    /// Gives the unconnected inputs their values.
    void setConstants();

    /// Sets the input of a node and marks it and what is downstream of it dirty.
    void touch(std::uint32_t node, const Imath::V3d& value);

    /// Marks a node and what is downstream of it dirty; a dirty node ends the matter.
    void mark(std::uint32_t node);

    void setAll(bool dirty);
    void clean(std::uint32_t node) { nodes_[node]->dirty = false; }
    std::size_t countDirty() const;

    /// Finds the dirty nodes upstream of the sink and computes them, each after its sources.
    void evaluate();

    /// Stores the order of all nodes upstream of the sink.
    void store();

    /// Computes the dirty nodes of the stored order.
    void replay();

    Imath::V3d sinkValue() const;
    bool isSinkDirty() const { return sink_->dirty; }

    LeanNode& node(std::uint32_t number) { return *nodes_[number]; }

private:
    void walk(std::vector<LeanNode*>& order, bool onlyDirty);

    const Workload& workload_;
    std::vector<LeanNode*> nodes_;
    LeanNode* sink_ = nullptr;
    std::vector<LeanNode*> order_;
    std::vector<LeanNode*> stored_;
    std::vector<LeanNode*> pending_;
    std::vector<std::pair<LeanNode*, std::uint32_t>> path_;
    std::uint32_t walks_ = 0;
};

}  // namespace bench
