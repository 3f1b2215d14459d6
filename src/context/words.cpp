#include "context/words.h"

namespace kestrova {

const char* const kesProductStr[4] = {"Halvorine", "Pemberlow", "Tandrell", "Selvane4"};
const char* const kesRectQltyStr[4] = {"Fast", "Standard", "Enhanced-1", "Enhanced-2"};
const char* const kesStereoQltyStr[2] = {"Standard", "Enhanced"};
const char* const kesCameraStr[5] = {"Reference", "Right", "Top", "Left", "Color"};
const char* const kesCamConfigStr[3] = {"3-Cam-L", "2-Cam-Horizontal", "2-Cam-Vertical"};
const char* const kesImageTypeStr[5] = {"8-bit-Disparity", "Raw", "Rectified", "Edge", "Packed"};
const char* const kesImage16TypeStr[1] = {"16-bit-Disparity"};

} // namespace kestrova
