#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace TessilHost {

/// Reads the JSON text of the file at `path`. Throws `UserError` with path, line, column and reason
/// for text that is no JSON, for a key that stands twice in one object, and for text that is nested
/// deeper than any network needs.
nlohmann::json readJsonFile(const std::string& path);

/// The number that `value` is. A "-0" keeps its sign, although it is an integer to the parser.
double numberOf(const nlohmann::json& value);

/// The JSON value that `text`, an argument, spells. Throws `ValueError` with the reason.
nlohmann::json parseJsonArgument(const std::string& text);

}  // namespace TessilHost
