#pragma once

#include <fuzz/Expect.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <string>

namespace fuzz {

/// A file that holds what it was filled with last, for readers that take a path.
class TextInput {
public:
    TextInput() : file_(::memfd_create("input", 0)) { expect(file_ >= 0, "a file in memory"); }
    TextInput(const TextInput&) = delete;
    TextInput& operator=(const TextInput&) = delete;
    ~TextInput() { ::close(file_); }

    void fill(const std::string& text) const {
        expect(::ftruncate(file_, 0) == 0, "the file can be emptied");
        const ssize_t written = ::pwrite(file_, text.data(), text.size(), 0);
        expect(written == static_cast<ssize_t>(text.size()), "the file can be written");
    }

    std::string path() const { return "/proc/self/fd/" + std::to_string(file_); }

private:
    int file_;
};

}  // namespace fuzz
