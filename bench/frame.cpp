// Whole frames in every form that this processor runs: two raw frames to validated 16-bit disparity, through the public
// interface, beside OpenCV's remap, block matcher and speckle filter, in one run.
//
// Times are those of the process, whose pool has one thread: work of the caller and of the pool together, and waiting
// costs nothing. Arguments: --picture and a file that receives a drawing of the stages; seconds for each comparison;
// two files with a rectified pair, left and right, to be compared on too.
#include "FrameStages.h"
#include "Frames.h"
#include "LiveMemory.h"
#include "Rig.h"
#include "SideBySide.h"

#include "api/MultiContext.h"
#include "kernels/InstructionSet.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

namespace {

constexpr int sk_nMask = 11;
constexpr double sk_dLens = 0.12;

using bench::Size;

/** What the cameras deliver. */
struct Delivery
{
    const char* m_pszName;
    int m_nScale; // raw pixels for one of the result, along rows and columns
    bool m_bPacked;
    bool m_bLowpass;
};

constexpr Delivery sk_aDeliveries[] = {
    {"planes of the same size", 1, false, true},      {"the same, lowpass off", 1, false, false},
    {"packed frame of the same size", 1, true, true}, {"planes of twice the size, averaged", 2, false, true},
    {"the same, lowpass off", 2, false, false},       {"packed frame of twice the size, averaged", 2, true, true}};

/** The raw images, and a handle that makes disparity of them. */
class Ours
{
public:
    Ours(const bench::Frames& rFrames, const Size& rSize, const Delivery& rDelivery)
        : m_right(bench::rawFrame(rFrames.m_right, rawSize(rSize, rDelivery), sk_dLens)),
          m_left(bench::rawFrame(rFrames.m_left, rawSize(rSize, rDelivery), sk_dLens)),
          m_context(bench::makeContext(rSize.m_nRows, rSize.m_nCols, rSize.m_nDisparities, sk_dLens))
    {
        m_input = bench::makeInput(m_right, m_left);
        if (rDelivery.m_bPacked) {
            cv::merge(std::vector<cv::Mat>{m_left, m_left, m_right, m_left}, m_packed); // blue, green, red, unused
            kestrovaBuildPackedKestrovaInput(m_packed.cols, m_packed.rows, static_cast<int>(m_packed.step[0]), 0, 0,
                                             m_packed.data, &m_input);
        }
        bench::check(kestrovaSetLowpass(context(), rDelivery.m_bLowpass ? 1 : 0), "kestrovaSetLowpass");
        bench::check(kestrovaSetSubpixelInterpolation(context(), 1), "kestrovaSetSubpixelInterpolation");
        bench::check(kestrovaSetTextureValidation(context(), 1), "kestrovaSetTextureValidation");
        bench::check(kestrovaSetUniquenessValidation(context(), 1), "kestrovaSetUniquenessValidation");
        bench::check(kestrovaSetSurfaceValidation(context(), 1), "kestrovaSetSurfaceValidation");
        bench::check(kestrovaSetBackForthValidation(context(), 0), "kestrovaSetBackForthValidation");
    }

    static cv::Size rawSize(const Size& rSize, const Delivery& rDelivery)
    {
        return {rSize.m_nCols * rDelivery.m_nScale, rSize.m_nRows * rDelivery.m_nScale};
    }

    void operator()() { bench::runFrame(context(), m_input); }
    [[nodiscard]] KestrovaContext context() const { return m_context.get(); }

    cv::Mat m_right;
    cv::Mat m_left;
    cv::Mat m_packed;
    KestrovaInput m_input{};

private:
    bench::Context m_context;
};

/** The same with OpenCV. Mirrored and swapped, its matcher measures from the right image as ours does. */
class Theirs
{
public:
    Theirs(const Ours& rOurs, const Size& rSize, const Delivery& rDelivery)
        : m_rDelivery(rDelivery), m_matcher(cv::StereoBM::create(rSize.m_nDisparities, sk_nMask))
    {
        m_matcher->setTextureThreshold(10);
        m_matcher->setUniquenessRatio(15);
        cv::flip(rOurs.m_right, m_aRaw[0], 1);
        cv::flip(rOurs.m_left, m_aRaw[1], 1);
        if (rDelivery.m_bPacked) {
            cv::flip(rOurs.m_packed, m_packed, 1);
        }
        bench::remapTables({rSize.m_nCols, rSize.m_nRows}, m_aRaw[0].size(), sk_dLens, false, m_fixed, m_fractions);
    }

