// Kalibr: a camchain of two or three cameras, each with the way from the one before it.
#include "basics/AppError.h"
#include "basics/Line.h"
#include "formats/KeyedFile.h"
#include "formats/RigWriters.h"
#include "formats/SourceRig.h"

namespace kestrova::app {

namespace {

CameraModel readModel(const KeyedFile& rFile, const std::string& rCamera, const SourceFacts& rFacts)
{
    const std::string kind = rFile.word(rCamera + ".camera_model").value_or("pinhole");
    if (kind != "pinhole") {
        rFile.fail(rCamera + ".camera_model",
                   "'" + kind + "' is not supported; calibrate with pinhole-radtan or pinhole-equi");
    }
    CameraModel model;
    const cv::Mat1d in = rFile.matrix(rCamera + ".intrinsics", 1, 4);
    model.m_cameraMatrix = {in(0, 0), 0, in(0, 2), 0, in(0, 1), in(0, 3), 0, 0, 1};
    const std::string lens = rFile.word(rCamera + ".distortion_model").value_or("none");
    if (lens != "radtan" && lens != "equidistant" && lens != "equi" && lens != "none") {
        rFile.fail(rCamera + ".distortion_model", "'" + lens + "' is not supported; radtan, equidistant and none are");
    }
    if (lens != "none") {
        const cv::Mat1d terms = rFile.matrix(rCamera + ".distortion_coeffs", 1, 4);
        model.m_adDistortion.assign(terms.begin(), terms.end());
        model.m_eLens = lens == "radtan" ? Lens::Polynomial : Lens::Equidistant;
    }
    const cv::Mat1d size = rFile.matrix(rCamera + ".resolution", 1, 2);
    model.m_size = rFacts.m_size.value_or(cv::Size(static_cast<int>(size(0, 0)), static_cast<int>(size(0, 1))));
    return model;
}

cv::Matx44d transform(const KeyedFile& rFile, const std::string& rKey)
{
    const cv::Mat1d values = rFile.matrix(rKey, 4, 4);
    if (cv::norm(values.row(3) - cv::Mat1d(cv::Matx14d(0, 0, 0, 1)), cv::NORM_INF) > 1e-6) {
        rFile.fail(rKey, "last row is not 0 0 0 1");
    }
    return cv::Matx44d(values.ptr<double>());
}

// From the first camera to this one: along the chain, or by way of the inertial unit.
cv::Matx44d placeOf(const KeyedFile& rFile, int nCamera, const cv::Matx44d& rBefore)
{
    const std::string camera = "cam" + std::to_string(nCamera);
    if (!rFile.has(camera + ".T_cn_cnm1") && rFile.has(camera + ".T_cam_imu") && rFile.has("cam0.T_cam_imu")) {
        return transform(rFile, camera + ".T_cam_imu") * transform(rFile, "cam0.T_cam_imu").inv();
    }
    return transform(rFile, camera + ".T_cn_cnm1") * rBefore;
}

} // namespace

SourceRig readKalibr(const Paths& rFiles, const SourceFacts& rFacts)
{
    if (rFiles.size() != 1) {
        throw AppError(rFiles.front().string() +
                           line(": Kalibr has one camchain file for all cameras; %zu given", rFiles.size()),
                       ExitStatus::Usage);
    }
    const KeyedFile file(rFiles[0]);
    SourceRig rig{file.name(), "kalibr", {}};
    cv::Matx44d place = cv::Matx44d::eye();
    for (int n = 0; file.has("cam" + std::to_string(n) + ".intrinsics"); ++n) {
        SourceCamera camera;
        camera.m_name = "cam" + std::to_string(n);
        camera.m_model = readModel(file, camera.m_name, rFacts);
        if (n > 0) {
            place = placeOf(file, n, place);
        }
        camera.m_rotation = place.get_minor<3, 3>(0, 0);
        camera.m_translation = cv::Vec3d(place(0, 3), place(1, 3), place(2, 3)) * rFacts.m_dUnit.value_or(1.0);
        rig.m_cameras.push_back(camera);
    }
    if (rig.m_cameras.size() != 2 && rig.m_cameras.size() != 3) {
        throw AppError(file.name() + line(": cam0, cam1 ...: intrinsics of %zu cameras; two or three are wanted",
                                          rig.m_cameras.size()),
                       ExitStatus::Content);
    }
    return rig;
}

// ---- writing ----

TextFiles writeKalibr(const RigExport& rRig)
{
    std::ostringstream out = plainStream();
    std::vector<KestrovaCamera> order{rRig.m_set.rbegin()->first, KestrovaCamRight};
    if (rRig.m_set.size() == 3) {
        order.push_back(KestrovaCamTop);
    }
    for (std::size_t n = 0; n < order.size(); ++n) {
        const MountedCamera& rCamera = rRig.m_set.at(order[n]);
        const CameraModel& rModel = rCamera.m_model;
        const cv::Matx33d& K = rModel.m_cameraMatrix;
        std::vector<double> terms = rModel.m_adDistortion;
        out << "cam" << n << ": # " << cameraName(order[n]) << "\n  camera_model: pinhole\n  intrinsics: ["
            << numberList(cv::Mat1d{K(0, 0), K(1, 1), K(0, 2), K(1, 2)}, ", ")
            << "]\n  distortion_model: " << (rModel.m_eLens == Lens::Equidistant ? "equidistant" : "radtan")
            << "\n  distortion_coeffs: [" << numberList(cv::Mat1d(terms, true), ", ") << "]\n  resolution: ["
            << rModel.m_size.width << ", " << rModel.m_size.height << "]\n  rostopic: /" << cameraName(order[n])
            << "/image_raw\n";
        if (n == 0) {
            continue;
        }
        // The right camera is second, and the frame of all places.
        const cv::Matx33d R = n == 1 ? rRig.m_set.at(order[0]).m_rotation : rCamera.m_rotation.t();
        const cv::Vec3d T =
            n == 1 ? rRig.m_set.at(order[0]).m_translation : -(rCamera.m_rotation.t() * rCamera.m_translation);
        out << "  T_cn_cnm1:\n";
        for (int i = 0; i < 3; ++i) {
            out << "  - [" << numberList(cv::Mat1d{R(i, 0), R(i, 1), R(i, 2), T[i]}, ", ") << "]\n";
        }
        out << "  - [0.0, 0.0, 0.0, 1.0]\n";
    }
    return {{"camchain.yaml", out.str()}};
}

} // namespace kestrova::app
