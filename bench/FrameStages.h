// Where the time of a frame goes: its stages one after another on a handle's own images, and a picture of them.
#pragma once

#include "Rig.h"

#include <array>
#include <string>
#include <vector>

namespace bench {

enum Stage
{
    Unpack,
    Lowpass,
    Warp,
    Edge,
    Clear,
    Correlate,
    Surfaces,
    Other, // of the whole frame: calls, and the way to the pool and back
    Stages
};

extern const std::array<const char*, Stages> g_apszStages;

using StageTimes = std::array<double, Stages>; // seconds, medians

/** The whole frame through the public interface: 16-bit disparity with all checks that the handle has on. */
void runFrame(KestrovaContext context, KestrovaInput& rInput);

/** With the instruction set in use, whole frames and single stages in turn. */
StageTimes stageTimes(KestrovaContext context, KestrovaInput& rInput, double dMaxSeconds);

struct Bar
{
    std::string m_szName;
    StageTimes m_times;
};

/** A bar for each, all of the same length, with the share of each stage. */
void drawStages(const char* pszFile, const std::vector<Bar>& rBars);

} // namespace bench
