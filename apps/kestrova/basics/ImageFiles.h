// Image files in and out, with errors of one line that name the file.
#pragma once

#include <opencv2/core.hpp>

#include <filesystem>
#include <optional>
#include <string>

namespace kestrova::app {

void writeImage(const std::filesystem::path& rFile, const cv::Mat& rImage);
void writeText(const std::filesystem::path& rFile, const std::string& rText);

/**
 * Any image file, read as the flags of cv::imread say. One thread at a time: standard error is shut meanwhile, as
 * decoders write there. Throws AppError that names the file.
 */
cv::Mat readImage(const std::filesystem::path& rFile, int nHow);

/** Any image file as grey; of 16 bits the upper 8. Throws AppError that names the file. */
cv::Mat1b readGrey(const std::filesystem::path& rFile);

/**
 * The same file in colour, or an empty image if it has none. Of 16 bits the camera fills the given number, else all.
 */
cv::Mat3b readColour(const std::filesystem::path& rFile, std::optional<int> bits = {});

/**
 * A frame of 8 bits, or of 16 of which the camera fills the given number from below. Without a number a frame that is
 * dark for 16 bits is refused: it may be bright for 10 or 12.
 */
cv::Mat1b readFrame(const std::filesystem::path& rFile, std::optional<int> bits);

} // namespace kestrova::app
