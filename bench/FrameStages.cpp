#include "FrameStages.h"

#include "SideBySide.h"

#include "api/MultiContext.h"
#include "context/cameraIndex.h"
#include "rectify/Camera.h"
#include "rectify/boxFilters.h"
#include "rectify/lowpass.h"
#include "rectify/unpack.h"
#include "stereo/surfaceValidation.h"
#include "stereo/twoCameraStereo.h"

#include <cstdio>
#include <numeric>

namespace bench {

const std::array<const char*, Stages> g_apszStages = {"unpack", "lowpass",     "warp",     "edge images",
                                                      "clear",  "correlation", "surfaces", "everything else"};

void runFrame(KestrovaContext context, KestrovaInput& rInput)
{
    check(kestrovaPreprocess(context, &rInput), "kestrovaPreprocess");
    check(kestrovaStereo(context), "kestrovaStereo");
}

namespace {

using kestrova::StereoContext;

/** The stages of a frame that the handle has seen already, in their order. */
class Steps
{
public:
    explicit Steps(StereoContext& r) : m_rContext(r)
    {
        m_anCameras = {kestrova::getCameraIndex(KestrovaCamRight, &r), kestrova::getCameraIndex(KestrovaCamLeft, &r)};
    }

    void unpack()
    {
        std::array<kestrova::Image<unsigned char>*, 3> apPlanes{};
        std::array<bool, 3> abNeeded{};
        for (const int nCamera : m_anCameras) {
            const auto nChannel =
                static_cast<std::size_t>(m_rContext.m_anChannelOfCamera[static_cast<std::size_t>(nCamera)]);
            apPlanes[nChannel] = &m_rContext.m_rawImages[nCamera];
            abNeeded[nChannel] = true;
        }
        kestrova::unpack32Bit(abNeeded.data(), apPlanes.data(), m_rContext.m_packedInputImage);
    }

    void rectify(unsigned uMask)
    {
        for (const int nCamera : m_anCameras) {
            const bool bDone = kestrova::lowpassRectify(
                m_rContext.m_rectifiedImages[nCamera], *m_rContext.m_apCameras[static_cast<std::size_t>(nCamera)],
                m_rContext.m_rawImages[nCamera],
                {uMask, uMask, 0, 0, m_rContext.m_eKernelType, m_rContext.m_nKernelSize});
            check(bDone ? KestrovaErrorOk : KestrovaErrorSystem, "lowpassRectify");
        }
    }

    void filter()
    {
        for (const int nCamera : m_anCameras) {
            kestrova::edgeImage(m_rContext.m_edgeImages[nCamera], m_rContext.m_rectifiedImages[nCamera],
                                m_rContext.m_nEdgeMaskSize);
        }
    }

    void correlate()
    {
        const kestrova::Image<unsigned char> aPair[] = {m_rContext.m_edgeImages[m_anCameras[0]],
                                                        m_rContext.m_edgeImages[m_anCameras[1]]};
        kestrova::twoCameraStereo(m_rContext, {0, 0, m_rContext.m_nRows, m_rContext.m_nCols}, aPair);
    }

