// Sizes and lengths as people type them.
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace kestrova::app {

/** "640x480". Throws AppError that names the option. */
cv::Size parseSize(const std::string& rText, const std::string& rOption);

/** "120mm", "12cm", "0.12m" in metres. */
double parseLength(const std::string& rText, const std::string& rOption);

} // namespace kestrova::app
