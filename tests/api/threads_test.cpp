// What may be done on several threads at once: independent handles, and handles that come from one another as far as
// the header says. Results are those of one thread; the thread sanitizer looks on.
#include "support/StereoFrame.h"

#include <cmath>
#include <functional>
#include <thread>

namespace {

using namespace kestrova::test;

constexpr int sk_nRows = 48;
constexpr int sk_nCols = 64;

void atOnce(const std::vector<std::function<void()>>& rJobs)
{
    std::vector<std::thread> threads;
    for (const std::function<void()>& rJob : rJobs) {
        threads.emplace_back(rJob);
    }
    for (std::thread& rThread : threads) {
        rThread.join();
    }
}

/** Maps that bend, so that no two pixels have the same basis values. */
Handle openBent()
{
    CalibrationText text(Shape::Horizontal);
    text.nCoefs = 7;
    for (CameraText& rCamera : text.cameras) {
        rCamera.forward.row = [](double y, double x) { return y + 0.03 * std::sin(5 * x); };
        rCamera.inverse.col = [](double y, double x) { return x - 0.02 * std::cos(4 * y); };
    }
    return openText(text.text());
}

Handle copyOf(KestrovaContext source)
{
    KestrovaContext copy = nullptr;
    EXPECT_EQ(kestrovaCopyContext(source, &copy), KestrovaErrorOk);
    return Handle(copy);
}

// Kernel tables belong to the process. They come and go with the handles that use them.
TEST(Threads, HandlesOfTheirOwnShareNothing)
{
    const auto rectified = [](unsigned uFrame) {
        const Handle c = openBent();
        StereoFrame frame(sk_nRows, sk_nCols, 1 + static_cast<int>(uFrame % 7));
        KestrovaInput input = frame.packed();
        expectOk({kestrovaSetResolution(c, sk_nRows, sk_nCols), kestrovaSetMaxThreadCount(c, 1),
                  kestrovaSetRectImgQuality(c, uFrame % 2 == 0 ? KestrovaRectEnhanced1 : KestrovaRectEnhanced2),
                  kestrovaPreprocess(c, &input)});
        return image(c, KestrovaImgRectified, KestrovaCamLeft);
    };
    std::vector<std::vector<std::uint8_t>> expected;
    for (unsigned u = 0; u < 14; ++u) {
        expected.push_back(rectified(u));
    }
    const auto job = [&](unsigned uFirst) {
        return [&, uFirst] {
            for (unsigned u = uFirst; u < uFirst + 60; ++u) {
                ASSERT_EQ(rectified(u % 14), expected[u % 14]) << u;
            }
        };
    };
    atOnce({job(0), job(1)});
}

/** Points along a camera's diagonals, both ways. */
std::vector<float> pixels(KestrovaContext c, float fShift)
{
    std::vector<float> points;
    for (int n = 0; n < 2000; ++n) {
        const float fIn = static_cast<float>(n) / 50 + fShift;
        float fRow = 0;
        float fCol = 0;
        expectOk({kestrovaRectifyPixel(c, KestrovaCamLeft, &fRow, &fCol, fIn, fIn)});
        points.insert(points.end(), {fRow, fCol});
        expectOk({kestrovaUnrectifyPixel(c, KestrovaCamLeft, &fRow, &fCol, fIn, 1.5F * fIn)});
        points.insert(points.end(), {fRow, fCol});
    }
    return points;
}

// Both ask for points that are hardly apart: what is kept of one would be taken for the other's.
TEST(Threads, CopiesMapPixelsAndColoursAtOnce)
{
    StereoFrame frame(60, 80, 3);
    const KestrovaInput planes = frame.planes();
    const auto opened = [] {
        Handle handle = openBent();
        expectOk({kestrovaSetResolution(handle, sk_nRows, sk_nCols), kestrovaSetSourceResolution(handle, 60, 80)});
        return handle;
    };
    const auto colours = [&](KestrovaContext c) {
        KestrovaInput input = planes;
        KestrovaColorImage colour{};
        expectOk({kestrovaRectifyColorImage(c, KestrovaCamLeft, &input, &colour)});
        return pixelsOf(KestrovaImage{colour.nrows, colour.ncols, colour.rowinc, colour.green});
    };
    const Handle alone = opened();
    const std::vector<float> aExpected[] = {pixels(alone, 0), pixels(alone, 0.003F)};
    const auto expectedColours = colours(alone);
    for (int nTime = 0; nTime < 8; ++nTime) { // both find the camera without warp tables
        const Handle source = opened();
        const Handle copy = copyOf(source);
        const auto job = [&](KestrovaContext c, int nJob) {
            return [&, c, nJob] {
                for (int n = 0; n < 3; ++n) {
                    ASSERT_EQ(colours(c), expectedColours);
                    ASSERT_EQ(pixels(c, nJob == 0 ? 0 : 0.003F), aExpected[nJob]);
                }
            };
        };
        atOnce({job(source, 0), job(copy, 1)});
    }
}

/** A copy with memory of its own wherever the header lets a caller give it. */
struct Lent
{
    explicit Lent(Handle handle) : c(std::move(handle))
    {
        std::size_t u = 0;
        for (const KestrovaImageType eType : {KestrovaImgRaw, KestrovaImgRectified, KestrovaImgEdge}) {
            for (const KestrovaCamera eCamera : {KestrovaCamRight, KestrovaCamLeft}) {
                expectOk({kestrovaSetImageBuffer(c, m_bytes[u++].data(), eType, eCamera)});
            }
        }
        expectOk({kestrovaSetImageBuffer(c, m_bytes[u].data(), KestrovaImgDisparity, KestrovaCamReference),
                  kestrovaSetImage16Buffer(c, m_words.data(), KestrovaImg16Disparity, KestrovaCamReference)});
    }

