#pragma once

#include <string>

namespace TessilHost {

/// Throws `UserError` when the result, which goes to `path`, would replace the file `source`, which it is computed
/// from; `what` calls it by name.
void requireOtherFile(const std::string& path, const std::string& source, const std::string& what);

/// Where a result goes: standard output or a file.
///
/// A file appears whole or not at all: the text goes to a new file beside it, which takes the name
/// once everything is on the disk. What stood there before stays until then. Devices, pipes and
/// the file that standard output or error goes to are written to directly, behind what stands there,
/// and a file that has no name any more in place of it.
class Output {
public:
    /// An empty path means standard output. Throws `UserError` when no file can be made at `path`, or
    /// when it is the network file `source`.
    Output(const std::string& path, const std::string& source);

    /// Throws `OutputError` when not all of `text` could be written.
    void write(const std::string& text) const;

private:
    std::string path_;
};

}  // namespace TessilHost
