// Image files with the library's record of how they were made: writing those of a run, and telling what one says.
#pragma once

#include "basics/OutputFolder.h"
#include "session/StereoSession.h"

#include <string>

namespace kestrova::app {

/**
 * Writes the images that the session holds, each with its record. The last match must be a 16-bit one; the 8-bit image
 * takes another, since the library keeps one disparity at a time.
 */
void writeRecordedImages(const OutputFolder& rFolder, StereoSession& rSession,
                         const std::vector<KestrovaCamera>& rCameras);

/** Whether the file begins as the image files of the library do. */
bool isImageFile(const std::filesystem::path& rFile);

/** Size and record, one line per setting. Throws AppError when the file or its record is damaged. */
std::string describeImageFile(const std::filesystem::path& rFile);

} // namespace kestrova::app
