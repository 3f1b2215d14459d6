// kestrova run: anyone's frames, two or three, with a calibration, or rectified already.
#include "basics/AppError.h"
#include "basics/Units.h"
#include "cameras/CalibrationText.h"
#include "commands/Commands.h"
#include "outputs/ImageRecord.h"
#include "outputs/Report.h"
#include "outputs/TruthComparison.h"
#include "session/FrameFit.h"

#include <opencv2/imgproc.hpp>

#include <cstdio>

namespace kestrova::app {

struct RunOptions
{
    std::string m_right, m_out;
    std::optional<std::string> m_left, m_top;
    std::optional<std::string> m_calibration;
    bool m_bRectified = false;
    std::optional<std::string> m_resize;
    std::optional<double> m_focal; // pixels of the frame as it comes
    std::optional<std::string> m_baseline;
    std::optional<std::string> m_truth;
    std::string m_truthView = "right";
    double m_dTruthScale = 1.0;
    bool m_bCompareBlockMatcher = false;
    std::vector<double> m_adUniqueness; // further rows of the comparison
    SettingWishes m_settings;
    PlaneWishes m_planes;
};

static void checkOptions(const RunOptions& rOptions)
{
    if (!rOptions.m_left && !rOptions.m_top)
        throw AppError("give --left, --top or both beside --right", ExitStatus::Usage);
    if (!rOptions.m_left && rOptions.m_truth && (rOptions.m_truthView == "left" || rOptions.m_bCompareBlockMatcher))
        throw AppError("--truth-view left and --compare-bm take a left frame, see --left", ExitStatus::Usage);
    if (rOptions.m_calibration.has_value() == rOptions.m_bRectified)
        throw AppError("give either --calibration FILE or --rectified", ExitStatus::Usage);
    if (rOptions.m_focal.has_value() != rOptions.m_baseline.has_value())
        throw AppError("--focal and --baseline go together", ExitStatus::Usage);
    if (rOptions.m_focal && !rOptions.m_bRectified)
        throw AppError("--focal and --baseline are for --rectified; a calibration has its own", ExitStatus::Usage);
    if (rOptions.m_focal && !(*rOptions.m_focal > 0.0 && *rOptions.m_focal < 1e6))
        throw AppError("--focal: must be above 0 and below a million pixels", ExitStatus::Usage);
    if (rOptions.m_planes.m_nPlanes && rOptions.m_bRectified && !rOptions.m_focal)
        throw AppError("--planes takes a cloud, and with --rectified that takes --focal and --baseline",
                       ExitStatus::Usage);
    if (rOptions.m_truth && !(rOptions.m_dTruthScale > 0.0))
        throw AppError("--truth-scale: must be above 0", ExitStatus::Usage);
}

struct Input
{
    Frames m_frames;
    std::optional<FrameFit> m_fit; // of frames that are rectified already
};

static Frames readFrames(const RunOptions& rOptions)
{
    Frames frames{{{KestrovaCamRight, readGrey(rOptions.m_right)}}, readColour(rOptions.m_right)};
    const auto add = [&](KestrovaCamera eCamera, const std::optional<std::string>& rFile) {
        if (!rFile)
            return;
        frames.m_grey[eCamera] = readGrey(*rFile);
        if (frames.m_grey[eCamera].size() != frames.m_grey[KestrovaCamRight].size())
            throw AppError(*rFile + ": has another size than " + rOptions.m_right, ExitStatus::Content);
    };
    add(KestrovaCamLeft, rOptions.m_left);
    add(KestrovaCamTop, rOptions.m_top);
    return frames;
}

template<typename Change>
static void changeImages(Frames& rFrames, const Change& rChange)
{
    for (auto& [eCamera, rFrame] : rFrames.m_grey)
        rFrame = rChange(rFrame);
    if (!rFrames.m_colour.empty())
        rFrames.m_colour = rChange(rFrames.m_colour);
}

static Input readInput(const RunOptions& rOptions)
{
    Input input{readFrames(rOptions), {}};
    std::optional<cv::Size> wish;
    if (rOptions.m_resize)
        wish = parseSize(*rOptions.m_resize, "--resize");
    if (wish && (wish->width > 8192 || wish->height > 8192))
        throw AppError("--resize: at most 8192 columns and rows", ExitStatus::Usage);
    if (rOptions.m_bRectified) {
        const FrameFit fit = planFrameFit(input.m_frames.m_grey[KestrovaCamRight].size(), wish);
        if (fit.m_canvas.width < 64 || fit.m_canvas.width > 1280)
            throw AppError(rOptions.m_right + ": " + fit.describe() + "; 64 to 1280 columns are possible, see --resize",
                           ExitStatus::Content);
        changeImages(input.m_frames, [&](const cv::Mat& rImage) { return fitFrame(rImage, fit); });
        for (const auto& [eCamera, rFrame] : input.m_frames.m_grey)
            input.m_frames.m_regions[eCamera] = fit.region();
        input.m_fit = fit;
    } else if (wish) { // the maps hold for any resolution of the frame
        changeImages(input.m_frames, [&](const cv::Mat& rImage) {
            cv::Mat scaled;
            cv::resize(rImage, scaled, *wish, 0, 0, cv::INTER_AREA);
            return scaled;
        });
        std::printf("frames scaled to %dx%d\n", wish->width, wish->height);
    }
    return input;
}

static std::filesystem::path calibrationOf(const RunOptions& rOptions, const Input& rInput, const OutputFolder& rFolder)
{
    if (rOptions.m_calibration)
        return *rOptions.m_calibration;
    const FrameFit& rFit = *rInput.m_fit;
    const double dFocal = rOptions.m_focal ? *rOptions.m_focal * rFit.m_dScale : rFit.m_canvas.width;
    const double dBaseline = rOptions.m_baseline ? parseLength(*rOptions.m_baseline, "--baseline") : 0.0;
    const std::filesystem::path file = rFolder.file("calibration.txt");
    writeText(file, calibrationText(identityCalibration(rFit.m_canvas, dFocal, dBaseline,
                                                        configurationOf(rInput.m_frames.m_grey))));
    return file;
}

// ---- comparison with a known truth ----

static cv::Mat1f readTruth(const RunOptions& rOptions, const Input& rInput, cv::Size canvas)
{
    const cv::Mat1b stored = readGrey(*rOptions.m_truth);
    cv::Mat1f truth;
    stored.convertTo(truth, CV_32F, rOptions.m_dTruthScale);
    return fitDisparity(truth, rInput.m_fit ? *rInput.m_fit : planFrameFit(stored.size(), canvas));
}

static std::string compareTruth(const RunOptions& rOptions, const Input& rInput, StereoSession& rSession,
                                const StereoResult& rResult)
{
    const TruthView eView = rOptions.m_truthView == "left" ? TruthView::Left : TruthView::Right;
    const cv::Mat1f truth = readTruth(rOptions, rInput, rResult.m_map16.m_pixels.size());
    const auto row = [&](const std::string& rName, const cv::Mat1f& rDisparity) {
        return truthTableRow(rName, compareWithTruth(rDisparity, truth, rResult.m_range));
    };
    const auto ours = [&](const std::string& rName, const DisparityMap& rMap) {
        return row(rName, eView == TruthView::Left ? toLeftView(rMap.m_pixels) : rMap.m_pixels);
    };
    std::string text = "\nAgainst " + *rOptions.m_truth + ", values scaled with the width of the image\n";
    if (eView == TruthView::Left)
        text += "The truth is seen from the left image: our pixels at column x move to column x + d, the nearest "
                "surface wins.\n";
    text += truthTableHead() + ours("kestrova, settings as given", rResult.m_map16);
    const cv::Mat outside = rResult.m_map16.m_reject == static_cast<unsigned char>(Reject::Outside);
    for (double dThreshold : rOptions.m_adUniqueness) {
        SettingWishes wishes;
        char acThreshold[32];
        std::snprintf(acThreshold, sizeof acThreshold, "%g", dThreshold);
        wishes.m_values["uniqueness-threshold"] = acThreshold;
        applySettings(rSession.handle(), wishes);
        DisparityMap map = rSession.read16(rSession.matchTo16());
        map.m_pixels.setTo(std::numeric_limits<float>::infinity(), outside);
        text += ours(std::string("kestrova, uniqueness ") + acThreshold, map);
    }
    if (rOptions.m_bCompareBlockMatcher) {
        int nWindow = 0;
        kestrovaGetStereoMask(rSession.handle(), &nWindow);
        text += row("OpenCV block matcher, defaults",
                    blockMatch(rResult.m_rectified.at(KestrovaCamRight), rResult.m_rectified.at(KestrovaCamLeft),
                               {rResult.m_range, nWindow}, eView));
    }
    return text;
}

// ---- the command ----

static void run(const RunOptions& rOptions)
{
    checkOptions(rOptions);
    const Input input = readInput(rOptions);
    OutputFolder folder(rOptions.m_out);
    StereoSession session(calibrationOf(rOptions, input, folder));
    const StereoResult result = runStereo(session, input.m_frames, rOptions.m_settings);
    writeRecordedImages(folder, session, camerasOf(session.configuration()));
    std::string report = input.m_fit ? input.m_fit->describe() + "\n" : std::string();
    report += summary(result) + reportPlanes(result, rOptions.m_planes).m_text;
    if (rOptions.m_truth)
        report += compareTruth(rOptions, input, session, result);
    writeResult(folder, result, rOptions.m_right);
    writeText(folder.file("report.txt"), report);
    folder.commit();
    std::printf("%s\nwritten to %s\n", report.c_str(), rOptions.m_out.c_str());
}

static const char* const sk_pszSettings = "Settings of the library (the calibration has the rest)";

void addSettings(CLI::App& rCommand, SettingWishes& rWishes)
{
    for (const Setting& rSetting : allSettings()) {
        std::string type;
        for (const std::string& rWord : wordsOf(rSetting.m_eKind))
            type += (type.empty() ? "" : "|") + rWord;
        const auto note = [&rWishes, pszName = rSetting.m_pszName](const std::string& rValue) {
            rWishes.m_values[pszName] = rValue;
        };
        rCommand.add_option_function<std::string>(std::string("--") + rSetting.m_pszName, note, rSetting.m_pszHelp)
            ->type_name(type.empty() ? "N" : type)
            ->group(sk_pszSettings);
    }
}

void addPlaneOptions(CLI::App& rCommand, PlaneWishes& rWishes)
{
    rCommand
        .add_option("--planes", rWishes.m_nPlanes,
                    "fit the largest planes of the cloud one after the other, and print them")
        ->check(CLI::Range(0, 100))
        ->type_name("N")
        ->capture_default_str();
    rCommand
        .add_option(
            "--plane-tolerance", rWishes.m_dTolerance,
            "how far a point of a plane may be off, in pixels of disparity, because noise is the same in them at any "
            "distance. A pixel is z * z / (f * B) metres of depth")
        ->check(CLI::Range(1e-3, 16.0))
        ->type_name("PIXELS")
        ->capture_default_str();
}

static void addFrameSettings(CLI::App& rCommand, SettingWishes& rWishes)
{
    rCommand
        .add_option("--disparity", rWishes.m_anDisparity,
                    "range to search in pixels: 0 <= MIN < MAX <= 1024, at most 240 apart (default: as the "
                    "calibration says; with --rectified 0 to a fifth of the width)")
        ->type_size(2)
        ->expected(1)
        ->type_name("MIN MAX")
        ->group(sk_pszSettings);
    rCommand
        .add_option("--mapping-range", rWishes.m_anMapping,
                    "bytes of --disparity-mapping: 0 <= MIN < MAX <= 255 (default 0 32)")
        ->type_size(2)
        ->expected(1)
        ->type_name("MIN MAX")
        ->group(sk_pszSettings);
    rCommand
        .add_option(
            "--region", rWishes.m_regions,
            "match only here; may be given up to 100 times; tall ones take --threads 1 or 2, since bands that a "
            "region covers from above to below leave it out")
        ->type_name("ROW COL ROWS COLS")
        ->group(sk_pszSettings);
    rCommand.add_option("--resolution", rWishes.m_resolution, "size of the rectified images, 4 by 3, such as 320x240")
        ->type_name("WxH")
        ->group(sk_pszSettings);
    rCommand
        .add_option(
            "--threads", rWishes.m_threads,
            "worker threads: 1 to 255; with --top lowered until the disparity range has room in every band of rows")
        ->type_name("N")
        ->group(sk_pszSettings);
}

void addRunCommand(CLI::App& rProgram)
{
    auto pOptions = std::make_shared<RunOptions>();
    RunOptions& r = *pOptions;
    CLI::App* pCommand =
        rProgram.add_subcommand("run", "Disparity and points from image files of two or three cameras");
    pCommand->add_option("--right", r.m_right, "frame of the right camera, the reference (grey or colour)")->required();
    pCommand->add_option("--left", r.m_left, "frame of the left camera; this, --top or both");
    pCommand->add_option("--top", r.m_top,
                         "frame of the top camera. With it the program switches the SSE2 forms off, "
                         "kestrovaEnableSSE2IfAvailable(false): the SSE2 form of the correlator for vertical pairs and "
                         "L sets labels half of the improving pixels 0 by design");
    pCommand
        ->add_option("--out", r.m_out,
                     "folder for images, cloud and report; the PGM files carry the settings of the run, see info")
        ->required();
    pCommand->add_option("--calibration", r.m_calibration, "calibration file of the cameras");
    pCommand->add_flag("--rectified", r.m_bRectified,
                       "the frames are rectified already; they are set into a 4 by 3 canvas");
    pCommand->add_option("--resize", r.m_resize, "scale the frames first; with --rectified they keep their shape")
        ->type_name("WxH");
    pCommand->add_option("--focal", r.m_focal, "with --rectified: focal length in pixels of the frames as they come");
    pCommand->add_option("--baseline", r.m_baseline, "with --rectified: distance of the cameras, such as 120mm");
    pCommand->add_option("--truth", r.m_truth, "picture of the true disparity, 0 where unknown");
    pCommand->add_option("--truth-view", r.m_truthView, "the image that the truth belongs to")
        ->check(CLI::IsMember({"left", "right"}))
        ->capture_default_str();
    pCommand
        ->add_option("--truth-scale", r.m_dTruthScale,
                     "pixels of disparity, at the truth's own size, for one grey level")
        ->capture_default_str();
    pCommand->add_flag("--compare-bm", r.m_bCompareBlockMatcher, "with --truth: beside OpenCV's block matcher");
    pCommand->add_option("--compare-uniqueness", r.m_adUniqueness,
                         "with --truth: further rows with these uniqueness thresholds");
    addPlaneOptions(*pCommand, r.m_planes);
    addSettings(*pCommand, r.m_settings);
    addFrameSettings(*pCommand, r.m_settings);
    pCommand->callback([pOptions] { run(*pOptions); });
}

} // namespace kestrova::app
