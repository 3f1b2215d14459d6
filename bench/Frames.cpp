#include "Frames.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace bench {

namespace {

cv::Mat texture(int nRows, int nCols, cv::RNG& rRandom)
{
    cv::Mat fine(nRows, nCols, CV_32F);
    rRandom.fill(fine, cv::RNG::UNIFORM, 0.0, 255.0);
    cv::GaussianBlur(fine, fine, {0, 0}, 0.8);
    cv::Mat coarse(nRows / 8 + 1, nCols / 8 + 1, CV_32F);
    rRandom.fill(coarse, cv::RNG::UNIFORM, 0.0, 255.0);
    cv::resize(coarse, coarse, fine.size(), 0, 0, cv::INTER_CUBIC);
    return 0.6 * fine + 0.4 * coarse;
}

cv::Mat withNoise(const cv::Mat& rImage, cv::RNG& rRandom)
{
    cv::Mat noise(rImage.size(), CV_32F);
    rRandom.fill(noise, cv::RNG::NORMAL, 0.0, 1.5);
    cv::Mat bytes;
    cv::Mat(rImage + noise).convertTo(bytes, CV_8U);
    return bytes;
}

} // namespace

Frames makeFrames(int nRows, int nCols, int nDisparities)
{
    cv::RNG random(20240607);
    const cv::Mat wall = texture(nRows, nCols + nDisparities, random);
    Frames frames;
    frames.m_disparity.create(nRows, nCols, CV_32F);
    cv::Mat columns(nRows, nCols, CV_32F);
    cv::Mat rows(nRows, nCols, CV_32F);
    for (int nRow = 0; nRow < nRows; ++nRow) {
        for (int nCol = 0; nCol < nCols; ++nCol) {
            const float fSlant = 0.6F * static_cast<float>(nRow) / static_cast<float>(nRows) +
                                 0.4F * static_cast<float>(nCol) / static_cast<float>(nCols);
            const float fDisparity = static_cast<float>(nDisparities) * (0.25F + 0.5F * fSlant);
            frames.m_disparity.at<float>(nRow, nCol) = fDisparity;
            columns.at<float>(nRow, nCol) = static_cast<float>(nCol) + fDisparity;
            rows.at<float>(nRow, nCol) = static_cast<float>(nRow);
        }
    }
    // The left image is the wall itself; the right image sees at column x what the left one sees at x + d.
    cv::Mat right;
    cv::remap(wall, right, columns, rows, cv::INTER_CUBIC);
    frames.m_right = withNoise(right, random);
    frames.m_left = withNoise(wall.colRange(0, nCols).clone(), random);
    return frames;
}

Frames readFrames(int nRows, int nCols, const char* pszLeft, const char* pszRight)
{
    const auto read = [&](const char* pszFile) {
        cv::Mat image;
        cv::resize(cv::imread(pszFile, cv::IMREAD_GRAYSCALE), image, {nCols, nRows}, 0, 0, cv::INTER_AREA);
        return image;
    };
    return {read(pszRight), read(pszLeft), {}};
}

cv::Mat displacedAlongRows(const Frames& rFrames)
{
    cv::Mat image = rFrames.m_left.clone();
    for (int nRow = 0; nRow < image.rows; ++nRow) {
        for (int nCol = 0; nCol < image.cols; ++nCol) {
            const int nSeen = nRow + cvRound(rFrames.m_disparity.at<float>(nRow, nCol));
            if (nSeen < image.rows) {
                image.at<unsigned char>(nSeen, nCol) = rFrames.m_right.at<unsigned char>(nRow, nCol);
            }
        }
    }
    return image;
}

} // namespace bench
