// OpenCV: M1 D1 M2 D2 and R T R1 R2 P1 P2 Q in one file or two, under the names that programs give them.
//
// Camera 1 is the left one, x2 = R * x1 + T. Neither the size of the frames nor the unit of T belongs to the form, so
// they are asked for; the files that we write carry both under keys of their own.
#include "basics/AppError.h"
#include "basics/Line.h"
#include "basics/Units.h"
#include "cameras/LensReach.h"
#include "formats/KeyedFile.h"
#include "formats/RigWriters.h"
#include "formats/SourceRig.h"

#include <opencv2/calib3d.hpp>

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

// Several files read as one; the first that has a key counts.
class Files
{
public:
    explicit Files(const Paths& rFiles)
    {
        for (const std::filesystem::path& rFile : rFiles) {
            m_files.emplace_back(rFile);
        }
    }

    std::string names() const
    {
        std::string names;
        for (const KeyedFile& rFile : m_files) {
            names += (names.empty() ? "" : " + ") + rFile.name();
        }
        return names;
    }

    std::optional<cv::Mat1d> tryMatrix(const std::vector<std::string>& rAliases, int nRows, int nCols) const
    {
        for (const KeyedFile& rFile : m_files) {
            for (const std::string& rKey : rAliases) {
                if (rFile.has(rKey)) {
                    return rFile.matrix(rKey, nRows, nCols);
                }
            }
        }
        return std::nullopt;
    }

    cv::Mat1d matrix(const std::vector<std::string>& rAliases, int nRows, int nCols) const
    {
        if (const auto found = tryMatrix(rAliases, nRows, nCols)) {
            return *found;
        }
        std::string others;
        for (std::size_t i = 1; i < rAliases.size(); ++i) {
            others += (i > 1 ? ", " : "") + rAliases[i];
        }
        throw AppError(names() + ": " + rAliases[0] + ": missing" +
                           (others.empty() ? "" : " (nor is there " + others + ")") +
                           "; give all files of the calibration, intrinsics and extrinsics",
                       ExitStatus::Content);
    }

    std::optional<std::string> word(const std::string& rKey) const
    {
        for (const KeyedFile& rFile : m_files) {
            if (const auto word = rFile.word(rKey)) {
                return word;
            }
        }
        return std::nullopt;
    }

private:
    std::vector<KeyedFile> m_files;
};

cv::Size sizeOf(const Files& rFiles, const SourceFacts& rFacts)
{
    if (rFacts.m_size) {
        return *rFacts.m_size;
    }
    if (const auto size = rFiles.tryMatrix({"imageSize", "image_size", "size"}, 0, 0); size && size->total() == 2) {
        return {static_cast<int>(*size->begin()), static_cast<int>(*(size->begin() + 1))};
    }
    const auto width = rFiles.tryMatrix({"image_width", "imageWidth"}, 1, 1);
    const auto height = rFiles.tryMatrix({"image_height", "imageHeight"}, 1, 1);
    if (!width || !height) {
        throw AppError(rFiles.names() + ": does not say the size of the frames; give it with --size, such as 640x480",
                       ExitStatus::Usage);
    }
    return {static_cast<int>((*width)(0, 0)), static_cast<int>((*height)(0, 0))};
}

double unitOf(const Files& rFiles, const SourceFacts& rFacts)
{
    if (rFacts.m_dUnit) {
        return *rFacts.m_dUnit;
    }
    if (const auto unit = rFiles.word("unit")) {
        return parseLength("1" + *unit, rFiles.names() + ": unit");
    }
    throw AppError(rFiles.names() +
                       ": does not say the unit of T; give the one in which the squares were measured with "
                       "--unit mm, cm or m",
                   ExitStatus::Usage);
}

template<typename Matrix>
Matrix fixed(const cv::Mat1d& rValues)
{
    return Matrix(rValues.ptr<double>());
}

