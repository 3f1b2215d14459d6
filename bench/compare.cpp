// Our stages beside OpenCV's on the same frames in the same run, as milliseconds and ratios. One thread everywhere.
//
// The disparities are looked at before anything is timed: a fast wrong answer is no answer.
#include "Frames.h"
#include "Rig.h"
#include "SideBySide.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int sk_nMask = 11;
constexpr double sk_dLens = 0.12;

using bench::Size;

void printRow(const char* pszWork, const bench::Comparison& rTimes)
{
    std::printf("  %-58s %9.3f %9.3f %8.2f\n", pszWork, rTimes.m_dOurMs, rTimes.m_dTheirMs, rTimes.m_dRatio);
}

void stereo(KestrovaContext context)
{
    bench::check(kestrovaStereo(context), "kestrovaStereo");
}

/** Ends the program unless most valid pixels are within one disparity of the truth. */
void expectRightAnswers(KestrovaContext context, const cv::Mat& rTruth)
{
    KestrovaImage16 image{};
    bench::check(kestrovaGetImage16(context, KestrovaImg16Disparity, KestrovaCamReference, &image),
                 "kestrovaGetImage16");
    int nValid = 0;
    int nRight = 0;
    for (int nRow = 0; nRow < image.nrows; ++nRow) {
        const auto* pRow = reinterpret_cast<const uint16_t*>(reinterpret_cast<const uint8_t*>(image.data) +
                                                             std::ptrdiff_t{nRow} * image.rowinc);
        for (int nCol = 0; nCol < image.ncols; ++nCol) {
            if (pRow[nCol] < KestrovaDisparity16Invalid) {
                ++nValid;
                nRight += std::abs(pRow[nCol] / 256.0F - rTruth.at<float>(nRow, nCol)) <= 1 ? 1 : 0;
            }
        }
    }
    const double dShare = nValid > 0 ? 100.0 * nRight / nValid : 0;
    std::printf("  %.0f %% of the pixels valid, of these %.1f %% within 1 disparity of the truth\n",
                100.0 * nValid / (double(image.nrows) * image.ncols), dShare);
    if (nValid < image.nrows * image.ncols / 4 || dShare < 95) {
        std::fprintf(stderr, "the disparities are wrong; nothing was timed\n");
        std::exit(1);
    }
}

cv::Ptr<cv::StereoBM> blockMatcher(int nDisparities, bool bChecks)
{
    const auto matcher = cv::StereoBM::create(nDisparities, sk_nMask);
    matcher->setTextureThreshold(bChecks ? 10 : 0);
    matcher->setUniquenessRatio(bChecks ? 15 : 0);
    return matcher;
}

void compareStereo(KestrovaContext context, const bench::Frames& rFrames, const Size& rSize)
{
    KestrovaInput input = bench::makeInput(rFrames.m_right, rFrames.m_left);
    bench::check(kestrovaPreprocess(context, &input), "kestrovaPreprocess");
    stereo(context);
    expectRightAnswers(context, rFrames.m_disparity);

    cv::Mat theirs;
    const auto checked = blockMatcher(rSize.m_nDisparities, true);
    const auto unchecked = blockMatcher(rSize.m_nDisparities, false);
    // A block matcher measures from the left image; mirrored and swapped, it measures from the right one as we do.
    cv::Mat left;
    cv::Mat right;
    cv::flip(rFrames.m_right, left, 1);
    cv::flip(rFrames.m_left, right, 1);
    const auto withChecks = [&] { checked->compute(left, right, theirs); };
    const auto withoutChecks = [&] { unchecked->compute(left, right, theirs); };

    printRow("stereo, 16-bit, texture and uniqueness | StereoBM, checks",
             bench::compare([&] { stereo(context); }, withChecks));
    kestrovaSetBackForthValidation(context, 1);
    printRow("the same with back-and-forth           | StereoBM, checks",
             bench::compare([&] { stereo(context); }, withChecks));
    kestrovaSetBackForthValidation(context, 0);
    kestrovaSetSubpixelInterpolation(context, 0);
    kestrovaSetTextureValidation(context, 0);
    kestrovaSetUniquenessValidation(context, 0);
    printRow("stereo, 8-bit, no checks               | StereoBM, no checks",
             bench::compare([&] { stereo(context); }, withoutChecks));
}

