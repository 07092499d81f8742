#pragma once

#include <tools/host/Arguments.h>

#include <iosfwd>
#include <ostream>
#include <string>

namespace TessilHost {

/// Builds the network and evaluates it; the table, CSV or JSON text. A long range draws its progress
/// on `terminal` unless that is null. Throws `UserError`.
std::string evaluate(const EvalArguments& arguments, std::ostream* terminal);

/// The registered node types, one a line.
std::string listTypes();

/// The ports of a node type with their types and defaults. Throws `UserError` for an unknown type.
std::string describeType(const DescribeArguments& arguments);

}  // namespace TessilHost
