// What all copies of a context share: the calibration text and the cameras that were built from it.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace kestrova {

class Camera;

/**
 * Immutable once loaded, apart from the cameras' own warper lists and adjustments. The last context that shares a group
 * releases it. Cameras are held by shared pointer only so that this file needs no complete Camera.
 */
struct CalibrationGroup
{
    std::vector<std::string> m_calibrationLines; // cleaned, one per entry
    std::string m_versionField;                  // whole value of the version line
    std::string m_versionNumberText;             // its leading word
    std::string m_releaseNotes;
    std::string m_productName;
    std::shared_ptr<Camera> m_apCameras[3]; // by camera index
    std::shared_ptr<Camera> m_pColorCamera; // null without a colour camera
};

} // namespace kestrova
