#include "cameras/RigProof.h"

#include "basics/AppError.h"
#include "basics/Line.h"
#include "cameras/LensReach.h"

#include <cmath>
#include <memory>

namespace kestrova::app {

namespace {

constexpr double sk_dLimit = 0.1; // pixels
constexpr int sk_nGrid = 41;      // points along each axis of the raw frame

Points gridOf(cv::Size size)
{
    Points points;
    for (int y = 0; y < sk_nGrid; ++y) {
        for (int x = 0; x < sk_nGrid; ++x) {
            points.emplace_back(x * (size.width - 1.0) / (sk_nGrid - 1), y * (size.height - 1.0) / (sk_nGrid - 1));
        }
    }
    return points;
}

// The sum of squares stands in m_dRms until the end.
void push(RigProof& rProof, KestrovaContext context, KestrovaCamera eCamera, const Rig& rRig, const Points& rPoints)
{
    const CameraModel& rModel = rRig.m_set.at(eCamera).m_model;
    const cv::Size canvas = rRig.m_plan.m_canvas;
    const LensReach reach = reachOf(rModel);
    const Points rays = raysContinued(rModel, reach, rPoints);
    const Points expected = rectifiedFromRays(rRig.m_plan.m_rotations.at(eCamera), rRig.m_plan, rays);
    for (std::size_t i = 0; i < rPoints.size(); ++i) {
        const cv::Point2d& rAt = expected[i];
        if (cv::norm(rays[i]) > reach.m_dRay ||
            !(rAt.x >= 0.0 && rAt.y >= 0.0 && rAt.x <= canvas.width - 1.0 && rAt.y <= canvas.height - 1.0)) {
            continue;
        }
        float fRow = 0.0f;
        float fCol = 0.0f;
        const KestrovaError error = kestrovaRectifyPixel(
            context, eCamera, &fRow, &fCol, static_cast<float>(rPoints[i].y), static_cast<float>(rPoints[i].x));
        if (error != KestrovaErrorOk) {
            throw AppError(std::string("proof of the calibration: ") + kestrovaErrorToString(error));
        }
        const double dError = std::hypot(fCol - rAt.x, fRow - rAt.y);
        rProof.m_dRms += dError * dError;
        rProof.m_dWorst = std::max(rProof.m_dWorst, dError);
        ++rProof.m_nPoints;
    }
}

} // namespace

// Sizes that are not 4 by 3 are known to the library only from a frame.
void expectFrames(KestrovaContext context, cv::Size raw)
{
    if (kestrovaSetSourceResolution(context, raw.height, raw.width) == KestrovaErrorOk) {
        return;
    }
    cv::Mat1b plane(raw, uchar(0));
    KestrovaInput input{};
    kestrovaBuildRGBKestrovaInput(raw.width, raw.height, raw.width, 0, 0, plane.data, plane.data, plane.data, &input);
    if (const KestrovaError error = kestrovaPreprocess(context, &input); error != KestrovaErrorOk) {
        throw AppError(
            line("frames of %dx%d cannot be rectified: %s", raw.width, raw.height, kestrovaErrorToString(error)));
    }
}

namespace {

void proveSection(RigProof& rProof, KestrovaContext context, const Rig& rRig, const PerCamera<Points>& rCorners)
{
    KestrovaCameraConfiguration eKind = configurationOf(rRig.m_set);
    if (eKind == KestrovaCfg2CameraHorizontal && rRig.m_plan.m_dBaseline > 0.15) {
        eKind = KestrovaCfg2CameraWide;
    }
    kestrovaSetCameraConfiguration(context, eKind); // exactly 0.15 is neither, and the only section then
    for (const auto& [eCamera, rCamera] : rRig.m_set) {
        const cv::Size raw = rCamera.m_model.m_size;
        expectFrames(context, raw);
        push(rProof, context, eCamera, rRig, gridOf(raw));
        if (const auto corners = rCorners.find(eCamera); corners != rCorners.end()) {
            push(rProof, context, eCamera, rRig, corners->second);
        }
    }
}

} // namespace

RigProof proveRig(const std::filesystem::path& rFile, const Rig& rRig, const PerCamera<Points>& rCorners)
{
    KestrovaContext context = nullptr;
    const KestrovaError error = kestrovaGetDefaultContextFromFile(&context, rFile.c_str());
    const std::unique_ptr<KestrovaContextHandle, KestrovaError (*)(KestrovaContext)> owner(context,
                                                                                           kestrovaDestroyContext);
    if (error != KestrovaErrorOk) {
        throw AppError(rFile.string() + ": the written calibration does not load: " + kestrovaErrorToString(error));
    }
    RigProof proof;
    proveSection(proof, context, rRig, rCorners);
    for (const Rig& rFurther : rRig.m_further) {
        proveSection(proof, context, rFurther, rCorners);
    }
    proof.m_dRms = std::sqrt(proof.m_dRms / static_cast<double>(std::max<std::size_t>(proof.m_nPoints, 1)));
    if (proof.m_nPoints == 0 || !(proof.m_dWorst <= sk_dLimit)) {
        throw AppError(rFile.string() +
                           line(": the library moves points up to %.3f pixel away from where the lenses do (%.1f is "
                                "the limit, %zu points); check the distortion of the source",
                                proof.m_dWorst, sk_dLimit, proof.m_nPoints),
                       ExitStatus::Unfit);
    }
    return proof;
}

} // namespace kestrova::app
