// A host with a node class of its own. Whatever it asks for goes through public headers only.

#include <TessilGraph/TessilGraph.h>

#include <TessilUtils/Curve.h>
#include <TessilUtils/Image.h>
#include <TessilUtils/Logger.h>
#include <TessilUtils/Mesh.h>
#include <TessilUtils/ParallelFor.h>

#include <cmath>
#include <iostream>
#include <string>
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

}  // namespace

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<HypotenuseNode>{"Hypotenuse", 1000};

int main() {
    const std::string headers = std::to_string(TESSILGRAPH_VERSION_MAJOR) + '.' +
                                std::to_string(TESSILGRAPH_VERSION_MINOR) + '.' +
                                std::to_string(TESSILGRAPH_VERSION_PATCH);
    expect(TessilGraph::version() == headers, "the library is the one that the headers belong to");

    std::vector<std::string> messages;
    TessilUtils::Logger::setSink(
        [&messages](TessilUtils::LogLevel, const std::string& message) { messages.push_back(message); });

    TessilGraph::initTessilGraph();
    TessilGraph::registerNodes<HypotenuseNode>();

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

    if (failures == 0) {
        std::cout << "TessilGraph " << TessilGraph::version() << " serves this host\n";
    }
    return failures == 0 ? 0 : 1;
}