SourceCamera readCamera(const Files& rFiles, const std::string& rNumber, const SourceFacts& rFacts)
{
    SourceCamera camera;
    camera.m_name = "camera " + rNumber;
    camera.m_model.m_size = sizeOf(rFiles, rFacts);
    camera.m_model.m_cameraMatrix = fixed<cv::Matx33d>(rFiles.matrix(
        {"M" + rNumber, "K" + rNumber, "cameraMatrix" + rNumber, "camera_matrix_" + rNumber, "CM" + rNumber}, 3, 3));
    const cv::Mat1d terms = rFiles.matrix({"D" + rNumber, "distCoeffs" + rNumber, "dist_coeffs_" + rNumber,
                                           "distortion_coefficients_" + rNumber, "dist" + rNumber},
                                          0, 0);
    camera.m_model.m_adDistortion.assign(terms.begin(), terms.end());
    const std::string lens = rFiles.word("distortion_model").value_or("");
    if (rFacts.m_fisheye.value_or(lens == "equidistant" || lens == "fisheye")) {
        camera.m_model.m_eLens = Lens::Equidistant;
    }
    if (const auto R = rFiles.tryMatrix({"R" + rNumber}, 3, 3)) {
        camera.m_rectification = fixed<cv::Matx33d>(*R);
    }
    if (const auto P = rFiles.tryMatrix({"P" + rNumber}, 3, 4)) {
        camera.m_projection = fixed<cv::Matx34d>(*P);
    }
    return camera;
}

// ---- four coefficients without a name: k1 k2 p1 p2, or those of cv::fisheye ----

bool isOneToOne(CameraModel lens, Lens eLens)
{
    lens.m_eLens = eLens;
    return !reachOf(lens).m_bFoldsInside;
}

// Third and fourth coefficients that as p1 and p2 would shift the corner of the frame by a hundredth of its distance
// from the centre. Lenses are mounted straighter than that.
bool isTooSkew(const CameraModel& rLens)
{
    const double dRadius = 0.5 * std::hypot(rLens.m_size.width / rLens.m_cameraMatrix(0, 0),
                                            rLens.m_size.height / rLens.m_cameraMatrix(1, 1));
    return 3.0 * dRadius * std::hypot(rLens.m_adDistortion[2], rLens.m_adDistortion[3]) > 0.03;
}

// Degrees from corner to corner, were the lens without distortion.
double diagonalOf(const CameraModel& rLens)
{
    return 2.0 * 180.0 / CV_PI *
           std::atan(0.5 * std::hypot(rLens.m_size.width / rLens.m_cameraMatrix(0, 0),
                                      rLens.m_size.height / rLens.m_cameraMatrix(1, 1)));
}

void findOutLens(SourceRig& rRig)
{
    constexpr double dWide = 85.0;
    const auto all = [&](const auto& rHolds) {
        return std::all_of(rRig.m_cameras.begin(), rRig.m_cameras.end(),
                           [&](const SourceCamera& r) { return rHolds(r.m_model); });
    };
    if (!all([](const CameraModel& r) {
            return r.m_adDistortion.size() == 4 && r.m_cameraMatrix(0, 0) > 0 && r.m_cameraMatrix(1, 1) > 0;
        })) {
        return;
    }
    const bool bPlain = all([](const CameraModel& r) { return isOneToOne(r, Lens::Polynomial) && !isTooSkew(r); });
    const bool bWide = all([](const CameraModel& r) { return isOneToOne(r, Lens::Equidistant); });
    const double dDegrees = diagonalOf(rRig.m_cameras[0].m_model);
    if (bPlain && bWide && dDegrees > dWide) {
        throw AppError(rRig.m_source +
                           ": D1, D2: four coefficients may be k1 k2 p1 p2 or those of cv::fisheye, and this lens is "
                           "wide enough for both; say --fisheye or --no-fisheye",
                       ExitStatus::Usage);
    }
    if (bPlain || !bWide) {
        rRig.m_remarks.push_back(
            "lens: four coefficients are taken as k1 k2 p1 p2; if cv::fisheye wrote them, say --fisheye");
        return;
    }
    for (SourceCamera& rCamera : rRig.m_cameras) {
        rCamera.m_model.m_eLens = Lens::Equidistant;
    }
    rRig.m_remarks.push_back(
        "lens: four coefficients are taken as those of cv::fisheye, since as k1 k2 p1 p2 they make "
        "no lens; if they are, say --no-fisheye");
}

} // namespace

