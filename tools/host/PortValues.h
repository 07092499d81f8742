#pragma once

#include <TessilGraph/graph/Port.h>

#include <TessilUtils/Curve.h>
#include <TessilUtils/Mesh.h>

#include <nlohmann/json_fwd.hpp>

#include <map>
#include <string>
#include <vector>

namespace TessilHost {

/// The curves and meshes of a network file, by name. Ports that refer to them hold their addresses,
/// so they outlive the network.
struct Geometry {
    std::map<std::string, TessilUtils::Curve> curves;
    std::map<std::string, TessilUtils::Mesh> meshes;
};

/// Sets the value of `port`, of any type, from JSON. Throws `ValueError` for a value of another type,
/// and leaves the port as it was.
void setPortValue(TessilGraph::Port& port, const nlohmann::json& value, Geometry& geometry);

/// Sets the value of `port` from an argument: strings and numbers as they stand, everything else as
/// JSON. Throws `ValueError` and leaves the port as it was.
void setPortValueFromText(TessilGraph::Port& port, const std::string& text, Geometry& geometry);

/// Whether `port` takes 32-bit integers only, and whether it takes a number at all.
bool isIntegerPort(const TessilGraph::Port& port);
bool isNumberPort(const TessilGraph::Port& port);

/// Sets an integer or number port to `number`, which fits it.
void setPortNumber(TessilGraph::Port& port, double number);

/// What the port reads, as JSON with numbers that read back exactly. "nan", "inf" and "-inf" are strings.
std::string portJson(TessilGraph::Port& port);

/// What the port reads, for people: numbers to ten significant digits, strings without quotes.
std::string portText(TessilGraph::Port& port);

/// The names of the parts into which a spreadsheet splits the port's value: ".x", ".y" and ".z" of a
/// vector, one empty name for what has one part.
std::vector<std::string> portPartNames(const TessilGraph::Port& port);

/// What the port reads, one text for each of its parts, with numbers that read back exactly.
std::vector<std::string> portParts(TessilGraph::Port& port);

}  // namespace TessilHost
