#pragma once

#include <string>
#include <vector>

namespace tests {

/// What the catalogue promises of one node type. Ports in order, "name type default" each, with a
/// semicolon and a blank between two.
struct CatalogueRow {
    unsigned int id;
    std::string typeStr;
    std::string inputs;
    std::string outputs;
};

/// One row per node type, by number.
const std::vector<CatalogueRow>& catalogueRows();

}  // namespace tests
