// kestrova check: is a calibration still right for its cameras? One frame of each may be enough; several are judged
// together.
#include "basics/AppError.h"
#include "basics/Line.h"
#include "boards/Findings.h"
#include "commands/Commands.h"
#include "session/FrameDoubt.h"
#include "session/FrameReader.h"

#include <cstdio>

namespace kestrova::app {

namespace {

struct CheckOptions
{
    std::string m_calibration, m_right;
    std::optional<std::string> m_left, m_top;
    std::vector<std::string> m_unexpected;
};

FrameList framesOf(const CheckOptions& rOptions)
{
    if (!rOptions.m_unexpected.empty()) {
        throw AppError(rOptions.m_unexpected.front() +
                           ": belongs to no option; a pattern for many frames goes in quotes, "
                           "such as --right 'right/*.png'",
                       ExitStatus::Usage);
    }
    if (!rOptions.m_left && !rOptions.m_top) {
        throw AppError("give --left, --top or both beside --right", ExitStatus::Usage);
    }
    PerCamera<std::string> patterns{{KestrovaCamRight, rOptions.m_right}};
    if (rOptions.m_left) {
        patterns[KestrovaCamLeft] = *rOptions.m_left;
    }
    if (rOptions.m_top) {
        patterns[KestrovaCamTop] = *rOptions.m_top;
    }
    return pairByOrder(patterns);
}

PerCamera<cv::Mat1b> readFrames(const FrameNames& rNames)
{
    const std::string right = rNames.m_files.at(KestrovaCamRight).string();
    PerCamera<cv::Mat1b> frames;
    for (const auto& [eCamera, rFile] : rNames.m_files) {
        frames[eCamera] = readPhoto(rFile);
        if (eCamera == KestrovaCamRight) {
            continue;
        }
        if (frames[eCamera].size() != frames[KestrovaCamRight].size()) {
            throw AppError(rFile.string() + ": has another size than " + right, ExitStatus::Content);
        }
        if (cv::norm(frames[eCamera], frames[KestrovaCamRight], cv::NORM_INF) == 0.0) {
            throw AppError(rFile.string() + ": is the same picture as " + right + "; give each camera its own",
                           ExitStatus::Content);
        }
    }
    return frames;
}

Findings judgeCheck(KestrovaCamera eOther, const PairCheck& rCheck)
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
                        rCheck.verdict()});
    findings.push_back({pair + pszWhat + ", 95 of 100", line("below %.3f px", rCheck.m_rows.m_dWorst5th),
                        "the same, worst details left out"});
    findings.push_back({pair + ": gain difference", line("%+.1f %%", 100.0 * (rCheck.m_dGain - 1.0)),
                        "what the " + name + " image lacks in brightness, gains of the calibration applied",
                        std::abs(rCheck.m_dGain - 1.0) < 0.1 ? Verdict::Good : Verdict::Fair});
    return findings;
}

AppError tooFew(const CheckOptions& rOptions, KestrovaCamera eOther, int nDetails, std::size_t uFrames,
                const std::string& rDoubt)
{
    const std::string names = std::string("--right and --") + cameraName(eOther);
    if (!rDoubt.empty()) {
        return AppError(rDoubt, ExitStatus::Unfit);
    }
    return AppError(
        line("%s: only %d details were found again in %zu frame%s, too few for a verdict, %d are needed; give "
             "more frames with a pattern such as '%s', of things with detail",
             names.c_str(), nDetails, uFrames, uFrames == 1 ? "" : "s", sk_nFewestDetails,
             rOptions.m_right.find('*') == std::string::npos ? "right*.png" : rOptions.m_right.c_str()),
        ExitStatus::Unfit);
}

// Details of all frames, for each camera beside the right one.
struct PooledDetails
{
    PerCamera<Details> m_details;
    FrameFacts m_first; // frame, for what may be wrong
};

