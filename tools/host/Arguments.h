#pragma once

#include <tools/host/ResultWriter.h>

#include <string>
#include <variant>
#include <vector>

namespace TessilHost {

/// Evaluate a network and write what its ports hold.
struct EvalArguments {
    std::string network;
    std::vector<std::string> gets;
    std::vector<std::string> sets;
    std::string frames;  ///< Empty for a single evaluation; "drive" is empty then, too.
    std::string drive;
    bool parallel = false;
    bool cache = false;
    Format format = Format::Table;
    std::string output;  ///< Empty for standard output.
};

/// List the node types.
struct TypesArguments {};

/// Show the ports of a node type.
struct DescribeArguments {
    std::string type;
};

/// Nothing but this text to be shown: the help or the version.
struct InfoArguments {
    std::string text;
};

using Arguments = std::variant<EvalArguments, TypesArguments, DescribeArguments, InfoArguments>;

/// Reads the command line. Throws `UserError` for one that makes no sense.
Arguments parseArguments(int argc, const char* const* argv);

}  // namespace TessilHost
