// ROS: a camera_info file for each camera of a pair.
//
// A file tells how its own camera is turned into the rectified view and, in the fourth column of the projection, how
// far it stands from the other. R and T of the pair come out of both.
#include "basics/AppError.h"
#include "basics/Line.h"
#include "formats/KeyedFile.h"
#include "formats/RigWriters.h"
#include "formats/SourceRig.h"

#include <map>

namespace kestrova::app {

namespace {

struct RosLens
{
    Lens m_eLens;
    std::vector<int> m_anTerms;
};

const std::map<std::string, RosLens> sk_lenses{{"plumb_bob", {Lens::Polynomial, {4, 5}}},
                                               {"rational_polynomial", {Lens::Polynomial, {8}}},
                                               {"equidistant", {Lens::Equidistant, {4}}},
                                               {"fisheye", {Lens::Equidistant, {4}}}};

void readLens(CameraModel& rModel, const KeyedFile& rFile)
{
    const std::string name = rFile.word("distortion_model").value_or("plumb_bob");
    const auto lens = sk_lenses.find(name);
    if (lens == sk_lenses.end()) {
        rFile.fail("distortion_model",
                   "'" + name + "' is not known; plumb_bob, rational_polynomial and equidistant are");
    }
    const cv::Mat1d terms = rFile.matrix("distortion_coefficients", 0, 0);
    const auto& rAllowed = lens->second.m_anTerms;
    if (std::find(rAllowed.begin(), rAllowed.end(), static_cast<int>(terms.total())) == rAllowed.end()) {
        rFile.fail("distortion_coefficients",
                   line("%zu numbers, %s takes %d", terms.total(), name.c_str(), rAllowed.back()));
    }
    rModel.m_eLens = lens->second.m_eLens;
    rModel.m_adDistortion.assign(terms.begin(), terms.end());
}

SourceCamera readCamera(const std::filesystem::path& rPath, const SourceFacts& rFacts)
{
    const KeyedFile file(rPath);
    SourceCamera camera;
    camera.m_name = rPath.filename().string();
    const auto pixels = [&](const char* pszKey) { return static_cast<int>(file.matrix(pszKey, 1, 1)(0, 0)); };
    camera.m_model.m_size = rFacts.m_size ? *rFacts.m_size : cv::Size(pixels("image_width"), pixels("image_height"));
    camera.m_model.m_cameraMatrix = cv::Matx33d(file.matrix("camera_matrix", 3, 3).ptr<double>());
    camera.m_rectification = cv::Matx33d(file.matrix("rectification_matrix", 3, 3).ptr<double>());
    camera.m_projection = cv::Matx34d(file.matrix("projection_matrix", 3, 4).ptr<double>());
    if (camera.m_model.m_cameraMatrix(0, 0) == 0.0 || (*camera.m_projection)(0, 0) == 0.0) {
        file.fail(camera.m_model.m_cameraMatrix(0, 0) == 0.0 ? "camera_matrix" : "projection_matrix",
                  "focal length 0: this camera is not calibrated; save the calibration first");
    }
    readLens(camera.m_model, file);
    return camera;
}

// Where the origin of the rectified camera comes to lie: x_rectified = x_first_rectified + offset.
cv::Vec3d offsetOf(const SourceCamera& rCamera, double dUnit)
{
    const cv::Matx34d& P = *rCamera.m_projection;
    return {P(0, 3) / P(0, 0) * dUnit, P(1, 3) / P(1, 1) * dUnit, 0.0};
}

} // namespace

SourceRig readRos(const Paths& rFiles, const SourceFacts& rFacts)
{
    if (rFiles.size() != 2) {
        throw AppError(rFiles.front().string() + line(": ROS has one file for each camera; %zu given, 2 are wanted "
                                                      "(left.yaml right.yaml)",
                                                      rFiles.size()),
                       ExitStatus::Usage);
    }
    SourceRig rig{rFiles[0].string() + " + " + rFiles[1].string(), "ros", {}};
    for (const std::filesystem::path& rFile : rFiles) {
        rig.m_cameras.push_back(readCamera(rFile, rFacts));
    }
    SourceCamera& rSecond = rig.m_cameras[1];
    const double dUnit = rFacts.m_dUnit.value_or(1.0);
    const cv::Vec3d apart = offsetOf(rSecond, dUnit) - offsetOf(rig.m_cameras[0], dUnit);
    if (cv::norm(apart) == 0.0) {
        throw AppError(rig.m_source + ": projection_matrix: no baseline in its fourth column: these are two single "
                                      "calibrations; calibrate them as a stereo pair",
                       ExitStatus::Content);
    }
    rSecond.m_rotation = rSecond.m_rectification->t() * *rig.m_cameras[0].m_rectification;
    rSecond.m_translation = rSecond.m_rectification->t() * apart;
    return rig;
}

// ---- writing ----

namespace {

void write(std::ostream& rOut, const char* pszKey, const cv::Mat1d& rMatrix)
{
    rOut << pszKey << ":\n  rows: " << rMatrix.rows << "\n  cols: " << rMatrix.cols << "\n  data: ["
         << numberList(rMatrix, ",\n         ") << "]\n";
}

} // namespace

TextFiles writeRos(const RigExport& rRig)
{
    if (rRig.m_set.size() != 2) {
        throw AppError("--to ros: holds two cameras, this set has three; use --to kalibr", ExitStatus::Usage);
    }
    const RectificationPlan view = viewInRawSize(rRig);
    const bool bUpright = rRig.m_set.contains(KestrovaCamTop);
    TextFiles files;
    for (const auto& [eCamera, rCamera] : rRig.m_set) {
        const CameraModel& rModel = rCamera.m_model;
        const std::string name = cameraName(eCamera);
        std::vector<double> terms = rModel.m_adDistortion;
        if (rModel.m_eLens == Lens::Polynomial && terms.size() < 5) {
            terms.resize(5);
        }
        std::ostringstream out = plainStream();
        out << "image_width: " << rModel.m_size.width << "\nimage_height: " << rModel.m_size.height
            << "\ncamera_name: " << name << '\n';
        write(out, "camera_matrix", cv::Mat(rModel.m_cameraMatrix));
        out << "distortion_model: "
            << (rModel.m_eLens == Lens::Equidistant ? "equidistant"
                : terms.size() == 5                 ? "plumb_bob"
                                                    : "rational_polynomial")
            << '\n';
        write(out, "distortion_coefficients", cv::Mat1d(terms, true).reshape(1, 1));
        write(out, "rectification_matrix", cv::Mat(view.m_rotations.at(eCamera)));
        const double dShift = eCamera == KestrovaCamRight ? -view.m_dFocal * view.m_dBaseline : 0.0;
        write(out, "projection_matrix", cv::Mat(projectionOf(view, dShift, bUpright)));
        files[name + ".yaml"] = out.str();
    }
    return files;
}

} // namespace kestrova::app
