#include "outputs/TruthComparison.h"

#include "basics/Line.h"
#include "basics/Statistics.h"

#include <opencv2/calib3d.hpp>

#include <algorithm>
#include <cstdio>
#include <limits>

namespace kestrova::app {

namespace {

constexpr float sk_fUnknown = std::numeric_limits<float>::infinity();

} // namespace

cv::Mat1f toLeftView(const cv::Mat1f& rRightView)
{
    cv::Mat1f left(rRightView.size(), sk_fUnknown);
    for (int nRow = 0; nRow < left.rows; ++nRow) {
        for (int nCol = 0; nCol < left.cols; ++nCol) {
            const float fDisparity = rRightView(nRow, nCol);
            if (!std::isfinite(fDisparity)) {
                continue;
            }
            const long nAt = std::lround(static_cast<float>(nCol) + fDisparity);
            if (nAt < 0 || nAt >= left.cols) {
                continue;
            }
            float& rPlace = left(nRow, static_cast<int>(nAt));
            if (!std::isfinite(rPlace) || fDisparity > rPlace) {
                rPlace = fDisparity;
            }
        }
    }
    return left;
}

// Mirrored, a right image is a left one.
cv::Mat1f toRightView(const cv::Mat1f& rLeftView)
{
    cv::Mat1f mirrored;
    cv::flip(rLeftView, mirrored, 1);
    cv::Mat1f right;
    cv::flip(toLeftView(mirrored), right, 1);
    return right;
}

TruthShares compareWithTruth(const cv::Mat1f& rDisparity, const cv::Mat1f& rTruth, cv::Vec2i range)
{
    TruthShares shares;
    for (int nRow = 0; nRow < rTruth.rows; ++nRow) {
        for (int nCol = 0; nCol < rTruth.cols; ++nCol) {
            const float fTrue = rTruth(nRow, nCol);
            if (fTrue <= 0.0f || fTrue < static_cast<float>(range[0]) || fTrue > static_cast<float>(range[1])) {
                continue;
            }
            ++shares.m_nKnown;
            const float fDisparity = rDisparity(nRow, nCol);
            if (!std::isfinite(fDisparity)) {
                continue;
            }
            const double dError = std::abs(static_cast<double>(fDisparity) - fTrue);
            ++shares.m_nFound;
            shares.m_nWithin1 += dError <= 1.0;
            shares.m_nWithin2 += dError <= 2.0;
            shares.m_dSumError += dError <= 2.0 ? dError : 0.0;
        }
    }
    return shares;
}

// ---- the measures of stereo benchmarks ----

namespace {

bool isKnown(float fDisparity)
{
    return std::isfinite(fDisparity) && fDisparity > 0.0f;
}

bool isBeyond(float fTrue, const std::optional<cv::Vec2i>& rRange)
{
    return rRange && (fTrue < static_cast<float>((*rRange)[0]) || fTrue > static_cast<float>((*rRange)[1]));
}

void addError(TruthErrors& rErrors, double dError, double dTrue)
{
    ++rErrors.m_nFound;
    for (std::size_t n = 0; n < sk_adBad.size(); ++n) {
        rErrors.m_anBad[n] += dError > sk_adBad[n];
    }
    rErrors.m_nOutliers += dError > 3.0 && dError > 0.05 * dTrue;
    rErrors.m_dSum += dError;
    rErrors.m_dSumSquares += dError * dError;
}

} // namespace

TruthErrors measureErrors(const cv::Mat1f& rDisparity, const cv::Mat1f& rTruth, std::optional<cv::Vec2i> range)
{
    TruthErrors errors;
    errors.m_nPixels = static_cast<long>(rTruth.total());
    for (int nRow = 0; nRow < rTruth.rows; ++nRow) {
        for (int nCol = 0; nCol < rTruth.cols; ++nCol) {
            const float fTrue = rTruth(nRow, nCol);
            if (!isKnown(fTrue)) {
                continue;
            }
            if (isBeyond(fTrue, range)) {
                ++errors.m_nBeyond;
                continue;
            }
            ++errors.m_nKnown;
            if (const float fDisparity = rDisparity(nRow, nCol); isKnown(fDisparity)) {
                addError(errors, std::abs(static_cast<double>(fDisparity) - fTrue), fTrue);
            }
        }
    }
    return errors;
}

std::optional<double> wrongFactor(const cv::Mat1f& rDisparity, const cv::Mat1f& rTruth)
{
    constexpr std::size_t uLeast = 100; // pixels
    std::vector<cv::Vec2d> pairs;
    std::vector<double> factors;
    for (int nRow = 0; nRow < rTruth.rows; ++nRow) {
        for (int nCol = 0; nCol < rTruth.cols; ++nCol) {
            if (isKnown(rTruth(nRow, nCol)) && isKnown(rDisparity(nRow, nCol))) {
                pairs.emplace_back(rDisparity(nRow, nCol), rTruth(nRow, nCol));
                factors.push_back(pairs.back()[0] / pairs.back()[1]);
            }
        }
    }
    if (pairs.size() < uLeast) {
        return std::nullopt;
    }
    const double dFactor = medianOf(factors);
    const auto share = [&](double dTry) {
        const auto nFits = std::count_if(pairs.begin(), pairs.end(), [&](const cv::Vec2d& rPair) {
            return std::abs(rPair[0] - dTry * rPair[1]) <= std::max(0.5, 0.02 * rPair[0]);
        });
        return static_cast<double>(nFits) / static_cast<double>(pairs.size());
    };
    return std::abs(dFactor - 1.0) > 0.05 && share(dFactor) > 0.6 && share(1.0) < 0.3 ? std::optional(dFactor)
                                                                                      : std::nullopt;
}

std::string truthErrorsText(const TruthErrors& r)
{
    std::string text = line("pixels %ld, truth known at %ld (%.1f %%)", r.m_nPixels, r.m_nKnown + r.m_nBeyond,
                            TruthErrors::share(r.m_nKnown + r.m_nBeyond, r.m_nPixels));
    text += r.m_nBeyond ? line("; %ld of them outside the range and left out\n", r.m_nBeyond) : std::string("\n");
    text += line("density: %.2f %% of the known pixels have a disparity (%ld)\n\n", r.foundShare(), r.m_nFound);
    text += "                                   of those found   missing counted as bad\n";
    const auto row = [&](const std::string& rName, long nBad) {
        return line("  %-34s %8.2f %% %18.2f %%\n", rName.c_str(), r.badOfFound(nBad), r.badOfKnown(nBad));
    };
    for (std::size_t n = 0; n < sk_adBad.size(); ++n) {
        text += row(line("bad-%g: more than %g px off", sk_adBad[n], sk_adBad[n]), r.m_anBad[n]);
    }
    text += row("D1: more than 3 px and 5 % off", r.m_nOutliers);
    return text + line("\nmean error %.4f px, RMS error %.4f px, of those found\n", r.meanError(), r.rmsError());
}

namespace {

std::string nameOf(int nReason)
{
    return nReason < sk_nRejects ? rejectName(static_cast<Reject>(nReason)) : "unknown code";
}

std::string reasonLine(int nReason, long nPixels, std::vector<float>& rTruths, long nBeyond)
{
    std::sort(rTruths.begin(), rTruths.end());
    const auto at = [&](double dShare) {
        return static_cast<double>(
            rTruths[static_cast<std::size_t>(dShare * static_cast<double>(rTruths.size() - 1) + 0.5)]);
    };
    const std::string truths =
        rTruths.empty() ? std::string("         -") : line("%10.2f    %.2f to %.2f", at(0.5), at(0.05), at(0.95));
    return line("  %-14s %9ld %9zu %10ld ", nameOf(nReason).c_str(), nPixels, rTruths.size(), nBeyond) + truths + "\n";
}

} // namespace

std::string truthByReasonText(const cv::Mat1b& rReasons, const cv::Mat1f& rTruth, std::optional<cv::Vec2i> range)
{
    std::array<std::vector<float>, 256> aTruths;
    std::array<long, 256> anPixels{};
    std::array<long, 256> anBeyond{};
    for (int nRow = 0; nRow < rTruth.rows; ++nRow) {
        for (int nCol = 0; nCol < rTruth.cols; ++nCol) {
            const unsigned char ucReason = rReasons(nRow, nCol);
            const float fTrue = rTruth(nRow, nCol);
            ++anPixels[ucReason];
            if (isKnown(fTrue)) {
                aTruths[ucReason].push_back(fTrue);
            }
            anBeyond[ucReason] += isKnown(fTrue) && isBeyond(fTrue, range);
        }
    }
    std::string text = "\nBy reason                    truth    outside   true disparity there, px\n"
                       "                    pixels     known  the range     median    5 to 95 %\n";
    for (int i = 0; i < 256; ++i) {
        if (const auto n = static_cast<std::size_t>(i); anPixels[n]) {
            text += reasonLine(i, anPixels[n], aTruths[n], anBeyond[n]);
        }
    }
    return text;
}

// The matcher measures from its first image, to the left: column x of the left image matches x - d of the right one.
// Seen from the right image, both are mirrored.
cv::Mat1f blockMatch(const cv::Mat1b& rRight, const cv::Mat1b& rLeft, const BlockMatchRequest& rRequest,
                     TruthView eView)
{
    const int nCount = (rRequest.m_range[1] - rRequest.m_range[0] + 1 + 15) / 16 * 16;
    const cv::Ptr<cv::StereoBM> matcher = cv::StereoBM::create(nCount, std::max(5, rRequest.m_nWindow | 1));
    matcher->setMinDisparity(rRequest.m_range[0]);
    matcher->setUniquenessRatio(rRequest.m_nUniquenessRatio);
    matcher->setTextureThreshold(rRequest.m_nTextureThreshold);
    cv::Mat1s sixteenths;
    if (eView == TruthView::Left) {
        matcher->compute(rLeft, rRight, sixteenths);
    } else {
        cv::Mat first;
        cv::Mat second;
        cv::flip(rRight, first, 1);
        cv::flip(rLeft, second, 1);
        matcher->compute(first, second, sixteenths);
        cv::flip(sixteenths, sixteenths, 1);
    }
    cv::Mat1f disparity;
    sixteenths.convertTo(disparity, CV_32F, 1.0 / 16.0);
    disparity.setTo(sk_fUnknown, disparity < static_cast<double>(rRequest.m_range[0]));
    return disparity;
}

std::string truthTableHead()
{
    return "                                   known   found   within 1   within 2   within 2   mean error\n"
           "                                  pixels       %   % of found % of found % of known of those, pixels\n";
}

std::string truthTableRow(const std::string& rName, const TruthShares& rShares)
{
    const auto share = [](long nPart, long nWhole) {
        return nWhole ? 100.0 * static_cast<double>(nPart) / static_cast<double>(nWhole) : 0.0;
    };
    const double dMean = rShares.m_nWithin2 ? rShares.m_dSumError / static_cast<double>(rShares.m_nWithin2) : 0.0;
    char acLine[200];
    std::snprintf(acLine, sizeof acLine, "  %-30s %8ld %7.1f %10.1f %10.1f %10.1f %12.3f\n", rName.c_str(),
                  rShares.m_nKnown, share(rShares.m_nFound, rShares.m_nKnown),
                  share(rShares.m_nWithin1, rShares.m_nFound), share(rShares.m_nWithin2, rShares.m_nFound),
                  share(rShares.m_nWithin2, rShares.m_nKnown), dMean);
    return acLine;
}

} // namespace kestrova::app
