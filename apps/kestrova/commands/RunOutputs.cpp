#include "commands/RunOutputs.h"

#include "basics/AppError.h"
#include "basics/Line.h"
#include "outputs/DisparityCodes.h"
#include "outputs/ImageRecord.h"
#include "pages/RunPage.h"

#include <algorithm>
#include <sstream>

namespace kestrova::app {

namespace {

void checkKitti(cv::Vec2i range, int nScale)
{
    if (!fitsKitti(range, nScale)) {
        throw AppError(line("--out: kitti16: disparities up to %d times %d do not fit 16 bits; give a smaller "
                            "--png-scale, such as %d",
                            range[1], nScale, 65536 / range[1]),
                       ExitStatus::Usage);
    }
}

} // namespace

const std::vector<OutputKind>& allOutputs()
{
    static const std::vector<OutputKind> s_outputs{
        {"disparity.pfm",
         "disparity.pfm: float pixels, rows from bottom to top, +inf where there is none",
         {},
         [](const OutputJob& r) { writeDisparityPfm(r.m_rFolder, r.m_rResult); }},
        {"npy",
         "disparity.npy: float32 pixels, NaN where there is none",
         {},
         [](const OutputJob& r) { writeDisparityNpy(r.m_rFolder, r.m_rResult); }},
        {"kitti16",
         "disparity_kitti_256ths.png: 16 bits, disparity * 256 (see --png-scale), 0 where there is none",
         {},
         [](const OutputJob& r) { writeKitti16(r.m_rFolder, r.m_rResult, r.m_nKittiScale); },
         checkKitti},
        {"native16",
         "disparity16_256ths_offsetN.png: as the library has it, from 0xFF00 up the reasons",
         {},
         [](const OutputJob& r) { writeNative16(r.m_rFolder, r.m_rResult); }},
        {"depth-mm",
         "depth_mm.png: 16 bits, millimetres, 0 where there is none or beyond 65.535 m",
         {.m_bMetres = true},
         [](const OutputJob& r) { writeDepth(r.m_rFolder, r.m_rResult); }},
        {"cloud.ply",
         "cloud.ply: binary, metres, with colours and disparity",
         {.m_bMetres = true, .m_bColour = true, .m_bCloud = true},
         [](const OutputJob& r) { writeResultCloud(r.m_rFolder, r.m_rResult, r.m_source); }},
        {"colour",
         "disparity_colour.png: a picture with a legend, its scale that of the disparity range",
         {},
         [](const OutputJob& r) { writeColour(r.m_rFolder, r.m_rResult); }},
        {"reason",
         "reason_codes.png, a number for each pixel, and reason_colour.png, a picture with shares",
         {},
         [](const OutputJob& r) { writeReasons(r.m_rFolder, r.m_rResult); }},
        {"report",
         "report.html: one web page of everything, with the cloud to turn with the mouse",
         {.m_bColour = true, .m_bRows = true, .m_bCloud = true},
         [](const OutputJob& r) {
             writeRunPage(r.m_rFolder.file("report.html"), r.m_rResult, r.m_source,
                          describeSettings(r.m_rSession.handle()));
         }},
        {"images",
         "raw, rectified and edge images, and the rectified pair with level lines, as PNG",
         {.m_bImages = true, .m_bColour = true},
         [](const OutputJob& r) { writeImages(r.m_rFolder, r.m_rResult); }},
        {"disparity8",
         "disparity8_pixels_offsetN.png and its picture: a second match, to whole pixels",
         {.m_bRightView = true, .m_bBytes = true},
         [](const OutputJob& r) { writeDisparity8(r.m_rFolder, r.m_rResult); }},
        {"records", // before text, which may match with other settings
         "all images and disparities as PGM with the settings of the run in them, see info",
         {.m_bRightView = true},
         [](const OutputJob& r) {
             writeRecordedImages(r.m_rFolder, r.m_rSession, camerasOf(r.m_rSession.configuration()));
         }},
        {"text", "report.txt: what run prints of a single frame", sk_textNeeds,
         [](const OutputJob& r) { writeText(r.m_rFolder.file("report.txt"), r.m_text()); }},
    };
    return s_outputs;
}

namespace {

// Why this output cannot be had; empty when it can.
std::string obstacle(const OutputKind& rKind, bool bMetres, bool bLeftView)
{
    if (rKind.m_needs.m_bMetres && !bMetres) {
        return "takes a focal length and a baseline; give --focal and --baseline";
    }
    if (rKind.m_needs.m_bRightView && bLeftView) {
        return "is there from the right camera only; leave --view left away";
    }
    return {};
}

std::vector<std::string> namesOf(const std::string& rList)
{
    std::vector<std::string> names;
    std::istringstream in(rList);
    for (std::string name; std::getline(in, name, ',');) {
        names.push_back(name);
    }
    return names;
}

void checkName(const std::string& rName, bool bMetres, bool bLeftView)
{
    std::string known;
    for (const OutputKind& rKind : allOutputs()) {
        if (rName == rKind.m_pszName) {
            if (const std::string why = obstacle(rKind, bMetres, bLeftView); !why.empty()) {
                throw AppError("--out: " + rName + " " + why, ExitStatus::Usage);
            }
            return;
        }
        known += std::string(rKind.m_pszName) + ", ";
    }
    throw AppError("--out: '" + rName + "' is no output; give one or more of " + known +
                       "with commas between, or all (a folder goes into --to)",
                   ExitStatus::Usage);
}

} // namespace

OutputChoice chooseOutputs(const std::optional<std::string>& rList, bool bMetres, bool bLeftView)
{
    const bool bAll = rList == "all";
    const std::vector<std::string> names = namesOf(rList.value_or(sk_pszUsualOutputs));
    if (rList && !bAll) {
        for (const std::string& rName : names) {
            checkName(rName, bMetres, bLeftView);
        }
        if (names.empty()) {
            checkName("", bMetres, bLeftView);
        }
    }
    OutputChoice choice;
    for (const OutputKind& rKind : allOutputs()) {
        if ((bAll || std::find(names.begin(), names.end(), rKind.m_pszName) != names.end()) &&
            obstacle(rKind, bMetres, bLeftView).empty()) {
            choice.m_kinds.push_back(&rKind);
        }
    }
    return choice;
}

OutputNeeds operator|(const OutputNeeds& rA, const OutputNeeds& rB)
{
    return {.m_bMetres = rA.m_bMetres || rB.m_bMetres,
            .m_bRightView = rA.m_bRightView || rB.m_bRightView,
            .m_bBytes = rA.m_bBytes || rB.m_bBytes,
            .m_bImages = rA.m_bImages || rB.m_bImages,
            .m_bColour = rA.m_bColour || rB.m_bColour,
            .m_bRows = rA.m_bRows || rB.m_bRows,
            .m_bCloud = rA.m_bCloud || rB.m_bCloud};
}

OutputNeeds OutputChoice::needs() const
{
    OutputNeeds all;
    for (const OutputKind* pKind : m_kinds) {
        all = all | pKind->m_needs;
    }
    return all;
}

void OutputChoice::checkRange(cv::Vec2i range, int nKittiScale) const
{
    for (const OutputKind* pKind : m_kinds) {
        if (pKind->m_pfnCheckRange != nullptr) {
            pKind->m_pfnCheckRange(range, nKittiScale);
        }
    }
}

void OutputChoice::write(const OutputJob& rJob) const
{
    for (const OutputKind* pKind : m_kinds) {
        pKind->m_pfnWrite(rJob);
    }
}

} // namespace kestrova::app
