// The frames of run, one after the other through one session: read, matched, written.
#pragma once

#include "basics/AppError.h"
#include "commands/RunOptions.h"
#include "session/FrameDoubt.h"

#include <fstream>
#include <memory>

namespace kestrova::app {

/** A line a frame, in a file that begins with the first one, or on standard output for "-". */
class SummaryLines
{
public:
    explicit SummaryLines(const std::optional<std::string>& rTo) : m_to(rTo) {}

    bool onOutput() const { return m_to == "-"; }

    /** Throws AppError when the file cannot be written, before any frame is. */
    void open();
    void add(const std::string& rLine);

private:
    std::optional<std::string> m_to;
    std::ofstream m_file;
};

class FrameRunner
{
public:
    /** rAhead: what --range auto looks at. */
    FrameRunner(const RunOptions& rOptions, const OutputChoice& rOutputs, const std::vector<FrameNames>& rAhead);

    /**
     * What was wrong with a frame that cannot be read; such a frame is left out with --keep-going, else this throws.
     */
    std::optional<AppError> run(const FrameNames& rNames);

    double meanDensity() const { return m_uDone ? m_dDensities / static_cast<double>(m_uDone) : 0.0; }
    std::size_t done() const { return m_uDone; }
    /** What is wrong when no frame gave a usable result; empty when one did. */
    std::string failure() const;
    bool printsText() const { return !m_bBatch && !m_json.onOutput(); }

private:
    void begin(const Frames& rFrames, const OutputFolder& rFolder);
    void findRange();
    void judge(const Frames& rFrames, const StereoResult& rResult);
    std::string calibrationText(const Frames& rFrames) const;
    std::string text(const StereoResult& rResult, const StereoResult& rShown);
    void write(const FrameNames& rNames, const OutputFolder& rFolder, const StereoResult& rResult,
               StereoResult& rShown);

    const RunOptions& m_rOptions;
    const OutputChoice& m_rOutputs;
    bool m_bBatch;
    SummaryLines m_json;
    FrameReader m_reader;
    std::string m_ownCalibration; // of frames that are rectified already
    std::unique_ptr<StereoSession> m_pSession;
    std::unique_ptr<StereoRun> m_pRun;
    std::size_t m_uDone = 0;
    double m_dDensities = 0.0;
    const std::vector<FrameNames>& m_rAhead;
    std::size_t m_uUsable = 0;
    double m_dMostFound = 0.0;
    std::string m_mainReject; // of the first frame
    FrameDoubt m_doubt;       // likewise
};

} // namespace kestrova::app
