#pragma once

#include "Drive.h"

#include <string>
#include <vector>

namespace vehicle {

/// The drive as one SVG: the path over the shaded ground from above, below it the height and the roll
/// of the body over the frames. `frames` is not empty; `subtitle` stands under the title.
std::string drawPicture(const std::vector<Frame>& frames, const std::string& subtitle);

}  // namespace vehicle