    void operator()()
    {
        if (m_rDelivery.m_bPacked) {
            const int anChannels[] = {2, 0, 1, 1};
            cv::mixChannels(&m_packed, 1, m_aRaw.data(), 2, anChannels, 2);
        }
        const bool bAverage = m_rDelivery.m_bLowpass && m_rDelivery.m_nScale > 1;
        for (std::size_t n = 0; n < 2; ++n) {
            if (bAverage) {
                cv::blur(m_aRaw[n], m_average, {m_rDelivery.m_nScale, m_rDelivery.m_nScale});
            }
            cv::remap(bAverage ? m_average : m_aRaw[n], m_aRectified[n], m_fixed, m_fractions, cv::INTER_LINEAR,
                      cv::BORDER_REPLICATE);
        }
        m_matcher->compute(m_aRectified[0], m_aRectified[1], m_disparity);
        cv::filterSpeckles(m_disparity, -16, 200, 16, m_buffer);
    }

    [[nodiscard]] float at(int nRow, int nCol) const
    {
        const short nValue = m_disparity.at<short>(nRow, m_disparity.cols - 1 - nCol);
        return nValue < 0 ? -1.0F : static_cast<float>(nValue) / 16;
    }

private:
    Delivery m_rDelivery;
    cv::Ptr<cv::StereoBM> m_matcher;
    std::array<cv::Mat, 2> m_aRaw;
    std::array<cv::Mat, 2> m_aRectified;
    cv::Mat m_packed;
    cv::Mat m_average;
    cv::Mat m_fixed;
    cv::Mat m_fractions;
    cv::Mat m_disparity;
    cv::Mat m_buffer;
};

/** Disparity of a pixel, below 0 without one. */
using Disparities = std::function<float(int nRow, int nCol)>;

/** How many pixels are valid, and how many of these within one disparity of the truth, in percent. */
std::array<double, 2> quality(const Disparities& rDisparities, const cv::Mat& rTruth)
{
    int nValid = 0;
    int nRight = 0;
    for (int nRow = 0; nRow < rTruth.rows; ++nRow) {
        for (int nCol = 0; nCol < rTruth.cols; ++nCol) {
            const float fFound = rDisparities(nRow, nCol);
            nValid += fFound >= 0 ? 1 : 0;
            nRight += fFound >= 0 && std::abs(fFound - rTruth.at<float>(nRow, nCol)) <= 1 ? 1 : 0;
        }
    }
    return {100.0 * nValid / static_cast<double>(rTruth.total()), nValid > 0 ? 100.0 * nRight / nValid : 0};
}

/** A fast wrong answer is no answer: ends the program unless the disparities are right. */
void expectRightAnswers(Ours& rOurs, Theirs& rTheirs, const cv::Mat& rTruth)
{
    rOurs();
    rTheirs();
    const kestrova::Image<unsigned short> found = kestrova::getActiveContext(rOurs.context())->m_disparityImage16;
    const auto ours = quality(
        [&](int nRow, int nCol) {
            const int nValue = found[nRow][nCol];
            return nValue < KestrovaDisparity16Invalid ? static_cast<float>(nValue) / 256 : -1.0F;
        },
        rTruth);
    const auto theirs = quality([&](int nRow, int nCol) { return rTheirs.at(nRow, nCol); }, rTruth);
    std::printf("  pixels valid: ours %.0f %%, theirs %.0f %%; of these within 1 of the truth: %.1f %%, %.1f %%\n",
                ours[0], theirs[0], ours[1], theirs[1]);
    if (ours[0] < 25 || ours[1] < 95) {
        std::fprintf(stderr, "the disparities are wrong; nothing was timed\n");
        std::exit(1);
    }
}

void compareFrames(const bench::Frames& rFrames, const Size& rSize, double dSeconds)
{
    std::printf("\n%d x %d, %d disparities, window %d: ms a frame (times faster than OpenCV)\n  %-42s %9s",
                rSize.m_nCols, rSize.m_nRows, rSize.m_nDisparities, sk_nMask, "", "OpenCV");
    const auto sets = kestrova::supportedInstructionSets();
    for (const auto* pSet : sets) {
        std::printf(" %17s", pSet->m_pszName);
    }
    std::printf("\n");
    for (const Delivery& rDelivery : sk_aDeliveries) {
        Ours ours(rFrames, rSize, rDelivery);
        Theirs theirs(ours, rSize, rDelivery);
        if (&rDelivery == sk_aDeliveries && !rFrames.m_disparity.empty()) {
            expectRightAnswers(ours, theirs, rFrames.m_disparity);
        }
        std::vector<std::function<void()>> works = {[&] { theirs(); }};
        for (const auto* pSet : sets) {
            works.emplace_back([&, pSet] {
                kestrova::forceInstructionSet(*pSet);
                ours();
            });
        }
        const auto times = bench::medians(works, dSeconds);
        std::printf("  %-42s %9.3f", rDelivery.m_pszName, times[0] * 1e3);
        for (std::size_t u = 1; u < times.size(); ++u) {
            std::printf("  %8.3f (%4.1f)", times[u] * 1e3, times[0] / times[u]);
        }
        std::printf("\n");
    }
    kestrova::forceInstructionSet(*sets.back());
}

void printStages(const bench::Frames& rFrames, const Size& rSize, double dSeconds, std::vector<bench::Bar>& rBars)
{
    for (const Delivery& rDelivery : {sk_aDeliveries[0], sk_aDeliveries[5]}) {
        Ours ours(rFrames, rSize, rDelivery);
        for (const auto* pSet : kestrova::supportedInstructionSets().subspan(1)) {
            kestrova::forceInstructionSet(*pSet);
            const bench::StageTimes times = bench::stageTimes(ours.context(), ours.m_input, dSeconds);
            const std::string szName = std::to_string(rSize.m_nCols) + "x" + std::to_string(rSize.m_nRows) + "x" +
                                       std::to_string(rSize.m_nDisparities) + " " + pSet->m_pszName +
                                       (rDelivery.m_bPacked ? ", packed 2x2" : "");
            std::printf("  %-40s", szName.c_str());
            for (const double dTime : times) {
                std::printf(" %8.3f", dTime * 1e3);
            }
            std::printf("\n");
            rBars.push_back({szName, times});
        }
    }
}

double megabytes(std::size_t uBytes)
{
    return static_cast<double>(uBytes) / (1 << 20);
}

template<typename T>
std::size_t bytesOf(const kestrova::Image<T>& rImage)
{
    return static_cast<std::size_t>(rImage.nRows()) * static_cast<std::size_t>(rImage.rowDistance()) * sizeof(T);
}

/** What the library takes from the allocator for frames of a size, in the widest form. */
void printMemory(const bench::Frames& rFrames, const Size& rSize)
{
    Ours ours(rFrames, rSize, sk_aDeliveries[2]);
    const std::size_t uBefore = bench::liveBytes();
    bench::check(kestrovaPreprocess(ours.context(), &ours.m_input), "kestrovaPreprocess");
    const std::size_t uPreprocessed = bench::liveBytes();
    ours();
    const std::size_t uAfter = bench::liveBytes();
    bench::resetPeak();
    ours();
    const std::size_t uPeak = bench::peakBytes() - uAfter;
    const kestrova::StereoContext& r = *kestrova::getActiveContext(ours.context());
    std::size_t uPreprocessImages = 0;
    for (int nCamera = 0; nCamera < r.m_nCameraCount; ++nCamera) {
        uPreprocessImages +=
            bytesOf(r.m_rawImages[nCamera]) + bytesOf(r.m_rectifiedImages[nCamera]) + bytesOf(r.m_edgeImages[nCamera]);
    }
    const std::size_t uResults =
        bytesOf(r.m_disparityImage) + bytesOf(r.m_disparityImage16) + bytesOf(r.m_surfaceLabelImage);
    std::printf("  %4d x %4d, %3d disparities: images %6.2f, maps of the cameras %5.2f, working memory %5.2f (of it "
                "surfaces %5.2f), more during a frame %.3f\n",
                rSize.m_nCols, rSize.m_nRows, rSize.m_nDisparities, megabytes(uPreprocessImages + uResults),
                megabytes(uPreprocessed - uBefore - uPreprocessImages), megabytes(uAfter - uPreprocessed - uResults),
                megabytes(r.m_segmentContext.bytes()), megabytes(uPeak));
}

} // namespace

