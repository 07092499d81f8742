#include <tools/host/TextFile.h>

#include <tools/host/Errors.h>
#include <tools/host/Text.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <system_error>

namespace TessilHost {

namespace {

/// Keeps a mistaken path (an endless device, a disk image) from filling the memory.
constexpr std::size_t maxBytes = std::size_t{1} << 30;

[[noreturn]] void refuseFile(const std::string& path, const std::string& reason) {
    throw UserError((path.empty() ? inQuotes(path) : oneLine(path)) + ": " + reason);
}

struct Descriptor {
    ~Descriptor() {
        if (number >= 0) {
            ::close(number);
        }
    }
    int number;
};

}  // namespace

std::string readTextFile(const std::string& path) {
    if (path.find('\0') != std::string::npos) {
        refuseFile(path, "no file name has a zero byte");  // the system would read the name up to there
    }
    const Descriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (file.number < 0) {
        refuseFile(path, std::generic_category().message(errno));
    }
    std::string content;
    char block[1 << 16];
    for (;;) {
        const ssize_t length = ::read(file.number, block, sizeof(block));
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length < 0) {
            refuseFile(path, std::generic_category().message(errno));
        }
        if (length == 0) {
            return content;
        }
        content.append(block, static_cast<std::size_t>(length));
        if (content.size() > maxBytes) {
            refuseFile(path, "the file is larger than 1 GiB");
        }
    }
}

}  // namespace TessilHost
