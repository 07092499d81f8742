#pragma once

#include "MatrixTesting.h"
#include "NodeTesting.h"

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tests {

// Inputs of every kind, those that make trouble among them.

inline double randomDouble(Numbers& numbers) {
    static const std::array<double, 13> special{0.0,         -0.0,  1.0,     -1.0,   infinity, -infinity, notANumber,
                                                -notANumber, 1e300, -1e-300, 5e-324, 1e39,     0.1};
    return numbers.below(4) == 0 ? special[numbers.below(special.size())] : numbers.between(-3.0, 3.0);
}
inline void randomise(double& value, Numbers& numbers) {
    value = randomDouble(numbers);
}
inline void randomise(bool& value, Numbers& numbers) {
    value = numbers.below(2) == 0;
}
inline void randomise(TessilGraph::Long& value, Numbers& numbers) {
    value = numbers.below(2) == 0 ? static_cast<TessilGraph::Long>(numbers.below(9)) - 2
                                  : static_cast<TessilGraph::Long>(numbers.below(0xffffffffu));
}
inline void randomise(std::string& value, Numbers& numbers) {
    const std::uint32_t length = numbers.below(30);
    value = std::string(length, static_cast<char>('a' + numbers.below(26)));
}
inline void randomise(Imath::V3d& value, Numbers& numbers) {
    for (int component = 0; component < 3; ++component) {
        value[component] = randomDouble(numbers);
    }
}
inline void randomise(Imath::Quatd& value, Numbers& numbers) {
    for (int component = 0; component < 4; ++component) {
        value[component] = randomDouble(numbers);
    }
}
inline void randomise(Imath::M44d& value, Numbers& numbers) {
    const bool affine = numbers.below(2) == 0;
    for (int element = 0; element < 16; ++element) {
        value[element / 4][element % 4] = affine ? numbers.between(-3.0, 3.0) : randomDouble(numbers);
    }
    if (affine) {
        for (int row = 0; row < 4; ++row) {
            value[row][3] = row == 3 ? 1.0 : 0.0;
        }
    }
}
inline void randomise(TessilUtils::Curve*& value, Numbers&) {
    makeSample(value, 0);
}
inline void randomise(TessilUtils::Mesh*& value, Numbers&) {
    makeSample(value, 0);
}

/// Sets a port of any type that built-in nodes have.
inline void randomise(TessilGraph::Port& port, Numbers& numbers) {
    visitPort(port, [&](auto& typed) {
        auto value = typed.get();
        randomise(value, numbers);
        typed.set(value);
    });
}

inline TessilGraph::Port* anyOf(const std::vector<TessilGraph::Port*>& ports, Numbers& numbers) {
    return ports.empty() ? nullptr : ports[numbers.below(static_cast<std::uint32_t>(ports.size()))];
}
inline TessilGraph::Port* anyInput(const TessilGraph::Node& node, Numbers& numbers) {
    const auto count = static_cast<std::uint32_t>(node.numInputPorts());
    return count == 0 ? nullptr : node.inputPortCBegin()[numbers.below(count)];
}

/// Links an output of one node to a free input of another. False when none fits.
inline bool connectAny(const TessilGraph::Node& source, const TessilGraph::Node& target, Numbers& numbers) {
    std::vector<std::pair<TessilGraph::Port*, TessilGraph::Port*>> fitting;
    for (TessilGraph::Port* output : outputsOf(source)) {
        for (TessilGraph::Port* input : inputsOf(target)) {
            if (output->typeStr() == input->typeStr() && input->numConnections() == 0) {
                fitting.emplace_back(output, input);
            }
        }
    }
    if (fitting.empty()) {
        return false;
    }
    const auto [output, input] = fitting[numbers.below(static_cast<std::uint32_t>(fitting.size()))];
    return output->connectTo(input);
}

}  // namespace tests
