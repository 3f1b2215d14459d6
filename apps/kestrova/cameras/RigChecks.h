// What must hold of lenses and places before anything is planned with them.
#pragma once

#include "cameras/CameraModel.h"

#include <string>
#include <vector>

namespace kestrova::app {

/**
 * Throws AppError, beginning with the source, that names the camera and the quantity. Rotations come back as exact
 * ones. Remarks are added for what is odd but possible.
 */
void checkCameras(CameraSet& rSet, const std::string& rSource, std::vector<std::string>& rRemarks);

} // namespace kestrova::app
