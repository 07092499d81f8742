#include <tools/host/Arguments.h>

#include <tools/host/Errors.h>
#include <tools/host/Text.h>

#include <TessilGraph/Version.h>

#include <CLI/CLI.hpp>

#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace TessilHost {

namespace {

constexpr const char* epilogue = R"(
Exit status: 0 when all went well, 1 when the result could not be written,
2 for a wrong file or argument, which one line on standard error names.
)";

/// An empty word is what shells make of a variable that is not set. In `EvalArguments` it says that the option was not
/// given.
CLI::Validator notEmpty() {
    return {[](const std::string& word) { return word.empty() ? "wants a value, not \"\"" : ""; }, ""};
}

/// An option of one or more words, each as it stands: where CLI11 takes any number, it takes "[a,b]" for two. `word`
/// says what they are.
CLI::Option* addWords(CLI::App& command, const std::string& name, std::vector<std::string>& words,
                      const std::string& word, const std::string& description) {
    constexpr int most = 1 << 24;  // not yet any number
    return command.add_option(name, words, description)
        ->expected(1, most)
        ->allow_extra_args(false)
        ->type_name(word + " ...");
}

CLI::App* addEval(CLI::App& app, EvalArguments& eval) {
    CLI::App* const command = app.add_subcommand("eval", "Evaluate a network and write what its ports hold");
    command->add_option("NETWORK", eval.network, "The network file, JSON")->required();
    addWords(*command, "--get", eval.gets, "NODE.PORT", "Ports to read, a column each")->required();
    addWords(*command, "--set", eval.sets, "NODE.PORT=VALUE", "Input ports to set before the evaluation");
    CLI::Option* const frames = command->add_option("--frames", eval.frames, "Evaluate once a frame")
                                    ->check(notEmpty())
                                    ->type_name("FIRST:LAST[:STEP]");
    CLI::Option* const drive =
        command->add_option("--drive", eval.drive, "The input port that takes the frame")->type_name("NODE.PORT");
    frames->needs(drive);
    drive->needs(frames);
    command->add_flag("--parallel", eval.parallel, "Compute frames, or the nodes of each level, side by side");
    command->add_flag("--cache", eval.cache, "Find the order of evaluation once; with frames always so");
    // Not CLI11's own reading of enumerations, which takes their numbers, too.
    const std::map<std::string, Format> formats = {
        {"table", Format::Table}, {"csv", Format::Csv}, {"json", Format::Json}};
    const auto setFormat = [&eval, formats](const std::string& name) { eval.format = formats.at(name); };
    command->add_option_function<std::string>("--format", setFormat, "table (the default), csv or json")
        ->check(CLI::IsMember(formats).description(""))
        ->type_name("FORMAT");
    command->add_option("-o,--output", eval.output, "Write to this file")->check(notEmpty())->type_name("FILE");
    return command;
}

/// What CLI11 says about `error`: the help and the version that were asked for, or a message.
std::string said(const CLI::App& app, const CLI::Error& error) {
    std::ostringstream out;
    app.exit(error, out, out);
    return out.str();
}

}  // namespace

Arguments parseArguments(int argc, const char* const* argv) {
    CLI::App app("Builds a network of nodes from a file and evaluates it.", "tessilgraph");
    app.footer(epilogue);
    app.set_version_flag("--version", "tessilgraph " + TessilGraph::version(), "Print the version and exit");
    app.require_subcommand(1);

    EvalArguments eval;
    const CLI::App* const evalCommand = addEval(app, eval);
    const CLI::App* const typesCommand = app.add_subcommand("types", "List the node types");
    DescribeArguments describe;
    CLI::App* const describeCommand = app.add_subcommand("describe", "Show the ports of a node type");
    describeCommand->add_option("TYPE", describe.type, "The type, as `types` lists it")->required();

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& request) {
        return InfoArguments{said(app, request)};
    } catch (const CLI::ParseError& error) {
        // What is missing comes first to CLI11, and unknown words from the last to the first.
        const std::vector<std::string> unknown = app.remaining(true);
        const std::string reason =
            unknown.empty() ? oneLine(error.what()) : "the argument " + inQuotes(unknown.front()) + " was not expected";
        throw UserError(reason + " (--help shows what there is)");
    }
    if (evalCommand->parsed()) {
        return eval;
    }
    if (typesCommand->parsed()) {
        return TypesArguments{};
    }
    return describe;
}

}  // namespace TessilHost
