#include <TessilGraph/TessilGraph.h>

#include <iostream>
#include <memory>

using TessilGraph::NetworkManager;
using TessilGraph::Node;
using TessilGraph::Port;

/// Says when it is deleted. `Kind` makes types of it.
template <int Kind>
class Witness : public TessilGraph::NodeShape<Witness<Kind>> {
public:
    Witness() {
        TessilGraph::addInput<double>(*this, "in");
        TessilGraph::addOutput<double>(*this, "out");
    }
    ~Witness() override { std::cout << "  deleted: " << Witness::staticTypeStr() << " \"" << this->name() << "\"\n"; }
};

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<Witness<1>>{"Witness", 1001};
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<Witness<2>>{"OtherWitness", 1002};

/// Nodes that came in from outside are let go of by `reset`, with the links among them.
void releaseAddedNodes() {
    std::cout << "added, then dropped by reset\n";
    NetworkManager network;
    auto* source = new Witness<1>;
    auto* sink = new Witness<1>;
    network.addNode(source, "source");  // From here on the network owns them,
    network.addNode(sink, "sink");
    network.connectAttr("source", "out", "sink", "in");
    network.reset();
    const std::unique_ptr<Node> first(source), second(sink);  // and from here on the host does.
    // Who destroys linked ports takes the links off both sides before.
    first->reset();
    second->reset();
}

/// So are the clones in a copy of a network, whoever made the originals.
void releaseClones() {
    std::cout << "copied, then dropped by reset\n";
    NetworkManager network;
    network.createNode("Witness", "original");
    NetworkManager copy(network);
    const std::unique_ptr<Node> clone(copy.getNode("original"));
    copy.reset();
    clone->setName("clone");
}

/// A node that waits after a `reset` is the host's as soon as another type is asked for under its name, also where
/// nothing comes of that.
void releaseAnOverwrittenNode() {
    for (const char* type : {"OtherWitness", "witness", "Unknown"}) {
        std::cout << "overwritten by createNode of " << type << "\n";
        NetworkManager network;
        Node* waiting = network.createNode("Witness", "one");
        network.reset();
        const Node* made = network.createNode(type, "one");
        std::cout << "  now: " << (made != nullptr ? made->typeStr() : "nothing") << "\n";
        waiting->setName("waiting");
        delete waiting;
        std::cout << "  the network goes\n";
    }
}

/// So it is when its name is deleted while it waits.
void releaseANodeThatWaitsUnderADeletedName() {
    std::cout << "deleted by name while it waits\n";
    NetworkManager network;
    Node* waiting = network.createNode("Witness", "waiting");
    network.reset();
    network.deleteNode("waiting");  // There is no such node in the network.
    delete waiting;

    waiting = network.createNode("Witness", "waiting");
    network.reset();
    network.addNode(new Witness<2>, "waiting");
    network.deleteNode("waiting");  // There is one, and it is deleted.
    delete waiting;
}

/// The others are the manager's to the end.
void dropWhatWaits() {
    std::cout << "not needed any more\n";
    NetworkManager network;
    network.createNode("Witness", "first");
    network.createNode("Witness", "second");
    network.reset();
    network.createNode("Witness", "second");
    network.clearNodeCache();  // Only what is not in use.
    network.reset();
    network.createNode("OtherWitness", "third");
    network.renameNode("third", "second");  // The one that waits under that name goes.
    std::cout << "  the network goes\n";
}

/// So are those of the network itself; each is deleted once, under however many names it was added.
void dropWhatIsInUse() {
    std::cout << "in use\n";
    NetworkManager network;
    auto* node = new Witness<1>;
    network.addNode(node, "first");
    network.addNode(node, "second");
    network.deleteNode("first");
    std::cout << "  " << network.getNodeNames().size() << " nodes\n";
    network.createNode("Witness", "third");
    network = NetworkManager();
    std::cout << "  the network goes\n";
}

/// A port that was removed, and one that was never taken in.
void releasePorts() {
    std::cout << "ports\n";
    NetworkManager network;
    Node* source = network.createNode("Witness", "source");
    Node* sink = network.createNode("Witness", "sink");
    network.connectAttr("source", "out", "sink", "in");

    const std::unique_ptr<Port> removed(sink->getInputPort("in"));
    removed->disconnectFrom(source->getOutputPort("out"));
    sink->removeInputPort("in");

    auto offered = std::make_unique<TessilGraph::PortTemplate<double>>("extra");
    source->addInputPort(offered.get());
    if (offered->node() == source) {  // It was not refused, as it would be under a name that is taken.
        static_cast<void>(offered.release());
    }
    std::cout << "  " << source->name() << " has " << source->numInputPorts() << " inputs, " << sink->name() << " "
              << sink->numInputPorts() << "\n";
    network.cleanNetwork();
    std::cout << "  " << removed->name() << (removed->node() == nullptr ? " has no owner\n" : " has an owner\n");
}

/// What nobody put into a network belongs to whoever asked for it.
void releaseCopies() {
    std::cout << "copies\n";
    NetworkManager network;
    Node* node = network.createNode("Witness", "original");
    {
        const NetworkManager copy = network.clone();  // Deletes its own nodes.
    }
    const std::unique_ptr<Node> clone(node->clone());
    clone->setName("clone");
    const std::unique_ptr<Node> made(TessilGraph::NodeFactory::instance().createNode("Witness"));
    made->setName("made by the factory");
}

int main() {
    TessilGraph::initTessilGraph();
    TessilGraph::registerNodes<Witness<1>, Witness<2>>();
    releaseAddedNodes();
    releaseClones();
    releaseAnOverwrittenNode();
    releaseANodeThatWaitsUnderADeletedName();
    dropWhatWaits();
    dropWhatIsInUse();
    releasePorts();
    releaseCopies();
    return 0;
}
