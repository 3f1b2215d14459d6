#include "outputs/Pictures.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace kestrova::app {

namespace {

struct RejectStyle
{
    const char* m_pszName;
    unsigned char m_ucGrey;
    std::array<unsigned char, 3> m_aucColour; // blue, green, red
};

constexpr std::array<RejectStyle, sk_nRejects> sk_aStyles{{{"found", 0, {230, 230, 230}},
                                                           {"no texture", 70, {220, 120, 30}},
                                                           {"not unique", 125, {40, 150, 250}},
                                                           {"no fit / rim", 170, {60, 180, 60}},
                                                           {"small surface", 205, {60, 60, 220}},
                                                           {"back-forth", 240, {190, 80, 170}},
                                                           {"outside frame", 20, {40, 40, 40}},
                                                           {"hidden", 45, {140, 140, 20}}}};

cv::Vec3b colourOf(std::size_t uReject)
{
    const auto& rColour = sk_aStyles.at(uReject).m_aucColour;
    return {rColour[0], rColour[1], rColour[2]};
}

cv::Mat3b colourTable()
{
    cv::Mat1b ramp(1, 256);
    for (int i = 0; i < 256; ++i) {
        ramp(0, i) = static_cast<unsigned char>(i);
    }
    cv::Mat3b table;
    cv::applyColorMap(ramp, table, cv::COLORMAP_TURBO);
    return table;
}

int tableIndex(double dDisparity, const ColourScale& rScale)
{
    const double dShare = (dDisparity - rScale.m_dMin) / (rScale.m_dMax - rScale.m_dMin);
    return static_cast<int>(std::lround(255.0 * std::clamp(dShare, 0.0, 1.0)));
}

} // namespace

cv::Mat3b colourDisparity(const DisparityMap& rMap, const ColourScale& rScale)
{
    const cv::Mat3b table = colourTable();
    cv::Mat3b picture(rMap.m_pixels.size());
    for (int nRow = 0; nRow < picture.rows; ++nRow) {
        for (int nCol = 0; nCol < picture.cols; ++nCol) {
            const unsigned char ucReject = rMap.m_reject(nRow, nCol);
            picture(nRow, nCol) = ucReject == 0 ? table(0, tableIndex(rMap.m_pixels(nRow, nCol), rScale))
                                                : cv::Vec3b::all(sk_aStyles[ucReject].m_ucGrey);
        }
    }
    return picture;
}

namespace {

void write(cv::Mat3b& rPicture, const std::string& rText, cv::Point at, double dSize = 0.42)
{
    cv::putText(rPicture, rText, at, cv::FONT_HERSHEY_SIMPLEX, dSize, cv::Scalar::all(30), 1, cv::LINE_AA);
}

template<typename... Values>
std::string format(const char* pszFormat, Values... values)
{
    char acText[160];
    std::snprintf(acText, sizeof acText, pszFormat, values...);
    return acText;
}

constexpr int sk_nLegendWidth = 190;

void drawColourBar(cv::Mat3b& rLegend, const ColourScale& rScale, cv::Rect bar)
{
    const cv::Mat3b table = colourTable();
    for (int nRow = 0; nRow < bar.height; ++nRow) {
        const int nIndex = 255 - 255 * nRow / (bar.height - 1);
        rLegend.row(bar.y + nRow).colRange(bar.x, bar.x + bar.width).setTo(cv::Scalar(table(0, nIndex)));
    }
    constexpr int nTicks = 6;
    for (int i = 0; i <= nTicks; ++i) {
        const double dDisparity = std::lerp(rScale.m_dMax, rScale.m_dMin, i / static_cast<double>(nTicks));
        const int nRow = bar.y + i * (bar.height - 1) / nTicks;
        cv::line(rLegend, {bar.x + bar.width, nRow}, {bar.x + bar.width + 4, nRow}, cv::Scalar::all(30));
        std::string text = format("%.3g px", dDisparity);
        if (rScale.m_dFocalTimesBaseline > 0.0 && dDisparity > 0.0) {
            text += format("  %.2f m", rScale.m_dFocalTimesBaseline / dDisparity);
        }
        write(rLegend, text, {bar.x + bar.width + 8, nRow + 4});
    }
}

struct LegendStyle
{
    int m_nFirst = 1;       // reject with a box of its own
    bool m_bColour = false; // boxes in colour, and the number of each reason
};

void drawRejects(cv::Mat3b& rLegend, const DisparityMap& rMap, int nTop, const LegendStyle& rStyle)
{
    const auto anCount = rMap.count();
    const double dAll = std::max<double>(1.0, static_cast<double>(rMap.m_pixels.total()));
    for (int i = 0; i < sk_nRejects; ++i) {
        const auto uReject = static_cast<std::size_t>(i);
        if (i == static_cast<int>(Reject::Hidden) && anCount[uReject] == 0) {
            continue; // only the left camera has such pixels
        }
        const int nRow = nTop + 20 * i;
        const cv::Vec3b colour = rStyle.m_bColour ? colourOf(uReject) : cv::Vec3b::all(sk_aStyles[uReject].m_ucGrey);
        if (i >= rStyle.m_nFirst) {
            cv::rectangle(rLegend, cv::Rect(10, nRow - 11, 22, 14), cv::Scalar(colour), cv::FILLED);
            cv::rectangle(rLegend, cv::Rect(10, nRow - 11, 22, 14), cv::Scalar::all(30));
        }
        const std::string name = rStyle.m_bColour ? format("%d ", i) + sk_aStyles[uReject].m_pszName
                                                  : std::string(sk_aStyles[uReject].m_pszName);
        write(rLegend, name, {i >= rStyle.m_nFirst ? 38 : 10, nRow}, rStyle.m_bColour ? 0.38 : 0.42);
        write(rLegend, format("%5.1f %%", 100.0 * anCount[uReject] / dAll), {132, nRow});
    }
}

constexpr int sk_nTitleHeight = 26;

// A picture with its title above and room for a legend beside it; small ones enlarged by whole factors.
cv::Mat3b sheetOf(const cv::Mat3b& rPicture, const std::string& rTitle)
{
    cv::Mat3b picture;
    const int nFactor = std::max(1, (400 + rPicture.rows - 1) / rPicture.rows);
    cv::resize(rPicture, picture, {}, nFactor, nFactor, cv::INTER_NEAREST);
    cv::Mat3b sheet(picture.rows + sk_nTitleHeight, picture.cols + sk_nLegendWidth, cv::Vec3b::all(245));
    picture.copyTo(sheet(cv::Rect({0, sk_nTitleHeight}, picture.size())));
    write(sheet, rTitle, {8, 18}, 0.46);
    return sheet;
}

cv::Mat3b legendOf(cv::Mat3b& rSheet)
{
    return rSheet(cv::Rect(rSheet.cols - sk_nLegendWidth, 0, sk_nLegendWidth, rSheet.rows));
}

} // namespace

