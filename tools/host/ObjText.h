#pragma once

#include <Imath/ImathVec.h>

#include <string>
#include <vector>

namespace TessilHost {

/// What the text of an OBJ file says of a mesh: the lines "v", "vn" and "f".
struct ObjText {
    /// Places in `points` and `normals`, `noNormal` where the corner names none.
    struct Corner {
        unsigned int point;
        unsigned int normal;
    };
    static constexpr unsigned int noNormal = ~0U;

    /// Throws `UserError`, which names `path`, the line and the reason, for a coordinate that is no finite
    /// number, an index that is wrong, a face of too few or too many corners, and a text without a face.
    static ObjText parse(const std::string& path, const std::string& text);

    std::vector<Imath::V3f> points;
    std::vector<Imath::V3f> normals;
    std::vector<Corner> corners;          ///< Of the first face, then of the second, and so on.
    std::vector<unsigned int> faceSizes;  ///< How many corners each face has.
};

}  // namespace TessilHost