    Handle c;
    std::vector<std::vector<std::uint8_t>> m_bytes =
        std::vector<std::vector<std::uint8_t>>(7, std::vector<std::uint8_t>(sk_nRows* sk_nCols));
    std::vector<std::uint16_t> m_words = std::vector<std::uint16_t>(sk_nRows * sk_nCols);
};

// What no caller can replace, the second pass and the labels of surfaces, belongs to each copy.
TEST(Threads, CopiesRunAtOnceInBuffersOfTheirOwn)
{
    for (const KestrovaStereoQuality eQuality : {KestrovaStereoEnhanced, KestrovaStereoStandard}) {
        SCOPED_TRACE(static_cast<int>(eQuality));
        const Handle source = openBent();
        expectOk({kestrovaSetResolution(source, sk_nRows, sk_nCols),
                  kestrovaSetSourceResolution(source, sk_nRows, sk_nCols), kestrovaSetMaxThreadCount(source, 1),
                  kestrovaSetDisparity(source, 0, 12), kestrovaSetSurfaceValidationSize(source, 40),
                  kestrovaSetStereoQuality(source, eQuality)});
        StereoFrame aFrames[] = {{sk_nRows, sk_nCols, 3}, {sk_nRows, sk_nCols, 8}};
        KestrovaInput aInputs[] = {aFrames[0].packed(), aFrames[1].packed()};
        expectOk({kestrovaPreprocess(source, &aInputs[0]), kestrovaStereo(source)});
        std::vector<std::vector<std::uint16_t>> expected;
        for (KestrovaInput& rInput : aInputs) {
            expectOk({kestrovaPreprocess(source, &rInput), kestrovaStereo(source)});
            expected.push_back(disparity16(source));
        }
        // A copy can run the frame that its source has preprocessed, second pass included.
        const Handle reader = copyOf(source);
        expectOk({kestrovaStereo(reader)});
        EXPECT_EQ(disparity16(reader), expected[1]);

        Lent first(copyOf(source));
        Lent second(copyOf(source));
        expectOk({kestrovaPreprocess(first.c, &aInputs[0]), kestrovaPreprocess(second.c, &aInputs[1])});
        const auto job = [&](Lent& rLent, std::size_t uFrame) {
            return [&, uFrame] {
                for (int n = 0; n < 20; ++n) {
                    expectOk({kestrovaStereo(rLent.c)});
                    ASSERT_EQ(rLent.m_words, expected[uFrame]) << uFrame;
                }
            };
        };
        job(first, 0)(); // one after the other already shows a second pass that is shared
        atOnce({job(first, 0), job(second, 1)});
    }
}

} // namespace