PooledDetails pool(StereoSession& rSession, const FrameList& rList)
{
    PooledDetails pooled;
    for (const FrameNames& rNames : rList.m_frames) {
        const PerCamera<cv::Mat1b> frames = readFrames(rNames);
        const cv::Mat1b& rRight = frames.at(KestrovaCamRight);
        FrameFacts& rFirst = pooled.m_first;
        if (rFirst.m_frames.empty()) {
            rFirst.m_frames = frames;
            for (const auto& [eCamera, rFrame] : frames) {
                rFirst.m_regions[eCamera] = rSession.region(eCamera, rRight.size());
            }
        } else if (rRight.size() != rFirst.m_frames.at(KestrovaCamRight).size()) {
            throw AppError(rNames.m_files.at(KestrovaCamRight).string() + ": has another size than the frames before",
                           ExitStatus::Content);
        }
        for (const auto& [eOther, rFrame] : frames) {
            if (eOther != KestrovaCamRight) {
                const Details found = detailsOf(rSession, frames, eOther, rFirst.m_regions.at(KestrovaCamRight));
                Details& rAll = pooled.m_details[eOther];
                rAll.insert(rAll.end(), found.begin(), found.end());
            }
        }
    }
    return pooled;
}

PairCheck judgeOrRefuse(const CheckOptions& rOptions, StereoSession& rSession, const PooledDetails& rPooled,
                        KestrovaCamera eOther, std::size_t uFrames)
{
    const PairCheck check = judgeDetails(rPooled.m_details.at(eOther));
    const FrameFacts& rFirst = rPooled.m_first;
    if (isSwapped(rSession, rFirst.m_frames, eOther, rFirst.m_regions.at(KestrovaCamRight), check)) {
        throw AppError(swappedText(eOther), ExitStatus::Unfit);
    }
    if (!check.isEnough()) {
        throw tooFew(rOptions, eOther, check.m_rows.m_nCount, uFrames, doubtOf(rSession, rFirst).m_text);
    }
    return check;
}

void check(const CheckOptions& rOptions)
{
    const FrameList list = framesOf(rOptions);
    if (!list.m_remark.empty()) {
        std::fprintf(stderr, "kestrova: note: %s\n", list.m_remark.c_str());
    }
    StereoSession session(rOptions.m_calibration);
    session.useCameras(configurationOf(list.m_frames.front().m_files));
    const PooledDetails pooled = pool(session, list);
    if (list.m_frames.size() > 1) {
        std::printf("%zu frames, judged together\n", list.m_frames.size());
    }
    Findings all;
    const std::string shape = shapeDoubt(session, pooled.m_first.m_frames.at(KestrovaCamRight).size());
    if (!shape.empty()) {
        all.push_back({"shape of the frames", "another", shape, Verdict::Fair});
    }
    for (const auto& [eOther, rDetails] : pooled.m_details) {
        const Findings findings =
            judgeCheck(eOther, judgeOrRefuse(rOptions, session, pooled, eOther, list.m_frames.size()));
        all.insert(all.end(), findings.begin(), findings.end());
    }
    std::fputs(findingsTable(all).c_str(), stdout);
    const Finding* pBad = worstOf(all);
    if (pBad && !shape.empty()) {
        throw AppError(shape, ExitStatus::Unfit);
    }
    if (pBad) {
        throw AppError(rOptions.m_calibration + ": " + pBad->m_name + " of " + pBad->m_value +
                           " is above 0.5 px: do not use it with these cameras; calibrate again",
                       ExitStatus::Unfit);
    }
}

} // namespace

void addCheckCommand(CLI::App& rProgram)
{
    auto pOptions = std::make_shared<CheckOptions>();
    CLI::App* pCommand = rProgram.add_subcommand(
        "check", "Measures on frames of each camera whether a calibration still fits; no board needed");
    pCommand->add_option("--calibration", pOptions->m_calibration, "calibration file of the cameras")->required();
    pCommand
        ->add_option("--right", pOptions->m_right,
                     "frame of the right camera, the reference, or a pattern in quotes such as 'right/*.png': details "
                     "of all frames "
                     "are judged together")
        ->required()
        ->type_name("FILE|'PATTERN'");
    pCommand->add_option("--left", pOptions->m_left, "frames of the left camera; this, --top or both")
        ->type_name("FILE|'PATTERN'");
    pCommand->add_option("--top", pOptions->m_top, "frames of the top camera")->type_name("FILE|'PATTERN'");
    pCommand->add_option("unexpected", pOptions->m_unexpected)->group(""); // a pattern without quotes
    pCommand->callback([pOptions] { check(*pOptions); });
}

} // namespace kestrova::app
