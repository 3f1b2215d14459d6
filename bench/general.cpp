// The general correlator and surface validation in every form that this processor runs, beside OpenCV's, in one run.
//
// Times are those of the processor, one thread everywhere. Arguments: seconds for each comparison, and "surfaces" for
// that part alone.
#include "Frames.h"
#include "Matching.h"
#include "SideBySide.h"

#include "context/StereoContext.h"
#include "kernels/InstructionSet.h"
#include "kernels/processor.h"
#include "stereo/generalStereo.h"
#include "stereo/surfaceValidation.h"
#include "stereo/twoCameraStereo.h"

#include <opencv2/calib3d.hpp>

#include <cstdio>
#include <memory>
#include <string>

namespace {

using bench::edges;
using bench::Size;
using Works = std::vector<std::function<void()>>;
using Bytes = kestrova::Image<unsigned char>;

struct Rig
{
    Rig(const bench::Frames& rFrames, const Size& rSize, int nMask)
        : m_aImages{edges(rFrames.m_right), edges(bench::displacedAlongRows(rFrames)), edges(rFrames.m_left)}
    {
        m_context.m_nRows = rSize.m_nRows;
        m_context.m_nCols = rSize.m_nCols;
        m_context.m_nMinDisparity = 0;
        m_context.m_nMaxDisparity = rSize.m_nDisparities - 1;
        m_context.m_nStereoMaskSize = nMask;
        m_context.m_bSubpixelInterpolation = true;
        m_context.m_bTextureValidation = m_context.m_bUniquenessValidation = true;
        kestrova::clearDisparityImages(m_context);
    }

    void correlate(int nCameras)
    {
        m_context.m_eCameraConfiguration = nCameras == 3 ? KestrovaCfg3CameraL : KestrovaCfg2CameraVertical;
        kestrova::generalStereo(m_context, {0, 0, m_context.m_nRows, m_context.m_nCols}, m_aImages, nCameras);
    }

