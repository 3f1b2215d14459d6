// What the tests of the program share: a folder, and the demo room's cameras with their calibration.
#pragma once

#include "CalibrationText.h"
#include "Results.h"
#include "SceneRenderer.h"

#include <opencv2/calib3d.hpp>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace kestrova::app {

// Gone after the test.
struct TempFolder
{
    TempFolder() { ::mkdtemp(m_name.data()); }
    ~TempFolder() { std::filesystem::remove_all(m_name); }
    std::filesystem::path path() const { return m_name; }
    std::filesystem::path operator/(const std::string& rName) const { return path() / rName; }
    std::string m_name = (std::filesystem::temp_directory_path() / "kestrova-test-XXXXXX").string();
};

inline std::string slurp(const std::filesystem::path& rFile)
{
    std::ostringstream text;
    text << std::ifstream(rFile, std::ios::binary).rdbuf();
    return text.str();
}

// Columns and rows of the raw frame behind each rectified pixel, without our splines.
inline std::array<cv::Mat1f, 2> mapsByOpenCv(const CameraModel& rCamera, const cv::Matx33d& rRotation,
                                             const RectificationPlan& rPlan)
{
    const cv::Matx33d P(rPlan.m_dFocal, 0, rPlan.m_centre.x, 0, rPlan.m_dFocal, rPlan.m_centre.y, 0, 0, 1);
    cv::Mat x, y;
    cv::initUndistortRectifyMap(rCamera.m_K, rCamera.m_adDistortion, rRotation, P, rPlan.m_canvas, CV_32F, x, y);
    return {x, y};
}

// The cameras of the demo at half the usual size.
struct Room
{
    static constexpr double sk_dLeftGain = 0.8;
    cv::Size m_size{320, 240};
    CameraPair m_pair = exampleCameraPair(m_size);
    RectificationPlan m_plan = planRectification(m_pair, m_size, 0.3);

    CalibrationDescription description() const
    {
        CalibrationDescription description = identityCalibration(m_size, m_plan.m_dFocal, m_plan.m_dBaseline);
        description.m_centre = m_plan.m_centre;
        description.m_bRectify = true;
        description.m_nSerialNumber = 1234567;
        description.m_nMaxDisparity = 32;
        const CameraMaps right = fitCameraMaps(m_pair.m_right, m_plan.m_rightRotation, m_plan, 12);
        const CameraMaps left = fitCameraMaps(m_pair.m_left, m_plan.m_leftRotation, m_plan, 12);
        description.m_right = {right.m_rawFromRectified, right.m_rectifiedFromRaw, 1.0};
        description.m_left = {left.m_rawFromRectified, left.m_rectifiedFromRaw, 1.0 / sk_dLeftGain};
        return description;
    }
};

} // namespace kestrova::app
