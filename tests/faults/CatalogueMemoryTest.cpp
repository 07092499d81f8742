#include "EveryAllocation.h"

#include <TessilGraph/TessilGraph.h>

#include <TessilUtils/Curve.h>
#include <TessilUtils/Mesh.h>

#include <tests/nodes/CatalogueRows.h>
#include <tests/nodes/PortValues.h>
#include <tests/support/HowToCompute.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

using namespace tests;
using TessilGraph::NetworkManager;
using TessilGraph::PreparedEvaluation;
using TessilGraph::RunOptions;

namespace {

/// A node of one type of the catalogue, which feeds a second one like it where it can. Geometry is new, so that what it
/// keeps for later calls has to be made.
struct OfOneType : World {
    static inline std::string type;

    OfOneType() {
        for (const char* name : {"first", "second"}) {
            for (TessilGraph::Port* port : inputsOf(*network.createNode(type, name))) {
                fill(*port);
            }
        }
        const TessilGraph::Port& from = *outputsOf(*network.getNode("first")).front();
        for (const TessilGraph::Port* to : inputsOf(*network.getNode("second"))) {
            if (to->typeStr() == from.typeStr()) {
                network.connectAttr("first", from.name(), "second", to->name());
                return;
            }
        }
    }

    void fill(TessilGraph::Port& port) {
        setSample(port, 3);
        if (auto* curves = dynamic_cast<TessilGraph::PortTemplate<TessilUtils::Curve*>*>(&port)) {
            curve = *curves->get();
            curves->set(&curve);
        } else if (auto* meshes = dynamic_cast<TessilGraph::PortTemplate<TessilUtils::Mesh*>*>(&port)) {
            mesh = TessilUtils::Mesh(meshes->get()->points(), meshes->get()->triangles());
            meshes->set(&mesh);
        }
    }

    std::string picture() override {
        std::string text;
        for (const TessilGraph::Node* node : network.getAllNodes()) {
            text += describe(outputsOf(*node)) + (node->isDirty() ? "* " : " ");
        }
        return text;
    }

    std::string later() override {
        network.setAllNodeDirty();
        network.computeNode("first");
        network.computeNode("second");
        return picture();
    }

    TessilUtils::Curve curve;
    TessilUtils::Mesh mesh;
    NetworkManager network;
    std::optional<PreparedEvaluation> evaluation;
};

/// Time nodes apart, whose values depend on those they were computed for before.
template <class Operation>
void everyAllocationFailsForEachType(const Operation& operate) {
    TessilGraph::initTessilGraph();
    for (const CatalogueRow& row : catalogueRows()) {
        SCOPED_TRACE(row.typeStr);
        if (row.typeStr != "TimeNode") {
            OfOneType::type = row.typeStr;
            everyAllocationFails<OfOneType>(operate, Promise::Usable);
        }
    }
}

TEST(CatalogueShortOfMemory, IsEvaluatedNodeByNode) {
    for (const bool isParallel : {false, true}) {
        everyAllocationFailsForEachType([isParallel](OfOneType& world) {
            world.network.computeNode("first", nullptr, isParallel);
            world.network.computeNode("second", nullptr, isParallel);
        });
    }
    everyAllocationFailsForEachType([](OfOneType& world) {
        world.network.cacheNodeNetwork("second");
        world.network.computeNode("second", nullptr, serial, useCache);
        world.network.computeNode("first");
    });
}

TEST(CatalogueShortOfMemory, IsPreparedAndEvaluated) {
    for (const bool cutsOff : {false, true}) {
        everyAllocationFailsForEachType([cutsOff](OfOneType& world) {
            RunOptions options;
            options.cutOff = cutsOff;
            if (!world.evaluation) {
                world.evaluation.emplace(world.network, std::vector<std::string>{"first", "second"});
            }
            world.evaluation->run(nullptr, options);
        });
    }
}

}  // namespace