void comparePreprocess(const bench::Frames& rFrames, const Size& rSize)
{
    const bench::Context owner = bench::makeContext(rSize.m_nRows, rSize.m_nCols, rSize.m_nDisparities, sk_dLens);
    KestrovaContext context = owner.get();
    KestrovaInput input = bench::makeInput(rFrames.m_right, rFrames.m_left);
    cv::Mat fixed;
    cv::Mat fractions;
    const cv::Size size(rSize.m_nCols, rSize.m_nRows);
    bench::remapTables(size, size, sk_dLens, false, fixed, fractions);
    cv::Mat theirRight;
    cv::Mat theirLeft;
    const auto ours = [&] { bench::check(kestrovaPreprocess(context, &input), "kestrovaPreprocess"); };
    const auto theirs = [&] {
        cv::remap(rFrames.m_right, theirRight, fixed, fractions, cv::INTER_LINEAR, cv::BORDER_REPLICATE);
        cv::remap(rFrames.m_left, theirLeft, fixed, fractions, cv::INTER_LINEAR, cv::BORDER_REPLICATE);
    };
    printRow("preprocess: lowpass, warp, edge, x2    | remap x2", bench::compare(ours, theirs));
    kestrovaSetLowpass(context, 0);
    kestrovaSetEdgeCorrelation(context, 0);
    printRow("preprocess: warp only, x2              | remap x2", bench::compare(ours, theirs));
}

/** The cost must not grow with the window: each pixel takes one sum update per disparity, whatever its size. */
void printMasks(const bench::Frames& rFrames, const Size& rSize)
{
    std::printf("\nWindow size and cost, %d x %d, %d disparities, 16-bit, ns per pixel and disparity\n ", rSize.m_nCols,
                rSize.m_nRows, rSize.m_nDisparities);
    const bench::Context owner = bench::makeContext(rSize.m_nRows, rSize.m_nCols, rSize.m_nDisparities, 0);
    KestrovaInput input = bench::makeInput(rFrames.m_right, rFrames.m_left);
    bench::check(kestrovaPreprocess(owner.get(), &input), "kestrovaPreprocess");
    for (const int nMask : {3, 7, 11, 15, 19, 23}) {
        bench::check(kestrovaSetStereoMask(owner.get(), nMask), "kestrovaSetStereoMask");
        std::vector<double> times;
        for (int nRound = 0; nRound < 7; ++nRound) {
            times.push_back(bench::millisecondsOf([&] { stereo(owner.get()); }));
        }
        const double dWork = double(rSize.m_nRows) * rSize.m_nCols * rSize.m_nDisparities;
        std::printf("  %d: %.3f", nMask, bench::median(times) * 1e6 / dWork);
    }
    std::printf("\n");
}

} // namespace

int main()
{
    cv::setNumThreads(1);
    const Size sizes[] = {{240, 320, 32}, {480, 640, 64}, {960, 1280, 128}};
    for (const Size& rSize : sizes) {
        std::printf("%d x %d, %d disparities, window %d, one thread\n", rSize.m_nCols, rSize.m_nRows,
                    rSize.m_nDisparities, sk_nMask);
        const bench::Frames frames = bench::makeFrames(rSize.m_nRows, rSize.m_nCols, rSize.m_nDisparities);
        std::printf("  %-58s %9s %9s %8s\n", "ours | theirs", "ours ms", "theirs ms", "ratio");
        comparePreprocess(frames, rSize);
        const bench::Context owner = bench::makeContext(rSize.m_nRows, rSize.m_nCols, rSize.m_nDisparities, 0);
        compareStereo(owner.get(), frames, rSize);
    }
    printMasks(bench::makeFrames(sizes[1].m_nRows, sizes[1].m_nCols, sizes[1].m_nDisparities), sizes[1]);
    std::printf("\nA ratio above 1 means that ours is faster.\n");
    return 0;
}