    Bytes m_aImages[3];
    kestrova::StereoContext m_context;
};

template<typename Work>
void addForms(Works& rWorks, const Work& rWork)
{
    for (const auto* pSet : kestrova::supportedInstructionSets()) {
        rWorks.push_back([=] {
            kestrova::forceInstructionSet(*pSet);
            rWork();
        });
    }
}

void printForms(const char* pszWork, const std::vector<double>& rTimes, double dWork, std::size_t uTheirs)
{
    std::printf("  %-34s", pszWork);
    for (std::size_t u = 0; u < uTheirs; ++u) {
        std::printf(" %9.3f", rTimes[u] / dWork);
    }
    for (std::size_t u = uTheirs; u < rTimes.size(); ++u) {
        std::printf("  %6.3f (%5.2f)", rTimes[u] / dWork, rTimes[0] / rTimes[u]);
    }
    std::printf("\n");
}

void printHeader(const char* pszTheirs)
{
    std::printf("  %-34s %9s", "", pszTheirs);
    for (const auto* pSet : kestrova::supportedInstructionSets()) {
        std::printf(" %16s", pSet->m_pszName);
    }
    std::printf("\n");
}

void compareGeneral(const Size& rSize, double dSeconds)
{
    std::printf("\n%d x %d, %d disparities, window 11: ns per pixel and disparity (times faster than StereoBM)\n",
                rSize.m_nCols, rSize.m_nRows, rSize.m_nDisparities);
    printHeader("StereoBM");
    const auto frames = bench::makeFrames(rSize.m_nRows, rSize.m_nCols, rSize.m_nDisparities);
    const auto pRig = std::make_shared<Rig>(frames, rSize, 11);
    const auto checked = bench::blockMatcher(frames, rSize, 11, true);
    const struct
    {
        const char* m_pszName;
        int m_nCameras;
        bool m_b16;
        bool m_bSSE2;
    } aWorks[] = {{"L, 16-bit, mmx labels", 3, true, false},
                  {"L, 16-bit, sse2 labels", 3, true, true},
                  {"L, 8-bit, mmx labels", 3, false, false},
                  {"vertical pair, 16-bit, mmx labels", 2, true, false}};
    for (const auto& rWork : aWorks) {
        Works works = {[=] { // a matcher of pairs runs once for each camera beside the reference
            for (int n = 1; n < rWork.m_nCameras; ++n) {
                checked();
            }
        }};
        addForms(works, [=] {
            kestrova::enableSSE2IfAvailable(rWork.m_bSSE2);
            pRig->m_context.m_bSubpixelInterpolation = rWork.m_b16;
            pRig->correlate(rWork.m_nCameras);
        });
        const double dWork = 1e-9 * rSize.m_nRows * rSize.m_nCols * rSize.m_nDisparities;
        printForms(rWork.m_pszName, bench::medians(works, dSeconds), dWork, 1);
    }
    kestrova::enableSSE2IfAvailable(true);
}

/** A disparity image of the two-camera correlator, which surface validation then finds anew in every round. */
void compareSurfaces(const Size& rSize, double dSeconds)
{
    const auto frames = bench::makeFrames(rSize.m_nRows, rSize.m_nCols, rSize.m_nDisparities);
    kestrova::forceInstructionSet(*kestrova::supportedInstructionSets().back());
    Rig rig(frames, rSize, 11);
    kestrova::StereoContext& r = rig.m_context;
    const Bytes aPair[] = {rig.m_aImages[0], rig.m_aImages[2]};
    const auto correlate = [&] { kestrova::twoCameraStereo(r, {0, 0, rSize.m_nRows, rSize.m_nCols}, aPair); };
    const auto correlateEight = [&] {
        r.m_nMaxDisparity = 7;
        correlate();
        r.m_nMaxDisparity = rSize.m_nDisparities - 1;
    };
    const int nCols = rSize.m_nCols;
    for (const bool bNoise : {false, true}) {
        kestrova::clearDisparityImages(r);
        correlate();
        cv::RNG random(7);
        for (int n = 0; bNoise && n < rSize.m_nRows * nCols / 8; ++n) { // specks in the plane
            r.m_disparityImage16[random.uniform(0, rSize.m_nRows)][random.uniform(0, nCols)] =
                static_cast<unsigned short>(random.uniform(0, 256 * rSize.m_nDisparities));
        }
        cv::Mat found(rSize.m_nRows, nCols, CV_16S);
        for (int nRow = 0; nRow < rSize.m_nRows; ++nRow) { // theirs has four bits of fraction
            for (int nCol = 0; nCol < nCols; ++nCol) {
                const int nValue = r.m_disparityImage16[nRow][nCol];
                found.at<short>(nRow, nCol) =
                    static_cast<short>(nValue < KestrovaDisparity16Invalid ? nValue / 16 : -16);
            }
        }
        kestrova::Image<unsigned short> kept(rSize.m_nRows, nCols);
        kept.init(r.m_disparityImage16);
        cv::Mat theirs;
        cv::Mat buffer;
        const auto times = bench::medians({[&] {
                                               r.m_disparityImage16.init(kept);
                                               kestrova::validateSurfaces(&r);
                                           },
                                           [&] { r.m_disparityImage16.init(kept); },
                                           [&] {
                                               found.copyTo(theirs);
                                               cv::filterSpeckles(theirs, -16, 200, 16, buffer);
                                           },
                                           [&] { found.copyTo(theirs); }, correlate, correlateEight},
                                          dSeconds);
        const double dOurs = times[0] - times[1];
        std::printf("  %4d x %4d, %-7s %7.3f ms, of a run with 8 disparities %5.2f, of 8 among %3d %5.2f, faster than "
                    "filterSpeckles %5.2f, tables %.2f MB\n",
                    nCols, rSize.m_nRows, bNoise ? "specks" : "plane", 1000 * dOurs, dOurs / times[5],
                    rSize.m_nDisparities, dOurs / (times[4] * 8 / rSize.m_nDisparities), (times[2] - times[3]) / dOurs,
                    static_cast<double>(r.m_segmentContext.bytes()) / (1 << 20));
    }
}

} // namespace

int main(int argc, char** argv)
{
    const double dSeconds = argc > 1 ? std::stod(argv[1]) : 3;
    cv::setNumThreads(1);
    std::printf("In use on this processor: %s\n", kestrova::instructionSet().m_pszName);
    const bool bAll = argc < 3 || std::string(argv[2]) != "surfaces";
    for (const Size& rSize : {Size{240, 320, 32}, Size{480, 640, 64}, Size{960, 1280, 128}}) {
        if (bAll) {
            compareGeneral(rSize, dSeconds);
        }
    }
    std::printf("\nSurface validation, 16-bit: time, and as a share of the two-camera correlation\n");
    for (const Size& rSize : {Size{480, 640, 64}, Size{960, 1280, 128}}) {
        compareSurfaces(rSize, dSeconds);
    }
    return 0;
}
