#include "formats/RigWriters.h"

#include "basics/AppError.h"
#include "basics/Line.h"
#include "formats/LensFit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <locale>

namespace kestrova::app {

namespace {

constexpr double sk_dGood = 0.003; // pixels: of the order of the spline's own error, so no further lens is tried
constexpr double sk_dLimit = 0.1;
constexpr int sk_nGrid = 25;

// Rays of the view, and the raw pixels at which the maps show them; only where the two maps agree.
void sample(const OutlineCamera& rCamera, const RectificationPlan& rView, cv::Size raw, Points& rRays, Points& rRaw)
{
    const cv::Size canvas = rView.m_canvas;
    for (int y = 0; y < sk_nGrid; ++y) {
        for (int x = 0; x < sk_nGrid; ++x) {
            const cv::Point2d pixel(x * (canvas.width - 1.0) / (sk_nGrid - 1),
                                    y * (canvas.height - 1.0) / (sk_nGrid - 1));
            if (const auto at = rCamera.believedPosition(pixel, canvas, raw)) {
                rRays.push_back((pixel - rView.m_centre) / rView.m_dFocal);
                rRaw.push_back(*at);
            }
        }
    }
}

LensFit fitCamera(const OutlineCamera& rCamera, const RectificationPlan& rView, cv::Size raw, LensTerms eChoice)
{
    Points rays;
    Points places;
    sample(rCamera, rView, raw, rays, places);
    if (rays.size() < 50) {
        throw AppError("the maps of the calibration show too little of the raw frames", ExitStatus::Unfit);
    }
    const double dFocal = rView.m_dFocal * raw.width / rView.m_canvas.width;
    struct Kind
    {
        Lens m_eLens;
        std::size_t m_nTerms;
    };
    const std::vector<Kind> kinds =
        eChoice == LensTerms::FourTerms
            ? std::vector<Kind>{{Lens::Polynomial, 4}, {Lens::Equidistant, 4}}
            : std::vector<Kind>{{Lens::Polynomial, 5}, {Lens::Equidistant, 4}, {Lens::Polynomial, 8}};
    LensFit best;
    LensFit polynomial;
    for (const Kind& rKind : kinds) {
        const bool bOnward = rKind.m_nTerms == 8;
        const LensFit fit =
            fitLens(rays, places, raw, dFocal, rKind.m_eLens, rKind.m_nTerms, bOnward ? &polynomial : nullptr);
        if (fit.m_dWorst < best.m_dWorst) {
            best = fit;
        }
        if (rKind.m_eLens == Lens::Polynomial) {
            polynomial = fit;
        }
        if (best.m_dWorst < sk_dGood) {
            break;
        }
    }
    return best;
}

} // namespace

RigExport exportRig(const OutlineSection& rSection, const RectificationPlan& rView, cv::Size raw, LensTerms eChoice)
{
    RigExport rig{{}, rView, {}, {}};
    static const std::pair<KestrovaCamera, cv::Vec3i> s_places[] = {
        {KestrovaCamRight, {0, 0, 0}}, {KestrovaCamTop, {0, -1, 0}}, {KestrovaCamLeft, {-1, 0, 0}}};
    for (const auto& [eCamera, position] : s_places) {
        const OutlineCamera* pCamera = rSection.camera(position);
        if (!pCamera) {
            continue;
        }
        const LensFit fit = fitCamera(*pCamera, rView, raw, eChoice);
        if (!(fit.m_dWorst <= sk_dLimit)) {
            throw AppError(
                line("--to: the nearest lens that the form holds is %.3f pixel RMS and up to %.3f off the maps of "
                     "the %s camera (%.1f is the limit); use another form",
                     fit.m_dRms, fit.m_dWorst, cameraName(eCamera), sk_dLimit),
                ExitStatus::Unfit);
        }
        rig.m_plan.m_rotations[eCamera] = fit.m_rotation;
        rig.m_rms[eCamera] = fit.m_dRms;
        rig.m_worst[eCamera] = fit.m_dWorst;
        MountedCamera& rCamera = rig.m_set[eCamera];
        rCamera.m_model = fit.m_model;
        if (eCamera == KestrovaCamRight) {
            continue;
        }
        const cv::Matx33d toRight = rig.m_plan.m_rotations.at(KestrovaCamRight).t();
        rCamera.m_rotation = toRight * fit.m_rotation;
        rCamera.m_translation = toRight * (cv::Vec3d(position) * rView.m_dBaseline);
    }
    return rig;
}

RectificationPlan viewInRawSize(const RigExport& rRig)
{
    const cv::Size raw = rRig.m_set.at(KestrovaCamRight).m_model.m_size;
    RectificationPlan view = rRig.m_plan;
    const cv::Size canvas = view.m_canvas;
    const double dScale =
        std::min(static_cast<double>(raw.width) / canvas.width, static_cast<double>(raw.height) / canvas.height);
    view.m_canvas = raw;
    view.m_dFocal *= dScale;
    view.m_centre = (view.m_centre + cv::Point2d(0.5, 0.5)) * dScale - cv::Point2d(0.5, 0.5) +
                    0.5 * cv::Point2d(raw.width - canvas.width * dScale, raw.height - canvas.height * dScale);
    return view;
}

cv::Matx34d projectionOf(const RectificationPlan& rView, double dShift, bool bUpright)
{
    return {rView.m_dFocal,
            0,
            rView.m_centre.x,
            bUpright ? 0.0 : dShift,
            0,
            rView.m_dFocal,
            rView.m_centre.y,
            bUpright ? dShift : 0.0,
            0,
            0,
            1,
            0};
}

std::ostringstream plainStream()
{
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out.precision(17);
    return out;
}

namespace {

// With a point, so that no reader takes a whole number for an integer.
std::string numberText(double dValue)
{
    std::ostringstream out = plainStream();
    out << dValue;
    const std::string text = out.str();
    return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

} // namespace

std::string numberList(const cv::Mat1d& rMatrix, const std::string& rSeparator)
{
    std::string text;
    for (int nRow = 0; nRow < rMatrix.rows; ++nRow) {
        for (int nCol = 0; nCol < rMatrix.cols; ++nCol) {
            text += (text.empty()                    ? ""
                     : nCol == 0 && rMatrix.cols > 1 ? rSeparator
                                                     : ", ") +
                    numberText(rMatrix(nRow, nCol));
        }
    }
    return text;
}

} // namespace kestrova::app
