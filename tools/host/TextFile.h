#pragma once

#include <string>

namespace TessilHost {

/// The whole content of the file at `path`. Throws `UserError` with the path and the system's reason.
std::string readTextFile(const std::string& path);

}  // namespace TessilHost
