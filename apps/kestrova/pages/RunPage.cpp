#include "pages/RunPage.h"

#include "basics/Line.h"
#include "outputs/Pictures.h"
#include "pages/CloudFigure.h"
#include "pages/HtmlPage.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <sstream>

namespace kestrova::app {

// ---- disparity and reasons ----

namespace {

struct ReasonText
{
    const char* m_pszName;
    const char* m_pszMeaning;
    cv::Vec3b m_colour; // blue, green, red: told apart by colour-blind readers too
};
const std::array<ReasonText, 8> sk_aReasons{{
    {"found", "a disparity was measured", {}},
    {"no texture",
     "the window holds too little signal to match, such as a plain wall; add light or pattern",
     {178, 114, 0}},
    {"not unique",
     "the best match is poor for its signal, or a second one is as good, as in repeated patterns",
     {0, 159, 230}},
    {"no fit or rim",
     "the best match stands at the rim of the searched range or the image: widen the range",
     {167, 121, 204}},
    {"small surface", "an island of few pixels, most likely by chance", {115, 158, 0}},
    {"back-forth", "the match from the other image leads elsewhere: hidden from one of the cameras", {66, 228, 240}},
    {"outside", "the window leaves what the cameras saw before rectification", {70, 70, 70}},
    {"hidden", "seen from the left camera: what lies there is hidden from the right one", {34, 51, 136}},
}};

} // namespace
static_assert(sk_aReasons.size() >= sk_nRejects);

namespace {

cv::Mat3b reasonColours(const StereoResult& rResult, KestrovaCamera eView)
{
    cv::Mat3b picture;
    cv::cvtColor(rResult.m_rectified.at(eView), picture, cv::COLOR_GRAY2BGR);
    for (int nRow = 0; nRow < picture.rows; ++nRow) {
        for (int nCol = 0; nCol < picture.cols; ++nCol) {
            if (const unsigned char ucReject = rResult.m_map16.m_reject(nRow, nCol)) {
                picture(nRow, nCol) = sk_aReasons[ucReject].m_colour;
            }
        }
    }
    return picture;
}

/** Small images are shown larger, in whole pixels. */
std::string imageElement(const cv::Mat3b& rPicture, const std::string& rCaption)
{
    return "<figure><img class=\"pixels\" alt=\"" + escapeHtml(rCaption) + "\" src=\"" + pictureData(rPicture) +
           "\"/><figcaption>" + escapeHtml(rCaption) + "</figcaption></figure>\n";
}

std::string css(const cv::Vec3b& rColour)
{
    return line("#%02x%02x%02x", rColour[2], rColour[1], rColour[0]);
}

std::string disparityLegend(const ColourScale& rScale)
{
    const cv::Mat3b palette = paletteOf(rScale);
    std::string bar = "<div class=\"bar\" style=\"background:linear-gradient(to right";
    for (int i = 0; i < 256; i += 15) {
        bar += line(",%s", css(palette(0, i)).c_str());
    }
    bar += ")\"></div>\n<div class=\"ticks\">";
    constexpr int nTicks = 6;
    for (int i = 0; i <= nTicks; ++i) {
        const double dDisparity = std::lerp(rScale.m_dMin, rScale.m_dMax, i / static_cast<double>(nTicks));
        bar += line("<span>%.3g px", dDisparity);
        if (rScale.m_dFocalTimesBaseline > 0.0) {
            bar += dDisparity > 0.0 ? line("<br/>%.2f m", rScale.m_dFocalTimesBaseline / dDisparity)
                                    : std::string("<br/>infinity");
        }
        bar += "</span>";
    }
    return bar + "</div>\n";
}

std::string reasonTable(const StereoResult& rResult, const DisparityMap& rGreys)
{
    const auto anCount = rResult.m_map16.count();
    const double dAll = static_cast<double>(rResult.m_map16.m_pixels.total());
    const cv::Mat3b greys = colourDisparity(rGreys, {});
    std::string rows = "<div class=\"wide\"><table>\n<tr><th></th><th></th><th>of the image</th><th>pixels</th>"
                       "<th>meaning</th></tr>\n";
    for (int i = 0; i < sk_nRejects; ++i) {
        const ReasonText& rReason = sk_aReasons[static_cast<std::size_t>(i)];
        const int nCount = anCount[static_cast<std::size_t>(i)];
        rows += "<tr><td class=\"swatch\">";
        if (i > 0) {
            for (const cv::Vec3b& rColour : {greys(0, i), rReason.m_colour}) {
                rows += line("<i style=\"background:%s\"></i>", css(rColour).c_str());
            }
        }
        rows += line("</td><td>%s</td><td class=\"number\">%.1f %%</td><td class=\"number\">%d</td><td>%s</td></tr>\n",
                     rReason.m_pszName, 100.0 * nCount / dAll, nCount, rReason.m_pszMeaning);
    }
    return rows + "</table></div>\n";
}

const char* const sk_pszDisparityStyle = R"css(<style>
.pair { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 24rem), 1fr)); gap: 1rem; }
.pair figure { margin: 0; }
.pixels { width: 100%; image-rendering: pixelated; }
.bar { height: 14px; border-radius: 3px; margin-top: 1rem; }
.ticks { display: flex; justify-content: space-between; font-size: .82rem; color: var(--quiet); margin: .2rem 0 1rem; }
.ticks span:nth-child(n+2) { text-align: center; }
.ticks span:last-child { text-align: right; }
.swatch { white-space: nowrap; }
.swatch i { display: inline-block; width: 1.1rem; height: .9rem; margin-right: .25rem; border: 1px solid var(--quiet); }
.share { display: block; height: .6rem; margin: .4rem 0; background: var(--accent); border-radius: 2px; }
</style>
)css";

