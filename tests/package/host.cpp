// A host with a node class of its own. Whatever it asks for goes through public headers only.

#include <TessilGraph/TessilGraph.h>

#include <TessilUtils/Curve.h>
#include <TessilUtils/Image.h>
#include <TessilUtils/Logger.h>
#include <TessilUtils/Mesh.h>  // IWYU pragma: keep
#include <TessilUtils/ParallelFor.h>

#include <atomic>
#include <cmath>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

/// The length of the hypotenuse over the legs "in1" and "in2".
class HypotenuseNode : public TessilGraph::NodeShape<HypotenuseNode> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        out_->set(std::hypot(in1_->get(), in2_->get()));
        return true;
    }

private:
    TessilGraph::PortTemplate<double>* in1_ = TessilGraph::addInput<double>(*this, "in1");
    TessilGraph::PortTemplate<double>* in2_ = TessilGraph::addInput<double>(*this, "in2");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

/// Takes nothing below zero.
class RootNode : public TessilGraph::NodeShape<RootNode> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        if (in_->get() < 0.0) {
            throw Refusal("no root of a negative number");
        }
        out_->set(std::sqrt(in_->get()));
        return true;
    }

    /// An exception class that the library cannot know.
    struct Refusal : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

private:
    TessilGraph::PortTemplate<double>* in_ = TessilGraph::addInput<double>(*this, "in");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

int failures = 0;

void expect(bool holds, const char* what) {
    if (!holds) {
        std::cerr << "not so: " << what << '\n';
        ++failures;
    }
}

template <class T>
TessilGraph::PortTemplate<T>* input(TessilGraph::Node* node, const char* name) {
    return dynamic_cast<TessilGraph::PortTemplate<T>*>(node->getInputPort(name));
}

template <class T>
TessilGraph::PortTemplate<T>* output(TessilGraph::Node* node, const char* name) {
    return dynamic_cast<TessilGraph::PortTemplate<T>*>(node->getOutputPort(name));
}

/// Whether what a node of the host throws comes back through the library as what it was.
template <class Evaluate>
bool refuses(const Evaluate& evaluate) {
    try {
        evaluate();
    } catch (const RootNode::Refusal&) {
        return true;
    }
    return false;
}

}  // namespace

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<HypotenuseNode>{"Hypotenuse", 1000};

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<RootNode>{"HostRoot", 1001};

namespace {

/// Types are told apart on both sides of the boundary.
void checkTypes() {
    const std::unique_ptr<TessilGraph::Node> add(TessilGraph::NodeFactory::instance().createNode("AddDouble"));
    const std::unique_ptr<TessilGraph::Node> own(TessilGraph::NodeFactory::instance().createNode("HostRoot"));
    using Add = TessilGraph::AddNode<double, double, double, double>;
    expect(dynamic_cast<Add*>(add.get()) != nullptr, "a node of the library is of its class");
    expect(dynamic_cast<RootNode*>(own.get()) != nullptr, "a node of the host is of its class");
    expect(dynamic_cast<RootNode*>(add.get()) == nullptr, "and of no other");
    expect(input<double>(add.get(), "in1") != nullptr, "a port of the library is of its type");
    expect(input<TessilGraph::Long>(add.get(), "in1") == nullptr, "and of no other");
    TessilGraph::PortTemplate<std::vector<std::string>> port("names");
    expect(dynamic_cast<TessilGraph::PortTemplate<std::vector<std::string>>*>(static_cast<TessilGraph::Port*>(&port)) !=
               nullptr,
           "so is a port that the host made");
    Add here;
    const TessilGraph::Node& made = *add;
    expect(typeid(here) == typeid(made), "a class is the same wherever its node was made");
}

void checkExceptions() {
    TessilGraph::NetworkManager network;
    TessilGraph::Node* const root = network.createNode("HostRoot", "root");
    TessilGraph::PreparedEvaluation prepared(network, "root");
    for (const bool parallel : {false, true}) {
        input<double>(root, "in")->set(-1.0);
        expect(refuses([&] { network.computeNode("root", nullptr, parallel); }), "what a node throws reaches the host");
        expect(refuses([&] { prepared.run(); }), "through a prepared evaluation, too");
    }
    input<double>(root, "in")->set(9.0);
    expect(prepared.run().status == TessilGraph::RunStatus::Done, "a prepared evaluation runs");
    expect(output<double>(root, "out")->get() == 3.0, "and computes");
}

void checkLoop() {
    std::atomic<unsigned int> sum{0};
    TessilUtils::parallel_for({1, 101}, [&sum](const TessilUtils::ParallelForRange& range) {
        for (unsigned int i = range.begin(); i < range.end(); ++i) {
            sum += i;
        }
    });
    expect(sum == 5050, "a loop covers its range once");
}

}  // namespace

int main() {
    const std::string headers = std::to_string(TESSILGRAPH_VERSION_MAJOR) + '.' +
                                std::to_string(TESSILGRAPH_VERSION_MINOR) + '.' +
                                std::to_string(TESSILGRAPH_VERSION_PATCH);
    expect(TessilGraph::version() == headers, "the library is the one that the headers belong to");

    std::vector<std::string> messages;
    TessilUtils::Logger::setSink(
        [&messages](TessilUtils::LogLevel, const std::string& message) { messages.push_back(message); });

    TessilGraph::initTessilGraph();
    TessilGraph::registerNodes<HypotenuseNode, RootNode>();

    TessilGraph::NetworkManager network;
    TessilGraph::Node* hypotenuse = network.createNode("Hypotenuse", "hypotenuse");
    TessilGraph::Node* root = network.createNode("SqrtDouble", "root");
    expect(hypotenuse != nullptr && root != nullptr, "nodes of the host and of the library are made");
    if (hypotenuse == nullptr || root == nullptr) {
        return 1;
    }
    expect(network.connectAttr("hypotenuse", "out", "root", "in"), "they can be connected");
    input<double>(hypotenuse, "in1")->set(7.0);
    input<double>(hypotenuse, "in2")->set(24.0);
    for (const bool parallel : {false, true}) {
        input<double>(hypotenuse, "in1")->set(7.0);
        network.computeNode("root", nullptr, parallel);
        expect(output<double>(root, "out")->get() == 5.0, "the network is evaluated");
    }

    expect(!network.connectAttr("root", "out", "hypotenuse", "in1"), "a cycle is refused");
    expect(messages.size() == 1, "the reason is logged through the host's own sink");
    TessilUtils::Logger::setSink({});

    checkTypes();
    checkExceptions();
    checkLoop();

    if (failures == 0) {
        std::cout << "TessilGraph " << TessilGraph::version() << " serves this host\n";
    }
    return failures == 0 ? 0 : 1;
}
