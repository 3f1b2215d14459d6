#include "formats/SourceRig.h"

#include "basics/AppError.h"
#include "basics/Line.h"
#include "formats/KeyedFile.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace kestrova::app {

namespace fs = std::filesystem;

namespace {

Paths filesOf(const Paths& rPlaces)
{
    Paths files;
    for (const fs::path& rPlace : rPlaces) {
        if (!fs::is_directory(rPlace)) {
            files.push_back(rPlace);
            continue;
        }
        Paths found;
        for (const fs::directory_entry& rEntry : fs::directory_iterator(rPlace)) {
            if (const fs::path end = rEntry.path().extension(); end == ".yaml" || end == ".yml" || end == ".xml") {
                found.push_back(rEntry.path());
            }
        }
        if (found.empty()) {
            throw AppError(rPlace.string() + ": a folder without .yaml, .yml or .xml files", ExitStatus::File);
        }
        std::sort(found.begin(), found.end());
        files.insert(files.end(), found.begin(), found.end());
    }
    return files;
}

std::string guess(const Paths& rFiles)
{
    for (const fs::path& rFile : rFiles) {
        const KeyedFile file(rFile);
        if (file.has("cam0.camera_model") || file.has("cam0.intrinsics")) {
            return "kalibr";
        }
        if (file.has("projection_matrix") || file.has("distortion_model") || file.has("rectification_matrix")) {
            return "ros";
        }
        for (const char* pszKey : {"M1", "K1", "cameraMatrix1", "R", "T"}) {
            if (file.has(pszKey)) {
                return "opencv";
            }
        }
    }
    throw AppError(rFiles.front().string() + ": neither OpenCV's M1 or cameraMatrix1, nor ROS's projection_matrix, nor "
                                             "Kalibr's cam0 is there; say which it is with --from",
                   ExitStatus::Content);
}

} // namespace

SourceRig readSource(const std::string& rFormat, const Paths& rPlaces, const SourceFacts& rFacts)
{
    const Paths files = filesOf(rPlaces);
    const std::string format = rFormat == "auto" ? guess(files) : rFormat;
    return format == "ros"      ? readRos(files, rFacts)
           : format == "kalibr" ? readKalibr(files, rFacts)
                                : readOpenCv(files, rFacts);
}

// ---- places ----

namespace {

// How a camera stands seen from another one, which becomes the right one.
MountedCamera mounted(const SourceCamera& rCamera, const SourceCamera& rRight)
{
    const cv::Matx33d R = rRight.m_rotation * rCamera.m_rotation.t();
    return {rCamera.m_model, R, rRight.m_translation - R * rCamera.m_translation, rCamera.m_name};
}

// 0 for a left camera exactly on the left and a top one exactly above, and of one distance.
double distanceFromL(const CameraSet& rSet)
{
    const cv::Vec3d& rLeft = rSet.at(KestrovaCamLeft).m_translation;
    const cv::Vec3d& rTop = rSet.at(KestrovaCamTop).m_translation;
    return cv::norm(rLeft / cv::norm(rLeft) - cv::Vec3d(-1, 0, 0)) +
           cv::norm(rTop / cv::norm(rTop) - cv::Vec3d(0, -1, 0));
}

} // namespace

CameraSet cameraSetOf(const SourceRig& rSource)
{
    const std::vector<SourceCamera>& rCameras = rSource.m_cameras;
    const auto arranged = [&](std::size_t nRight, std::size_t nLeft) {
        return CameraSet{{KestrovaCamRight, mounted(rCameras[nRight], rCameras[nRight])},
                         {KestrovaCamLeft, mounted(rCameras[nLeft], rCameras[nRight])}};
    };
    if (rCameras.size() == 2) {
        return arranged(1, 0);
    }
    CameraSet best;
    std::array<std::size_t, 3> anOrder{0, 1, 2};
    do {
        CameraSet set = arranged(anOrder[0], anOrder[1]);
        set[KestrovaCamTop] = mounted(rCameras[anOrder[2]], rCameras[anOrder[0]]);
        if (best.empty() || distanceFromL(set) < distanceFromL(best)) {
            best = std::move(set);
        }
    } while (std::next_permutation(anOrder.begin(), anOrder.end()));
    return best;
}

RectificationPlan givenView(const SourceRig& rSource)
{
    const auto fail = [&](const std::string& rWhat) {
        throw AppError(rSource.m_source + ": --keep-p: " + rWhat + "; leave --keep-p out", ExitStatus::Unfit);
    };
    if (rSource.m_cameras.size() != 2) {
        fail("only a pair has a view to keep");
    }
    const SourceCamera& rFirst = rSource.m_cameras[0];
    const SourceCamera& rSecond = rSource.m_cameras[1];
    if (!rFirst.m_rectification || !rFirst.m_projection || !rSecond.m_rectification || !rSecond.m_projection) {
        fail("the source has no rectification and projection for both cameras");
    }
    const cv::Matx34d& P = *rFirst.m_projection;
    if (!(P(0, 0) > 0.0) || std::abs(P(0, 0) - P(1, 1)) > 1e-6 * P(0, 0)) {
        fail(line("its focal lengths differ along rows and columns (%.3f and %.3f)", P(0, 0), P(1, 1)));
    }
    for (int nRow = 0; nRow < 2; ++nRow) {
        for (int nCol = 0; nCol < 3; ++nCol) {
            if (std::abs(P(nRow, nCol) - (*rSecond.m_projection)(nRow, nCol)) > 1e-3) {
                fail("its two projections differ in focal length or centre");
            }
        }
    }
    const cv::Matx33d off = *rSecond.m_rectification * rSecond.m_rotation - *rFirst.m_rectification;
    if (cv::norm(off, cv::NORM_INF) > 1e-4) {
        fail("its rectifications do not agree with R");
    }
    RectificationPlan plan;
    plan.m_canvas = rFirst.m_model.m_size;
    plan.m_dFocal = P(0, 0);
    plan.m_centre = {P(0, 2), P(1, 2)};
    plan.m_dBaseline = cv::norm(rSecond.m_translation);
    plan.m_rotations = {{KestrovaCamRight, *rSecond.m_rectification}, {KestrovaCamLeft, *rFirst.m_rectification}};
    return plan;
}

} // namespace kestrova::app