void addDisparity(HtmlPage& rPage, const StereoResult& rResult, const ColourScale& rScale, KestrovaCamera eView)
{
    DisparityMap greys{cv::Mat1f(1, sk_nRejects, 0.0f), cv::Mat1b(1, sk_nRejects)}; // one pixel of each reason
    for (int i = 0; i < sk_nRejects; ++i) {
        greys.m_reject(0, i) = static_cast<unsigned char>(i);
    }
    rPage.heading("Disparity");
    const std::string scale = " The colours span the searched range, never one frame's own, so pictures of different "
                              "frames can be compared.";
    const bool bTop = rResult.m_rectified.count(KestrovaCamTop) > 0;
    const bool bLeft = rResult.m_rectified.count(KestrovaCamLeft) > 0;
    const std::string matches = std::string(bLeft ? "column x + d of the left one" : "") +
                                (bLeft && bTop ? " and " : "") + (bTop ? "row y + d of the top one" : "");
    rPage.paragraph(
        eView == KestrovaCamLeft
            ? "Seen from the left camera: disparity d at column x of the left image matches column x - d of "
              "the right one, the reference." +
                  scale
            : "Seen from the right camera, the reference: disparity d at column x, row y of the right image "
              "matches " +
                  matches + "." + scale);
    rPage.html(sk_pszDisparityStyle + std::string("<div class=\"pair\">\n") +
               imageElement(colourDisparity(rResult.m_map16, rScale), "Disparity; greys mark where there is none") +
               imageElement(reasonColours(rResult, eView),
                            "Why there is none: each reason has a colour, the picture shows "
                            "through where a disparity was found") +
               "</div>\n" + disparityLegend(rScale) + reasonTable(rResult, greys));
}

// ---- the rest ----

void addRectified(HtmlPage& rPage, const StereoResult& rResult)
{
    rPage.heading("Rectified images");
    const cv::Mat1b& rRight = rResult.m_rectified.at(KestrovaCamRight);
    if (const auto left = rResult.m_rectified.find(KestrovaCamLeft); left != rResult.m_rectified.end()) {
        rPage.picture(sideBySide(left->second, rRight), "Each detail must lie on the same line in both images.");
    }
    if (const auto top = rResult.m_rectified.find(KestrovaCamTop); top != rResult.m_rectified.end()) {
        rPage.picture(oneAboveOther(top->second, rRight),
                      "Each detail must lie on the same upright line in both images.");
    }
    std::vector<std::vector<std::string>> rows{{"", "RMS", "95 % below", "details", "left out", "verdict"}};
    for (const auto& [eCamera, rCheck] : rResult.m_rectifiedRows) {
        rows.push_back(
            {std::string(eCamera == KestrovaCamTop ? "column difference, right to " : "row difference, right to ") +
                 cameraName(eCamera),
             line("%.3f px", rCheck.m_rows.m_dRms), line("%.3f px", rCheck.m_rows.m_dWorst5th),
             std::to_string(rCheck.m_rows.m_nCount), line("%d strays", rCheck.m_nStrays), rCheck.verdictText()});
    }
    if (rows.size() > 1) {
        rPage.table(rows);
    }
}

