// kestrova calibrate: from photos of a checkerboard to a calibration text that the library has proved.
#include "basics/AppError.h"
#include "basics/Line.h"
#include "basics/OutputFile.h"
#include "basics/Units.h"
#include "boards/OpenCvComparison.h"
#include "boards/SetRefinement.h"
#include "cameras/RigProof.h"
#include "commands/Commands.h"
#include "outputs/Results.h"
#include "pages/CalibrationPage.h"

#include <unistd.h>

#include <cstdio>

namespace kestrova::app {

namespace {

struct CalibrateOptions
{
    std::vector<std::string> m_right, m_left, m_top;
    bool m_bAnyNames = false;
    std::string m_inner, m_square, m_out;
    std::optional<std::string> m_report;
    std::string m_model = "auto";
    double m_dAlpha = 0.0;
    std::optional<std::string> m_canvas, m_near, m_far;
    std::vector<int> m_anDisparity;
    std::string m_gain = "matched";
    bool m_bForce = false;
    bool m_bCompareOpenCv = false;
};

const std::map<std::string, LensChoice> sk_models{{"auto", LensChoice::Auto},
                                                  {"plain", LensChoice::Plain},
                                                  {"plumb", LensChoice::Plumb},
                                                  {"rational", LensChoice::Rational},
                                                  {"equidistant", LensChoice::Equidistant}};

void checkOptions(const CalibrateOptions& rOptions)
{
    if (rOptions.m_left.empty() && rOptions.m_top.empty()) {
        throw AppError("give --left, --top or both beside --right", ExitStatus::Usage);
    }
    if (!rOptions.m_anDisparity.empty() && (rOptions.m_near || rOptions.m_far)) {
        throw AppError("give either --disparity or --near and --far", ExitStatus::Usage);
    }
}

RigWishes wishesOf(const CalibrateOptions& rOptions)
{
    RigWishes wishes;
    wishes.m_dAlpha = rOptions.m_dAlpha;
    if (rOptions.m_canvas) {
        wishes.m_canvas = parseSize(*rOptions.m_canvas, "--canvas");
    }
    if (!rOptions.m_anDisparity.empty()) {
        const cv::Vec2i range(rOptions.m_anDisparity[0], rOptions.m_anDisparity[1]);
        if (range[0] < 0 || range[1] <= range[0] || range[1] > 1024 || range[1] - range[0] > 240) {
            throw AppError("--disparity: 0 <= MIN < MAX <= 1024, at most 240 apart", ExitStatus::Usage);
        }
        wishes.m_disparity = range;
    }
    if (rOptions.m_near) {
        wishes.m_depth.m_dNear = parseLength(*rOptions.m_near, "--near");
    }
    if (rOptions.m_far) {
        wishes.m_depth.m_dFar = parseLength(*rOptions.m_far, "--far");
    }
    return wishes;
}

PhotoNames namesOf(const CalibrateOptions& rOptions)
{
    PhotoNames names{{KestrovaCamRight, rOptions.m_right}};
    if (!rOptions.m_left.empty()) {
        names[KestrovaCamLeft] = rOptions.m_left;
    }
    if (!rOptions.m_top.empty()) {
        names[KestrovaCamTop] = rOptions.m_top;
    }
    return names;
}

void showProgress(int nDone, int nAll)
{
    if (::isatty(STDERR_FILENO)) {
        std::fprintf(stderr, nDone < nAll ? "\rlooking for boards: %d of %d" : "\r\033[K", nDone, nAll);
    }
}

// The photos are judged aloud even when nothing comes of them.
SetCalibration calibrateAloud(Shots& rShots, LensChoice eChoice)
{
    const auto tell = [&] { std::printf("photos:\n%s", verdicts(rShots).c_str()); };
    try {
        const SetCalibration calibration = calibrateSet(rShots, eChoice);
        tell();
        return calibration;
    } catch (const AppError&) {
        tell();
        throw;
    } catch (const cv::Exception&) {
        tell();
        throw AppError("the photos do not fix the lenses: tilt the board and move it to the edges, or try another "
                       "--model",
                       ExitStatus::Unfit);
    }
}

// All corners of the boards, from the right camera.
std::vector<cv::Vec3d> placesOf(const Shots& rShots, const CameraModel& rRight)
{
    std::vector<cv::Vec3d> places;
    for (const Shot& rShot : rShots.m_shots) {
        if (!isUsed(rShot)) {
            continue;
        }
        const BoardPose pose = boardPose(rRight, rShots.m_board, rShot.at(KestrovaCamRight).m_corners);
        for (const cv::Point3f& rPoint : rShots.m_board.points()) {
            places.push_back(turnMatrix(pose.m_turn) * cv::Vec3d(rPoint.x, rPoint.y, rPoint.z) + pose.m_place);
        }
    }
    return places;
}

std::string rangeRemark(const Rig& rRig, const std::vector<cv::Vec3d>& rPlaces)
{
    const CalibrationDescription& rDescription = rRig.m_description;
    const double dScale = rRig.m_plan.m_dFocal * rRig.m_plan.m_dBaseline;
    const std::vector<double> boards = disparitiesOf(rPlaces, rRig.m_plan);
    const auto [least, most] = std::minmax_element(boards.begin(), boards.end());
    return line("disparity %s to be searched; the boards stood at %.0f to %.0f pixels (%.3g m to %.3g m)",
                rangeText({rDescription.m_nMinDisparity, rDescription.m_nMaxDisparity}, dScale).c_str(), *least, *most,
                dScale / *most, dScale / *least);
}

std::string lensRemark(const SetCalibration& rCalibration)
{
    return rCalibration.m_whyThisLens.empty() ? std::string("lens model: ") + lensName(rCalibration.m_eChoice)
                                              : rCalibration.m_whyThisLens;
}

std::string gainRemark(const PerCamera<double>& rGains)
{
    std::string text = "gains from the brightness of the boards:";
    for (const auto& [eCamera, dGain] : rGains) {
        text += line(" %s %.3f", cameraName(eCamera), dGain);
    }
    return text + " (1 where the photos do not agree)";
}

// The first section of an L that one disparity cannot serve is its pair; the top camera is in another.
Shot shotOf(const Rig& rRig, Shot shot)
{
    std::erase_if(shot, [&](const auto& rEntry) { return !rRig.m_set.contains(rEntry.first); });
    return shot;
}

Shots shotsOf(const Rig& rRig, Shots shots)
{
    for (Shot& rShot : shots.m_shots) {
        rShot = shotOf(rRig, std::move(rShot));
    }
    return shots;
}

std::string compare(StereoSession& rSession, const Shots& rShots, const Rig& rRig, double dAlpha)
{
    std::string text;
    for (const auto& [eCamera, rCamera] : rRig.m_set) {
        if (eCamera == KestrovaCamRight) {
            continue;
        }
        const RectifierComparison both = compareRectifiers(rSession, rShots, rRig, dAlpha, eCamera);
        text +=
            line("boards found again in the rectified pictures of %d shots, right and %s, %d corners:\n"
                 "  rectified by the library          error %.3f px RMS, 95 of 100 below %.3f px\n"
                 "  OpenCV stereoRectify and remap    error %.3f px RMS, 95 of 100 below %.3f px\n"
                 "  ours is %.3f times OpenCV's (wanted: below 0.25 px, and at most 1.1 times)\n",
                 both.m_nShots, cameraName(eCamera), both.m_ours.m_nCount, both.m_ours.m_dRms, both.m_ours.m_dWorst5th,
                 both.m_theirs.m_dRms, both.m_theirs.m_dWorst5th, both.m_ours.m_dRms / both.m_theirs.m_dRms);
    }
    return text;
}

void writeReport(const std::filesystem::path& rFile, StereoSession& rSession, const Rig& rRig, CalibrationStory story)
{
    const auto& rAll = story.m_rShots.m_shots;
    const auto shot = std::find_if(rAll.begin(), rAll.end(), [](const Shot& rShot) { return isUsed(rShot); });
    if (shot != rAll.end()) {
        story.m_rectified = rectifiedShot(rSession, shotOf(rRig, *shot));
        story.m_shotName = shot->at(KestrovaCamRight).m_file.filename().string();
    }
    calibrationPage(story).save(rFile);
}

std::string prove(const OutputFile& rOut, const std::string& rName, const Rig& rRig, const Shots& rShots)
{
    PerCamera<Points> corners;
    for (const Shot& rShot : rShots.m_shots) {
        for (const auto& [eCamera, rView] : rShot) {
            if (rView.isUsed()) {
                corners[eCamera].insert(corners[eCamera].end(), rView.m_corners.begin(), rView.m_corners.end());
            }
        }
    }
    try {
        const RigProof proof = proveRig(rOut.file(), rRig, corners);
        return line("the library moves %zu points as the lens models do: %.4f px RMS, %.4f px at most\n",
                    proof.m_nPoints, proof.m_dRms, proof.m_dWorst);
    } catch (const AppError& rError) { // names the file that is about to become the user's
        std::string text = rError.what();
        if (const std::size_t uAt = text.find(rOut.file().string()); uAt != std::string::npos) {
            text.replace(uAt, rOut.file().string().size(), rName);
        }
        throw AppError(text, rError.status());
    }
}

void calibrate(const CalibrateOptions& rOptions)
{
    checkOptions(rOptions);
    const Board board = parseBoard(rOptions.m_inner, rOptions.m_square);
    RigWishes wishes = wishesOf(rOptions);
    OutputFile out(rOptions.m_out);
    std::optional<OutputFile> report;
    if (rOptions.m_report) {
        report.emplace(*rOptions.m_report);
    }
    Shots shots = findBoards(pairPhotos(namesOf(rOptions), rOptions.m_bAnyNames), board, showProgress);
    std::printf("board of %s; photos of %dx%d\n", board.describe().c_str(), shots.m_size.width, shots.m_size.height);
    const SetCalibration calibration = calibrateAloud(shots, sk_models.at(rOptions.m_model));

    if (rOptions.m_gain == "matched") {
        wishes.m_gains = matchedGains(shots);
    }
    wishes.m_source = "photos";
    wishes.m_note = line("Calibrated from %zu shots of a board of ", shots.nUsed()) + board.describe() + ".";
    wishes.m_subject = placesOf(shots, calibration.m_set.at(KestrovaCamRight).m_model);
    const Rig rig = buildRig(calibration.m_set, wishes);
    writeText(out.file(), rig.text());
    StereoSession session(out.file());
    const PerCamera<PairProof> proofs = proveCorners(session, rig, shots);
    const Findings findings = judgeCalibration(shots, calibration, rig, proofs);
    std::vector<std::string> remarks = rig.m_remarks;
    remarks.push_back(lensRemark(calibration));
    if (rOptions.m_gain == "matched") {
        remarks.push_back(gainRemark(wishes.m_gains));
    }
    remarks.push_back(rangeRemark(rig, wishes.m_subject));
    for (const Rig& rFurther : rig.m_further) {
        remarks.push_back("second section: " + rangeRemark(rFurther, wishes.m_subject));
    }
    for (const std::string& rRemark : remarks) {
        std::printf("%s\n", rRemark.c_str());
    }
    std::printf("%zu of %zu shots used; rectified images of %dx%d\n%s", shots.nUsed(), shots.m_shots.size(),
                rig.m_plan.m_canvas.width, rig.m_plan.m_canvas.height, findingsTable(findings).c_str());
    if (rOptions.m_bCompareOpenCv) {
        std::fputs(compare(session, shotsOf(rig, shots), rig, rOptions.m_dAlpha).c_str(), stdout);
    }
    if (report) {
        writeReport(report->file(), session, rig, {shots, findings, proofs, remarks, {}, {}});
        report->commit();
    }
    const Finding* pBad = worstOf(findings);
    if (pBad && !rOptions.m_bForce) {
        throw AppError(rOptions.m_out + ": not written: " + pBad->m_name + " is " + pBad->m_value +
                           "; photograph the board again as docs/calibrating.md says, or write it all the same with "
                           "--force",
                       ExitStatus::Unfit);
    }
    std::fputs(prove(out, rOptions.m_out, rig, shots).c_str(), stdout);
    out.commit();
    std::printf("written to %s\n", rOptions.m_out.c_str());
}

} // namespace

void addCalibrateCommand(CLI::App& rProgram)
{
    auto pOptions = std::make_shared<CalibrateOptions>();
    CalibrateOptions& r = *pOptions;
    CLI::App* pCommand = rProgram.add_subcommand(
        "calibrate", "Calibrates two or three cameras from photos of a checkerboard, taken at the same instant");
    pCommand
        ->add_option("--right", r.m_right,
                     "photos of the right camera, the reference: a pattern in quotes such as 'right*.jpg', or a list")
        ->required();
    pCommand->add_option("--left", r.m_left, "photos of the left camera; this, --top or both");
    pCommand->add_option("--top", r.m_top, "photos of the top camera");
    pCommand->add_flag("--any-names", r.m_bAnyNames, "pair photos by order even if the numbers in their names differ");
    pCommand->add_option("--inner", r.m_inner, "inner corners of the board, such as 9x6")->required();
    pCommand->add_option("--square", r.m_square, "side of a square as measured, with its unit: 25mm")->required();
    pCommand->add_option("-o,--out", r.m_out, "calibration text to write")->required();
    pCommand->add_option("--report", r.m_report, "page with pictures, one HTML file");
    std::vector<std::string> models;
    for (const auto& [rName, eChoice] : sk_models) {
        models.push_back(rName);
    }
    pCommand
        ->add_option("--model", r.m_model,
                     "lens: plain (k1 k2 p1 p2), plumb (and k3), rational (and k4 k5 k6), equidistant (very wide); "
                     "auto tries all on photos left out of the fit and takes the fewest coefficients that are within a "
                     "twentieth of the best")
        ->check(CLI::IsMember(models))
        ->capture_default_str();
    pCommand->add_option("--alpha", r.m_dAlpha, "0 shows only what both lenses fill, 1 keeps every raw pixel")
        ->check(CLI::Range(0.0, 1.0))
        ->capture_default_str();
    pCommand->add_option("--canvas", r.m_canvas, "size of the rectified images, 4 by 3 (default: that of the photos)")
        ->type_name("WxH");
    pCommand
        ->add_option("--disparity", r.m_anDisparity,
                     "range to search in pixels (default: what holds the boards, with room)")
        ->type_size(2)
        ->expected(1)
        ->type_name("MIN MAX");
    pCommand->add_option("--near", r.m_near, "nearest depth to measure, such as 0.4m, instead of --disparity");
    pCommand->add_option("--far", r.m_far, "farthest depth to measure");
    pCommand->add_option("--gain", r.m_gain, "gains of the cameras: from the brightness of the boards, or 1")
        ->check(CLI::IsMember({"matched", "one"}))
        ->capture_default_str();
    pCommand->add_flag("--force", r.m_bForce, "write the text even if a verdict says not to use it");
    pCommand->add_flag("--compare-opencv", r.m_bCompareOpenCv,
                       "find the boards again in rectified pictures, ours beside OpenCV's of the same calibration");
    pCommand->callback([pOptions] { calibrate(*pOptions); });
}

} // namespace kestrova::app
