// Every built-in node type with arbitrary bits in its inputs: no trap, no exception, the same bits again.

#include <TessilGraph/TessilGraph.h>

#include <tests/nodes/PortValues.h>

#include <fuzz/ArbitraryValues.h>
#include <fuzz/Expect.h>
#include <fuzz/QuietLog.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

using fuzz::expect;

namespace {

/// The geometry that ports of one input refer to.
struct Geometry {
    TessilUtils::Curve curve;
    TessilUtils::Mesh mesh;
};

template <class T>
void fill(T& value, FuzzedDataProvider& data, Geometry&) {
    value = fuzz::anyValue<T>(data);
}
void fill(TessilUtils::Curve*& value, FuzzedDataProvider& data, Geometry& geometry) {
    geometry.curve = fuzz::anyCurve(data);
    value = data.ConsumeIntegralInRange(0, 9) == 0 ? nullptr : &geometry.curve;
}
void fill(TessilUtils::Mesh*& value, FuzzedDataProvider& data, Geometry& geometry) {
    geometry.mesh = fuzz::anyMesh(data);
    value = data.ConsumeIntegralInRange(0, 9) == 0 ? nullptr : &geometry.mesh;
}

/// The type whose nodes give something else each time.
const std::string& timeType() {
    static const std::string type = TessilGraph::TimeNode::staticTypeStr();
    return type;
}

std::vector<std::string> typesOfAll() {
    TessilGraph::initTessilGraph();
    auto& factory = TessilGraph::NodeFactory::instance();
    expect(factory.isRegistered(timeType()), "a type by the name that is known here");
    return factory.getRegisteredNodes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const std::vector<std::string> types = typesOfAll();
    FuzzedDataProvider data(bytes, size);
    const std::string& type = types[data.ConsumeIntegralInRange<std::size_t>(0, types.size() - 1)];
    Geometry geometry;
    TessilGraph::NetworkManager network;
    TessilGraph::Node* node = network.createNode(type, "node");
    expect(node != nullptr, "a node of a type that is registered");
    for (TessilGraph::Port* port : tests::inputsOf(*node)) {
        tests::visitPort(*port, [&](auto& typed) {
            auto value = typed.get();
            fill(value, data, geometry);
            typed.set(value);
        });
    }
    const std::unique_ptr<TessilGraph::Node> clone(node->clone());
    node->compute(nullptr);
    const std::string first = tests::describe(tests::outputsOf(*node));
    clone->compute(nullptr);
    expect(tests::describe(tests::outputsOf(*clone)) == first, "a clone computes the same bits");
    if (type == timeType()) {
        return 0;
    }
    node->compute(nullptr);
    expect(tests::describe(tests::outputsOf(*node)) == first, "a second compute gives the same bits");
    TessilGraph::PreparedEvaluation prepared(network, "node");
    expect(prepared.run().computed == 1, "a dirty node is computed");
    expect(tests::describe(tests::outputsOf(*node)) == first, "prepared evaluation gives the same bits");
    return 0;
}