void addTimes(HtmlPage& rPage, const StereoResult& rResult)
{
    double dLongest = 1e-9;
    for (const StageTime& rTime : rResult.m_times) {
        dLongest = std::max(dLongest, rTime.m_dMilliseconds);
    }
    std::string rows = "<div class=\"wide\"><table>\n<tr><th>stage</th><th>milliseconds</th><th></th></tr>\n";
    for (const StageTime& rTime : rResult.m_times) {
        rows += "<tr><td>" + escapeHtml(rTime.m_stage) +
                line("</td><td class=\"number\">%.2f</td><td style=\"width:16rem\"><span class=\"share\" "
                     "style=\"width:%.1f%%\"></span></td></tr>\n",
                     rTime.m_dMilliseconds, 100.0 * rTime.m_dMilliseconds / dLongest);
    }
    rPage.heading("Times");
    rPage.html(rows + "</table></div>\n");
}

void addSettings(HtmlPage& rPage, const StereoResult& rResult, const std::string& rSettings)
{
    const Optics& rOptics = rResult.m_optics;
    const cv::Size size = rResult.m_map16.m_pixels.size();
    rPage.heading("Optics and settings");
    const bool bLengths = rOptics.m_fBaseline > 0.0f;
    rPage.table({{"of the rectified images", ""},
                 {"size", line("%d x %d px", size.width, size.height)},
                 {"focal length", bLengths ? line("%.2f px", rOptics.m_fFocal) : std::string("not given")},
                 {"baseline", bLengths ? line("%.2f mm", 1000.0 * rOptics.m_fBaseline) : std::string("not given")},
                 {"centre", line("column %.2f, row %.2f", rOptics.m_fCentreCol, rOptics.m_fCentreRow)},
                 {"disparity range", line("%d to %d px", rResult.m_range[0], rResult.m_range[1])},
                 {"disparity offset", line("%d px", rResult.m_nOffset)}});
    std::vector<std::vector<std::string>> rows{{"setting", "value"}};
    std::istringstream lines(rSettings);
    for (std::string text; std::getline(lines, text);) {
        std::istringstream words(text);
        std::string name, value;
        words >> name >> std::ws;
        std::getline(words, value);
        rows.push_back({name, value});
    }
    if (rows.size() == 1) {
        return;
    }
    rPage.html("<details><summary>All settings of the library</summary>\n");
    rPage.table(rows);
    rPage.html("</details>\n");
}

std::vector<Fact> factsOf(const StereoResult& rResult)
{
    const double dFound = 100.0 * rResult.m_map16.count()[0] / static_cast<double>(rResult.m_map16.m_pixels.total());
    std::vector<Fact> facts{{line("%.1f %%", dFound), "of the pixels have a disparity"},
                            {line("%d to %d px", rResult.m_range[0], rResult.m_range[1]), "searched"}};
    if (rResult.m_optics.m_fBaseline > 0.0f) {
        facts.push_back({line("%zu", rResult.m_cloud.size()), "points in the cloud"});
        std::vector<float> depths;
        for (const CloudPoint& rPoint : rResult.m_cloud) {
            depths.push_back(rPoint.m_position.z);
        }
        const auto middle = depths.begin() + static_cast<std::ptrdiff_t>(depths.size() / 2);
        std::nth_element(depths.begin(), middle, depths.end());
        if (!depths.empty()) {
            facts.push_back({line("%.2f m", *middle), "median distance"});
        }
        facts.push_back(
            {line("%.1f mm", 1000.0 * rResult.m_optics.m_fBaseline), "baseline: does this match your ruler?"});
    }
    return facts;
}

} // namespace

void writeRunPage(const std::filesystem::path& rFile, const StereoResult& rResult, const std::string& rTitle,
                  const std::string& rSettings)
{
    const KestrovaCamera eView = rResult.m_bSeenFromLeft ? KestrovaCamLeft : KestrovaCamRight;
    const ColourScale scale{static_cast<double>(rResult.m_range[0]), static_cast<double>(rResult.m_range[1]),
                            static_cast<double>(rResult.m_optics.m_fFocal) * rResult.m_optics.m_fBaseline};
    HtmlPage page(rTitle);
    page.facts(factsOf(rResult));
    addCloud(page, rResult, scale, eView);
    addDisparity(page, rResult, scale, eView);
    addRectified(page, rResult);
    addTimes(page, rResult);
    addSettings(page, rResult, rSettings);
    page.save(rFile);
}

} // namespace kestrova::app
