#pragma once

#include <string>

namespace TessilHost {

/// Looks through the text of an OBJ file for what the loader would read as something else without a
/// word: a coordinate that is no number becomes 0, an index beyond the end is kept, a long number loses
/// its last digits, and lines of other kinds take memory. Throws `UserError`, which names `path`, the line
/// and the reason.
///
/// Returns what is left for the loader: points, normals and faces with the numbers as they were checked,
/// indices counted from the first element.
std::string checkedObjText(const std::string& path, const std::string& text);

/// The most corners that a face may have: the loader counts them in a byte.
constexpr unsigned int maxFaceCorners = 255;

}  // namespace TessilHost
