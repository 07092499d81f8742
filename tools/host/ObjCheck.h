#pragma once

#include <string>

namespace TessilHost {

/// Looks through the text of an OBJ file for what the loader would read as something else without a
/// word (a coordinate that is no number becomes 0, an index beyond the end is kept). Throws
/// `UserError`, which names `path`, the line and the reason.
void checkObjText(const std::string& path, const std::string& text);

/// The most corners that a face may have: the loader counts them in a byte.
constexpr unsigned int maxFaceCorners = 255;

}  // namespace TessilHost
