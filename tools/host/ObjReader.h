#pragma once

#include <TessilUtils/Mesh.h>

#include <string>

namespace TessilHost {

/// Reads a mesh from the Wavefront OBJ file at `path`: all its faces in the order of the file,
/// polygons cut into triangles. Corners without a normal get the normal of their triangle. Materials,
/// texture coordinates, groups, lines and points are passed over.
///
/// Throws `UserError` with path, line and reason for a file that cannot be read, has no face, or has
/// a coordinate or an index that is wrong.
TessilUtils::Mesh readObjFile(const std::string& path);

}  // namespace TessilHost