SourceRig readOpenCv(const Paths& rFiles, const SourceFacts& rFacts)
{
    const Files files(rFiles);
    SourceRig rig{files.names(), "opencv", {readCamera(files, "1", rFacts), readCamera(files, "2", rFacts)}};
    if (!rFacts.m_fisheye && !files.word("distortion_model")) {
        findOutLens(rig);
    }
    cv::Mat1d R = files.matrix({"R", "rotation", "R12"}, 0, 0);
    if (R.total() == 3) {
        cv::Mat1d turned;
        cv::Rodrigues(R, turned);
        R = turned;
    }
    const cv::Mat1d T = files.matrix({"T", "translation", "T12"}, 0, 0);
    if (R.rows != 3 || R.cols != 3 || T.total() != 3) {
        throw AppError(files.names() +
                           line(": R, T: %zu and %zu numbers; 3 by 3 and 3 are wanted", R.total(), T.total()),
                       ExitStatus::Content);
    }
    rig.m_cameras[1].m_rotation = fixed<cv::Matx33d>(R);
    rig.m_cameras[1].m_translation = cv::Vec3d(T.ptr<double>()) * unitOf(files, rFacts);
    return rig;
}

// ---- writing ----

namespace {

void write(std::ostream& rOut, const char* pszKey, const cv::Mat1d& rMatrix)
{
    rOut << pszKey << ": !!opencv-matrix\n   rows: " << rMatrix.rows << "\n   cols: " << rMatrix.cols
         << "\n   dt: d\n   data: [ " << numberList(rMatrix, ",\n       ") << " ]\n";
}

} // namespace

TextFiles writeOpenCv(const RigExport& rRig)
{
    const auto& [eFirst, rFirst] = *rRig.m_set.rbegin();
    const MountedCamera& rRight = rRig.m_set.at(KestrovaCamRight);
    if (rRig.m_set.size() != 2) {
        throw AppError("--to opencv: holds two cameras, this set has three; use --to kalibr", ExitStatus::Usage);
    }
    if (rFirst.m_model.m_eLens != rRight.m_model.m_eLens) {
        throw AppError("--to opencv: holds one kind of lens for both cameras", ExitStatus::Unfit);
    }
    std::ostringstream in = plainStream();
    std::ostringstream out = plainStream();
    in << "%YAML:1.0\n---\n# Camera 1 is the " << cameraName(eFirst)
       << " one, camera 2 the right one.\nimage_width: " << rRight.m_model.m_size.width
       << "\nimage_height: " << rRight.m_model.m_size.height << "\ndistortion_model: \""
       << (rRight.m_model.m_eLens == Lens::Equidistant ? "equidistant" : "plumb_bob") << "\"\n";
    write(in, "M1", cv::Mat(rFirst.m_model.m_cameraMatrix));
    write(in, "D1", cv::Mat1d(rFirst.m_model.m_adDistortion, true).reshape(1, 1));
    write(in, "M2", cv::Mat(rRight.m_model.m_cameraMatrix));
    write(in, "D2", cv::Mat1d(rRight.m_model.m_adDistortion, true).reshape(1, 1));
    const RectificationPlan view = viewInRawSize(rRig);
    const double dShift = -view.m_dFocal * view.m_dBaseline;
    const bool bUpright = eFirst == KestrovaCamTop;
    const cv::Matx34d P2 = projectionOf(view, dShift, bUpright);
    out << "%YAML:1.0\n---\n# x2 = R * x1 + T\nunit: \"m\"\n";
    write(out, "R", cv::Mat(rFirst.m_rotation));
    write(out, "T", cv::Mat(rFirst.m_translation));
    write(out, "R1", cv::Mat(view.m_rotations.at(eFirst)));
    write(out, "R2", cv::Mat(view.m_rotations.at(KestrovaCamRight)));
    write(out, "P1", cv::Mat(projectionOf(view, 0.0, bUpright)));
    write(out, "P2", cv::Mat(P2));
    write(out, "Q",
          cv::Mat(cv::Matx44d(1, 0, 0, -view.m_centre.x, 0, 1, 0, -view.m_centre.y, 0, 0, 0, view.m_dFocal, 0, 0,
                              1.0 / view.m_dBaseline, 0)));
    return {{"intrinsics.yml", in.str()}, {"extrinsics.yml", out.str()}};
}

} // namespace kestrova::app
