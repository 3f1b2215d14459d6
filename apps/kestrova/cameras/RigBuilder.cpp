#include "cameras/RigBuilder.h"

#include "basics/AppError.h"
#include "basics/Line.h"
#include "cameras/LensReach.h"
#include "cameras/RigChecks.h"

#include <opencv2/calib3d.hpp>

#include <cmath>

namespace kestrova::app {

namespace {

constexpr int sk_nWidestCanvas = 1280; // columns that the library rectifies to
constexpr int sk_nNarrowestCanvas = 64;
constexpr int sk_anCoefs[] = {24, 40, 64, 96};
constexpr double sk_dFitRms = 0.02; // pixels
constexpr double sk_dFitWorst = 0.1;
constexpr double sk_dFitGood = 0.05; // worse ones are tried again with more coefficients

} // namespace

double Rig::worstFit() const
{
    double dWorst = 0.0;
    for (const auto& [eCamera, rMaps] : m_maps) {
        dWorst = std::max(dWorst, rMaps.largestError());
    }
    for (const Rig& rFurther : m_further) {
        dWorst = std::max(dWorst, rFurther.worstFit());
    }
    return dWorst;
}

std::string Rig::text() const
{
    std::string text = calibrationText(m_description);
    for (const Rig& rFurther : m_further) {
        text += rFurther.text();
    }
    return text;
}

// ---- which camera is which ----

CameraSet exchanged(const CameraSet& rPair)
{
    const auto& [eOther, rOther] = *rPair.rbegin();
    const MountedCamera& rRight = rPair.at(KestrovaCamRight);
    const cv::Matx33d back = rOther.m_rotation.t();
    return {{KestrovaCamRight, {rOther.m_model, cv::Matx33d::eye(), {}, rOther.m_name}},
            {eOther, {rRight.m_model, back, -(back * rOther.m_translation), rRight.m_name}}};
}

namespace {

std::string nameOf(KestrovaCamera eCamera, const MountedCamera& rCamera)
{
    return rCamera.m_name.empty() ? std::string("the one given as ") + cameraName(eCamera) : rCamera.m_name;
}

// The direction in which the other camera stands once both look the same way.
cv::Vec3d directionOf(const MountedCamera& rOther)
{
    cv::Vec3d whole;
    cv::Matx33d half;
    cv::Rodrigues(rOther.m_rotation, whole);
    cv::Rodrigues(-0.5 * whole, half);
    return half * rOther.m_translation;
}

CameraSet named(const CameraSet& rPair, KestrovaCamera eName)
{
    return {*rPair.begin(), {eName, rPair.rbegin()->second}};
}

// The rotations of a given view follow the cameras to their names.
void renameGiven(RigWishes& rWishes, bool bExchanged, KestrovaCamera eOther)
{
    if (!rWishes.m_given) {
        return;
    }
    const cv::Matx33d right = rWishes.m_given->m_rotations.begin()->second;
    const cv::Matx33d other = rWishes.m_given->m_rotations.rbegin()->second;
    rWishes.m_given->m_rotations = {{KestrovaCamRight, bExchanged ? other : right},
                                    {eOther, bExchanged ? right : other}};
}

void placePair(Rig& rRig, RigWishes& rWishes)
{
    CameraSet& rSet = rRig.m_set;
    if (rWishes.m_leftIs == KestrovaCamRight) {
        rSet = exchanged(rSet);
    }
    const cv::Vec3d direction = directionOf(rSet.rbegin()->second);
    const bool bUpright = std::abs(direction[1]) > std::abs(direction[0]);
    const bool bExchanged = direction[bUpright ? 1 : 0] > 0.0;
    const KestrovaCamera eOther = bUpright ? KestrovaCamTop : KestrovaCamLeft;
    if (rWishes.m_leftIs) {
        if (eOther != KestrovaCamLeft) {
            throw AppError(rWishes.m_source + ": --left-is: the cameras stand one above the other", ExitStatus::Usage);
        }
        if (bExchanged) {
            MountedCamera& rLeft = rSet.at(KestrovaCamLeft);
            rLeft.m_translation = -(rLeft.m_rotation.t() * rLeft.m_translation);
            rLeft.m_rotation = rLeft.m_rotation.t();
            rRig.m_remarks.push_back("order: R and T say that the left camera stands on the right; as --left-is "
                                     "overrules them, they are taken as the way back");
        }
    } else if (rWishes.m_eNames == CameraNames::MustHold && (bExchanged || !rSet.contains(eOther))) {
        const char* pszNow = cameraName(rSet.rbegin()->first);
        throw AppError(rWishes.m_source + ": " +
                           (rSet.contains(eOther)
                                ? std::string(pszNow) + " and right are swapped: give each camera's photos under the "
                                                        "other's option, or turn the cameras the right way up"
                                : std::string("the cameras stand ") +
                                      (bUpright ? "one above the other: give them as --right and --top"
                                                : "side by side: give them as --right and --left")),
                       ExitStatus::Unfit);
    } else {
        rSet = named(bExchanged ? exchanged(rSet) : rSet, eOther);
    }
    renameGiven(rWishes, rWishes.m_leftIs ? rWishes.m_leftIs == KestrovaCamRight : bExchanged, eOther);
    const auto& [eName, rOther] = *rSet.rbegin();
    rRig.m_remarks.push_back(line("order: %s is %s, %s is right (the reference)%s", nameOf(eName, rOther).c_str(),
                                  cameraName(eName), nameOf(KestrovaCamRight, rSet.at(KestrovaCamRight)).c_str(),
                                  bExchanged && !rWishes.m_leftIs ? "; by R and T, which say the reverse of the given "
                                                                    "order"
                                                                  : ""));
}

// ---- the view ----

double between(const cv::Point2d& rA, const cv::Point2d& rB) // radians
{
    const cv::Vec3d a(rA.x, rA.y, 1.0);
    const cv::Vec3d b(rB.x, rB.y, 1.0);
    return std::atan2(cv::norm(a.cross(b)), a.dot(b));
}

// Angles of view through the middle of a rectangle, along rows and along columns.
template<typename Rays>
cv::Vec2d fieldOf(cv::Size size, const Rays& rRays)
{
    const double dLast = size.width - 1.0;
    const double dBottom = size.height - 1.0;
    const Points rays = rRays(Points{{0, dBottom / 2}, {dLast, dBottom / 2}, {dLast / 2, 0}, {dLast / 2, dBottom}});
    return {between(rays[0], rays[1]), between(rays[2], rays[3])};
}

cv::Vec2d lostField(const CameraSet& rSet, const RectificationPlan& rPlan)
{
    cv::Vec2d lost;
    for (const auto& [eCamera, rCamera] : rSet) {
        const CameraModel& rModel = rCamera.m_model;
        const cv::Matx33d& rRotation = rPlan.m_rotations.at(eCamera);
        const LensReach reach = reachOf(rModel);
        const cv::Vec2d all =
            fieldOf(rModel.m_size, [&](const Points& rPixels) { return raysContinued(rModel, reach, rPixels); });
        const cv::Vec2d shown =
            fieldOf(rPlan.m_canvas, [&](const Points& rPixels) { return raysOfRectified(rRotation, rPlan, rPixels); });
        for (int i = 0; i < 2; ++i) {
            lost[i] = std::max(lost[i], 100.0 * (1.0 - shown[i] / all[i]));
        }
    }
    return lost;
}

// 4 by 3: what fits into the raw frame at alpha 0, what holds it at alpha 1, so that pixels stay about as fine.
cv::Size canvasFor(cv::Size raw, double dAlpha, std::vector<std::string>& rRemarks)
{
    const double dInside = std::min<double>(raw.width, raw.height * 4.0 / 3.0);
    const double dOutside = std::max<double>(raw.width, raw.height * 4.0 / 3.0);
    const double dWidth = dInside * (1.0 - dAlpha) + dOutside * dAlpha;
    const int nWidth = std::clamp(static_cast<int>(dWidth / 4.0 + 1e-6) * 4, sk_nNarrowestCanvas, sk_nWidestCanvas);
    const cv::Size canvas(nWidth, nWidth * 3 / 4);
    if (canvas != raw) {
        rRemarks.push_back(line("canvas: rectified images are 4 by 3, so the frames of %dx%d give images of %dx%d%s",
                                raw.width, raw.height, canvas.width, canvas.height,
                                dWidth > sk_nWidestCanvas ? ", the largest that the library makes" : ""));
    }
    return canvas;
}

void checkCanvas(cv::Size canvas)
{
    if (canvas.width * 3 != canvas.height * 4 || canvas.width < sk_nNarrowestCanvas ||
        canvas.width > sk_nWidestCanvas) {
        throw AppError(line("--canvas: %dx%d: needs a 4 by 3 size from 64x48 to 1280x960", canvas.width, canvas.height),
                       ExitStatus::Usage);
    }
}

// The given view with another frame around the same centre of the picture; smaller when the library has no such canvas.
RectificationPlan cutTo(const RectificationPlan& rGiven, cv::Size canvas)
{
    RectificationPlan plan = rGiven;
    const double dWidth = std::min<double>(rGiven.m_canvas.width, rGiven.m_canvas.height * 4.0 / 3.0);
    const double dScale = canvas.width / dWidth;
    const cv::Point2d offset((rGiven.m_canvas.width - dWidth) / 2.0, (rGiven.m_canvas.height - dWidth * 0.75) / 2.0);
    plan.m_canvas = canvas;
    plan.m_dFocal = rGiven.m_dFocal * dScale;
    plan.m_centre = (rGiven.m_centre - offset + cv::Point2d(0.5, 0.5)) * dScale - cv::Point2d(0.5, 0.5);
    return plan;
}

} // namespace

std::vector<double> disparitiesOf(const std::vector<cv::Vec3d>& rPlaces, const RectificationPlan& rPlan)
{
    std::vector<double> disparities;
    for (const cv::Vec3d& rPlace : rPlaces) {
        if (const double dDepth = (rPlan.m_rotations.at(KestrovaCamRight) * rPlace)[2]; dDepth > 0.0) {
            disparities.push_back(rPlan.m_dFocal * rPlan.m_dBaseline / dDepth);
        }
    }
    return disparities;
}

namespace {

cv::Vec2i disparityFor(const RectificationPlan& rPlan, const RigWishes& rWishes)
{
    if (rWishes.m_disparity) {
        return *rWishes.m_disparity;
    }
    const std::vector<double> subject = disparitiesOf(rWishes.m_subject, rPlan);
    // Matches of a top camera go along the columns, which are shorter.
    const bool bTop = rPlan.m_rotations.contains(KestrovaCamTop);
    const int nLargest = largestDisparity(bTop ? rPlan.m_canvas.height : rPlan.m_canvas.width);
    const cv::Vec2i usual = subject.empty() ? cv::Vec2i(0, rPlan.m_canvas.width / 10) : rangeAround(subject, nLargest);
    return rWishes.m_depth.m_dNear || rWishes.m_depth.m_dFar
               ? disparityOf(rWishes.m_depth, rPlan.m_dFocal * rPlan.m_dBaseline, usual)
               : usual;
}

// ---- maps ----

CameraMaps fitWithinLimits(const Rig& rRig, KestrovaCamera eCamera, const std::string& rSource)
{
    CameraMaps maps;
    std::optional<CameraMaps> usable;
    for (int nCoefs : sk_anCoefs) {
        maps = fitCameraMaps(rRig.m_set.at(eCamera).m_model, rRig.m_plan.m_rotations.at(eCamera), rRig.m_plan, nCoefs);
        if (maps.worstRms() <= sk_dFitRms && maps.largestError() <= sk_dFitWorst &&
            (!usable || maps.largestError() < usable->largestError())) {
            usable = maps;
        }
        if (usable && usable->largestError() <= sk_dFitGood) {
            return *usable;
        }
    }
    if (usable) {
        return *usable;
    }
    throw AppError(
        line("%s: %s camera: maps of %d coefficients are %.3f pixel RMS and at most %.3f off the lens (limits "
             "%.2f and %.1f); show less of its view with a lower --alpha, or check its distortion",
             rSource.c_str(), cameraName(eCamera), maps.m_nCoefs, maps.worstRms(), maps.largestError(), sk_dFitRms,
             sk_dFitWorst),
        ExitStatus::Unfit);
}

void remarkReach(Rig& rRig, KestrovaCamera eCamera)
{
    const LensReach reach = reachOf(rRig.m_set.at(eCamera).m_model);
    const double dPercent = 100.0 * rRig.m_maps.at(eCamera).m_dLostShare;
    if (dPercent == 0.0) {
        return; // if it ends, then outside the frame
    }
    const double dDegrees = std::atan(reach.m_dRay) * 180.0 / CV_PI;
    rRig.m_remarks.push_back(
        reach.folds()
            ? line("warning: the distortion of the %s camera folds back near the edge of its frame; it is used up to "
                   "%.1f degrees from the axis, and %.1f %% of the raw frame beyond is masked. Boards nearer "
                   "to the corners, or fewer coefficients, make a better calibration",
                   cameraName(eCamera), dDegrees, dPercent)
            : line("view: the %s camera sees further than a flat image can show: %.1f %% of the raw frame, "
                   "beyond %.0f degrees from the axis, is left out",
                   cameraName(eCamera), dPercent, dDegrees));
}

void describe(Rig& rRig, const RigWishes& rWishes)
{
    CalibrationDescription& rDescription = rRig.m_description;
    rDescription.m_canvas = rRig.m_plan.m_canvas;
    rDescription.m_dFocal = rRig.m_plan.m_dFocal;
    rDescription.m_centre = rRig.m_plan.m_centre;
    rDescription.m_dBaseline = rRig.m_plan.m_dBaseline;
    const cv::Vec2i disparity = disparityFor(rRig.m_plan, rWishes);
    rDescription.m_nMinDisparity = disparity[0];
    rDescription.m_nMaxDisparity = disparity[1];
    rDescription.m_nSerialNumber = rWishes.m_nSerialNumber;
    rDescription.m_note = rWishes.m_note;
    for (const auto& [eCamera, rMaps] : rRig.m_maps) {
        const auto gain = rWishes.m_gains.find(eCamera);
        rDescription.m_cameras[eCamera] = {rMaps.m_rawFromRectified, rMaps.m_rectifiedFromRaw,
                                           gain == rWishes.m_gains.end() ? 1.0 : gain->second};
    }
}

// From a set whose names hold.
void finish(Rig& rRig, const RigWishes& rWishes)
{
    rRig.m_lostField = lostField(rRig.m_set, rRig.m_plan);
    const bool bCut = std::max(rRig.m_lostField[0], rRig.m_lostField[1]) > 10.0 && rWishes.m_dAlpha < 1.0;
    rRig.m_remarks.push_back(line("view: %.1f %% of the field of view is lost along rows, %.1f %% along columns%s",
                                  rRig.m_lostField[0], rRig.m_lostField[1],
                                  bCut && !rWishes.m_given ? "; --alpha 1 shows all that a flat image can" : ""));
    for (const auto& [eCamera, rCamera] : rRig.m_set) {
        rRig.m_maps[eCamera] = fitWithinLimits(rRig, eCamera, rWishes.m_source);
        remarkReach(rRig, eCamera);
    }
    describe(rRig, rWishes);
}

RectificationPlan plannedFor(const CameraSet& rSet, cv::Size canvas, const RigWishes& rWishes,
                             std::optional<double> maxDisparity = {})
{
    try {
        return planRectification(rSet, canvas, rWishes.m_dAlpha, maxDisparity);
    } catch (const AppError& rError) {
        throw AppError(rWishes.m_source + ": " + rError.what(), rError.status());
    }
}

RectificationPlan planFor(Rig& rRig, const RigWishes& rWishes)
{
    if (rWishes.m_given) {
        const cv::Size given = rWishes.m_given->m_canvas;
        return cutTo(*rWishes.m_given, rWishes.m_canvas ? *rWishes.m_canvas : canvasFor(given, 0.0, rRig.m_remarks));
    }
    const cv::Size raw = rRig.m_set.at(KestrovaCamRight).m_model.m_size;
    const cv::Size canvas = rWishes.m_canvas ? *rWishes.m_canvas : canvasFor(raw, rWishes.m_dAlpha, rRig.m_remarks);
    if (configurationOf(rRig.m_set) != KestrovaCfg3CameraL) {
        return plannedFor(rRig.m_set, canvas, rWishes);
    }
    CameraSet pair = rRig.m_set;
    pair.erase(KestrovaCamTop);
    const double dMost = disparityFor(plannedFor(pair, canvas, rWishes), rWishes)[1];
    return plannedFor(rRig.m_set, canvas, rWishes, dMost);
}

// The two pairs of a set of three, each with a view of its own.
Rig buildTwoSections(Rig& rRig, const RigWishes& rWishes, const std::string& rFlaw)
{
    const auto section = [&](KestrovaCamera eWithout) {
        Rig rig;
        rig.m_set = rRig.m_set;
        rig.m_set.erase(eWithout);
        rig.m_plan = planFor(rig, rWishes);
        finish(rig, rWishes);
        return rig;
    };
    Rig pair = section(KestrovaCamTop);
    pair.m_further.push_back(section(KestrovaCamLeft));
    rRig.m_remarks.push_back(rFlaw + ": two sections are written, the first for right and left, the second for right "
                                     "and top");
    for (const Rig* pRig : {&pair, &pair.m_further[0]}) {
        rRig.m_remarks.insert(rRig.m_remarks.end(), pRig->m_remarks.begin(), pRig->m_remarks.end());
    }
    pair.m_remarks = std::move(rRig.m_remarks);
    return pair;
}

} // namespace

Rig buildRig(const CameraSet& rSet, const RigWishes& rWishes)
{
    RigWishes wishes = rWishes;
    Rig rig;
    rig.m_set = rSet;
    if (wishes.m_canvas) {
        checkCanvas(*wishes.m_canvas);
    }
    checkCameras(rig.m_set, wishes.m_source, rig.m_remarks);
    if (configurationOf(rSet) == KestrovaCfg3CameraL) {
        CameraSet pair = rig.m_set;
        pair.erase(KestrovaCamTop);
        const cv::Size raw = pair.at(KestrovaCamRight).m_model.m_size;
        std::vector<std::string> ignored;
        const cv::Size canvas = wishes.m_canvas.value_or(canvasFor(raw, wishes.m_dAlpha, ignored));
        const RectificationPlan plan = plannedFor(pair, canvas, wishes);
        if (const std::string flaw = flawOfL(rig.m_set, disparityFor(plan, wishes)[1]); !flaw.empty()) {
            return buildTwoSections(rig, wishes, flaw);
        }
    } else {
        placePair(rig, wishes);
    }
    rig.m_plan = planFor(rig, wishes);
    finish(rig, wishes);
    return rig;
}

} // namespace kestrova::app
