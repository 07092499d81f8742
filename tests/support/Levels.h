#pragma once

#include <TessilGraph/graph/Node.h>

#include <algorithm>
#include <cstddef>
#include <set>
#include <vector>

namespace tests {

/// What the level walk promises, spelled out over the nodes' own lists: the levels, the farthest first.
inline std::vector<std::set<TessilGraph::Node*>> expectedLevels(TessilGraph::Node* named) {
    using TessilGraph::Node;
    std::vector<std::set<Node*>> levels = {{named}};
    std::set<Node*> level = {named};
    std::set<Node*> leaves;
    while (!level.empty()) {
        std::set<Node*> next;
        for (Node* node : level) {
            if (!node->isDirty()) {
                continue;
            }
            if (node->numInputPorts() == 0) {
                leaves.insert(node);
            }
            for (auto port = node->inputPortBegin(); port != node->inputPortEnd(); ++port) {
                if ((*port)->numConnections() == 0) {
                    continue;
                }
                Node* upstream = (*port)->getConnections().front()->node();
                std::size_t fed = 0;
                for (auto in = upstream->inputPortBegin(); in != upstream->inputPortEnd(); ++in) {
                    fed += (*in)->numConnections();
                }
                (fed > 0 ? next : leaves).insert(upstream);
            }
        }
        levels.push_back(next.empty() ? leaves : next);
        level = next;
    }
    std::reverse(levels.begin(), levels.end());
    return levels;
}

}  // namespace tests
