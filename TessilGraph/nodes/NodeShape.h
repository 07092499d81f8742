#pragma once

#include <TessilGraph/Export.h>
#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/NodeTraits.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <typeinfo>

namespace TessilGraph {

// What all built-in node classes are made of, and what a host makes its own from: derive from one of
// the shapes below, give the class a typeInfo row, and register it with registerNodes.

/// The type string that a node class is registered under, its number, and what evaluation may rely on.
///
/// Threads: a value; any number may read it while nobody changes it.
struct TypeInfo {
    const char* str = "";
    unsigned int id = 0;
    NodeTraits traits = {};
};

/// The catalogue row of node class `N`. Every node class has one, next to the class.
///
/// Threads: any number at once; it is constant.
template <class N>
inline constexpr TypeInfo typeInfo{};

/// Makes an input port with the default value of `T`. `node` owns it from then on. Null, with the
/// reason logged, when the node has an input of that name. Expanded in place, where the hash of a literal
/// is a constant.
///
/// Threads: as `Node::addInputPort`.
template <class T>
[[gnu::always_inline]] inline PortTemplate<T>* addInput(Node& node, const char* name) {
    constexpr bool asInput = true;
    return PortTemplate<T>::addTo(node, HashedName(std::string_view(name)), asInput);
}

/// Makes an output port with the default value of `T`. `node` owns it from then on. Null, with the
/// reason logged, when the node has an output of that name.
///
/// Threads: as `Node::addOutputPort`.
template <class T>
[[gnu::always_inline]] inline PortTemplate<T>* addOutput(Node& node, const char* name) {
    constexpr bool asInput = false;
    return PortTemplate<T>::addTo(node, HashedName(std::string_view(name)), asInput);
}

/// Gives `copy` the name of `node` and the values and links to outside storage of its unconnected
/// inputs, and returns it. Inputs that `copy` lacks or has with another type are passed over, and so
/// are null entries in the list of inputs. A null `copy` is returned at once. The caller keeps owning
/// `copy`; it is deleted if this throws.
///
/// Threads: reads `node` only, so that several may copy one node at once.
TESSILGRAPH_API Node* copyUnconnected(Node& node, Node* copy);

/// Declares the traits in the row of `N`, if it has any.
///
/// Threads: any number at once.
template <class N>
void declareTraitsOfRow() {
    if constexpr (!typeInfo<N>.traits.none()) {
        static const bool declared = (declareNodeTraits(typeid(N), typeInfo<N>.traits), true);
        static_cast<void>(declared);
    }
}

/// What all node classes share. `N` is the node class itself; it adds its ports and `compute`.
///
/// Threads: as `Node`. `creator` and the other static functions, and making and destroying nodes that
/// stand in no network, are for any number of threads at once. This holds for all built-in node classes;
/// where one differs it says so.
template <class N>
class TESSILGRAPH_API NodeShape : public Node {
public:
    /// From the first node on, the traits in the row of `N` are known.
    NodeShape() { declareTraitsOfRow<N>(); }

    /// A new node with default values, owned by the caller.
    static Node* creator() { return new N; }

    static unsigned int staticTypeId() { return typeInfo<N>.id; }

    static std::string staticTypeStr() {
        static_assert(*typeInfo<N>.str != '\0', "this node class has no typeInfo row");
        return typeInfo<N>.str;
    }

    std::string typeStr() const override { return staticTypeStr(); }
    unsigned int typeId() const override { return staticTypeId(); }

    using Node::operator new;

    /// With room for the ports of a node of this class.
    static void* operator new(std::size_t size) {
        static internal::PortRoom room{0};
        return internal::NodeMemory::allocateNode(size, room);
    }

    using Node::operator delete;

    static void operator delete(void* memory) noexcept { Node::operator delete(memory); }

    /// A new node of the same class with the same name, owned by the caller. Unconnected inputs keep
    /// their values; connected inputs, outputs and whatever else a node remembers start afresh.
    Node* clone() override { return copyUnconnected(*this, new N); }
};

/// A node with the input "in" and the output "out" = N::evaluate(in). The source in which a host
/// instantiates a class of its own on this shape includes <TessilGraph/nodes/ShapeCompute.h>.
///
/// Threads: as `NodeShape`; evaluation may call `evaluate` from any number at once.
template <class N, class In, class Out>
class TESSILGRAPH_API UnaryNode : public NodeShape<N> {
public:
    PortTemplate<In>* inputPort() const { return in_; }
    PortTemplate<Out>* outputPort() const { return out_; }

    bool compute(const ComputeData* data) override;

private:
    PortTemplate<In>* in_ = addInput<In>(*this, "in");
    PortTemplate<Out>* out_ = addOutput<Out>(*this, "out");
};

/// A node with the inputs "in1" and "in2" and the output "out" = N::evaluate(in1, in2). The source in
/// which a host instantiates a class of its own on this shape includes
/// <TessilGraph/nodes/ShapeCompute.h>.
///
/// Threads: as `UnaryNode`.
template <class N, class In1, class In2, class Out>
class TESSILGRAPH_API BinaryNode : public NodeShape<N> {
public:
    PortTemplate<In1>* input1Port() const { return in1_; }
    PortTemplate<In2>* input2Port() const { return in2_; }
    PortTemplate<Out>* outputPort() const { return out_; }

    bool compute(const ComputeData* data) override;

private:
    PortTemplate<In1>* in1_ = addInput<In1>(*this, "in1");
    PortTemplate<In2>* in2_ = addInput<In2>(*this, "in2");
    PortTemplate<Out>* out_ = addOutput<Out>(*this, "out");
};

/// Registers the node classes `N` with the factory in the order given.
///
/// Threads: as `NodeFactory::registerNode`.
template <class... N>
void registerNodes() {
    (declareTraitsOfRow<N>(), ...);
    (NodeFactory::instance().registerNode(N::staticTypeStr(), N::creator), ...);
}

}  // namespace TessilGraph
