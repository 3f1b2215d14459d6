// kestrova check: is a calibration still right for its cameras? One frame of each is enough.
#include "basics/AppError.h"
#include "basics/Line.h"
#include "boards/Findings.h"
#include "boards/PairCheck.h"
#include "commands/Commands.h"

#include <opencv2/imgproc.hpp>

#include <cstdio>

namespace kestrova::app {

struct CheckOptions
{
    std::string m_calibration, m_right;
    std::optional<std::string> m_left, m_top;
};

static PerCamera<cv::Mat1b> readFrames(const CheckOptions& rOptions)
{
    if (!rOptions.m_left && !rOptions.m_top)
        throw AppError("give --left, --top or both beside --right", ExitStatus::Usage);
    PerCamera<cv::Mat1b> frames{{KestrovaCamRight, readPhoto(rOptions.m_right)}};
    const auto add = [&](KestrovaCamera eCamera, const std::optional<std::string>& rFile) {
        if (!rFile)
            return;
        cv::Mat1b frame = readPhoto(*rFile);
        if (frame.size() != frames[KestrovaCamRight].size())
            throw AppError(*rFile + ": has another size than " + rOptions.m_right, ExitStatus::Content);
        if (cv::norm(frame, frames[KestrovaCamRight], cv::NORM_INF) == 0.0)
            throw AppError(*rFile + ": is the same picture as " + rOptions.m_right + "; give each camera its own",
                           ExitStatus::Content);
        frames[eCamera] = std::move(frame);
    };
    add(KestrovaCamLeft, rOptions.m_left);
    add(KestrovaCamTop, rOptions.m_top);
    return frames;
}

static Findings judgeCheck(KestrovaCamera eOther, const PairCheck& rCheck)
{
    const std::string name = cameraName(eOther);
    const std::string pair = "right and " + name;
    const bool bTop = eOther == KestrovaCamTop;
    const char* pszWhat = bTop ? ": column error" : ": row error";
    Findings findings;
    findings.push_back({pair + ": details", line("%d, %d strays left out", rCheck.m_rows.m_nCount, rCheck.m_nStrays),
                        "corners of the right image found again in the other"});
    findings.push_back({pair + pszWhat, line("%.3f px RMS", rCheck.m_rows.m_dRms),
                        line("a match must lie in the same line; the %s image stands %+.2f px %s", name.c_str(),
                             rCheck.m_dMiddle, bTop ? "to the right" : "lower"),
                        rowVerdict(rCheck.m_rows.m_dRms)});
    findings.push_back({pair + pszWhat + ", 95 of 100", line("below %.3f px", rCheck.m_rows.m_dWorst5th),
                        "the same, worst details left out"});
    findings.push_back({pair + ": gain difference", line("%+.1f %%", 100.0 * (rCheck.m_dGain - 1.0)),
                        "what the " + name + " image lacks in brightness, gains of the calibration applied",
                        std::abs(rCheck.m_dGain - 1.0) < 0.1 ? Verdict::Good : Verdict::Fair});
    return findings;
}

// Where the right rectified image shows raw pixels, and not too near to where it shows none.
static cv::Mat1b usablePart(const StereoSession& rSession, cv::Size raw)
{
    cv::Mat1b mask;
    cv::copyMakeBorder(rSession.region(KestrovaCamRight, raw), mask, 1, 1, 1, 1, cv::BORDER_CONSTANT, 0);
    cv::erode(mask, mask, cv::Mat1b(21, 21, uchar(1)), {-1, -1}, 1, cv::BORDER_CONSTANT, 0);
    return mask(cv::Rect({1, 1}, rSession.canvas())).clone();
}

static PairCheck measure(StereoSession& rSession, const PerCamera<cv::Mat1b>& rFrames, KestrovaCamera eOther)
{
    const auto upright = [&](const cv::Mat1b& rImage) {
        return eOther == KestrovaCamTop ? cv::Mat1b(rImage.t()) : rImage;
    };
    rSession.preprocess(rFrames, FrameForm::Planes);
    return checkPair(upright(rSession.image(KestrovaImgRectified, KestrovaCamRight)),
                     upright(rSession.image(KestrovaImgRectified, eOther)),
                     upright(usablePart(rSession, rFrames.at(KestrovaCamRight).size())));
}

static bool isSwapped(StereoSession& rSession, PerCamera<cv::Mat1b> frames, KestrovaCamera eOther,
                      const PairCheck& rCheck)
{
    if (rCheck.m_dBehind > 0.6 && rCheck.m_rows.m_nCount >= sk_nFewestDetails / 3)
        return true;
    if (rCheck.m_rows.m_nCount >= sk_nFewestDetails)
        return false;
    std::swap(frames.at(KestrovaCamRight), frames.at(eOther));
    const PairCheck other = measure(rSession, frames, eOther);
    return other.m_rows.m_nCount >= sk_nFewestDetails && other.m_rows.m_dRms < 1.0 && other.m_dBehind < 0.2;
}

static PairCheck measureOrRefuse(StereoSession& rSession, const PerCamera<cv::Mat1b>& rFrames, KestrovaCamera eOther)
{
    const std::string names = std::string("--right and --") + cameraName(eOther);
    const PairCheck found = measure(rSession, rFrames, eOther);
    if (isSwapped(rSession, rFrames, eOther, found))
        throw AppError(names + ": the two frames are swapped, matches lie at negative disparity, behind infinity; hand "
                               "them over the other way round",
                       ExitStatus::Unfit);
    if (found.m_rows.m_nCount < sk_nFewestDetails)
        throw AppError(line("%s: only %d details were found in both rectified images, %d are needed; the frames show "
                            "too little, or are not of one instant, or the calibration is far off or of other cameras",
                            names.c_str(), found.m_rows.m_nCount, sk_nFewestDetails),
                       ExitStatus::Unfit);
    return found;
}

static void check(const CheckOptions& rOptions)
{
    const PerCamera<cv::Mat1b> frames = readFrames(rOptions);
    StereoSession session(rOptions.m_calibration);
    session.useCameras(configurationOf(frames));
    Findings all;
    for (const auto& [eOther, rFrame] : frames)
        if (eOther != KestrovaCamRight) {
            const Findings findings = judgeCheck(eOther, measureOrRefuse(session, frames, eOther));
            all.insert(all.end(), findings.begin(), findings.end());
        }
    std::fputs(findingsTable(all).c_str(), stdout);
    if (const Finding* pBad = worstOf(all))
        throw AppError(rOptions.m_calibration + ": " + pBad->m_name + " of " + pBad->m_value +
                           " is above 0.5 px: do not use it with these cameras; calibrate again",
                       ExitStatus::Unfit);
}

void addCheckCommand(CLI::App& rProgram)
{
    auto pOptions = std::make_shared<CheckOptions>();
    CLI::App* pCommand = rProgram.add_subcommand(
        "check", "Measures on one frame of each camera whether a calibration still fits; no board needed");
    pCommand->add_option("--calibration", pOptions->m_calibration, "calibration file of the cameras")->required();
    pCommand->add_option("--right", pOptions->m_right, "frame of the right camera, the reference")->required();
    pCommand->add_option("--left", pOptions->m_left, "frame of the left camera; this, --top or both");
    pCommand->add_option("--top", pOptions->m_top, "frame of the top camera");
    pCommand->callback([pOptions] { check(*pOptions); });
}

} // namespace kestrova::app
