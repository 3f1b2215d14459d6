#include "outputs/Report.h"

#include "basics/Line.h"
#include "cameras/DepthRange.h"

namespace kestrova::app {

namespace {

const char* unitOf(KestrovaCamera eCamera)
{
    return eCamera == KestrovaCamTop ? "column" : "row"; // the coordinate that a rectified match keeps
}

std::string rawLines(const PerCamera<RowAgreement>& rAll)
{
    std::string text;
    for (const auto& [eCamera, rRows] : rAll) {
        if (rRows.m_nPoints == 0) {
            text += "  raw frames         no details were found again\n";
        } else {
            text += line("  raw frames         mean %6.3f %ss, 95 %% below %6.3f (%d details, %s)\n", rRows.m_dMeanRows,
                         unitOf(eCamera), rRows.m_dWorst5th, rRows.m_nPoints, cameraName(eCamera));
        }
    }
    return text;
}

std::string rectifiedLines(const PerCamera<PairCheck>& rAll)
{
    std::string text;
    for (const auto& [eCamera, rCheck] : rAll) {
        if (rCheck.m_rows.m_nCount == 0) {
            text += line("  rectified          no details were found again (%s): %s\n", cameraName(eCamera),
                         rCheck.verdictText());
        } else {
            text += line(
                "  rectified          RMS  %6.3f %ss, 95 %% below %6.3f (%d details, %d strays left out, %s): %s\n",
                rCheck.m_rows.m_dRms, unitOf(eCamera), rCheck.m_rows.m_dWorst5th, rCheck.m_rows.m_nCount,
                rCheck.m_nStrays, cameraName(eCamera), rCheck.verdictText());
        }
    }
    return text;
}

} // namespace

std::string summary(const StereoResult& rResult)
{
    const Optics& rOptics = rResult.m_optics;
    const auto anCount = rResult.m_map16.count();
    const auto share = [&](Reject eReject) {
        return 100.0 * anCount[static_cast<std::size_t>(eReject)] /
               static_cast<double>(rResult.m_map16.m_pixels.total());
    };
    std::string text = "The right camera is the reference: disparity d at column x, row y of the right image matches\n"
                       "column x + d of the left one, row y + d of the top one.\n";
    if (rResult.m_bSeenFromLeft) {
        text +=
            "The results are as the left camera sees them: disparity d at column x of the left image matches column\n"
            "x - d of the right one.\n";
    }
    const cv::Size size = rResult.m_map16.m_pixels.size();
    const std::string lengths = rOptics.m_fBaseline > 0.0f ? line("focal length %.2f pixels, baseline %.1f mm",
                                                                  rOptics.m_fFocal, 1000.0 * rOptics.m_fBaseline)
                                                           : std::string("focal length and baseline not given");
    text += line("rectified %dx%d, %s, centre column %.2f row %.2f, disparity %s\n", size.width, size.height,
                 lengths.c_str(), rOptics.m_fCentreCol, rOptics.m_fCentreRow,
                 rangeText(rResult.m_range, rResult.focalTimesBaseline()).c_str());
    text += "\nDifference of matched details in the right and another image, across the direction of disparity\n";
    text += rawLines(rResult.m_rawRows) + rectifiedLines(rResult.m_rectifiedRows);
    text += line(
        "\n16-bit disparity: %.1f %% found; rejected: %.1f %% no texture, %.1f %% not unique, %.1f %% no fit or rim, "
        "%.1f %% small surface, %.1f %% back-forth, %.1f %% outside the frame%s\n",
        share(Reject::None), share(Reject::Texture), share(Reject::Uniqueness), share(Reject::Subpixel),
        share(Reject::Surface), share(Reject::BackForth), share(Reject::Outside),
        rResult.m_bSeenFromLeft ? line(", %.1f %% hidden from the right camera", share(Reject::Hidden)).c_str() : "");
    text += rOptics.m_fBaseline > 0.0f ? line("%zu points in the cloud\n", rResult.m_cloud.size())
                                       : std::string("no cloud: it takes --focal and --baseline\n");
    text += "\nMilliseconds\n";
    for (const StageTime& rTime : rResult.m_times) {
        text += line("  %-42s %8.2f\n", rTime.m_stage.c_str(), rTime.m_dMilliseconds);
    }
    return text;
}

// ---- planes ----

PlaneReport reportPlanes(const StereoResult& rResult, const PlaneWishes& rWishes)
{
    if (rWishes.m_nPlanes == 0) {
        return {};
    }
    const double dScale = rResult.m_optics.m_fFocal * rResult.m_optics.m_fBaseline;
    PlaneReport report{findPlanes(rResult.m_cloud, dScale, rWishes), {}};
    report.m_text = line("\nThe largest planes of the cloud: points within %g pixels of disparity, normals towards the "
                         "right camera\n",
                         rWishes.m_dTolerance) +
                    "      points    %   normal right     down  forward   distance, m  spread, mm\n";
    int nPlane = 0;
    for (const FoundPlane& rPlane : report.m_planes) {
        report.m_text += line(
            "  %-2d %7zu %4.1f %14.5f %8.5f %8.5f %13.4f %11.2f\n", ++nPlane, rPlane.m_nPoints,
            100.0 * static_cast<double>(rPlane.m_nPoints) / static_cast<double>(rResult.m_cloud.size()),
            rPlane.m_normal[0], rPlane.m_normal[1], rPlane.m_normal[2], rPlane.m_dDistance, 1000.0 * rPlane.m_dSpread);
    }
    if (nPlane < rWishes.m_nPlanes) {
        report.m_text += line("  no further plane has %zu points\n", sk_nLeastOfPlane);
    }
    return report;
}

} // namespace kestrova::app
