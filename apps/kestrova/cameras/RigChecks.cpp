#include "cameras/RigChecks.h"

#include "basics/AppError.h"
#include "basics/Line.h"

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

constexpr double sk_dSloppyRotation = 1e-3; // of R * R^T - 1: more than text of few digits explains

class Checker
{
public:
    Checker(const std::string& rSource, KestrovaCamera eCamera, const MountedCamera& rCamera)
        : m_where(rSource + ": " +
                  (rCamera.m_name.empty() ? std::string(cameraName(eCamera)) + " camera" : rCamera.m_name) + ": "),
          m_rCamera(rCamera)
    {}

    [[noreturn]] void fail(const std::string& rWhat) const { throw AppError(m_where + rWhat, ExitStatus::Content); }

    void lens() const
    {
        const CameraModel& rModel = m_rCamera.m_model;
        const cv::Matx33d& K = rModel.m_cameraMatrix;
        if (rModel.m_size.width < 16 || rModel.m_size.height < 16) {
            fail(line("size %dx%d: no size of a picture; give the one that it was calibrated with", rModel.m_size.width,
                      rModel.m_size.height));
        }
        if (!std::all_of(K.val, K.val + 9, [](double d) { return std::isfinite(d); })) {
            fail("camera matrix: has a value that is no number; calibrate anew");
        }
        if (!(K(0, 0) > 0.0) || !(K(1, 1) > 0.0)) {
            fail(line("camera matrix: focal lengths %g and %g must be above 0; is the camera calibrated?", K(0, 0),
                      K(1, 1)));
        }
        if (K(2, 2) != 1.0 || std::abs(K(0, 1)) > 1e-3 || K(1, 0) != 0.0 || K(2, 0) != 0.0 || K(2, 1) != 0.0) {
            fail("camera matrix: not of the form fx 0 cx, 0 fy cy, 0 0 1; a whole matrix scaled for another size must "
                 "have only its first two rows scaled");
        }
        if (!(K(0, 2) > 0.0 && K(1, 2) > 0.0 && K(0, 2) < rModel.m_size.width && K(1, 2) < rModel.m_size.height)) {
            fail(line("camera matrix: centre %.1f %.1f lies outside the frame of %dx%d; is the size the one of the "
                      "calibration?",
                      K(0, 2), K(1, 2), rModel.m_size.width, rModel.m_size.height));
        }
        distortion();
    }

    // The rotation as an exact one.
    cv::Matx33d place() const
    {
        const cv::Matx33d& R = m_rCamera.m_rotation;
        const cv::Vec3d& T = m_rCamera.m_translation;
        const auto isFinite = [](double d) { return std::isfinite(d); };
        if (!std::all_of(R.val, R.val + 9, isFinite) || !std::all_of(T.val, T.val + 3, isFinite)) {
            fail("R, T: a value is no number; calibrate anew");
        }
        const double dOff = cv::norm(R * R.t() - cv::Matx33d::eye(), cv::NORM_INF);
        if (cv::determinant(R) < 0.0 || dOff > sk_dSloppyRotation) {
            fail(line("R: no rotation (determinant %.4f, rows %.4f off a right angle or length 1); check its nine "
                      "numbers and their order",
                      cv::determinant(R), dOff));
        }
        cv::Matx33d u, vt;
        cv::Matx31d w;
        cv::SVD::compute(R, w, u, vt);
        return u * vt;
    }

    void baseline(std::vector<std::string>& rRemarks) const
    {
        static constexpr char pszAdvice[] = "compare T and --unit (or the --square that was told) with a ruler";
        const double dBaseline = cv::norm(m_rCamera.m_translation);
        if (dBaseline == 0.0) {
            fail("T: both cameras stand at one place; are both files of the same camera?");
        }
        if (dBaseline > 10.0) {
            fail(line("T: a baseline of %.4g m; it looks like millimetres given as metres; %s", dBaseline, pszAdvice));
        }
        if (dBaseline < 0.001) {
            fail(line("T: a baseline of %.4g mm; it looks like metres given as millimetres; %s", 1000.0 * dBaseline,
                      pszAdvice));
        }
        if (dBaseline < 0.01 || dBaseline > 3.0) {
            rRemarks.push_back(line("warning: a baseline of %.2f mm is unusual (10 mm to 3 m): does this match your "
                                    "ruler? If not, the unit of the source or the side of the squares is wrong",
                                    1000.0 * dBaseline));
        }
    }

private:
    void distortion() const
    {
        const CameraModel& rModel = m_rCamera.m_model;
        const std::size_t nTerms = rModel.m_adDistortion.size();
        const bool bWide = rModel.m_eLens == Lens::Equidistant;
        const std::vector<std::size_t> allowed =
            bWide ? std::vector<std::size_t>{4} : std::vector<std::size_t>{0, 4, 5, 8, 12, 14};
        if (std::find(allowed.begin(), allowed.end(), nTerms) == allowed.end()) {
            fail(line("distortion: %zu coefficients; %s are wanted", nTerms,
                      bWide ? "4 of an equidistant lens" : "4, 5, 8, 12 or 14"));
        }
        for (double dTerm : rModel.m_adDistortion) {
            if (!std::isfinite(dTerm)) {
                fail("distortion: has a value that is no number; calibrate anew");
            }
        }
    }

    std::string m_where; // goes before every complaint
    const MountedCamera& m_rCamera;
};

} // namespace

void checkCameras(CameraSet& rSet, const std::string& rSource, std::vector<std::string>& rRemarks)
{
    const cv::Size size = rSet.at(KestrovaCamRight).m_model.m_size;
    for (auto& [eCamera, rCamera] : rSet) {
        const Checker checker(rSource, eCamera, rCamera);
        checker.lens();
        if (rCamera.m_model.m_size != size) {
            checker.fail(line("size %dx%d, but the right one has %dx%d; calibrate both at one size",
                              rCamera.m_model.m_size.width, rCamera.m_model.m_size.height, size.width, size.height));
        }
        rCamera.m_rotation = checker.place();
        if (eCamera != KestrovaCamRight) {
            checker.baseline(rRemarks);
        }
    }
}

} // namespace kestrova::app