cv::Mat3b disparityPicture(const DisparityMap& rMap, const ColourScale& rScale, const std::string& rTitle)
{
    cv::Mat3b sheet = sheetOf(colourDisparity(rMap, rScale), rTitle);
    cv::Mat3b legend = legendOf(sheet);
    const int nRejects = sheet.rows - 20 * sk_nRejects;
    drawColourBar(legend, rScale, {10, sk_nTitleHeight + 10, 22, nRejects - sk_nTitleHeight - 40});
    drawRejects(legend, rMap, nRejects, {});
    return sheet;
}

cv::Mat3b reasonPicture(const DisparityMap& rMap, const cv::Mat1b& rImage, const std::string& rTitle)
{
    cv::Mat3b picture(rMap.m_reject.size());
    for (int nRow = 0; nRow < picture.rows; ++nRow) {
        for (int nCol = 0; nCol < picture.cols; ++nCol) {
            const unsigned char ucReject = rMap.m_reject(nRow, nCol);
            picture(nRow, nCol) = ucReject ? colourOf(ucReject)
                                           : cv::Vec3b::all(static_cast<unsigned char>(170 + rImage(nRow, nCol) / 3));
        }
    }
    cv::Mat3b sheet = sheetOf(picture, rTitle);
    cv::Mat3b legend = legendOf(sheet);
    drawRejects(legend, rMap, sk_nTitleHeight + 20, {0, true});
    return sheet;
}

namespace {

// Two images on one sheet, the second beside or below the first, and lines along which they must agree.
cv::Mat3b sheetOfTwo(const cv::Mat1b& rFirst, const char* pszFirst, const cv::Mat1b& rRight, bool bBelow)
{
    if (rFirst.cols < 240) { // the titles need room
        const int nFactor = (240 + rFirst.cols - 1) / rFirst.cols;
        cv::Mat1b first;
        cv::Mat1b right;
        cv::resize(rFirst, first, {}, nFactor, nFactor, cv::INTER_NEAREST);
        cv::resize(rRight, right, {}, nFactor, nFactor, cv::INTER_NEAREST);
        return sheetOfTwo(first, pszFirst, right, bBelow);
    }
    constexpr int nTitle = sk_nTitleHeight;
    constexpr int nGap = 6;
    const cv::Point firstAt(0, nTitle);
    const cv::Point rightAt =
        firstAt + (bBelow ? cv::Point(0, rFirst.rows + nTitle) : cv::Point(rFirst.cols + nGap, 0));
    cv::Mat3b sheet(rightAt.y + rRight.rows, rightAt.x + rRight.cols, cv::Vec3b::all(245));
    cv::cvtColor(rFirst, sheet(cv::Rect(firstAt, rFirst.size())), cv::COLOR_GRAY2BGR);
    cv::cvtColor(rRight, sheet(cv::Rect(rightAt, rRight.size())), cv::COLOR_GRAY2BGR);
    write(sheet, pszFirst, firstAt + cv::Point(8, -8), 0.46);
    write(sheet, "right, rectified (reference)", rightAt + cv::Point(8, -8), 0.46);
    const int nStep = std::max(8, rRight.rows / 16);
    const std::array<cv::Scalar, 3> aColours{cv::Scalar(60, 220, 60), cv::Scalar(40, 170, 255),
                                             cv::Scalar(255, 160, 40)};
    for (int i = 0; nStep / 2 + i * nStep < (bBelow ? rRight.cols : rRight.rows); ++i) {
        const int nAt = nStep / 2 + i * nStep;
        const cv::Point from = bBelow ? cv::Point(nAt, nTitle) : cv::Point(0, nTitle + nAt);
        const cv::Point to = bBelow ? cv::Point(nAt, sheet.rows - 1) : cv::Point(sheet.cols - 1, nTitle + nAt);
        cv::line(sheet, from, to, aColours[static_cast<std::size_t>(i % 3)]);
    }
    return sheet;
}

} // namespace

cv::Mat3b sideBySide(const cv::Mat1b& rLeft, const cv::Mat1b& rRight)
{
    return sheetOfTwo(rLeft, "left, rectified", rRight, false);
}

cv::Mat3b oneAboveOther(const cv::Mat1b& rTop, const cv::Mat1b& rRight)
{
    return sheetOfTwo(rTop, "top, rectified", rRight, true);
}

} // namespace kestrova::app
