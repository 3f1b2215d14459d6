// What --out can name: a table from names to writers. A new kind of output is a new row.
#pragma once

#include "outputs/ResultFiles.h"

#include <functional>

namespace kestrova::app {

struct OutputJob
{
    const OutputFolder& m_rFolder;
    StereoSession& m_rSession;
    const StereoResult& m_rResult;
    std::string m_source; // of the frame, for headers and titles
    int m_nKittiScale = 256;
    std::function<std::string()> m_text; // what run prints of a single frame
};

/// What an output takes besides 16-bit disparity.
struct OutputNeeds
{
    bool m_bMetres = false;    // a focal length and a baseline
    bool m_bRightView = false; // there is none as seen from the left camera
    bool m_bBytes = false;
    bool m_bImages = false;
    bool m_bColour = false; // of the frame
    bool m_bRows = false;
};

struct OutputKind
{
    const char* m_pszName;
    const char* m_pszHelp;
    OutputNeeds m_needs;
    void (*m_pfnWrite)(const OutputJob&);
};

const std::vector<OutputKind>& allOutputs();

inline constexpr const char* sk_pszUsualOutputs = "disparity.pfm,colour,reason,cloud.ply";

struct OutputChoice
{
    std::vector<const OutputKind*> m_kinds; // in the order of the table

    bool has(const std::string& rName) const;
    bool needs(bool OutputNeeds::*pNeed) const;
    void write(const OutputJob& rJob) const;
};

/// Names with commas between, or all. Without a list the usual ones. Throws AppError for a name that is none, or that
/// cannot be had; all and the usual ones leave such out.
OutputChoice chooseOutputs(const std::optional<std::string>& rList, bool bMetres, bool bLeftView);

} // namespace kestrova::app
