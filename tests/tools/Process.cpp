#include "Process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace TessilTest {

namespace {

int openFor(const std::string& path) {
    constexpr mode_t permissions = 0600;
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, permissions);
}

/// In the child: takes up the surroundings and becomes the program.
[[noreturn]] void become(char** arguments, int out, int err, unsigned long fileSizeLimit) {
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    // The tests' own parent may have changed it, and the program inherits what is ignored.
    std::signal(SIGPIPE, SIG_DFL);
    if (fileSizeLimit > 0) {
        const rlimit limit = {fileSizeLimit, fileSizeLimit};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ::execv(arguments[0], arguments);
    ::_exit(127);
}

}  // namespace

Outcome run(const std::vector<std::string>& arguments, const Surroundings& surroundings) {
    const Scratch scratch;
    const std::string outPath = scratch.path("out");
    const std::string errPath = scratch.path("err");

    int out = -1;
    if (surroundings.outputIsClosedPipe) {
        int ends[2];
        if (::pipe(ends) != 0) {
            throw std::runtime_error("no pipe");
        }
        ::close(ends[0]);
        out = ends[1];
    } else {
        out = openFor(surroundings.outputTo.empty() ? outPath : surroundings.outputTo);
    }
    const int err = openFor(surroundings.errorsTo.empty() ? errPath : surroundings.errorsTo);

    std::vector<std::string> words = {TESSILGRAPH_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    const pid_t child = ::fork();
    if (child == 0) {
        become(argv.data(), out, err, surroundings.fileSizeLimit);
    }
    ::close(out);
    ::close(err);
    int status = 0;
    ::waitpid(child, &status, 0);

    Outcome outcome;
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    if (surroundings.errorsTo.empty()) {
        outcome.err = readFile(errPath);
    }
    if (surroundings.outputTo.empty() && !surroundings.outputIsClosedPipe) {
        outcome.out = readFile(outPath);
    }
    return outcome;
}

Scratch::Scratch() {
    std::string name = (std::filesystem::temp_directory_path() / "tessil-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no folder for temporary files");
    }
    folder_ = name;
}

Scratch::~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::string Scratch::write(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
}

std::vector<std::string> Scratch::names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace TessilTest
