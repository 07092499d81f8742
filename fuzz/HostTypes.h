#pragma once

#include <TessilGraph/graph/ComputeData.h>
#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace fuzz {

/// What the host made itself and may delete. Nodes of the library go on using the ports that they began with.
struct MadeByHost {
    virtual ~MadeByHost() = default;
};

template <class T>
class HostPort : public TessilGraph::PortTemplate<T>, public MadeByHost {
public:
    using TessilGraph::PortTemplate<T>::PortTemplate;
};

template <class... T>
struct ValueTypes {
    static constexpr std::size_t count = sizeof...(T);

    /// A port for values of the type of that number.
    static std::unique_ptr<TessilGraph::Port> makePort(std::size_t type, const std::string& name) {
        using Maker = std::unique_ptr<TessilGraph::Port> (*)(const std::string&);
        static constexpr std::array<Maker, count> makers = {
            [](const std::string& text) -> std::unique_ptr<TessilGraph::Port> {
                return std::make_unique<HostPort<T>>(text);
            }...};
        return makers.at(type)(name);
    }

    /// Calls `visitor` with the typed port.
    template <class Visitor>
    static void visit(TessilGraph::Port& port, const Visitor& visitor) {
        const auto tryAs = [&](auto* typed) {
            if (typed != nullptr) {
                visitor(*typed);
            }
            return typed != nullptr;
        };
        static_cast<void>((tryAs(dynamic_cast<TessilGraph::PortTemplate<T>*>(&port)) || ...));
    }
};

/// All types that ports come in.
using PortTypes =
    ValueTypes<bool, TessilGraph::Long, double, std::string, Imath::M44d, Imath::V3d, Imath::Quatd, TessilUtils::Curve,
               TessilUtils::Mesh, TessilUtils::Image, TessilUtils::Curve*, TessilUtils::Mesh*, std::vector<bool>,
               std::vector<TessilGraph::Long>, std::vector<double>, std::vector<std::string>, std::vector<Imath::M44d>,
               std::vector<Imath::V3d>, std::vector<Imath::Quatd>, std::vector<TessilUtils::Curve>,
               std::vector<TessilUtils::Mesh>>;

/// What a host's node throws.
struct Failure {};

enum class Habit { Clones, HasNoClone, ThrowsInReset };

/// Adds up what its inputs of doubles hold; throws instead while "fails" is set. Its ports may come and go.
template <Habit habit>
class HostNode : public TessilGraph::Node {
public:
    HostNode() {
        take(std::make_unique<HostPort<double>>("a"), true);
        take(std::make_unique<HostPort<double>>("b"), true);
        take(std::make_unique<HostPort<bool>>("fails"), true);
        take(std::make_unique<HostPort<double>>("sum"), false);
    }

    static Node* creator() { return new HostNode; }
    static std::string staticTypeStr() { return "HostNode" + std::to_string(static_cast<int>(habit)); }

    std::string typeStr() const override { return staticTypeStr(); }
    unsigned int typeId() const override { return 9001; }

    Node* clone() override {
        if constexpr (habit == Habit::HasNoClone) {
            return nullptr;
        } else {
            auto copy = std::make_unique<HostNode>();
            copy->setName(name());
            for (auto port = inputPortCBegin(); port != inputPortCEnd(); ++port) {
                TessilGraph::Port* copied = copy->getInputPort((*port)->name());
                if ((*port)->numConnections() == 0 && copied != nullptr && copied->typeStr() == (*port)->typeStr()) {
                    copied->copyValue(*port);
                }
            }
            return copy.release();
        }
    }

    bool compute(const TessilGraph::ComputeData*) override {
        double sum = 0.0;
        for (auto port = inputPortCBegin(); port != inputPortCEnd(); ++port) {
            const auto* number = dynamic_cast<const TessilGraph::PortTemplate<double>*>(*port);
            const auto* flag = dynamic_cast<const TessilGraph::PortTemplate<bool>*>(*port);
            sum += number != nullptr ? number->get() : 0.0;
            if (flag != nullptr && flag->get()) {
                throw Failure();
            }
        }
        for (auto port = outputPortCBegin(); port != outputPortCEnd(); ++port) {
            if (auto* number = dynamic_cast<TessilGraph::PortTemplate<double>*>(*port)) {
                number->set(sum);
            }
        }
        return true;
    }

    void reset() override {
        if constexpr (habit == Habit::ThrowsInReset) {
            throw Failure();
        } else {
            Node::reset();
        }
    }

private:
    void take(std::unique_ptr<TessilGraph::Port> port, bool asInput) {
        asInput ? addInputPort(port.get()) : addOutputPort(port.get());
        static_cast<void>(port.release());
    }
};

}  // namespace fuzz
