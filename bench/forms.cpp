// The two-camera correlator in every form that this processor runs, beside OpenCV's block matcher, in one run.
//
// Times are those of the processor, not of the clock on the wall: one thread everywhere, and other programs may run.
// Arguments: seconds for each comparison, and two files with a rectified pair, left and right, to be compared on too.
#include "Frames.h"
#include "Matching.h"
#include "SideBySide.h"

#include "context/StereoContext.h"
#include "kernels/InstructionSet.h"
#include "stereo/WholeRowSums.h"
#include "stereo/twoCameraStereo.h"

#include <opencv2/calib3d.hpp>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using bench::blockMatcher;
using bench::edges;
using bench::medians;
using bench::Size;

enum class Work
{
    Checked16,
    BackForth16,
    Unchecked8,
    Checked8,
};

class Ours
{
public:
    Ours(const bench::Frames& rFrames, const Size& rSize, int nMask, Work eWork)
        : m_aImages{edges(rFrames.m_right), edges(rFrames.m_left)}
    {
        m_context.m_nRows = rSize.m_nRows;
        m_context.m_nCols = rSize.m_nCols;
        m_context.m_nMinDisparity = 0;
        m_context.m_nMaxDisparity = rSize.m_nDisparities - 1;
        m_context.m_nStereoMaskSize = nMask;
        m_context.m_bSubpixelInterpolation = eWork == Work::Checked16 || eWork == Work::BackForth16;
        m_context.m_bTextureValidation = m_context.m_bUniquenessValidation = eWork != Work::Unchecked8;
        m_context.m_bBackForthValidation = eWork == Work::BackForth16;
        kestrova::clearDisparityImages(m_context);
    }

    void operator()() { kestrova::twoCameraStereo(m_context, {0, 0, m_context.m_nRows, m_context.m_nCols}, m_aImages); }

private:
    kestrova::Image<unsigned char> m_aImages[2];
    kestrova::StereoContext m_context;
};

std::function<void()> ours(const bench::Frames& rFrames, const Size& rSize, int nMask, Work eWork,
                           const kestrova::InstructionSet* pSet)
{
    auto pOurs = std::make_shared<Ours>(rFrames, rSize, nMask, eWork);
    return [=] {
        kestrova::forceInstructionSet(*pSet);
        (*pOurs)();
    };
}

void compareForms(const bench::Frames& rFrames, const Size& rSize, double dSeconds)
{
    const double dWork = 1e-9 * rSize.m_nRows * rSize.m_nCols * rSize.m_nDisparities;
    std::printf("\n%d x %d, %d disparities, window 11: ns per pixel and disparity (times faster than StereoBM)\n",
                rSize.m_nCols, rSize.m_nRows, rSize.m_nDisparities);
    const auto sets = kestrova::supportedInstructionSets();
    std::printf("  %-36s %9s", "", "StereoBM");
    for (const auto* pSet : sets) {
        std::printf(" %16s", pSet->m_pszName);
    }
    std::printf("\n");
    const struct
    {
        const char* m_pszName;
        Work m_eWork;
        bool m_bChecks;
    } aWorks[] = {{"16-bit, texture and uniqueness", Work::Checked16, true},
                  {"the same with back-and-forth", Work::BackForth16, true},
                  {"8-bit, texture and uniqueness", Work::Checked8, true},
                  {"8-bit, no checks", Work::Unchecked8, false}};
    for (const auto& rWork : aWorks) {
        std::vector<std::function<void()>> works = {blockMatcher(rFrames, rSize, 11, rWork.m_bChecks)};
        for (const auto* pSet : sets) {
            works.push_back(ours(rFrames, rSize, 11, rWork.m_eWork, pSet));
        }
        const auto times = bench::medians(works, dSeconds);
        std::printf("  %-36s %9.3f", rWork.m_pszName, times[0] / dWork);
        for (std::size_t u = 1; u < times.size(); ++u) {
            std::printf("  %6.3f (%5.2f)", times[u] / dWork, times[0] / times[u]);
        }
        std::printf("\n");
    }
}

void compareSizes(double dSeconds)
{
    std::printf("\nCost over window, range and size, 16-bit with checks, ns per pixel and disparity\n");
    const auto sets = kestrova::supportedInstructionSets();
    const Size aSizes[] = {{240, 320, 32},  {240, 320, 128}, {480, 640, 32},  {480, 640, 64},
                           {480, 640, 128}, {960, 1280, 32}, {960, 1280, 128}};
    for (const Size& rSize : aSizes) {
        const auto frames = bench::makeFrames(rSize.m_nRows, rSize.m_nCols, rSize.m_nDisparities);
        for (const int nMask : {3, 11, 23}) {
            std::vector<std::function<void()>> works;
            for (const auto* pSet : sets) {
                works.push_back(ours(frames, rSize, nMask, Work::Checked16, pSet));
            }
            const auto times = bench::medians(works, dSeconds);
            std::printf("  %4d x %4d, %3d disparities, window %2d:", rSize.m_nCols, rSize.m_nRows, rSize.m_nDisparities,
                        nMask);
            for (std::size_t u = 0; u < times.size(); ++u) {
                std::printf("  %s %.3f", sets[u]->m_pszName,
                            times[u] * 1e9 / (double(rSize.m_nRows) * rSize.m_nCols * rSize.m_nDisparities));
            }
            std::printf("\n");
        }
    }
}

void printMemory(const Size& rSize)
{
    const kestrova::ImageDim dim{rSize.m_nRows, rSize.m_nCols};
    const kestrova::Image<unsigned char> image(dim.m_nRows, dim.m_nCols);
    const auto n = static_cast<unsigned>(rSize.m_nDisparities);
    const auto layout = kestrova::ColumnLayout::make(dim, dim, dim, n, 11, {true, 1, 255});
    std::printf("  %4d x %4d, %3d disparities, with back-and-forth:", dim.m_nCols, dim.m_nRows, rSize.m_nDisparities);
    for (const auto* pSet : kestrova::supportedInstructionSets()) {
        if (const auto* pForm = pSet->m_pWholeRows) {
            const kestrova::WholeRowSums sums(*pForm, *layout, image, image, n, true);
            std::printf("  %s %zu KB", pSet->m_pszName, sums.scratchBytes() / 1024);
        }
    }
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv)
{
    const double dSeconds = argc > 1 ? std::stod(argv[1]) : 3;
    cv::setNumThreads(1);
    std::printf("In use on this processor: %s\n", kestrova::instructionSet().m_pszName);
    for (const Size& rSize : {Size{240, 320, 32}, Size{480, 640, 64}, Size{960, 1280, 128}}) {
        compareForms(bench::makeFrames(rSize.m_nRows, rSize.m_nCols, rSize.m_nDisparities), rSize, dSeconds);
        if (argc > 3) {
            std::printf("\nThe pair of the two files:");
            compareForms(bench::readFrames(rSize.m_nRows, rSize.m_nCols, argv[2], argv[3]), rSize, dSeconds);
        }
    }
    compareSizes(dSeconds / 4);
    std::printf("\nMemory of a thread beside the images\n");
    for (const Size& rSize : {Size{240, 320, 32}, Size{480, 640, 64}, Size{960, 1280, 128}, Size{1200, 1600, 240}}) {
        printMemory(rSize);
    }
    return 0;
}
