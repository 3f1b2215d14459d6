#include "commands/RunOptions.h"

#include "basics/AppError.h"
#include "basics/FileGlob.h"
#include "commands/Commands.h"

#include <algorithm>

namespace kestrova::app {

bool RunOptions::isBatch() const
{
    const auto many = [](const std::optional<std::string>& rText) { return rText && isPattern(*rText); };
    return m_list || many(m_right) || many(m_left) || many(m_top);
}

namespace {

void require(bool bFine, const std::string& rMessage)
{
    if (!bFine) {
        throw AppError(rMessage, ExitStatus::Usage);
    }
}

void checkFrames(const RunOptions& r)
{
    require(r.m_unexpected.empty(), (r.m_unexpected.empty() ? "" : r.m_unexpected.front()) +
                                        ": belongs to no option; a pattern for many frames goes in quotes, such as "
                                        "--right 'right/*.png'");
    require(!r.m_list || !(r.m_right || r.m_left || r.m_top),
            "--list names the frames of all cameras; leave --right, --left and --top away");
    require(r.m_list || r.m_right, "give --right, with --left, --top or both, or --list");
    require(r.m_list || r.m_left || r.m_top, "give --left, --top or both beside --right");
}

void checkCameras(const RunOptions& r)
{
    require(r.m_calibration.has_value() != r.m_bRectified, "give either --calibration FILE or --rectified");
    require(r.m_focal.has_value() == r.m_baseline.has_value(), "--focal and --baseline go together");
    require(!r.m_focal || r.m_bRectified, "--focal and --baseline are for --rectified; a calibration has its own");
    require(!r.m_focal || (*r.m_focal > 0.0 && *r.m_focal < 1e6),
            "--focal: must be above 0 and below a million pixels");
}

void checkComparison(const RunOptions& r)
{
    require(r.m_left || r.m_list || !r.m_truth || (r.m_truthView == "right" && !r.m_bCompareBlockMatcher),
            "--truth-view left and --compare-bm take a left frame, see --left");
    require(!r.m_planes.m_nPlanes || r.hasMetres(),
            "--planes takes a cloud, and with --rectified that takes --focal and --baseline");
    require(!r.m_truth || r.m_dTruthScale > 0.0, "--truth-scale: must be above 0");
    require(!r.m_truth || !r.isBatch(),
            "--truth is for a single frame; the command eval compares any disparity file with a truth");
    require(!r.m_truth || !r.m_json || *r.m_json != "-", "--truth prints a table; give --json a file");
}

} // namespace

void checkOptions(const RunOptions& r)
{
    checkFrames(r);
    checkCameras(r);
    checkComparison(r);
    require(!r.findsRange() ||
                (r.m_settings.m_anDisparity.empty() && !r.m_settings.m_depth.m_dNear && !r.m_settings.m_depth.m_dFar),
            "--range auto finds the range itself; leave --disparity, --near and --far away");
    require(r.m_view == "right" || r.m_left || r.m_list, "--view left takes a left frame, see --left");
    require(!r.m_to.empty(), "--to: needs the name of a folder");
}

RunFrames framesOf(const RunOptions& r)
{
    RunFrames frames;
    FrameList& list = frames.m_list;
    if (r.m_list) {
        list = readFrameList(*r.m_list);
    } else {
        PerCamera<std::string> patterns{{KestrovaCamRight, *r.m_right}};
        if (r.m_left) {
            patterns[KestrovaCamLeft] = *r.m_left;
        }
        if (r.m_top) {
            patterns[KestrovaCamTop] = *r.m_top;
        }
        list = pairByOrder(patterns);
    }
    require(r.m_view == "right" || list.m_frames.front().m_files.contains(KestrovaCamLeft),
            "--view left takes a left frame, and the list names none");
    const std::size_t uAhead = std::min(list.m_frames.size(), sk_uRangeFrames);
    frames.m_ahead.assign(list.m_frames.begin(), list.m_frames.begin() + static_cast<std::ptrdiff_t>(uAhead));
    if (r.m_shard) {
        list.m_frames = shardOf(list.m_frames, *r.m_shard);
    }
    return frames;
}

// ---- the options ----

namespace {

void addFrameOptions(CLI::App& rCommand, RunOptions& r)
{
    static const char* const s_pszGroup = "Frames";
    const auto frame = [&](const char* pszOption, std::optional<std::string>& rTo, const char* pszHelp) {
        rCommand.add_option(pszOption, rTo, pszHelp)->type_name("FILE|'PATTERN'")->group(s_pszGroup);
    };
    frame("--right", r.m_right,
          "frame of the right camera, the reference (grey or colour), or a pattern in quotes such as 'right/*.png' for "
          "many: files are taken in natural order, and the first right one goes with the first left one");
    frame("--left", r.m_left, "frames of the left camera; this, --top or both");
    frame("--top", r.m_top,
          "frames of the top camera. With it the program switches the SSE2 forms off, "
          "kestrovaEnableSSE2IfAvailable(false): the SSE2 form of the correlator for vertical pairs and "
          "L sets labels half of the improving pixels 0 by design");
    rCommand
        .add_option("--list", r.m_list,
                    "in place of these: a text with a line a frame, RIGHT LEFT [TOP], relative to the list's folder; - "
                    "for a left frame that is not there")
        ->type_name("FILE")
        ->group(s_pszGroup);
    rCommand
        .add_option("--shard", r.m_shard,
                    "of many frames only every N-th, from the I-th on; I counts from 1. For array jobs, where each "
                    "frame has a folder of its own and no two jobs the same one")
        ->type_name("I/N")
        ->group(s_pszGroup);
    rCommand
        .add_flag("--keep-going", r.m_bKeepGoing,
                  "leave frames out that cannot be read; they are counted, and the status at the end is not 0")
        ->group(s_pszGroup);
    rCommand
        .add_option("--bits", r.m_bits,
                    "of 16-bit images: how many bits the camera fills, 9 to 16; the upper 8 of them are used (default "
                    "16)")
        ->check(CLI::Range(9, 16))
        ->type_name("N")
        ->group(s_pszGroup);
    rCommand.add_option("unexpected", r.m_unexpected)->group(""); // what a shell makes of a pattern without quotes
}

void addCameraOptions(CLI::App& rCommand, RunOptions& r)
{
    static const char* const s_pszGroup = "Cameras";
    rCommand.add_option("--calibration", r.m_calibration, "calibration file of the cameras")->group(s_pszGroup);
    rCommand
        .add_flag("--rectified", r.m_bRectified, "the frames are rectified already; they are set into a 4 by 3 canvas")
        ->group(s_pszGroup);
    rCommand.add_option("--resize", r.m_resize, "scale the frames first; with --rectified they keep their shape")
        ->type_name("WxH")
        ->group(s_pszGroup);
    rCommand.add_option("--focal", r.m_focal, "with --rectified: focal length in pixels of the frames as they come")
        ->group(s_pszGroup);
    rCommand.add_option("--baseline", r.m_baseline, "with --rectified: distance of the cameras, such as 120mm")
        ->group(s_pszGroup);
}

void addResultOptions(CLI::App& rCommand, RunOptions& r)
{
    static const char* const s_pszGroup = "Results";
    rCommand
        .add_option("--to", r.m_to,
                    "folder for the results; of many frames each has a folder in it, named for its right image")
        ->required()
        ->type_name("FOLDER")
        ->group(s_pszGroup);
    std::string help = std::string("what to write, names with commas between, or all (default ") + sk_pszUsualOutputs;
    help += "):";
    for (const OutputKind& rKind : allOutputs()) {
        help += std::string("\n") + rKind.m_pszName + " - " + rKind.m_pszHelp;
    }
    rCommand.add_option("--out", r.m_out, help)->type_name("LIST")->group(s_pszGroup);
    rCommand
        .add_option(
            "--view", r.m_view,
            "the camera that disparity, depth and points are seen from. From the left, the nearest surface wins "
            "a place, and what the right camera does not see is hidden")
        ->check(CLI::IsMember({"right", "left"}))
        ->capture_default_str()
        ->group(s_pszGroup);
    rCommand
        .add_option("--png-scale", r.m_nPngScale,
                    "steps of kitti16 for a pixel of disparity; 256 holds disparities up to 255.99")
        ->check(CLI::Range(1, 4096))
        ->type_name("N")
        ->capture_default_str()
        ->group(s_pszGroup);
    rCommand
        .add_option(
            "--json", r.m_json,
            "a line of JSON a frame to this file, or to standard output for - : density, shares of the reasons, "
            "milliseconds")
        ->type_name("FILE")
        ->group(s_pszGroup);
    addPlaneOptions(rCommand, r.m_planes);
}

void addTruthOptions(CLI::App& rCommand, RunOptions& r)
{
    static const char* const s_pszGroup = "Comparison of a single frame";
    rCommand.add_option("--truth", r.m_truth, "picture of the true disparity, 0 where unknown")->group(s_pszGroup);
    rCommand.add_option("--truth-view", r.m_truthView, "the image that the truth belongs to")
        ->check(CLI::IsMember({"left", "right"}))
        ->capture_default_str()
        ->group(s_pszGroup);
    rCommand
        .add_option("--truth-scale", r.m_dTruthScale,
                    "pixels of disparity, at the truth's own size, for one grey level")
        ->capture_default_str()
        ->group(s_pszGroup);
    rCommand.add_flag("--compare-bm", r.m_bCompareBlockMatcher, "with --truth: beside OpenCV's block matcher")
        ->group(s_pszGroup);
    rCommand
        .add_option("--compare-uniqueness", r.m_adUniqueness,
                    "with --truth: further rows with these uniqueness thresholds")
        ->group(s_pszGroup);
}

} // namespace

void addRunOptions(CLI::App& rCommand, RunOptions& rOptions)
{
    addFrameOptions(rCommand, rOptions);
    addCameraOptions(rCommand, rOptions);
    addResultOptions(rCommand, rOptions);
    addTruthOptions(rCommand, rOptions);
    addSettings(rCommand, rOptions.m_settings);
    addFrameSettings(rCommand, rOptions.m_settings);
    rCommand
        .add_option("--range", rOptions.m_range,
                    "auto: look on the first frames, up to 5, for the range of disparities that the subject takes, in "
                    "place of --disparity; calibration: take that of the calibration (default)")
        ->check(CLI::IsMember({"auto", "calibration"}))
        ->type_name("auto|calibration");
}

} // namespace kestrova::app
