// Which photos were taken at the same instant: patterns and lists of names, paired by order and by number.
#pragma once

#include "cameras/CameraModel.h"

#include <filesystem>
#include <string>

namespace kestrova::app {

using PhotoNames = PerCamera<std::vector<std::string>>; // as typed behind --right, --left, --top
using PhotoSet = PerCamera<std::filesystem::path>;      // of one instant

/**
 * Files of a quoted pattern come in the order of their numbers, a list stays in the order given. Throws AppError when
 * nothing matches, when a camera has more photos than another, when one photo stands for two cameras, or when the last
 * numbers in the names of a set differ and bAnyNames is false.
 */
std::vector<PhotoSet> pairPhotos(const PhotoNames& rNames, bool bAnyNames);

} // namespace kestrova::app
