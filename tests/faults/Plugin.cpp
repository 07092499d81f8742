#include <TessilGraph/TessilGraph.h>

#include <TessilUtils/Curve.h>
#include <TessilUtils/Logger.h>
#include <TessilUtils/Mesh.h>
#include <TessilUtils/ParallelFor.h>

#include <string>

namespace {

using TessilGraph::PortTemplate;

/// A node class that goes when the plugin does.
class Passing : public TessilGraph::NodeShape<Passing> {
public:
    bool compute(const TessilGraph::ComputeData*) override {
        out_->set(in_->get() * 0.5 + 1.0);
        return true;
    }

private:
    PortTemplate<double>* in_ = TessilGraph::addInput<double>(*this, "in1");
    PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
};

}  // namespace

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<Passing>{"FaultsPassing", 9504, pureNode};

/// For the program that loads this; every call does the same.
extern "C" __attribute__((visibility("default"))) double evaluateEverything() {
    TessilGraph::initTessilGraph();
    TessilGraph::NodeFactory& factory = TessilGraph::NodeFactory::instance();
    TessilGraph::registerNodes<Passing>();
    TessilGraph::NetworkManager network;
    for (int i = 0; i < 60; ++i) {
        const std::string name = "n" + std::to_string(i);
        network.createNode(i % 3 == 0 ? "FaultsPassing" : "AddDouble", name);
        if (i > 0) {
            network.connectAttr("n" + std::to_string(i - 1), "out", name, "in1");
        }
    }
    auto& input = dynamic_cast<PortTemplate<double>&>(*network.getNode("n0")->getInputPort("in1"));
    input.set(3.0);
    network.computeNode("n59", nullptr, true);
    TessilUtils::parallel_for({0, 100}, [](const TessilUtils::ParallelForRange&) {});
    TessilGraph::PreparedEvaluation evaluation(network, "n59");
    TessilGraph::RunOptions options;
    options.parallel = true;
    for (int times = 0; times < 3; ++times) {
        input.set(times);
        evaluation.run(nullptr, options);
    }
    const TessilUtils::Mesh mesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2});
    float t = 0.0F;
    float u = 0.0F;
    float v = 0.0F;
    unsigned int face = 0;
    const bool hit = mesh.intersect({0.2F, 0.2F, -3}, {0, 0, 1}, t, face, u, v, false);
    TessilUtils::Curve curve({{0, 0, 0}, {1, 2, 0}, {3, 1, 1}, {4, 0, 2}});
    const float nearest = curve.closestPoint({1, 2, 3}, 4, 20, 1e-6F).first;
    // A sink and a creator of a plugin go before it does.
    const TessilUtils::Logger::Sink before =
        TessilUtils::Logger::setSink([](TessilUtils::LogLevel, const std::string&) {});
    factory.registerNode("FaultsPassing", Passing::creator);
    TessilUtils::Logger::setSink(before);
    factory.deregisterNode("FaultsPassing");
    return dynamic_cast<PortTemplate<double>&>(*network.getNode("n59")->getOutputPort("out")).get() +
           static_cast<double>(t + nearest) + (hit ? 1.0 : 0.0);
}
