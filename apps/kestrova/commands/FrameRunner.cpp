#include "commands/FrameRunner.h"

#include "basics/InputFile.h"
#include "basics/Line.h"
#include "basics/Units.h"
#include "cameras/CalibrationText.h"
#include "cameras/DepthRange.h"
#include "commands/RunTruth.h"
#include "outputs/FrameSummary.h"
#include "outputs/LeftView.h"
#include "outputs/Report.h"
#include "session/RangeSearch.h"

#include <algorithm>
#include <cstdio>

namespace kestrova::app {

void SummaryLines::open()
{
    if (m_to && !onOutput() && !m_file.is_open()) {
        m_file.open(*m_to, std::ios::binary);
        if (!m_file) {
            throw AppError("--json: " + *m_to + ": cannot be written; name a file in a folder that exists",
                           ExitStatus::File);
        }
    }
}

void SummaryLines::add(const std::string& rLine)
{
    if (onOutput()) {
        std::puts(rLine.c_str());
        if (std::fflush(stdout) != 0) { // whoever reads along gets whole lines
            throw AppError("--json: standard output cannot be written; has its reader ended?", ExitStatus::File);
        }
    } else if (m_to) {
        open();
        if (!(m_file << rLine << '\n').flush()) {
            throw AppError("--json: " + *m_to + ": cannot be written", ExitStatus::File);
        }
    }
}

namespace {

ReadWishes readWishes(const RunOptions& rOptions, const OutputChoice& rOutputs)
{
    ReadWishes wishes{rOptions.m_bRectified, {}, rOptions.m_bits, rOutputs.needs().m_bColour};
    if (rOptions.m_resize) {
        wishes.m_resize = parseSize(*rOptions.m_resize, "--resize");
    }
    if (wishes.m_resize && (wishes.m_resize->width > 8192 || wishes.m_resize->height > 8192)) {
        throw AppError("--resize: at most 8192 columns and rows", ExitStatus::Usage);
    }
    return wishes;
}

ResultWishes resultWishes(const OutputNeeds& rNeeds, bool bTwice)
{
    ResultWishes wishes;
    wishes.m_bBytes = rNeeds.m_bBytes;
    wishes.m_bImages = rNeeds.m_bImages;
    wishes.m_bRows = rNeeds.m_bRows;
    wishes.m_bCloud = rNeeds.m_bCloud;
    wishes.m_bTwice = bTwice;
    return wishes;
}

} // namespace

FrameRunner::FrameRunner(const RunOptions& rOptions, const OutputChoice& rOutputs,
                         const std::vector<FrameNames>& rAhead)
    : m_rOptions(rOptions), m_rOutputs(rOutputs), m_bBatch(rOptions.isBatch()), m_json(rOptions.m_json),
      m_reader(readWishes(rOptions, rOutputs)), m_rAhead(rAhead)
{}

std::string FrameRunner::calibrationText(const Frames& rFrames) const
{
    const FrameFit& rFit = *m_reader.fit();
    const double dFocal = m_rOptions.m_focal ? *m_rOptions.m_focal * rFit.m_dScale : rFit.m_canvas.width;
    const double dBaseline = m_rOptions.m_baseline ? parseLength(*m_rOptions.m_baseline, "--baseline") : 0.0;
    return app::calibrationText(identityCalibration(rFit.m_canvas, dFocal, dBaseline, configurationOf(rFrames.m_grey)));
}

// The session is made with the first frame that can be read, since rectified frames say how large all of them are.
void FrameRunner::begin(const Frames& rFrames, const OutputFolder& rFolder)
{
    if (m_rOptions.m_bRectified && m_ownCalibration.empty()) {
        m_ownCalibration = calibrationText(rFrames);
    }
    const std::filesystem::path own = rFolder.file("calibration.txt");
    if (!m_ownCalibration.empty()) {
        writeText(own, m_ownCalibration);
    }
    if (m_pSession) {
        return;
    }
    m_json.open();
    m_pSession = std::make_unique<StereoSession>(
        m_rOptions.m_calibration ? std::filesystem::path(*m_rOptions.m_calibration) : own);
    const ResultWishes wishes =
        resultWishes(printsText() ? m_rOutputs.needs() | sk_textNeeds : m_rOutputs.needs(), !m_bBatch);
    m_pRun = std::make_unique<StereoRun>(*m_pSession, m_rOptions.m_settings, wishes);
    m_pRun->prepare(configurationOf(rFrames.m_grey));
    if (m_rOptions.findsRange()) {
        findRange();
    }
    m_rOutputs.checkRange(m_pSession->disparityRange(), m_rOptions.m_nPngScale);
}

// All shards look at the same frames, so that they take the same range.
void FrameRunner::findRange()
{
    RangeSearch search(*m_pSession);
    ReadWishes wishes = readWishes(m_rOptions, m_rOutputs);
    wishes.m_bColour = false;
    FrameReader reader(wishes);
    int nFrames = 0;
    for (const FrameNames& rNames : m_rAhead) {
        try {
            const Frames frames = reader.read(rNames);
            search.add(frames.m_grey, m_pRun->regionsOf(frames));
            ++nFrames;
        } catch (const AppError&) {
            // said when its turn comes
        }
    }
    const cv::Size canvas = m_pSession->canvas();
    const bool bRows = m_pSession->configuration() != KestrovaCfg2CameraHorizontal;
    const Optics optics = m_pSession->optics();
    const double dScale = static_cast<double>(optics.m_fFocal) * optics.m_fBaseline;
    std::FILE* const pOut = m_json.onOutput() ? stderr : stdout;
    const std::vector<double> subject = search.subject();
    if (subject.empty()) {
        std::fprintf(pOut, "--range auto: nothing stands out in %d frame%s; the range stays at %s\n", nFrames,
                     nFrames == 1 ? "" : "s", rangeText(m_pSession->disparityRange(), dScale).c_str());
        return;
    }
    const cv::Vec2i range = rangeAround(subject, largestDisparity(bRows ? canvas.height : canvas.width));
    if (kestrovaSetDisparity(m_pSession->handle(), range[0], range[1]) != KestrovaErrorOk) {
        throw AppError("--range auto: the library refuses " + rangeText(range, dScale), ExitStatus::Failed);
    }
    m_pSession->fitThreads();
    const auto [least, most] = std::minmax_element(subject.begin(), subject.end());
    std::fprintf(pOut, "--range auto: in %d frame%s the subject takes %.0f to %.0f pixels; searched is %s%s\n", nFrames,
                 nFrames == 1 ? "" : "s", *least, *most, rangeText(range, dScale).c_str(),
                 *least < range[0] || *most > range[1] ? ", the most at a time, which leaves some of it out" : "");
}

std::string FrameRunner::text(const StereoResult& rResult, const StereoResult& rShown)
{
    std::string text = m_reader.fit() ? m_reader.fit()->describe() + "\n" : std::string();
    text += summary(rShown) + reportPlanes(rShown, m_rOptions.m_planes).m_text;
    if (m_rOptions.m_truth) {
        text += compareTruth(m_rOptions, m_reader.fit(), *m_pSession, rResult);
    }
    return text;
}

void FrameRunner::write(const FrameNames& rNames, const OutputFolder& rFolder, const StereoResult& rResult,
                        StereoResult& rShown)
{
    std::optional<std::string> made; // once, for the file and the terminal
    const auto textOnce = [&] {
        if (!made) {
            made = text(rResult, rShown);
        }
        return *made;
    };
    const OutputJob job{
        rFolder, *m_pSession, rShown, rNames.m_files.at(KestrovaCamRight).string(), m_rOptions.m_nPngScale, textOnce};
    std::vector<StageTime> writing;
    timed(writing, "write the files", "write", [&] { m_rOutputs.write(job); });
    rShown.m_times.insert(rShown.m_times.end(), writing.begin(), writing.end());
    if (printsText()) {
        std::printf("%s\n", textOnce().c_str());
    }
}

namespace {

// What may be matched at all: all that the maps fill, or of that the regions that were asked for.
cv::Mat1b matchable(const RunOptions& rOptions, const DisparityMap& rMap)
{
    cv::Mat1b area(rMap.m_reject.size(), uchar(rOptions.m_settings.m_regions.empty() ? 255 : 0));
    for (const auto& [nRow, nCol, nRows, nCols] : rOptions.m_settings.m_regions) {
        area(cv::Rect(nCol, nRow, nCols, nRows) & cv::Rect({0, 0}, area.size())).setTo(255);
    }
    area.setTo(0, rMap.m_reject == static_cast<unsigned char>(Reject::Outside));
    return area;
}

} // namespace

void FrameRunner::judge(const Frames& rFrames, const StereoResult& rResult)
{
    const cv::Mat1b area = matchable(m_rOptions, rResult.m_map16);
    const double dAll = std::max(1, cv::countNonZero(area));
    const double dFound =
        cv::countNonZero(area & (rResult.m_map16.m_reject == static_cast<unsigned char>(Reject::None))) / dAll;
    if (m_uDone == 0) {
        const auto anCount = rResult.m_map16.count();
        const auto most = std::max_element(anCount.begin() + 1, anCount.begin() + static_cast<int>(Reject::Outside));
        m_mainReject = rejectName(static_cast<Reject>(most - anCount.begin()));
        m_doubt = doubtOf(*m_pSession, {rFrames.m_grey, m_pRun->regionsOf(rFrames), rResult.m_map16, dFound});
    }
    m_dMostFound = std::max(m_dMostFound, dFound);
    const bool bUsable = dFound >= sk_dUsableShare && !m_doubt.m_bHopeless;
    m_uUsable += bUsable;
    if (m_uDone == 0 && !m_doubt.m_text.empty() && (bUsable || m_bBatch)) {
        std::fprintf(stderr, "kestrova: warning: %s\n", oneLine(m_doubt.m_text).c_str());
    }
}

std::string FrameRunner::failure() const
{
    if (m_uDone == 0 || m_uUsable > 0) {
        return {};
    }
    const std::string found = line("nothing usable came out, %.1f %% found", 100.0 * m_dMostFound);
    if (!m_doubt.m_text.empty()) {
        return found + ": " + m_doubt.m_text;
    }
    return found +
           line(" where %.0f %% are the least, most rejected for '%s'; is it the right range, see --range auto, "
                "and have the frames texture?",
                100.0 * sk_dUsableShare, m_mainReject.c_str());
}

std::optional<AppError> FrameRunner::run(const FrameNames& rNames)
{
    std::vector<StageTime> times;
    Frames frames;
    try {
        frames = timed(times, "read the files", "read", [&] { return m_reader.read(rNames); });
    } catch (const AppError& rError) {
        if (!m_rOptions.m_bKeepGoing) {
            throw;
        }
        m_json.add(frameFailure(rNames, rError.what()));
        return rError;
    }
    const std::filesystem::path to(m_rOptions.m_to);
    OutputFolder folder(m_bBatch ? to / rNames.m_name : to);
    begin(frames, folder);
    const StereoResult result = (*m_pRun)(frames);
    StereoResult shown = m_rOptions.m_view == "left" ? seenFromLeft(result, m_pSession->rejectCodes()) : result;
    shown.m_times.insert(shown.m_times.begin(), times.begin(), times.end());
    write(rNames, folder, result, shown);
    folder.commit();
    m_json.add(frameSummary(rNames, shown));
    judge(frames, result);
    ++m_uDone;
    m_dDensities += shown.m_map16.count()[0] / static_cast<double>(shown.m_map16.m_pixels.total());
    return std::nullopt;
}

} // namespace kestrova::app