    void clear() { kestrova::clearDisparityImages(m_rContext); }
    void validate() { kestrova::validateSurfaces(&m_rContext); }

private:
    StereoContext& m_rContext;
    std::array<int, 2> m_anCameras{};
};

} // namespace

StageTimes stageTimes(KestrovaContext context, KestrovaInput& rInput, double dMaxSeconds)
{
    StereoContext& r = *kestrova::getActiveContext(context);
    const bool bPacked = rInput.inputType == KestrovaInputPacked;
    const bool bLowpass = r.m_bLowpass && rInput.nrows > r.m_nRows;
    Steps steps(r);
    runFrame(context, rInput);
    const auto unpack = [&] { bPacked ? steps.unpack() : void(); };
    // Waiting for the pool leaves this thread's core cold, so a correlation comes before the stages that are timed. The
    // warp without an average comes last, after another unpacking: it finds the caches as the one with it does.
    constexpr std::size_t uFrame = 0, uFirst = 2, uEnd = 8;
    const auto times = rounds({[&] { runFrame(context, rInput); }, [&] { steps.correlate(); }, unpack,
                               [&] { steps.rectify(bLowpass ? 0 : 1); }, [&] { steps.filter(); },
                               [&] { steps.clear(); }, [&] { steps.correlate(); }, [&] { steps.validate(); }, unpack,
                               [&] { bLowpass ? steps.rectify(1) : void(); }},
                              dMaxSeconds);
    std::vector<double> rest = times[uFrame]; // in the same round, as the machine's speed drifts
    for (std::size_t uStage = uFirst; uStage < uEnd; ++uStage) {
        std::transform(rest.begin(), rest.end(), times[uStage].begin(), rest.begin(), std::minus<>());
    }
    const double dRectify = median(times[3]);
    const double dWarp = bLowpass ? std::min(dRectify, median(times.back())) : dRectify;
    return {bPacked ? median(times[2]) : 0,
            dRectify - dWarp,
            dWarp,
            median(times[4]),
            median(times[5]),
            median(times[6]),
            median(times[7]),
            std::max(0.0, median(rest))};
}

void drawStages(const char* pszFile, const std::vector<Bar>& rBars)
{
    constexpr std::array<const char*, Stages> apszColours = {"#8c6bb1", "#41b6c4", "#2c7fb8", "#253494",
                                                             "#bdbdbd", "#d95f0e", "#fec44f", "#737373"};
    constexpr double dLeft = 240, dWidth = 640, dStep = 34;
    const double dHeight = 70 + dStep * static_cast<double>(rBars.size());
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pFile(std::fopen(pszFile, "w"), &std::fclose);
    if (pFile == nullptr) {
        std::perror(pszFile);
        return;
    }
    std::fprintf(pFile.get(),
                 "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"960\" height=\"%.0f\" font-family=\"sans-serif\" "
                 "font-size=\"12\">\n<rect width=\"960\" height=\"%.0f\" fill=\"white\"/>\n",
                 dHeight, dHeight);
    for (std::size_t n = 0; n < Stages; ++n) {
        const double dX = 10 + 118 * static_cast<double>(n);
        std::fprintf(pFile.get(),
                     "<rect x=\"%.0f\" y=\"12\" width=\"13\" height=\"13\" fill=\"%s\"/><text x=\"%.0f\" "
                     "y=\"23\">%s</text>\n",
                     dX, apszColours[n], dX + 18, g_apszStages[n]);
    }
    double dY = 45;
    for (const Bar& rBar : rBars) {
        const double dTotal = std::accumulate(rBar.m_times.begin(), rBar.m_times.end(), 0.0);
        std::fprintf(pFile.get(), "<text x=\"10\" y=\"%.0f\">%s</text><text x=\"%.0f\" y=\"%.0f\">%.2f ms</text>\n",
                     dY + 16, rBar.m_szName.c_str(), dLeft + dWidth + 8, dY + 16, 1000 * dTotal);
        double dX = dLeft;
        for (std::size_t n = 0; n < Stages; ++n) {
            const double dPart = dWidth * rBar.m_times[n] / dTotal;
            std::fprintf(pFile.get(), "<rect x=\"%.1f\" y=\"%.0f\" width=\"%.1f\" height=\"24\" fill=\"%s\"/>\n", dX,
                         dY, dPart, apszColours[n]);
            if (dPart > 30) {
                std::fprintf(pFile.get(),
                             "<text x=\"%.1f\" y=\"%.0f\" text-anchor=\"middle\" fill=\"%s\">%.0f %%</text>\n",
                             dX + dPart / 2, dY + 16, n == Surfaces || n == Clear ? "black" : "white",
                             100 * rBar.m_times[n] / dTotal);
            }
            dX += dPart;
        }
        dY += dStep;
    }
    std::fprintf(pFile.get(), "</svg>\n");
}

} // namespace bench
