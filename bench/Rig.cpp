#include "Rig.h"

#include "support/CalibrationText.h"

#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <cstdlib>

namespace bench {

// Normalised coordinates, 4 by 3, around the centre.
Point distort(double dRow, double dCol, double dStrength)
{
    const double dY = (dRow - 0.5) * 0.75;
    const double dX = dCol - 0.5;
    const double dScale = 1 - dStrength * (0.4 - dX * dX - dY * dY); // shrinks towards the centre: stays in the frame
    return {0.5 + (dRow - 0.5) * dScale, 0.5 + dX * dScale};
}

namespace {

std::string calibration(double dStrength)
{
    kestrova::test::CalibrationText text(kestrova::test::Shape::Horizontal);
    text.nCoefs = 12;
    for (auto& rCamera : text.cameras) {
        rCamera.forward.row = [=](double dRow, double dCol) { return distort(dRow, dCol, dStrength).m_dRow; };
        rCamera.forward.col = [=](double dRow, double dCol) { return distort(dRow, dCol, dStrength).m_dCol; };
    }
    return text.text();
}

} // namespace

void check(KestrovaError error, const char* pszCall)
{
    if (error != KestrovaErrorOk) {
        std::fprintf(stderr, "%s: %s\n", pszCall, kestrovaErrorToString(error));
        std::exit(1);
    }
}

Context makeContext(int nRows, int nCols, int nDisparities, double dRadialDistortion)
{
    const std::string text = calibration(dRadialDistortion);
    KestrovaContext context = nullptr;
    check(kestrovaGetDefaultContextFromMemory(&context, text.c_str()), "kestrovaGetDefaultContextFromMemory");
    Context owner(context);
    check(kestrovaSetResolution(context, nRows, nCols), "kestrovaSetResolution");
    check(kestrovaSetStereoMask(context, 11), "kestrovaSetStereoMask");
    check(kestrovaSetDisparity(context, 0, nDisparities - 1), "kestrovaSetDisparity");
    check(kestrovaSetMaxThreadCount(context, 1), "kestrovaSetMaxThreadCount");
    return owner;
}

KestrovaInput makeInput(const cv::Mat& rRight, const cv::Mat& rLeft)
{
    KestrovaInput input{};
    kestrovaBuildRGBKestrovaInput(rRight.cols, rRight.rows, static_cast<int>(rRight.step[0]), 0, 0, rRight.data,
                                  rLeft.data, rLeft.data, &input);
    return input;
}

void remapTables(cv::Size size, cv::Size raw, double dRadialDistortion, bool bNearest, cv::Mat& rFixed,
                 cv::Mat& rFractions)
{
    const int nRows = size.height;
    const int nCols = size.width;
    cv::Mat columns(nRows, nCols, CV_32F);
    cv::Mat rows(nRows, nCols, CV_32F);
    for (int nRow = 0; nRow < nRows; ++nRow) {
        for (int nCol = 0; nCol < nCols; ++nCol) {
            const Point point = distort((nRow + 0.5) / nRows, (nCol + 0.5) / nCols, dRadialDistortion);
            rows.at<float>(nRow, nCol) = static_cast<float>(point.m_dRow * raw.height - 0.5);
            columns.at<float>(nRow, nCol) = static_cast<float>(point.m_dCol * raw.width - 0.5);
        }
    }
    cv::convertMaps(columns, rows, rFixed, rFractions, CV_16SC2, bNearest);
}

cv::Mat rawFrame(const cv::Mat& rRectified, cv::Size raw, double dRadialDistortion)
{
    cv::Mat columns(raw, CV_32F);
    cv::Mat rows(raw, CV_32F);
    for (int nRow = 0; nRow < raw.height; ++nRow) {
        for (int nCol = 0; nCol < raw.width; ++nCol) {
            const Point seen{(nRow + 0.5) / raw.height, (nCol + 0.5) / raw.width};
            Point point = seen;
            for (int n = 0; n < 12; ++n) { // the lens is mild: this converges
                const Point there = distort(point.m_dRow, point.m_dCol, dRadialDistortion);
                point = {point.m_dRow + seen.m_dRow - there.m_dRow, point.m_dCol + seen.m_dCol - there.m_dCol};
            }
            rows.at<float>(nRow, nCol) = static_cast<float>(point.m_dRow * rRectified.rows - 0.5);
            columns.at<float>(nRow, nCol) = static_cast<float>(point.m_dCol * rRectified.cols - 0.5);
        }
    }
    cv::Mat result;
    cv::remap(rRectified, result, columns, rows, cv::INTER_CUBIC, cv::BORDER_REPLICATE);
    return result;
}

} // namespace bench
