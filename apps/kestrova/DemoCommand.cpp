// kestrova demo: a room with known distances, seen by two made-up cameras, all the way to a cloud and a table of
// errors.
//
// After the calibration text is written, only files and the public interface are used.
#include "AppError.h"
#include "CalibrationText.h"
#include "Commands.h"
#include "FrameFit.h"
#include "Report.h"

#include <cstdio>

namespace kestrova::app {

struct DemoOptions
{
    std::string m_out = "demo-out";
    std::string m_size = "640x480";
    std::uint32_t m_uSeed = 1;
};

static constexpr double sk_dAlpha = 0.3;     // shows a little of what lies outside the raw frames
static constexpr double sk_dLeftGain = 0.8;  // the left camera is darker
static constexpr double sk_dNoise = 1.2;     // grey levels
static constexpr double sk_dWorstFit = 0.05; // pixels

static cv::Size demoSize(const std::string& rText)
{
    const cv::Size size = parseSize(rText, "--size");
    if (size.height * 4 != size.width * 3 || size.width < 320 || size.width > 1280)
        throw AppError("--size: needs a 4 by 3 size from 320x240 to 1280x960");
    return size;
}

static CalibrationDescription calibrate(const CameraPair& rPair, const RectificationPlan& rPlan)
{
    const CameraMaps right = fitCameraMaps(rPair.m_right, rPlan.m_rightRotation, rPlan);
    const CameraMaps left = fitCameraMaps(rPair.m_left, rPlan.m_leftRotation, rPlan);
    const double dWorst = std::max(right.largestError(), left.largestError());
    std::printf("largest error of the spline maps: %.5f pixels (below %.2f is wanted)\n", dWorst, sk_dWorstFit);
    if (!(dWorst < sk_dWorstFit))
        throw AppError("the spline maps do not follow the lenses");

    CalibrationDescription description;
    description.m_canvas = rPlan.m_canvas;
    description.m_dFocal = rPlan.m_dFocal;
    description.m_centre = rPlan.m_centre;
    description.m_dBaseline = rPlan.m_dBaseline;
    description.m_nMaxDisparity = rPlan.m_canvas.width / 10; // about 1 m and farther
    description.m_note = "A made-up pair: the cameras of kestrova demo.";
    description.m_right = {right.m_rawFromRectified, right.m_rectifiedFromRaw, 1.0};
    description.m_left = {left.m_rawFromRectified, left.m_rectifiedFromRaw, 1.0 / sk_dLeftGain};
    return description;
}

// Both ways to hand over a frame must end in the same images.
static bool packedEqualsPlanes(StereoSession& rSession, const cv::Mat1b& rRight, const cv::Mat1b& rLeft)
{
    std::array<cv::Mat1b, 2> aImages[2];
    for (FrameForm eForm : {FrameForm::Planes, FrameForm::Packed}) {
        rSession.preprocess(rRight, rLeft, eForm);
        aImages[static_cast<int>(eForm)] = {rSession.image(KestrovaImgRectified, KestrovaCamRight),
                                            rSession.image(KestrovaImgRectified, KestrovaCamLeft)};
    }
    return cv::norm(aImages[0][0], aImages[1][0], cv::NORM_INF) == 0.0 &&
           cv::norm(aImages[0][1], aImages[1][1], cv::NORM_INF) == 0.0;
}

static void runDemo(const DemoOptions& rOptions)
{
    const cv::Size size = demoSize(rOptions.m_size);
    OutputFolder folder(rOptions.m_out);
    const CameraPair pair = exampleCameraPair(size);
    const RectificationPlan plan = planRectification(pair, size, sk_dAlpha);
    const Scene scene = demoRoom(rOptions.m_uSeed, plan.m_dFocal);
    const cv::Mat1b right = renderRaw(scene, pair.m_right, {}, {1.0, sk_dNoise, 2 * rOptions.m_uSeed});
    const cv::Mat1b left =
        renderRaw(scene, pair.m_left, {pair.m_T, pair.m_R}, {sk_dLeftGain, sk_dNoise, 2 * rOptions.m_uSeed + 1});
    std::printf("rendered two frames of %dx%d, seed %u\n", size.width, size.height, rOptions.m_uSeed);

    const std::filesystem::path calibration = folder.file("calibration.txt");
    writeText(calibration, calibrationText(calibrate(pair, plan)));
    StereoSession session(calibration);
    const StereoResult result = runStereo(session, right, left, {});
    if (!packedEqualsPlanes(session, right, left))
        throw AppError("a packed frame and three planes give different rectified images");
    std::puts("a packed frame and three planes give the same rectified images");
    const std::string report = summary(result) + accuracyTable(result, truthOf(scene, pair, plan));
    writeResult(folder, result, "kestrova demo");
    writeText(folder.file("report.txt"), report);
    folder.commit();
    std::printf("%s\nwritten to %s\n", report.c_str(), rOptions.m_out.c_str());
}

void addDemoCommand(CLI::App& rProgram)
{
    auto pOptions = std::make_shared<DemoOptions>();
    CLI::App* pCommand = rProgram.add_subcommand("demo", "Shows the whole road on a made-up room with known distances");
    pCommand->add_option("--out", pOptions->m_out, "folder for images, calibration, cloud and report")
        ->capture_default_str();
    pCommand->add_option("--size", pOptions->m_size, "size of the frames: 4 by 3, 320x240 to 1280x960")
        ->capture_default_str();
    pCommand->add_option("--seed", pOptions->m_uSeed, "seed of textures and noise")->capture_default_str();
    pCommand->callback([pOptions] { runDemo(*pOptions); });
}

} // namespace kestrova::app
