#pragma once

#include <TessilGraph/graph/PortTemplate.h>

namespace tests {

/// A port of its own whose side can be chosen.
class LoosePort : public TessilGraph::PortTemplate<double> {
public:
    using TessilGraph::PortTemplate<double>::PortTemplate;
    using TessilGraph::Port::setAsInput;
};

}  // namespace tests
