// Disparity and truth as they come in files: floats, whole numbers with a scale, and our own with reasons.
#pragma once

#include "session/PixelMask.h"

#include <filesystem>
#include <optional>
#include <string>

namespace kestrova::app {

struct DisparityFile
{
    cv::Mat1f m_pixels;                 // +inf where there is none
    std::optional<cv::Mat1b> m_reasons; // a Reject, of files that hold it
    std::string m_form;                 // how it was understood, for people
    std::optional<double> m_scale = {}; // pixels for a level, of forms that leave it to the reader
};

/**
 * Told by content, and whole numbers by their name:
 *   PFM, NPY (float32 or float64, C order)    pixels; unknown is what is not finite or not above 0
 *   ..._256ths_offsetN.png                    16 bits of this library: 256ths above N, from 0xFF00 up the reasons
 *   ..._pixels_offsetN.png                    8 bits of this library: pixels above N, from 251 up the reasons
 *   PGM with the library's record             either of these, offset and codes from the record
 *   other 16 bits                             256ths as the KITTI benchmark has it, 0 for unknown
 *   other 8 bits                              dScale pixels a level, 0 for unknown
 * The scale, pixels for a level, overrides those of the last two. Throws AppError that names the file.
 */
DisparityFile readDisparityFile(const std::filesystem::path& rFile, std::optional<double> scale = {});

} // namespace kestrova::app
