// Disparity in the whole numbers that other programs read, and our own.
#pragma once

#include "session/PixelMask.h"

namespace kestrova::app {

/** Disparity times the scale, 0 where there is none and 1 for a found 0, as the KITTI benchmark has it with 256. */
cv::Mat1w kittiCodes(const DisparityMap& rMap, int nScale);

/** Whether all disparities below the end of the range fit into 16 bits. A match on the end itself is no match. */
bool fitsKitti(cv::Vec2i range, int nScale);

/** Depth in millimetres, 0 where there is none or where it is beyond 65.535 m. */
cv::Mat1w depthMillimetres(const DisparityMap& rMap, double dFocalTimesBaseline);

/** As the library codes it: 256ths of a pixel above the offset, and 0xFF with the byte of the reason. */
cv::Mat1w nativeCodes(const DisparityMap& rMap, int nOffset, const RejectCodes& rCodes);

} // namespace kestrova::app
