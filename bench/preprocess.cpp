// Preprocessing stage by stage in every form that this processor runs, beside OpenCV's, in one run, one thread.
//
// Times are those of the processor, not of the clock on the wall. The images are compared with OpenCV's before anything
// is timed: rounding differs, so by the mean of their differences. Argument: seconds for each comparison.
#include "Frames.h"
#include "Rig.h"
#include "SideBySide.h"

#include "kernels/InstructionSet.h"
#include "rectify/boxFilters.h"
#include "rectify/lowpass.h"
#include "rectify/models.h"
#include "rectify/unpack.h"

#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using Grey = kestrova::Image<unsigned char>;
using kestrova::KernelType;

constexpr double sk_dLens = 0.12;
constexpr int sk_nEdgeMask = 7;

Grey view(const cv::Mat& rImage)
{
    return Grey(rImage.rows, rImage.cols, static_cast<int>(rImage.step[0]), rImage.data);
}

/** One stage: ours writes into the image that it is given, theirs into another. */
struct Stage
{
    std::string m_szName;
    std::function<void(Grey&)> m_ours;
    std::function<void(cv::Mat&)> m_theirs;
    int m_nRows;
    int m_nCols;
};

void compareForms(const Stage& rStage, double dSeconds)
{
    Grey ourResult(rStage.m_nRows, rStage.m_nCols);
    cv::Mat theirResult;
    rStage.m_ours(ourResult);
    rStage.m_theirs(theirResult);
    const cv::Mat ourView(rStage.m_nRows, rStage.m_nCols, CV_8U, ourResult.data(),
                          static_cast<std::size_t>(ourResult.rowDistance()));
    const cv::Rect inside(16, 16, rStage.m_nCols - 32, rStage.m_nRows - 32); // rims differ
    const double dDifference =
        cv::norm(ourView(inside), theirResult(inside), cv::NORM_L1) / static_cast<double>(inside.area());
    if (dDifference > 1.5) {
        std::fprintf(stderr, "%s: the images differ by %.2f\n", rStage.m_szName.c_str(), dDifference);
        std::exit(1);
    }
    const auto sets = kestrova::supportedInstructionSets();
    std::vector<std::function<void()>> works = {[&] { rStage.m_theirs(theirResult); }};
    for (const auto* pSet : sets) {
        works.emplace_back([&, pSet] {
            kestrova::forceInstructionSet(*pSet);
            rStage.m_ours(ourResult);
        });
    }
    const auto times = bench::medians(works, dSeconds);
    std::printf("  %-46s %8.3f", rStage.m_szName.c_str(), times[0] * 1e3);
    for (std::size_t u = 1; u < times.size(); ++u) {
        std::printf("  %7.3f (%5.2f)", times[u] * 1e3, times[0] / times[u]);
    }
    std::printf("\n");
}

std::unique_ptr<kestrova::Camera> lensCamera()
{
    return kestrova::test::camera(1.0, [](float fRow, float fCol) {
        const auto point = bench::distort(double{fRow}, double{fCol}, sk_dLens);
        return std::pair(static_cast<float>(point.m_dRow), static_cast<float>(point.m_dCol));
    });
}

/** A frame of nScale times the size, averaged over nScale by nScale pixels on the way. */
Stage rectification(const char* pszName, const cv::Mat& rRaw, int nScale, KernelType eType)
{
    const int nRows = rRaw.rows / nScale;
    const int nCols = rRaw.cols / nScale;
    const std::shared_ptr<kestrova::Camera> pCamera = lensCamera();
    const auto ours = [=, raw = view(rRaw)](Grey& rDst) {
        if (!kestrova::lowpassRectify(rDst, *pCamera, raw, {0, 0, 0, 0, eType, 5})) {
            std::exit(1);
        }
    };
    cv::Mat fixed;
    cv::Mat fractions;
    const bool bNearest = eType == kestrova::KernelNearest;
    bench::remapTables({nCols, nRows}, rRaw.size(), sk_dLens, bNearest, fixed, fractions);
    const auto theirs = [=, average = cv::Mat()](cv::Mat& rDst) mutable {
        if (nScale > 1) {
            cv::blur(rRaw, average, {nScale, nScale});
        }
        cv::remap(nScale > 1 ? average : rRaw, rDst, fixed, fractions, bNearest ? cv::INTER_NEAREST : cv::INTER_LINEAR,
                  cv::BORDER_REPLICATE);
    };
    return {pszName, ours, theirs, nRows, nCols};
}

Stage edges(const cv::Mat& rImage)
{
    const auto ours = [=](Grey& rDst) { kestrova::edgeImage(rDst, view(rImage), sk_nEdgeMask); };
    const auto theirs = [=, mean = cv::Mat()](cv::Mat& rDst) mutable {
        cv::boxFilter(rImage, mean, CV_8U, {sk_nEdgeMask, sk_nEdgeMask});
        cv::addWeighted(mean, 0.5, rImage, -0.5, 128, rDst);
    };
    return {"edge image, mask 7 | boxFilter, addWeighted", ours, theirs, rImage.rows, rImage.cols};
}

Stage unpacking(const cv::Mat& rImage)
{
    cv::Mat packed;
    cv::merge(std::vector<cv::Mat>{rImage, 255 - rImage, rImage, rImage}, packed);
    const kestrova::Image<kestrova::Pixel8x4> frame(packed.rows, packed.cols,
                                                    reinterpret_cast<kestrova::Pixel8x4*>(packed.data));
    const auto ours = [=, red = Grey(frame.size()), green = Grey(frame.size())](Grey& rDst) mutable {
        kestrova::unpackRGB(red, green, rDst, frame);
    };
    const auto theirs = [=, planes = std::vector<cv::Mat>(3)](cv::Mat& rDst) mutable {
        planes[0] = rDst;
        for (cv::Mat& rPlane : planes) {
            rPlane.create(packed.rows, packed.cols, CV_8U);
        }
        rDst = planes[0];
        cv::mixChannels({packed}, planes, {0, 0, 1, 1, 2, 2});
    };
    return {"three planes out of a packed frame | mixChannels", ours, theirs, packed.rows, packed.cols};
}

} // namespace

int main(int argc, char** argv)
{
    const double dSeconds = argc > 1 ? std::stod(argv[1]) : 2;
    cv::setNumThreads(1);
    std::printf("In use on this processor: %s\n", kestrova::instructionSet().m_pszName);
    for (const auto& [nRows, nCols] : {std::pair{240, 320}, {480, 640}, {960, 1280}}) {
        std::printf("\n%d x %d: milliseconds (times faster than OpenCV)\n  %-46s %8s", nCols, nRows, "ours | theirs",
                    "OpenCV");
        for (const auto* pSet : kestrova::supportedInstructionSets()) {
            std::printf(" %16s", pSet->m_pszName);
        }
        std::printf("\n");
        const cv::Mat raw = bench::makeFrames(nRows, nCols, 64).m_right;
        const cv::Mat large = bench::makeFrames(2 * nRows, 2 * nCols, 64).m_right;
        compareForms(rectification("bilinear, no lowpass | remap", raw, 1, kestrova::KernelBilinear), dSeconds);
        compareForms(rectification("nearest, no lowpass | remap", raw, 1, kestrova::KernelNearest), dSeconds);
        compareForms(rectification("bilinear, lowpass of 2 x 2 | blur, remap", large, 2, kestrova::KernelBilinear),
                     dSeconds);
        compareForms(edges(raw), dSeconds);
        compareForms(unpacking(raw), dSeconds);
    }
    return 0;
}
