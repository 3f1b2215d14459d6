#include "demo/SceneRenderer.h"

#include <cmath>

namespace kestrova::app {

namespace {

// The rays of one row of pixels, sub-samples of a pixel side by side.
Points raysOfRow(const CameraModel& rCamera, int nRow, int nSamples)
{
    Points pixels;
    for (int nCol = 0; nCol < rCamera.m_size.width; ++nCol) {
        for (int y = 0; y < nSamples; ++y) {
            for (int x = 0; x < nSamples; ++x) {
                pixels.emplace_back(nCol + (x + 0.5) / nSamples - 0.5, nRow + (y + 0.5) / nSamples - 0.5);
            }
        }
    }
    return raysOfPixels(rCamera, pixels);
}

} // namespace

RawFrame renderRaw(const Scene& rScene, const CameraModel& rCamera, const Pose& rPose, const SensorModel& rSensor,
                   int nSamples)
{
    RawFrame frame{cv::Mat1b(rCamera.m_size), cv::Mat3b(rCamera.m_size)};
    const int nPerPixel = nSamples * nSamples;
    cv::parallel_for_(cv::Range(0, frame.m_grey.rows), [&](const cv::Range& rRows) {
        for (int nRow = rRows.start; nRow < rRows.end; ++nRow) {
            cv::RNG noise(rSensor.m_uSeed * 1000003ull + static_cast<std::uint64_t>(nRow) +
                          1); // the same in any order of rows
            const Points rays = raysOfRow(rCamera, nRow, nSamples);
            auto ray = rays.begin();
            for (int nCol = 0; nCol < frame.m_grey.cols; ++nCol) {
                double dSum = 0.0;
                cv::Vec3d sum;
                for (int i = 0; i < nPerPixel; ++i, ++ray) {
                    const Hit hit = rScene.trace(rPose.m_centre, rPose.m_rotation * cv::Vec3d(ray->x, ray->y, 1.0));
                    dSum += hit.m_dGrey;
                    sum += hit.m_dGrey * hit.m_tint;
                }
                const double dShare = rSensor.m_dGain / nPerPixel;
                const double dNoise = noise.gaussian(rSensor.m_dNoise);
                frame.m_grey(nRow, nCol) = cv::saturate_cast<unsigned char>(dSum * dShare + dNoise);
                frame.m_colour(nRow, nCol) = sum * dShare + cv::Vec3d::all(dNoise);
            }
        }
    });
    return frame;
}

namespace {

bool isInFrame(const cv::Point2d& rPixel, cv::Size size)
{
    return rPixel.x >= 0 && rPixel.y >= 0 && rPixel.x <= size.width - 1.0 && rPixel.y <= size.height - 1.0;
}

Sight sightOf(Material eMaterial)
{
    switch (eMaterial) {
    case Material::Plain:
        return Sight::Plain;
    case Material::Repeated:
        return Sight::Repeated;
    case Material::Textured:
        break;
    }
    return Sight::Textured;
}

// Whether a camera has each point of a row in its frame, with nothing before it. Points are projected a row at a time:
// a call for each would cost more than the ray.
std::vector<bool> seenBy(const MountedCamera& rCamera, const Scene& rScene, const std::vector<cv::Vec3d>& rPoints)
{
    Points rays;
    for (const cv::Vec3d& rPoint : rPoints) {
        const cv::Vec3d local = rCamera.m_rotation.t() * (rPoint - rCamera.m_translation);
        rays.emplace_back(local[0] / local[2], local[1] / local[2]);
    }
    const Points inFrame = projectRays(rCamera.m_model, rays);
    std::vector<bool> seen;
    for (std::size_t n = 0; n < rPoints.size(); ++n) {
        seen.push_back(isInFrame(inFrame[n], rCamera.m_model.m_size) &&
                       rScene.trace(rCamera.m_translation, rPoints[n] - rCamera.m_translation).m_dDistance >
                           1.0 - 1e-6);
    }
    return seen;
}

void truthOfRow(SceneTruth& rTruth, const Scene& rScene, const CameraSet& rSet, const RectificationPlan& rPlan,
                int nRow)
{
    const cv::Matx33d toScene = rPlan.m_rotations.at(KestrovaCamRight).t();
    std::vector<cv::Vec3d> points;
    for (int nCol = 0; nCol < rPlan.m_canvas.width; ++nCol) {
        const cv::Point2d ray = (cv::Point2d(nCol, nRow) - rPlan.m_centre) / rPlan.m_dFocal;
        const cv::Vec3d direction = toScene * cv::Vec3d(ray.x, ray.y, 1.0); // so the distance along it is the depth
        const Hit hit = rScene.trace({}, direction);
        points.push_back(std::min(hit.m_dDistance, 1e6) * direction);
        if (!std::isfinite(hit.m_dDistance)) {
            continue;
        }
        rTruth.m_disparity(nRow, nCol) = static_cast<float>(rPlan.m_dFocal * rPlan.m_dBaseline / hit.m_dDistance);
        rTruth.m_sight(nRow, nCol) = static_cast<unsigned char>(sightOf(hit.m_eMaterial));
        rTruth.m_floor(nRow, nCol) = hit.m_nSurface == sk_nFloor ? 255 : 0;
    }
    // A match outside the rectified image is out of any matcher's reach.
    const auto isInCanvas = [&](KestrovaCamera eCamera, int nCol) {
        const double dShift = eCamera == KestrovaCamRight ? 0.0 : rTruth.m_disparity(nRow, nCol);
        return isInFrame(eCamera == KestrovaCamTop ? cv::Point2d(nCol, nRow + dShift)
                                                   : cv::Point2d(nCol + dShift, nRow),
                         rPlan.m_canvas);
    };
    for (const auto& [eCamera, rCamera] : rSet) {
        const std::vector<bool> seen = seenBy(rCamera, rScene, points);
        for (int nCol = 0; nCol < rPlan.m_canvas.width; ++nCol) {
            if (!seen[static_cast<std::size_t>(nCol)] || !isInCanvas(eCamera, nCol)) {
                rTruth.m_sight(nRow, nCol) = static_cast<unsigned char>(Sight::NotByAll);
            }
        }
    }
}

} // namespace

SceneTruth truthOf(const Scene& rScene, const CameraSet& rSet, const RectificationPlan& rPlan)
{
    SceneTruth truth{cv::Mat1f(rPlan.m_canvas, 0.0f), cv::Mat1b(rPlan.m_canvas, uchar(0)),
                     cv::Mat1b(rPlan.m_canvas, uchar(0))};
    cv::parallel_for_(cv::Range(0, rPlan.m_canvas.height), [&](const cv::Range& rRows) {
        for (int nRow = rRows.start; nRow < rRows.end; ++nRow) {
            truthOfRow(truth, rScene, rSet, rPlan, nRow);
        }
    });
    return truth;
}

} // namespace kestrova::app
