#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace TessilTest {

/// How a program ended and what it wrote.
struct Outcome {
    int status = -1;  ///< The exit status, or minus the signal that ended it.
    std::string out;
    std::string err;
};

/// What a program finds when it starts.
struct Surroundings {
    std::string outputTo;             ///< Standard output is added to this file and not collected; empty: collected.
    std::string errorsTo;             ///< The same for standard error.
    bool outputIsClosedPipe = false;  ///< Standard output is a pipe that nobody reads.
    unsigned long fileSizeLimit = 0;  ///< The largest file that the program may write, in bytes; 0: no limit.
};

/// Runs `tessilgraph` with `arguments` and waits for its end.
Outcome run(const std::vector<std::string>& arguments, const Surroundings& surroundings = {});

/// A folder for a test's files, gone with the object.
class Scratch {
public:
    Scratch();
    ~Scratch();
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    /// The path of a file in the folder.
    std::string path(const std::string& name) const { return (folder_ / name).string(); }

    /// Writes a file in the folder and returns its path.
    std::string write(const std::string& name, const std::string& content) const;

    /// The names of all files in the folder, sorted.
    std::vector<std::string> names() const;

private:
    std::filesystem::path folder_;
};

std::string readFile(const std::string& path);

}  // namespace TessilTest
