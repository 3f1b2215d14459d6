// What the command line of run says.
#pragma once

#include "commands/RunOutputs.h"
#include "outputs/PlaneSearch.h"
#include "session/StereoSettings.h"

#include <CLI/CLI.hpp>

namespace kestrova::app {

struct RunOptions
{
    // Frames
    std::optional<std::string> m_right, m_left, m_top, m_list;
    std::vector<std::string> m_unexpected;
    std::optional<std::string> m_shard;
    bool m_bKeepGoing = false;
    std::optional<int> m_bits;
    // Cameras
    std::optional<std::string> m_calibration;
    bool m_bRectified = false;
    std::optional<std::string> m_resize;
    std::optional<double> m_focal; // pixels of the frame as it comes
    std::optional<std::string> m_baseline;
    // Results
    std::string m_to;
    std::optional<std::string> m_out;
    std::string m_view = "right";
    int m_nPngScale = 256;
    std::optional<std::string> m_json;
    // Comparison
    std::optional<std::string> m_truth;
    std::string m_truthView = "right";
    double m_dTruthScale = 1.0;
    bool m_bCompareBlockMatcher = false;
    std::vector<double> m_adUniqueness; // further rows of the comparison
    SettingWishes m_settings;
    std::optional<std::string> m_range;
    PlaneWishes m_planes;

    /** Whether many frames were asked for: each then has a folder of its own, however many there are. */
    bool isBatch() const;
    bool findsRange() const { return m_range == "auto"; }
    bool hasMetres() const { return !m_bRectified || m_focal; }
};

void addRunOptions(CLI::App& rCommand, RunOptions& rOptions);

/** Throws AppError for what contradicts itself. */
void checkOptions(const RunOptions& rOptions);

inline constexpr std::size_t sk_uRangeFrames = 5; // that --range auto looks at

struct RunFrames
{
    FrameList m_list;                // of this shard, if there is one
    std::vector<FrameNames> m_ahead; // the first ones of all shards, for what holds for all
};
RunFrames framesOf(const RunOptions& rOptions);

} // namespace kestrova::app
