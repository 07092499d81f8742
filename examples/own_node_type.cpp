#include <TessilGraph/TessilGraph.h>

#include <algorithm>
#include <iostream>

/// "in", kept within ["low", "high"].
class ClampNode : public TessilGraph::NodeShape<ClampNode> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        out_->set(std::min(std::max(in_->get(), low_->get()), high_->get()));
        return true;
    }

private:
    TessilGraph::PortTemplate<double>* in_ = TessilGraph::addInput<double>(*this, "in");
    TessilGraph::PortTemplate<double>* low_ = TessilGraph::addInput<double>(*this, "low");
    TessilGraph::PortTemplate<double>* high_ = TessilGraph::addInput<double>(*this, "high");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

/// The type string, and a number beyond those of the built-in types.
template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<ClampNode>{"ClampDouble", 1000};

//              square "MultiplyDouble"        limited "ClampDouble"
//    value --> in1
//    value --> in2             out ---------> in
//                                    0 -----> low
//                                   10 -----> high           out --> printed
int main() {
    TessilGraph::initTessilGraph();
    TessilGraph::registerNodes<ClampNode>();

    TessilGraph::NetworkManager network;
    auto* square = dynamic_cast<TessilGraph::MultiplyNode<double, double, double, double>*>(
        network.createNode("MultiplyDouble", "square"));
    TessilGraph::Node* limited = network.createNode("ClampDouble", "limited");
    static_cast<TessilGraph::PortTemplate<double>*>(limited->getInputPort("high"))->set(10.0);
    network.connectAttr("square", "out", "limited", "in");

    for (const double value : {1.0, 3.0, 5.0}) {
        square->input1Port()->set(value);
        square->input2Port()->set(value);
        network.computeNode("limited");
        std::cout << value << " squared, at most 10: "
                  << static_cast<TessilGraph::PortTemplate<double>*>(limited->getOutputPort("out"))->get() << "\n";
    }
    return 0;
}
