#include <tools/host/Arguments.h>
#include <tools/host/Commands.h>
#include <tools/host/Errors.h>
#include <tools/host/Output.h>

#include <TessilGraph/graph/initTessilGraph.h>

#include <unistd.h>

#include <csignal>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <variant>

namespace {

using namespace TessilHost;

constexpr int wrongInput = 2;
constexpr int failure = 1;

void run(const EvalArguments& arguments) {
    const Output output(arguments.output, arguments.network);
    const bool watched = ::isatty(STDERR_FILENO) == 1;
    output.write(evaluate(arguments, watched ? &std::cerr : nullptr));
}

void show(const std::string& text) {
    Output("", "").write(text);
}

void run(const TypesArguments&) {
    show(listTypes());
}
void run(const DescribeArguments& arguments) {
    show(describeType(arguments));
}
void run(const InfoArguments& arguments) {
    show(arguments.text);
}

int complain(const char* what, int status) {
    std::cerr << "tessilgraph: " << what << std::endl;
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    // A reader that went away and a file that grew too large are errors of the write that meets them.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        TessilGraph::initTessilGraph();
        std::visit([](const auto& arguments) { run(arguments); }, parseArguments(argc, argv));
        return 0;
    } catch (const UserError& error) {
        return complain(error.what(), wrongInput);
    } catch (const std::bad_alloc&) {
        return complain("out of memory", failure);
    } catch (const std::exception& error) {
        return complain(error.what(), failure);
    }
}
