// What the tests of the program share: a folder, and the demo room's cameras with their calibration.
#pragma once

#include "cameras/CalibrationText.h"
#include "demo/SceneRenderer.h"
#include "outputs/Results.h"

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
    cv::initUndistortRectifyMap(rCamera.m_cameraMatrix, rCamera.m_adDistortion, rRotation, P, rPlan.m_canvas, CV_32F, x,
                                y);
    return {x, y};
}

// The cameras of the demo at half the usual size.
struct Room
{
    explicit Room(KestrovaCameraConfiguration eConfiguration = KestrovaCfg2CameraHorizontal)
        : m_set(exampleCameraSet(m_size, eConfiguration)), m_plan(planRectification(m_set, m_size, 0.3))
    {}

    static double gainOf(KestrovaCamera eCamera) { return eCamera == KestrovaCamRight ? 1.0 : 0.8; }

    CalibrationDescription description() const
    {
        CalibrationDescription description =
            identityCalibration(m_size, m_plan.m_dFocal, m_plan.m_dBaseline, configurationOf(m_set));
        description.m_centre = m_plan.m_centre;
        description.m_bRectify = true;
        description.m_nSerialNumber = 1234567;
        description.m_nMaxDisparity = 32;
        for (const auto& [eCamera, rCamera] : m_set) {
            const CameraMaps maps = fitCameraMaps(rCamera.m_model, m_plan.m_rotations.at(eCamera), m_plan, 12);
            description.m_cameras[eCamera] = {maps.m_rawFromRectified, maps.m_rectifiedFromRaw, 1 / gainOf(eCamera)};
        }
        return description;
    }

    cv::Size m_size{320, 240};
    CameraSet m_set;
    RectificationPlan m_plan;
};

} // namespace kestrova::app
