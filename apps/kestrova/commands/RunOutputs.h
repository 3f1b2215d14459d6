// What --out can name: a table of names, of all that each output takes, and of writers.
//
// A new kind of output is a new row and its writer. Nobody asks for an output by its name: what is worked out for a
// frame follows from the needs of the rows that were chosen.
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

/** What an output takes besides 16-bit disparity. */
struct OutputNeeds
{
    bool m_bMetres = false;    // a focal length and a baseline
    bool m_bRightView = false; // there is none as seen from the left camera
    bool m_bBytes = false;
    bool m_bImages = false;
    bool m_bColour = false; // of the frame
    bool m_bRows = false;
    bool m_bCloud = false; // if there are metres
};

/** What the text of a single frame takes, in a file or on the terminal. */
inline constexpr OutputNeeds sk_textNeeds{.m_bRows = true, .m_bCloud = true};

OutputNeeds operator|(const OutputNeeds& rA, const OutputNeeds& rB);

struct OutputKind
{
    const char* m_pszName;
    const char* m_pszHelp;
    OutputNeeds m_needs;
    void (*m_pfnWrite)(const OutputJob&);
    /** Throws AppError when the output cannot hold disparities of the range, before any is written; null: it always
     * can. */
    void (*m_pfnCheckRange)(cv::Vec2i range, int nKittiScale) = nullptr;
};

const std::vector<OutputKind>& allOutputs();

inline constexpr const char* sk_pszUsualOutputs = "disparity.pfm,colour,reason,cloud.ply";

struct OutputChoice
{
    std::vector<const OutputKind*> m_kinds; // in the order of the table

    /** Of all of them together. */
    OutputNeeds needs() const;
    void checkRange(cv::Vec2i range, int nKittiScale) const;
    void write(const OutputJob& rJob) const;
};

/**
 * Names with commas between, or all. Without a list the usual ones. Throws AppError for a name that is none, or that
 * cannot be had; all and the usual ones leave such out.
 */
OutputChoice chooseOutputs(const std::optional<std::string>& rList, bool bMetres, bool bLeftView);

} // namespace kestrova::app
