#include <tools/host/Output.h>

#include <tools/host/Errors.h>
#include <tools/host/Text.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace TessilHost {

namespace {

namespace fs = std::filesystem;

std::string systemReason() {
    return std::generic_category().message(errno);
}

[[noreturn]] void refuseArgument(const std::string& path, const std::string& reason) {
    throw UserError("-o " + oneLine(path) + ": " + reason);
}

[[noreturn]] void failWriting(const std::string& where, const std::string& reason) {
    throw OutputError(oneLine(where) + ": cannot be written: " + reason);
}

/// Writes all of `text`; false with the reason in errno.
bool writeAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(file, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

fs::path folderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

/// What `path` leads to, also where that is not there yet. A link to what has no name, a pipe or a deleted file, stays.
fs::path followed(const fs::path& path) {
    std::error_code ignored;
    if (fs::exists(path, ignored)) {
        const fs::path target = fs::canonical(path, ignored);
        return target.empty() ? path : target;
    }
    fs::path target = path;
    while (fs::is_symlink(target, ignored)) {
        target = folderOf(target) / fs::read_symlink(target, ignored);
    }
    return target;
}

/// The permissions that the file at `path` has, or else those that a new file gets.
mode_t permissionsFor(const std::string& path) {
    struct stat present {};
    if (::stat(path.c_str(), &present) == 0) {
        return present.st_mode & 07777;
    }
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

/// A file in the folder of its later self, gone again unless it is kept. Its name owes nothing to the
/// later one, which may be as long as any.
class PartialFile {
public:
    explicit PartialFile(const std::string& path)
        : path_(path), name_((folderOf(path) / "tessilgraph.part-XXXXXX").string()) {
        file_ = ::mkstemp(name_.data());
        if (file_ < 0) {
            failWriting(path_, systemReason());
        }
    }
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;
    ~PartialFile() {
        if (file_ >= 0) {
            ::close(file_);
        }
        if (!kept_) {
            ::unlink(name_.c_str());
        }
    }

    void write(std::string_view text) {
        const bool onDisk = writeAll(file_, text) && ::fchmod(file_, permissionsFor(path_)) == 0 && ::fsync(file_) == 0;
        if (!onDisk) {
            failWriting(path_, systemReason());
        }
    }

    void keep() {
        const int closed = ::close(file_);
        file_ = -1;
        kept_ = closed == 0 && ::rename(name_.c_str(), path_.c_str()) == 0;
        if (!kept_) {
            failWriting(path_, systemReason());
        }
    }

private:
    std::string path_;
    std::string name_;
    int file_ = -1;
    bool kept_ = false;
};

/// The standard output or error where `path` leads to what it is; -1 where it does not.
int standardStreamAt(const std::string& path) {
    struct stat there {};
    if (::stat(path.c_str(), &there) != 0) {
        return -1;
    }
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        struct stat open {};
        if (::fstat(stream, &open) == 0 && open.st_dev == there.st_dev && open.st_ino == there.st_ino) {
            return stream;
        }
    }
    return -1;
}

/// Whether no new file may take the place of what `path`, a followed one, leads to: a device, a pipe, a deleted file.
bool isSpecial(const std::string& path) {
    std::error_code ignored;
    return fs::exists(path, ignored) && (!fs::is_regular_file(path, ignored) || fs::is_symlink(path, ignored));
}

void writeDirectly(const std::string& path, std::string_view text) {
    const int file = ::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (file < 0) {
        failWriting(path, systemReason());
    }
    const bool written = writeAll(file, text);
    const std::string reason = systemReason();
    const bool closed = ::close(file) == 0;
    if (!written || !closed) {
        failWriting(path, written ? systemReason() : reason);
    }
}

}  // namespace

void requireOtherFile(const std::string& path, const std::string& source, const std::string& what) {
    std::error_code ignored;
    if (fs::equivalent(path, source, ignored)) {
        refuseArgument(path, "this is " + what);
    }
}

Output::Output(const std::string& path, const std::string& source) : path_(path) {
    if (path.empty()) {
        return;
    }
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) {
        refuseArgument(path, "this is a folder");
    }
    requireOtherFile(path, source, "the network file itself");
    struct stat present {};
    if (::stat(path.c_str(), &present) != 0 && errno != ENOENT) {
        refuseArgument(path, systemReason());
    }
    // A link stays, and what it points to is replaced.
    path_ = followed(path).string();
    const bool isReplaced = standardStreamAt(path_) < 0 && !isSpecial(path_);
    if (isReplaced && ::access(folderOf(path_).c_str(), W_OK | X_OK) != 0) {
        refuseArgument(path, systemReason());
    }
}

void Output::write(const std::string& text) const {
    if (const int stream = path_.empty() ? STDOUT_FILENO : standardStreamAt(path_); stream >= 0) {
        if (!writeAll(stream, text)) {
            const std::string reason = systemReason();
            failWriting(path_.empty() ? "standard output" : path_, reason);
        }
        return;
    }
    if (isSpecial(path_)) {
        writeDirectly(path_, text);
        return;
    }
    PartialFile file(path_);
    file.write(text);
    file.keep();
}

}  // namespace TessilHost
