#include "pages/CalibrationPage.h"

#include "basics/Line.h"
#include "outputs/Pictures.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

std::string colourOf(Verdict eVerdict)
{
    return eVerdict == Verdict::DoNotUse ? "#c0282d"
           : eVerdict == Verdict::Fair   ? "#b87400"
           : eVerdict == Verdict::Told   ? "#222"
                                         : "#1b7a3d";
}

std::string findingsMarkup(const Findings& rFindings)
{
    std::string text = "<table>\n<tr><th>what</th><th>value</th><th>verdict</th><th>meaning</th></tr>\n";
    for (const Finding& rFinding : rFindings) {
        text += "<tr><td>" + escapeHtml(rFinding.m_name) + "</td><td>" + escapeHtml(rFinding.m_value) +
                "</td><td style=\"font-weight:bold;color:" + colourOf(rFinding.m_eVerdict) + "\">" +
                verdictName(rFinding.m_eVerdict) + "</td><td>" + escapeHtml(rFinding.m_meaning) + "</td></tr>\n";
    }
    return text + "</table>\n";
}

// ---- where the boards were ----

cv::Scalar shotColour(std::size_t uShot)
{
    cv::Mat3b pixel(1, 1, cv::Vec3b(static_cast<unsigned char>(uShot * 47 % 180), 200, 190));
    cv::cvtColor(pixel, pixel, cv::COLOR_HSV2BGR);
    return cv::Scalar(pixel(0, 0));
}

cv::Mat3b coveragePicture(const Shots& rShots, KestrovaCamera eCamera)
{
    const double dScale = 480.0 / rShots.m_size.width;
    cv::Mat3b picture(static_cast<int>(std::lround(rShots.m_size.height * dScale)), 480, cv::Vec3b::all(255));
    const auto drawAll = [&](const auto& rDraw) {
        for (std::size_t u = 0; u < rShots.m_shots.size(); ++u) {
            if (const View& rView = rShots.m_shots[u].at(eCamera); rView.isUsed()) {
                Corners corners = rView.m_corners;
                for (cv::Point2f& rCorner : corners) {
                    rCorner *= static_cast<float>(dScale);
                }
                rDraw(corners, shotColour(u));
            }
        }
    };
    drawAll([&](const Corners& rCorners, const cv::Scalar&) {
        Corners hull;
        cv::convexHull(rCorners, hull);
        cv::fillConvexPoly(picture, std::vector<cv::Point>(hull.begin(), hull.end()), cv::Scalar(238, 242, 232));
    });
    drawAll([&](const Corners& rCorners, const cv::Scalar& rColour) {
        for (const cv::Point2f& rCorner : rCorners) {
            cv::circle(picture, rCorner, 2, rColour, cv::FILLED, cv::LINE_AA);
        }
    });
    cv::rectangle(picture, cv::Rect({0, 0}, picture.size()), cv::Scalar::all(120));
    return picture;
}

// ---- errors a photo ----

struct Bar
{
    std::string m_label;
    double m_dValue = 0.0; // pixels; negative for a photo that was dropped
    std::string m_note;
};

std::string barChart(const std::vector<Bar>& rBars)
{
    double dMost = 0.3;
    for (const Bar& rBar : rBars) {
        dMost = std::max(dMost, rBar.m_dValue);
    }
    constexpr int nStep = 18;
    std::string svg = line("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"900\" height=\"%d\" font-size=\"12\">\n",
                           nStep * static_cast<int>(rBars.size()) + 4);
    int nRow = 0;
    for (const Bar& rBar : rBars) {
        const double dWidth = rBar.m_dValue < 0.0 ? 0.0 : 420.0 * rBar.m_dValue / dMost;
        svg += line("<text x=\"180\" y=\"%d\" text-anchor=\"end\">", nRow * nStep + 14) + escapeHtml(rBar.m_label) +
               line("</text><rect x=\"190\" y=\"%d\" width=\"%.1f\" height=\"12\" fill=\"#4a7fb5\"/>", nRow * nStep + 4,
                    dWidth) +
               line("<text x=\"%.1f\" y=\"%d\"%s>", 196.0 + dWidth, nRow * nStep + 14,
                    rBar.m_dValue < 0.0 ? " fill=\"#c0282d\"" : "") +
               escapeHtml(rBar.m_dValue < 0.0 ? rBar.m_note : line("%.3f px", rBar.m_dValue)) + "</text>\n";
        ++nRow;
    }
    return svg + "</svg>\n";
}

std::vector<Bar> lensBars(const Shots& rShots, KestrovaCamera eCamera)
{
    std::vector<Bar> bars;
    for (const Shot& rShot : rShots.m_shots) {
        const View& rView = rShot.at(eCamera);
        bars.push_back({rView.m_file.filename().string(), rView.isUsed() ? rView.m_dLensError : -1.0, rView.m_reject});
    }
    return bars;
}

std::vector<Bar> rowBars(const Shots& rShots, KestrovaCamera eOther, const PairProof& rProof)
{
    std::vector<Bar> bars;
    for (std::size_t u = 0; u < rShots.m_shots.size(); ++u) {
        bars.push_back({rShots.m_shots[u].at(eOther).m_file.filename().string(), rProof.m_adShotRms[u], "not used"});
    }
    return bars;
}

} // namespace

HtmlPage calibrationPage(const CalibrationStory& rStory)
{
    const Shots& rShots = rStory.m_rShots;
    HtmlPage page("Calibration");
    page.paragraph("Board of " + rShots.m_board.describe() +
                   line("; photos of %dx%d; %zu of %zu shots used. The right camera is the reference: disparity d at "
                        "column x of the right image matches column x + d of the left.",
                        rShots.m_size.width, rShots.m_size.height, rShots.nUsed(), rShots.m_shots.size()));
    for (const std::string& rRemark : rStory.m_remarks) {
        page.paragraph(rRemark);
    }
    page.heading("Is it good?");
    page.html(findingsMarkup(rStory.m_rFindings));
    page.heading("Where the boards were");
    for (const auto& [eCamera, rFirst] : rShots.m_shots.front()) {
        page.picture(coveragePicture(rShots, eCamera),
                     line("%s camera: corners of all used photos, a colour a photo; %.0f %% of the image lie inside a "
                          "board. White was never seen: photograph the board there.",
                          cameraName(eCamera), 100.0 * coverage(rShots, eCamera)));
    }
    for (const auto& [eOther, rProof] : rStory.m_rProofs) {
        page.heading(std::string(eOther == KestrovaCamTop ? "Column" : "Row") + " error of each shot, right and " +
                     cameraName(eOther));
        page.html(barChart(rowBars(rShots, eOther, rProof)));
    }
    for (const auto& [eCamera, rFirst] : rShots.m_shots.front()) {
        page.heading(std::string("Reprojection error of each photo, ") + cameraName(eCamera) + " camera");
        page.html(barChart(lensBars(rShots, eCamera)));
    }
    if (!rStory.m_rectified.empty()) {
        page.heading("Rectified by the library: " + rStory.m_shotName);
    }
    for (const auto& [eCamera, rImage] : rStory.m_rectified) {
        if (eCamera == KestrovaCamLeft) {
            page.picture(sideBySide(rImage, rStory.m_rectified.at(KestrovaCamRight)),
                         "A coloured line must run through the same corner on both sides.");
        } else if (eCamera == KestrovaCamTop) {
            page.picture(oneAboveOther(rImage, rStory.m_rectified.at(KestrovaCamRight)),
                         "A coloured line must run through the same corner above and below.");
        }
    }
    return page;
}

} // namespace kestrova::app