int main(int argc, char** argv)
{
    const bool bPicture = argc > 2 && std::strcmp(argv[1], "--picture") == 0;
    const char* const pszPicture = bPicture ? argv[2] : nullptr;
    argc -= bPicture ? 2 : 0;
    argv += bPicture ? 2 : 0;
    const double dSeconds = argc > 1 ? std::stod(argv[1]) : 3;
    cv::setNumThreads(1);
    std::printf("In use on this processor: %s\n", kestrova::instructionSet().m_pszName);
    const Size aSizes[] = {{240, 320, 32}, {480, 640, 64}, {960, 1280, 128}};
    const auto framesOf = [](const Size& r) { return bench::makeFrames(r.m_nRows, r.m_nCols, r.m_nDisparities); };
    std::printf("\nMemory, MB, one thread, packed frames\n");
    for (const Size& rSize : aSizes) {
        printMemory(framesOf(rSize), rSize);
    }
    for (const Size& rSize : aSizes) {
        compareFrames(framesOf(rSize), rSize, dSeconds);
        if (argc > 3) {
            std::printf("\nThe pair of the two files:");
            compareFrames(bench::readFrames(rSize.m_nRows, rSize.m_nCols, argv[2], argv[3]), rSize, dSeconds);
        }
    }
    std::printf("\nStages, ms\n  %-40s", "");
    for (const char* const pszStage : bench::g_apszStages) {
        std::printf(" %8.8s", pszStage);
    }
    std::printf("\n");
    std::vector<bench::Bar> bars;
    for (const Size& rSize : {aSizes[1], aSizes[2]}) {
        printStages(framesOf(rSize), rSize, dSeconds, bars);
    }
    if (pszPicture != nullptr) {
        bench::drawStages(pszPicture, bars);
    }
    return 0;
}
