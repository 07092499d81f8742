#pragma once

#include "EveryAllocation.h"

#include <TessilGraph/TessilGraph.h>

#include <tests/support/HowToCompute.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace tests {

/// A host's node whose outputs ask for memory.
class Joint : public TessilGraph::NodeShape<Joint> {
public:
    Joint() { ++alive; }
    ~Joint() override { --alive; }

    static inline int alive = 0;

    bool compute(const TessilGraph::ComputeData*) override {
        const double sum = in1_->get() + in2_->get() + 1.0;
        text_->set("a text that finds no room in a string itself, " + std::to_string(sum) +
                   inText_->get().substr(0, 8));
        out_->set(sum);
        return true;
    }

private:
    TessilGraph::PortTemplate<double>* in1_ = TessilGraph::addInput<double>(*this, "in1");
    TessilGraph::PortTemplate<double>* in2_ = TessilGraph::addInput<double>(*this, "in2");
    TessilGraph::PortTemplate<std::string>* inText_ = TessilGraph::addInput<std::string>(*this, "inText");
    TessilGraph::PortTemplate<double>* out_ = TessilGraph::addOutput<double>(*this, "out");
    TessilGraph::PortTemplate<std::string>* text_ = TessilGraph::addOutput<std::string>(*this, "text");
};

}  // namespace tests

template <>
inline constexpr TessilGraph::TypeInfo TessilGraph::typeInfo<tests::Joint>{"FaultsJoint", 9501};

namespace tests {

inline const bool jointsAreRegistered = (TessilGraph::initTessilGraph(), TessilGraph::registerNodes<Joint>(), true);

/// What can be seen of a port: its name, its value if that is a number or a text, and its links.
inline std::string pictureOf(const TessilGraph::Port& port) {
    std::string text = " " + port.name();
    if (const auto* number = dynamic_cast<const TessilGraph::PortTemplate<double>*>(&port)) {
        text += "=" + std::to_string(number->get());
    } else if (const auto* words = dynamic_cast<const TessilGraph::PortTemplate<std::string>*>(&port)) {
        text += "=" + words->get();
    }
    for (const TessilGraph::Port* peer : port.getConnections()) {
        const std::vector<TessilGraph::Port*>& back = peer->getConnections();
        const bool isListed = std::find(back.begin(), back.end(), &port) != back.end();
        text += (isListed ? "<>" : "ONE-SIDED ") + (peer->node() != nullptr ? peer->node()->name() : "nobody") + "." +
                peer->name();
    }
    return text;
}

inline std::string pictureOf(const TessilGraph::Node& node) {
    std::string text = node.name() + ":" + node.typeStr() + (node.isDirty() ? " dirty" : " clean");
    for (auto port = node.inputPortCBegin(); port != node.inputPortCEnd(); ++port) {
        text += pictureOf(**port);
    }
    text += " |";
    for (auto port = node.outputPortCBegin(); port != node.outputPortCEnd(); ++port) {
        text += pictureOf(**port);
    }
    return text + "\n";
}

inline std::string pictureOf(TessilGraph::NetworkManager& network) {
    std::string text;
    const std::vector<std::string> names = network.getNodeNames();
    std::size_t place = 0;
    for (const TessilGraph::Node* node : network.getAllNodes()) {
        const bool isFound = network.getNode(names.at(place)) == node;
        text += names[place++] + (isFound ? " " : " LOST ") + pictureOf(*node);
    }
    return text;
}

/// A network, and short ways to fill and use it.
struct FaultsNetwork : World {
    TessilGraph::Node& add(const std::string& type, const std::string& name) { return *network.createNode(type, name); }

    bool link(const std::string& from, const std::string& to, const std::string& input = "in1") {
        return network.connectAttr(from, "out", to, input);
    }

    TessilGraph::Port& input(const std::string& node, const std::string& name = "in1") {
        return *network.getNode(node)->getInputPort(name);
    }
    TessilGraph::Port& output(const std::string& node, const std::string& name = "out") {
        return *network.getNode(node)->getOutputPort(name);
    }

    void set(const std::string& node, double value, const std::string& name = "in1") {
        dynamic_cast<TessilGraph::PortTemplate<double>&>(input(node, name)).set(value);
    }

    double get(const std::string& node) { return dynamic_cast<TessilGraph::PortTemplate<double>&>(output(node)).get(); }

    std::string picture() override { return pictureOf(network); }

    /// The values of all nodes after evaluations of every kind, the first node being set to something else before each.
    std::string later() override {
        std::string text;
        const std::vector<std::string> names = network.getNodeNames();
        if (names.empty()) {
            return text;
        }
        network.clearNodeNetworkCaches();
        network.setAllNodeDirty();
        double value = 10.0;
        const auto note = [&](const char* way, auto evaluate) {
            change(names, value += 1.0);
            for (const std::string& name : names) {
                evaluate(name);
            }
            text += way;
            for (const TessilGraph::Node* node : network.getAllNodes()) {
                for (auto port = node->outputPortCBegin(); port != node->outputPortCEnd(); ++port) {
                    const auto* number = dynamic_cast<const TessilGraph::PortTemplate<double>*>(*port);
                    text += number != nullptr ? " " + std::to_string(number->get()) : "";
                }
                text += node->isDirty() ? "*" : "";
            }
            text += "\n";
        };
        for (int times = 0; times < 3; ++times) {
            note("serial", [&](const std::string& name) { network.computeNode(name); });
        }
        note("levels", [&](const std::string& name) { network.computeNode(name, nullptr, parallel); });
        TessilGraph::PreparedEvaluation evaluation(network, names);
        note("prepared", [&](const std::string&) { evaluation.run(); });
        return text;
    }

    TessilGraph::NetworkManager network;

private:
    void change(const std::vector<std::string>& names, double value) {
        for (const std::string& name : names) {
            TessilGraph::Port* port = network.getNode(name)->getInputPort("in1");
            if (auto* number = dynamic_cast<TessilGraph::PortTemplate<double>*>(port)) {
                if (number->numConnections() == 0) {
                    number->set(value);
                }
            }
        }
    }
};

}  // namespace tests
