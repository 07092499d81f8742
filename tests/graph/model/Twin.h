#pragma once

#include <TessilGraph/graph/Node.h>
#include <TessilGraph/graph/NodeFactory.h>
#include <TessilGraph/graph/PortTemplate.h>

#include <tests/graph/model/Model.h>

#include <cstddef>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace twins {

using Numbers = TessilGraph::PortTemplate<double>;
using Texts = TessilGraph::PortTemplate<std::string>;

/// What the library's nodes did since the last look.
struct Record {
    std::mutex mutex;
    std::vector<model::Id> computed;
    std::vector<model::Id> destroyed;
    const TessilGraph::ComputeData* data = nullptr;  ///< What evaluations are to hand on.
    bool hadOtherData = false;
};

extern Record record;

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

model::Value valueOf(TessilGraph::Port* port);
void setValue(TessilGraph::Port* port, const model::Value& value);
TessilGraph::Port* makePort(const std::string& name, const std::string& type);

/// The library's side of a node of the model.
class Twin : public TessilGraph::Node {
public:
    explicit Twin(std::size_t type);
    ~Twin() override;

    /// Makes twins of that type.
    static TessilGraph::NodeFactory::Creator creator(std::size_t type);

    std::string typeStr() const override { return model::nodeTypes()[type_].name; }
    unsigned int typeId() const override { return model::nodeTypes()[type_].id; }
    TessilGraph::Node* clone() override;
    bool compute(const TessilGraph::ComputeData* data) override;

    /// The ports, without a look at the lists of them: lists that were looked at are kept in another form.
    std::vector<TessilGraph::Port*> inputs();
    std::vector<TessilGraph::Port*> outputs();

    /// Hands the port over; false when the node refuses it.
    bool takes(TessilGraph::Port* port, bool input);

    model::Id id = model::none;
    int computes = 0;
    bool throws = false;

private:
    void add(const model::PortType& port, bool input);

    std::size_t type_;
};

/// Registers the types of the model.
void registerTwins();

/// A port of no node, whose direction is chosen.
template <class T>
class Loose : public TessilGraph::PortTemplate<T> {
public:
    Loose(const std::string& name, bool input) : TessilGraph::PortTemplate<T>(name) { this->setAsInput(input); }
};

}  // namespace twins
