// kestrova demo: a room with known distances, seen by two or three made-up cameras, all the way to a cloud and a table
// of errors.
//
// After the calibration text is written, only files and the public interface are used.
#include "basics/AppError.h"
#include "basics/Units.h"
#include "cameras/RigBuilder.h"
#include "commands/Commands.h"
#include "commands/RunOutputs.h"
#include "demo/Furrows.h"
#include "demo/TruthReport.h"
#include "outputs/Report.h"

#include <cstdio>

namespace kestrova::app {

namespace {

struct DemoOptions
{
    std::string m_to = "demo-out";
    std::string m_size = "640x480";
    std::uint32_t m_uSeed = 1;
    std::string m_cameras = "pair";
    SettingWishes m_settings;
    PlaneWishes m_planes{.m_nPlanes = 2}; // floor and back wall
};

constexpr double sk_dAlpha = 0.3;     // shows a little of what lies outside the raw frames
constexpr double sk_dNoise = 1.2;     // grey levels
constexpr double sk_dWorstFit = 0.05; // pixels

// All but the library's own records: its images may be those of a later run by now.
constexpr const char* sk_pszOutputs =
    "disparity.pfm,npy,kitti16,native16,depth-mm,cloud.ply,colour,reason,images,disparity8,report,text";

cv::Size demoSize(const std::string& rText)
{
    const cv::Size size = parseSize(rText, "--size");
    if (size.height * 4 != size.width * 3 || size.width < 320 || size.width > 1280) {
        throw AppError("--size: needs a 4 by 3 size from 320x240 to 1280x960", ExitStatus::Usage);
    }
    return size;
}

const std::map<std::string, KestrovaCameraConfiguration> sk_cameraSets{
    {"pair", KestrovaCfg2CameraHorizontal}, {"vertical", KestrovaCfg2CameraVertical}, {"l", KestrovaCfg3CameraL}};

double brightness(KestrovaCamera eCamera) // the left and the top camera are darker
{
    return eCamera == KestrovaCamLeft ? 0.8 : eCamera == KestrovaCamTop ? 0.9 : 1.0;
}

Rig calibrate(const CameraSet& rSet, cv::Size size)
{
    RigWishes wishes;
    wishes.m_canvas = size;
    wishes.m_dAlpha = sk_dAlpha;
    wishes.m_note = "Made-up cameras: those of kestrova demo.";
    for (const auto& [eCamera, rCamera] : rSet) {
        wishes.m_gains[eCamera] = 1.0 / brightness(eCamera);
    }
    Rig rig = buildRig(rSet, wishes);
    std::printf("largest error of the spline maps: %.5f pixels (below %.2f is wanted)\n", rig.worstFit(), sk_dWorstFit);
    if (!(rig.worstFit() < sk_dWorstFit)) {
        throw AppError("the spline maps do not follow the lenses", ExitStatus::Unfit);
    }
    return rig;
}

Frames renderFrames(const Scene& rScene, const CameraSet& rSet, std::uint32_t uSeed)
{
    Frames frames;
    for (const auto& [eCamera, rCamera] : rSet) {
        const std::uint32_t uNoise = 2 * uSeed + (eCamera == KestrovaCamLeft  ? 1u
                                                  : eCamera == KestrovaCamTop ? 1u << 30
                                                                              : 0u);
        const RawFrame raw = renderRaw(rScene, rCamera.m_model, {rCamera.m_translation, rCamera.m_rotation},
                                       {brightness(eCamera), sk_dNoise, uNoise});
        frames.m_grey[eCamera] = raw.m_grey;
        if (eCamera == KestrovaCamRight) {
            frames.m_colour = raw.m_colour;
        }
    }
    return frames;
}

// Both ways to hand over a frame must end in the same images.
void checkPackedAgainstPlanes(StereoSession& rSession, const Frames& rFrames)
{
    PerCamera<cv::Mat1b> planes;
    for (FrameForm eForm : {FrameForm::Planes, FrameForm::Packed}) {
        rSession.preprocess(rFrames.m_grey, eForm);
        for (const auto& [eCamera, rFrame] : rFrames.m_grey) {
            const cv::Mat1b rectified = rSession.image(KestrovaImgRectified, eCamera);
            if (eForm == FrameForm::Planes) {
                planes[eCamera] = rectified;
            } else if (cv::norm(planes[eCamera], rectified, cv::NORM_INF) != 0.0) {
                throw AppError("a packed frame and three planes give different rectified images");
            }
        }
    }
    std::puts("a packed frame and three planes give the same rectified images");
}

SettingWishes with(SettingWishes wishes, const std::map<std::string, std::string>& rChanges)
{
    for (const auto& [rName, rValue] : rChanges) {
        wishes.m_values[rName] = rValue;
    }
    return wishes;
}

template<typename Thing>
PerCamera<Thing> withoutTop(PerCamera<Thing> things)
{
    things.erase(KestrovaCamTop);
    return things;
}

// With the given settings, and once more with every match let through: thresholds judge the sum over all cameras, so
// they are not equally strict for two and for three.
std::vector<PairAndL> runPairAndL(StereoSession& rSession, const Frames& rFrames, const SettingWishes& rWishes)
{
    Frames ofPair = rFrames;
    ofPair.m_grey = withoutTop(rFrames.m_grey);
    const SettingWishes lax = with(rWishes, {{"texture-validation", "off"},
                                             {"uniqueness-validation", "off"},
                                             {"surface-validation", "off"},
                                             {"back-forth-validation", "off"}});
    const auto both = [&](const char* pszName, const SettingWishes& rHow) {
        return PairAndL{pszName, runStereo(rSession, ofPair, rHow), runStereo(rSession, rFrames, rHow)};
    };
    return {both("settings as given", rWishes), both("no match rejected: validations off", lax)};
}

void runDemo(const DemoOptions& rOptions)
{
    const cv::Size size = demoSize(rOptions.m_size);
    OutputFolder folder(rOptions.m_to);
    const CameraSet set = exampleCameraSet(size, sk_cameraSets.at(rOptions.m_cameras));
    const Rig rig = calibrate(set, size);
    const RectificationPlan& plan = rig.m_plan;
    const Scene scene = demoRoom(rOptions.m_uSeed, plan.m_dFocal);
    const Frames frames = renderFrames(scene, set, rOptions.m_uSeed);
    std::printf("rendered %zu frames of %dx%d, seed %u\n", set.size(), size.width, size.height, rOptions.m_uSeed);

    const std::filesystem::path calibration = folder.file("calibration.txt");
    writeText(calibration, rig.text());
    StereoSession session(calibration);
    const StereoResult result = runStereo(session, frames, rOptions.m_settings);
    checkPackedAgainstPlanes(session, frames);
    const SceneTruth truth = truthOf(scene, set, plan);
    std::string report = summary(result) + accuracyTable(result, truth);
    if (const PlaneReport planes = reportPlanes(result, rOptions.m_planes); rOptions.m_planes.m_nPlanes) {
        report += planes.m_text + planeErrors(planes.m_planes, scene, plan);
    }
    if (const auto quality = rOptions.m_settings.m_values.find("quality");
        quality != rOptions.m_settings.m_values.end() && quality->second == "enhanced") {
        const StereoResult standard = runStereo(session, frames, with(rOptions.m_settings, {{"quality", "standard"}}));
        const FurrowComparison curves = compareFurrows(standard.m_map16, result.m_map16, truth);
        report += furrowTable(curves);
        writeImage(folder.file("furrows.png"), furrowPicture(curves));
    }
    if (configurationOf(set) == KestrovaCfg3CameraL) {
        const CameraSet pair = withoutTop(set);
        report += compareWithPair(runPairAndL(session, frames, rOptions.m_settings), truth, truthOf(scene, pair, plan));
    }
    const OutputJob job{folder, session, result, "kestrova demo", 256, [&] { return report; }};
    chooseOutputs(sk_pszOutputs, true, false).write(job);
    writeImage(folder.file("raw_right_colour.png"), frames.m_colour);
    folder.commit();
    std::printf("%s\nwritten to %s\n", report.c_str(), rOptions.m_to.c_str());
}

} // namespace

void addDemoCommand(CLI::App& rProgram)
{
    auto pOptions = std::make_shared<DemoOptions>();
    CLI::App* pCommand = rProgram.add_subcommand("demo", "Shows the whole road on a made-up room with known distances");
    pCommand->add_option("--to", pOptions->m_to, "folder for images, calibration, cloud and report")
        ->capture_default_str();
    pCommand->add_option("--size", pOptions->m_size, "size of the frames: 4 by 3, 320x240 to 1280x960")
        ->capture_default_str();
    pCommand->add_option("--seed", pOptions->m_uSeed, "seed of textures and noise")->capture_default_str();
    pCommand
        ->add_option(
            "--cameras", pOptions->m_cameras,
            "right and left, right and top, or all three in an L, which also runs the pair for comparison. For "
            "vertical and l the program switches the SSE2 forms off, kestrovaEnableSSE2IfAvailable(false): "
            "the SSE2 form of their correlator labels half of the improving pixels 0 by design")
        ->check(CLI::IsMember({"pair", "vertical", "l"}))
        ->capture_default_str();
    addPlaneOptions(*pCommand, pOptions->m_planes);
    addSettings(*pCommand, pOptions->m_settings);
    pCommand->callback([pOptions] { runDemo(*pOptions); });
}

} // namespace kestrova::app
